// Prints packed tables into a bounded buffer: all that a decoder works on.
#pragma once

#include <algorithm>
#include <cstring>
#include <string_view>

#include "table.hpp"
#include "tavi_ffdc.h"

namespace ffdc {

// The caller's buffer, and the only code that writes text to it. Text beyond the room is counted but not stored; what
// is stored is always the beginning of the text.
class Writer {
public:
    Writer(char* out, int room) : out_(out), room_(out && room > 0 ? static_cast<std::size_t>(room) : 0) {}

    void put(std::string_view s);
    // Whole lines of a raw dump, as many as fit.
    void dump(const std::uint8_t* data, std::size_t size);

    // Room for `n` characters and the slack of unchecked copies, or null; then takes what was written there.
    char* reserve(std::size_t n) { return length_ + n + slack < room_ ? out_ + length_ : nullptr; }
    void take(const char* end) { length_ = static_cast<std::size_t>(end - out_); }

    void terminate() {
        if (room_ > 0 && length_ > 0) out_[stored()] = '\0';
    }
    std::size_t length() const { return length_; }  // of the whole text
    std::size_t stored() const { return room_ > 0 ? std::min(length_, room_ - 1) : 0; }

private:
    char* out_;
    std::size_t room_;
    std::size_t length_ = 0;
};

// The bytes a decoder may read. A field that is not wholly inside counts as missing.
struct Payload {
    const std::uint8_t* data;
    std::size_t size;

    bool has(std::size_t at, std::size_t width) const { return at <= size && width <= size - at; }
    // The payload from `at` on, at most `most` bytes.
    Payload from(std::size_t at, std::size_t most) const {
        const std::size_t begin = std::min(at, size);
        return {data + begin, std::min(most, size - begin)};
    }
};

// A number as text: decimal, or hexadecimal with at least so many digits.
class Digits {
public:
    static Digits decimal(std::int64_t v);
    static Digits hex(std::uint32_t v, std::uint8_t digits = 1);
    operator std::string_view() const { return {text_, length_}; }

private:
    char text_[40];
    std::size_t length_ = 0;
};

// Who is told of every value while a report is printed, and how its places are called there.
struct Observer {
    dd_ffdc_value_fn each = nullptr;
    void* context = nullptr;
    std::uint32_t base = DD_FFDC_HEADER_SIZE;  // offset of the payload in the record
    const char* group = "";                    // around all groups
};

// One rendering of one payload.
class Report {
public:
    Report(Payload bytes, int payload_length, std::uint32_t payload_version, char* buffer, int room)
        : payload(bytes), length(payload_length), version(payload_version), out(buffer, room) {}

    Payload payload;
    int length;  // as the record says it: negative when its size is less than a header
    std::uint32_t version;
    std::size_t layout = 0;  // column of the offset tables
    Writer out;
    Observer observer;
    bool quiet = false;         // no trace lines, no heap
    bool counts_whole = false;  // the count includes text that the room has cut
    dd_ffdc_state state = DD_FFDC_OK;
    std::size_t layout_size = 0;  // bytes that the layout wants

    // A table; a piece of text, or of several.
    template <const auto& rows>
    void print() {
        run(packed<rows>.head);
    }
    // A table that stands in several layouts: its offsets count from `base`, its values are in a group of their own.
    template <const auto& rows>
    void print(const char* group, int base) {
        run(packed<rows>.head, group, static_cast<std::size_t>(base));
    }
    template <typename... Piece>
    void put(const Piece&... piece) {
        (out.put(piece), ...);
    }
    // A text that the table language cannot say, for the value of `field`.
    void put_value(std::string_view text, const Field& field, const char* name);
    // Characters from `at` to their NUL, at most so many and never beyond the payload.
    void put_text(std::size_t at, std::size_t most, const char* name);
    // The whole payload, or an area of it, raw.
    void dump() { out.dump(payload.data, payload.size); }
    void dump(const Field& area, const char* name);

    // The number of a field; 0 when it is missing. Inlined, or the library would carry the field.
    [[gnu::always_inline]] std::uint64_t peek(const Field& field) const {
        const bool one = field.at.columns() == 1;
        if (!one && !field.at.present(layout)) return 0;
        const bool flag = field.kind == Field::Kind::flag;
        const std::size_t at = field.at[one ? 0 : layout];
        return flag ? (number_at(at + field.mask_at, 1) & field.mask) != 0 : number_at(at, field.width);
    }

    // The layout's size. A shorter payload prints '?' for what is missing, and a line and a dump at the end.
    void expect(std::size_t size);
    // As above, for decoders that show nothing of a payload of another size: false then, and all is said.
    bool exactly(std::size_t size, std::string_view what = "");
    // For a version without a layout: a line and a dump.
    void unrecognized(std::string_view word = "Unrecognized");
    // For a version without a layout: only the dump.
    void raw();
    // The closing dump of the whole payload.
    void close_with_dump();
    // Ends the text; called once, by whoever called the decoder. Returns the count.
    int finish();

    // A line to standard output.
    void trace(const char* line) const;

private:
    bool closed_ = false;

    // The number of `width` bytes; 0 when they are missing.
    std::uint64_t number_at(std::size_t at, std::size_t width) const;
    void run(const Head& table);
    void run(const Head& table, const char* group, std::size_t base);
    [[gnu::cold]] void run_carefully(const View& v);
    [[gnu::cold]] void put_one(const View& v, const Op& op, const Label& label);
    [[gnu::cold]] void observe(const Label& label, const View& v, std::size_t at, std::uint64_t number, bool missing,
                               std::string_view text);
    [[gnu::cold]] void tell(dd_ffdc_value value) const;
};

using Decoder = void (*)(Report&);

}  // namespace ffdc
