// Records of the DPSS driver: one layout, whatever the version. An empty payload has no text at all.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr Row dpss_rows[] = {
    {"Device name: %s\n", text(0, 16)}, {"Return code: %d\n", return_code(s32(18))},
    {"Register data: 0x%x\n", u32(22)}, {"Phase number: %d\n", s16(26)},
    {"Pin number: %d\n", s16(28)},
};
constexpr DriverLayout layouts[] = {{{0, any, 30}, {{16, 17}}}};
constexpr Frame frame = {.silent_when_empty = true};
static_assert(longest_text(dpss_rows, 0) == 121);

}  // namespace

const Driver dpss = driver<layouts, dpss_rows, frame>;

}  // namespace ffdc
