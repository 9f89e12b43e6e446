// Records of the IOMUX driver. The registers come from the hardware, or from the driver's copy of them.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* register_names[] = {"CTL0 ", "CTL1 ", "CTL2 ", "CTL3 ", "CTL4 ", "CTL5 ", "CTL6 ", "CTL7 ",
                                          "CTL8 ", "STAT ", "RCG0 ", "RCG1 ", "RCG2 ", "RCG3 ", "RCG4 ", "RCG5 ",
                                          "RCG6 ", "RCG7 ", "RCG8 ", "MODE0", "MODE1", "MODE2", "MODE3", "MODE4"};
constexpr const char* sources[] = {"Software"};

constexpr Row iomux_rows[] = {
    {"FFDC for %s:\n", text(20, 32), "device"},
    {"\tdevnum:      %08x\n", u32(12)},
    {"\tflags:       %08x\n", u32(8)},
    {"\treg_offset:  %08x\n", u32(4)},
    {"\tlbus_reason: %08x\n", u32(16)},
    {"\trc:          %8d\n", return_code(s32(0))},
    {"\t%s state of hw regs:\n", named({sources, 0, "Current"}, u8(52)), "register source"},
    {"", group("registers")},
    {"\t\t%s:    %08x\t%s:    %08x\n", u32(53, 24), register_names},
};
constexpr DriverLayout layouts[] = {{{256, 256, 149}, {}, exact}};
constexpr Frame frame = {.unknown = unrecognized};

}  // namespace

const Driver iomux = driver<layouts, iomux_rows, frame>;

}  // namespace ffdc
