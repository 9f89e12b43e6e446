// What the compiler proves about a body, layout by layout.
#pragma once

#include <array>
#include <initializer_list>

#include "body.hpp"
#include "fault.hpp"
#include "layouts.hpp"

namespace ffdc {

// The sizes of layouts and the first versions of those that a driver declares, a column each.
struct Sizes {
    std::size_t size[max_layouts] = {}, count = 0;
    std::uint32_t first[max_layouts] = {};
    const char* wrong = nullptr;

    consteval Sizes(std::initializer_list<std::size_t> list) {
        for (const std::size_t bytes : list) add(bytes, 0);
    }
    template <std::size_t n>
    consteval Sizes(const DriverLayout (&layouts)[n]) : Sizes(std::span<const DriverLayout>(layouts)) {}
    consteval Sizes(std::span<const DriverLayout> layouts) {
        for (std::size_t i = 0; i < layouts.size(); ++i) {
            const Versions& v = layouts[i].versions;
            add(v.size, v.first);
            if (v.first > v.last || (i != 0 && layouts[i - 1].versions.last >= v.first))
                wrong = "the versions of the layouts are not in order";
            if ((layouts[i].exact == nullptr) != (layouts[0].exact == nullptr))
                wrong = "either all layouts have an exact length or none";
        }
    }
    // The layout that begins with a version, or `count`.
    consteval std::size_t column(std::uint32_t version) const {
        return static_cast<std::size_t>(std::find(first, first + count, version) - first);
    }

private:
    consteval void add(std::size_t bytes, std::uint32_t version) {
        if (bytes > max_layout) wrong = "a layout has at most 1024 bytes";
        if (count == max_layouts) wrong = "a driver has at most five layouts";
        if (wrong) return;
        first[count] = version;
        size[count++] = bytes;
    }
};

// Visits the sections that a layout shows, in text order. For a choice it calls choice(node, layout), which visits the
// alternatives.
template <typename Visit, typename Choose>
constexpr void each_section(const Node& node, const Sizes& sizes, std::size_t layout, const Visit& visit,
                            const Choose& choice) {
    switch (node.kind) {
        case Node::Kind::choice: return choice(node);
        case Node::Kind::since:
            if (sizes.first[layout] < node.version) return;
            break;
        case Node::Kind::before:
            if (sizes.first[layout] >= node.version) return;
            break;
        case Node::Kind::all: break;
        default: return visit(node);
    }
    for (const Node& section : node.each()) each_section(section, sizes, layout, visit, choice);
}

// Refuses a row with a wrong number of offset columns: neither one, nor one for each layout, nor `shown`: one for each
// up to the last layout that shows the row.
constexpr Verdict odd_columns(Table rows, std::size_t layouts, std::size_t shown) {
    for (const Row& row : rows) {
        for (const Offsets& at : {row.field.at, row.section.base})
            if (at.columns() != 1 && at.columns() != layouts && at.columns() != shown)
                return row.refused("an offset column is missing or one too many");
        if (const Verdict inner = odd_columns(row.section.rows(), layouts, shown); inner.reason) return inner;
    }
    return {};
}

// What names a section in messages: the text of its first row.
constexpr const char* first_text(const Node& node) {
    if (node.row_count != 0) return node.rows[0].refused("").row;
    for (const Node& section : node.each())
        if (const char* const text = first_text(section); *text) return text;
    return "";
}

// What is wrong with a body in every layout.
consteval Verdict fault_of(const Node& node, const Sizes& sizes, std::size_t shown, std::size_t nesting = 0) {
    if (node.kind == Node::Kind::rows) {
        if (const Verdict fault = fault_of(node.table()); fault.reason) return fault;
        if (const Verdict fault = odd_columns(node.table(), sizes.count, shown); fault.reason) return fault;
    }
    if (node.kind == Node::Kind::choice && ++nesting > max_nesting)
        return {first_text(node), "choices are nested at most eight deep"};
    if (node.kind == Node::Kind::choice && node.condition->field.wrong)
        return {first_text(node), node.condition->field.wrong};
    if (node.kind == Node::Kind::since || node.kind == Node::Kind::before) {
        const std::size_t column = sizes.column(node.version);
        if (column == sizes.count) return {first_text(node), "no layout begins with the version of the section"};
        if (node.kind == Node::Kind::before) shown = column;
    }
    for (const Node& section : node.each())
        if (const Verdict fault = fault_of(section, sizes, shown, nesting); fault.reason) return fault;
    return {};
}

// One layout of a body. A value is compared with those that can be shown together with it: alternatives of a choice do
// not see one another.
class Prover {
public:
    Verdict verdict;

