// Records of the PSI driver: one failed operation of a link, and the registers of its controller. Three versions of one
// layout; the first shows fewer of the transmit registers.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* path_names[] = {"DOPBS", "POPBS", "HOPBS", "IRPTS", "ANY  "};
constexpr const char* type_names[] = {"BAT    ", "RUNTIME", "DEBUG  ", "UNDEF  "};
constexpr const char* link_registers[] = {"00", "01", "02", "03", "04", "05", "06", "07", "08", "09", "10", "11",
                                          "12", "13", "14", "15", "16", "17", "18", "19", "20", "21", "22", "23"};

#define RULE "------------------------------------------------------------\n"

constexpr Row psi_rows[] = {
    {"Function ID: 0x%08x\n", u8(0)},
    {"Error ID:    0x%08x\n", u8(1)},
    {"Link Number: %d\n", u8(2)},
    {"Link Status: 0x%08x\n", u8(3)},
    {"Path:        %s\n", named(path_names, u32(4))},
    {"Type:        %s\n", named(type_names, u32(8))},
    {"rc:          0x%08x\n", return_code(u32(16))},
    {RULE "PSIC TX Registers\n" RULE, group("tx")},
    {"000: SR00 - Error Report 0:            %08x\n", u32(116)},
    {"010: SR01 - Error Report 1:            %08x\n", u32(132)},
    {"020: SR02 - Error Report Mask 0:       %08x\n", u32(148)},
    {"030: SR03 - Error Report Mask 1:       %08x\n", u32(164)},
    {"040: SR04 - Control/Fencing 1:         %08x\n", u32(180)},
    {"050: SR05 - Control/Fencing 2:         %08x\n", u32(196)},
    {"060: SR06 - DOPBS Prefix:              %08x\n", u32(212)},
    {"070: SR07 - POPBS Timeout:             %08x\n", u32(228)},
    {"080: SR08 - DOPBS Timeout:             %08x\n", u32(244)},
    {"090: SR09 - SCOM Address:              %08x\n", u32(260)},
    {"0A0: SR10 - SCOM Write Data:           %08x\n", u32(276)},
    {"0B0: SR11 - SCOM Read Data:            %08x\n", u32(292)},
    {"0C0: SR12 - EI2 Control 1:             %08x\n", u32(308)},
    {"0D0: SR13 - EI2 Control 2:             %08x\n", u32(324)},
    {"0E0: SR14 - EI2 Control 3:             %08x\n", u32(340)},
    {"0F0: SR15 - EI2 LL Status:             %08x\n", u32(356)},
    {"0F4: SR16 - Command Word 0 POPBS:      %08x\n", u32(360)},
    {"0F8: SR17 - Command Word 1 POPBS:      %08x\n", u32(364)},
    {"0FC: SR18 - Command Word 0 DOPBS:      %08x\n", u32(368)},
    {"100: SR19 - Command Word 1 DOPBS:      %08x\n", u32(372)},
    {"104: SR20 - Command Word 0 HOPBS:      %08x\n", u32(376)},
    {"108: SR21 - Command Word 1 HOPBS:      %08x\n", u32(380)},
    {"10C: SR22 - Command Word 0 IRPTS:      %08x\n", u32(384)},
    {"110: SR23 - Command Word 1 IRPTS:      %08x\n", u32(388)},
};
constexpr Row trace_rows[] = {
    {"", group("tx")},
    {"118: SR24 - Trace Register 0_0:        %08x\n", u32(396)},
    {"11C: SR25 - Trace Register 0_1:        %08x\n", u32(400)},
    {"120: SR26 - Trace Register 1_0:        %08x\n", u32(404)},
    {"124: SR27 - Trace Register 1_1:        %08x\n", u32(408)},
    {"128: SR28 - Trace Register 2_0:        %08x\n", u32(412)},
    {"12C: SR29 - Trace Register 2_1:        %08x\n", u32(416)},
    {"130: SR30 - Trace Register 3_0:        %08x\n", u32(420)},
    {"134: SR31 - Trace Register 3_1:        %08x\n", u32(424)},
    {"138: SR32 - Trace Register 4:          %08x\n", u32(428)},
    {"13C: SR33 - Trace Register 5:          %08x\n", u32(432)},
};
constexpr Row link_rows[] = {
    {RULE "PSIC RX Registers\n" RULE, group("rx")},
    {"200: Status Accumulated:               %08x\n", u32(436)},
    {"204: Status Interrupt Enable:          %08x\n", u32(440)},
    {"208: Control:                          %08x\n", u32(444)},
    {"20C: PSI-pH Error Response Packet:     %08x\n", u32(448)},
    {"210: Trace 0: Status:                  %08x\n", u32(452)},
    {"214: Trace 1: Status Interrupt Enable: %08x\n", u32(456)},
    {"218: Trace 2: Control:                 %08x\n", u32(460)},
    {"21C: Trace 3: Error Response Packet:   %08x\n", u32(464)},
    {"220: Trace 4: Command Buffer MSW:      %08x\n", u32(468)},
    {"224: Trace 5: Command Buffer LSW:      %08x\n", u32(472)},
    {"228: Trace 6: Data Buffer MSW:         %08x\n", u32(476)},
    {"22C: Trace 7: Data Buffer LSW:         %08x\n", u32(480)},
    {"230: Trace 8: Internal State 1:        %08x\n", u32(484)},
    {"234: Trace 9: Internal State 2:        %08x\n", u32(488)},
    {"238: Error Inject:                     %08x\n", u32(492)},
    {"23C: PLB Load/DMA RRESP Timeout:       %08x\n", u32(496)},
    {"240: CI Load/TX Grant Timeout:         %08x\n", u32(500)},
    {"244: PLB Load/Store Prefix Address:    %08x\n", u32(504)},
    {"248: Status Error Injection:           %08x\n", u32(508)},
    {"24C: Actual Status:                    %08x\n", u32(512)},
    {RULE "PSI Link Layer Registers\n" RULE, group("link layer")},
    {"%s:%08x %s:%08x %s:%08x %s:%08x\n", u32(20, 24), link_registers, "registers"},
};
// The transmit registers lie 16 bytes apart up to SR15, and SR23 and SR24 have a word between them.
constexpr Bytes reserved = {{12, 15},   {120, 131}, {136, 147}, {152, 163}, {168, 179}, {184, 195},
                            {200, 211}, {216, 227}, {232, 243}, {248, 259}, {264, 275}, {280, 291},
                            {296, 307}, {312, 323}, {328, 339}, {344, 355}, {392, 395}};
constexpr DriverLayout layouts[] = {{{1, 1, 516}, reserved | Bytes{{396, 435}}}, {{2, 3, 516}, reserved}};
constexpr auto shown = all<psi_rows, since<2, trace_rows>, link_rows>;
constexpr Frame frame = {.title = {"PSI FFDC version ", Text::Version::decimal,
                                   "\n============================================================\n"}};
constexpr std::size_t title = sizeof "PSI FFDC version 1\n" - 1 + sizeof RULE - 1;
static_assert(title + longest_text(body::node<shown>(), layouts, 0) == 3060);
static_assert(title + longest_text(body::node<shown>(), layouts, 1) == 3540);

}  // namespace

const Driver psi = driver<layouts, shown, frame>;

}  // namespace ffdc
