#include "help.hpp"

#include "records/records.hpp"

const char* const exit_text =
    "Exit status: 0 all is well; 1 nothing found, or the dumps differ; 2 wrong usage\n"
    "or an input or output error; 3 all output is there, but a record or an input is\n"
    "damaged, cut or unknown. `ffdc COMMAND --help` has options and examples.";

namespace {

using Options_of = std::vector<const CLI::Option*>;

std::vector<const CLI::App*> commands_of(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}
Options_of options_of(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}
// "FILE", "TYPE", or nothing.
std::string argument_of(const CLI::App& command) {
    const Options_of all = command.get_options([](const CLI::Option* option) { return option->get_positional(); });
    return all.empty() ? "" : all.front()->get_name();
}

// "-t", "--type".
std::vector<std::string> flags_of(const CLI::Option& option) {
    std::vector<std::string> flags;
    for (const std::string& name : option.get_snames()) flags.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) flags.push_back("--" + name);
    return flags;
}
std::string value_of(const CLI::Option& option) { return option.get_expected_max() == 0 ? "" : option.get_type_name(); }

std::vector<std::string> type_names() {
    std::vector<std::string> types;
    for (const int type : known_types()) types.emplace_back(dd_ffdc_type_name(type));
    return types;
}
// The words that may stand behind an option, or in the list behind it.
bool takes_list(const CLI::Option& option) { return value_of(option).starts_with("TYPE"); }
std::vector<std::string> words_of(const CLI::Option& option) {
    return takes_list(option) ? type_names() : values_of_option(option);
}

std::string join(const std::vector<std::string>& words, const std::string& between = " ") {
    return CLI::detail::join(words, between);
}

// The names of all commands, or the flags of one, or those of all options.
std::vector<std::string> names_of(const std::vector<const CLI::App*>& commands) {
    std::vector<std::string> names;
    for (const CLI::App* command : commands) names.push_back(command->get_name());
    return names;
}
std::vector<std::string> flags_of(const CLI::App& app) {
    std::vector<std::string> all;
    for (const CLI::Option* option : options_of(app))
        for (const std::string& flag : flags_of(*option)) all.push_back(flag);
    return all;
}

// In single quotes, for any shell.
std::string quoted(std::string text) {
    for (std::size_t i = 0; (i = text.find('\'', i)) != std::string::npos; i += 4) text.replace(i, 1, "'\\''");
    return "'" + text + "'";
}

std::string bash_completion(const CLI::App& app) {
    const auto commands = commands_of(app);
    std::string text = R"(# bash completion for ffdc
# The last one of a list, in the case of its beginning.
_ffdc_types() {
    before=${cur%"${cur##*,}"} cur=${cur##*,}
    [[ $cur == *[[:lower:]]* ]] && words=${words,,}
}
_ffdc() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command= word words= before=
    [[ $cur == = ]] && cur=
    [[ $prev == = ]] && prev=${COMP_WORDS[COMP_CWORD-2]}
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in )" +
                       join(names_of(commands), "|") + R"() command=$word; break ;; esac
    done
    case $command:$prev in
)";
    for (const CLI::App* command : commands)
        for (const CLI::Option* option : options_of(*command))
            if (!value_of(*option).empty()) {
                const std::string before = command->get_name() + ":";
                text += "    " + before + join(flags_of(*option), "|" + before) +
                        ") words=" + quoted(join(words_of(*option))) + (takes_list(*option) ? "; _ffdc_types" : "") +
                        " ;;\n";
            }
    text += "    :*) words=" + quoted(join(names_of(commands)) + " " + join(flags_of(app))) + " ;;\n";
    for (const CLI::App* command : commands) {
        const bool types = argument_of(*command) == "TYPE";
        text += "    " + command->get_name() + (types ? ":*) words=" : ":*) [[ $cur == -* ]] && words=") +
                quoted(join(flags_of(*command)) + (types ? " " + join(type_names()) : "")) +
                (types ? "; _ffdc_types" : "") + " ;;\n";
    }
    return text +
           "    esac\n    COMPREPLY=($(compgen -P \"$before\" -W \"$words\" -- \"$cur\"))\n}\n"
           "complete -o default -F _ffdc ffdc\n";
}

