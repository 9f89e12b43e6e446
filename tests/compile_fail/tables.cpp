// What a table cannot say, each above the same table without the mistake. Compiled twice by check.py: with WRONG every
// case must be refused for the reason that it gives, without WRONG all of it must compile. The mistakes that are made
// most are in driver.cpp.
#include "engine/driver.hpp"

#define ROWS(...) __VA_ARGS__
#ifdef WRONG
#define WRONG_OR_RIGHT(wrong, right) wrong
#define TABLE(name, wrong, right) constexpr Row name[] = {ROWS wrong}
#else
#define WRONG_OR_RIGHT(wrong, right) right
#define TABLE(name, wrong, right) constexpr Row name[] = {ROWS right}
#endif
// A table, proved and packed.
#define CASE(name, reason, wrong, right)                     \
    TABLE(name, wrong, right);                               \
    static_assert(sound(body::node_of(name), {max_layout})); \
    const void* packed_##name() { return &packed<name>; }
// A table that is wrong in what the lines behind it say of it.
#define CASE_OF(name, reason, wrong, right) TABLE(name, wrong, right)

namespace ffdc {
namespace {

constexpr const char* two_names[] = {"CR   ", "CTC  "};
template <std::size_t n>
struct Many {
    const char* list[n];
    consteval Many() { std::fill_n(list, n, "name"); }
};
template <std::size_t n>
constexpr Many<n> many;
#define TEN_CHARACTERS ".........."
#define FIFTY_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS TEN_CHARACTERS
#define MOST_OF_A_NAME FIFTY_CHARACTERS FIFTY_CHARACTERS FIFTY_CHARACTERS FIFTY_CHARACTERS FIFTY_CHARACTERS
constexpr const char* name_of_254[] = {MOST_OF_A_NAME "...."};
constexpr const char* name_of_255[] = {MOST_OF_A_NAME "....."};

// clang-format off
// ---- What does not fit ----
CASE(offset_of_17_bits, "an offset is 0 to 65534, or no",
     ({"word %x\n", u32(65540)}),
     ({"word %x\n", u32(4)}));
CASE(offset_before_the_payload, "an offset is 0 to 65534, or no",
     ({"word %x\n", u32(-4)}),
     ({"word %x\n", u32(no)}));
CASE(many_layouts, "a table has at most five layouts",
     ({"word %x\n", u32({0, 4, 8, 12, 16, 20})}),
     ({"word %x\n", u32(0)}));
CASE(many_elements, "the field ends behind its layout",
     ({"%08x\n", u32(0, 260), "words"}),
     ({"%08x\n", u32(0, 256), "words"}));
CASE(no_element, "a field has at least one byte",
     ({"%08x\n", u32(0, 0), "words"}),
     ({"%08x\n", u32(0, 1), "words"}));
CASE(long_text, "a text has at most 255 characters",
     ({"text         %s \n", text(0, 256)}),
     ({"text         %s \n", text(0, 255)}));
CASE(long_hidden_text, "a text has at most 255 characters",
     ({text(0, 256), "text"}),
     ({text(0, 255), "text"}));
CASE(many_names, "a number has at most 254 names",
     ({"%s\n", named(many<300>.list, u16(0)), "kind"}),
     ({"%s\n", named(many<254>.list, u16(0)), "kind"}));
CASE(long_name, "a name has at most 254 characters",
     ({"%s\n", named(name_of_255, u16(0)), "kind"}),
     ({"%s\n", named(name_of_254, u16(0)), "kind"}));
CASE(large_first_number, "the first number has 16 bits",
     ({"%s\n", named({two_names, 65536}, u32(0)), "kind"}),
     ({"%s\n", named({two_names, 65535}, u32(0)), "kind"}));
CASE(negative_first_number, "the first number has 16 bits",
     ({"%s\n", named({two_names, -1}, u32(0)), "kind"}),
     ({"%s\n", named({two_names, 0}, u32(0)), "kind"}));
CASE(wide_digits, "a mask selects bits of the lowest byte",
     ({"Alarm secs: %02d\t", bcd(2, 0x10f)}),
     ({"Alarm secs: %02d\t", bcd(2, 0x0f)}));
CASE(high_mask, "a mask selects bits of the lowest byte",
     ({"EVT[%02x] ", masked(0xf00, u32(0))}),
     ({"EVT[%02x] ", masked(0xf0, u32(0))}));
CASE(high_bit_of_a_long_number, "the bit lies outside its number",
     ({"bit %d\n", bit(64, u64(0))}),
     ({"bit %d\n", bit(63, u64(0))}));
static_assert(Peeked(bit(9, u16(0))).of(0x0200) == 1 && Peeked(masked(0x0f, u8(0))).of(0x3c) == 0x0c);
static_assert(Peeked(u64(0)).of(~0ull) == ~0ull);
CASE_OF(text_as_a_condition, "a condition needs a number or a bit",
     ({u8(0), Peeked(text(0, 4)).is_flag ? "flag" : "text"}),
     ({u8(0), Peeked(u32(0)).is_flag ? "flag" : "text"}));

// ---- A row: its format and its field ----
CASE(wide_prefix, "a prefix goes without a width",
     ({"flags[%#8lx]\n", u32(80)}),
     ({"flags[%#lx]\n", u32(80)}));
CASE(many_conversions, "a format has at most eight conversions",
     ({"words %x %x %x %x %x %x %x %x %x\n", u32(0, 9)}),
     ({"words %x %x %x %x %x %x %x %x\n", u32(0, 8)}));
CASE(int_as_long_number, "ll goes with 64-bit fields, and only with them",
     ({"  high:%llu\n", u32(32)}),
     ({"  high:%u\n", u32(32)}));
CASE(few_digits, "a 64-bit field shows all its hexadecimal digits",
     ({"\tSrc Base:           %08llx\n", u64(28)}),
     ({"\tSrc Base:           %016llx\n", u64(28)}));
CASE(short_pointer, "%p prints a 32-bit field",
     ({"vaddr        %p\n", masked(0xff, u32(84))}),
     ({"vaddr        %p\n", u32(84)}));
CASE(cut_text, "only names are cut to a precision",
     ({"name %15.15s\n", text(0, 16)}),
     ({"name %s\n", text(0, 16)}));
CASE(padded_name, "names of numbers bring their own blanks",
     ({"Src Type: %8s\n", named(two_names, u32(4))}),
     ({"Src Type: %s\n", named(two_names, u32(4))}));
CASE(names_of_a_long_number, "names go with numbers of at most 32 bits",
     ({"Src Type: %s\n", named(two_names, u64(4))}),
     ({"Src Type: %s\n", named(two_names, masked(1, u64(4)))}));
CASE(names_of_a_bit, "names go with numbers of at most 32 bits",
     ({"Src Type: %s\n", named(two_names, bit(1, u32(4)))}),
     ({"Src Type: %s\n", named(two_names, masked(1, u32(4)))}));
CASE(text_for_a_text, "a text stands for a number",
     ({"File: %s\n", shown_as("jtag", text(0, 4))}),
     ({"File: %s\n", shown_as("jtag", u32(0))}));
CASE(bits_of_a_text, "a mask selects bits of a number",
     ({"%02x\n", masked(3, text(0, 4)), "low"}),
     ({"%02x\n", masked(3, u32(0)), "low"}));
CASE(bit_of_bits, "a bit belongs to a number",
     ({"%d\n", bit(1, masked(3, u8(0))), "low"}),
     ({"%d\n", bit(1, u8(0)), "low"}));
CASE(text_as_a_code, "codes, errors and source lines are numbers",
     ({"rc [%s]\n", return_code(text(0, 4))}),
     ({"rc [%d]\n", return_code(s32(0))}));
CASE(large_area, "an area has at most 256 bytes",
     ({"trace\n", shown_with(340)}, {bytes(340, 320), "trace"}),
     ({"trace\n", shown_with(340)}));
CASE(area_in_a_table, "an area is dumped by itself",
     ({bytes(340, 256), "trace"}),
     ({u8(340), "trace"}));
CASE_OF(no_key, "a name is of lower-case letters, digits and underscores",
     ({u8(0), Key("RC text").text}),
     ({u8(0), Key("rc_text").text}));

// ---- A table and its layouts ----
CASE_OF(missing_column, "an offset column is missing or one too many",
     ({"Engine ID:           0x%08x\n", u32({8, 8, 16})}, {"TX Count:            %d\n", u8({12, 12})}),
     ({"Engine ID:           0x%08x\n", u32({8, 8, 16})}, {"TX Count:            %d\n", u8({12, 12, 20})}));
static_assert(sound(body::node_of(missing_column), {20, 20, 24}));
CASE_OF(columns_of_two_kinds, "an offset column is missing or one too many",
     ({"Engine ID:           0x%08x\n", u32({8, 8, 16})}, {"TX Count:            %d\n", u8({12, 12})}),
     ({"Engine ID:           0x%08x\n", u32({8, 8, 16})}, {"TX Count:            %d\n", u8({12, 12, 20})}));
const void* packed_columns_of_two_kinds() { return &packed<columns_of_two_kinds>; }
CASE_OF(text_without_value, "the text is shown with a value that is not there",
     ({"uart config:\n", shown_with({no, 89})}, {"  tx chunk size: %d\n", s32({no, 88})}),
     ({"uart config:\n", shown_with({no, 88})}, {"  tx chunk size: %d\n", s32({no, 88})}));
static_assert(sound(body::node_of(text_without_value), {88, 92}));
CASE_OF(versions_twice, "the versions of the layouts are not in order",
     ({"data: 0x%08lx \n", u32(20)}),
     ({"data: 0x%08lx \n", u32(20)}));
constexpr DriverLayout same_versions[] = {{{0, WRONG_OR_RIGHT(2, 1), 24}}, {{2, any, 24}}};
static_assert(sound(body::node_of(versions_twice), same_versions));
CASE_OF(large_layout, "a layout has at most 1024 bytes",
     ({"data: 0x%08lx \n", u32(20)}),
     ({"data: 0x%08lx \n", u32(20)}));
static_assert(sound(body::node_of(large_layout), {WRONG_OR_RIGHT(1028, 1024)}));
CASE_OF(six_layouts, "a driver has at most five layouts",
     ({"data: 0x%08lx \n", u32(20)}),
     ({"data: 0x%08lx \n", u32(20)}));
static_assert(sound(body::node_of(six_layouts), {24, 24, 24, 24, WRONG_OR_RIGHT(ROWS(24, 24), 24)}));
CASE_OF(same_key_twice, "another value of the group has this name",
     ({"TX Data: %d\n", u8(33)}, {"tx/data: %d\n", u8(62)}),
     ({"TX Data: %d\n", u8(33)}, {"RX Data: %d\n", u8(62)}));
static_assert(sound(body::node_of(same_key_twice), {96}));
CASE_OF(bytes_behind, "the byte is listed as not shown, but lies behind its layout",
     ({"mnr          %d\n", u8(0)}),
     ({"mnr          %d\n", u8(0)}));
static_assert(unshown(body::node_of(bytes_behind), {2}, 0, {{1, WRONG_OR_RIGHT(2, 1)}}));
CASE_OF(bytes_backwards, "a range of bytes ends before it begins, or behind every layout",
     ({"mnr          %d\n", u8(0)}),
     ({"mnr          %d\n", u8(0)}));
static_assert(unshown(body::node_of(bytes_backwards), {3}, 0, {{WRONG_OR_RIGHT(2, 1), WRONG_OR_RIGHT(1, 2)}}));
CASE_OF(unproved_area, "the field overlaps another one",
     ({"mnr          %d\n", u8(8)}),
     ({"mnr          %d\n", u8(7)}));
constexpr Row area = {bytes(8, 4), "capture"};
constexpr auto with_an_area = all<unproved_area, area>;
static_assert(sound(body::node_of(with_an_area), {12}));
CASE_OF(lost_blank, "longest_text",
     ({"mnr         %d\n", u8(32)}),
     ({"mnr          %d\n", u8(32)}));
static_assert(longest_text(lost_blank, 0) == 17);

// ---- What is packed once ----
constexpr Row names_and_others[] = {{"path %s\n", named({two_names, 0, "unknown"}, u8(0))},
                                    {"type %s\n", named(two_names, u8(1))},
                                    {"mode %s\n", named({two_names, 0, "none"}, u8(2))},
                                    {"kind %s\n", named(two_names, u8(3))}};
constexpr auto names_of = [](std::size_t row) { return packed<names_and_others>.ops[row].argument(); };
static_assert(names_of(0) != names_of(1) && names_of(1) != names_of(2) && names_of(0) != names_of(2));
static_assert(names_of(1) == names_of(3));

// clang-format on

}  // namespace
}  // namespace ffdc
