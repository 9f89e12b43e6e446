// The engine: one renderer of values, run either straight into the caller's buffer or value by value.
#include "report.hpp"

#include <array>
#include <bit>
#include <cstdio>

#include "text.hpp"

namespace ffdc {
namespace {

constexpr std::size_t longest_value = 320;  // a text of 255 characters or a name, and the slack

struct Pair {
    char c[2];
};
consteval std::array<Pair, 256> hex_pairs(const char* digits) {
    std::array<Pair, 256> pairs{};
    for (std::size_t i = 0; i < 256; ++i) pairs[i] = {{digits[i >> 4], digits[i & 15]}};
    return pairs;
}
constexpr std::array<Pair, 256> lower_pairs = hex_pairs("0123456789abcdef");
constexpr std::array<Pair, 256> upper_pairs = hex_pairs("0123456789ABCDEF");
consteval std::array<Pair, 100> two_digits() {
    std::array<Pair, 100> pairs{};
    for (std::size_t i = 0; i < 100; ++i) pairs[i] = {{char('0' + i / 10), char('0' + i % 10)}};
    return pairs;
}
constexpr std::array<Pair, 100> decimal_pairs = two_digits();

std::uint64_t load_number(const std::uint8_t* p, std::size_t width) {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < width; ++i) v = v << 8 | p[i];
    return v;
}

template <typename Word>
Word load(const std::uint8_t* p) {
    return static_cast<Word>(load_number(p, sizeof(Word)));
}

// The number of an op, sign-extended.
std::uint64_t number(const Op& op, const std::uint8_t* p) {
    switch (op.load) {
        case Load::u8:
            return *p & op.mask;
        case Load::u16:
            return load<std::uint16_t>(p);
        case Load::u32:
            return load<std::uint32_t>(p);
        case Load::u64:
            return load<std::uint64_t>(p);
        case Load::s16:
            return static_cast<std::uint64_t>(load<std::int16_t>(p));
        case Load::s32:
            return static_cast<std::uint64_t>(load<std::int32_t>(p));
        case Load::bcd:
            return (*p & op.mask) / 16u * 10u + (*p & op.mask & 15u);
        case Load::bit:
            return (*p & op.mask) != 0;
    }
    return 0;
}

template <std::size_t Bytes>
char* put_hex(char* out, const std::uint8_t* p, const std::array<Pair, 256>& pairs) {
    for (std::size_t i = 0; i < Bytes; ++i) std::memcpy(out + 2 * i, &pairs[p[i]], 2);
    return out + 2 * Bytes;
}

// Digits of v, written to end at `end`; returns where they begin. A zero has one digit.
char* decimal_before(char* end, std::uint64_t v) {
    for (; v >= 100; v /= 100) std::memcpy(end -= 2, &decimal_pairs[v % 100], 2);
    if (v >= 10) {
        std::memcpy(end -= 2, &decimal_pairs[v], 2);
    } else {
        *--end = static_cast<char>('0' + v);
    }
    return end;
}
char* hex_before(char* end, std::uint64_t v, const char* digits) {
    do *--end = digits[v & 15];
    while ((v >>= 4) != 0);
    return end;
}

// A number with the width and flags of its conversion.
char* put_number(char* out, const Op& op, std::uint64_t v) {
    char buffer[24];
    char* const end = buffer + sizeof buffer;
    char* begin;
    bool negative = false, prefix = false;
    const bool wide = op.load == Load::u64;
    if (op.show == Show::hex || op.show == Show::HEX) {
        if (!wide) v = static_cast<std::uint32_t>(v);
        begin = hex_before(end, v, op.show == Show::HEX ? "0123456789ABCDEF" : "0123456789abcdef");
        prefix = (op.width & Op::prefix) != 0 && v != 0;
    } else if (op.show == Show::unsigned_decimal) {
        begin = decimal_before(end, wide ? v : static_cast<std::uint32_t>(v));
    } else {
        const std::int64_t s = wide ? static_cast<std::int64_t>(v) : static_cast<std::int32_t>(v);
        negative = s < 0;
        begin = decimal_before(end, negative ? 0 - static_cast<std::uint64_t>(s) : static_cast<std::uint64_t>(s));
    }
    const std::size_t sign = negative ? 1 : prefix ? 2 : 0;
    const std::size_t digits = static_cast<std::size_t>(end - begin), width = op.width & Op::width_bits;
    std::size_t pad = digits + sign < width ? width - digits - sign : 0;
    const bool zeros = (op.width & Op::zero) != 0;
    if (!zeros)
        for (; pad > 0; --pad) *out++ = ' ';
    if (negative) *out++ = '-';
    if (prefix) *out++ = '0', *out++ = 'x';
    for (; pad > 0; --pad) *out++ = '0';
    std::memcpy(out, begin, digits);
    return out + digits;
}

char* put_pointer(char* out, std::uint32_t v) {
    if (v == 0) return static_cast<char*>(std::memcpy(out, "(nil)", 5)) + 5;
    *out++ = '0', *out++ = 'x';
    const int digits = (35 - std::countl_zero(v)) / 4;
    hex_before(out + digits, v, "0123456789abcdef");
    return out + digits;
}

// Text to be followed by more of it: 16 bytes at a time, up to 15 more than asked for.
char* copy(char* out, const char* s, std::size_t n) {
    for (std::size_t i = 0; i < n; i += 16) std::memcpy(out + i, s + i, 16);
    return out + n;
}

char* put_name(char* out, const Op& op, std::uint64_t v, const View& view) {
    const PackedNames& names = view.names[op.names];
    const std::size_t last = names.count - 1u;
    std::size_t entry = op.load == Load::bit ? v : v - names.first;
    if (op.show == Show::fixed) entry = 0;
    char* const begin = out;
    const char* s = view.text + names.text;
    if (op.show == Show::name && op.load != Load::bit && entry >= last) {
        s += last * names.stride;
        if (*s == 0) {
            out = copy(out, "INVALID (0x\0\0\0\0", 11);
            out = put_number(
                out, {.at = 0, .literal = 0, .show = Show::hex, .load = Load::u32, .width = 0, .mask = 0, .names = 0},
                v);
            *out++ = ')';
            return out;
        }
    } else {
        s += entry * names.stride;
    }
    out = copy(out, s + 1, static_cast<std::uint8_t>(*s));
    const std::size_t n = static_cast<std::size_t>(out - begin), width = op.width & Op::width_bits;
    if (n < width) {
        std::memmove(begin + width - n, begin, n);
        std::memset(begin, ' ', width - n);
        out = begin + width;
    }
    return out;
}

// Shows one value whose bytes are all there.
inline char* show(char* out, const Op& op, const std::uint8_t* payload, const View& v) {
    const std::uint8_t* const p = payload + op.at;
    switch (op.show) {
        case Show::nothing:
            return out;
        case Show::hex1:
            return put_hex<1>(out, p, lower_pairs);
        case Show::hex2:
            return put_hex<2>(out, p, lower_pairs);
        case Show::hex4:
            return put_hex<4>(out, p, lower_pairs);
        case Show::hex8:
            return put_hex<8>(out, p, lower_pairs);
        case Show::HEX1:
            return put_hex<1>(out, p, upper_pairs);
        case Show::HEX2:
            return put_hex<2>(out, p, upper_pairs);
        case Show::HEX4:
            return put_hex<4>(out, p, upper_pairs);
        case Show::HEX8:
            return put_hex<8>(out, p, upper_pairs);
        case Show::text: {
            const std::size_t n = strnlen(reinterpret_cast<const char*>(p), op.width);
            std::memcpy(out, p, n);
            return out + n;
        }
        case Show::pointer:
            return put_pointer(out, load<std::uint32_t>(p));
        case Show::name:
        case Show::fixed:
            return put_name(out, op, number(op, p), v);
        default:
            return put_number(out, op, number(op, p));
    }
}

}  // namespace