std::string zsh_completion(const CLI::App& app) {
    const auto argument = [](const CLI::Option& option) {
        const std::string value = value_of(option);
        if (value.empty()) return std::string();
        const std::vector<std::string> words = words_of(option);
        if (words.empty()) return ":" + value + (value == "DIR" ? ":_files -/" : ":_files");
        if (takes_list(option)) return std::string(":TYPE:_ffdc_types");
        return ":WORD:(" + join(words) + ")";
    };
    const auto arguments = [&](const CLI::App& command) {
        std::string text = "_arguments -S";
        for (const CLI::Option* option : options_of(command)) {
            const std::vector<std::string> flags = flags_of(*option);
            for (const std::string& flag : flags)
                text += " \\\n            " + quoted("(" + join(flags) + ")" + flag + "[" + option->get_description() +
                                                     "]" + argument(*option));
        }
        return text;
    };
    std::string text = "#compdef ffdc\n_ffdc_types() {\n    compset -P '*,'\n    compadd -q -S , -M 'm:{a-z}={A-Z}' " +
                       join(type_names()) +
                       "\n}\n_ffdc() {\n    if (( CURRENT == 2 )); then\n        local -a commands=(";
    for (const CLI::App* command : commands_of(app))
        text += "\n            " + quoted(command->get_name() + ":" + command->get_description());
    text += "\n        )\n        _describe command commands\n        " + arguments(app) +
            "\n        return\n    fi\n"
            "    shift words\n    (( CURRENT-- ))\n    case $words[1] in\n";
    for (const CLI::App* command : commands_of(app))
        text += "        " + command->get_name() + ") " + arguments(*command) +
                (argument_of(*command) == "TYPE" ? " \\\n            '*:TYPE:(" + join(type_names()) + ")'"
                                                 : " \\\n            '*:FILE:_files'") +
                " ;;\n";
    return text + "    esac\n}\n_ffdc \"$@\"\n";
}

std::string fish_completion(const CLI::App& app) {
    std::string text = "# fish completion for ffdc\n";
    const auto add = [&](const std::string& condition, const CLI::Option& option) {
        text += "complete -c ffdc -n " + quoted(condition);
        for (const std::string& name : option.get_snames()) text += " -s " + name;
        for (const std::string& name : option.get_lnames()) text += " -l " + name;
        const std::vector<std::string> words = words_of(option);
        if (!words.empty())
            text += " -x -a " + quoted(takes_list(option) ? "(__fish_append , " + join(words) + ")" : join(words));
        else if (value_of(option) == "DIR")
            text += " -x -a '(__fish_complete_directories)'";
        else if (!value_of(option).empty())
            text += " -r";
        text += " -d " + quoted(option.get_description()) + "\n";
    };
    for (const CLI::Option* option : options_of(app)) add("__fish_use_subcommand", *option);
    for (const CLI::App* command : commands_of(app)) {
        const std::string name = command->get_name();
        text += "complete -c ffdc -n __fish_use_subcommand -f -a " + name + " -d " +
                quoted(command->get_description()) + "\n";
        if (argument_of(*command) == "TYPE")
            text += "complete -c ffdc -n '__fish_seen_subcommand_from " + name + "' -f -a " +
                    quoted(join(type_names())) + "\n";
        for (const CLI::Option* option : options_of(*command)) add("__fish_seen_subcommand_from " + name, *option);
    }
    return text;
}

// Text as it is, for roff.
std::string roff(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\\')
            escaped += "\\e";
        else if (c == '-')
            escaped += "\\-";
        else if (c == '\'')
            escaped += "\\(aq";
        else if (c == '`')
            escaped += "\\(ga";
        else if (c == '.' && (escaped.empty() || escaped.back() == '\n'))
            escaped += "\\&.";
        else
            escaped += c;
    }
    return escaped;
}

