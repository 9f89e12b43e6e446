// A decoder as any other, and behind its lines the mistakes that are made in them. check.py puts each of them, alone,
// in the place of the line above it. The compiler's first ten lines must show the row, or where it stands, and the
// reason, which stands before the bar.
#include "engine/report.hpp"
#include "language/proof.hpp"

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
    // the byte is listed as not shown (byte 9) | {"state        %s\n", named(state_names, u8(9))},
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
constexpr Versions layouts[] = {{1, 1, 64}, {2, any, 46}};
static_assert(sound(pump_rows, layouts));
static_assert(unshown(pump_rows, layouts, 0, {{9, 9}}));
// the byte is listed as not shown (byte 10) | static_assert(unshown(pump_rows, layouts, 0, {{9, 10}}));
static_assert(unshown(pump_rows, layouts, 1, {{9, 11}}));
// the byte is not shown, and not listed so (byte 11) | static_assert(unshown(pump_rows, layouts, 1, {{9, 10}}));

void print(Report& r) {
    if (!r.known) return r.unrecognized();
    r.print<pump_rows>();
}

}  // namespace

extern const Driver pump = {layouts, print};

}  // namespace ffdc
