// Where a value lies in a payload and how its bytes become a number, a name or a text.
// Fields exist while tables are compiled, and in the few conditions that decoders ask for (Report::peek).
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>

namespace ffdc {

inline constexpr std::size_t max_layouts = 5;
inline constexpr int no = -1;  // in an offset column: this layout lacks the field

// Never defined: what reaches it does not compile, and the compiler shows row, reason and byte.
[[noreturn]] void table_error(const char* row, const char* reason, int byte);

constexpr void refuse(const char* row, const char* reason, int byte = -1) {
    if (reason) table_error(row, reason, byte);
}

// What is wrong with a table, if anything is. Whoever looks for mistakes returns the first one as a value, and the
// static_assert above him refuses it: so compilers show what is in here, rather than how it was found.
struct Verdict {
    const char* row = nullptr;
    const char* reason = nullptr;  // null: nothing is wrong
    int byte = -1;                 // of the layout, where one is to blame

    consteval operator bool() const {
        refuse(row, reason, byte);
        return true;
    }
};

constexpr void require(bool ok, const char* row, const char* reason) {
    if (!ok) refuse(row, reason);
}

// Where a field starts: one offset for all layouts of the payload, or one for each.
class Offsets {
public:
    template <std::same_as<int>... Column>
    requires(sizeof...(Column) >= 1 && sizeof...(Column) <= max_layouts) consteval Offsets(Column... column)
        : columns_(sizeof...(column)) {
        std::size_t i = 0;
        ((at_[i++] = static_cast<std::int16_t>(column)), ...);
        for (; i < max_layouts; ++i) at_[i] = columns_ == 1 ? at_[0] : std::int16_t{no};
    }
    constexpr bool present(std::size_t layout) const { return at_[layout] != no; }
    constexpr std::size_t operator[](std::size_t layout) const { return static_cast<std::size_t>(at_[layout]); }
    constexpr std::size_t columns() const { return columns_; }

private:
    std::int16_t at_[max_layouts] = {};
    std::uint8_t columns_;
};

// Names of the numbers from `first` on. Any other number shows as `otherwise`, or as "INVALID (0x%x)" without one.
struct Names {
    std::span<const char* const> list;
    std::uint16_t first = 0;
    const char* otherwise = nullptr;

    Names() = default;
    template <std::size_t N>
    consteval Names(const char* const (&names)[N], int first_number = 0, const char* other = nullptr)
        : list(names), first(static_cast<std::uint16_t>(first_number)), otherwise(other) {}
};

// One big-endian value of the payload, or `count` of them end to end.
struct Field {
    enum class Kind : std::uint8_t {
        nothing,
        unsigned_number,
        signed_number,
        bcd,
        flag,
        text,
        name,
        choice,
        fixed,
        area
    };

    Offsets at = 0;
    Kind kind = Kind::nothing;
    std::uint16_t width = 0;  // bytes of one element, or of the whole text or area
    std::uint8_t count = 1;
    std::uint8_t mask = 0xff;  // of the byte `mask_at` bytes into the field, when `masked`
    std::uint8_t mask_at = 0;
    bool masked = false;
    Names names = {};
    const char* set = nullptr;  // a choice: the text of a set bit, and of a clear one
    const char* clear = nullptr;
};

consteval Field number(Offsets at, Field::Kind kind, int width, int count) {
    return {at, kind, static_cast<std::uint16_t>(width), static_cast<std::uint8_t>(count)};
}
consteval Field u8(Offsets at, int count = 1) { return number(at, Field::Kind::unsigned_number, 1, count); }
consteval Field u16(Offsets at, int count = 1) { return number(at, Field::Kind::unsigned_number, 2, count); }
consteval Field u32(Offsets at, int count = 1) { return number(at, Field::Kind::unsigned_number, 4, count); }
consteval Field u64(Offsets at, int count = 1) { return number(at, Field::Kind::unsigned_number, 8, count); }
consteval Field s16(Offsets at, int count = 1) { return number(at, Field::Kind::signed_number, 2, count); }
consteval Field s32(Offsets at, int count = 1) { return number(at, Field::Kind::signed_number, 4, count); }
consteval Field s64(Offsets at, int count = 1) { return number(at, Field::Kind::signed_number, 8, count); }

// Two decimal digits in one byte, of which `mask` keeps what belongs to the number.
consteval Field bcd(int at, int mask = 0xff) {
    Field f = number(at, Field::Kind::bcd, 1, 1);
    f.mask = static_cast<std::uint8_t>(mask);
    f.masked = true;
    return f;
}

// Characters up to the first NUL, never beyond `size`.
consteval Field text(Offsets at, int size) { return number(at, Field::Kind::text, size, 1); }

// Bytes that are shown as they are.
consteval Field bytes(Offsets at, int size) {
    require(size <= 256, "", "an area has at most 256 bytes");  // DD_FFDC_VALUE_ROOM holds their dump
    return number(at, Field::Kind::area, size, 1);
}

// Bit `n` of a number; bit 0 is the least significant.
consteval Field bit(int n, Field word) {
    require(n >= 0 && n < 8 * word.width && word.width <= 4, "", "the bit lies outside its number");
    word.kind = Field::Kind::flag;
    word.mask = static_cast<std::uint8_t>(1 << (n % 8));
    word.mask_at = static_cast<std::uint8_t>(word.width - 1 - n / 8);
    word.masked = true;
    return word;
}

// The bits of `mask`, not shifted, of the lowest byte of a number.
consteval Field masked(int mask, Field word) {
    require(mask > 0 && mask <= 0xff && word.width <= 4, "", "a mask selects bits of the lowest byte");
    word.mask = static_cast<std::uint8_t>(mask);
    word.mask_at = static_cast<std::uint8_t>(word.width - 1);
    word.masked = true;
    return word;
}

// The name of the number; one of two texts for a bit; the same text whatever the number is.
consteval Field named(Names names, Field number) {
    number.kind = Field::Kind::name;
    number.names = names;
    return number;
}
consteval Field either(const char* set, const char* clear, Field bit) {
    require(bit.kind == Field::Kind::flag, set, "a choice needs a bit");
    bit.kind = Field::Kind::choice;
    bit.set = set;
    bit.clear = clear;
    return bit;
}
consteval Field shown_as(const char* text, Field number) {
    number.kind = Field::Kind::fixed;
    number.set = text;
    return number;
}

// No value: the row's text shows only in the layouts that have a value at `at`.
consteval Field shown_with(Offsets at) { return {at}; }

}  // namespace ffdc
