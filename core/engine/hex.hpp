// Digits. Hexadecimal ones come straight from the bytes in memory order: a table of pairs everywhere, and SSE2 where
// the compiler has it. What is documented to write n characters writes just those.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ffdc {

struct Pair {
    char c[2];
};

template <char ten>  // the digit for 10: 'a' or 'A'
inline constexpr std::array<Pair, 256> hex_pairs = [] {
    std::array<Pair, 256> pairs{};
    auto digit = [](std::size_t n) { return static_cast<char>(n < 10 ? '0' + n : ten + n - 10); };
    for (std::size_t i = 0; i < 256; ++i) pairs[i] = {{digit(i >> 4), digit(i & 15)}};
    return pairs;
}();

#if defined(__SSE2__)
// The digits of sixteen nibbles.
template <char ten>
inline __m128i nibble_digits(__m128i nibbles) {
    const __m128i letters = _mm_and_si128(_mm_cmpgt_epi8(nibbles, _mm_set1_epi8(9)), _mm_set1_epi8(ten - 10 - '0'));
    return _mm_add_epi8(_mm_add_epi8(nibbles, _mm_set1_epi8('0')), letters);
}
inline __m128i low_nibbles(__m128i bytes) { return _mm_and_si128(bytes, _mm_set1_epi8(15)); }
inline __m128i high_nibbles(__m128i bytes) { return low_nibbles(_mm_srli_epi16(bytes, 4)); }

// The digits of the low eight bytes.
template <char ten>
inline __m128i hex_digits(__m128i bytes) {
    return nibble_digits<ten>(_mm_unpacklo_epi8(high_nibbles(bytes), low_nibbles(bytes)));
}
#endif

// 2 * n digits of n bytes.
template <char ten, std::size_t n>
inline char* put_hex(char* out, const std::uint8_t* p) {
#if defined(__SSE2__)
    if constexpr (n == 4) {
        std::int32_t word;
        std::memcpy(&word, p, 4);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), hex_digits<ten>(_mm_cvtsi32_si128(word)));
        return out + 8;
    }
    if constexpr (n == 8) {
        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), hex_digits<ten>(bytes));
        return out + 16;
    }
#endif
    for (std::size_t i = 0; i < n; ++i) std::memcpy(out + 2 * i, &hex_pairs<ten>[p[i]], 2);
    return out + 2 * n;
}

// The numbers below write in steps of four or eight characters: up to seven more than they return.

// put_three writes all three digits of a number below 1000; put_small_number no zeros in front, but for the last digit.
#if defined(__OPTIMIZE_SIZE__)
inline char* put_small_number(char* out, std::uint32_t v) {
    if (v >= 100) *out++ = static_cast<char>('0' + v / 100);
    if (v >= 10) *out++ = static_cast<char>('0' + v / 10 % 10);
    *out = static_cast<char>('0' + v % 10);
    return out + 1;
}
inline char* put_three(char* out, std::uint32_t v) {
    out[0] = static_cast<char>('0' + v / 100);
    out[1] = static_cast<char>('0' + v / 10 % 10);
    out[2] = static_cast<char>('0' + v % 10);
    return out + 3;
}
#else
// The digits, and how many zeros stand in front.
struct Three {
    char digits[3];
    std::uint8_t zeros;
};
inline constexpr std::array<Three, 1000> threes = [] {
    std::array<Three, 1000> all{};
    for (std::size_t i = 0; i != all.size(); ++i) {
        std::size_t power = 100;
        for (char& digit : all[i].digits) digit = static_cast<char>('0' + i / power % 10), power /= 10;
        all[i].zeros = i < 10 ? 2 : i < 100 ? 1 : 0;
    }
    return all;
}();
inline char* put_three(char* out, std::uint32_t v) {
    std::memcpy(out, &threes[v], 4);
    return out + 3;
}
inline char* put_small_number(char* out, std::uint32_t v) {
    const std::size_t zeros = threes[v].zeros;
    std::memcpy(out, reinterpret_cast<const char*>(threes.data()) + v * sizeof(Three) + zeros, 4);
    return out + 3 - zeros;
}
#endif
inline char* put_six(char* out, std::uint32_t v) { return put_three(put_three(out, v / 1000), v % 1000); }

inline char* put_decimal_number(char* out, std::uint32_t v) {
    if (v < 1000) return put_small_number(out, v);
    const std::uint32_t thousands = v / 1000;
    if (thousands < 1000) return put_three(put_small_number(out, thousands), v % 1000);
    const std::uint32_t millions = v / 1000000;
    if (millions < 1000) {
        out = put_small_number(out, millions);
    } else {
        out = put_three(put_small_number(out, millions / 1000), millions % 1000);
    }
    return put_six(out, v % 1000000);
}
[[gnu::noinline]] inline char* put_decimal_number(char* out, std::uint64_t v) {
    // 32-bit machines divide by calling a function: once for both results.
    constexpr std::uint32_t nine_digits = 1000000000;
    const std::uint64_t high = v / nine_digits;
    if (high == 0) return put_decimal_number(out, static_cast<std::uint32_t>(v));
    out = put_decimal_number(out, high);
    const auto low = static_cast<std::uint32_t>(v - high * nine_digits);
    return put_six(put_three(out, low / 1000000), low % 1000000);
}

inline int hex_digits_of(std::uint32_t v) { return 8 - std::countl_zero(v | 1) / 4; }

// Without zeros in front; a zero has one digit.
template <char ten>
inline char* put_hex_number(char* out, std::uint32_t v) {
    const int digits = hex_digits_of(v);
    const std::uint32_t bytes = std::endian::native == std::endian::little ? __builtin_bswap32(v) : v;
    std::uint64_t characters;  // in the order of memory
#if defined(__SSE2__)
    const __m128i all = hex_digits<ten>(_mm_cvtsi32_si128(static_cast<int>(bytes)));
    characters = static_cast<std::uint64_t>(_mm_cvtsi128_si64(all));
#else
    std::uint8_t each[4];
    char all[8];
    std::memcpy(each, &bytes, 4);
    put_hex<ten, 4>(all, each);
    std::memcpy(&characters, all, 8);
#endif
    const int zeros = 8 * (8 - digits);
    characters = std::endian::native == std::endian::little ? characters >> zeros : characters << zeros;
    std::memcpy(out, &characters, 8);
    return out + digits;
}

// What stands before the digits of a number that has at least `width` characters, at most eight: zeros behind the sign,
// or blanks before it.
inline char* put_padding(char* out, int digits, bool negative, int width, bool zero) {
    const int missing = std::max(width - negative - digits, 0);
    *out = '-';
    if (zero) out += negative;
    std::memset(out, zero ? '0' : ' ', 8);
    out += missing;
    if (zero) return out;
    *out = '-';
    return out + negative;
}

}  // namespace ffdc
