// Records of the KOR UART port: three sizes of one layout.
#include "language/proof.hpp"
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
constexpr Versions layouts[] = {{0, 1, 144}, {2, 2, 168}, {3, any, 172}};
constexpr Pieces<opening_rows, buffer, port_rows, register_rows> pieces;
static_assert(sound(pieces, layouts));
static_assert(unshown(pieces, layouts, {{27, 31}}));

void print(Report& r) {
    r.print<opening_rows>();
    r.print<buffer>();
    r.print<port_rows>();
    if (r.peek(registers_valid) != 0) r.print<register_rows>();
    close(r);
}

}  // namespace

const Driver kor_port = {layouts, print};

}  // namespace ffdc
