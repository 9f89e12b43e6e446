// Which versions of a payload share a layout, and what a driver declares of each.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <span>

#include "fault.hpp"

namespace ffdc {

inline constexpr std::uint16_t any = 0xffff;     // as the last version: all later ones, too
inline constexpr std::size_t max_layout = 1024;  // bytes

// The versions of a layout, which is a column of the driver's tables.
struct Versions {
    std::uint16_t first, last;
    std::uint16_t size;         // bytes; 0 where the payload is dumped, whatever its length
    std::uint16_t whole = any;  // later versions contain more than this library knows
};

// The layout that shows a version: its own, or that of the newest version before it.
struct Chosen {
    std::size_t column = 0;
    bool known = false;  // the version has a layout
    bool newer = false;  // the version contains more than its layout
    std::size_t size = 0;
};
constexpr Chosen choose_layout(std::span<const Versions> layouts, std::uint32_t version) {
    Chosen chosen;
    while (chosen.column + 1 < layouts.size() && version >= layouts[chosen.column + 1].first) ++chosen.column;
    const Versions& row = layouts[chosen.column];
    chosen.known = version >= row.first && (version <= row.last || row.last == any);
    if (!chosen.known) return chosen;
    chosen.newer = version > row.whole && row.whole != any;
    chosen.size = row.size;
    return chosen;
}

// A set of payload bytes, written as ranges: {{2, 3}, {15, 15}}, or of some bits of them: {{8, 8, 0x40}}.
struct Bytes {
    struct Range {
        std::size_t first, last;
        std::uint8_t bits = 0xff;
    };
    std::array<std::uint8_t, max_layout> bits{};
    Verdict fault;

    consteval Bytes() = default;
    consteval Bytes(std::initializer_list<Range> ranges) {
        for (const Range& r : ranges) {
            if (r.first > r.last || r.last >= max_layout) {
                fault = {"", "a range of bytes ends before it begins, or behind every layout",
                         static_cast<int>(r.last)};
            } else {
                for (std::size_t i = r.first; i <= r.last; ++i) bits[i] |= r.bits;
            }
        }
    }
    friend consteval Bytes operator|(Bytes a, const Bytes& b) {
        std::transform(a.bits.begin(), a.bits.end(), b.bits.begin(), a.bits.begin(), std::bit_or<>());
        if (b.fault.reason) a.fault = b.fault;
        return a;
    }
};

// A layout as its driver declares it, one for each column of the driver's tables.
struct DriverLayout {
    Versions versions;
    Bytes unshown = {};  // no value shows these, and values show all others
    // Not null: a payload of any other length shows nothing but this word, both lengths and a dump.
    const char* exact = nullptr;
};

}  // namespace ffdc
