// Which versions of a payload share a layout: what decoders choose by, proofs hold tables against, and programs ask
// for.
#pragma once

#include <cstdint>

namespace ffdc {

inline constexpr std::uint16_t any = 0xffff;  // as the last version: all later ones, too

// A layout of a driver. Its place in the driver's list, which goes by versions, is its column in tables.
struct Versions {
    std::uint16_t first, last;
    std::uint16_t size;         // bytes; 0 where the payload is dumped, whatever its length
    std::uint16_t whole = any;  // later versions hold more than this library knows
};

}  // namespace ffdc
