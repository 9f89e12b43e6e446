// The engine: one renderer of values, run either straight into the caller's buffer or value by value.
#include "report.hpp"

#include <cstdio>

#include "hex.hpp"
#include "packing/labels.hpp"
#include "text.hpp"

namespace ffdc {
namespace {

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
    switch (op.load()) {
        case Load::u8: return *p & op.mask();
        case Load::u16: return load<std::uint16_t>(p);
        case Load::u32: return load<std::uint32_t>(p);
        case Load::u64: return load<std::uint64_t>(p);
        case Load::s16: return static_cast<std::uint64_t>(load<std::int16_t>(p));
        case Load::s32: return static_cast<std::uint64_t>(load<std::int32_t>(p));
        case Load::bcd: return (*p & op.mask()) / 16u * 10u + (*p & op.mask() & 15u);
        case Load::bit: return (*p & op.mask()) != 0;
    }
    __builtin_unreachable();
}

inline std::int64_t number_of(const Op& op, const Label& label, const std::uint8_t* p) {
    if (label.kind == DD_FFDC_TEXT) return 0;
    if (op.show != Show::hex4) return static_cast<std::int64_t>(number(op, p));
    if (label.kind == DD_FFDC_SIGNED) return load<std::int32_t>(p);
    return load<std::uint32_t>(p);
}

// Text to be followed by more of it, in steps that need no call: up to 32 characters more than asked for.
inline void copy(char* out, const char* s, std::size_t n) {
    std::memcpy(out, s, 32);
    for (std::size_t i = 32; i < n; i += 32) std::memcpy(out + i, s + i, 32);
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
    out =
        put_padding(out, hex_digits_of(v), false, width_and_flags & Op::width_bits, (width_and_flags & Op::zero) != 0);
    return put_hex_number<ten>(out, v);
}

inline char* put_signed(char* out, std::int32_t v) {
    *out = '-';
    return put_decimal_number(out + (v < 0), v < 0 ? 0 - static_cast<std::uint32_t>(v) : static_cast<std::uint32_t>(v));
}

char* put_decimal(char* out, const Op& op, std::uint64_t v) {
    const bool wide = op.load() == Load::u64;
    const bool negative =
        op.show == Show::decimal && (wide ? static_cast<std::int64_t>(v) : static_cast<std::int32_t>(v)) < 0;
    if (negative) v = 0 - v;
    if (!wide) v = static_cast<std::uint32_t>(v);
    char digits[32];
    const auto n = static_cast<int>(put_decimal_number(digits, v) - digits);
    out = put_padding(out, n, negative, op.argument() & Op::width_bits, (op.argument() & Op::zero) != 0);
    std::memcpy(out, digits, 24);
    return out + n;
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
    copy(out, entry + 1, n);
    return out + n;
}

// The entry for a name, a choice or a fixed text.
struct Texts {
    const PackedNames* names;
    const char* text;
};
inline const char* entry_of(const Op& op, const std::uint8_t* p, const Texts& texts) {
    const PackedNames& names = texts.names[op.argument()];
    std::size_t entry = 0;
    if (op.show == Show::name)
        entry = static_cast<std::size_t>(std::min<std::uint64_t>(number(op, p) - names.first, names.count - 1u));
    if (op.show == Show::choice) entry = (*p & op.mask()) != 0;  // to be multiplied: bits are hard to predict
    return texts.text + names.text + entry * names.stride;
}

inline char* put_name(char* out, const Op& op, const std::uint8_t* p, const Texts& texts) {
    const char* const entry = entry_of(op, p, texts);
    return *entry == 0 ? put_invalid(out, static_cast<std::uint32_t>(number(op, p))) : put_entry(out, entry);
}

// Shows one value whose bytes, from `p` on, are all there.
[[gnu::always_inline]] inline char* show(char* out, const Op& op, const std::uint8_t* p, const Texts& texts) {
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
        case Show::plain_u8: return put_small_number(out, *p & std::uint32_t{op.mask()});
        case Show::plain_bcd: {
            const auto v = static_cast<std::uint8_t>(number(op, p));
            *out = '0';
            return put_small_number(out + (v < 10), v);
        }
        case Show::plain_u16: return put_decimal_number(out, std::uint32_t{load<std::uint16_t>(p)});
        case Show::plain_s32: return put_signed(out, load<std::int32_t>(p));
        case Show::plain_bit: *out = static_cast<char>('0' + ((*p & op.mask()) != 0)); return out + 1;
        case Show::plain_hex: return put_hex_number<'a'>(out, load<std::uint32_t>(p));
        case Show::hex: return put_hexadecimal<'a'>(out, op.argument(), static_cast<std::uint32_t>(number(op, p)));
        case Show::HEX: return put_hexadecimal<'A'>(out, op.argument(), static_cast<std::uint32_t>(number(op, p)));
        case Show::decimal:
        case Show::unsigned_decimal: return put_decimal(out, op, number(op, p));
        case Show::pointer: return put_pointer(out, load<std::uint32_t>(p));
        case Show::text: {
            const std::size_t n = strnlen(reinterpret_cast<const char*>(p), op.argument());
            std::memcpy(out, p, n);
            return out + n;
        }
        case Show::name: return put_name(out, op, p, texts);
        case Show::choice:
        case Show::fixed: return put_entry(out, entry_of(op, p, texts));
    }
    __builtin_unreachable();
}

