// The engine: one renderer of values, run either straight into the caller's buffer or value by value.
#include "report.hpp"

#include <cstdio>

#include "hex.hpp"
#include "text.hpp"

namespace ffdc {
namespace {

constexpr std::size_t longest_value = 320;  // a text of 255 characters or a name, and the slack

// A big-endian number.
template <typename Word>
Word load(const std::uint8_t* p) {
    Word v;
    std::memcpy(&v, p, sizeof v);
    if constexpr (std::endian::native == std::endian::little) {
        if constexpr (sizeof v == 2) v = static_cast<Word>(__builtin_bswap16(static_cast<std::uint16_t>(v)));
        if constexpr (sizeof v == 4) v = static_cast<Word>(__builtin_bswap32(static_cast<std::uint32_t>(v)));
        if constexpr (sizeof v == 8) v = static_cast<Word>(__builtin_bswap64(static_cast<std::uint64_t>(v)));
    }
    return v;
}

// The number of an op, sign-extended.
inline std::uint64_t number(const Op& op, const std::uint8_t* p) {
    switch (op.load) {
        case Load::u8: return *p & op.mask;
        case Load::u16: return load<std::uint16_t>(p);
        case Load::u32: return load<std::uint32_t>(p);
        case Load::u64: return load<std::uint64_t>(p);
        case Load::s16: return static_cast<std::uint64_t>(load<std::int16_t>(p));
        case Load::s32: return static_cast<std::uint64_t>(load<std::int32_t>(p));
        case Load::bcd: return (*p & op.mask) / 16u * 10u + (*p & op.mask & 15u);
        case Load::bit: return (*p & op.mask) != 0;
    }
    __builtin_unreachable();
}

// Text to be followed by more of it, in steps that need no call: up to 32 characters more than asked for.
template <std::size_t first>
inline void copy(char* out, const char* s, std::size_t n) {
    std::memcpy(out, s, first);
    for (std::size_t i = first; i < n; i += 32) std::memcpy(out + i, s + i, 32);
}

// `n` words as digits, `step` characters and `stride` bytes apart.
inline void put_hex_run(char* out, const std::uint8_t* p, std::size_t n, std::size_t step, std::size_t stride) {
#if defined(__SSE2__)
    if (stride == 4)
        for (; n >= 2; n -= 2, out += 2 * step, p += 8) {
            const __m128i digits = hex_digits<'a'>(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out), digits);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out + step), _mm_unpackhi_epi64(digits, digits));
        }
#endif
    for (; n != 0; --n, out += step, p += stride) put_hex<'a', 4>(out, p);
}

template <char ten>
char* put_hexadecimal(char* out, std::uint8_t width_and_flags, std::uint32_t v) {
    if ((width_and_flags & Op::prefix) != 0 && v != 0) out = static_cast<char*>(std::memcpy(out, "0x", 2)) + 2;
    const std::uint64_t digits = hex_eight(v);
    return put_padded(out, digits, hex_characters<ten>(digits), false, width_and_flags & Op::width_bits,
                      (width_and_flags & Op::zero) != 0);
}

inline char* put_signed(char* out, std::int32_t v) {
    *out = '-';
    return put_decimal_number(out + (v < 0), v < 0 ? 0 - static_cast<std::uint32_t>(v) : static_cast<std::uint32_t>(v));
}

char* put_decimal(char* out, const Op& op, std::uint64_t v) {
    const bool wide = op.load == Load::u64;
    const bool negative =
        op.show == Show::decimal && (wide ? static_cast<std::int64_t>(v) : static_cast<std::int32_t>(v)) < 0;
    if (negative) v = 0 - v;
    if (!wide) v = static_cast<std::uint32_t>(v);
    if (v < eight_digits) {
        const std::uint64_t digits = decimal_eight(static_cast<std::uint32_t>(v));
        return put_padded(out, digits, decimal_characters(digits), negative, op.argument & Op::width_bits,
                          (op.argument & Op::zero) != 0);
    }
    *out = '-';
    return put_decimal_number(out + negative, v);
}

inline char* put_pointer(char* out, std::uint32_t v) {
    if (v == 0) return static_cast<char*>(std::memcpy(out, "(nil)", 5)) + 5;
    std::memcpy(out, "0x", 2);
    return put_hex_number<'a'>(out + 2, v);
}

