// The table language of the decoders. A Row is one printf-like format and the field that feeds it; both are checked
// against each other when the table is compiled. Rows exist at compile time only: packing/ packs them.
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

#include "field.hpp"

namespace ffdc {

// What a name is to programs: lower-case letters and digits, and '_' for whatever lies between them; in the name of a
// group the dots between its parts stay.
constexpr std::vector<char> key_of(std::string_view name, bool of_group = false) {
    std::vector<char> key;
    const auto end_word = [&] {
        if (!key.empty() && key.back() == '_') key.pop_back();
    };
    for (const char c : name) {
        const char lower = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        if ((lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9')) {
            key.push_back(lower);
        } else if (c == '.' && of_group) {
            end_word();
            key.push_back('.');
        } else if (!key.empty() && key.back() != '_' && key.back() != '.') {
            key.push_back('_');
        }
    }
    end_word();
    return key;
}
constexpr std::string_view view_of(const std::vector<char>& key) { return {key.data(), key.size()}; }

// The name of a value that no table prints.
struct Key {
    const char* text;

    consteval Key(const char* name) : text(name) {
        if (*name == '\0' || view_of(key_of(name)) != name)
            refuse(name, "a name is of lower-case letters, digits and underscores");
    }
};

// One conversion of a format, with the plain text that stands before it.
struct Conversion {
    std::size_t literal = 0;  // characters of plain text before the conversion
    std::size_t length = 0;   // characters of the conversion itself
    std::size_t width = 0;
    std::size_t precision = 0;  // 0: none given
    char kind = 0;              // one of d u x X p s
    bool zero = false;          // flag 0
    bool prefix = false;        // flag #
    bool wide = false;          // ll

    // Characters that a missing value fills with '?'.
    constexpr std::size_t shown() const { return std::max({width, precision, std::size_t{1}}); }
};

// A printf-like format, taken apart once, at compile time.
struct Format {
    static constexpr std::size_t max_conversions = 8;

    const char* text;
    std::size_t count = 0;
    std::size_t tail = 0;  // characters of plain text after the last conversion
    Conversion conversion[max_conversions] = {};
    const char* wrong = nullptr;

    consteval Format(const char* s, std::size_t size) : text(s) {
        const char *at = s, *start = s, *const end = s + size;
        const auto number = [&at] {
            int n = 0;
            for (; *at >= '0' && *at <= '9'; ++at) n = std::min(n * 10 + (*at - '0'), 1000);
            return static_cast<std::size_t>(n);
        };
        for (; at != end && !wrong; ++at) {
            if (*at != '%') continue;
            if (count == max_conversions) {
                wrong = "a format has at most eight conversions";
                return;
            }
            Conversion& c = conversion[count++];
            c.literal = static_cast<std::size_t>(at - start);
            start = at++;
            for (; *at == '0' || *at == '#'; ++at) (*at == '0' ? c.zero : c.prefix) = true;
            c.width = number();
            if (*at == '.') ++at, c.precision = number();
            if (*at == 'l') ++at;
            if (*at == 'l') ++at, c.wide = true;
            c.kind = *at;
            wrong = wrong_with(c);
            if (c.kind != 's' && c.precision != 0) c.zero = true;
            c.length = static_cast<std::size_t>(at + 1 - start);
            start = at + 1;
        }
        tail = static_cast<std::size_t>(end - start);
    }
    constexpr std::span<const Conversion> conversions() const { return {conversion, count}; }

private:
    static consteval const char* wrong_with(const Conversion& c) {
        if (std::string_view("duxXps").find(c.kind) == std::string_view::npos)
            return "a conversion is one of d u x X p s";
        if (c.width >= 32 || c.precision >= 32) return "a conversion is at most 31 wide";
        if (c.kind != 's' && c.width > 8 && (!c.wide || c.kind == 'd' || c.kind == 'u'))
            return "a number is at most eight wide, but for the digits of 64 bits";
        if (c.prefix && c.width != 0) return "a prefix goes without a width";
        if (c.kind != 's' && c.precision != 0 && (c.precision != c.width || c.kind == 'd'))
            return "the precision of a number equals its width";
        return nullptr;
    }
};

inline constexpr std::string_view invalid_longest = "INVALID (0xffffffff)";

// Characters that one conversion can print; without `any_number`, of a number that has a name.
constexpr std::size_t longest(const Field& f, const Conversion& c, bool any_number) {
    const auto size = [](const char* s) { return std::string_view(s).size(); };
    const bool is_signed = f.kind == Field::Kind::signed_number;
    std::size_t n = 0;
    switch (f.shown) {
        case Field::Shown::fixed: n = size(f.set); break;
        case Field::Shown::choice: n = std::max(size(f.set), size(f.clear)); break;
        case Field::Shown::name:
            for (const char* name : f.names.list) n = std::max(n, size(name));
            if (any_number) n = std::max(n, f.names.otherwise ? size(f.names.otherwise) : invalid_longest.size());
            break;
        case Field::Shown::itself:
            if (f.kind == Field::Kind::text) {
                n = f.width;
            } else if (c.kind == 'p') {
                n = 10;
            } else if (c.kind == 'd' || c.kind == 'u') {
                if (f.kind == Field::Kind::flag) {
                    n = 1;
                } else {
                    switch (f.bytes()) {
                        case 1: n = 3; break;
                        case 2: n = is_signed ? 6 : 5; break;
                        case 4: n = c.kind == 'd' ? 11 : 10; break;
                        default: n = 20;
                    }
                }
            } else {
                n = (is_signed && f.bytes() < 4 ? 8 : 2 * f.bytes()) + (c.prefix ? 2 : 0);
            }
    }
    return std::max({n, c.width, c.precision});
}

// The heading of a group: its text, and the name under which the values that follow are known.
struct Group {
    const char* name;
};
consteval Group group(const char* name) { return {name}; }

struct Row;

// Another table put into this one, its offsets counted from `base`, its values in a group of their own. (A span of rows
// would want to know a whole Row, of which this is a part.)
struct Section {
    const char* group;
    const Row* first;
    std::size_t count;
    Offsets base;

    constexpr std::span<const Row> rows() const;
};
// A section that can be printed by itself.
template <const auto& rows_of_it>
struct Placed : Section {
    static constexpr const auto& table = rows_of_it;
};

// A label for a value whose bytes another row names: it is printed, but not handed out a second time.
inline constexpr const char* again = "";

// One entry of a decoder's table. An array field repeats its format until all elements are printed. With `names`, each
// %s of the format prints the next name instead of a value.
struct Row {
    Format format;
    Field field;
    const char* label = nullptr;  // what the value is called, when its format does not say so
    std::span<const char* const> names = {};
    const char* group = nullptr;  // opens a group
    const char* wrong = nullptr;  // the first reason against the row
    Section section = {nullptr, nullptr, 0, 0};

    template <std::size_t N>
    consteval Row(const char (&text)[N], Field f = {}, const char* called = nullptr)
        : Row(Format(text, N - 1), f, called, {}) {}
    template <std::size_t N>
    consteval Row(const char (&text)[N], Field f, std::span<const char* const> each, const char* called = nullptr)
        : Row(Format(text, N - 1), f, called, each) {}
    template <std::size_t N>
    consteval Row(const char (&text)[N], Group opened, Field shown = {})
        : Row(Format(text, N - 1), shown, nullptr, {}) {
        group = opened.name;
    }
    consteval Row(Section inner) : format("", 0), wrong(inner.base.wrong()), section(inner) {}
    // A value that the text does not show.
    consteval Row(Field f, const char* called) : format("", 0), field(f), label(called), wrong(f.wrong) {}

    // What compilers show of a row that is wrong.
    constexpr Verdict refused(const char* reason) const {
        return {section.group ? section.group : *format.text ? format.text : label, reason};
    }
    consteval Verdict verdict() const { return refused(wrong); }
    constexpr Verdict refused(const char* reason, std::size_t byte) const {
        Verdict verdict = refused(reason);
        verdict.byte = static_cast<int>(byte);
        return verdict;
    }

    constexpr bool has_value() const { return field.kind != Field::Kind::nothing; }
    // Conversions that print a value, not one of the names.
    constexpr std::size_t values() const {
        return static_cast<std::size_t>(
            std::count_if(format.conversion, format.conversion + format.count,
                          [this](const Conversion& c) { return names.empty() || c.kind != 's'; }));
    }
    // How often the format is printed.
    constexpr std::size_t repeats() const { return values() == 0 ? 1 : field.count / values(); }
    constexpr bool hidden() const { return has_value() && format.count == 0; }
    constexpr bool shown_again() const { return label && *label == '\0'; }
    // Every element is called by its entry of `names`; under a label it is called by its index.
    constexpr bool names_elements() const { return !label && !names.empty() && names.size() == field.count; }

    // The label, or the text before the first conversion without padding, punctuation and register offset.
    constexpr std::string_view name() const {
        if (label) return label;
        if (names_elements()) return "";
        std::string_view s(format.text, format.conversion[0].literal);
        if (s.ends_with("0x")) s.remove_suffix(2);
        constexpr std::string_view junk = " \t\n:[(,/=";
        while (!s.empty() && junk.find(s.back()) != junk.npos) s.remove_suffix(1);
        while (!s.empty() && junk.find(s.front()) != junk.npos) s.remove_prefix(1);
        if (s.size() > 5 && s.substr(3, 2) == ": ") s.remove_prefix(5);
        return s;
    }

    constexpr std::vector<char> key(std::size_t element) const {
        return key_of(names_elements() ? names[element] : name());
    }

private:
    consteval Row(Format fmt, Field f, const char* called, std::span<const char* const> each)
        : format(fmt), field(f), label(called), names(each), wrong(wrong_with_it()) {}

    consteval const char* wrong_with_it() const {
        if (format.wrong) return format.wrong;
        if (field.wrong) return field.wrong;
        if (!has_value() && format.count != 0) return "the conversion has no field";
        if (has_value() && values() == 0) return "the field has no conversion to print it";
        for (const Conversion& c : format.conversions())
            if (const char* const reason = c.kind == 's' && !names.empty() ? nullptr : wrong_with(c)) return reason;
        if (values() != 0 && field.count % values() != 0) return "the elements do not fill the conversions evenly";
        if (!names.empty() && names.size() != (format.count - values()) * repeats()) return "one name for each %s";
        return nullptr;
    }
    consteval const char* wrong_with(const Conversion& c) const {
        const bool is_text = field.kind == Field::Kind::text || field.shown != Field::Shown::itself;
        if ((c.kind == 's') != is_text) return "%s prints texts and names, every other conversion numbers";
        if (field.shown == Field::Shown::name && c.width != 0) return "names of numbers bring their own blanks";
        if (is_text) return c.precision == 0 ? nullptr : "only names are cut to a precision";
        const std::size_t bytes = field.bytes();
        if (field.kind == Field::Kind::area) return "an area is dumped by itself";
        if (c.wide != (bytes == 8)) return "ll goes with 64-bit fields, and only with them";
        const bool is_signed = field.kind == Field::Kind::signed_number;
        if (c.kind == 'd' && bytes >= 4 && !is_signed) return "%d prints a word as a signed number";
        if (c.kind == 'u' && is_signed) return "%u prints an unsigned number";
        if (bytes == 8 && (c.kind == 'x' || c.kind == 'X') && (!c.zero || c.width != 16))
            return "a 64-bit field shows all its hexadecimal digits";
        if (c.kind == 'p' && bytes != 4) return "%p prints a 32-bit field";
        return nullptr;
    }
};

using Table = std::span<const Row>;

constexpr Table Section::rows() const { return {first, count}; }
consteval Section section(const char* group, Table rows, Offsets base) {
    return {group, rows.data(), rows.size(), base};
}
template <const auto& rows>
consteval Placed<rows> section(const char* group, Offsets base) {
    return {section(group, Table(rows), base)};
}

// One value of a table in one layout: everything that packing and proofs want to know about it.
struct Element {
    const Row& row;
    std::size_t index;       // of the element in its field
    std::size_t at;          // offset of the element in the payload
    std::string_view group;  // "" outside any group
};

// The name of a group inside another one.
constexpr std::vector<char> group_inside(std::string_view outer, std::string_view group) {
    std::vector<char> name(outer.begin(), outer.end());
    if (!outer.empty() && !group.empty()) name.push_back('.');
    name.insert(name.end(), group.begin(), group.end());
    return name;
}

// Visits every row that a layout shows, sections unfolded: visit(row, base, group). The groups of a section are inside
// the section's own.
template <typename Visit>
constexpr void each_row(Table rows, std::size_t layout, std::size_t base, std::string_view outer, const Visit& visit) {
    std::vector<char> group(outer.begin(), outer.end());
    for (const Row& row : rows) {
        if (row.section.group) {
            if (row.section.base.present(layout))
                each_row(row.section.rows(), layout, base + row.section.base[layout],
                         view_of(group_inside(outer, row.section.group)), visit);
        } else if (row.field.at.present(layout)) {
            if (row.group) group = group_inside(outer, row.group);
            visit(row, base, view_of(group));
        }
    }
}

// Visits every value that a layout has.
template <typename Visit>
constexpr void each_element(Table rows, std::size_t layout, const Visit& visit) {
    each_row(rows, layout, 0, {}, [&](const Row& row, std::size_t base, std::string_view group) {
        if (!row.has_value()) return;
        for (std::size_t e = 0; e < row.field.count; ++e)
            visit(Element{row, e, base + row.field.at[layout] + e * row.field.width, group});
    });
}

// Offset columns of a table: 1 when all layouts share their offsets. 0 when two rows disagree.
constexpr std::size_t columns(Table rows) {
    std::size_t most = 1;
    for (const Row& row : rows) {
        for (std::size_t n : {row.field.at.columns(), row.section.base.columns(), columns(row.section.rows())}) {
            if (n == 1 || n == most) continue;
            if (n == 0 || most != 1) return 0;
            most = n;
        }
    }
    return most;
}

// The first row that is wrong by itself.
constexpr Verdict fault_of(Table rows) {
    for (const Row& row : rows) {
        if (row.wrong) return row.refused(row.wrong);
        if (const Verdict inner = fault_of(row.section.rows()); inner.reason) return inner;
    }
    return {};
}

}  // namespace ffdc
