// Records of the TAM UART port. The register block is packed: its words lie at odd offsets.
#include "serial.hpp"

namespace ffdc {
namespace {

constexpr Row register_rows[] = {
    {"\nTAM UART Regs\n", group("registers")},
    {"  status: %02x\n", u8(33)},
    {"  parms: %08x\n", u32(34)},
    {"  timeout: %08x\n", u32(38)},
    {"  mrl: %08x\n", u32(42)},
    {"  mrd: %08x\n", u32(46)},
    {"  xmit: %08x\n", u32(50)},
    {"  recv: %08x\n", u32(54)},
    {"  len: %08x\n", u32(58)},
    {"  pivot: %08x\n", u32(62)},
    {"  trans_ctl: %08x\n", u32(66)},
    {"  error: %08x\n", u32(70)},
    {"  irq_mask: %08x\n", u32(78)},
    {"  irq: %08x\n", u32(86)},
};
constexpr Row operation_rows[] = {
    {"\noperation type[%d]\n", s32(100)},
    {"port operation[%d]\n", s32(104)},
    {"cushion[%d]\n", u8(108)},
    {"len[%d]\n", u16(110)},
};
constexpr Text title = {"\nTAM UART FFDC\n"};
constexpr Bytes padding = {{10, 11}, {29, 32}, {74, 77}, {82, 85}, {90, 99}, {109, 109}};
constexpr DriverLayout layouts[] = {{{0, 1, 112}, padding}, {{2, any, 112}, padding}};
constexpr auto shown =
    all<title, since<2, driver_version>, port_opening, when<port_registers_valid, register_rows>, operation_rows>;

}  // namespace

const Driver tam_port = driver<layouts, shown, serial_frame>;

}  // namespace ffdc