char* put_invalid(char* out, std::uint32_t v) {
    constexpr std::string_view lead = "INVALID (0x";
    out = put_hex_number<'a'>(std::copy(lead.begin(), lead.end(), out), v);
    *out = ')';
    return out + 1;
}

// The entry of a packed name: its length stands before it.
inline char* put_entry(char* out, const char* entry) {
    const auto n = static_cast<std::uint8_t>(*entry);
    copy<32>(out, entry + 1, n);
    return out + n;
}

inline char* put_name(char* out, const Op& op, std::uint64_t v, const View& view) {
    const PackedNames& names = view.names[op.argument];
    const std::size_t last = names.count - 1u;
    const char* const entry = view.text + names.text + names.stride * std::min<std::uint64_t>(v - names.first, last);
    return *entry == 0 ? put_invalid(out, static_cast<std::uint32_t>(v)) : put_entry(out, entry);
}

inline char* put_choice(char* out, const Op& op, const std::uint8_t* payload, const View& view) {
    const PackedNames& names = view.names[op.argument];
    const std::size_t set = (payload[op.at] & op.mask) != 0;  // to be multiplied: bits are hard to predict
    return put_entry(out, view.text + names.text + set * names.stride);
}

// Shows one value whose bytes are all there.
[[gnu::always_inline]] inline char* show(char* out, const Op& op, const std::uint8_t* payload, const View& view) {
    const std::uint8_t* const p = payload + op.at;
    switch (op.show) {
        case Show::nothing: return out;
        case Show::hex1: return put_hex<'a', 1>(out, p);
        case Show::hex2: return put_hex<'a', 2>(out, p);
        case Show::hex4: return put_hex<'a', 4>(out, p);
        case Show::hex8: return put_hex<'a', 8>(out, p);
        case Show::HEX1: return put_hex<'A', 1>(out, p);
        case Show::HEX2: return put_hex<'A', 2>(out, p);
        case Show::HEX4: return put_hex<'A', 4>(out, p);
        case Show::HEX8: return put_hex<'A', 8>(out, p);
        case Show::plain_u8: return put_small_number(out, *p & op.mask);
        case Show::plain_bcd: {
            const auto v = static_cast<std::uint8_t>(number(op, p));
            *out = '0';
            return put_small_number(out + (v < 10), v);
        }
        case Show::plain_u16: return put_decimal_number(out, std::uint32_t{load<std::uint16_t>(p)});
        case Show::plain_s32: return put_signed(out, load<std::int32_t>(p));
        case Show::plain_bit: *out = static_cast<char>('0' + ((*p & op.mask) != 0)); return out + 1;
        case Show::plain_hex: return put_hex_number<'a'>(out, load<std::uint32_t>(p));
        case Show::hex: return put_hexadecimal<'a'>(out, op.argument, static_cast<std::uint32_t>(number(op, p)));
        case Show::HEX: return put_hexadecimal<'A'>(out, op.argument, static_cast<std::uint32_t>(number(op, p)));
        case Show::decimal:
        case Show::unsigned_decimal: return put_decimal(out, op, number(op, p));
        case Show::pointer: return put_pointer(out, load<std::uint32_t>(p));
        case Show::text: {
            const std::size_t n = strnlen(reinterpret_cast<const char*>(p), op.argument);
            std::memcpy(out, p, n);
            return out + n;
        }
        case Show::name: return put_name(out, op, number(op, p), view);
        case Show::choice: return put_choice(out, op, payload, view);
        case Show::fixed: return put_entry(out, view.text + view.names[op.argument].text);
    }
    __builtin_unreachable();
}

}  // namespace

void Writer::put(std::string_view s) {
    if (s.empty()) return;
    if (length_ + s.size() < room_) {
        std::memcpy(out_ + length_, s.data(), s.size());
    } else if (length_ + 1 < room_) {
        std::memcpy(out_ + length_, s.data(), room_ - 1 - length_);
    }
    length_ += s.size();
}

void Writer::dump(const std::uint8_t* data, std::size_t size) {
    if (length_ < room_)
        length_ += static_cast<std::size_t>(
            ffdc::dump(data, static_cast<int>(size), out_ + length_, static_cast<int>(room_ - length_)));
}

