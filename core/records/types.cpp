// What this library knows: the driver types and the sizes of their layouts.
#include <iterator>

#include "decoders.hpp"
#include "record.hpp"

namespace ffdc {
namespace {

constexpr Type types[] = {
    {"", nullptr},          {"FSI", fsi},          {"PSI", psi},         {"DMA", dma},           {"HDMA", hdma},
    {"MDMA", raw_dump},     {"IIC", iic},          {"UART", uart},       {"JTAG", jtag},         {"MBOX", mailbox},
    {"DIO", raw_dump},      {"SCAN", scan},        {"SCOM", scom},       {"TONE", tone},         {"", nullptr},
    {"RTC", rtc},           {"SPAD", spad},        {"IOMUX", iomux},     {"DRA", raw_dump},      {"USB", raw_dump},
    {"8250", serial8250},   {"RS485", rs485_port}, {"ALERT", alert},     {"KOR_PORT", kor_port}, {"TAM_PORT", tam_port},
    {"WEX_PORT", wex_port}, {"DPSS", dpss},        {"MTDCRAM", mtdcram},
};
static_assert(std::size(types) == FFDC_TYPE_MTDCRAM + 1);

}  // namespace

const Type& type_of(std::uint32_t code) { return types[code < std::size(types) ? code : 0]; }

int layout(int type, std::uint32_t version, std::size_t* size) {
    *size = 0;
    const Type& t = type_of(static_cast<std::uint32_t>(type));
    if (!t.decode) return DD_FFDC_UNKNOWN_TYPE;
    const std::uint8_t byte = 0;  // a decoder may leave an empty payload alone
    Report r({&byte, 1}, 1, version, nullptr, 0);
    r.quiet = true;
    t.decode(r);
    *size = r.layout_size;
    return r.state == DD_FFDC_UNKNOWN_VERSION ? r.state : DD_FFDC_OK;
}

}  // namespace ffdc
