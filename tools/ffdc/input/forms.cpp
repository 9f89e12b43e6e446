#include "input/forms.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <utility>

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

// A word of 2, 4 or 8 bytes, with all its digits.
bool add_word(std::string_view digits, Line& line) {
    if (digits.size() != 4 && digits.size() != 8 && digits.size() != 16) return false;
    line.word = digits.size() / 2;
    return add_pairs(digits, line);
}

// A byte in decimals, with a sign or not.
bool take_decimal(std::string_view& text, Line& line) {
    int value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const auto size = static_cast<std::size_t>(stop - text.data());
    if (error != std::errc{} || value < -128 || value > 255 || std::to_string(value).size() != size) return false;
    text.remove_prefix(size);
    line.bytes.push_back(static_cast<std::uint8_t>(value));
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

// "0000   ff dc ff dc 00 00 00 00  00 ...   ........", where the gap in the middle may be missing.
Match read_wireshark(std::string_view text, Line& line) {
    line.offset = take_digits(text);
    if (line.offset.size() < 4 || line.offset.size() > 8 || take_blanks(text) < 2 || text.empty()) return Match::no;
    while (!text.empty()) {
        const std::string_view digits = take_digits(text);
        if (digits.size() != 2 || !add_pairs(digits, line)) return line.bytes.size() > 1 ? Match::wrong : Match::no;
        const std::size_t blanks = take_blanks(text);
        if (blanks == 0 && !text.empty()) return Match::no;
        if (blanks > 2 || (blanks == 2 && line.bytes.size() != 8)) break;
    }
    return text.size() > line.bytes.size() || contradicts(text, line.bytes) ? Match::wrong : Match::yes;
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
        if (add_word(digits, line)) continue;
        line.word = 0;
        line.bytes.insert(line.bytes.end(), group == 3 ? 1 : group <= 6 ? 2 : group <= 11 ? 4 : 8, 0);
    }
    return text.empty() && group != 0 ? Match::yes : Match::no;
}

