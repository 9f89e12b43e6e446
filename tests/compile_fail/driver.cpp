// A decoder as any other, and behind its lines the mistakes that are made in them. check.py puts each of them, alone,
// in the place of the line above it. The compiler's first five lines must show the row, or its line, and the
// reason, which stands before the bar.
#include "engine/driver.hpp"

// clang-format off
namespace ffdc {
namespace {

constexpr const char* state_names[] = {"idle", "busy"};
constexpr const char* register_names[] = {"CR", "SR", "DR"};

constexpr Row valve_rows[] = {
    {"position     %d\n", s32(0)},
    {"limit        %d\n", s16(4)},
    // the field overlaps another one (byte 41) | {"limit        %d\n", s16(3)},
};
// Offsets a layout:                       v1   v2
constexpr Row pump_rows[] = {
    {"Pump\n"},
    // the conversion has no field | {"Pump %d\n"},
    {"magic        0x%8.8lx\n", u32(0)},
    // a conversion is one of d u x X p s | {"magic        0x%8.8lz\n", u32(0)},
    // the precision of a number equals its width | {"magic        0x%8.4lx\n", u32(0)},
    // the field has no conversion to print it | {"magic        0x\n", u32(0)},
    // the byte is not shown, and not listed so (byte 0) | {"magic        0x%4.4x\n", u16(2)},
    {"part         %d\n", s32(4)},
    // %u prints an unsigned number | {"part         %u\n", s32(4)},
    // %d prints a word as a signed number | {"part         %d\n", u32(4)},
    // %s prints texts and names, every other conversion numbers | {"part         %s\n", s32(4)},
    // a number is at most eight wide, but for the digits of 64 bits | {"part         %9d\n", s32(4)},
    // a conversion is at most 31 wide | {"part         %264d\n", s32(4)},
    // s23 | {"part         %d\n", s23(4)},
    {"state        %s\n", named(state_names, u8(8))},
    {"uptime       %llu\n", u64({10, 12})},
    // ll goes with 64-bit fields, and only with them | {"uptime       %lu\n", u64({10, 12})},
    // an offset column is missing or one too many | {"uptime       %llu\n", u64({10, 12, 14})},
    // the field overlaps another one (byte 18) | {"uptime       %llu\n", u64(12)},
    {"%08x ", u32({18, 20}, 4), "samples"},
    // the value needs a label | {"%08x ", u32({18, 20}, 4)},
    // another value of the group has this name | {"%08x ", u32({18, 20}, 4), "part"},
    {"%s: %02x\n", u8({34, 36}, 3), register_names, "registers"},
    // one name for each %s | {"%s: %02x\n", u8({34, 36}, 4), register_names, "registers"},
    // the elements do not fill the conversions evenly | {"%s: %02x %02x\n", u8({34, 36}, 3), register_names, "registers"},
    {"%s", either("on ", "off ", bit(7, u8({37, 39}))), "on"},
    // the bit lies outside its number | {"%s", either("on ", "off ", bit(8, u8({37, 39}))), "on"},
    // a choice needs a bit | {"%s", either("on ", "off ", u8({37, 39})), "on"},
    {"low[%x]\n", masked(0x0f, u8({37, 39}))},
    // a mask selects bits of the lowest byte | {"low[%x]\n", masked(0x10f, u8({37, 39}))},
    section("valve", valve_rows, {38, 40}),
    // the field ends behind its layout (byte 65) | section("valve", valve_rows, {60, 40}),
    {"note         %s\n", text({44, no}, 20)},
    // a field has less than 64 KiB | {"note         %s\n", text({44, no}, 65544)},
};
constexpr Field state = u8(8), mode = u8({9, 9});
constexpr auto is_idle = state == 0;
// a condition needs a number or a bit (in idle since) | constexpr auto is_idle = text(8, 1) == 0;
// the field of the condition is not in the layout (in idle since) | constexpr auto is_idle = u8({8, no}) == 0;
constexpr Row idle_rows[] = {
    {"idle since   %d\n", mode},
    // the field overlaps another one (byte 8) | {"idle since   %d\n", u16(8)},
};
constexpr Row busy_rows[] = {
    {"busy since   %d\n", mode},
    // another value of the group has this name (byte 9) | {"state        %d\n", mode},
};
constexpr Row result_rows[] = {
    {"rc           %d\n", return_code(s32({no, 46}))},
    // another value has this role (byte 50) | {"rc           %d\n", source_line(s32({no, 46}))},
    {"line         %d\n", source_line(u16({no, 50}))},
    {"on           %d\n", shared(bit(7, u8({37, 39}))), "on again"},
    // another value has these bits (byte 39) | {"on           %d\n", bit(7, u8({37, 39})), "on again"},
};
constexpr DriverLayout layouts[] = {
    {{1, 1, 64}, {{37, 37, 0x70}}},
    // the byte is listed as not shown (byte 10) | {{1, 1, 64}, {{10, 10}, {37, 37, 0x70}}},
    // bits of the byte are not shown, and not listed so (byte 37) | {{1, 1, 64}, {{37, 37, 0x60}}},
    {{2, any, 52}, {{10, 11}, {39, 39, 0x70}}},
    // either all layouts have an exact length or none (in Pump) | {{2, any, 52}, {{10, 11}, {39, 39, 0x70}}, exact},
    // the byte is not shown, and not listed so (byte 11) | {{2, any, 52}, {{10, 10}, {39, 39, 0x70}}},
};
constexpr auto shown = all<pump_rows, choose<is_idle, idle_rows, busy_rows>, since<2, result_rows>>;
// choices are nested at most eight deep (in idle since) | constexpr auto shown = when<is_idle, when<is_idle, when<is_idle, when<is_idle, when<is_idle, when<is_idle, when<is_idle, when<is_idle, when<is_idle, idle_rows>>>>>>>>>;
// no layout begins with the version of the section (in rc) | constexpr auto shown = all<pump_rows, choose<is_idle, idle_rows, busy_rows>, since<3, result_rows>>;
// the byte is not shown, and not listed so (byte 9) | constexpr auto shown = all<pump_rows, since<2, result_rows>>;

}  // namespace

extern const Driver pump = driver<layouts, shown>;
void print_valve(Report& r) { Proved<layouts, shown>::print_part<result_rows>(r); }
// the section is no part of the body | void print_valve(Report& r) { Proved<layouts, shown>::print_part<valve_rows>(r); }
// private | void print_valve(Report& r) { r.show<valve_rows>(); }

}  // namespace ffdc
