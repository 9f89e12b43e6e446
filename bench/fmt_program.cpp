#include "fmt_program.hpp"

#include <fmt/compile.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace fmt_program {
namespace {

using Bytes = const unsigned char*;

constexpr int header_size = 42;
constexpr std::size_t work_size = 32768;

constexpr char double_rule[] = "============================================================\n";
constexpr char rule[] = "------------------------------------------------------------\n";
constexpr char mailbox_rule[] = "-----------------------------------------------------------\n";

int u8(Bytes p, int at) { return p[at]; }
int u16(Bytes p, int at) { return p[at] << 8 | p[at + 1]; }
int s16(Bytes p, int at) { return static_cast<std::int16_t>(u16(p, at)); }
std::uint32_t u32(Bytes p, int at) {
    return std::uint32_t{p[at]} << 24 | std::uint32_t{p[at + 1]} << 16 | std::uint32_t{p[at + 2]} << 8 | p[at + 3];
}
std::int32_t s32(Bytes p, int at) { return static_cast<std::int32_t>(u32(p, at)); }
std::uint64_t u64(Bytes p, int at) { return std::uint64_t{u32(p, at)} << 32 | u32(p, at + 4); }
std::string_view text(Bytes p, int at, std::size_t size) {
    const char* const s = reinterpret_cast<const char*>(p + at);
    return {s, strnlen(s, size)};
}
int bit(std::uint32_t value, int n) { return value >> n & 1; }

// The texts of these types never pass 5 KB, so they are written into the work buffer unbounded: the fastest that the
// library offers. Its bounded form, format_to_n, takes longer.
#define PUT(format, ...) out = fmt::format_to(out, FMT_COMPILE(format) __VA_OPT__(, ) __VA_ARGS__)

char* put_pointer(char* out, std::string_view label, std::uint32_t v) {
    if (v == 0) {
        PUT("{}(nil)\n", label);
    } else {
        PUT("{}{:#x}\n", label, v);
    }
    return out;
}

template <std::size_t Count>
char* put_name(char* out, std::string_view label, const std::array<std::string_view, Count>& names, std::uint32_t i) {
    if (i < Count) {
        PUT("{}{}\n", label, names[i]);
    } else {
        PUT("{}INVALID ({:#x})\n", label, i);
    }
    return out;
}

// Whole lines only, which is what these types dump.
char* put_dump(char* out, Bytes data, int length) {
    for (int at = 0; at < length; at += 16) {
        char characters[16];
        std::transform(data + at, data + at + 16, characters,
                       [](unsigned char c) { return std::isprint(c) != 0 ? static_cast<char>(c) : '.'; });
        PUT("{:08x} [{:08x} {:08x} {:08x} {:08x} ] [{}]\n", at, u32(data, at), u32(data, at + 4), u32(data, at + 8),
            u32(data, at + 12), std::string_view(characters, 16));
    }
    return out;
}

char* put_slave_error(char* out, Bytes p) {
    PUT("sisc         0x{:08x}\n", u32(p, 0));
    PUT("slastd       0x{:08x}\n", u32(p, 4));
    PUT("sdatat       0x{:08x}\n", u32(p, 8));
    PUT("scmdt        0x{:08x}\n", u32(p, 12));
    PUT("sstat        0x{:08x}\n", u32(p, 16));
    return out;
}

char* fsi(char* out, Bytes p) {
    PUT("- FSI FFDC Data -\n");
    PUT("magic        0x{:08x}\n", u32(p, 0));
    PUT("strno        0x{:08x}\n", u32(p, 4));
    PUT("mver         0x{:08x}\n", u32(p, 8));
    PUT("part         {}\n", s32(p, 12));
    PUT("INFO: MASTER_ERROR=1 PORT_ERROR=2\n");
    out = put_pointer(out, "vaddr        ", u32(p, 84));
    PUT("errno        0x{:08x}\n", u32(p, 88));
    PUT("seqno        0x{:08x}\n", u32(p, 92));
    PUT("Master Error Info\n");
    PUT("mesrb        0x{:08x}\n", u32(p, 16));
    PUT("mscsb        0x{:08x}\n", u32(p, 20));
    PUT("matrb        0x{:08x}\n", u32(p, 24));
    PUT("mdtrb        0x{:08x}\n", u32(p, 28));
    PUT("mnr          {}\n", u8(p, 32));
    PUT("recover      {}\n", u8(p, 33));
    PUT("Slave Error - in struct master Info\n");
    out = put_slave_error(out, p + 36);
    PUT("Port Error Info\n");
    PUT("mstap        0x{:8x}\n", u32(p, 56));
    PUT("pnr          {}\n", u8(p, 60));
    PUT("snr          {}\n", u8(p, 61));
    PUT("recover      {}\n", u8(p, 62));
    PUT("Slave Error - in struct port Info\n");
    return put_slave_error(out, p + 64);
}

std::string_view endpoint_kind(std::uint32_t kind) {
    switch (kind) {
        case 1: return "ZCOPY";
        case 3: return "DIRECT";
        case 4: return "DEVICE";
        case 5: return "FIFO";
        default: return "INVALID";
    }
}

char* dma(char* out, Bytes payload) {
    static constexpr std::array<std::string_view, 11> register_names = {
        "CR   ", "CTC  ", "SAH  ", "SAL  ", "DAH  ", "DAL  ", "SGH  ", "SGL  ", "SR   ", "SGC  ", "PMP  "};
    const Bytes p = payload + 8;
    PUT("FFDC for Base DMA:\n");
    PUT("\tEngine:      {:8}\n", u16(p, 68));
    PUT("\tChannel:     {:8}\n", u16(p, 70));
    PUT("\tRC:          {:8}\n", s32(p, 12));
    PUT("\tErr_stat:    {:8x}\n", u32(payload, 0));
    PUT("\tErr_resp:    {:8x}\n", u32(payload, 4));
    const std::uint32_t flags = u32(p, 0);
    const auto word = [flags](int n, std::string_view set, std::string_view clear = "") {
        return bit(flags, n) != 0 ? set : clear;
    };
    PUT("\tFlags:       {}{}{}{}{}{}{}{}{}{}{}{}{}{}{}{}{}EVT[{:02x}] RID[{:02x}]\n", word(31, "FSI "),
        word(30, "PSI "), word(29, "MEM "), word(28, "UBUF "), word(27, "UADDR "), word(26, "FIFO "), word(25, "HW "),
        word(24, "BYTE "), word(23, "WORD "), word(22, "WRITE ", "READ "), word(21, "CMPLT "), word(20, "F_MCPY "),
        word(19, "BLKLIST_EN "), word(18, "NO_PSI_W_WA "), word(17, "PSI_R_WA "), word(16, "SUBMIT "), word(15, "DP "),
        flags & 0xF0, flags & 0x0F);
    PUT("\tPotential:          {:08x}\n", u32(p, 4));
    PUT("\tAvailable:          {:08x}\n", u32(p, 8));
    PUT("\tRoute:              {:08x}\n", u32(p, 16));
    PUT("\tTimeout:            {:08x}\n", u32(p, 20));
    PUT("\tCount:              {:08x}\n", u32(p, 24));
    PUT("\tSrc Type:           {}\n", endpoint_kind(u32(p, 36)));
    PUT("\tSrc Base:           {:016x}\n", u64(p, 28));
    PUT("\tSrc Offset:         {:08x}\n", u32(p, 40));
    PUT("\tSrc Pages:          {:08x}\n", u32(p, 44));
    PUT("\tDest Type:          {}\n", endpoint_kind(u32(p, 56)));
    PUT("\tDest Base:          {:016x}\n", u64(p, 48));
    PUT("\tDest Offset:        {:08x}\n", u32(p, 60));
    PUT("\tDest Pages:         {:08x}\n", u32(p, 64));
    PUT("\tHint:               [{}]\n", text(p, 124, 128));
    PUT("\tHW Regs:\n");
    for (int i = 0; i < 11; i++) {
        PUT("\t\t{}: {:08x}\n", register_names[static_cast<std::size_t>(i)], u32(p, 72 + 4 * i));
    }
    return out;
}

char* psi(char* out, Bytes p) {
    static constexpr std::array<std::string_view, 5> paths = {"DOPBS", "POPBS", "HOPBS", "IRPTS", "ANY  "};
    static constexpr std::array<std::string_view, 4> types = {"BAT    ", "RUNTIME", "DEBUG  ", "UNDEF  "};
    PUT("PSI FFDC version {}\n", 3);
    PUT("{}", std::string_view(double_rule));
    PUT("Function ID: 0x{:08x}\n", u8(p, 0));
    PUT("Error ID:    0x{:08x}\n", u8(p, 1));
    PUT("Link Number: {}\n", u8(p, 2));
    PUT("Link Status: 0x{:08x}\n", u8(p, 3));
    out = put_name(out, "Path:        ", paths, u32(p, 4));
    out = put_name(out, "Type:        ", types, u32(p, 8));
    PUT("rc:          0x{:08x}\n", u32(p, 16));
    PUT("{}PSIC TX Registers\n{}", std::string_view(rule), std::string_view(rule));
    PUT("000: SR00 - Error Report 0:            {:08x}\n", u32(p, 116));
    PUT("010: SR01 - Error Report 1:            {:08x}\n", u32(p, 132));
    PUT("020: SR02 - Error Report Mask 0:       {:08x}\n", u32(p, 148));
    PUT("030: SR03 - Error Report Mask 1:       {:08x}\n", u32(p, 164));
    PUT("040: SR04 - Control/Fencing 1:         {:08x}\n", u32(p, 180));
    PUT("050: SR05 - Control/Fencing 2:         {:08x}\n", u32(p, 196));
    PUT("060: SR06 - DOPBS Prefix:              {:08x}\n", u32(p, 212));
    PUT("070: SR07 - POPBS Timeout:             {:08x}\n", u32(p, 228));
    PUT("080: SR08 - DOPBS Timeout:             {:08x}\n", u32(p, 244));
    PUT("090: SR09 - SCOM Address:              {:08x}\n", u32(p, 260));
    PUT("0A0: SR10 - SCOM Write Data:           {:08x}\n", u32(p, 276));
    PUT("0B0: SR11 - SCOM Read Data:            {:08x}\n", u32(p, 292));
    PUT("0C0: SR12 - EI2 Control 1:             {:08x}\n", u32(p, 308));
    PUT("0D0: SR13 - EI2 Control 2:             {:08x}\n", u32(p, 324));
    PUT("0E0: SR14 - EI2 Control 3:             {:08x}\n", u32(p, 340));
    PUT("0F0: SR15 - EI2 LL Status:             {:08x}\n", u32(p, 356));
    PUT("0F4: SR16 - Command Word 0 POPBS:      {:08x}\n", u32(p, 360));
    PUT("0F8: SR17 - Command Word 1 POPBS:      {:08x}\n", u32(p, 364));
    PUT("0FC: SR18 - Command Word 0 DOPBS:      {:08x}\n", u32(p, 368));
    PUT("100: SR19 - Command Word 1 DOPBS:      {:08x}\n", u32(p, 372));
    PUT("104: SR20 - Command Word 0 HOPBS:      {:08x}\n", u32(p, 376));
    PUT("108: SR21 - Command Word 1 HOPBS:      {:08x}\n", u32(p, 380));
    PUT("10C: SR22 - Command Word 0 IRPTS:      {:08x}\n", u32(p, 384));
    PUT("110: SR23 - Command Word 1 IRPTS:      {:08x}\n", u32(p, 388));
    PUT("118: SR24 - Trace Register 0_0:        {:08x}\n", u32(p, 396));
    PUT("11C: SR25 - Trace Register 0_1:        {:08x}\n", u32(p, 400));
    PUT("120: SR26 - Trace Register 1_0:        {:08x}\n", u32(p, 404));
    PUT("124: SR27 - Trace Register 1_1:        {:08x}\n", u32(p, 408));
    PUT("128: SR28 - Trace Register 2_0:        {:08x}\n", u32(p, 412));
    PUT("12C: SR29 - Trace Register 2_1:        {:08x}\n", u32(p, 416));
    PUT("130: SR30 - Trace Register 3_0:        {:08x}\n", u32(p, 420));
    PUT("134: SR31 - Trace Register 3_1:        {:08x}\n", u32(p, 424));
    PUT("138: SR32 - Trace Register 4:          {:08x}\n", u32(p, 428));
    PUT("13C: SR33 - Trace Register 5:          {:08x}\n", u32(p, 432));
    PUT("{}PSIC RX Registers\n{}", std::string_view(rule), std::string_view(rule));
    PUT("200: Status Accumulated:               {:08x}\n", u32(p, 436));
    PUT("204: Status Interrupt Enable:          {:08x}\n", u32(p, 440));
    PUT("208: Control:                          {:08x}\n", u32(p, 444));
    PUT("20C: PSI-pH Error Response Packet:     {:08x}\n", u32(p, 448));
    PUT("210: Trace 0: Status:                  {:08x}\n", u32(p, 452));
    PUT("214: Trace 1: Status Interrupt Enable: {:08x}\n", u32(p, 456));
    PUT("218: Trace 2: Control:                 {:08x}\n", u32(p, 460));
    PUT("21C: Trace 3: Error Response Packet:   {:08x}\n", u32(p, 464));
    PUT("220: Trace 4: Command Buffer MSW:      {:08x}\n", u32(p, 468));
    PUT("224: Trace 5: Command Buffer LSW:      {:08x}\n", u32(p, 472));
    PUT("228: Trace 6: Data Buffer MSW:         {:08x}\n", u32(p, 476));
    PUT("22C: Trace 7: Data Buffer LSW:         {:08x}\n", u32(p, 480));
    PUT("230: Trace 8: Internal State 1:        {:08x}\n", u32(p, 484));
    PUT("234: Trace 9: Internal State 2:        {:08x}\n", u32(p, 488));
    PUT("238: Error Inject:                     {:08x}\n", u32(p, 492));
    PUT("23C: PLB Load/DMA RRESP Timeout:       {:08x}\n", u32(p, 496));
    PUT("240: CI Load/TX Grant Timeout:         {:08x}\n", u32(p, 500));
    PUT("244: PLB Load/Store Prefix Address:    {:08x}\n", u32(p, 504));
    PUT("248: Status Error Injection:           {:08x}\n", u32(p, 508));
    PUT("24C: Actual Status:                    {:08x}\n", u32(p, 512));
    PUT("{}PSI Link Layer Registers\n{}", std::string_view(rule), std::string_view(rule));
    for (int i = 0; i < 24; i += 4) {
        PUT("{:02}:{:08x} {:02}:{:08x} {:02}:{:08x} {:02}:{:08x}\n", i, u32(p, 20 + 4 * i), i + 1, u32(p, 24 + 4 * i),
            i + 2, u32(p, 28 + 4 * i), i + 3, u32(p, 32 + 4 * i));
    }
    return out;
}

char* put_mailbox_direction(char* out, std::string_view direction, Bytes header, Bytes data) {
    PUT("{} Header/Command 0:     {:08x}\n", direction, u32(header, 0));
    PUT("{} Header/Command 1:     {:08x}\n", direction, u32(header, 4));
    PUT("{} Header/Command 2:     {:08x}\n", direction, u32(header, 8));
    PUT("{} Data:\n", direction);
    for (int i = 0; i < 64; i += 16) {
        PUT("     {:08x} {:08x} {:08x} {:08x}\n", u32(data, i), u32(data, i + 4), u32(data, i + 8), u32(data, i + 12));
    }
    return out;
}

char* put_mailbox_slave(char* out, Bytes p) {
    PUT("     sism: {:08x}\n", u32(p, 0));
    PUT("     sisc: {:08x}\n", u32(p, 4));
    PUT("     si1m: {:08x}\n", u32(p, 8));
    PUT("     si1s: {:08x}\n", u32(p, 12));
    PUT("     si2m: {:08x}\n", u32(p, 16));
    PUT("     si2s: {:08x}\n", u32(p, 20));
    PUT("  nextirq: {:02x}\n", u8(p, 24));
    return out;
}

char* mailbox(char* out, Bytes p) {
    static constexpr std::array<std::string_view, 6> files = {"mbx_core         ", "Unknown          ",
                                                              "Unknown          ", "Unknown          ",
                                                              "Unknown          ", "Unknown          "};
    PUT("Mailbox FFDC version {}\n", 5);
    PUT("{}", std::string_view(double_rule));
    PUT("Mbx version string:  {}\n", text(p, 0, 16));
    PUT("VEK DD level:        0x{:08x}\n", u32(p, 16));
    out = put_name(out, "File name:           ", files, p[32]);
    PUT("Line number:         {}\n", s32(p, 20));
    const int rc = s32(p, 24);
    PUT("rc:                  {}, (errno def: {})\n", rc, std::strerror(rc == INT32_MIN ? rc : std::abs(rc)));
    PUT("Engine ID:           0x{:08x}\n", u32(p, 28));
    PUT("TX Count:            {}\n", u8(p, 33));
    PUT("RX Count:            {}\n", u8(p, 34));
    PUT("Count:               {}\n", u8(p, 35));
    PUT("Flags:               0x{:08x}\n", u32(p, 40));
    PUT("Mode:                {}\n", u8(p, 36));
    PUT("Engine:              {}\n", u8(p, 37));
    PUT("Base:                0x{:08x}\n", u32(p, 44));
    PUT("Dev Capabilities:    0x{:08x}\n", u32(p, 48));
    PUT("IRQ:                 {}\n", s32(p, 52));
    PUT("Parameter 0:         0x{:08x}\n", u32(p, 56));
    PUT("Parameter 1:         0x{:08x}\n", u32(p, 60));
    PUT("Parameter 2:         0x{:08x}\n", u32(p, 64));
    PUT("Parameter 3:         0x{:08x}\n", u32(p, 68));
    PUT("Message Header Size: {}\n", u8(p, 38));
    PUT("Message Data Size:   {}\n", u8(p, 39));
    PUT("IO Data Address:     0x{:08x}\n", u32(p, 80));
    PUT("IO Data Mask:        0x{:08x}\n", u32(p, 84));
    PUT("IO Data Dest:        0x{:08x}\n", u32(p, 88));
    PUT("IO Data Source:      0x{:08x}\n", u32(p, 92));
    PUT("IO Data Size:        0x{:08x}\n", u32(p, 96));
    PUT("IO Data Type:        0x{:08x}\n", u32(p, 100));
    PUT("Read  TMO (jiffies): {}\n", s32(p, 72));
    PUT("Write TMO (jiffies): {}\n", s32(p, 76));
    PUT("{}Mailbox Registers\n{}", std::string_view(mailbox_rule), std::string_view(mailbox_rule));
    PUT("Doorbell Status/Control: {:08x}\n", u32(p, 104));
    out = put_mailbox_direction(out, "TX", p + 120, p + 196);
    out = put_mailbox_direction(out, "RX", p + 108, p + 132);
    PUT("Local Error Status:      {:08x}\n", u32(p, 260));
    PUT("Host Error Status:       {:08x}\n", u32(p, 264));
    PUT("Host Interrupt:          {:08x}\n", u32(p, 268));
    PUT("Host Interupt Mask:      {:08x}\n", u32(p, 272));
    PUT("Local Interrupt:         {:08x}\n", u32(p, 276));
    PUT("Local Interrupt Mask:    {:08x}\n", u32(p, 280));
    PUT("Scratch pad 0:           {:08x}\n", u32(p, 284));
    PUT("Scratch pad 1:           {:08x}\n", u32(p, 288));
    PUT("Scratch pad 2:           {:08x}\n", u32(p, 292));
    PUT("Scratch pad 3:           {:08x}\n", u32(p, 296));
    PUT("\nfsi_irqinfo:\n");
    PUT("irqno:     {:04x}\n", u16(p, 300));
    PUT("slv:\n");
    out = put_mailbox_slave(out, p + 304);
    PUT("cmslv:\n");
    PUT("    cmfsi: {:02x}\n", u8(p, 332));
    PUT("nextssirq: {:02x}\n", u8(p, 333));
    PUT("    srsim: {:08x}\n", u32(p, 336));
    PUT("    srsic: {:08x}\n", u32(p, 340));
    PUT("slv2:\n");
    out = put_mailbox_slave(out, p + 344);
    for (int i = 0; i < 3; i++) {
        PUT("uic{}:\n", i);
        PUT("    uicer: {:08x}\n", u32(p, 372 + 8 * i));
        PUT("    uicsr: {:08x}\n", u32(p, 376 + 8 * i));
    }
    return out;
}

char* iic(char* out, Bytes p) {
    PUT("\nFailure Summary\n----------------\n");
    PUT("status: {}\n", s32(p, 0));
    PUT("file id: 0x{:08X}\n", u32(p, 4));
    PUT("line number: {}\n", s16(p, 8));

    PUT("\nEngine Info\n-----------\n");
    PUT("engine ID: {:08X}\n", u32(p, 49));
    PUT("base address: {:08X}\n", u32(p, 53));
    PUT("irq: {}\n", s32(p, 57));
    PUT("flags: 0x{:08x}\n", u32(p, 61));
    PUT("       (NO_ACCESS:7, CLEANUP_FAILED:6, INIT_FAILED:5, THROTTLED:3, BLOCK:2, RESET:1, ABORT:0)\n");
    PUT("lbus speed: {}\n", s32(p, 65));
    PUT("fifo size: {}\n", s32(p, 69));
    PUT("transfer number: {}\n", s32(p, 73));
    PUT("port mask: 0x{:08x}{:08x}\n", u32(p, 461), u32(p, 465));

    PUT("\nKorvastadt IIC Registers\n------------------------\n");
    for (int i = 0; i < 9; i++) {
        PUT("{:02X}: {:08X}\n", 4 + 4 * i, u32(p, 13 + 4 * i));
    }

    PUT("\nMaster Transfer Info\n--------------------\n");
    out = put_pointer(out, "iocb: ", u32(p, 81));
    out = put_pointer(out, "ubuf: ", u32(p, 85));
    PUT("num_pages: {}\n", s32(p, 89));
    out = put_pointer(out, "pages ptr: ", u32(p, 93));
    PUT("xfr size: {} bytes\n", s32(p, 97));
    PUT("bytes xfrd: {} bytes\n", s32(p, 101));
    PUT("write data: {:08X}\n", u32(p, 201));
    PUT("status: {}\n", s32(p, 105));
    PUT("retries: {}\n", u16(p, 157));
    const std::uint32_t state = u32(p, 109);
    PUT("flags: 0x{:08X}\n", state);
    PUT("RD:{}\t\t\tASYNC:{}\t\tFAST:{}\n", bit(state, 0), bit(state, 1), bit(state, 2));
    PUT("CANCELLED:{}\t\tABORT:{}\t\tRECOVERY:{}\n", bit(state, 3), bit(state, 4), bit(state, 5));
    PUT("STARTED:{}\t\tDELAYED:{}\tENDED:{}\n", bit(state, 6), bit(state, 7), bit(state, 8));
    PUT("ENG_COMP:{}\t\tDMA:{}\t\tDMA_SUBMITTED:{}\n", bit(state, 9), bit(state, 10), bit(state, 11));
    PUT("DMA_COMPLETED:{}\t\tOFFSET_PHASE:{}\tQUEUED:{}\n", bit(state, 12), bit(state, 13), bit(state, 14));
    PUT("SPECIAL_PHASE:{}\n", bit(state, 15));

    PUT("\nTransfer Options\n----------------\n");
    PUT("address: 0x{:04X}\n", u16(p, 115));
    PUT("offset width: {} bytes\n", u16(p, 117));
    PUT("address increment mask: 0x{:08X}\n", u32(p, 121));
    PUT("timeout: {} milliseconds\n", s32(p, 125));
    PUT("write delay: {} milliseconds\n", u16(p, 129));
    PUT("read delay: {} milliseconds\n", u16(p, 131));
    PUT("write page size: {} bytes\n", u16(p, 133));
    PUT("read page size: {} bytes\n", u16(p, 135));
    PUT("offset: 0x{:08X}\n", u32(p, 137));
    PUT("flags: 0x{:08X}\n", u32(p, 141));
    PUT("       (SPECIAL_RD[3], NO_DMA[2], FORCE_DMA[1])\n");
    PUT("\nRecovery Options\n----------------\n");
    PUT("redo policy: 0x{:08X}\n", u32(p, 145));
    PUT("redo delay: {} milliseconds\n", s32(p, 153));
    PUT("\nClient Data\n-----------\n");
    PUT("PID: {}\n", s32(p, 161));
    PUT("TGID: {}\n", s32(p, 165));
    PUT("\nBus Data\n--------\n");
    PUT("port: {}\n", u8(p, 185));
    PUT("bus id: 0x{:08X}\n", u32(p, 189));
    PUT("device number: 0x{:08X}\n", u32(p, 193));
    PUT("speed: {}\n", s32(p, 197));

    PUT("\n---------- Trace Data ----------\n");
    PUT("          SSTTTTTT TTTTTTFP AARSSSSS DDDDDDDD\n");
    return put_dump(out, p + 205, 256);
}

char* put_header(char* out, Bytes record, std::string_view type) {
    PUT("  head version[{}] time[{:x} {:x}] size[{}]\n", s32(record, 16), u32(record, 28), u32(record, 32),
        u16(record, 36));
    PUT("  pid[{}]  tgid[{}] type[{}]\n", s32(record, 20), s32(record, 38), u16(record, 24));
    PUT("type: FFDC_TYPE_{}\n", type);
    return out;
}

}  // namespace

int print(const void* record, char** output) {
    const Bytes bytes = static_cast<Bytes>(record);
    if (bytes == nullptr || output == nullptr || u32(bytes, 0) != 0xFFDCFFDC) {
        return -EINVAL;
    }
    char* const work = static_cast<char*>(std::malloc(work_size));
    if (work == nullptr) {
        return -ENOMEM;
    }
    const Bytes p = bytes + header_size;
    char* out = work;
    switch (u16(bytes, 24)) {
        case 1: out = fsi(put_header(out, bytes, "FSI"), p); break;
        case 2: out = psi(put_header(out, bytes, "PSI"), p); break;
        case 3: out = dma(put_header(out, bytes, "DMA"), p); break;
        case 6: out = iic(put_header(out, bytes, "IIC"), p); break;
        case 9: out = mailbox(put_header(out, bytes, "MBOX"), p); break;
        default: break;
    }

    const std::size_t total = static_cast<std::size_t>(out - work);
    char* const result = static_cast<char*>(std::malloc(total + 1));
    *output = result;
    if (result != nullptr) {
        std::strncpy(result, work, total);
        result[total] = '\0';
    }
    std::free(work);
    return result != nullptr ? static_cast<int>(total) : -ENOMEM;
}

}  // namespace fmt_program
