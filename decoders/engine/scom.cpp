// Records of the SCOM driver: one failed access. Layouts 1 to 3 end with an FSI error block, the fourth says where the
// engine is instead.
#include "fsi.hpp"
#include "proof.hpp"

namespace ffdc {
namespace {

constexpr Offsets data = {20, 28, 24, 24};
constexpr std::size_t fsi_at[] = {140, 148, 144};

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
    {"func rc      %d \n", s32({16, 24, 20, 20})},
    {"address      %p \n", u32({60, 68, 64, 64})},
    {"haveLbus     %d \n", s32({64, 72, 68, 68})},
    {"text         %s \n", text({68, 76, 72, 72}, 64)},
    {"extra Data:\n"},
    {"data: 0x%08lx \n", u32(data, 10)},
};
constexpr Versions layouts[] = {
    {1, 1, fsi_at[0] + fsi_size}, {2, 2, fsi_at[1] + fsi_size}, {3, 3, fsi_at[2] + fsi_size}, {4, 4, 142}};
static_assert(sound({scom_rows}, layouts));
// Eight bytes before the FSI block, and the block itself.
static_assert(unread({scom_rows}, layouts, 0) == Bytes{{132, layouts[0].size - 1}});
static_assert(unread({scom_rows}, layouts, 1) == Bytes{{140, layouts[1].size - 1}});
static_assert(unread({scom_rows}, layouts, 2) == Bytes{{136, layouts[2].size - 1}});
static_assert(unread({scom_rows}, layouts, 3) == Bytes{});
// The documented lengths are those of a text of 63 characters and its NUL.
static_assert(longest_text({scom_rows}, 0) + embedded_fsi_longest - 1 == 1266);
static_assert(longest_text({scom_rows}, 1) + embedded_fsi_longest - 1 == 1314);
static_assert(longest_text({scom_rows}, 2) + embedded_fsi_longest - 1 == 1290);
static_assert(longest_text({scom_rows}, 3) - 1 == 558);

void print(Report& r) {
    r.trace("scom_print called - suport up to v4");
    if (!r.known) return r.unrecognized();
    r.print<scom_rows>();
    if (r.version < 4) embedded_fsi(r, fsi_at[r.layout]);
}

}  // namespace

const Driver scom = {layouts, print};

}  // namespace ffdc
