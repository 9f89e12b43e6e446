// Records of the SCAN driver. Layouts 1 to 4 describe one failed operation; the first carries an FSI error block, the
// later ones say where the engine is. Layout 5 is the short record of a bulk scan.
#include "engine/driver.hpp"
#include "fsi.hpp"

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
    {"func rc      %d \n", return_code(s32({16, 16, 16, 20}))},
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

constexpr Row bulk_rows[] = {
    {"scan bulk ffdc data v05\n"},
    {"ffdc version : 0x%08lx\n", u32(0)},
    {"link : 0x%08x\n", u16(16)},
    {"cfam : 0x%08x\n", u16(18)},
    {"engine : 0x%08x\n", u16(20)},
    {"status  : 0x%08lx\n\n", u32(8)},
    {"rc : 0x%08lx\n", return_code(u32(12))},
    {"remaining size : %u\n", u32(24)},
    {"last executed operation : %u\n", u32(28)},
};

constexpr DriverLayout layouts[] = {
    {{1, 1, 136 + fsi_size}, {{128, 135}, {170, 171}, {199, 199}}},
    {{2, 2, 134}},
    {{3, 3, 144}, {{134, 135}}},
    {{4, 4, 148}, {{138, 139}}},
    {{5, 5, 32}, {{4, 7}, {22, 23}}},
};
constexpr auto shown = all<before<5, scan_rows, embedded>, since<5, bulk_rows>>;
constexpr Frame frame = {.trace = "scan_print called support up to v4", .unknown = unrecognized};
// The documented lengths are those of a text of 63 characters and its NUL.
consteval std::size_t longest(std::size_t layout) { return longest_text(body::node<shown>(), layouts, layout); }
static_assert(longest(0) - 1 == 1242 && longest(1) - 1 == 510 && longest(2) - 1 == 582 && longest(3) - 1 == 606);
static_assert(longest(4) == 209);

}  // namespace

const Driver scan = driver<layouts, shown, frame>;

}  // namespace ffdc
