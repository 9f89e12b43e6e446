#include "input/forms.hpp"

#include <algorithm>
#include <array>
#include <string>

namespace {

constexpr std::uint8_t none = 0xff;

// The value of each character as a digit.
template <std::size_t n>
constexpr std::array<std::uint8_t, 256> values_of(const char (&digits)[n]) {
    std::array<std::uint8_t, 256> values{};
    for (std::uint8_t& v : values) v = none;
    for (std::size_t i = 0; i + 1 < n; ++i)
        values[static_cast<unsigned char>(digits[i])] = static_cast<std::uint8_t>(i);
    return values;
}
constexpr auto hex_values = [] {
    auto values = values_of("0123456789abcdef");
    for (char c = 'A'; c <= 'F'; ++c) values[static_cast<unsigned char>(c)] = static_cast<std::uint8_t>(c - 'A' + 10);
    return values;
}();
constexpr auto base64_values = [] {
    auto values = values_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    values['-'] = 62, values['_'] = 63;  // as in URLs
    return values;
}();
std::uint8_t hex_value(char c) { return hex_values[static_cast<unsigned char>(c)]; }

// Takes the hex digits, blanks or what else is there off the front of a text.
std::string_view take_digits(std::string_view& text) {
    std::size_t n = 0;
    while (n < text.size() && hex_value(text[n]) != none) ++n;
    const std::string_view digits = text.substr(0, n);
    text.remove_prefix(n);
    return digits;
}
std::size_t take_blanks(std::string_view& text) {
    const std::size_t n = std::min(text.find_first_not_of(" \t"), text.size());
    text.remove_prefix(n);
    return n;
}
bool take(std::string_view& text, std::string_view what) {
    if (!text.starts_with(what)) return false;
    text.remove_prefix(what.size());
    return true;
}

bool add_pairs(std::string_view digits, Line& line) {
    if (digits.empty() || digits.size() % 2 != 0) return false;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        line.bytes.push_back(static_cast<std::uint8_t>(hex_value(digits[i]) << 4 | hex_value(digits[i + 1])));
    return true;
}

// Groups of digits up to the end, each in front of one blank. Two blanks end them: `text` is what follows.
template <typename Add>
bool take_groups(std::string_view& text, const Add& add) {
    while (true) {
        const std::string_view digits = take_digits(text);
        if (!add(digits)) return false;
        if (text.empty()) return true;
        if (!text.starts_with(' ')) return false;
        if (text.size() > 1 && text[1] == ' ') break;
        text.remove_prefix(1);
    }
    text.remove_prefix(2);
    return true;
}

// The offset and the colon of xxd, of the kernel and of others: "00000010: ", "0x0010:  ".
bool take_xxd_offset(std::string_view& text, Line& line) {
    take(text, "0x");
    line.offset = take_digits(text);
    if (line.offset.size() < 4 || line.offset.size() > 16 || !take(text, ":")) return false;
    return take_blanks(text) > 0 && !text.empty();
}

char shown(std::uint8_t byte) { return byte >= ' ' && byte < 0x7f ? static_cast<char>(byte) : '.'; }

// Whether the characters beside the bytes are those of the bytes. What is cut, or shown in another way, proves nothing.
bool contradicts(std::string_view characters, const std::vector<std::uint8_t>& bytes) {
    if (characters.size() != bytes.size()) return false;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        if (characters[i] != shown(bytes[i])) return true;
    return false;
}

// What the characters beside the bytes say of their order: xxd -e shows words with their bytes reversed.
struct Order {
    bool straight = true, reversed = false;  // are possible
};
Match read_xxd_line(std::string_view text, Line& line, Order& order) {
    if (!take_xxd_offset(text, line)) return Match::no;
    std::size_t group = 0;
    bool bits = true;
    const auto add = [&](std::string_view digits) {
        group = std::max(group, digits.size());
        bits = bits && digits.size() == 8 && digits.find_first_not_of("01") == digits.npos;
        return add_pairs(digits, line);
    };
    if (!take_groups(text, add)) return Match::wrong;
    const std::size_t size = line.bytes.size();
    if (bits && !text.empty() && text.size() <= size / 4) return Match::wrong;
    if (group > 2 && size % (group / 2) == 0) {
        const auto step = static_cast<std::ptrdiff_t>(group / 2);
        std::vector<std::uint8_t> other = line.bytes;
        for (auto at = other.begin(); at != other.end(); at += step) std::reverse(at, at + step);
        order.reversed = !contradicts(text, other);
        order.straight = !order.reversed || !contradicts(text, line.bytes);
    }
    return Match::yes;
}
Match read_xxd(std::string_view text, Line& line) {
    Order order;
    const Match match = read_xxd_line(text, line, order);
    return match == Match::yes && !order.straight ? Match::wrong : match;
}
Match read_xxd_reversed(std::string_view text, Line& line) {
    Order order;
    const Match match = read_xxd_line(text, line, order);
    return match == Match::yes && order.reversed ? Match::yes : Match::no;
}

Match read_xxd_bits(std::string_view text, Line& line) {
    if (!take_xxd_offset(text, line)) return Match::no;
    const auto add = [&](std::string_view digits) {
        line.bytes.push_back(0);
        return digits.size() == 8 && digits.find_first_not_of("01") == digits.npos;
    };
    return take_groups(text, add) && (text.empty() || text.size() <= line.bytes.size()) ? Match::yes : Match::no;
}

// "00000010  ff dc ff dc 00 00 00 00  00 ...  |........|", and the offset alone at the end.
Match read_hexdump(std::string_view text, Line& line) {
    line.offset = take_digits(text);
    if (line.offset.size() < 8 || line.offset.size() > 16) return Match::no;
    if (text.empty()) return Match::yes;
    if (!text.starts_with("  ")) return Match::no;
    while (take_blanks(text) > 0 && !text.empty() && text.front() != '|') {
        const std::string_view digits = take_digits(text);
        if (digits.size() != 2 || !add_pairs(digits, line)) return Match::wrong;
    }
    return !line.bytes.empty() && (text.empty() || text.front() == '|') ? Match::yes : Match::wrong;
}

// "0000020 ff dc ff dc ...", with or without "  >....<" behind, and the offset alone at the end.
Match read_od(std::string_view text, Line& line) {
    line.offset = take_digits(text);
    if (line.offset.size() < 6 || line.offset.size() > 16) return Match::no;
    if (text.empty()) return Match::yes;
    if (!take(text, " ") || text.starts_with(' ')) return Match::no;
    const auto add = [&](std::string_view digits) { return digits.size() == 2 && add_pairs(digits, line); };
    if (take_groups(text, add)) return text.empty() || text.find('>') != text.npos ? Match::yes : Match::wrong;
    return line.bytes.size() > 1 ? Match::wrong : Match::no;
}

// Offsets as od and hexdump show them, with words or with numbers that are not hexadecimal.
Match read_words(std::string_view text, Line& line) {
    line.offset = take_digits(text);
    if (line.offset.size() < 6 || line.offset.size() > 16) return Match::no;
    if (text.empty()) return Match::yes;
    std::size_t group = 0;
    while (take_blanks(text) > 0) {
        const std::string_view digits = take_digits(text);
        if (digits.size() < 3 || (group != 0 && digits.size() != group)) return Match::no;
        group = digits.size();
        line.bytes.insert(line.bytes.end(), group == 3 ? 1 : group <= 6 ? 2 : group <= 11 ? 4 : 8, 0);
    }
    return text.empty() && group != 0 ? Match::yes : Match::no;
}

// od -c: columns of four characters, so that texts can be told from the bytes beside them by nothing but their place.
Match read_characters(std::string_view text, Line& line) {
    line.offset = take_digits(text);
    if (line.offset.size() < 6 || line.offset.size() > 16) return Match::no;
    for (std::size_t i = 0; i < text.size(); i += 4)
        if (text[i] != ' ') return Match::no;
    line.bytes.resize(text.size() / 4);
    return text.size() % 4 == 0 ? Match::yes : Match::no;
}

// A list of 0xNN, perhaps behind a brace, with so many digits each.
bool take_list(std::string_view text, std::size_t fewest, std::size_t most, Line& line) {
    if (const std::size_t brace = text.find('{'); brace != text.npos) text.remove_prefix(brace + 1);
    const auto between = [&] { text.remove_prefix(std::min(text.find_first_not_of(" \t,;{}()[]"), text.size())); };
    for (between(); !text.empty(); between()) {
        if (!take(text, "0x") && !take(text, "0X")) return false;
        const std::string_view digits = take_digits(text);
        if (digits.size() < fewest || digits.size() > most) return false;
        if (!text.empty() && std::string_view(" \t,;})]").find(text.front()) == std::string_view::npos) return false;
        const unsigned first = digits.size() == 2 ? hex_value(digits.front()) : 0u;
        line.bytes.push_back(static_cast<std::uint8_t>(first << 4 | hex_value(digits.back())));
    }
    return !line.bytes.empty();
}
Match read_list(std::string_view text, Line& line) {
    if (take_list(text, 1, 2, line)) return Match::yes;
    return line.bytes.size() > 1 ? Match::wrong : Match::no;
}
Match read_word_list(std::string_view text, Line& line) {
    return take_list(text, 3, 16, line) ? Match::yes : Match::no;
}

// "0x7ffe4c30 <buffer+8>:  0xff  0xdc ..."
Match read_debugger(std::string_view text, Line& line) {
    if (!take(text, "0x")) return Match::no;
    line.offset = take_digits(text);
    const std::size_t colon = text.find(':');
    if (line.offset.empty() || line.offset.size() > 16 || colon == text.npos) return Match::no;
    if (colon != 0 && !text.substr(0, colon).starts_with(" <")) return Match::no;
    return read_list(text.substr(colon + 1), line);
}

// "ff:dc:ff:dc:", on as many lines as it takes.
Match read_colons(std::string_view text, Line& line) {
    while (!text.empty()) {
        const std::string_view digits = take_digits(text);
        if (digits.size() != 2 || !add_pairs(digits, line)) break;
        if (!text.empty() && !take(text, ":")) break;
        take_blanks(text);
    }
    if (text.empty() && line.bytes.size() > 1) return Match::yes;
    return line.bytes.size() > 4 ? Match::wrong : Match::no;
}

// Digits in pairs, in groups or not.
Match read_plain(std::string_view text, Line& line) {
    if (text.size() > 18 && (text.starts_with("0x") || text.starts_with("\\x"))) text.remove_prefix(2);
    std::size_t right = 0, wrong = 0;
    bool foreign = false;
    while (!text.empty()) {
        std::string_view word = text.substr(0, text.find_first_of(" \t"));
        text.remove_prefix(word.size());
        take_blanks(text);
        const std::string_view digits = take_digits(word);
        foreign = foreign || !word.empty();
        word.empty() && add_pairs(digits, line) ? ++right : ++wrong;
        if (wrong > right + 1) return Match::no;
    }
    return wrong == 0 ? Match::yes : right >= wrong || !foreign ? Match::wrong : Match::no;
}

Match read_base64(std::string_view text, Line& line) {
    std::size_t wrong = 0;
    for (const char c : text) {
        const std::uint8_t value = base64_values[static_cast<unsigned char>(c)];
        if (c == '=') {
            line.carried = 0;
        } else if (value == none) {
            if (c == ' ' || ++wrong > 4) return Match::no;
        } else {
            line.carry = line.carry << 6 | value;
            line.carried += 6;
            if (line.carried < 8) continue;
            line.carried -= 8;
            line.bytes.push_back(static_cast<std::uint8_t>(line.carry >> line.carried));
        }
    }
    return wrong == 0 ? Match::yes : Match::wrong;
}

std::uint8_t sum_of(const std::vector<std::uint8_t>& bytes) {
    std::uint8_t sum = 0;
    for (const std::uint8_t b : bytes) sum = static_cast<std::uint8_t>(sum + b);
    return sum;
}
Match read_intel(std::string_view text, Line& line) {
    if (!take(text, ":") || text.size() < 10) return Match::no;
    const std::string_view digits = take_digits(text);
    return text.empty() && add_pairs(digits, line) && sum_of(line.bytes) == 0 ? Match::yes : Match::no;
}
Match read_motorola(std::string_view text, Line& line) {
    if (text.size() < 10 || text[0] != 'S' || text[1] < '0' || text[1] > '9') return Match::no;
    text.remove_prefix(2);
    const std::string_view digits = take_digits(text);
    return text.empty() && add_pairs(digits, line) && sum_of(line.bytes) == 0xff ? Match::yes : Match::no;
}

constexpr Form all_forms[] = {
    {"xxd -e, whose words are reversed", "hex", read_xxd_reversed, true, 16, "xxd FILE, without -e"},
    {"xxd -b", "hex", read_xxd_bits, true, 16, "xxd FILE, without -b"},
    {"words of od or hexdump, whose bytes may be swapped", "hex", read_words, true, 8,
     "hexdump -C FILE, or od -Ax -tx1 FILE; from 16-bit words: cut -s -d' ' -f2- TEXT | xxd -r -p | dd conv=swab"},
    {"characters of od -c", "hex", read_characters, true, 8, "hexdump -C FILE, or od -Ax -tx1 FILE"},
    {"a list of words, whose bytes may be swapped", "hex", read_word_list, false, 0, "a list of bytes (gdb: x/NNxb)"},
    {"Intel HEX", "hex", read_intel, false, 0, "objcopy -I ihex -O binary TEXT FILE"},
    {"S-records", "hex", read_motorola, false, 0, "objcopy -I srec -O binary TEXT FILE"},
    {"xxd", "hex", read_xxd, true, 16, nullptr},
    {"hexdump -C", "hex", read_hexdump, true, 16, nullptr},
    {"od -t x1", "hex", read_od, true, 8, nullptr},
    {"gdb x/xb", "hex", read_debugger, true, 16, nullptr},
    {"a list of 0x", "hex", read_list, false, 0, nullptr},
    {"a list with colons", "hex", read_colons, false, 0, nullptr},
    {"hex digits", "hex", read_plain, false, 0, nullptr},
    {"base64", "base64", read_base64, false, 0, nullptr},
};

}  // namespace

std::span<const Form> forms() { return all_forms; }
