// What the library carries of a table: for each layout an array of ops and the characters between the values, and once
// for all layouts what the values are called. No pointers, so that nothing is relocated at load.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ffdc {

// How an op turns its value into text.
enum class Show : std::uint8_t {
    nothing,  // only the literal; or a value that the text does not show
    // All digits of 1, 2, 4 or 8 bytes, in lower and in upper case.
    hex1,
    hex2,
    hex4,
    hex8,
    HEX1,
    HEX2,
    HEX4,
    HEX8,
    // Decimal without padding, and two digits of BCD: what most numbers are.
    plain_u8,
    plain_bcd,
    plain_u16,
    plain_s32,
    plain_bit,
    plain_hex,
    // Any other number, by its load and its argument.
    hex,
    HEX,
    decimal,
    unsigned_decimal,
    pointer,  // 0x and lower-case digits, (nil) for 0
    text,
    name,
    choice,
    fixed,
};
enum class Load : std::uint8_t { u8, u16, u32, u64, s16, s32, bcd, bit };

// Characters of a value that always has the same number of them, else 0.
constexpr std::size_t hole_of(Show show) {
    switch (show) {
        case Show::hex1:
        case Show::HEX1: return 2;
        case Show::hex2:
        case Show::HEX2: return 4;
        case Show::hex4:
        case Show::HEX4: return 8;
        case Show::hex8:
        case Show::HEX8: return 16;
        case Show::plain_bit: return 1;
        default: return 0;
    }
}

// One step: `literal` characters, then the value at `at`. The table's text has holes where values of fixed width go, so
// that what lies between two values of varying width is one chunk, copied at once by the first op behind the former.
struct Op {
    // In the argument of a number.
    static constexpr std::uint8_t width_bits = 31, zero = 32, prefix = 64;

    std::uint16_t at = 0;
    std::uint8_t copies = 0;  // of 16 characters: the next chunk of the text
    std::uint8_t literal = 0;
    Show show = Show::nothing;
    std::uint8_t operand[3] = {};

    static constexpr Op value(std::uint16_t at, Show show, Load load, std::uint8_t mask, std::uint8_t argument) {
        return {.at = at, .show = show, .operand = {static_cast<std::uint8_t>(load), mask, argument}};
    }
    constexpr Load load() const { return Load{operand[0]}; }
    constexpr std::uint8_t mask() const { return operand[1]; }  // of the byte, for u8, bcd and bit
    // Least width and flags of a number, bytes of a text field, which names of the table.
    constexpr std::uint8_t argument() const { return operand[2]; }

    // An op of hex4 is a run of such values: how many follow the first one, characters from one to the next in the
    // text, and bytes in the payload.
    static constexpr Op run(std::uint16_t at, std::uint8_t stride = 0, std::uint8_t gap = 0, std::uint8_t more = 0) {
        return {.at = at, .show = Show::hex4, .operand = {stride, gap, more}};
    }
    constexpr std::size_t stride() const { return operand[0]; }
    constexpr std::size_t gap() const { return operand[1]; }
    constexpr std::size_t more() const { return operand[2]; }

    // Those that the op has.
    constexpr std::size_t values(bool hidden) const {
        return show == Show::hex4 ? more() + 1 : hidden || show != Show::nothing;
    }
    bool operator==(const Op&) const = default;
};

// What the value of an op is called and where it lies. Only those who are told of values need it, and missing values.
// The elements of an array, which are printed one behind the other, share theirs.
struct Label {
    std::uint16_t name;  // in the table's names; 0 for what is not handed out
    std::uint8_t group;  // of the table's groups
    std::uint8_t flags;  // the role of the value, and `indexed` for an element of an array
    std::uint8_t size;   // bytes of the value
    std::uint8_t back;   // the value begins so many bytes before what the op loads
    std::uint8_t kind;   // enum dd_ffdc_kind
    std::uint8_t shown;  // '?' of a missing value
    static constexpr std::uint8_t indexed = 8, role = 7;
    bool operator==(const Label&) const = default;
};

// The keys of a table's groups: for each of them how many bytes behind the first of these numbers it stands.
using Groups = const std::uint16_t*;

// Names for numbers: `count` entries of a length and `stride` characters each, in the table's text. The last entry is
// for all other numbers, or has no characters: "INVALID (0x%x)".
struct PackedNames {
    std::uint16_t text, first;
    std::uint8_t count, stride;
};

// One layout of a table.
struct Layout {
    std::uint16_t begin, end;  // ops that print
    std::uint16_t hidden_end;  // then ops of values that the text does not show
    std::uint16_t values;      // labels of its values, in order
    std::uint16_t chunks;      // where its chunks of text stand, in order
    std::uint16_t longest;     // characters it can print
    std::uint16_t extent;      // bytes of payload it reads
};

// Literals are copied in steps: their source and their target have this to spare.
inline constexpr std::size_t slack = 32;

// The beginning of a packed table: how many layouts, and how many bytes from here its parts lie.
struct Head {
    std::uint16_t columns, layouts_at, ops_at, label_of_at, labels_at, names_at, chunks_at, text_at, keys_at, groups_at;

    const Layout& layout(std::size_t column) const { return part<Layout>(layouts_at)[column < columns ? column : 0]; }
    const Op* ops() const { return part<Op>(ops_at); }
    const std::uint8_t* label_of() const { return part<std::uint8_t>(label_of_at); }  // the values of the layouts
    const Label* labels() const { return part<Label>(labels_at); }
    const PackedNames* names() const { return part<PackedNames>(names_at); }
    const std::uint16_t* chunks() const { return part<std::uint16_t>(chunks_at); }  // of the layouts, in the text
    const char* text() const { return part<char>(text_at); }
    const char* keys() const { return part<char>(keys_at); }
    Groups groups() const { return part<std::uint16_t>(groups_at); }

private:
    template <typename T>
    const T* part(std::size_t bytes) const {
        return reinterpret_cast<const T*>(reinterpret_cast<const char*>(this) + bytes);
    }
};

}  // namespace ffdc
