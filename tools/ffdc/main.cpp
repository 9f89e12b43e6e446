// The command line: one table of commands and one of options, from which help, man page and completions are made.
#include <fcntl.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <variant>

#include "commands/commands.hpp"
#include "help.hpp"

namespace {

struct Command {
    const char* name;
    int (*run)(Session&);
    const char* what;
    const char* files;  // the arguments, "" for none
    bool paged, exact;  // the text of records, but on a terminal
    const char* examples;
};
constexpr Command commands[] = {
    {"show", show, "decoded text of every record", "[FILE...]", true, true,
     "  ffdc show dump.bin\n"
     "  ssh sp cat /var/log/ffdc | ffdc show -t dma,iic"},
    {"list", list, "a row a record: type, size, task, state, cause", "[FILE...]", true, false,
     "  ffdc list --where 'state != ok' --sort time dumps/*.ffdc\n"
     "  ffdc list --columns index,type,rc,err_type dump.bin"},
    {"count", count, "how many records there are of each kind", "[FILE...]", true, false,
     "  ffdc count dump.bin\n"
     "  ffdc count --by type,state,cause dumps"},
    {"json", json, "a JSON object for every record, one a line", "[FILE...]", false, false,
     "  ffdc json dump.bin | jq 'select(.type == \"DMA\").payload.rc'\n"
     "  ffdc json --pretty -t mbox dump.bin"},
    {"make", make, "records from the objects that json prints", "[FILE...]", false, false,
     "  ffdc json -t dma dump.bin | jq '.payload.rc = -5' | ffdc make | ffdc show\n"
     "  echo '{\"type\": \"DMA\", \"version\": 2, \"payload\": {\"rc\": -22}}' | ffdc make"},
    {"csv", csv, "rows for databases and spreadsheets (RFC 4180)", "[FILE...]", false, true,
     "  ffdc csv dumps/*.ffdc > records.csv\n"
     "  ffdc csv --values dump.bin | sqlite3 v.db '.import --csv /dev/stdin v'"},
    {"hex", hex, "every byte, with the value that it belongs to", "[FILE...]", true, false,
     "  ffdc hex dump.bin\n"
     "  hexdump -C dump.bin | ffdc hex -t scom"},
    {"carve", carve, "records found in memory dumps and flash images", "[FILE...]", false, false,
     "  ffdc carve -v flash.img\n"
     "  ffdc carve --write found memory.dump"},
    {"diff", diff, "values and records that differ between two dumps", "FILE1 FILE2", true, false,
     "  ffdc diff before.bin after.bin\n"
     "  ffdc diff -t dma --all before.bin after.bin"},
    {"html", html, "a page to look at dumps in, with the dumps inside", "[FILE...]", false, false,
     "  ffdc html dump.bin -o report.html\n"
     "  ffdc html before.bin after.bin -o ticket.html"},
    {"types", types, "types, versions and layouts that are known", "[TYPE...]", true, false,
     "  ffdc types dma\n"
     "  ffdc types --json dma | jq '.fields[] | select(.role).name'"},
};

// What options that ask for columns take.
std::string columns_help() {
    return "Columns: " + CLI::detail::join(fixed_columns(), " ") +
           ";\n"
           "keys of values: rc, master.slave.sisc, data[3] (payload.type: not the column).\n"
           "Conditions: OP is one of = != < <= > >= and ~ (contains); VALUE a number, also\n"
           "0x..., or a text, whatever its case. Of several conditions all have to hold.\n\n";
}

struct Choice {
    const char* flags;
    const char* value;  // what it takes: a name, or values separated by '|'; "" for a flag
    const char* what;
    const char* commands;
    std::variant<bool Options::*, std::string Options::*, std::vector<std::string> Options::*> target;
};
constexpr char readers[] = "show list count json csv hex carve diff html",
               with_columns[] = "show list count json csv hex carve",
               everywhere[] = "show list count json csv hex carve diff types";
constexpr Choice choices[] = {
    {"-t,--type", "TYPE,...", "only records of these types, by name or code", everywhere, &Options::types},
    {"-r,--recursive", "", "also the directories in a directory", "show list count json make csv hex carve html",
     &Options::recursive},
    {"--where", "CONDITION", "only records for which COLUMN OP VALUE holds", with_columns, &Options::where},
    {"--columns", "COLUMN,...", "what to show of a record", "list csv", &Options::columns},
    {"--sort", "COLUMN,...", "in this order; -COLUMN: the largest first", "list", &Options::sort},
    {"--by", "COLUMN,...", "what makes a kind; by itself the type", "count", &Options::count_by},
    {"--values", "", "a row for every value, not for every record", "csv", &Options::values},
    {"--no-formulas", "", "a ' before texts that a spreadsheet would execute", "csv", &Options::no_formulas},
    {"--from", "auto|raw|hex|base64", "what the input is (carve: raw)", readers, &Options::from},
    {"-o,--output", "FILE", "write there when all is well; - is standard output",
     "show list count json make csv hex carve diff html types", &Options::output},
    {"--color", "auto|always|never", "colour; auto: on a terminal, without NO_COLOR", everywhere, &Options::color},
    {"--no-legend", "", "no separator lines and no headings", "show list count csv hex carve diff types",
     &Options::no_legend},
    {"--no-pager", "", "write to the terminal straight", "show list count hex diff types", &Options::no_pager},
    {"-q,--quiet", "", "no messages about damage and unknown records", readers, &Options::quiet},
    {"--ascii", "", "bytes beyond ASCII as \\xNN", "show carve", &Options::ascii},
    {"--no-limits", "", "read it all, however much an input grows", readers, &Options::no_limits},
    {"--template", "TYPE,...", "print objects with all keys of a type", "make", &Options::templates},
    {"--json", "", "layouts as data, an object a line", "types", &Options::json},
    {"--pretty", "", "indented, for people", "json carve types make", &Options::pretty},
    {"--decode", "", "show the records instead of listing them", "carve", &Options::decode},
    {"--json", "", "print them as the command json does", "carve", &Options::json},
    {"--write", "DIR", "write each record or chain to DIR/OFFSET-TYPE.ffdc", "carve", &Options::write_to},
    {"-v,--verbose", "", "tell why what looked like a record was rejected", "carve", &Options::verbose},
    {"--all", "", "look for records inside records, too", "carve", &Options::all},
    {"--all", "", "values that are the same, too", "diff", &Options::all},
};

bool has_word(std::string_view words, std::string_view word) {
    for (std::size_t begin = 0; begin <= words.size();) {
        const std::size_t end = std::min(words.find(' ', begin), words.size());
        if (words.substr(begin, end - begin) == word) return true;
        begin = end + 1;
    }
    return false;
}

// Names what an option takes; of values separated by '|' it takes no other.
void take_only(CLI::Option& option, const std::string& what) {
    option.type_name(what);
    const std::vector<std::string> values = values_of_option(option);
    if (values.empty()) return;
    option.check([values, what](const std::string& given) {
        if (std::find(values.begin(), values.end(), given) != values.end()) return std::string();
        return "expected " + what + ", found '" + given + "'";
    });
}

void add_choice(CLI::App& command, const Choice& choice, Options& options) {
    CLI::Option* added = nullptr;
    if (const auto flag = std::get_if<bool Options::*>(&choice.target)) {
        added = command.add_flag(choice.flags, options.**flag, choice.what);
    } else if (const auto text = std::get_if<std::string Options::*>(&choice.target)) {
        added = command.add_option(choice.flags, options.**text, choice.what);
    } else {
        const auto list = std::get<std::vector<std::string> Options::*>(choice.target);
        added = command.add_option(choice.flags, options.*list, choice.what)->allow_extra_args(false);
        if (std::string_view(choice.value).ends_with(",...")) added->delimiter(',');
    }
    if (*choice.value) take_only(*added, choice.value);
}

struct Usage : Fatal {
    using Fatal::Fatal;
};

int run(int argc, char** argv) {
    Options options;
    CLI::App app("Decodes the First Failure Data Capture records of device drivers.", "ffdc");
    app.require_subcommand(1);
    app.set_help_flag("-h,--help", "this help");
    app.set_version_flag("-V,--version", std::string("ffdc ") + tavi_ffdc_version(), "the version");
    app.footer(exit_text);
    format_help(app);
    int status = exit_ok;
    for (const Command& command : commands) {
        CLI::App* const added = app.add_subcommand(command.name, command.what)->group("Commands");
        added->set_help_flag("-h,--help", "this help");
        added->footer((has_word(with_columns, command.name) ? columns_help() : "") + std::string("Examples:\n") +
                      command.examples);
        const bool two = std::string_view(command.files) == "FILE1 FILE2", takes_types = command.run == types;
        if (*command.files) {
            CLI::Option* const files =
                added->add_option(takes_types ? "TYPE" : "FILE", options.files,
                                  two                   ? "the two dumps"
                                  : takes_types         ? "whose layouts to print; none: a table"
                                  : command.run == make ? "what json prints; - is standard input"
                                                        : "a dump or a directory of them; - is standard input");
            files->type_name(command.files);
            if (two) files->expected(2)->required();
        }
        for (const Choice& choice : choices)
            if (has_word(choice.commands, command.name)) add_choice(*added, choice, options);
        added->callback([&, names_files = *command.files && !two && !takes_types] {
            if (names_files) options.files = files_of(options.files, options.recursive, options.skipped);
            options.paged = command.paged;
            options.exact = command.exact;
            Session session(options);
            try {
                status = command.run(session);
            } catch (const Output::Left&) {
                status = session.status();
            }
            session.out.finish(status != exit_failed);
        });
    }
    std::string shell;
    CLI::App* const completion = app.add_subcommand("completion", "a shell's completions")->group("");
    take_only(*completion->add_option("SHELL", shell)->required(), "bash|zsh|fish");
    const auto print = [&](const std::string& text) {
        Output out(options);
        out.put(text);
        out.finish(true);
    };
    completion->add_option("-o", options.output);
    completion->callback([&] { print(completions_of(app, shell)); });
    CLI::App* const man = app.add_subcommand("man", "the man page")->group("");
    man->add_option("-o", options.output);
    man->callback([&] { print(man_page_of(app)); });
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        print(app.help());
    } catch (const CLI::CallForVersion& version) {
        print(std::string(version.what()) + "\n");
    } catch (const CLI::ParseError& error) {
        if (!app.get_subcommands().empty()) throw Usage(error.what());
        throw Usage("expected a command, found " + (argc > 1 ? "'" + std::string(argv[1]) + "'" : "nothing"));
    }
    return status;
}

