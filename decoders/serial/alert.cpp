// Records of the KOR alert engine.
#include "registers.hpp"
#include "serial.hpp"

namespace ffdc {
namespace {

constexpr std::span<const char* const> register_names = std::span(kor_registers).subspan(1, 16);
constexpr Field registers_valid = u8(32);

constexpr Row alert_rows[] = {
    section("", usual_origin, 0), {"devnum[%d]\n", s32(20)},       {"count[%d]\n", s32(24)},
    {"flags[%08lx]\n", u32(28)},  {registers_valid, "regs valid"},
};
constexpr Row register_rows[] = {
    {"\nKOR Alert Regs\n", group("registers")},
    {"%15.15s: %08x\n", u32(40, 16), register_names},
};
constexpr Text title = {"\nKOR ALERT FFDC\n"};
constexpr Bytes padding = {{10, 19}, {33, 39}};
constexpr DriverLayout layouts[] = {{{0, 1, 104}, padding}, {{2, any, 104}, padding}};
constexpr auto shown = all<title, since<2, driver_version>, alert_rows, when<registers_valid, register_rows>>;

}  // namespace

const Driver alert = driver<layouts, shown, serial_frame>;

}  // namespace ffdc