Digits Digits::decimal(std::int64_t v) {
    Digits d;
    char* at = d.text_;
    if (v < 0) *at++ = '-';
    d.length_ = static_cast<std::size_t>(put_decimal_number(at, static_cast<std::uint64_t>(v < 0 ? -v : v)) - d.text_);
    return d;
}
Digits Digits::hex(std::uint32_t v, std::uint8_t digits) {
    Digits d;
    d.length_ = static_cast<std::size_t>(put_hexadecimal<'a'>(d.text_, digits | Op::zero, v) - d.text_);
    return d;
}

void Report::run(const Head& table) {
    const View v(table, layout);
    char* at = out.reserve(v.layout.longest);
    if (!at || payload.size < v.layout.extent || observer.each) return run_carefully(v);
    const std::uint16_t* chunk = v.chunks;
    const Op* const end = v.ops + v.layout.end;
    const std::uint8_t* const bytes = payload.data;
    for (const Op* op = v.ops + v.layout.begin; op != end; ++op) {
        if (op->copies != 0) copy<16>(at, v.text + *chunk++, 16 * op->copies);
        at += op->literal;
        if (op->show == Show::hex4) {
            const std::size_t step = op->gap() + 8;
            put_hex_run(at, bytes + op->at, op->more() + 1, step, op->stride());
            at += op->more() * step + 8;
        } else {
            at = show(at, *op, bytes, v);
        }
    }
    out.take(at);
}

void Report::run(const Head& table, const char* group, std::size_t base) {
    const Payload whole = payload;
    const Observer outer = observer;
    payload = payload.from(base, payload.size);
    observer.base += static_cast<std::uint32_t>(base);
    observer.group = group;
    run(table);
    payload = whole;
    observer = outer;
}

// For payloads that end early, rooms that may not do, and observers.
void Report::run_carefully(const View& v) {
    const std::uint16_t* chunk = v.chunks;
    const char* literal = v.text;
    const std::uint8_t* label = v.label_of;
    for (std::size_t i = v.layout.begin; i != v.layout.hidden_end; ++i) {
        Op op = v.ops[i];
        if (op.copies != 0) literal = v.text + *chunk++;
        const std::size_t values =
            op.show == Show::hex4 ? op.more() + 1 : op.show != Show::nothing || i >= v.layout.end;
        out.put({literal, op.literal});
        literal += op.literal;
        for (std::size_t n = 0; n < values; ++n) {
            if (n > 0) {
                out.put({literal, op.gap()});
                literal += op.gap();
                op.at = static_cast<std::uint16_t>(op.at + op.stride());
            }
            literal += hole_of(op.show);
            put_one(v, op, v.labels[*label++]);
        }
    }
}

void Report::put_one(const View& v, const Op& op, const Label& label) {
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
    if (!observer.each) return;
    std::uint64_t n = 0;
    if (!missing && op.show == Show::hex4) {
        n = load<std::uint32_t>(payload.data + op.at);
        if (label.kind == DD_FFDC_SIGNED) n = static_cast<std::uint64_t>(static_cast<std::int32_t>(n));
    } else if (!missing && op.show != Show::text) {
        n = number(op, payload.data + op.at);
    }
    observe(label, v, at, n, missing, text);
}

void Report::observe(const Label& label, const View& v, std::size_t at, std::uint64_t number, bool missing,
                     std::string_view text) {
    if (!observer.each || label.name_length == 0) return;
    char name[Label::longest_name + 1];
    *std::copy_n(v.text + label.name, label.name_length, name) = '\0';
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

std::uint64_t Report::number_at(std::size_t at, std::size_t width) const {
    if (!payload.has(at, width)) return 0;
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < width; ++i) v = v << 8 | payload.data[at + i];
    return v;
}

void Report::put_value(std::string_view text, const Field& field, const char* name) {
    const std::size_t at = field.at[layout];
    const bool missing = !payload.has(at, field.width);
    if (missing) text = "?";
    out.put(text);
    const bool is_signed = field.kind == Field::Kind::signed_number;
    const std::uint64_t sign = is_signed && !missing ? std::uint64_t{1} << (8 * field.width - 1) : 0;
    tell({.group = "",
          .name = name,
          .index = -1,
          .offset = static_cast<std::uint32_t>(at),
          .size = field.width,
          .kind = DD_FFDC_NAME,
          .missing = missing,
          .number = static_cast<std::int64_t>((peek(field) ^ sign) - sign),
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
