// Reference pages of layouts, for people and as JSON (docs/layouts.schema.json).
#include "records/layouts.hpp"

#include <algorithm>
#include <optional>

#include "commands/commands.hpp"
#include "output/json.hpp"
#include "records/values.hpp"

namespace {

constexpr int layouts_format = 1;  // changes whenever the shape of the objects does

// Versions that show the same, known or not.
struct Range {
    unsigned first, last;
    std::size_t size;
    bool exact;
    const Layout* layout;
};

// Every version of a type, in exactly one range.
std::vector<Range> ranges_of(int type) {
    std::vector<Range> ranges;
    unsigned next = 0;
    const auto fill = [&](unsigned end) {  // versions between the known ones
        std::size_t size = 0;
        if (next < end) dd_ffdc_layout(type, next, &size);
        if (next < end) ranges.push_back({next, end - 1, size, false, &layout_of(type, next)});
    };
    dd_ffdc_versions row;
    for (std::size_t n = 0; dd_ffdc_layout_row(type, n, &row) != 0; ++n) {
        fill(row.first);
        ranges.push_back({row.first, row.last, row.size, row.exact != 0, &layout_of(type, row.first)});
        next = row.last + 1;
    }
    fill(0x10000);
    return ranges;
}

bool is_header(const Field& f) { return f.is_value() && std::string_view(f.group) == "header"; }
bool has_values(const Range& range) {
    return std::ranges::any_of(range.layout->fields, [](const Field& f) { return f.is_value() && !is_header(f); });
}

// Whether a payload without a byte has the values of the layout, all missing.
bool shows_empty(int type, const Range& range) {
    static const std::string none;
    std::uint8_t bytes[DD_FFDC_HEADER_SIZE] = {0xff, 0xdc, 0xff, 0xdc};
    bytes[25] = static_cast<std::uint8_t>(type);
    bytes[26] = static_cast<std::uint8_t>(range.first >> 8);
    bytes[27] = static_cast<std::uint8_t>(range.first);
    bytes[37] = sizeof bytes;
    bool shows = false;
    each_value({none, 0, 0, bytes}, [&](const dd_ffdc_value& v) { shows |= v.offset >= sizeof bytes; });
    return shows;
}

const char* kind_name(dd_ffdc_kind kind) {
    static constexpr const char* names[] = {"unsigned", "signed", "address", "text",    "name",
                                            "flag",     "bcd",    "bytes",   "unshown", "literal"};
    return names[kind];
}

const char* role_name(dd_ffdc_role role) {
    static constexpr const char* names[] = {"", "return_code", "error_name", "source_file", "source_line"};
    return names[role];
}

std::uint64_t whole(std::size_t size) { return size >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << 8 * size) - 1; }

// "0x000000f0", with the digits of so many bytes.
std::string mask_text(std::uint64_t mask, std::size_t size) { return hex_number(mask, static_cast<int>(2 * size)); }

// ---- JSON ----

class Objects {
public:
    explicit Objects(Session& s) : out_(s.out), shape_(out_, s.options.pretty, 0) {}

    void put(int type, const Range& range) {
        shape_.open("{");
        number("format", layouts_format);
        text("type", type_name(type));
        number("type_code", type);
        number("first_version", range.first);
        number("last_version", range.last);
        text("state", dd_ffdc_state_name(range.layout->state));
        number("size", range.size);
        boolean("exact", range.exact);
        boolean("shown_when_empty", shows_empty(type, range));
        list("fields", range.layout->fields, [&](const Field& f) { put(f); });
        shape_.close("}");
        out_.put("\n");
        out_.flush();
    }

private:
    Stream out_;
    Shape<Stream> shape_;

