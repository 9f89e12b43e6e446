// Records of the scratchpad driver. A version that is newer than this decoder is shown as it is known, and raw.
#include "engine/driver.hpp"
#include "engine/location.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr Field file = source_file(u32(4));
constexpr auto is_ours = file == 0x1B000000;

constexpr Row own_file_rows[] = {{"File: %s\n", shown_as("scratchpad", file)}};
constexpr Row file_rows[] = {{"File ID: 0x%x\n", file, "File"}};
constexpr Row spad_rows[] = {
    {"Line: %d\n", source_line(u16(8))},
    {"Return code: %d\n", return_code(s32(0))},
    {"Engine size: %ld bytes\n", s32(12)},
    section("location", location_rows, 16),
};
constexpr DriverLayout layouts[] = {{{0, any, 20, 1}, {{10, 11}, {16, 16}}}};
constexpr auto shown = all<choose<is_ours, own_file_rows, file_rows>, spad_rows>;
constexpr Frame frame = {.newer = {"\nUnknown FFDC version -- Raw FFDC:\n"}, .counts_whole = true};

}  // namespace

const Driver spad = driver<layouts, shown, frame>;

}  // namespace ffdc
