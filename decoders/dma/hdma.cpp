// Records of the host DMA driver: one failed operation.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* error_types[] = {
    "Invalid",         "Unknown",       "Checkstop",        "Link down",  "VEK-1 DMA Not Enabled",
    "CEC Not enabled", "HW Protocol",   "HW SUE",           "HW Timeout", "HW Error",
    "SW Timeout",      "Address error", "TCE Extent error", "Page Fault", "Scatter Gather/DMA setup bug",
    "Cancel",
};
constexpr const char* source_names[] = {"WRITE", "READ", "AIO"};

constexpr Row hdma_rows[] = {
    {"FFDC for Host DMA:\n"},
    {"\tErr Type:         %s\n", error_name(named(error_types, u32(4)))},
    {"\tRC:               %08d\n", return_code(s32(12))},
    {"\tConfig Flags:     %08lx\n", u32(0)},
    {"\tnum_ops:          %08x\n", u32(8)},
    {"\tUser pointer:     %p\n", u32(16)},
    {"\tDest/Source:      %016llx\n", u64(20)},
    {"\tLength:           %08x\n", u32(28)},
    {"\tDMA Flags:        %08x\n", u32(32)},
    {"\tDMA source:       %s\n", named({source_names, 208, "INVALID"}, u32(36))},
};
constexpr DriverLayout layouts[] = {{{256, 256, 40}, {}, exact}};
constexpr Frame frame = {.unknown = unrecognized};

}  // namespace

const Driver hdma = driver<layouts, hdma_rows, frame>;

}  // namespace ffdc
