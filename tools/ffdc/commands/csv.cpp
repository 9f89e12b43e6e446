// Comma-separated values, as RFC 4180 has them: a row for every record, or for every value of one.
#include <algorithm>
#include <array>
#include <utility>

#include "commands/commands.hpp"

namespace {

class Lines {
public:
    explicit Lines(Session& s) : out_(s.out), guards_(s.options.no_formulas) {}

    // Of letters, digits and the like.
    void put_word(std::string_view word) {
        line_ += std::exchange(comma_, ",");
        line_ += word;
    }
    void put(const Cell& cell) {
        Cell::Room room;
        const std::string_view text = cell.for_machines(room);
        cell.kind == Cell::Kind::text ? put_text(text, cell.is_from_record) : put(text);
    }
    // Text that a record or a file's name may have chosen.
    void put_text(std::string_view cell, bool from_record) {
        const bool guarded = guards_ && !cell.empty() && formulas.find(cell[0]) != formulas.npos;
        const std::size_t begin = line_.size();
        put(cell, from_record, guarded ? "'" : "");
        out_.sanitize(line_.data() + begin, line_.size() - begin);
    }
    // Bytes of a record become the characters of the same numbers, as in JSON.
    void put(std::string_view cell, bool from_record = false, const char* before = "") {
        unsigned seen = 0;
        for (const char c : cell) seen |= looks[static_cast<unsigned char>(c)];
        line_ += std::exchange(comma_, ",");
        if (seen & quoted) line_ += '"';
        line_ += before;
        if ((seen & (quoted | (from_record ? high : 0))) == 0) {
            line_ += cell;
            return;
        }
        for (const char c : cell) {
            const auto byte = static_cast<unsigned char>(c);
            if (c == '"') line_ += '"';
            if (from_record && byte >= 0x80) line_ += static_cast<char>(0xc0 | byte >> 6);
            line_ += from_record && byte >= 0x80 ? static_cast<char>(0x80 | (byte & 0x3f)) : c;
        }
        if (seen & quoted) line_ += '"';
    }
    void end() {
        line_ += "\r\n";
        out_.put(line_);
        line_.clear();
        comma_ = "";
    }

    // What several lines begin with.
    std::string take() {
        comma_ = "";
        return std::exchange(line_, {});
    }
    void begin(std::string_view cells) {
        line_ += cells;
        comma_ = ",";
    }

private:
    static constexpr std::string_view formulas = "=+-@\t\r\n";  // what they begin with in spreadsheets
    static constexpr std::uint8_t quoted = 1, high = 2;
    static constexpr auto looks = [] {
        std::array<std::uint8_t, 256> looks{};
        for (const char c : {',', '"', '\r', '\n'}) looks[static_cast<unsigned char>(c)] = quoted;
        std::fill(looks.begin() + 0x80, looks.end(), high);
        return looks;
    }();
    Output& out_;
    const bool guards_;
    std::string line_;
    const char* comma_ = "";
};

template <typename Names>
void put_headings(const Session& s, Lines& lines, const Names& names) {
    if (s.options.no_legend) return;
    for (const auto& name : names) lines.put(name);
    lines.end();
}

int csv_of_records(Session& s, Lines& lines) {
    const std::vector<std::string> names = s.options.columns.empty() ? fixed_columns() : s.options.columns;
    Columns columns(names, "--columns");
    put_headings(s, lines, names);
    return s.each_entry([&](const Entry& entry) {
        const int state = columns.read(entry);
        for (const Cell& cell : columns.cells()) lines.put(cell);
        lines.end();
        return state;
    });
}

int csv_of_values(Session& s, Lines& lines) {
    const std::vector<std::string> of_record = {"file", "offset", "index", "type", "version"};
    Columns columns(of_record, "");
    Values values;
    std::vector<std::string> all = of_record;
    all.insert(all.end(), {"group", "name", "element", "number", "text"});
    put_headings(s, lines, all);
    return s.each_entry([&](const Entry& entry) {
        const int state = values.read(entry);
        columns.read(entry, Need::entry);
        for (const Cell& cell : columns.cells()) lines.put(cell);
        const std::string record = lines.take();
        for (const Value& v : values.shown()) {
            lines.begin(record);
            lines.put_word(v.group);
            lines.put_word(v.name);
            lines.put_word(v.index < 0 ? "" : std::to_string(v.index));
            lines.put_word(v.number_text());
            char text[32];
            if (v.kind == DD_FFDC_TEXT && !v.missing)
                lines.put_text(v.text, true);
            else if (v.kind == DD_FFDC_BYTES && !v.missing)
                lines.put_word(hex_digits(v.bytes));
            else
                lines.put(v.missing ? "" : plain_text(v, v.text, text));
            lines.end();
        }
        return state;
    });
}

}  // namespace

int csv(Session& s) {
    Lines lines(s);
    return s.options.values ? csv_of_values(s, lines) : csv_of_records(s, lines);
}
