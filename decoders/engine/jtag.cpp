// Records of the JTAG driver: one growing layout, to which each version appends. A version that is newer than this
// decoder is shown as the newest one, and raw.
#include "language/proof.hpp"
#include "location.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* register_places[47] = {
    "\n00000000: ", "", "", "", "\n00000010: ", "", "", "", "\n00000020: ", "", "", "", "\n00000030: ", "", "", "",
    "\n00000040: ", "", "", "", "\n00000050: ", "", "", "", "\n00000060: ", "", "", "", "\n00000070: ", "", "", "",
    "\n00000080: ", "", "", "", "\n00000090: ", "", "", "", "\n000000a0: ", "", "", "", "\n000000b0: ", "", "",
};

constexpr Field file = u32(0), model = u8(20), valid_registers = u8(52), chain_valid = u8(244), mux_mask = u32(268);
constexpr Field magic = u32({no, no, 336, 336});
constexpr Offsets flags = {no, no, 332, 332};
constexpr std::uint32_t own_file = 0x1A000000, vek1 = 0x11, good_magic = 0xFEEDB0BB;

// Layouts: versions 0 and 1; 2; 3; 4 and newer ones.
constexpr Row title_rows[] = {{"\nFILE LOCATION INFO:\n"}};
constexpr Row own_file_rows[] = {{"File: %s\n", shown_as("jtag", file)}};
constexpr Row file_rows[] = {{"File ID: 0x%x\n", file, "File"}};
constexpr Row engine_rows[] = {
    {"Line: %d\n", u16(4)},
    {"Return code: %d\n", s32(8)},
    {"\nENGINE INFO:\n"},
    section("location", location_rows, 12),
    {"Virtual address: 0x%x\n", u32(16)},
};
constexpr Row vek1_rows[] = {{"Model: %s ", shown_as("VEK1", model)}};
constexpr Row model_rows[] = {{"Model: 0x%x ", model}};
constexpr Row lock_rows[] = {
    {"Revision: 0x%x\n", u8(21)},
    {"IRQ: %d\n", s32(24)},
    {"Lock process: %d", s32(28)},
    {"(%s)\n", text(32, 16), "Lock process name"},
    {"Lock fd: %d\n", s32({no, 308, 308, 308})},
    {"Local bus speed: %lu\n", u32(48)},
    {"Flags: 0x%lx (", u32(flags)},
    {"%s)\n", either("FFDC ", "", bit(0, u32(flags))), "FFDC"},
    {"Magic: 0x%lx (", magic},
    {valid_registers, "Valid registers"},
    {chain_valid, "Chain valid"},
};
constexpr Row good_magic_rows[] = {{"GOOD)\n"}};
constexpr Row bad_magic_rows[] = {{"BAD)\n"}};
constexpr Row register_rows[] = {
    {"\nENGINE REGISTERS (%d valid):", valid_registers, again},
    {"%s%08lx ", u32(56, 47), register_places, "registers"},
    {"\n"},
};
constexpr Row cache_rows[] = {
    {"\nREGISTER CACHE:\n", shown_with({no, no, 312, 312})},
    {"%08x ", u32({no, no, 312, 312}, 5), "register cache"},
    {"\n", shown_with({no, no, 312, 312})},
};
constexpr Row chain_rows[] = {
    {"\nCHAIN STRUCT INFO:\n", group("chain")},
    {"Chain: 0x%x/0x%x/0x%x/0x%x\n", u32(248, 4)},
    {"Shift speed: %d MHz\n", s32(264)},
};
constexpr Row mux_rows[] = {
    {"", group("chain")},
    {"Mux mask: 0x%x", mux_mask},
};
constexpr Row length_rows[] = {
    {"data/bypass/crc length: ", group("chain")},
    {"%d", s32(272), "data length"},
    {"/%d", s32(276), "bypass length"},
    {"/%d\n", s32(280), "crc length"},
    {"Shift mode (0 = storage): %d\n", s32(284), "Shift mode"},
};
constexpr Row error_rows[] = {{"Error-specific data: 0x%x 0x%x 0x%x 0x%x 0x%x\n", u32(288, 5)}};
constexpr Row trace_rows[] = {{"jtagerr trace:\n"}};
constexpr Row trace = {bytes({no, no, no, 340}, 256), "trace"};

constexpr Pieces<title_rows, engine_rows, lock_rows, register_rows, cache_rows, chain_rows, mux_rows, length_rows,
                 error_rows, trace_rows, trace>
    common;
constexpr Pieces<common, file_rows, model_rows, good_magic_rows> numbered;
constexpr Pieces<common, own_file_rows, vek1_rows, bad_magic_rows> named_by_us;
constexpr Versions layouts[] = {{0, 1, 308}, {2, 2, 312}, {3, 3, 340}, {4, any, 596, 4}};
static_assert(sound(numbered, layouts));
static_assert(sound(named_by_us, layouts));
static_assert(unshown(numbered, layouts, {{6, 7}, {12, 12}, {22, 23}, {53, 55}, {245, 247}}));
// With a process name of 15 characters and its NUL.
static_assert(longest_text(numbered, 3) - 1 == 1311);

void print(Report& r) {
    r.print<title_rows>();
    r.peek(file) == own_file ? r.print<own_file_rows>() : r.print<file_rows>();
    r.print<engine_rows>();
    r.peek(model) == vek1 ? r.print<vek1_rows>() : r.print<model_rows>();
    r.print<lock_rows>();
    if (r.version >= 3) r.peek(magic) == good_magic ? r.print<good_magic_rows>() : r.print<bad_magic_rows>();
    if (r.peek(valid_registers) != 0) r.print<register_rows>();
    r.print<cache_rows>();
    if (r.peek(chain_valid) == 1) {
        r.print<chain_rows>();
        if (r.peek(mux_mask) != 0) r.print<mux_rows>();
        r.print<length_rows>();
    }
    r.print<error_rows>();
    if (r.version < 4) return;
    r.print<trace_rows>();
    r.print<trace>();
    if (!r.newer) return;
    r.put("\nUnknown FFDC version ", Digits::decimal(r.version), " -- Raw FFDC:\n");
    r.raw();
}

}  // namespace

const Driver jtag = {layouts, print};

}  // namespace ffdc