constexpr const char* man_sections = R"(.SH INPUT
A dump holds records end to end: one chain, or several. It may be raw bytes; text that spells them, as
.BR xxd (1),
.BR hexdump (1)
.BR \-C ,
.BR od (1)
.BR "\-t x1" ,
debuggers and
.BR base64 (1)
print it, or as it stands in mails and logs; or a file packed with gzip, xz, zstd, bzip2, tar or zip, of which each member
is an input named
.IR ARCHIVE : MEMBER .
Which it is shows in its first bytes, unless
.B \-\-from
says it;
.B carve
takes all for raw bytes unless
.B \-\-from=auto
is given. Lines of a text that are missing or cannot be read are damage of their place; offsets are those of the text.
A directory stands for the files in it, with
.B \-r
also for those in the directories below. Input is never sought in: what is not a file is read in windows, and records come
out as soon as 64 KiB are behind them. Damage longer than 1 MiB is told once, and comes in parts in
.B hex
and
.BR json .
.PP
What is damaged does not hide what is not: a damaged place is marked where it is in the output, told on standard error
with file, offset, and what was expected and found, and the next record is looked for behind it.
.PP
Limits keep a small input from filling a disk. What a file is unpacked to has at most 64 MiB or 1000 times the bytes of the
file, and so has a text with lines that repeat; records inside a record, which
.B carve \-\-all
finds, have at most 16 times its bytes. A limit that is reached counts as damage, and is told with what is missing, unless
.B \-\-no\-limits
is given.
.SH COLUMNS
What
.BR list ", " csv " and " count
show of a record, and what
.B \-\-where
and
.B \-\-sort
ask, are columns:
.BR file ", " offset ", " index ", " type ", " version ", " state ", " size ", " pid ", " tgid ", " time
(two words in hexadecimal, 5f3c0001:2a; in csv padded, 5f3c0001:0000002a),
.B cause
(what failed: the return code and the name of the error, or what is wrong with a damaged place), and every
value by its key, as
.B json
has it:
.BR rc ", " master.slave.sisc ", " data[3] ", " header.chained ;
.B payload.type
is a value that has the name of a column.
.PP
A condition is COLUMN OP VALUE with OP one of = != < <= > >= and ~, which means that the text of the column contains
VALUE. Numbers are decimal or, after 0x, hexadecimal (0xffffffea is \-22 where the number is signed). A text may be in
quotes, and must be if it is empty or holds an operator; its case does not matter. A VALUE that the column cannot have (a
word for a number or a flag, an unknown name or state, one word for a time) is an error. A condition is false for a record that
does not have the column. Conditions on columns of the header decode nothing.
.SH OUTPUT
The separator line over a record is
.PP
.EX
==> FILE offset 0x000126 record 1 DMA <==
.EE
.PP
with the word
.B damaged
behind the type, or in its place, where that is so. Tables fit the terminal, with a mark for what is cut or left out;
elsewhere they are as wide as their cells. An empty cell is a dash. Characters that could control a terminal, or change the
order of others, are printed as dots; only into a pipe or a file,
.BR show " and " csv
write the text of records as it is. A line of that text which would look like a separator line begins with a dot, unless
.B \-\-no\-legend
is given.
.PP
Spreadsheets execute cells of
.B csv
that begin with = + \- @, a tab or a line break. With
.BR \-\-no\-formulas ,
texts that begin so have a single quote before them.
.PP
A file named with
.B \-\-output
is written beside the old one, which it replaces when all is well: after wrong usage or an input or output error, the old
one is as it was. Symbolic links to it are followed unless the system refuses that, as it does with those of others in
.BR /tmp .
.PP
In
.BR hex ,
* stands for lines whose bytes are those of the line before; the next line with bytes, or the size alone at the end, shows
where they end.
.PP
.B diff
takes records for the same by their bytes, then for partners by type, version, time and task, then by type and version, then
by type, always in their order; one that has no partner is a line by itself.
.PP
.B carve \-\-write
makes a file of each chain whose records lie end to end, and of each other record. The chain flag of a last record that
announces one which is not there is cleared in the file, and told. Files that are there already stay: names get a number. A
file gets its name when it is complete.
.PP
.B json
writes one object a line; its shape is fixed, and a number in it,
.BR format ,
changes with the shape. Texts are decoded byte by byte, each byte as the character of the same number, so JSON is
valid UTF\-8 whatever a record holds, and no byte is lost. With
.B \-\-type
a damaged place without a header is told on standard error only.
.PP
.B make
turns such objects into the bytes that they stand for. What they do not say is zero, or follows from the rest: magic, size and
chain flags. Values that share bits have to agree. All objects are checked before any byte is written.
.SH "EXIT STATUS"
.TP
.B 0
All is well.
.TP
.B 1
No record was found, or nothing that was asked for;
.BR diff :
the dumps differ. (That neither has a record is an error.)
.TP
.B 2
Wrong usage, or an input or output error. All that could be read was decoded.
.TP
.B 3
The output is complete, but at least one record is damaged, shorter than its layout, or of an unknown type or version.
.PP
When the reader of the output stops early,
.B ffdc
ends by the signal SIGPIPE, without a message (status 141 in a shell).
.SH ENVIRONMENT
.TP
.B NO_COLOR
When set and not empty: no colour, unless
.B \-\-color=always
is given.
.TP
.B TERM
When not set, or
.BR dumb ,
the same.
.TP
.B PAGER
The pager of
.BR show ", " list ", " count ", " hex " and " diff
on a terminal;
.B "less \-R"
when it is not set, none when it is empty or not there.
.TP
.B LC_CTYPE
Which bytes raw dumps show as characters.
.SH "SEE ALSO"
.BR jq (1),
.BR xxd (1),
.BR hexdump (1)
)";

}  // namespace

