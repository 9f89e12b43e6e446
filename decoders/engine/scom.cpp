// Records of the SCOM driver: one failed access. Layouts 1 to 3 end with an FSI error block, the fourth says where the
// engine is instead.
#include "engine/driver.hpp"
#include "fsi.hpp"

namespace ffdc {
namespace {

constexpr Offsets data = {20, 28, 24, 24};

// Offsets a layout:                               v1   v2   v3   v4
constexpr Row scom_rows[] = {
    {"SCOM FFDC Data v01\n", shown_with({0, no, no, no})},
    {"SCOM FFDC Data v02\n", shown_with({no, 0, no, no})},
    {"SCOM FFDC Data v03\n", shown_with({no, no, 0, no})},
    {"SCOM FFDC Data v04\n", shown_with({no, no, no, 0})},
    {"ffdc version 0x%08lx\n", u32(0)},
    {"link         0x%08x\n", s16({no, no, no, 136})},
    {"cfam         0x%08x\n", s16({no, no, no, 138})},
    {"engine       0x%08x\n", s16({no, no, no, 140})},
    {"status       0x%08lx\n", u32(4)},
    {"true reg     0x%08lx\n", u32(8)},
    {"comp reg     0x%08lx\n", u32(12)},
    {"gp1 reg      0x%08lx\n", u32({no, 16, 16, 16})},
    {"gp2 reg      0x%08lx\n", u32({no, 20, no, no})},
    {"func rc      %d \n", return_code(s32({16, 24, 20, 20}))},
    {"address      %p \n", u32({60, 68, 64, 64})},
    {"haveLbus     %d \n", s32({64, 72, 68, 68})},
    {"text         %s \n", text({68, 76, 72, 72}, 64)},
    {"extra Data:\n"},
    {"data: 0x%08lx \n", u32(data, 10)},
};
constexpr auto embedded = fsi_block({140, 148, 144, no});
constexpr DriverLayout layouts[] = {
    {{1, 1, 140 + fsi_size}, {{132, 139}, {174, 175}, {203, 203}}},
    {{2, 2, 148 + fsi_size}, {{140, 147}, {182, 183}, {211, 211}}},
    {{3, 3, 144 + fsi_size}, {{136, 143}, {178, 179}, {207, 207}}},
    {{4, 4, 142}},
};
constexpr auto shown = all<scom_rows, embedded>;
constexpr Frame frame = {.trace = "scom_print called - suport up to v4", .unknown = unrecognized};
// The documented lengths are those of a text of 63 characters and its NUL.
consteval std::size_t longest(std::size_t layout) { return longest_text(body::node<shown>(), layouts, layout); }
static_assert(longest(0) - 1 == 1266 && longest(1) - 1 == 1314 && longest(2) - 1 == 1290 && longest(3) - 1 == 558);

}  // namespace

const Driver scom = driver<layouts, shown, frame>;

}  // namespace ffdc