void Writer::dump(const std::uint8_t* data, std::size_t size) {
    if (length_ < room_)
        length_ += static_cast<std::size_t>(
            ffdc::dump(data, static_cast<int>(size), out_ + length_, static_cast<int>(room_ - length_)));
}

Digits Digits::decimal(std::int64_t v) {
    Digits d;
    char* begin = decimal_before(d.text_ + sizeof text_, static_cast<std::uint64_t>(v < 0 ? -v : v));
    if (v < 0) *--begin = '-';
    d.begin_ = static_cast<std::size_t>(begin - d.text_);
    return d;
}
Digits Digits::hex(std::uint32_t v, int digits) {
    Digits d;
    char* const end = d.text_ + sizeof text_;
    char* begin = hex_before(end, v, "0123456789abcdef");
    while (end - begin < digits) *--begin = '0';
    d.begin_ = static_cast<std::size_t>(begin - d.text_);
    return d;
}

void Report::run(const View& v) {
    char* at = out.reserve(v.layout.longest);
    if (!at || payload.size < v.layout.extent || observer.each) return run_carefully(v);
    const char* literal = v.text + v.layout.literals;
    const Op* const end = v.ops + v.layout.end;
    for (const Op* op = v.ops + v.layout.begin; op != end; ++op) {
        at = copy(at, literal, op->literal);
        literal += op->literal;
        at = show(at, *op, payload.data, v);
    }
    out.take(at);
}

