// Records of the WEX UART port.
#include "registers.hpp"
#include "serial.hpp"

namespace ffdc {
namespace {

constexpr std::span<const char* const> register_names = std::span(wex_registers).subspan(1);

constexpr Row register_rows[] = {
    {"\nWEX UART Regs\n", group("registers")},
    {"%4s:%02x\n", u8(29, 7), register_names},
};
constexpr Text title = {"\nWEX UART FFDC\n"};
constexpr Bytes padding = {{10, 11}, {36, 36}};
constexpr DriverLayout layouts[] = {{{0, 1, 37}, padding}, {{2, any, 37}, padding}};
constexpr auto shown = all<title, since<2, driver_version>, port_opening, when<port_registers_valid, register_rows>>;

}  // namespace

const Driver wex_port = driver<layouts, shown, serial_frame>;

}  // namespace ffdc