    void put(const Field& f) {
        text("group", f.group);
        word("name", f.name);
        f.index < 0 ? word("index", "") : number("index", f.index);
        number("count", f.count);
        number("offset", f.offset);
        number("size", f.size);
        text("kind", kind_name(f.kind));
        word("role", role_name(f.role));
        word("mask", f.mask == 0 ? "" : mask_text(f.mask, f.kind == DD_FFDC_UNSHOWN ? 1 : f.size));
        std::vector<std::size_t> named;
        for (std::size_t i = 0; i < f.names.size(); ++i)
            if (f.names[i]) named.push_back(i);
        list("names", named, [&](std::size_t i) {
            number("number", f.first_number + i);
            text("text", *f.names[i]);
        });
        f.other ? text("other", *f.other) : word("other", "");
        text("before", f.before);
        word("format", f.format);
        list("when", f.when, [&](const Condition& c) {
            number("offset", c.offset);
            number("size", c.size);
            text("mask", mask_text(c.mask, c.size));
            text("number", mask_text(c.number, c.size));
            boolean("equal", c.equal);
        });
    }
    template <typename Number>
    void number(const char* key, Number value) {
        shape_.key(key);
        out_.number(value);
    }
    void boolean(const char* key, bool value) {
        shape_.key(key);
        out_.put(value ? "true" : "false");
    }
    void text(const char* key, std::string_view value) {
        shape_.key(key);
        out_.string(value);
    }
    // Null for an empty one.
    void word(const char* key, std::string_view value) {
        shape_.key(key);
        out_.string_or_null(value);
    }
    template <typename List, typename Put>
    void list(const char* key, const List& all, Put put_members) {
        shape_.key(key);
        shape_.open("[");
        for (const auto& each : all) {
            shape_.element();
            shape_.open("{");
            put_members(each);
            shape_.close("}");
        }
        shape_.close("]");
    }
};

// ---- Pages ----

std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\t')
            out += "\\t";
        else
            out += (c == '"' || c == '\\' ? "\\" : "") + std::string(1, c);
    }
    return out + '"';
}

std::string number_text(std::uint64_t number) {
    constexpr std::uint64_t most_in_decimal = 9999;
    return number > most_in_decimal ? hex_number(number, 1) : std::to_string(number);
}

// `chain_valid == 1`; bits without a name show as their place.
std::string condition_text(const Layout& layout, const Condition& c) {
    const auto is_it = [&](const Field& f) {
        return f.is_value() && f.offset == c.offset && f.size == c.size && f.mask == c.mask;
    };
    const auto field = std::ranges::find_if(layout.fields, is_it);
    const bool named = field != layout.fields.end(), is_flag = named && field->kind == DD_FFDC_FLAG;
    std::string text = named ? field->key()
                             : "bytes " + std::to_string(c.offset) + " to " + std::to_string(c.offset + c.size - 1) +
                                   (c.mask == whole(c.size) ? "" : " & " + mask_text(c.mask, c.size));
    text += c.equal ? " == " : " != ";
    return text + number_text(is_flag ? c.number != 0 : c.number);
}

