#include "text.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace ffdc {
namespace {

// Which bytes the caller's locale can print.
class Printable {
public:
#if defined(__GLIBC__)
    Printable() : classes_(*__ctype_b_loc()) {}
    bool operator()(std::uint8_t c) const { return (classes_[c] & _ISprint) != 0; }

private:
    const unsigned short* classes_;
#else
    bool operator()(std::uint8_t c) const { return std::isprint(c) != 0; }
#endif
};

struct Pair {
    char c[2];
};
consteval std::array<Pair, 256> hex_pairs() {
    std::array<Pair, 256> pairs{};
    for (std::size_t i = 0; i < 256; ++i) pairs[i] = {{"0123456789abcdef"[i >> 4], "0123456789abcdef"[i & 15]}};
    return pairs;
}
constexpr std::array<Pair, 256> pairs = hex_pairs();

// Lines that a dump of so many words writes: it stops behind the first line that leaves no more than the slack.
std::size_t lines_of(std::size_t words, std::size_t room) {
    if (room <= dump_slack) return 0;
    return std::min((words + 3) / 4, (room - dump_slack + dump_line - 1) / dump_line);
}

void put_line(char* out, std::uint32_t offset, const std::uint8_t* bytes, std::size_t n, const Printable& printable) {
    static constexpr char blank[dump_line + 1] = "00000000 [00000000 00000000 00000000 00000000 ] [................]\n";
    std::memcpy(out, blank, dump_line);
    for (std::size_t i = 0; i < 4; ++i) std::memcpy(out + 2 * i, &pairs[offset >> (24 - 8 * i) & 0xff], 2);
    for (std::size_t i = 0; i < n; ++i) {
        std::memcpy(out + 10 + 2 * i + i / 4, &pairs[bytes[i]], 2);
        if (printable(bytes[i])) out[49 + i] = static_cast<char>(bytes[i]);
    }
}

}  // namespace

int dump(const void* data, int length, char* out, int room) {
    if (length < 1 || room < 1 || !data || !out) return 0;
    const Printable printable;
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    const std::size_t words = static_cast<std::size_t>(length) / 4;
    const std::size_t lines = lines_of(words, static_cast<std::size_t>(room));
    char* at = out;
    for (std::size_t line = 0; line < lines; ++line, at += dump_line)
        put_line(at, static_cast<std::uint32_t>(16 * line), bytes + 16 * line,
                 std::min<std::size_t>(16, 4 * words - 16 * line), printable);
    if (lines != 0) *at = '\0';
    return static_cast<int>(lines * dump_line);
}

int format(char* out, int size, const char* format, std::va_list arguments) {
    if (size < 1) return 0;
    const int n = std::vsnprintf(out, static_cast<std::size_t>(size), format, arguments);
    return n < size ? n : size - 1;
}

}  // namespace ffdc
