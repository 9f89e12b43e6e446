// Records of the mailbox driver: five layouts, chosen by the payload version.
#include <langinfo.h>

#include <climits>
#include <clocale>
#include <cstdio>
#include <cstring>

#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* function_names[] = {
    "MBX_FSYNC_ID    ", "MBX_MASK_ID     ", "MBX_UNMASK_ID   ", "MBX_OPEN_ID     ", "MBX_RESET_ID    ",
    "MBX_SYS_READ_ID ", "MBX_READ_ID     ", "MBX_MSG_RD_ID   ", "MBX_SYS_WRITE_ID", "MBX_MSG_WR_ID   ",
    "MBX_WRITE_ID    ", "MBX_GETPMASK_ID ", "MBX_XMIT_ID     ", "MBX_IRQ_VEK_ID  ", "MBX_TMR_FN_ID   ",
    "MBX_IRQ_HST_ID  ", "MBX_WAIT_XDN    ",
};
constexpr const char* error_names[] = {
    "MBX_TX_LOCK_ERR  ", "MBX_RX_LOCK_ERR  ", "MBX_MUTEX_ERR    ", "MBX_WAIT_ERR     ", "MBX_IOCPY_ERR    ",
    "MBX_IOW32_ERR    ", "MBX_IOR32_ERR    ", "MBX_INVAL_ERR    ", "MBX_BAD_PD_ERR   ", "MBX_CPYTO_ERR    ",
    "MBX_CPYFR_ERR    ", "MBX_BAD_MSG_ERR  ", "MBX_BIG_MSG_ERR  ", "MBX_INT_VEK_ERR  ", "MBX_INT_NHAND_ERR",
    "MBX_INT_HST_ERR  ", "MBX_TMO          ",
};
constexpr const char* file_names[] = {
    "mbx_core         ", "Unknown          ", "Unknown          ",
    "Unknown          ", "Unknown          ", "Unknown          ",
};
// strerror, without the memory that it may need for numbers it does not know. Both kinds of strerror_r exist.
[[maybe_unused]] std::string_view error_text(const char* text, const char*) { return text; }
[[maybe_unused]] std::string_view error_text(int, const char* buffer) { return buffer; }
std::string_view text_of_rc(std::int32_t rc, char* buffer, std::size_t room) {
    const int error = rc < 0 && rc != INT_MIN ? -rc : rc;
#if defined(__GLIBC__)
#if __GLIBC_PREREQ(2, 32)
    // Messages are in English: the same text, without the lock and the memory that looking for a translation takes.
    const char* const messages = nl_langinfo(_NL_LOCALE_NAME(LC_MESSAGES));
    if (messages[0] == 'C' && messages[1] == '\0') {
        if (const char* const text = strerrordesc_np(error)) return text;
        std::snprintf(buffer, room, "Unknown error %d", error);
        return buffer;
    }
#endif
#endif
    *buffer = '\0';
    return error_text(strerror_r(error, buffer, room), buffer);
}

constexpr Field rc = s32({no, no, no, 24, 24});
constexpr Computed rc_text = {{error_name(shared(rc)), "rc_text"}, text_of_rc};

// Offsets a layout:                               v1   v2   v3   v4   v5
constexpr Row request_rows[] = {
    {"Function ID:         %s\n", named(function_names, u8({0, 0, no, no, no}))},
    {"Error ID:            %s\n", error_name(named(error_names, u8({1, 1, no, no, no})))},
    {"Mbx version string:  %s\n", text({no, no, no, 0, 0}, 16)},
    {"VEK DD level:        0x%08lx\n", u32({no, no, no, 16, 16})},
    {"File name:           %s\n", source_file(named(file_names, u8({no, no, 0, 32, 32})))},
    {"Line number:         %d\n", source_line(s32({no, no, 4, 20, 20}))},
    {"rc:                  0x%08x\n", return_code(s32({4, 4, 12, no, no}))},
    {"rc:                  %d, (errno def: ", return_code(rc)},
};
constexpr Row parameter_rows[] = {
    {")\n", shown_with({no, no, no, 0, 0})},
    {"Engine ID:           0x%08x\n", u32({8, 8, 16, 28, 28})},
    {"TX Count:            %d\n", u8({12, 12, 20, 33, 33})},
    {"RX Count:            %d\n", u8({13, 13, 21, 34, 34})},
    {"Count:               %d\n", u8({14, 14, 22, 35, 35})},
    {"Flags:               0x%08x\n", u32({16, 16, 24, 40, 40})},
    {"Mode:                %d\n", u8({20, 20, 28, 36, 36})},
    {"Engine:              %d\n", u8({21, 21, 29, 37, 37})},
    {"Base:                0x%08x\n", u32({24, 24, 32, 44, 44})},
    {"Dev Capabilities:    0x%08x\n", u32({28, 28, 36, 48, 48})},
    {"IRQ:                 %d\n", s32({32, 32, 40, 52, 52})},
    {"Parameter 0:         0x%08x\n", u32({36, 36, 44, 56, 56})},
    {"Parameter 1:         0x%08x\n", u32({40, 40, 48, 60, 60})},
    {"Parameter 2:         0x%08x\n", u32({44, 44, 52, 64, 64})},
    {"Parameter 3:         0x%08x\n", u32({48, 48, 56, 68, 68})},
    {"Message Header Size: %d\n", u8({52, 52, 60, 38, 38})},
    {"Message Data Size:   %d\n", u8({53, 53, 61, 39, 39})},
    {"IO Data Address:     0x%08x\n", u32({56, 64, 72, 80, 80})},
    {"IO Data Mask:        0x%08x\n", u32({60, 68, 76, 84, 84})},
    {"IO Data Dest:        0x%08x\n", u32({64, 72, 80, 88, 88})},
    {"IO Data Source:      0x%08x\n", u32({68, 76, 84, 92, 92})},
    {"IO Data Size:        0x%08x\n", u32({72, 80, 88, 96, 96})},
    {"IO Data Type:        0x%08x\n", u32({76, 84, 92, 100, 100})},
    {"Read  TMO:           0x%08x\n", s32({no, 56, 64, no, no})},
    {"Read  TMO (jiffies): %d\n", s32({no, no, no, 72, 72}), "Read  TMO"},
    {"Write TMO:           0x%08x\n", s32({no, 60, 68, no, no})},
    {"Write TMO (jiffies): %d\n", s32({no, no, no, 76, 76}), "Write TMO"},
};

