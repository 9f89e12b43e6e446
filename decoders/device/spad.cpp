// Records of the scratchpad driver. A version that is newer than this decoder is shown as it is known, and raw.
#include "engine/location.hpp"
#include "language/proof.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr std::uint32_t own_file = 0x1B000000;
constexpr Field file = u32(4);

constexpr Row own_file_rows[] = {{"File: %s\n", shown_as("scratchpad", file)}};
constexpr Row file_rows[] = {{"File ID: 0x%x\n", file, "File"}};
constexpr Row spad_rows[] = {
    {"Line: %d\n", u16(8)},
    {"Return code: %d\n", s32(0)},
    {"Engine size: %ld bytes\n", s32(12)},
    section("location", location_rows, 16),
};
constexpr Versions layouts[] = {{0, any, 20, 1}};
constexpr Pieces<file_rows, spad_rows> numbered;
constexpr Pieces<own_file_rows, spad_rows> named_by_us;
static_assert(sound(numbered, layouts));
static_assert(sound(named_by_us, layouts));
static_assert(unshown(numbered, layouts, {{10, 11}, {16, 16}}));

void print(Report& r) {
    r.counts_whole = true;
    r.peek(file) == own_file ? r.print<own_file_rows>() : r.print<file_rows>();
    r.print<spad_rows>();
    if (!r.newer) return;
    r.put("\nUnknown FFDC version -- Raw FFDC:\n");
    r.raw();
}

}  // namespace

const Driver spad = {layouts, print};

}  // namespace ffdc
