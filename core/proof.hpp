// What a decoder proves about its tables with static_assert.
#pragma once

#include <array>
#include <initializer_list>

#include "layouts.hpp"
#include "table.hpp"

namespace ffdc {

// The sizes of layouts, a column each: those of a driver, or as they come.
struct Sizes {
    std::size_t size[max_layouts] = {}, count = 0;

    consteval Sizes(std::initializer_list<std::size_t> list) : count(list.size()) {
        std::copy(list.begin(), list.end(), size);
    }
    consteval Sizes(std::span<const Versions> layouts) : count(layouts.size()) {
        for (std::size_t i = 0; i < count; ++i) {
            size[i] = layouts[i].size;
            require(layouts[i].first <= layouts[i].last && (i == 0 || layouts[i - 1].last < layouts[i].first), "",
                    "the versions of the layouts are not in order");
        }
    }
    template <std::size_t N>
    consteval Sizes(const Versions (&layouts)[N]) : Sizes(std::span<const Versions>(layouts)) {}
};

// Every field must have one offset for each layout (or one for all), lie inside its layout, share no byte with another
// field unless both are the same bytes, and have a name that no other value of its group has. A text that only some
// layouts show must be shown with a value.
// A table that is not does not compile, and the compiler shows row and reason.
consteval bool sound(std::initializer_list<Table> tables, Sizes sizes) {
    auto fail = [](const Row& row, const char* reason) { require(false, row.format.text, reason); };
    for (Table table : tables) {
        const std::size_t n = columns(table);
        if (n != 1 && n != sizes.count) fail(table.front(), "an offset column is missing or one too many");
    }
    for (std::size_t layout = 0; layout < sizes.count; ++layout) {
        std::array<std::size_t, max_layout> begin_of{}, end_of{};
        struct Known {
            std::vector<char> group, key;
        };
        std::vector<Known> seen;
        for (Table table : tables) {
            each_element(table, layout, [&](const Element& e) {
                const Row& row = e.row;
                const std::size_t begin = e.at, end = begin + row.field.width;
                if (end > sizes.size[layout]) return fail(row, "the field ends behind its layout");
                for (std::size_t i = begin; i < end; ++i) {
                    if (end_of[i] != 0 && (begin_of[i] != begin || end_of[i] != end))
                        return fail(row, "the field overlaps another one");
                    begin_of[i] = begin;
                    end_of[i] = end;
                }
                if (row.shown_again()) return;
                if (e.index != 0 && !row.names_elements()) return;
                const Known known = {key_of(e.group, true), row.key(e.index)};
                if (known.key.empty()) return fail(row, "the value needs a label");
                for (const Known& other : seen)
                    if (other.key == known.key && other.group == known.group)
                        fail(row, "another value of the group has this name");
                seen.push_back(known);
            });
        }
        for (Table table : tables)
            each_row(table, layout, 0, {}, [&](const Row& row, std::size_t base, std::string_view) {
                if (row.has_value() || row.field.at.columns() == 1) return;
                const std::size_t at = base + row.field.at[layout];
                if (at >= sizes.size[layout] || end_of[at] == 0 || begin_of[at] != at)
                    fail(row, "the text is shown with a value that is not there");
            });
    }
    return true;
}

// A set of payload bytes, written as ranges: Bytes{{2, 3}, {15, 15}}.
struct Bytes {
    struct Range {
        std::size_t first, last;
    };
    std::array<bool, max_layout> in{};

    consteval Bytes() = default;
    consteval Bytes(std::initializer_list<Range> ranges) {
        for (const Range& r : ranges) std::fill(in.begin() + r.first, in.begin() + r.last + 1, true);
    }
    bool operator==(const Bytes&) const = default;
};

// The bytes of one layout that no row shows; `areas` are those that the decoder looks at or dumps itself.
consteval Bytes unread(std::initializer_list<Table> tables, Sizes sizes, std::size_t layout,
                       std::initializer_list<Field> areas = {}) {
    Bytes bytes = {{0, sizes.size[layout] - 1}};
    for (Table table : tables)
        each_element(table, layout,
                     [&](const Element& e) { std::fill_n(bytes.in.begin() + e.at, e.row.field.width, false); });
    for (const Field& f : areas) std::fill_n(bytes.in.begin() + f.at[layout], f.width * f.count, false);
    return bytes;
}

// Longest text that tables can print in one layout, for numbers that have names and texts that fill their fields.
consteval std::size_t longest_text(std::initializer_list<Table> tables, std::size_t layout) {
    std::size_t total = 0;
    for (Table table : tables)
        each_row(table, layout, 0, {}, [&](const Row& row, std::size_t, std::string_view) {
            std::size_t name = 0;
            for (std::size_t repeat = 0; repeat < row.repeats(); ++repeat) {
                for (const Conversion& c : row.format.conversions())
                    total +=
                        c.literal + (c.kind == 's' && !row.names.empty()
                                         ? std::max(std::string_view(row.names[name++]).size(), std::size_t{c.width})
                                         : packing::longest(row.field, c, false));
                total += row.format.tail;
            }
        });
    return total;
}

}  // namespace ffdc
