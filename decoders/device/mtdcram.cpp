// Records of the MTDCRAM driver: one failed operation.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* operations[] = {"read"};

constexpr Row mtdcram_rows[] = {
    {"MTDCRAM FFDC Data\n"},
    {"RC\t\t%d\n", return_code(s32(16))},
    {"Op:             %s\n", named({operations, 0, "write"}, u32(0))},
    {"Offset\t\t%lld\n", s64(4)},
    {"Count           %d\n", s32(12)},
};
constexpr DriverLayout layouts[] = {{{1, 1, 20}}};
constexpr Frame frame = {.unknown = unrecognized};
// "write" is one longer than the only name.
static_assert(longest_text(mtdcram_rows, 0) + 1 == 113);

}  // namespace

const Driver mtdcram = driver<layouts, mtdcram_rows, frame>;

}  // namespace ffdc
