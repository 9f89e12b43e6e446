// Records of the MTDCRAM driver: one failed operation.
#include "decoders.hpp"
#include "proof.hpp"

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
constexpr std::size_t size = 20;
static_assert(sound({mtdcram_rows}, {size}));
static_assert(unread({mtdcram_rows}, 0, size) == Bytes{});
// "write" is one longer than the only name.
static_assert(longest_text({mtdcram_rows}, 0) + 1 == 113);

}  // namespace

void mtdcram(Report& r) {
    if (r.version != 1) return r.unrecognized();
    r.expect(size);
    r.print<mtdcram_rows>();
}

}  // namespace ffdc