// A text in lines of their own, broken at its blanks.
void put_wrapped(Session& s, std::size_t indent, const std::vector<std::string>& words) {
    constexpr std::size_t width = 100;
    std::string line;
    for (const std::string& word : words) {
        if (!line.empty() && indent + line.size() + word.size() > width) {
            s.out.put(std::string(indent, ' '), line, "\n");
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    if (!line.empty()) s.out.put(std::string(indent, ' '), line, "\n");
}

std::string padded(const std::string& text, std::size_t width, bool right = false) {
    const std::string blanks(width - std::min(width, text.size()), ' ');
    return right ? blanks + text : text + blanks;
}

// Fields that differ only in their elements, as one.
struct Line {
    const Field* field;
    int last;  // element; -1 where there are none

    bool goes_on_with(const Field& f) const {
        const Field& a = *field;
        return last >= 0 && f.index == last + 1 && a.group == f.group && a.name == f.name && a.kind == f.kind &&
               a.mask == f.mask && a.format == f.format && a.when == f.when && a.names == f.names &&
               f.offset == a.offset + static_cast<unsigned>(f.index - a.index) * a.size;
    }
    std::string key() const {
        if (!field->is_value()) return "-";
        std::string text = field->key();
        if (last > field->index) text.insert(text.size() - 1, "-" + std::to_string(last));
        return text;
    }
};

void put_fields(Session& s, const Layout& layout, bool of_header) {
    std::vector<Line> lines;
    const auto behind = std::find_if(layout.fields.rbegin(), layout.fields.rend(), is_header).base();
    for (const Field& f : layout.fields) {
        const bool in_header = f.kind == DD_FFDC_UNSHOWN ? f.offset < DD_FFDC_HEADER_SIZE : &f < &*behind;
        if (in_header != of_header) continue;
        if (!lines.empty() && lines.back().goes_on_with(f))
            lines.back().last = f.index;
        else
            lines.push_back({&f, f.index});
    }
    constexpr std::size_t most = 40;
    std::size_t key_width = 3;
    for (const Line& line : lines) key_width = std::max(key_width, std::min(most, line.key().size()));
    if (!s.options.no_legend)
        s.out.put(Style::heading, "  OFFSET  SIZE  KIND      " + padded("KEY", key_width) + "  TEXT\n");
    const std::vector<Condition>* when = nullptr;
    for (const Line& line : lines) {
        const Field& f = *line.field;
        if (when ? *when != f.when : !f.when.empty()) {
            std::vector<std::string> words = {f.when.empty() ? "always:" : "if"};
            for (const Condition& c : f.when)
                words.push_back(condition_text(layout, c) + (&c == &f.when.back() ? ":" : " and"));
            put_wrapped(s, 0, words);
        }
        when = &f.when;
        const bool is_literal = f.kind == DD_FFDC_LITERAL;
        std::string text = quoted(f.before + f.format);
        if (f.format.empty() && f.before.empty()) text = f.kind == DD_FFDC_BYTES ? "raw dump" : "-";
        s.out.put("  ", padded(is_literal ? "-" : std::to_string(f.offset), 6, true), "  ",
                  padded(is_literal    ? "-"
                         : f.size == 0 ? "rest"
                                       : std::to_string(f.size),
                         4, true),
                  "  ", padded(kind_name(f.kind), 8), "  ", padded(is_literal ? "-" : line.key(), key_width), "  ",
                  text, "\n");
        std::vector<std::string> words;
        if (f.mask != 0 && f.mask != whole(f.kind == DD_FFDC_UNSHOWN ? 1 : f.size))
            words.push_back("bits " + mask_text(f.mask, f.kind == DD_FFDC_UNSHOWN ? 1 : f.size));
        if (f.role != DD_FFDC_NO_ROLE) words.push_back(std::string("role ") + role_name(f.role));
        for (std::size_t i = 0; i < f.names.size(); ++i)
            if (f.names[i]) words.push_back(std::to_string(f.first_number + i) + " " + quoted(*f.names[i]));
        if (f.other && f.kind != DD_FFDC_FLAG) words.push_back("other " + quoted(*f.other));
        for (std::size_t i = 0; i + 1 < words.size(); ++i) words[i] += ",";
        put_wrapped(s, 16, words);
    }
}

std::string versions_text(unsigned first, unsigned last) {
    constexpr unsigned any = 0xffff;
    if (last == any) return first == 0 ? "any version" : "version " + std::to_string(first) + " and later";
    return first == last ? "version " + std::to_string(first)
                         : "versions " + std::to_string(first) + " to " + std::to_string(last);
}

void put_page(Session& s, int type, const Range& range) {
    const bool known = range.layout->state == DD_FFDC_OK;
    std::string text = type_name(type) + ", " + versions_text(range.first, range.last) + ": ";
    if (known && range.size != 0)
        text += (range.exact ? "exactly " : "") + std::to_string(range.size) + " bytes";
    else if (has_values(range))
        text += "unknown, shown as the newest layout, with a dump";
    else
        text += std::string(known ? "no layout" : "unknown") + ", the payload is shown as a dump";
    s.out.put("\n");
    s.out.put(Style::heading, text);
    s.out.put("\n");
    if (has_values(range)) put_fields(s, *range.layout, false);
}

}  // namespace

int show_layouts(Session& s) {
    std::vector<int> types;
    for (const std::string& name : s.options.files) types.push_back(parse_type(name, "TYPE"));
    if (types.empty())
        for (const int type : known_types())
            if (s.wants(type)) types.push_back(type);
    std::erase_if(types, [](int type) { return !dd_ffdc_type_name(type); });
    if (types.empty()) return exit_none;
    if (!s.options.json) {
        s.out.put(Style::heading, "Header of every record; offsets count from its first byte");
        s.out.put("\n");
        put_fields(s, layout_of(types.front(), 0), true);
    }
    Objects objects(s);
    for (const int type : types)
        for (const Range& range : ranges_of(type)) s.options.json ? objects.put(type, range) : put_page(s, type, range);
    return exit_ok;
}
