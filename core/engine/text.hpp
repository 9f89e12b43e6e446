// The text helpers that the library shares with its callers.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace ffdc {

inline constexpr std::size_t dump_line = 67;   // characters of a dump line
inline constexpr std::size_t dump_slack = 69;  // a dump stops when no more room than this is left

// The raw dump. All functions: see pretty_print, scnprintf and test_bit in the public header.
int dump(const void* data, int length, char* out, int room);
int format(char* out, int size, const char* format, std::va_list arguments);
constexpr int bit_of(std::uint32_t value, std::uint32_t n) { return n < 32 ? value >> n & 1 : 0; }

}  // namespace ffdc
