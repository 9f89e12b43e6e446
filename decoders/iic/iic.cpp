// Records of the IIC driver: what failed, the engine and its registers, the transfer in progress on either side of the
// bus, and the driver's trace. One layout serves four versions, each of which shows more of it.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* kor_offsets[] = {"04", "08", "0C", "10", "14", "18", "1C", "20", "24"};
constexpr const char* wex_offsets[] = {"04", "05", "06", "07", "08", "09", "0A", "0B", "0C", "0D", "0E", "0F", "10"};

constexpr Field transfer_kind = u8(10), register_format = u8(11), registers_collected = u8(12);
constexpr Row transfer = {bytes(81, 124), "transfer"}, trace = {bytes({no, no, 205, 205}, 256), "trace"};

constexpr Row summary_rows[] = {
    {"\nFailure Summary\n----------------\n"},
    {"status: %d\n", return_code(s32(0))},
    {"file id: 0x%08lX\n", source_file(u32(4))},
    {"line number: %d\n", source_line(s16(8))},
    {transfer_kind, "transfer kind"},
    {register_format, "register format"},
    {registers_collected, "registers collected"},
};

// Layouts: versions 0, 1, 2, 3.
constexpr Row engine_rows[] = {
    {"\nEngine Info\n-----------\n", group("engine")},
    {"engine ID: %08X\n", u32(49)},
    {"base address: %08lX\n", u32(53)},
    {"irq: %d\n", s32(57)},
    {"flags: 0x%08lx\n", u32(61)},
    {"       (NO_ACCESS:7, CLEANUP_FAILED:6, INIT_FAILED:5, THROTTLED:3, BLOCK:2, RESET:1, ABORT:0)\n"},
    {"lbus speed: %ld\n", s32(65)},
    {"fifo size: %ld\n", s32(69)},
    {"transfer number: %ld\n", s32({no, no, 73, 73})},
    {"port mask: 0x%016llx\n", u64({no, no, no, 461})},
};

constexpr Row kor_rows[] = {
    {"\nKorvastadt IIC Registers\n------------------------\n", group("kor")},
    {"%s: %08lX\n", u32(13, 9), kor_offsets, "registers"},
};
constexpr Row wex_rows[] = {
    {"\nWEX IIC Registers\n-----------------\n", group("wex")},
    {"%s: %02X\n", u8(13, 13), wex_offsets, "registers"},
    {"OPB STATUS: %08lX\n", u32({no, no, 45, 45})},
};

consteval Field state(int n) { return bit(n, u32(109)); }

constexpr Row master_rows[] = {
    {"\nMaster Transfer Info\n--------------------\n", group("master")},
    {"iocb: %p\n", u32(81)},
    {"ubuf: %p\n", u32(85)},
    {"num_pages: %ld\n", s32(89)},
    {"pages ptr: %p\n", u32(93)},
    {"xfr size: %ld bytes\n", s32(97)},
    {"bytes xfrd: %ld bytes\n", s32(101)},
    {"write data: %08lX\n", u32({no, no, 201, 201})},  // the last field of the layout
    {"status: %d\n", s32(105)},
    {"retries: %d\n", u16(157)},
    {"flags: 0x%08lX\n", u32(109)},
    {"RD:%d\t\t\t", state(0)},
    {"ASYNC:%d\t\t", state(1)},
    {"FAST:%d\n", state(2)},
    {"CANCELLED:%d\t\t", state(3)},
    {"ABORT:%d\t\t", state(4)},
    {"RECOVERY:%d\n", state(5)},
    {"STARTED:%d\t\t", state(6)},
    {"DELAYED:%d\t", state(7)},
    {"ENDED:%d\n", state(8)},
    {"ENG_COMP:%d\t\t", state(9)},
    {"DMA:%d\t\t", state(10)},
    {"DMA_SUBMITTED:%d\n", state(11)},
    {"DMA_COMPLETED:%d\t\t", state(12)},
    {"OFFSET_PHASE:%d\t", state(13)},
    {"QUEUED:%d\n", state(14)},
    {"SPECIAL_PHASE:%d\n", state(15)},
    {"\nTransfer Options\n----------------\n", group("master.transfer options")},
    {"speed: %d khz\n", u16({113, no, no, no})},
    {"address: 0x%04X\n", u16(115)},
    {"offset width: %d bytes\n", u16(117)},
    {"address increment mask: 0x%08lX\n", u32(121)},
    {"timeout: %ld milliseconds\n", s32(125)},
    {"write delay: %d milliseconds\n", u16(129)},
    {"read delay: %d milliseconds\n", u16(131)},
    {"write page size: %d bytes\n", u16(133)},
    {"read page size: %d bytes\n", u16(135)},
    {"offset: 0x%08lX\n", u32(137)},
    {"flags: 0x%08lX\n", u32(141)},
    {"       (SPECIAL_RD[3], NO_DMA[2], FORCE_DMA[1])\n"},
    {"\nRecovery Options\n----------------\n", group("master.recovery options")},
    {"redo policy: 0x%08lX\n", u32(145)},
    {"speed policy: 0x%08lX\n", u32({149, no, no, no})},
    {"redo delay: %ld milliseconds\n", s32(153)},
    {"\nClient Data\n-----------\n", group("master.client")},
    {"PID: %ld\n", s32(161)},
    {"TGID: %ld\n", s32(165)},
    {"\nBus Data\n--------\n", group("master.bus")},
    {"port: %d\n", u8(185)},
    {"bus id: 0x%08lX\n", u32(189)},
    {"device number: 0x%08lX\n", u32(193)},
    {"speed: %ld\n", s32({no, 197, 197, 197})},
};

