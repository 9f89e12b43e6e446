#include "text.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "hex.hpp"

namespace ffdc {
namespace {

// Which bytes the caller's locale can print.
class Printable {
public:
#if defined(__GLIBC__)
    Printable() : classes_(*__ctype_b_loc()) {}
    bool operator()(std::uint8_t c) const { return (classes_[c] & _ISprint) != 0; }

private:
    static const std::array<std::uint16_t, 256> ascii_classes;
    const unsigned short* classes_;

public:
#else
    bool operator()(std::uint8_t c) const { return std::isprint(c) != 0; }
#endif
    // Just the characters of ASCII?
    bool ascii() const {
#if defined(__GLIBC__)
        std::uint16_t differ = 0;
        for (std::size_t c = 0; c < 256; ++c) differ |= static_cast<std::uint16_t>(classes_[c] ^ ascii_classes[c]);
        return (differ & _ISprint) == 0;
#else
        for (unsigned c = 0; c < 256; ++c)
            if ((*this)(static_cast<std::uint8_t>(c)) != is_ascii(c)) return false;
        return true;
#endif
    }
    static constexpr bool is_ascii(unsigned c) { return c >= 0x20 && c < 0x7f; }
};
#if defined(__GLIBC__)
constexpr std::array<std::uint16_t, 256> Printable::ascii_classes = [] {
    std::array<std::uint16_t, 256> classes{};
    for (unsigned c = 0; c < 256; ++c) classes[c] = is_ascii(c) ? _ISprint : 0;
    return classes;
}();
#endif
constexpr std::size_t lines_worth_asking = 4;

// Lines that a dump of so many words writes: it stops behind the first line that leaves no more than the slack.
std::size_t lines_of(std::size_t words, std::size_t room) {
    if (room <= dump_slack) return 0;
    return std::min((words + 3) / 4, (room - dump_slack + dump_line - 1) / dump_line);
}

constexpr char blank[dump_line + 1] = "00000000 [00000000 00000000 00000000 00000000 ] [................]\n";
constexpr std::size_t words_at = 10, characters_at = 49;

// A line of up to 16 bytes behind its offset.
template <typename Test>
void put_bytes(char* line, const std::uint8_t* bytes, std::size_t n, const Test& printable) {
    std::memcpy(line + words_at, blank + words_at, dump_line - words_at);
    for (std::size_t i = 0; i < n; ++i) {
        put_hex<'a', 1>(line + words_at + 2 * i + i / 4, bytes + i);
        if (printable(bytes[i])) line[characters_at + i] = static_cast<char>(bytes[i]);
    }
}

// A line of 16 bytes behind its offset, where a byte is printable when it is an ASCII character.
void put_ascii_bytes(char* line, const std::uint8_t* bytes) {
#if defined(__SSE2__)
    auto store = [](char* out, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(out), v); };
    auto store_half = [](char* out, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(out), v); };
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    const __m128i high = nibble_digits<'a'>(high_nibbles(x)), low = nibble_digits<'a'>(low_nibbles(x));
    const __m128i first = _mm_unpacklo_epi8(high, low), second = _mm_unpackhi_epi8(high, low);
    char* const words = line + words_at;
    store_half(words, first);
    store_half(words + 9, _mm_srli_si128(first, 8));
    store_half(words + 18, second);
    store_half(words + 27, _mm_srli_si128(second, 8));
    words[8] = words[17] = words[26] = ' ';
    std::memcpy(words + 35, blank + words_at + 35, 4);
    const __m128i printable =
        _mm_and_si128(_mm_cmpgt_epi8(x, _mm_set1_epi8(0x1f)), _mm_cmplt_epi8(x, _mm_set1_epi8(0x7f)));
    store(line + characters_at,
          _mm_or_si128(_mm_and_si128(printable, x), _mm_andnot_si128(printable, _mm_set1_epi8('.'))));
    std::memcpy(line + dump_line - 2, blank + dump_line - 2, 2);
#else
    put_bytes(line, bytes, 16, [](std::uint8_t c) { return Printable::is_ascii(c); });
#endif
}

}  // namespace

int dump(const void* data, int length, char* out, int room) {
    if (length < 1 || room < 1 || !data || !out) return 0;
    const Printable printable;
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    const std::size_t words = static_cast<std::size_t>(length) / 4;
    const std::size_t lines = lines_of(words, static_cast<std::size_t>(room));
    const bool ascii = lines >= lines_worth_asking && printable.ascii();
    char offset[] = "00000000 [";
    char* at = out;
    for (std::size_t line = 0; line < lines; ++line, bytes += 16, at += dump_line) {
        // The last digit of an offset is 0; the line's number is in the others.
        if ((line & 0xff) == 0 && line != 0) {
            const std::uint8_t high[] = {static_cast<std::uint8_t>(line >> 20), static_cast<std::uint8_t>(line >> 12)};
            put_hex<'a', 2>(offset, high);
            offset[4] = hex_pairs<'a'>[line >> 8 & 0xff].c[1];
        }
        std::memcpy(at, offset, words_at);
        std::memcpy(at + 5, &hex_pairs<'a'>[line & 0xff], 2);
        const std::size_t left = 4 * words - 16 * line;
        if (ascii && left >= 16) {
            put_ascii_bytes(at, bytes);
        } else {
            put_bytes(at, bytes, std::min<std::size_t>(16, left), printable);
        }
    }
    if (lines != 0) *at = '\0';
    return static_cast<int>(lines * dump_line);
}

int format(char* out, int size, const char* format, std::va_list arguments) {
    if (size < 1) return 0;
    const int n = std::vsnprintf(out, static_cast<std::size_t>(size), format, arguments);
    return n < size ? n : size - 1;
}

}  // namespace ffdc
