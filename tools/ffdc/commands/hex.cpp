// Annotated hex: every byte of the input on one line, with the value that it belongs to; "*" stands for lines that
// repeat the bytes of the line before, up to the offset of the next line with bytes.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

#include "commands/commands.hpp"

namespace {

constexpr std::size_t bytes_a_line = 8, name_width = 26, place_room = 64;

// Writes where `at` points, and moves it on.
void add(char*& at, std::string_view text) {
    std::memcpy(at, text.data(), text.size());
    at += text.size();
}

constexpr auto digits_of = [] {
    std::array<std::array<char, 2>, 256> digits{};
    for (std::size_t i = 0; i != digits.size(); ++i)
        digits[i] = {"0123456789abcdef"[i >> 4], "0123456789abcdef"[i & 15]};
    return digits;
}();
void add(char*& at, std::uint8_t byte) {
    std::memcpy(at, digits_of[byte].data(), 2);
    at += 2;
}

// Where the bytes of a line are, and the bytes.
void add_place(char*& at, std::size_t offset, Bytes bytes) {
    add(at, "  0x");
    int shift = 16;
    while (shift < 56 && offset >> shift > 0xff) shift += 8;
    for (; shift >= 0; shift -= 8) add(at, static_cast<std::uint8_t>(offset >> shift));
    std::memset(at, ' ', 1 + 3 * bytes_a_line);
    char* place = at + 2;
    for (const std::uint8_t byte : bytes) {
        std::memcpy(place, digits_of[byte].data(), 2);
        place += 3;
    }
    at += 1 + 3 * bytes_a_line;
}

// Annotations are made as values are told, and put in the order of their bytes.
class Hex {
public:
    explicit Hex(Session& session) : s_(session) {}

    int put(const Entry& entry) {
        entry_ = &entry;
        read();
        put_separator(s_, entry);
        const std::size_t size = entry.bytes.size(),
                          record = entry.has_header() ? std::min<std::size_t>(size, entry.size()) : 0;
        std::size_t shown = 0;  // bytes that have had their line; of those a value shows none
        for (const std::uint64_t key : order_) {
            const Told& v = told_[static_cast<std::uint32_t>(key)];
            const std::size_t begin = std::min<std::size_t>(v.offset, record), end = std::min(begin + v.size, record);
            put_bytes(shown, begin, "  (not shown)\n", Style::dim);
            shown = std::max(shown, begin);
            put_value(v, end > shown ? shown : v.offset, end > shown ? end : v.offset);
            shown = std::max(shown, end);
        }
        put_bytes(shown, record, "  (not shown)\n", Style::dim);
        put_bytes(std::max(shown, record), size, "  (no record)\n", Style::bad);
        if (squeezed_) put_line(size, {}, "\n", Style::plain);
        squeezed_ = false;
        return entry.is_damaged() ? damaged : state_;
    }

private:
    struct Told {
        std::uint32_t offset, size, begin, length;  // the last two: of its annotation
        bool missing;
    };
    struct Key {
        const char *group = nullptr, *name = nullptr;
        std::string text = {};
    };
    Session& s_;
    std::array<Key, 4096> keys_;
    const Entry* entry_ = nullptr;
    int state_ = damaged;
    std::vector<Told> told_;
    std::vector<std::uint64_t> order_;  // offset, number
    std::vector<char> text_;            // of all annotations
    std::size_t used_ = 0;
    bool squeezed_ = false;  // the last line with bytes repeats, up to an offset that has not been put yet

    void read() {
        told_.clear();
        order_.clear();
        used_ = 0;
        if (!entry_->has_header()) return;
        const auto each = [](void* self, const dd_ffdc_value* v) noexcept {
            if (v->kind != DD_FFDC_UNSHOWN) static_cast<Hex*>(self)->annotate(*v);
        };
        state_ = dd_ffdc_values(&entry_->header(), entry_->bytes.size(), each, this);
        if (!std::is_sorted(order_.begin(), order_.end())) std::sort(order_.begin(), order_.end());
    }

