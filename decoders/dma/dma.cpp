// Records of the base DMA engine: one channel when a transfer failed. The second layout puts two error words in front.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* endpoint_names[] = {"INVALID", "ZCOPY", "INVALID", "DIRECT", "DEVICE", "FIFO"};
constexpr const char* register_names[] = {"CR   ", "CTC  ", "SAH  ", "SAL  ", "DAH  ", "DAL  ",
                                          "SGH  ", "SGL  ", "SR   ", "SGC  ", "PMP  "};

constexpr Offsets flags = {0, 8};
consteval Field flag(int n, const char* set, const char* clear = "", Offsets at = flags) {
    return either(set, clear, bit(n, u32(at)));
}
consteval Field endpoint(Offsets at) { return named({endpoint_names, 0, "INVALID"}, u32(at)); }

constexpr Row dma_rows[] = {
    {"FFDC for Base DMA:\n"},
    {"\tEngine:      %8d\n", u16({68, 76})},
    {"\tChannel:     %8d\n", u16({70, 78})},
    {"\tRC:          %8d\n", return_code(s32({12, 20}))},
    {"\tErr_stat:    %8x\n", u32({no, 0})},
    {"\tErr_resp:    %8x\n", u32({no, 4})},
    {u32(flags), "flags"},
    {"\tFlags:       %8s", flag(31, "FSI ", "", {0, no}), "FSI"},
    {"\tFlags:       %s", flag(31, "FSI ", "", {no, 8}), "FSI"},
    {"%s", flag(30, "PSI "), "PSI"},
    {"%s", flag(29, "MEM "), "MEM"},
    {"%s", flag(28, "UBUF "), "UBUF"},
    {"%s", flag(27, "UADDR "), "UADDR"},
    {"%s", flag(26, "FIFO "), "FIFO"},
    {"%s", flag(25, "HW "), "HW"},
    {"%s", flag(24, "BYTE "), "BYTE"},
    {"%s", flag(23, "WORD "), "WORD"},
    {"%s", flag(22, "WRITE ", "READ "), "WRITE"},
    {"%s", flag(21, "CMPLT "), "CMPLT"},
    {"%s", flag(20, "F_MCPY "), "F_MCPY"},
    {"%s", flag(19, "BLKLIST_EN "), "BLKLIST_EN"},
    {"%s", flag(18, "NO_PSI_W_WA "), "NO_PSI_W_WA"},
    {"%s", flag(17, "PSI_R_WA "), "PSI_R_WA"},
    {"%s", flag(16, "SUBMIT "), "SUBMIT"},
    {"%s", flag(15, "DP "), "DP"},
    {"EVT[%02x] ", masked(0xf0, u32(flags))},
    {"RID[%02x]\n", masked(0x0f, u32(flags))},
    {"\tPotential:          %08x\n", u32({4, 12})},
    {"\tAvailable:          %08x\n", u32({8, 16})},
    {"\tRoute:              %08x\n", u32({16, 24})},
    {"\tTimeout:            %08x\n", u32({20, 28})},
    {"\tCount:              %08x\n", u32({24, 32})},
    {"\tSrc Type:           %s\n", endpoint({36, 44})},
    {"\tSrc Base:           %016llx\n", u64({28, 36})},
    {"\tSrc Offset:         %08x\n", u32({40, 48})},
    {"\tSrc Pages:          %08x\n", u32({44, 52})},
    {"\tDest Type:          %s\n", endpoint({56, 64})},
    {"\tDest Base:          %016llx\n", u64({48, 56})},
    {"\tDest Offset:        %08x\n", u32({60, 68})},
    {"\tDest Pages:         %08x\n", u32({64, 72})},
    {"\tHint:               [%s]\n", text({124, 132}, 128)},
    {"\tHW Regs:\n", group("registers")},
    {"\t\t%s: %08x\n", u32({72, 80}, 11), register_names},
};
constexpr DriverLayout layouts[] = {{{1, 1, 252}, {{116, 123}}, exact}, {{2, 2, 260}, {{124, 131}}, exact}};
constexpr Frame frame = {.unknown = unrecognized};

}  // namespace

const Driver dma = driver<layouts, dma_rows, frame>;

const char* endpoint_kind(std::uint32_t kind) {
    return kind < std::size(endpoint_names) ? endpoint_names[kind] : "INVALID";
}

}  // namespace ffdc