    constexpr Prover(const Node& body, const Sizes& sizes, std::size_t layout) : sizes_(sizes), layout_(layout) {
        prove(body);
        for (const Node* text : texts_) prove_texts(*text);
    }

private:
    struct Value {
        const Row* row;
        std::size_t begin, end;
        Field field;
        std::vector<char> group, key;  // no key: an element of an array that is named by its index, or a repetition
        bool is_embedded;
        bool seen = true;  // by the value that is being proved
    };
    const Sizes& sizes_;
    std::size_t layout_;
    std::vector<Value> values_;
    std::vector<const Node*> texts_;

    constexpr void fail(const Verdict& fault) {
        if (!verdict.reason) verdict = fault;
    }

    constexpr void prove(const Node& node) {
        each_section(
            node, sizes_, layout_, [&](const Node& section) { add(section); },
            [&](const Node& choice) {
                const Field& field = choice.condition->field;
                if (!field.at.present(layout_))
                    fail({first_text(choice), "the field of the condition is not in the layout"});
                else if (field.at[layout_] + field.width > sizes_.size[layout_])
                    fail({first_text(choice), "the field of the condition is not in the layout",
                          static_cast<int>(field.at[layout_])});
                const std::size_t first = values_.size();
                prove(choice.each()[0]);
                const std::size_t second = values_.size();
                see(first, second, false);
                prove(choice.each()[1]);
                see(first, second, true);
            });
    }
    constexpr void see(std::size_t begin, std::size_t end, bool seen) {
        for (std::size_t i = begin; i < end; ++i) values_[i].seen = seen;
    }

    constexpr void add(const Node& section) {
        if (section.kind != Node::Kind::rows) return;
        texts_.push_back(&section);
        each_element(section.table(), layout_, [&](const Element& e) {
            const bool named = !e.row.shown_again() && (e.index == 0 || e.row.names_elements());
            Value value = {&e.row, e.at, e.at + e.row.field.width, e.row.field, {}, {}, section.is_embedded};
            if (named) {
                value.group = key_of(e.group, true);
                value.key = e.row.key(e.index);
                if (value.key.empty()) fail(e.row.refused("the value needs a label", value.begin));
            }
            if (value.end > sizes_.size[layout_])
                return fail(e.row.refused("the field ends behind its layout", value.end - 1));
            for (const Value& other : values_)
                if (other.seen) compare(value, other);
            values_.push_back(value);
        });
    }

    constexpr void compare(const Value& value, const Value& other) {
        if (!value.key.empty() && value.key == other.key && value.group == other.group)
            fail(value.row->refused("another value of the group has this name", value.begin));
        if (value.field.role != Role::none && value.field.role == other.field.role &&
            value.is_embedded == other.is_embedded && value.row != other.row)
            fail(value.row->refused("another value has this role", value.begin));
        if (value.begin >= other.end || other.begin >= value.end) return;
        if (value.begin != other.begin || value.end != other.end)
            return fail(value.row->refused("the field overlaps another one", std::max(value.begin, other.begin)));
        if (value.row->shown_again() || other.row->shown_again() || value.field.shared || other.field.shared) return;
        // A number and some of its bits may both be shown.
        if (value.field.whole() != other.field.whole()) return;
        for (std::size_t i = 0; i < value.field.width; ++i)
            if ((value.field.bits_of(i) & other.field.bits_of(i)) != 0)
                return fail(value.row->refused("another value has these bits", value.begin + i));
    }