void format_help(CLI::App& app) {
    struct Formatter : CLI::Formatter {
        std::string make_option_opts(const CLI::Option* option) const override {
            const std::string value = option->get_positional() ? "" : value_of(*option);
            return value.empty() ? "" : " " + value;
        }
        std::string make_option_usage(const CLI::Option* option) const override { return option->get_type_name(); }
    };
    const auto formatter = std::make_shared<Formatter>();
    formatter->column_width(29);
    formatter->label("SUBCOMMAND", "COMMAND");
    formatter->label("Positionals", "Arguments");
    app.formatter(formatter);
}

std::vector<std::string> values_of_option(const CLI::Option& option) {
    const std::string value = value_of(option);
    return value.find('|') == std::string::npos ? std::vector<std::string>() : CLI::detail::split(value, '|');
}

std::string completions_of(const CLI::App& app, const std::string& shell) {
    return shell == "bash" ? bash_completion(app) : shell == "zsh" ? zsh_completion(app) : fish_completion(app);
}

std::string man_page_of(const CLI::App& app) {
    std::string text =
        ".TH FFDC 1 \"\" \"ffdc " + std::string(tavi_ffdc_version()) + "\"\n.SH NAME\nffdc \\- " +
        "decode First Failure Data Capture records\n.SH SYNOPSIS\n.B ffdc\n.I COMMAND\n[\\fIOPTION\\fR...] "
        "[\\fIFILE\\fR...]\n.SH DESCRIPTION\n" +
        roff(app.get_description()) + "\n.SH COMMANDS\n";
    const auto add = [&](const CLI::Option* option) {
        text += ".TP\n\\fB" + roff(join(flags_of(*option), ", ")) + "\\fR";
        if (!value_of(*option).empty()) text += " \\fI" + roff(value_of(*option)) + "\\fR";
        text += "\n" + roff(option->get_description()) + "\n";
    };
    for (const CLI::App* command : commands_of(app)) {
        text += ".SS " + command->get_name() + "\n" + roff(command->get_description()) + "\n";
        for (const CLI::Option* option : options_of(*command)) add(option);
        text += ".PP\n.EX\n" + roff(command->get_footer().substr(command->get_footer().find("Examples:"))) + "\n.EE\n";
    }
    text += ".SH OPTIONS\n";
    for (const CLI::Option* option : options_of(app)) add(option);
    return text + man_sections;
}