// For payloads that end early, rooms that may not do, and observers.
void Report::run_carefully(const View& v) {
    const char* literal = v.text + v.layout.literals;
    for (std::size_t i = v.layout.begin; i != v.layout.end; ++i) {
        const Op& op = v.ops[i];
        out.put({literal, op.literal});
        literal += op.literal;
        if (v.label_of[i] == unlabelled) continue;
        const Label& label = v.labels[v.label_of[i]];
        const std::size_t at = op.at - std::size_t{label.back};
        const bool missing = !payload.has(at, label.size);
        char buffer[longest_value];
        char* end = buffer;
        if (!missing) {
            end = show(buffer, op, payload.data, v);
        } else if (op.show == Show::text) {
            const Payload held = payload.from(at, label.size);
            const char* const s = reinterpret_cast<const char*>(held.data);
            end = std::copy_n(s, held.size == 0 ? 0 : strnlen(s, held.size), buffer);
        } else if (op.show != Show::nothing) {
            end = std::fill_n(buffer, label.shown, '?');
        }
        std::string_view text(buffer, static_cast<std::size_t>(end - buffer));
        if (op.show == Show::nothing) text = {};
        out.put(text);
        const bool has_number = !missing && op.show != Show::text;
        observe(label, v, at, has_number ? number(op, payload.data + op.at) : 0, missing, text);
    }
}

void Report::observe(const Label& label, const View& v, std::size_t at, std::uint64_t number, bool missing,
                     std::string_view text) {
    const char* const name = v.strings + label.name;
    if (!observer.each || *name == '\0') return;
    tell({.group = v.strings + label.group,
          .name = name,
          .index = label.index == Label::none ? -1 : label.index,
          .offset = static_cast<std::uint32_t>(at),
          .size = label.size,
          .kind = static_cast<dd_ffdc_kind>(label.kind),
          .missing = missing,
          .number = static_cast<std::int64_t>(number),
          .text = text.data(),
          .text_length = text.size()});
}

void Report::tell(dd_ffdc_value value) const {
    if (!observer.each) return;
    value.offset += observer.base;
    char joined[64];
    if (*observer.group != '\0') {
        std::snprintf(joined, sizeof joined, "%s%s%s", observer.group, *value.group ? "." : "", value.group);
        value.group = joined;
    }
    observer.each(observer.context, &value);
}

