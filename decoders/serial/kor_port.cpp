// Records of the KOR UART port: three sizes of one layout.
#include "registers.hpp"
#include "serial.hpp"

namespace ffdc {
namespace {

constexpr std::span<const char* const> register_names = std::span(kor_registers).subspan(1);
constexpr Field registers_valid = u8(26);

constexpr auto buffer = section<buffer_rows>("buffer", 4);
constexpr auto origin_rows = origin(0, 20, 24);
// Layouts: versions 0 and 1; 2; 3 and newer ones.
constexpr Row opening_rows[] = {
    {"\nKOR UART FFDC\n"},
    {"drv ver[%s] ", text({no, 160, 160}, 8)},
    section("", origin_rows, 0),
};
constexpr Row port_rows[] = {
    {registers_valid, "regs valid"},
    {"last port change: ", group("last port change"), shown_with({no, 144, 144})},
    {"rx[%llu] ", u64({no, 144, 144})},
    {"tx[%llu] ticks ago\n", u64({no, 152, 152})},
    {"", group("")},
    {"sc_freq:%lu\n", u32({no, no, 168})},
};
constexpr Row register_rows[] = {
    {"\nKOR UART Regs\n", group("registers")},
    {"%15.15s: %08x\n", u32(32, 28), register_names},
};
constexpr Bytes padding = {{27, 31}};
constexpr DriverLayout layouts[] = {{{0, 1, 144}, padding}, {{2, 2, 168}, padding}, {{3, any, 172}, padding}};
constexpr auto shown = all<opening_rows, buffer, port_rows, when<registers_valid, register_rows>>;

}  // namespace

const Driver kor_port = driver<layouts, shown, serial_frame>;

}  // namespace ffdc
