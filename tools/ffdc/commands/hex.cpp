// Annotated hex: every byte of the input on exactly one line, with the value that it belongs to.
#include <algorithm>
#include <cstring>

#include "commands/commands.hpp"

namespace {

constexpr std::size_t bytes_a_line = 8, name_width = 26;

// Writes where `at` points, and moves it on.
void add(char*& at, std::string_view text) {
    std::memcpy(at, text.data(), text.size());
    at += text.size();
}
void add(char*& at, std::uint64_t number, int digits) {
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) *at++ = "0123456789abcdef"[number >> shift & 15];
}
void pad(char*& at, const char* end) {
    while (at < end) *at++ = ' ';
}

// The bytes, as many as a line has, and where they are.
void put_place(Session& s, std::size_t offset, Bytes bytes, Style style) {
    char place[64], *at = place;
    int digits = 6;
    while (digits < 16 && offset >> 4 * digits != 0) ++digits;
    add(at, "  0x");
    add(at, offset, digits);
    *at++ = ' ';
    const char* const end = at + 3 * bytes_a_line;
    for (const std::uint8_t byte : bytes) {
        *at++ = ' ';
        add(at, byte, 2);
    }
    pad(at, end);
    s.out.put(style, {place, static_cast<std::size_t>(at - place)});
}

// Lines of bytes that no value has.
void put_bytes(Session& s, const Entry& entry, std::size_t begin, std::size_t end, std::string_view what, Style style) {
    for (; begin < end; begin += bytes_a_line) {
        put_place(s, begin, entry.bytes.subspan(begin, std::min(bytes_a_line, end - begin)), style);
        s.out.put(what.empty() ? "" : "  ", what, "\n");
        what = "";
    }
}

void put_value(Session& s, const Entry& entry, std::size_t begin, std::size_t end, const Value& v) {
    const std::size_t next = std::min(end, begin + bytes_a_line);
    const Style style = v.missing ? Style::bad : Style::plain;
    put_place(s, begin, entry.bytes.subspan(std::min(begin, entry.bytes.size()), next - begin), style);
    const std::string_view group = v.group, name = v.name;
    const std::string text = v.kind == DD_FFDC_BYTES                    ? ""
                             : v.kind == DD_FFDC_TEXT && v.text.empty() ? "\"\""
                                                                        : v.plain_text();
    char* const line = s.out.room(group.size() + name.size() + text.size() + name_width + 32);
    char* at = line;
    add(at, "  ");
    add(at, group);
    if (!group.empty()) *at++ = '.';
    add(at, name);
    if (v.index >= 0) {
        *at++ = '[';
        add(at, std::to_string(v.index));
        *at++ = ']';
    }
    if (!text.empty()) {
        pad(at, line + 2 + name_width);
        add(at, "  ");
        add(at, text);
        one_line(at - text.size(), text.size());
    }
    *at++ = '\n';
    s.out.took_foreign(static_cast<std::size_t>(at - line));
    put_bytes(s, entry, next, end, "", style);
}

// Which values come first, in the order of their bytes.
class Order {
public:
    const std::vector<std::uint64_t>& of(const std::vector<Value>& values) {
        keys_.clear();
        for (const Value& v : values)
            if (v.kind != DD_FFDC_UNSHOWN)
                keys_.push_back(std::uint64_t{v.offset} << 32 | static_cast<std::uint64_t>(&v - values.data()));
        if (!std::is_sorted(keys_.begin(), keys_.end())) std::sort(keys_.begin(), keys_.end());
        return keys_;
    }

private:
    std::vector<std::uint64_t> keys_;
};

}  // namespace

int hex(Session& s) {
    std::vector<Value> values;
    Order order;
    return s.each_entry([&](const Entry& entry) {
        const int state = values_of(entry, values);
        put_separator(s, entry);
        const std::size_t size = entry.bytes.size(),
                          record = entry.has_header() ? std::min<std::size_t>(size, entry.size()) : 0;
        std::size_t shown = 0;  // bytes that have had their line; of those a value shows none
        for (const std::uint64_t key : order.of(values)) {
            const Value& v = values[static_cast<std::uint32_t>(key)];
            const std::size_t begin = std::min<std::size_t>(v.offset, record), end = std::min(begin + v.size, record);
            put_bytes(s, entry, shown, begin, "(not shown)", Style::dim);
            shown = std::max(shown, begin);
            put_value(s, entry, end > shown ? shown : v.offset, end > shown ? end : v.offset, v);
            shown = std::max(shown, end);
        }
        put_bytes(s, entry, shown, record, "(not shown)", Style::dim);
        put_bytes(s, entry, std::max(shown, record), size, "(no record)", Style::bad);
        return state;
    });
}
