// Records of the DPSS driver: one layout, whatever the version. An empty payload has no text at all.
#include "language/proof.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr Row dpss_rows[] = {
    {"Device name: %s\n", text(0, 16)}, {"Return code: %d\n", s32(18)}, {"Register data: 0x%x\n", u32(22)},
    {"Phase number: %d\n", s16(26)},    {"Pin number: %d\n", s16(28)},
};
constexpr Versions layouts[] = {{0, any, 30}};
static_assert(sound(dpss_rows, layouts));
static_assert(unshown(dpss_rows, layouts, 0, {{16, 17}}));
static_assert(longest_text(dpss_rows, 0) == 121);

void print(Report& r) {
    if (r.payload.size == 0) return r.leave();
    r.print<dpss_rows>();
}

}  // namespace

const Driver dpss = {layouts, print};

}  // namespace ffdc