    // Group and name are constant, so their addresses tell which they are.
    const std::string& key_of(const dd_ffdc_value& v) {
        Key& key = keys_[(reinterpret_cast<std::uintptr_t>(v.group) * 31 + reinterpret_cast<std::uintptr_t>(v.name)) %
                         keys_.size()];
        if (key.group != v.group || key.name != v.name)
            key = {v.group, v.name, std::string(v.group) + (*v.group ? "." : "") + v.name};
        return key.text;
    }

    void annotate(const dd_ffdc_value& v) {
        char buffer[DD_FFDC_VALUE_ROOM], room[32];
        std::string_view text;
        if (v.kind != DD_FFDC_BYTES) {
            std::size_t length;
            const char* const printed = dd_ffdc_value_text(&v, buffer, &length);
            text = plain_text({v, {}, {}}, {printed, length}, room);
            if (text.empty()) text = "\"\"";
        }
        const std::string& key = key_of(v);
        const std::size_t most = key.size() + text.size() + name_width + 48;
        if (text_.size() < used_ + most) text_.resize(2 * used_ + most);
        char* const begin = text_.data() + used_;
        char* at = begin + 2;
        std::memset(begin, ' ', 2 + name_width);
        add(at, key);
        if (v.index >= 0) {
            *at++ = '[';
            add(at, std::to_string(v.index));
            *at++ = ']';
        }
        if (!text.empty()) {
            at = std::max(at, begin + 2 + name_width);
            add(at, "  ");
            add(at, text);
            if (v.kind == DD_FFDC_TEXT) s_.out.sanitize(at - text.size(), text.size());
        }
        if (v.kind == DD_FFDC_FLAG) {
            add(at, "  bit ");
            add(at, std::to_string(std::countr_zero(v.mask)));
        }
        *at++ = '\n';
        const auto length = static_cast<std::uint32_t>(at - begin);
        order_.push_back(std::uint64_t{v.offset} << 32 | told_.size());
        told_.push_back({v.offset, v.size, static_cast<std::uint32_t>(used_), length, v.missing != 0});
        used_ += length;
    }

    void put_line(std::size_t offset, Bytes bytes, std::string_view annotation, Style style) {
        squeezed_ = squeezed_ && bytes.empty();
        char* const line = s_.out.room(place_room + annotation.size());
        char* at = line;
        add_place(at, offset, bytes);
        if (style != Style::plain && s_.out.has_color()) {
            const std::string place(line, at);
            s_.out.put(style, place);
            return s_.out.put(annotation);
        }
        add(at, annotation);
        s_.out.took(static_cast<std::size_t>(at - line));
    }

    // Lines of bytes that no value has, or, if `what` is a line break, those that follow a full line.
    void put_bytes(std::size_t begin, std::size_t end, std::string_view what, Style style) {
        for (; begin < end; begin += bytes_a_line, what = "\n") {
            const Bytes bytes = entry_->bytes.subspan(begin, std::min(bytes_a_line, end - begin));
            const bool repeats = what == "\n" && std::equal(bytes.begin(), bytes.end(), bytes.begin() - bytes_a_line) &&
                                 bytes.size() == bytes_a_line;
            if (!repeats) put_line(begin, bytes, what, style);
            if (repeats && !std::exchange(squeezed_, true)) s_.out.put("*\n");
        }
    }

    void put_value(const Told& v, std::size_t begin, std::size_t end) {
        const std::size_t next = std::min(end, begin + bytes_a_line);
        const Style style = v.missing ? Style::bad : Style::plain;
        const Bytes bytes = next > begin ? entry_->bytes.subspan(begin, next - begin) : Bytes();
        put_line(begin, bytes, {text_.data() + v.begin, v.length}, style);
        put_bytes(next, end, "\n", style);
    }
};

}  // namespace

int hex(Session& s) {
    Hex lines(s);
    return s.each_entry([&](const Entry& entry) { return lines.put(entry); }, Parts::all);
}