// Prints ops whose bytes are all there, one behind the other. Here is the only code that shows values of tables.
[[gnu::noinline]] void print_ops(Writer& out, const Op* op, const Op* end, const std::uint8_t* bytes, const Head& table,
                                 const std::uint16_t* chunk) {
    const Texts texts = {table.names(), table.text()};
    char* at = out.end();
    for (; op != end; ++op) {
        if (op->copies != 0) copy(at, texts.text + *chunk++, 16 * op->copies);
        at += op->literal;
        if (op->show == Show::hex4) {
            const std::size_t step = op->gap() + 8;
            put_hex_run(at, bytes + op->at, op->more() + 1, step, op->stride());
            at += op->more() * step + 8;
        } else {
            at = show(at, *op, bytes + op->at, texts);
        }
    }
    out.take(at);
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

void Covered::keep() {
    constexpr std::size_t all = sizeof kept_ * 8;
    for (std::size_t i = begin_; i < std::min(end_, all);) {
        const std::size_t n = std::min(bits - i % bits, std::min(end_, all) - i);
        kept_[i / bits] |= (~std::size_t{0} >> (bits - n)) << i % bits;
        i += n;
    }
    if (end_ > all) long_end_ = std::max(long_end_, end_);
}

std::size_t Covered::next(std::size_t from, bool covered) const {
    for (; from < sizeof kept_ * 8; from = (from / bits + 1) * bits) {
        const std::size_t left = (covered ? kept_[from / bits] : ~kept_[from / bits]) >> from % bits;
        if (left != 0) return from + static_cast<std::size_t>(std::countr_zero(left));
    }
    return covered == (from < long_end_) ? from : covered ? ~std::size_t{0} : long_end_;
}

void Report::run(const Head& table, Groups groups) {
    const Layout& l = table.layout(layout);
    if (!prints()) return tell_values(table, l, groups);
    if (!out.has(l.longest) || payload.size < l.extent || observer) {
        if (describes()) return describer->table(*this, table, l, groups);
        return run_carefully(table, l, groups);
    }
    print_ops(out, table.ops() + l.begin, table.ops() + l.end, payload.data, table, table.chunks() + l.chunks);
}

void Report::run(const Head& table, Groups groups, std::size_t from) {
    const Payload whole = payload;
    payload = payload.from(from, payload.size);
    base += static_cast<std::uint32_t>(from);
    run(table, groups);
    payload = whole;
    base -= static_cast<std::uint32_t>(from);
}

// For payloads that end early, rooms that may not do, and annotations.
void Report::run_carefully(const Head& table, const Layout& l, Groups groups) {
    const std::uint16_t* chunk = table.chunks() + l.chunks;
    const char* literal = nullptr;
    Labels labels(table, l);
    const Op *const ops = table.ops(), *const hidden = ops + l.end;
    dd_ffdc_value value;
    for (const Op* op = ops + l.begin; op != ops + l.hidden_end; ++op) {
        if (op->copies != 0) literal = table.text() + *chunk++;
        out.put({literal, op->literal});
        literal += op->literal;
        const std::size_t values = op->values(op >= hidden);
        for (std::size_t n = 0, at = op->at; n < values; ++n, at += op->stride()) {
            if (n > 0) {
                out.put({literal, op->gap()});
                literal += op->gap();
            }
            literal += hole_of(op->show);
            const Label& label = labels.next();
            place(value, table, groups, label, at);
            value.index = labels.index();
            fill(value, table, *op, label, at);
            put_and_tell(value);
        }
    }
}

void Report::tell_values(const Head& table, const Layout& l, Groups groups) {
    const bool whole = payload.size >= l.extent;
    Labels labels(table, l);
    const Op *const ops = table.ops(), *const hidden = ops + l.end;
    dd_ffdc_value value;
    value.text_at = value.text_size = 0;
    for (const Op* op = ops + l.begin; op != ops + l.hidden_end; ++op) {
        const std::size_t values = op->values(op >= hidden);
        for (std::size_t n = 0, at = op->at; n < values; ++n, at += op->stride()) {
            const Label& label = labels.next();
            place(value, table, groups, label, at);
            value.index = labels.index();
            if (whole && n != 0) {
                // The others of a run differ in little, and there are many of them.
                value.own.bytes = payload.data + at;
                value.number = number_of(*op, label, payload.data + at);
            } else {
                fill(value, table, *op, label, at);
            }
            tell(value);
        }
    }
}

// What the value is called and where it lies. `at` is the first byte that its op loads.
inline void Report::place(dd_ffdc_value& value, const Head& table, Groups groups, const Label& label,
                          std::size_t at) const {
    value.group = reinterpret_cast<const char*>(groups) + groups[label.group];
    value.name = table.keys() + label.name;
    value.offset = base + static_cast<std::uint32_t>(at - label.back);
    value.size = label.size;
    value.kind = static_cast<dd_ffdc_kind>(label.kind);
}

// What it is, and what its text is made from.
[[gnu::always_inline]] inline void Report::fill(dd_ffdc_value& value, const Head& table, const Op& op,
                                                const Label& label, std::size_t at) const {
    const std::size_t begin = at - label.back;
    value.missing = !payload.has(begin, label.size);
    value.mask = mask_of(op, label);
    value.own.table = &table;
    value.own.step = &op;
    if (value.missing) {
        const Payload held = payload.from(begin, label.size);
        value.number = 0;
        value.own.bytes = held.data;
        value.own.length = op.show == Show::text ? held.size : label.shown;
    } else {
        const std::uint8_t* const p = payload.data + at;
        value.number = number_of(op, label, p);
        value.own.bytes = p;
    }
}

void Report::put_and_tell(dd_ffdc_value& value) {
    if (prints()) {
        char buffer[DD_FFDC_VALUE_ROOM];
        const std::string_view text = text_of(value, buffer);
        const std::size_t begin = out.stored();
        out.put(text);
        value.text_at = text.data() ? static_cast<std::uint32_t>(begin) : 0;
        value.text_size = static_cast<std::uint32_t>(out.stored() - begin);
    }
    if (observer) tell(value);
}

inline void Report::tell(const dd_ffdc_value& value) const {
    if (*value.name == '\0') return;
    observer->covered.add(value.offset, value.offset + value.size);
    observer->each(observer->context, &value);
}

std::uint64_t Report::number_at(std::size_t at, std::size_t width) const {
    if (!payload.has(at, width)) return 0;
    const std::uint8_t* const p = payload.data + at;
    switch (width) {
        case 1: return *p;
        case 2: return load<std::uint16_t>(p);
        case 4: return load<std::uint32_t>(p);
        default: return load<std::uint64_t>(p);
    }
}

// A value that no table has.
dd_ffdc_value Report::value_of(Key name, std::size_t at, std::size_t size, dd_ffdc_kind kind) const {
    const Payload there = payload.from(at, size);
    return {.group = no_group,
            .name = name.text,
            .index = -1,
            .offset = base + static_cast<std::uint32_t>(at),
            .size = static_cast<std::uint32_t>(size),
            .kind = kind,
            .missing = there.size < size,
            .number = 0,
            .mask = 0,
            .text_at = 0,
            .text_size = 0,
            .own = {nullptr, nullptr, there.data, there.size}};
}

void Report::put_value(Say say, std::size_t at, std::size_t width, Key name, Role role) {
    if (describes()) return describer->value(*this, at, width, DD_FFDC_NAME, name.text, role);
    dd_ffdc_value value = value_of(name, at, width, DD_FFDC_NAME);
    value.number = static_cast<std::int32_t>(number_at(at, width));
    value.mask = all_bits(sizeof(std::int32_t));
    value.own.step = reinterpret_cast<const void*>(say);
    put_and_tell(value);
}

void Report::put_literal(std::string_view text) {
    if (describes()) return describer->text(*this, text);
    put(text);
}

void Report::dump() {
    if (describes()) return describer->value(*this, 0, 0, DD_FFDC_BYTES, "", Role::none);
    out.dump(payload.data, payload.size);
}

void Report::enter(const Peeked& field, std::uint64_t number, bool equal) {
    if (describes()) describer->enter(*this, field, number, equal);
}
void Report::enter_otherwise() { describer->enter_otherwise(); }
void Report::leave_choice() { describer->leave(); }

void Report::put_version(std::string_view before, Text::Version version_as, std::string_view after) {
    if (describes()) return describer->version(*this, before, version_as, after);
    put(before,
        version_as == Text::Version::decimal ? Digits::decimal(static_cast<std::int32_t>(version))
                                             : Digits::hex(version, version_as == Text::Version::hex4 ? 4 : 1),
        after);
}

void Report::put_text_after_layout(const TextAfterLayout& text) {
    const Key name = text.key;
    put_literal(text.before);
    if (describes()) {
        describer->value(*this, layout_size, 0, DD_FFDC_TEXT, name.text, Role::none);
        return put_literal(text.after);
    }
    dd_ffdc_value value = value_of(name, layout_size, payload.from(layout_size, payload.size).size, DD_FFDC_TEXT);
    value.missing = value.size == 0;
    put_and_tell(value);
    put(text.after);
}

void Report::dump(std::size_t at, std::size_t size, Key name, Role role) {
    if (describes()) return describer->value(*this, at, size, DD_FFDC_BYTES, name.text, role);
    dd_ffdc_value value = value_of(name, at, size, DD_FFDC_BYTES);
    const std::size_t begin = out.stored();
    out.dump(static_cast<const std::uint8_t*>(value.own.bytes), value.own.length);
    if (!observer) return;
    if (observer->annotates) {
        value.text_at = static_cast<std::uint32_t>(begin);
        value.text_size = static_cast<std::uint32_t>(out.stored() - begin);
    }
    tell(value);
}

std::string_view text_of(const dd_ffdc_value& value, char* buffer) {
    const auto* const bytes = static_cast<const std::uint8_t*>(value.own.bytes);
    const auto characters = [bytes](std::size_t most) {
        const char* const s = reinterpret_cast<const char*>(bytes);
        return std::string_view(s, most == 0 ? 0 : strnlen(s, most));
    };
    const auto marks = [buffer](std::size_t n) {
        return std::string_view(static_cast<char*>(std::memset(buffer, '?', n)), n);
    };
    if (!value.own.table) {
        switch (value.kind) {
            case DD_FFDC_TEXT: return characters(value.own.length);
            case DD_FFDC_BYTES:
                return {buffer, static_cast<std::size_t>(
                                    dump(bytes, static_cast<int>(value.own.length), buffer, DD_FFDC_VALUE_ROOM))};
            case DD_FFDC_NAME:
                if (value.missing) return marks(1);
                return reinterpret_cast<Say>(const_cast<void*>(value.own.step))(static_cast<std::int32_t>(value.number),
                                                                                buffer, DD_FFDC_VALUE_ROOM);
            default: return {};
        }
    }
    const Head& table = *static_cast<const Head*>(value.own.table);
    const Op& op = *static_cast<const Op*>(value.own.step);
    if (op.show == Show::nothing) return {};
    if (op.show == Show::text) return characters(value.missing ? value.own.length : op.argument());
    if (value.missing) return marks(value.own.length);
    if (op.show == Show::name || op.show == Show::choice || op.show == Show::fixed) {
        const char* const entry = entry_of(op, bytes, {table.names(), table.text()});
        if (*entry != 0 || op.show != Show::name) return {entry + 1, static_cast<std::uint8_t>(*entry)};
    }
    Op alone = op.show == Show::hex4 ? Op::run(0) : op;
    alone.at = 0;
    alone.copies = alone.literal = 0;
    Writer out(buffer, DD_FFDC_VALUE_ROOM);
    print_ops(out, &alone, &alone + 1, bytes, table, nullptr);
    return {buffer, out.length()};
}

void Report::decode(const Driver& driver) {
    choose(driver.layouts);
    driver.print(*this);
}

void Report::choose(std::span<const Versions> layouts) {
    const Chosen chosen = choose_layout(layouts, version);
    layout = chosen.column;
    known = chosen.known;
    newer = chosen.newer;
    layout_size = chosen.size;
    if (payload.size < layout_size) state = DD_FFDC_SHORT;
}

bool Report::exact(std::string_view word) {
    if (length == static_cast<int>(layout_size) || describes()) return true;
    state = DD_FFDC_SIZE_MISMATCH;
    put(word);
    close_with_dump();
    return false;
}

void Report::unknown(const char* before, Text::Version version_as, const char* after) {
    counts_whole = true;
    put_version(before, version_as, after);
    raw();
}

void Report::raw() {
    state = DD_FFDC_UNKNOWN_VERSION;
    close_with_dump();
}

void Report::leave() {
    layout_size = 0;
    state = DD_FFDC_OK;
}

void Report::close_with_dump(std::string_view before) {
    put_literal(before);
    close_with_dump();
}

void Report::close_with_dump() {
    if (!describes() && layout_size != 0 && (state == DD_FFDC_SIZE_MISMATCH || payload.size < layout_size))
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