std::uint64_t Report::peek(const Field& field) const {
    const std::size_t at = field.at[layout];
    if (!field.at.present(layout) || !payload.has(at, field.width)) return 0;
    if (field.kind == Field::Kind::flag) return (payload.data[at + field.mask_at] & field.mask) != 0;
    return load_number(payload.data + at, field.width);
}

void Report::put_value(std::string_view text, const Field& field, const char* name) {
    const std::size_t at = field.at[layout];
    const bool missing = !payload.has(at, field.width);
    if (missing) text = "?";
    out.put(text);
    const std::uint64_t sign = field.kind == Field::Kind::signed_number ? std::uint64_t{1} << (8 * field.width - 1) : 0;
    tell({.group = "",
          .name = name,
          .index = -1,
          .offset = static_cast<std::uint32_t>(at),
          .size = field.width,
          .kind = DD_FFDC_NAME,
          .missing = missing,
          .number = static_cast<std::int64_t>((peek(field) ^ sign) - (missing ? 0 : sign)),
          .text = text.data(),
          .text_length = text.size()});
}

void Report::put_text(std::size_t at, std::size_t most, const char* name) {
    const Payload held = payload.from(at, most);
    const char* const s = reinterpret_cast<const char*>(held.data);
    const std::string_view text(s, held.size == 0 ? 0 : strnlen(s, held.size));
    out.put(text);
    tell({.group = "",
          .name = name,
          .index = -1,
          .offset = static_cast<std::uint32_t>(at),
          .size = static_cast<std::uint32_t>(held.size),
          .kind = DD_FFDC_TEXT,
          .missing = held.size == 0,
          .number = 0,
          .text = text.data(),
          .text_length = text.size()});
}

void Report::dump(const Field& area, const char* name) {
    constexpr std::size_t largest = 256, room = largest / 16 * dump_line + dump_slack;
    const Payload there = payload.from(area.at[0], std::min<std::size_t>(area.width, largest));
    out.dump(there.data, there.size);
    if (!observer.each) return;
    char lines[room];
    const int n = ffdc::dump(there.data, static_cast<int>(there.size), lines, sizeof lines);
    tell({.group = "",
          .name = name,
          .index = -1,
          .offset = static_cast<std::uint32_t>(area.at[0]),
          .size = area.width,
          .kind = DD_FFDC_BYTES,
          .missing = there.size < area.width,
          .number = 0,
          .text = lines,
          .text_length = static_cast<std::size_t>(n)});
}

void Report::expect(std::size_t size) {
    layout_size = size;
    if (payload.size < size) state = DD_FFDC_SHORT;
}

bool Report::exactly(std::size_t size, std::string_view what) {
    layout_size = size;
    counts_whole = true;
    if (length == static_cast<int>(size)) return true;
    state = DD_FFDC_SIZE_MISMATCH;
    put(what);
    close_with_dump();
    return false;
}

void Report::unrecognized(std::string_view word) {
    counts_whole = true;
    put(word, " FFDC version ", Digits::hex(version, 4), "\n");
    raw();
}

void Report::raw() {
    state = DD_FFDC_UNKNOWN_VERSION;
    close_with_dump();
}

void Report::close_with_dump() {
    if (layout_size != 0 && (state == DD_FFDC_SIZE_MISMATCH || payload.size < layout_size))
        put("Data size mismatch ", Digits::decimal(static_cast<std::int64_t>(layout_size)), " vs ",
            Digits::decimal(length), "\n");
    dump();
    closed_ = true;
}

int Report::finish() {
    if (payload.size < layout_size && !closed_) close_with_dump();
    out.terminate();
    return static_cast<int>(counts_whole ? out.length() : out.stored());
}

void Report::trace(const char* line) const {
    if (!quiet) std::puts(line);
}

}  // namespace ffdc
