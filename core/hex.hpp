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

// Eight digits in the bytes of a number, the first one in the highest, without '0' added.
inline std::uint64_t hex_eight(std::uint32_t v) {
    std::uint64_t x = std::uint64_t{v >> 16} << 32 | (v & 0xffff);
    x = (x | x << 8) & 0x00ff00ff00ff00ff;
    return (x | x << 4) & 0x0f0f0f0f0f0f0f0f;
}
// Of a number below 100000000: four digits in each half, then two in each quarter, then one in each byte.
inline std::uint64_t decimal_eight(std::uint32_t v) {
    std::uint64_t x = std::uint64_t{v / 10000} << 32 | v % 10000;
    const std::uint64_t hundreds = (x * 10486 >> 20) & 0x0000007f0000007f;
    x = hundreds << 16 | (x - 100 * hundreds);
    const std::uint64_t tens = (x * 103 >> 10) & 0x000f000f000f000f;
    return tens << 8 | (x - 10 * tens);
}

// Their characters.
inline std::uint64_t decimal_characters(std::uint64_t digits) { return digits + 0x3030303030303030; }
template <char ten>  // in lower or upper case
inline std::uint64_t hex_characters(std::uint64_t digits) {
    constexpr std::uint64_t ones = 0x0101010101010101;
    const std::uint64_t letters = (digits + 6 * ones) >> 4 & ones;
    return digits + '0' * ones + letters * (ten - 10 - '0');
}

inline void put_eight(char* out, std::uint64_t characters) {
    if constexpr (std::endian::native == std::endian::little) characters = __builtin_bswap64(characters);
    std::memcpy(out, &characters, 8);
}
inline int leading_zeros(std::uint64_t digits) { return std::countl_zero(digits | 1) / 8; }

// The decimal digits of a byte, and how many they are.
struct Small {
    char digits[3];
    char size;
};
inline constexpr std::array<Small, 256> small_numbers = [] {
    std::array<Small, 256> all{};
    for (int i = 0; i < 256; ++i) {
        int size = 0;
        for (int power : {100, 10, 1})
            if (i >= power || power == 1) all[std::size_t(i)].digits[size++] = static_cast<char>('0' + i / power % 10);
        all[std::size_t(i)].size = static_cast<char>(size);
    }
    return all;
}();

// The numbers below write eight characters at a time: up to seven more than they return.

// Without zeros in front; a zero has one digit.
inline char* put_shortest(char* out, std::uint64_t digits, std::uint64_t characters) {
    const int zeros = leading_zeros(digits);
    put_eight(out, characters << 8 * zeros);
    return out + 8 - zeros;
}
// At least `width` characters, which are at most eight: zeros behind the sign, or blanks before it.
inline char* put_padded(char* out, std::uint64_t digits, std::uint64_t characters, bool negative, int width,
                        bool zero) {
    const int zeros = leading_zeros(digits), missing = std::max(width - negative - (8 - zeros), 0);
    put_eight(out, 0x2020202020202020);
    if (!zero) out += missing;
    *out = '-';
    out += negative;
    const int cut = zero ? zeros - missing : zeros;
    put_eight(out, characters << 8 * cut);
    return out + 8 - cut;
}

template <char ten>
inline char* put_hex_number(char* out, std::uint32_t v) {
    const std::uint64_t digits = hex_eight(v);
    return put_shortest(out, digits, hex_characters<ten>(digits));
}

inline char* put_small_number(char* out, std::uint8_t v) {
    std::memcpy(out, &small_numbers[v], 4);
    return out + small_numbers[v].size;
}

inline constexpr std::uint32_t eight_digits = 100000000;  // numbers below it have no more

inline char* put_decimal_number(char* out, std::uint32_t v) {
    if (v < eight_digits) {
        const std::uint64_t digits = decimal_eight(v);
        return put_shortest(out, digits, decimal_characters(digits));
    }
    const std::uint32_t high = v / eight_digits;  // 1 to 42
    const bool two = high >= 10;
    out[0] = static_cast<char>('0' + high / 10);
    out[two] = static_cast<char>('0' + high % 10);
    put_eight(out + 1 + two, decimal_characters(decimal_eight(v % eight_digits)));
    return out + 9 + two;
}
[[gnu::noinline]] inline char* put_decimal_number(char* out, std::uint64_t v) {
    // 32-bit machines divide by calling a function: once for both results.
    const std::uint64_t high = v / eight_digits;
    if (high == 0) return put_decimal_number(out, static_cast<std::uint32_t>(v));
    out = put_decimal_number(out, high);
    put_eight(out, decimal_characters(decimal_eight(static_cast<std::uint32_t>(v - high * eight_digits))));
    return out + 8;
}

}  // namespace ffdc