constexpr Offsets data = {96, no, no, no, no}, tx_data = {no, 180, 188, 196, 196}, rx_data = {no, 116, 124, 132, 132};
constexpr Row register_rows[] = {
    {"-----------------------------------------------------------\n"
     "Mailbox Registers\n"
     "-----------------------------------------------------------\n",
     group("registers")},
    {"Doorbell Status/Control: %08x\n", u32({80, 88, 96, 104, 104})},
    {"Header/Command 0:        %08x\n", u32({84, no, no, no, no})},
    {"Header/Command 1:        %08x\n", u32({88, no, no, no, no})},
    {"Header/Command 2:        %08x\n", u32({92, no, no, no, no})},
    {"Data:\n", shown_with(data)},
    {"     %08x %08x %08x %08x\n", u32(data, 16), "Data"},
    {"TX Header/Command 0:     %08x\n", u32({no, 104, 112, 120, 120})},
    {"TX Header/Command 1:     %08x\n", u32({no, 108, 116, 124, 124})},
    {"TX Header/Command 2:     %08x\n", u32({no, 112, 120, 128, 128})},
    {"TX Data:\n", shown_with(tx_data)},
    {"     %08x %08x %08x %08x\n", u32(tx_data, 16), "TX Data"},
    {"RX Header/Command 0:     %08x\n", u32({no, 92, 100, 108, 108})},
    {"RX Header/Command 1:     %08x\n", u32({no, 96, 104, 112, 112})},
    {"RX Header/Command 2:     %08x\n", u32({no, 100, 108, 116, 116})},
    {"RX Data:\n", shown_with(rx_data)},
    {"     %08x %08x %08x %08x\n", u32(rx_data, 16), "RX Data"},
    {"Local Error Status:      %08x\n", u32({160, 244, 252, 260, 260})},
    {"Host Error Status:       %08x\n", u32({164, 248, 256, 264, 264})},
    {"Host Interrupt:          %08x\n", u32({168, 252, 260, 268, 268})},
    {"Host Interupt Mask:      %08x\n", u32({172, 256, 264, 272, 272})},
    {"Local Interrupt:         %08x\n", u32({176, 260, 268, 276, 276})},
    {"Local Interrupt Mask:    %08x\n", u32({180, 264, 272, 280, 280})},
    {"Scratch pad 0:           %08lx\n", u32({no, no, no, 284, 284})},
    {"Scratch pad 1:           %08lx\n", u32({no, no, no, 288, 288})},
    {"Scratch pad 2:           %08lx\n", u32({no, no, no, 292, 292})},
    {"Scratch pad 3:           %08lx\n", u32({no, no, no, 296, 296})},
};

// The fifth layout ends with the interrupt information of the FSI driver.
constexpr Row slave_rows[] = {
    {"     sism: %08lx\n", u32(0)},  {"     sisc: %08lx\n", u32(4)},  {"     si1m: %08lx\n", u32(8)},
    {"     si1s: %08lx\n", u32(12)}, {"     si2m: %08lx\n", u32(16)}, {"     si2s: %08lx\n", u32(20)},
    {"  nextirq: %02lx\n", u8(24)},
};
constexpr Row uic_rows[] = {
    {"    uicer: %08lx\n", u32(0)},
    {"    uicsr: %08lx\n", u32(4)},
};
constexpr Row interrupt_rows[] = {
    {"\nfsi_irqinfo:\n"},
    {"irqno:     %04lx\n", u16(0)},
    {"slv:\n"},
    section("slv", slave_rows, 4),
    {"cmslv:\n", group("cmslv")},
    {"    cmfsi: %02lx\n", u8(32)},
    {"nextssirq: %02lx\n", u8(33)},
    {"    srsim: %08lx\n", u32(36)},
    {"    srsic: %08lx\n", u32(40)},
    {"slv2:\n"},
    section("slv2", slave_rows, 44),
    {"uic0:\n"},
    section("uic0", uic_rows, 72),
    {"uic1:\n"},
    section("uic1", uic_rows, 80),
    {"uic2:\n"},
    section("uic2", uic_rows, 88),
};
constexpr auto interrupts = section<interrupt_rows>("fsi_irqinfo", {no, no, no, no, 300});

constexpr Bytes early = {{2, 3}, {15, 15}, {22, 23}, {54, 55}};
constexpr DriverLayout layouts[] = {
    {{1, 1, 184}, early},
    {{2, 2, 268}, early},
    {{3, 3, 276}, {{1, 3}, {8, 11}, {23, 23}, {30, 31}, {62, 63}}},
    {{4, 4, 300}},
    {{5, 5, 396}, {{302, 303}, {329, 331}, {334, 335}, {369, 371}}},
};
constexpr auto shown = all<request_rows, rc_text, parameter_rows, register_rows, interrupts>;
constexpr Frame frame = {.title = {"Mailbox FFDC version ", Text::Version::decimal,
                                   "\n============================================================\n"}};

}  // namespace

const Driver mailbox = driver<layouts, shown, frame>;

}  // namespace ffdc
