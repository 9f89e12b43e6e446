// Records of the SCAN driver. Layouts 1 to 4 describe one failed operation; the first carries an FSI error block, the
// later ones say where the engine is. Layout 5 is the short record of a bulk scan.
#include "fsi.hpp"
#include "language/proof.hpp"

namespace ffdc {
namespace {

constexpr Offsets data = {20, 20, 20, 24};

// Offsets a layout:                               v1   v2   v3   v4
constexpr Row scan_rows[] = {
    {"SCAN FFDC Data v01\n", shown_with({0, no, no, no})},
    {"SCAN FFDC Data v02\n", shown_with({no, 0, no, no})},
    {"SCAN FFDC Data v03\n", shown_with({no, no, 0, no})},
    {"SCAN FFDC Data v04\n", shown_with({no, no, no, 0})},
    {"ffdc version 0x%08lx\n", u32(0)},
    {"link         0x%08x\n", s16({no, 128, 128, 132})},
    {"cfam         0x%08x\n", s16({no, 130, 130, 134})},
    {"engine       0x%08x\n", s16({no, 132, 132, 136})},
    {"status       0x%08lx\n", u32(8)},
    {"ext Status   0x%08lx\n", u32(12)},
    {"fel          0x%08lx\n", u32({no, no, no, 16})},
    {"func rc      %d \n", s32({16, 16, 16, 20})},
    {"address      %p \n", u32({60, 60, 60, 64})},
    {"haveLbus     %d \n", s32(4)},
    {"text         %s \n", text({64, 64, 64, 68}, 64)},
    {"status       0x%08lx\n", u32({no, no, 8, 8}), again},
    {"pibErr1      0x%08lx\n", u32({no, no, 136, 140})},
    {"pibErr2      0x%08lx\n", u32({no, no, 140, 144})},
    {"extra Data:\n"},
    {"data: 0x%08lx \n", u32(data, 10)},
};
constexpr auto embedded = fsi_block({136, no, no, no});
constexpr Pieces<scan_rows, embedded> pieces;
constexpr Versions layouts[] = {{1, 1, 136 + fsi_size}, {2, 2, 134}, {3, 3, 144}, {4, 4, 148}, {5, 5, 32}};
static_assert(sound(pieces, std::span(layouts).first(4)));
static_assert(unshown(pieces, layouts, 0, {{128, 135}, {170, 171}, {199, 199}}));
static_assert(unshown(pieces, layouts, 1, {}));
static_assert(unshown(pieces, layouts, 2, {{134, 135}}));
static_assert(unshown(pieces, layouts, 3, {{138, 139}}));
// The documented lengths are those of a text of 63 characters and its NUL.
static_assert(longest_text(pieces, 0) + fsi_announcement - 1 == 1242);
static_assert(longest_text(pieces, 1) - 1 == 510);
static_assert(longest_text(pieces, 2) - 1 == 582);
static_assert(longest_text(pieces, 3) - 1 == 606);

constexpr Row bulk_rows[] = {
    {"scan bulk ffdc data v05\n"}, {"ffdc version : 0x%08lx\n", u32(0)}, {"link : 0x%08x\n", u16(16)},
    {"cfam : 0x%08x\n", u16(18)},  {"engine : 0x%08x\n", u16(20)},       {"status  : 0x%08lx\n\n", u32(8)},
    {"rc : 0x%08lx\n", u32(12)},   {"remaining size : %u\n", u32(24)},   {"last executed operation : %u\n", u32(28)},
};
static_assert(sound(bulk_rows, std::span(layouts).last(1)));
static_assert(unshown(bulk_rows, layouts, 4, {{4, 7}, {22, 23}}));
static_assert(longest_text(bulk_rows, 0) == 209);

void print(Report& r) {
    r.trace("scan_print called support up to v4");
    if (!r.known) return r.unrecognized();
    if (r.version == 5) return r.print<bulk_rows>();
    r.print<scan_rows>();
    print_embedded_fsi(r, r.place<embedded>());
}

}  // namespace

const Driver scan = {layouts, print};

}  // namespace ffdc
