// Mistakes in tables, each above the same table without it. Compiled twice by check.py: with WRONG every case must be
// refused for the reason that it gives, without WRONG all of it must compile.
#include "proof.hpp"

#define ROWS(...) __VA_ARGS__
#ifdef WRONG
#define CASE(name, reason, wrong, right) constexpr Row name[] = {ROWS wrong}
#define WRONG_OR_RIGHT(wrong, right) wrong
#else
#define WRONG_OR_RIGHT(wrong, right) right
#define CASE(name, reason, wrong, right) constexpr Row name[] = {ROWS right}
#endif

namespace ffdc {
namespace {

constexpr const char* two_names[] = {"CR   ", "CTC  "};

// clang-format off
// ---- A row: its format and its field ----
CASE(conversion_without_field, "the conversion has no field",
     ({"strno        0x%8.8lx\n"}),
     ({"strno        0x%8.8lx\n", u32(4)}));
CASE(field_without_conversion, "the field has no conversion to print it",
     ({"strno        0x\n", u32(4)}),
     ({"strno        0x%x\n", u32(4)}));
CASE(unsigned_word_as_signed, "%d prints a word as a signed number",
     ({"Count           %d\n", u32(12)}),
     ({"Count           %d\n", s32(12)}));
CASE(signed_as_unsigned, "%u prints an unsigned number",
     ({"remaining size : %u\n", s32(24)}),
     ({"remaining size : %u\n", u32(24)}));
CASE(number_as_text, "%s prints texts and names, every other conversion numbers",
     ({"text         %s \n", u32(4)}),
     ({"text         %s \n", text(4, 64)}));
CASE(text_as_number, "%s prints texts and names, every other conversion numbers",
     ({"Src Type:    %d\n", named(two_names, u32(4))}),
     ({"Src Type:    %s\n", named(two_names, u32(4))}));
CASE(unknown_conversion, "a conversion is one of d u x X p s",
     ({"magic        0x%8.8lz\n", u32(0)}),
     ({"magic        0x%8.8lx\n", u32(0)}));
CASE(wide_conversion, "a conversion is at most 31 wide",
     ({"%32s: %08x\n", u32(32, 2), two_names}),
     ({"%31s: %08x\n", u32(32, 2), two_names}));
CASE(wide_number, "a number is at most eight wide, but for the digits of 64 bits",
     ({"count %9d\n", s32(0)}),
     ({"count %8d\n", s32(0)}));
CASE(wide_prefix, "a prefix goes without a width",
     ({"flags[%#8lx]\n", u32(80)}),
     ({"flags[%#lx]\n", u32(80)}));
CASE(precision_of_a_number, "the precision of a number equals its width",
     ({"mesrb        0x%8.4x\n", u32(16)}),
     ({"mesrb        0x%8.8x\n", u32(16)}));
CASE(many_conversions, "a format has at most eight conversions",
     ({"words %x %x %x %x %x %x %x %x %x\n", u32(0, 9)}),
     ({"words %x %x %x %x %x %x %x %x\n", u32(0, 8)}));
#define THIRTY_TWO "................................"
#define ALMOST_ALL THIRTY_TWO THIRTY_TWO THIRTY_TWO THIRTY_TWO THIRTY_TWO THIRTY_TWO THIRTY_TWO
CASE(long_format, "a format has at most 255 characters",
     ({ALMOST_ALL THIRTY_TWO}),
     ({ALMOST_ALL "..............................."}));
CASE(long_number_as_int, "ll goes with 64-bit fields, and only with them",
     ({"  high:%u\n", u64(32)}),
     ({"  high:%llu\n", u64(32)}));
CASE(int_as_long_number, "ll goes with 64-bit fields, and only with them",
     ({"  high:%llu\n", u32(32)}),
     ({"  high:%u\n", u32(32)}));
CASE(few_digits, "a 64-bit field shows all its hexadecimal digits",
     ({"\tSrc Base:           %08llx\n", u64(28)}),
     ({"\tSrc Base:           %016llx\n", u64(28)}));
CASE(short_pointer, "%p prints a 32-bit field",
     ({"vaddr        %p\n", u16(84)}),
     ({"vaddr        %p\n", u32(84)}));
CASE(cut_text, "only names are cut to a precision",
     ({"name %15.15s\n", text(0, 16)}),
     ({"name %s\n", text(0, 16)}));
CASE(uneven_elements, "the elements do not fill the conversions evenly",
     ({"     %08x %08x %08x %08x\n", u32(96, 15), "data"}),
     ({"     %08x %08x %08x %08x\n", u32(96, 16), "data"}));
CASE(too_few_names, "one name for each %s",
     ({"\t\t%s: %08x\n", u32(72, 11), two_names}),
     ({"\t\t%s: %08x\n", u32(72, 2), two_names}));

// ---- A field ----
CASE(misspelt_type, "s23",
     ({"part         %d\n", s23(12)}),
     ({"part         %d\n", s32(12)}));
CASE(many_layouts, "Offsets",
     ({"word %x\n", u32({0, 4, 8, 12, 16, 20})}),
     ({"word %x\n", u32({0, 4, 8, 12, 16})}));
CASE(bit_outside, "the bit lies outside its number",
     ({"bit %d\n", bit(16, u16(0))}),
     ({"bit %d\n", bit(15, u16(0))}));
CASE(wide_mask, "a mask selects bits of the lowest byte",
     ({"EVT[%02x] ", masked(0xf00, u32(0))}),
     ({"EVT[%02x] ", masked(0xf0, u32(0))}));
CASE(large_area, "an area has at most 256 bytes",
     ({bytes(340, 257), "trace"}),
     ({bytes(340, 256), "trace"}));
CASE(no_key, "a name is of lower-case letters, digits and underscores",
     ({u8(0), Key("RC text").text}),
     ({u8(0), Key("rc_text").text}));
CASE(choice_of_a_number, "a choice needs a bit",
     ({"%s", either("WRITE ", "READ ", u32(0)), "WRITE"}),
     ({"%s", either("WRITE ", "READ ", bit(22, u32(0))), "WRITE"}));
CASE(padded_name, "names of numbers bring their own blanks",
     ({"Src Type: %8s\n", named(two_names, u32(4))}),
     ({"Src Type: %s\n", named(two_names, u32(4))}));
const void* padded_name_packed() { return &packed<padded_name>; }
CASE(long_text, "the value is too long",
     ({"text         %s \n", text(0, 256)}),
     ({"text         %s \n", text(0, 255)}));
const void* long_text_packed() { return &packed<long_text>; }

// ---- A table and its layouts ----
CASE(missing_column, "an offset column is missing or one too many",
     ({"Engine ID:           0x%08x\n", u32({8, 8, 16})}, {"TX Count:            %d\n", u8({12, 12})}),
     ({"Engine ID:           0x%08x\n", u32({8, 8, 16})}, {"TX Count:            %d\n", u8({12, 12, 20})}));
static_assert(sound({missing_column}, {20, 20, 24}));
CASE(text_without_value, "the text is shown with a value that is not there",
     ({"uart config:\n", shown_with({no, 89})}, {"  tx chunk size: %d\n", s32({no, 88})}),
     ({"uart config:\n", shown_with({no, 88})}, {"  tx chunk size: %d\n", s32({no, 88})}));
static_assert(sound({text_without_value}, {88, 92}));
CASE(column_too_many, "an offset column is missing or one too many",
     ({"TX Count:            %d\n", u8({12, 12, 20})}),
     ({"TX Count:            %d\n", u8({12, 12})}));
static_assert(sound({column_too_many}, {20, 20}));
CASE(behind_the_layout, "the field ends behind its layout",
     ({"data: 0x%08lx \n", u32(20, 10)}),
     ({"data: 0x%08lx \n", u32(20, 9)}));
static_assert(sound({behind_the_layout}, {56}));
CASE(versions_twice, "the versions of the layouts are not in order",
     ({"data: 0x%08lx \n", u32(20)}),
     ({"data: 0x%08lx \n", u32(20)}));
constexpr Versions same_versions[] = {{0, WRONG_OR_RIGHT(2, 1), 24}, {2, any, 24}};
static_assert(sound({versions_twice}, same_versions));
constexpr Row inner[] = {{"sisc         0x%8.8x\n", u32(0)}};
CASE(section_behind_the_layout, "the field ends behind its layout",
     (section("slave", inner, {0, 62})),
     (section("slave", inner, {0, 60})));
static_assert(sound({section_behind_the_layout}, {4, 64}));
CASE(overlap, "the field overlaps another one",
     ({"sisc         0x%8.8x\n", u32(36)}, {"slastd       0x%8.8x\n", u32(38)}),
     ({"sisc         0x%8.8x\n", u32(36)}, {"slastd       0x%8.8x\n", u32(40)}));
static_assert(sound({overlap}, {96}));
CASE(without_label, "the value needs a label",
     ({"%08x ", u32(312, 5)}),
     ({"%08x ", u32(312, 5), "register cache"}));
static_assert(sound({without_label}, {340}));
CASE(same_name_twice, "another value of the group has this name",
     ({"recover      %d\n", u8(33)}, {"Port Error Info\n"}, {"recover      %d\n", u8(62)}),
     ({"recover      %d\n", u8(33)}, {"Port Error Info\n", group("port")}, {"recover      %d\n", u8(62)}));
static_assert(sound({same_name_twice}, {96}));
CASE(same_key_twice, "another value of the group has this name",
     ({"TX Data: %d\n", u8(33)}, {"tx/data: %d\n", u8(62)}),
     ({"TX Data: %d\n", u8(33)}, {"RX Data: %d\n", u8(62)}));
static_assert(sound({same_key_twice}, {96}));
CASE(forgotten_bytes, "the byte is not shown, and not listed so",
     ({"mnr          %d\n", u8(0)}, {"recover      %d\n", u8(2)}),
     ({"mnr          %d\n", u8(0)}, {"recover      %d\n", u8(1)}));
static_assert(unshown(forgotten_bytes, {4}, {{2, 3}}));
CASE(shown_bytes, "the byte is listed as not shown",
     ({"mnr          %d\n", u8(0)}, {"recover      %d\n", u8(1, 2)}),
     ({"mnr          %d\n", u8(0)}, {"recover      %d\n", u8(1)}));
static_assert(unshown(shown_bytes, {4}, {{2, 3}}));
CASE(bytes_behind, "the byte is listed as not shown, but lies behind its layout",
     ({"mnr          %d\n", u8(0)}),
     ({"mnr          %d\n", u8(0)}));
static_assert(unshown(bytes_behind, {2}, {{1, WRONG_OR_RIGHT(2, 1)}}));
CASE(unproved_area, "the field overlaps another one",
     ({"mnr          %d\n", u8(8)}),
     ({"mnr          %d\n", u8(7)}));
constexpr Row area = {bytes(8, 4), "capture"};
constexpr Pieces<unproved_area, area> with_an_area;
static_assert(sound(with_an_area, {12}));
CASE(lost_blank, "longest_text",
     ({"mnr         %d\n", u8(32)}),
     ({"mnr          %d\n", u8(32)}));
static_assert(longest_text({lost_blank}, 0) == 17);

// clang-format on

}  // namespace
}  // namespace ffdc
