// Records of the 8250 serial port: one layout, whatever the version.
#include "language/proof.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr std::uint32_t good_magic = 0x8250FFDC;
constexpr Field magic = u32(0);

constexpr Row magic_rows[] = {{"  magic  : %08lx ", magic}};
constexpr Row port_rows[] = {
    {"  rc     : %d\n", s32(4)},       {"  devnum : %08lx\n", u32(8)},    {"  line   : %d\n", s32(12)},
    {"  vaddr  : 0x%08lx\n", u32(20)}, {"  paddr  : 0x%08lx\n", u32(16)},
};
constexpr Versions layouts[] = {{0, any, 24}};
constexpr Pieces<magic_rows, port_rows> pieces;
static_assert(sound(pieces, layouts));
static_assert(unshown(pieces, layouts, {}));

void print(Report& r) {
    r.put("  version: ", Digits::hex(r.version, 4), "\n");
    r.print<magic_rows>();
    r.put(r.peek(magic) == good_magic ? "\n" : "[CORRUPT!!]\n");
    r.print<port_rows>();
    r.close_with_dump();
}

}  // namespace

const Driver serial8250 = {layouts, print};

}  // namespace ffdc