// The end, rather than an exception: streams swallow that, none may pass through the library, and what is made before
// main has nobody to catch it.
[[noreturn]] void out_of_memory() {
    Output::rescue();
    std::fputs("ffdc: out of memory\n", stderr);
    _exit(exit_failed);
}
[[gnu::constructor(101)]] void begin() { std::set_new_handler(out_of_memory); }

// A descriptor that the caller has closed would be that of the next file to be opened, and take what is meant for
// the caller. Writing to it is still an error.
void open_standard_descriptors() {
    for (int number = 0; number <= STDERR_FILENO; ++number)
        if (fcntl(number, F_GETFD) < 0 && open("/dev/null", O_RDONLY) != number) _exit(exit_failed);
}

}  // namespace

int main(int argc, char** argv) {
    open_standard_descriptors();
    std::setlocale(LC_CTYPE, "");   // what the terminal, and raw dumps, can show
    std::signal(SIGPIPE, SIG_DFL);  // who reads the output may stop at any time: the end, without a word
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc&) {
        out_of_memory();
    } catch (const std::length_error&) {
        out_of_memory();
    } catch (const std::exception& error) {
        std::string text = error.what();
        tame(text.data(), text.size());
        std::fprintf(stderr, "ffdc: %s\n", text.c_str());
        if (dynamic_cast<const Usage*>(&error))
            std::fputs("Run ffdc --help, or ffdc COMMAND --help, for what there is.\n", stderr);
    }
    return exit_failed;
}
