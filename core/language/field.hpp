// Where a value lies in a payload and how its bytes become a number, a name or a text. Fields exist while tables are
// compiled. Nothing here is narrower than what is written into a table: packing narrows it, once, and refuses what does
// not fit.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "fault.hpp"

namespace ffdc {

inline constexpr int max_layouts = 5;
inline constexpr int no = -1;  // in an offset column: this layout lacks the field

constexpr std::uint64_t all_bits(std::size_t bytes) { return ~std::uint64_t{0} >> (64 - 8 * bytes); }

// Where a field starts: one offset for all layouts of the payload, or one for each.
class Offsets {
public:
    template <std::same_as<int>... Column>
    requires(sizeof...(Column) >= 1) consteval Offsets(Column... column) : columns_(sizeof...(column)) {
        int i = 0;
        for (const int c : {column...}) {
            if (c < no || !std::in_range<std::uint16_t>(c + 1)) wrong_ = "an offset is 0 to 65534, or no";
            if (i < max_layouts) at_[i++] = c;
        }
        if (columns_ > max_layouts) wrong_ = "a table has at most five layouts";
        for (; i < max_layouts; ++i) at_[i] = columns_ == 1 ? at_[0] : no;
    }
    constexpr bool present(std::size_t layout) const { return at_[layout] != no; }
    constexpr std::size_t operator[](std::size_t layout) const { return static_cast<std::size_t>(at_[layout]); }
    constexpr std::size_t columns() const { return static_cast<std::size_t>(columns_); }
    constexpr const char* wrong() const { return wrong_; }

private:
    int at_[max_layouts] = {};
    int columns_;
    const char* wrong_ = nullptr;
};

// Names of the numbers from `first` on. Any other number shows as `otherwise`, or as "INVALID (0x%x)" without one.
struct Names {
    std::span<const char* const> list;
    int first = 0;
    const char* otherwise = nullptr;

    Names() = default;
    template <std::size_t N>
    consteval Names(const char* const (&names)[N], int first_number = 0, const char* other = nullptr)
        : list(names), first(first_number), otherwise(other) {}
};

// What a value means, whatever its driver calls it. Of each role a record shows at most one value.
enum class Role : std::uint8_t { none, return_code, error_name, source_file, source_line };

// One big-endian value of the payload, or `count` of them end to end.
struct Field {
    enum class Kind { nothing, unsigned_number, signed_number, bcd, flag, text, area };
    enum class Shown { itself, name, choice, fixed };

    Offsets at = 0;
    Kind kind = Kind::nothing;
    Shown shown = Shown::itself;
    std::size_t width = 0;  // bytes of one element, or of the whole text or area
    std::size_t count = 1;
    std::uint64_t mask = 0;  // the bits of the element that are the number
    Names names = {};
    const char* set = nullptr;  // a choice: the text of a set bit, and of a clear one
    const char* clear = nullptr;
    Role role = Role::none;
    bool shared = false;          // another value has the same bits, too
    const char* wrong = nullptr;  // the first reason against the field

