// Records of the WEX UART port.
#include "language/proof.hpp"
#include "registers.hpp"
#include "serial.hpp"

namespace ffdc {
namespace {

constexpr std::span<const char* const> register_names = std::span(wex_registers).subspan(1);

constexpr Row register_rows[] = {
    {"\nWEX UART Regs\n", group("registers")},
    {"%4s:%02x\n", u8(29, 7), register_names},
};
constexpr Versions layouts[] = {{0, any, 37}};
constexpr Pieces<port_opening, register_rows> pieces;
static_assert(sound(pieces, layouts));
static_assert(unshown(pieces, layouts, {{10, 11}, {36, 36}}));

void print(Report& r) {
    r.put("\nWEX UART FFDC\n");
    if (r.version >= 2) version_behind(r);
    r.print<port_opening>();
    if (r.peek(port_registers_valid) != 0) r.print<register_rows>();
    close(r);
}

}  // namespace

const Driver wex_port = {layouts, print};

}  // namespace ffdc