    // A text that only some layouts show is shown with a value.
    constexpr void prove_texts(const Node& section) {
        each_row(section.table(), layout_, 0, {}, [&](const Row& row, std::size_t base, std::string_view) {
            if (row.has_value() || row.field.at.columns() == 1) return;
            const std::size_t at = base + row.field.at[layout_];
            if (std::none_of(values_.begin(), values_.end(), [&](const Value& v) { return v.begin == at; }))
                fail(row.refused("the text is shown with a value that is not there", at));
        });
    }
};

// Every field must have one offset for each layout that shows it (or one for all) and be inside its layout. Values that
// can be shown together must have different names, and share bytes only as a number and some of its bits, unless their
// rows say `again` or `shared`; at most one of them has each role. A text that only some layouts show must be shown
// with a value. Compilers show row, reason and byte of what is not so.
consteval Verdict sound(const Node& body, const Sizes& sizes) {
    if (sizes.wrong) return {first_text(body), sizes.wrong};
    if (const Verdict fault = fault_of(body, sizes, sizes.count); fault.reason) return fault;
    for (std::size_t layout = 0; layout < sizes.count; ++layout)
        if (const Verdict verdict = Prover(body, sizes, layout).verdict; verdict.reason) return verdict;
    return {};
}

// Visits the values that any alternative of a layout shows.
template <typename Visit>
constexpr void each_possible_element(const Node& body, const Sizes& sizes, std::size_t layout, const Visit& visit) {
    each_section(
        body, sizes, layout,
        [&](const Node& section) {
            if (section.kind == Node::Kind::rows) each_element(section.table(), layout, visit);
        },
        [&](const Node& choice) {
            for (const Node& section : choice.each()) each_possible_element(section, sizes, layout, visit);
        });
}

// No value of any alternative shows the listed bits of a layout, and values show all others.
consteval Verdict unshown(const Node& body, const Sizes& sizes, std::size_t layout, const Bytes& listed) {
    if (listed.fault.reason) return listed.fault;
    if (fault_of(body, sizes, sizes.count).reason) return {};  // sound() reports it
    // First what a row is to blame for.
    Verdict verdict;
    std::array<std::uint8_t, max_layout> shown{};
    each_possible_element(body, sizes, layout, [&](const Element& e) {
        for (std::size_t i = 0; i < e.row.field.width && e.at + i < max_layout; ++i) {
            shown[e.at + i] |= e.row.field.bits_of(i);
            if ((listed.bits[e.at + i] & e.row.field.bits_of(i)) != 0 && !verdict.reason)
                verdict = e.row.refused("the byte is listed as not shown", e.at + i);
        }
    });
    if (verdict.reason) return verdict;
    for (std::size_t at = 0; at < max_layout; ++at) {
        const bool inside = at < sizes.size[layout];
        if (listed.bits[at] != 0 && !inside)
            return {"", "the byte is listed as not shown, but lies behind its layout", static_cast<int>(at)};
        const unsigned missing = 0xffu & ~(listed.bits[at] | shown[at]);
        if (inside && missing != 0)
            return {"",
                    missing == 0xff ? "the byte is not shown, and not listed so"
                                    : "bits of the byte are not shown, and not listed so",
                    static_cast<int>(at)};
    }
    return {};
}

consteval Verdict unshown(const Node& body, std::span<const DriverLayout> layouts) {
    for (std::size_t i = 0; i < layouts.size(); ++i)
        if (const Verdict verdict = unshown(body, layouts, i, layouts[i].unshown); verdict.reason) return verdict;
    return {};
}

// Both of the above.
consteval Verdict proof_of(const Node& body, std::span<const DriverLayout> layouts) {
    const Verdict verdict = sound(body, layouts);
    return verdict.reason ? verdict : unshown(body, layouts);
}

// Longest text that a table can print in one layout, for numbers that have names and texts that fill their fields.
constexpr std::size_t longest_text(Table rows, std::size_t layout) {
    std::size_t total = 0;
    each_row(rows, layout, 0, {}, [&](const Row& row, std::size_t, std::string_view) {
        std::size_t name = 0;
        for (std::size_t repeat = 0; repeat < row.repeats(); ++repeat) {
            for (const Conversion& c : row.format.conversions())
                total += c.literal + (c.kind == 's' && !row.names.empty()
                                          ? std::max(std::string_view(row.names[name++]).size(), std::size_t{c.width})
                                          : longest(row.field, c, false));
            total += row.format.tail;
        }
    });
    return total;
}
// The same of a body, without raw dumps and texts that a function makes.
constexpr std::size_t longest_text(const Node& body, const Sizes& sizes, std::size_t layout) {
    std::size_t total = 0;
    each_section(
        body, sizes, layout,
        [&](const Node& section) {
            const bool absent = section.is_embedded && !section.rows->section.base.present(layout);
            total += (absent ? 0 : section.text) + longest_text(section.table(), layout);
        },
        [&](const Node& choice) {
            total +=
                std::max(longest_text(choice.each()[0], sizes, layout), longest_text(choice.each()[1], sizes, layout));
        });
    return total;
}

}  // namespace ffdc