    consteval Field& expect(bool ok, const char* reason) {
        if (!ok && !wrong) wrong = reason;
        return *this;
    }
    constexpr bool is_number() const { return kind == Kind::unsigned_number || kind == Kind::signed_number; }
    // True if the value is all bits of its bytes, not only some of them.
    constexpr bool whole() const { return mask == 0 || mask == all_bits(width); }
    // The bits of byte `i` that belong to the value.
    constexpr std::uint8_t bits_of(std::size_t i) const {
        return static_cast<std::uint8_t>(whole() ? 0xff : mask >> 8 * (width - 1 - i));
    }
    // The bytes that are looked at: all of them, or the one that holds the bits of the mask, and which of its bits.
    constexpr std::size_t bytes() const { return whole() ? width : 1; }
    constexpr std::size_t first_byte() const {
        std::size_t byte = width - bytes();
        for (std::uint64_t m = mask; !whole() && m > 0xff; m >>= 8) --byte;
        return byte;
    }
    constexpr std::uint64_t bits() const { return whole() ? 0xff : mask >> 8 * (width - 1 - first_byte()); }
};

consteval Field field(Offsets at, Field::Kind kind, int width, int count = 1) {
    Field f = {.at = at, .kind = kind};
    f.expect(!at.wrong(), at.wrong());
    f.expect(width > 0 && count > 0, "a field has at least one byte");
    f.expect(std::in_range<std::uint16_t>(width) && std::in_range<std::uint16_t>(count),
             "a field has less than 64 KiB");
    if (f.wrong) return f;
    f.width = static_cast<std::size_t>(width);
    f.count = static_cast<std::size_t>(count);
    return f;
}
consteval Field number(Offsets at, Field::Kind kind, int width, int count) {
    Field f = field(at, kind, width, count);
    if (!f.wrong) f.mask = all_bits(f.width);
    return f;
}
consteval Field u8(Offsets at, int count = 1) { return number(at, Field::Kind::unsigned_number, 1, count); }
consteval Field u16(Offsets at, int count = 1) { return number(at, Field::Kind::unsigned_number, 2, count); }
consteval Field u32(Offsets at, int count = 1) { return number(at, Field::Kind::unsigned_number, 4, count); }
consteval Field u64(Offsets at, int count = 1) { return number(at, Field::Kind::unsigned_number, 8, count); }
consteval Field s16(Offsets at, int count = 1) { return number(at, Field::Kind::signed_number, 2, count); }
consteval Field s32(Offsets at, int count = 1) { return number(at, Field::Kind::signed_number, 4, count); }
consteval Field s64(Offsets at, int count = 1) { return number(at, Field::Kind::signed_number, 8, count); }

// The bits of `mask`, not shifted, of the lowest byte of a number.
consteval Field masked(int mask, Field number) {
    number.expect(number.is_number() && number.whole(), "a mask selects bits of a number");
    number.expect(mask > 0 && mask <= 0xff, "a mask selects bits of the lowest byte");
    if (number.wrong) return number;
    number.mask = static_cast<std::uint64_t>(mask);
    return number;
}

// Two decimal digits in one byte, of which `mask` keeps what belongs to the number.
consteval Field bcd(int at, int mask = 0xff) {
    Field f = masked(mask, u8(at));
    if (!f.wrong) f.kind = Field::Kind::bcd;
    return f;
}

// Characters up to the first NUL, never beyond `size`.
consteval Field text(Offsets at, int size) { return field(at, Field::Kind::text, size); }

// Bytes that are shown as they are.
consteval Field bytes(Offsets at, int size) {
    return field(at, Field::Kind::area, size)
        .expect(size <= 256, "an area has at most 256 bytes");  // DD_FFDC_VALUE_ROOM holds their dump
}

// Bit `n` of a number; bit 0 is the least significant.
consteval Field bit(int n, Field number) {
    number.expect(number.is_number() && number.whole(), "a bit belongs to a number");
    number.expect(n >= 0 && static_cast<std::size_t>(n) < 8 * number.width, "the bit lies outside its number");
    if (number.wrong) return number;
    number.kind = Field::Kind::flag;
    number.mask = std::uint64_t{1} << n;
    return number;
}

// The name of the number; one of two texts for a bit; the same text whatever the number is.
consteval Field named(Names names, Field number) {
    number.expect(number.is_number() && number.bytes() <= 4, "names go with numbers of at most 32 bits");
    number.shown = Field::Shown::name;
    number.names = names;
    return number;
}
consteval Field either(const char* set, const char* clear, Field bit) {
    bit.expect(bit.kind == Field::Kind::flag, "a choice needs a bit");
    bit.shown = Field::Shown::choice;
    bit.set = set;
    bit.clear = clear;
    return bit;
}
consteval Field shown_as(const char* text, Field number) {
    number.expect(number.is_number(), "a text stands for a number");
    number.shown = Field::Shown::fixed;
    number.set = text;
    return number;
}

// Roles: the return code of the failed operation, the driver's name of its error, and where the driver captured the
// record.
consteval Field with_role(Role role, Field number) {
    number.expect(role == Role::source_file || number.is_number(), "codes, errors and source lines are numbers");
    number.role = role;
    return number;
}
consteval Field return_code(Field number) { return with_role(Role::return_code, number); }
consteval Field error_name(Field number) { return with_role(Role::error_name, number); }
consteval Field source_file(Field value) { return with_role(Role::source_file, value); }
consteval Field source_line(Field number) { return with_role(Role::source_line, number); }

// Another value of the layout has the same bits under another name.
consteval Field shared(Field value) {
    value.shared = true;
    return value;
}

// No value: the row's text shows only in the layouts that have a value at `at`.
consteval Field shown_with(Offsets at) {
    Field f = {.at = at};
    return f.expect(!at.wrong(), at.wrong());
}

}  // namespace ffdc
