// Records of the JTAG driver: one growing layout, to which each version appends. A version that is newer than this
// decoder is shown as the newest one, and raw.
#include "engine/driver.hpp"
#include "location.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* register_places[47] = {
    "\n00000000: ", "", "", "", "\n00000010: ", "", "", "", "\n00000020: ", "", "", "", "\n00000030: ", "", "", "",
    "\n00000040: ", "", "", "", "\n00000050: ", "", "", "", "\n00000060: ", "", "", "", "\n00000070: ", "", "", "",
    "\n00000080: ", "", "", "", "\n00000090: ", "", "", "", "\n000000a0: ", "", "", "", "\n000000b0: ", "", "",
};

constexpr Field file = source_file(u32(0)), model = u8(20), valid_registers = u8(52), chain_valid = u8(244);
constexpr Field mux_mask = u32(268), magic = u32({no, no, 336, 336});
constexpr Offsets flags = {no, no, 332, 332};
constexpr auto is_ours = file == 0x1A000000, is_vek1 = model == 0x11, is_good = magic == 0xFEEDB0BB;
constexpr auto has_chain = chain_valid == 1;

// Layouts: versions 0 and 1; 2; 3; 4 and newer ones.
constexpr Text title = {"\nFILE LOCATION INFO:\n"};
constexpr Row own_file_rows[] = {{"File: %s\n", shown_as("jtag", file)}};
constexpr Row file_rows[] = {{"File ID: 0x%x\n", file, "File"}};
constexpr Row engine_rows[] = {
    {"Line: %d\n", source_line(u16(4))},    {"Return code: %d\n", return_code(s32(8))}, {"\nENGINE INFO:\n"},
    section("location", location_rows, 12), {"Virtual address: 0x%x\n", u32(16)},
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
constexpr Text good_magic = {"GOOD)\n"}, bad_magic = {"BAD)\n"};
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
constexpr Text trace_title = {"jtagerr trace:\n"};
constexpr Row trace = {bytes({no, no, no, 340}, 256), "trace"};

constexpr Bytes padding = {{6, 7}, {12, 12}, {22, 23}, {53, 55}, {245, 247}};
constexpr DriverLayout layouts[] = {
    {{0, 1, 308}, padding}, {{2, 2, 312}, padding}, {{3, 3, 340}, padding}, {{4, any, 596, 4}, padding}};
// clang-format off
constexpr auto shown = all<
    title,
    choose<is_ours, own_file_rows, file_rows>,
    engine_rows,
    choose<is_vek1, vek1_rows, model_rows>,
    lock_rows,
    since<3, choose<is_good, good_magic, bad_magic>>,
    when<valid_registers, register_rows>,
    cache_rows,
    when<has_chain, chain_rows, when<mux_mask, mux_rows>, length_rows>,
    error_rows,
    since<4, trace_title, trace>>;
// clang-format on
constexpr Frame frame = {.newer = {"\nUnknown FFDC version ", Text::Version::decimal, " -- Raw FFDC:\n"}};
// With a process name of 15 characters and its NUL.
static_assert(longest_text(body::node<shown>(), layouts, 3) - 1 == 1311);

}  // namespace

const Driver jtag = driver<layouts, shown, frame>;

}  // namespace ffdc