// "0000000   -1  -36 ...": columns, whose width says how large the numbers are.
Match read_numbers(std::string_view text, Line& line) {
    constexpr struct { std::size_t width, size; } kinds[] = {{4, 1}, {5, 1}, {6, 2}, {7, 2}, {11, 4}, {12, 4}, {21, 8}};
    line.offset = take_digits(text);
    if (line.offset.size() < 6 || line.offset.size() > 16) return Match::no;
    if (text.empty()) return Match::yes;
    for (const auto& [width, size] : kinds) {
        if (text.size() % width != 0) continue;
        line.bytes.clear();
        bool fits = true;
        for (std::size_t at = 0; fits && at < text.size(); at += width) {
            std::string_view number = text.substr(at, width);
            fits = take_blanks(number) > 0 && number.find_first_not_of("-0123456789") == number.npos;
            if (size == 1) fits = fits && take_decimal(number, line) && number.empty();
            if (size != 1) line.bytes.insert(line.bytes.end(), size, 0);
        }
        line.word = size == 1;
        if (fits) return Match::yes;
    }
    return Match::no;
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

// A list of 0xNN, perhaps behind a brace.
template <typename Add>
bool take_list(std::string_view text, const Line& line, const Add& add) {
    if (const std::size_t brace = text.find('{'); brace != text.npos) text.remove_prefix(brace + 1);
    const auto between = [&] { text.remove_prefix(std::min(text.find_first_not_of(" \t,;{}()[]"), text.size())); };
    for (between(); !text.empty(); between()) {
        if (!take(text, "0x") && !take(text, "0X")) return false;
        const std::string_view digits = take_digits(text);
        if (!text.empty() && std::string_view(" \t,;})]").find(text.front()) == std::string_view::npos) return false;
        if (!add(digits)) return false;
    }
    return !line.bytes.empty();
}
Match read_list(std::string_view text, Line& line) {
    const auto add = [&](std::string_view digits) {
        if (digits.empty() || digits.size() > 2) return false;
        const unsigned first = digits.size() == 2 ? hex_value(digits.front()) : 0u;
        line.bytes.push_back(static_cast<std::uint8_t>(first << 4 | hex_value(digits.back())));
        return true;
    };
    if (take_list(text, line, add)) return Match::yes;
    return line.bytes.size() > 1 ? Match::wrong : Match::no;
}
Match read_word_list(std::string_view text, Line& line) {
    std::size_t size = 0;
    bool known = true;
    const auto add = [&](std::string_view digits) {
        if (digits.size() < 3 || digits.size() > 16) return false;
        known = known && add_word(digits, line) && (size == 0 || digits.size() == size);
        if (!known) line.bytes.push_back(0);
        size = digits.size();
        return true;
    };
    if (!take_list(text, line, add)) return Match::no;
    if (!known) line.word = 0;
    return Match::yes;
}

// "0x7ffe4c30 <buffer+8>:  0xff  0xdc ...", or with words, or with decimals.
bool take_address(std::string_view& text, Line& line) {
    if (!take(text, "0x")) return false;
    line.offset = take_digits(text);
    const std::size_t colon = text.find(':');
    if (line.offset.empty() || line.offset.size() > 16 || colon == text.npos) return false;
    if (colon != 0 && !text.substr(0, colon).starts_with(" <")) return false;
    text.remove_prefix(colon + 1);
    return true;
}
Match read_debugger(std::string_view text, Line& line) {
    if (!take_address(text, line)) return Match::no;
    if (text.find('x') != text.npos) return read_list(text, line);
    while (take_blanks(text) > 0)
        if (!take_decimal(text, line)) return Match::no;
    return text.empty() && !line.bytes.empty() ? Match::yes : Match::no;
}
Match read_debugger_words(std::string_view text, Line& line) {
    return take_address(text, line) ? read_word_list(text, line) : Match::no;
}

// "[255, 220, ...]" of JSON, perhaps inside an object, or with a line for each number.
Match read_numbers_of_json(std::string_view text, Line& line) {
    for (std::size_t at = 0; (at = text.find('[', at)) != text.npos;) {
        const std::size_t first = text.find_first_not_of(" \t", ++at);
        if (first == text.npos || std::string_view("-0123456789").find(text[first]) == text.npos) continue;
        text.remove_prefix(at);
        break;
    }
    while (true) {
        take_blanks(text);
        if (text.empty() || take(text, "]")) break;
        if (!take_decimal(text, line)) return line.bytes.size() > 4 ? Match::wrong : Match::no;
        take_blanks(text);
        if (!take(text, ",") && !text.empty() && text.front() != ']') return Match::wrong;
    }
    return line.bytes.empty() ? Match::no : Match::yes;
}

// "\\xff\\xdc" of C, Python and shells: literals between quotes, of which the last may go on with the next part of the
// line, or the escapes alone. `carry` is the quote that is open.
Match read_escapes(std::string_view text, Line& line) {
    constexpr std::string_view names = "abtnvfre\\'\"?", values = "\a\b\t\n\v\f\r\33\\'\"?";
    char quote = static_cast<char>(std::exchange(line.carry, 0u));
    // The next literal, or else the next one with an escape.
    const auto escape = [&] {
        std::size_t at = text.find('\\');
        while (at < text.size() && text.find_first_of("x01234567", at + 1) != at + 1) at = text.find('\\', at + 2);
        return at;
    };
    const auto open = [&](bool next) {
        std::size_t at = escape();
        at = next ? 0 : at == text.npos ? at : text.find_last_of("'\"", at);
        while (at != text.npos && at > 0 && text[at - 1] == '\\') at = text.find_last_of("'\"", at - 1);
        quote = at == text.npos ? '\0' : text[at];
        text.remove_prefix(quote ? at + 1 : text.size());
    };
    const bool bare = quote == 0 && escape() == 0;
    if (!bare && quote == 0) open(false);
    while (!text.empty()) {
        const char c = text.front();
        text.remove_prefix(1);
        if (c == quote) {
            take_blanks(text);
            open(text.starts_with('"') || text.starts_with('\''));
        } else if (c != '\\') {
            if (bare) return Match::wrong;
            line.bytes.push_back(static_cast<std::uint8_t>(c));
        } else if (take(text, "x")) {
            if (!add_pairs(text.substr(0, 2), line)) return Match::wrong;
            text.remove_prefix(2);
        } else if (const std::size_t n =
                       std::min(text.find_first_not_of("01234567"), std::min<std::size_t>(3, text.size()))) {
            unsigned value = 0;
            for (const char digit : text.substr(0, n)) value = value << 3 | hex_value(digit);
            if (value > 0xff) return Match::wrong;
            line.bytes.push_back(static_cast<std::uint8_t>(value));
            text.remove_prefix(n);
        } else {
            const std::size_t name = text.empty() ? names.npos : names.find(text.front());
            if (name == names.npos) return Match::wrong;
            line.bytes.push_back(static_cast<std::uint8_t>(values[name]));
            text.remove_prefix(1);
        }
    }
    line.carry = static_cast<unsigned char>(quote);
    return line.bytes.empty() ? Match::no : Match::yes;
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

constexpr char dump_bytes[] = "hexdump -C FILE, or od -Ax -tx1 FILE";

constexpr Form all_forms[] = {
    {"xxd -e, whose words are reversed", "hex", read_xxd_reversed, true, 16, false, "xxd FILE, without -e"},
    {"xxd -b", "hex", read_xxd_bits, true, 16, false, "xxd FILE, without -b"},
    {"words of od or hexdump, whose bytes may be swapped", "hex", read_words, true, 8, true, dump_bytes},
    {"numbers of od", "hex", read_numbers, true, 8, true, dump_bytes},
    {"characters of od -c", "hex", read_characters, true, 8, false, dump_bytes},
    {"words of gdb, whose bytes may be swapped", "hex", read_debugger_words, true, 16, true, "x/NNxb"},
    {"a list of words, whose bytes may be swapped", "hex", read_word_list, false, 0, true,
     "a list of bytes (gdb: x/NNxb)"},
    {"Intel HEX", "hex", read_intel, false, 0, false, "objcopy -I ihex -O binary TEXT FILE"},
    {"S-records", "hex", read_motorola, false, 0, false, "objcopy -I srec -O binary TEXT FILE"},
    {"xxd", "hex", read_xxd, true, 16, false, nullptr},
    {"hexdump -C", "hex", read_hexdump, true, 16, false, nullptr},
    {"od -t x1", "hex", read_od, true, 8, false, nullptr},
    {"Wireshark", "hex", read_wireshark, true, 16, false, nullptr},
    {"gdb x/xb", "hex", read_debugger, true, 16, false, nullptr},
    {"a list of 0x", "hex", read_list, false, 0, false, nullptr},
    {"a list with colons", "hex", read_colons, false, 0, false, nullptr},
    {"hex digits", "hex", read_plain, false, 0, false, nullptr},
    {"base64", "base64", read_base64, false, 0, false, nullptr},
    {"numbers of JSON", "text", read_numbers_of_json, false, 0, false, nullptr},
    {"a string with \\x", "text", read_escapes, false, 0, false, nullptr},
};

}  // namespace

std::span<const Form> forms() { return all_forms; }
