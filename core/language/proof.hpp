// What a decoder proves about its tables with static_assert.
#pragma once

#include <array>
#include <initializer_list>

#include "fault.hpp"
#include "layouts.hpp"
#include "row.hpp"

namespace ffdc {

// The sizes of layouts, a column each: those of a driver, or as they come.
struct Sizes {
    std::size_t size[max_layouts] = {}, count = 0;
    const char* wrong = nullptr;

    consteval Sizes(std::initializer_list<std::size_t> list) {
        for (const std::size_t bytes : list) add(bytes);
    }
    consteval Sizes(std::span<const Versions> layouts) {
        for (std::size_t i = 0; i < layouts.size(); ++i) {
            add(layouts[i].size);
            if (layouts[i].first > layouts[i].last || (i != 0 && layouts[i - 1].last >= layouts[i].first))
                wrong = "the versions of the layouts are not in order";
        }
    }
    template <std::size_t N>
    consteval Sizes(const Versions (&layouts)[N]) : Sizes(std::span<const Versions>(layouts)) {}

private:
    consteval void add(std::size_t bytes) {
        if (bytes > max_layout) wrong = "a layout has at most 1024 bytes";
        if (count == max_layouts) wrong = "a driver has at most five layouts";
        if (!wrong) size[count++] = bytes;
    }
};

// The first row with another number of offset columns than one or one a layout.
constexpr const Row* odd_columns(Table rows, std::size_t layouts) {
    for (const Row& row : rows) {
        for (const Offsets& at : {row.field.at, row.section.base})
            if (at.columns() != 1 && at.columns() != layouts) return &row;
        if (const Row* inner = odd_columns(row.section.rows(), layouts)) return inner;
    }
    return nullptr;
}

// Every field must have one offset for each layout (or one for all), lie inside its layout, share no byte with another
// field unless both are the same bytes, and have a name that no other value of its group has. A text that only some
// layouts show must be shown with a value.
// A table that is not does not compile, and the compiler shows row, reason and byte.
consteval Verdict sound(Table rows, Sizes sizes) {
    if (sizes.wrong) return {"", sizes.wrong};
    Verdict verdict = fault_of(rows);
    if (verdict.reason) return verdict;
    if (const Row* row = odd_columns(rows, sizes.count))
        return row->refused("an offset column is missing or one too many");
    for (std::size_t layout = 0; layout < sizes.count; ++layout) {
        std::array<std::size_t, max_layout> begin_of{}, end_of{};
        struct Known {
            std::vector<char> group, key;
            bool operator==(const Known&) const = default;
        };
        std::vector<Known> seen;
        each_element(rows, layout, [&](const Element& e) {
            const Row& row = e.row;
            const auto fail = [&](const char* reason, std::size_t at) {
                if (!verdict.reason) verdict = row.refused(reason, at);
            };
            const std::size_t begin = e.at, end = begin + row.field.width;
            if (end > sizes.size[layout]) return fail("the field ends behind its layout", end - 1);
            for (std::size_t i = begin; i < end; ++i) {
                if (end_of[i] != 0 && (begin_of[i] != begin || end_of[i] != end))
                    return fail("the field overlaps another one", i);
                begin_of[i] = begin;
                end_of[i] = end;
            }
            if (row.shown_again() || (e.index != 0 && !row.names_elements())) return;
            const Known known = {key_of(e.group, true), row.key(e.index)};
            if (known.key.empty()) return fail("the value needs a label", begin);
            if (std::find(seen.begin(), seen.end(), known) != seen.end())
                fail("another value of the group has this name", begin);
            seen.push_back(known);
        });
        each_row(rows, layout, 0, {}, [&](const Row& row, std::size_t base, std::string_view) {
            if (row.has_value() || row.field.at.columns() == 1) return;
            const std::size_t at = base + row.field.at[layout];
            if (!verdict.reason && (at >= sizes.size[layout] || end_of[at] == 0 || begin_of[at] != at))
                verdict = row.refused("the text is shown with a value that is not there", at);
        });
    }
    return verdict;
}

// A set of payload bytes, written as ranges: {{2, 3}, {15, 15}}.
struct Bytes {
    struct Range {
        std::size_t first, last;
    };
    std::array<bool, max_layout> in{};
    Verdict fault;

    consteval Bytes() = default;
    consteval Bytes(std::initializer_list<Range> ranges) {
        for (const Range& r : ranges) {
            if (r.first > r.last || r.last >= max_layout) {
                fault = {"", "a range of bytes ends before it begins, or behind every layout",
                         static_cast<int>(r.last)};
            } else {
                std::fill(in.begin() + r.first, in.begin() + r.last + 1, true);
            }
        }
    }
    friend consteval Bytes operator|(Bytes a, const Bytes& b) {
        std::transform(a.in.begin(), a.in.end(), b.in.begin(), a.in.begin(), std::logical_or<>());
        if (b.fault.reason) a.fault = b.fault;
        return a;
    }
};

// No value shows these bytes of a layout, and values show all others.
consteval Verdict unshown(Table rows, Sizes sizes, std::size_t layout, Bytes listed) {
    if (listed.fault.reason) return listed.fault;
    if (fault_of(rows).reason) return {};  // which sound() says
    // First what a row is to blame for.
    Verdict verdict;
    std::array<bool, max_layout> shown{};
    each_element(rows, layout, [&](const Element& e) {
        for (std::size_t at = e.at; at < std::min(e.at + e.row.field.width, max_layout); ++at) {
            shown[at] = true;
            if (listed.in[at] && !verdict.reason) verdict = e.row.refused("the byte is listed as not shown", at);
        }
    });
    if (verdict.reason) return verdict;
    for (std::size_t at = 0; at < max_layout; ++at) {
        const bool inside = at < sizes.size[layout];
        if (listed.in[at] && !inside)
            return {"", "the byte is listed as not shown, but lies behind its layout", static_cast<int>(at)};
        if (inside && !listed.in[at] && !shown[at])
            return {"", "the byte is not shown, and not listed so", static_cast<int>(at)};
    }
    return {};
}
// The same bytes of every layout.
consteval Verdict unshown(Table rows, Sizes sizes, Bytes listed) {
    for (std::size_t layout = 0; layout < sizes.count; ++layout)
        if (const Verdict verdict = unshown(rows, sizes, layout, listed); verdict.reason) return verdict;
    return {};
}

// Longest text that a table can print in one layout, for numbers that have names and texts that fill their fields.
consteval std::size_t longest_text(Table rows, std::size_t layout) {
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

}  // namespace ffdc