constexpr Row slave_rows[] = {
    {"\nSlave Transfer Info\n--------------------\n", group("slave.transfer")},
    {"len: %d\n", u16(131)},
    {"start: %d\n", s32(133)},
    {"flags: %02x\n", u8(129)},
    {"\nSlave Client Info\n-----------------\n", group("slave.client")},
    {"pid: %ld\n", s32(81)},
    {"tgid: %ld\n", s32(85)},
    {"flags: %08lx\n", u32(105)},
    {"next_rd: %d\n", s32(109)},
    {"last_unrd: %d\n", s32(113)},
    {"xfr: %d\n", s32(117)},
    {"address: %ld\n", s32(121)},
    {"timeout: %ld\n", s32(125)},
    {"\nSlave Info\n----------\n", group("slave")},
    {"xfrs: %p\n", u32(137)},
    {"cur_xfr: %d\n", s32(141)},
    {"next_wr: %d\n", s32(145)},
    {"ms_delay: %d\n", s32(149)},
    {"throttle_bytes: %d\n", s32(153)},
    {"checked_in: %d\n", s32(157)},
    {"unrd: %d\n", s32(161)},
    {"next_unrd: %d\n", s32(165)},
    {"inactive_this_xfr: %d\n", s32(169)},
    {"total_active: %d\n", s32(173)},
    {"total_regd: %d\n", s32(177)},
    {"devnum: %ld\n", s32(181)},
    {"data recvd: %08lx\n", u32(185)},
};

constexpr auto none_collected = registers_collected == 0;
constexpr auto is_kor = register_format == 'K', is_wex = register_format == 'W';
constexpr auto no_transfer = transfer_kind == 0, is_slave = transfer_kind == 'S', is_master = transfer_kind == 'M';
constexpr Text registers_missing = {"Register data not collected(0)\n"}, transfer_missing = {"No transfer data\n"};
constexpr Text odd_registers = {"Dumping unknown register format\n"};
constexpr Text odd_transfer = {"Dumping unknown transfer format\n"};
constexpr Text trace_title = {"\n---------- Trace Data ----------\n          SSTTTTTT TTTTTTFP AARSSSSS DDDDDDDD\n"};

// clang-format off
constexpr auto shown = all<
    summary_rows,
    engine_rows,
    choose<none_collected, registers_missing,
        choose<is_kor, kor_rows,
        choose<is_wex, wex_rows, all<odd_registers, whole_dump>>>>,
    choose<no_transfer, transfer_missing,
        choose<is_slave, slave_rows,
        choose<is_master, master_rows, all<odd_transfer, transfer>>>>,
    since<2, trace_title, trace>>;
// clang-format on
constexpr DriverLayout layouts[] = {
    {{0, 0, 205}, {{73, 80}}},
    {{1, 1, 205}, {{73, 80}}},
    {{2, 2, 461}, {{77, 80}}},
    {{3, 3, 469}, {{77, 80}}},
};
using Iic = Proved<layouts, shown>;

}  // namespace

void iic_summary(Report& r) { Iic::print_part<summary_rows>(r); }
void iic_engine(Report& r) { Iic::print_part<engine_rows>(r); }
void iic_kor_registers(Report& r) { Iic::print_part<kor_rows>(r); }
void iic_wex_registers(Report& r) { Iic::print_part<wex_rows>(r); }
void iic_master(Report& r) { Iic::print_part<master_rows>(r); }
void iic_slave(Report& r) { Iic::print_part<slave_rows>(r); }

const Driver iic = driver<layouts, shown>;

}  // namespace ffdc
