// Records of the MTDCRAM driver: one failed operation.
#include "language/proof.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* operations[] = {"read"};

constexpr Row mtdcram_rows[] = {
    {"MTDCRAM FFDC Data\n"},
    {"RC\t\t%d\n", s32(16)},
    {"Op:             %s\n", named({operations, 0, "write"}, u32(0))},
    {"Offset\t\t%lld\n", s64(4)},
    {"Count           %d\n", s32(12)},
};
constexpr Versions layouts[] = {{1, 1, 20}};
static_assert(sound(mtdcram_rows, layouts));
static_assert(unshown(mtdcram_rows, layouts, 0, {}));
// "write" is one longer than the only name.
static_assert(longest_text(mtdcram_rows, 0) + 1 == 113);

void print(Report& r) {
    if (!r.known) return r.unrecognized();
    r.print<mtdcram_rows>();
}

}  // namespace

const Driver mtdcram = {layouts, print};

}  // namespace ffdc
