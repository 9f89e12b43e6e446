// Annotated hex: every byte of the input on exactly one line, with the value that it belongs to.
#include <algorithm>

#include "commands/commands.hpp"

namespace {

constexpr std::size_t bytes_a_line = 8;

void put_line(Session& s, std::size_t offset, Bytes bytes, std::string_view name, std::string_view text, Style style) {
    std::string place = "  " + hex_number(offset).substr(2) + " ";
    const std::string digits = hex_digits(bytes);
    for (std::size_t i = 0; i < digits.size(); i += 2) place.append(" ").append(digits, i, 2);
    place.resize(place.size() + 3 * (bytes_a_line - bytes.size()), ' ');
    s.out.put(style, place);
    std::string line = "  " + std::string(name);
    if (!text.empty()) line += std::string(name.size() < 26 ? 26 - name.size() : 0, ' ') + "  " + std::string(text);
    while (line.ends_with(' ')) line.pop_back();
    s.out.tame(line.data(), line.size());
    s.out.put(line);
    s.out.put("\n");
}

// Bytes on as many lines as they need; only the first is annotated. None at all still is a line.
void put_lines(Session& s, std::size_t offset, Bytes bytes, std::string_view name, std::string_view text, Style style) {
    std::size_t done = 0;
    do {
        const Bytes line = bytes.subspan(done, std::min(bytes_a_line, bytes.size() - done));
        put_line(s, offset + done, line, done == 0 ? name : "", done == 0 ? text : "", style);
        done += line.size();
    } while (done < bytes.size());
}

// A text on one line.
std::string one_line(const Value& v) {
    if (v.kind == DD_FFDC_BYTES) return "";
    std::string text = v.plain_text();
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ') c = '.';
    return text;
}

}  // namespace

int hex(Session& s) {
    std::vector<Value> values;
    return s.each_entry([&](const Entry& entry) {
        const int state = values_of(entry, values);
        put_separator(s, entry);
        std::stable_sort(values.begin(), values.end(),
                         [](const Value& a, const Value& b) { return a.offset < b.offset; });
        std::size_t shown = 0;  // bytes that have had their line
        for (const Value& v : values) {
            const std::size_t end = v.offset + v.bytes.size();
            const bool unshown = v.kind == DD_FFDC_UNSHOWN;
            if (unshown && end <= shown) continue;
            const Bytes fresh = end > shown ? v.bytes.last(std::min(v.bytes.size(), end - shown)) : Bytes();
            put_lines(s, end > shown ? end - fresh.size() : v.offset, fresh, unshown ? "(not shown)" : v.full_name(),
                      one_line(v),
                      unshown     ? Style::dim
                      : v.missing ? Style::bad
                                  : Style::plain);
            shown = std::max(shown, end);
        }
        if (shown < entry.bytes.size()) put_lines(s, shown, entry.bytes.subspan(shown), "(no record)", "", Style::bad);
        return state;
    });
}
