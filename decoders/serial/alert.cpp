// Records of the KOR alert engine.
#include "language/proof.hpp"
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
constexpr Versions layouts[] = {{0, any, 104}};
constexpr Pieces<alert_rows, register_rows> pieces;
static_assert(sound(pieces, layouts));
static_assert(unshown(pieces, layouts, {{10, 19}, {33, 39}}));

void print(Report& r) {
    r.put("\nKOR ALERT FFDC\n");
    if (r.version >= 2) version_behind(r);
    r.print<alert_rows>();
    if (r.peek(registers_valid) != 0) r.print<register_rows>();
    close(r);
}

}  // namespace

const Driver alert = {layouts, print};

}  // namespace ffdc
