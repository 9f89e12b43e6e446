// Records of the real-time clock: the registers of the clock, or a text of its driver.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr const char* square_waves[] = {"1 HZ", "512 HZ", "4096 HZ", "32768 HZ"};

consteval Field set(int n, int at) { return either("set", "clear", bit(n, u8(at))); }
consteval Field alarm(int at) { return bcd(at, 0x7f); }  // bit 7 is the match bit

constexpr Row hardware_rows[] = {
    {"RTC HW FFDC\n"},
    {"\trc:      %08d\n", return_code(s32(16))},
    {"\tioctl:   %08x\n", u32(20)},
    {"RTC time:\n", group("time")},
    {"Hours: %02d\t", bcd(11)},
    {"Minutes: %02d\t", bcd(10)},
    {"Seconds: %02d\t", bcd(9)},
    {"Day: %02d\n", bcd(12)},
    {"Date: %02d\t", bcd(13)},
    {"Months: %02d\t", bcd(14)},
    {"Years: %02d\t", bcd(15)},
    {"Centuries: %02d\n", bcd(1)},
    {"\nAlarm time match:\n", group("alarm")},
    {"Alarm secs: %02d\t", alarm(2)},
    {"Match bit: %s\n", set(7, 2), "secs match"},
    {"Alarm mins: %02d\t", alarm(3)},
    {"Match bit: %s\n", set(7, 3), "mins match"},
    {"Alarm hrs: %02d\t", alarm(4)},
    {"Match bit: %s\n", set(7, 4), "hrs match"},
    {"Alarm day: %02d\t", alarm(5)},
    {"Match bit: %s\n", set(7, 5), "day match"},
    {"\nFlag Bits:\n", group("flags")},
    {"Read: %s\t", set(0, 0)},
    {"Write: %s\t", set(1, 0)},
    {"CAL: %s\t", set(2, 0)},
    {"BPF: %s\n", set(3, 0)},
    {"OSCF: %s\t", set(4, 0)},
    {"PF: %s\t", set(5, 0)},
    {"AF: %s\t", set(6, 0)},
    {"WDF: %s\n", set(7, 0)},
    {"\nInterrupt Status/Control:\n", group("interrupt")},
    {"SQR Freq: %s\t", named(square_waves, masked(0x03, u8(6)))},
    {"P/L: %s\t", set(2, 6)},
    {"H/L: %s\t", set(3, 6)},
    {"SQWE: %s\n", set(4, 6)},
    {"PFE: %s\t", set(5, 6)},
    {"AIE: %s\t", set(6, 6)},
    {"WIE: %s\n", set(7, 6)},
    {"\nCalibration:\n", group("calibration")},
    {"OSCEN: %s\t", set(7, 8)},
    {"Cal sign: %s\n", set(5, 8)},
    {u8(8), "register"},
};

constexpr Row software_rows[] = {
    {"RTC SW FFDC\n"},
    {"\trc:      %08d\n", return_code(s32(64))},
    {"\tioctl:   %08x\n", u32(68)},
    {"\tErr Str: [%s]\n", text(0, 64)},
};
constexpr DriverLayout layouts[] = {{{0x0101, 0x0101, 24}, {{7, 7}}, "HW "}, {{0x0102, 0x0102, 72}, {}, "SW "}};
constexpr auto shown = all<before<0x0102, hardware_rows>, since<0x0102, software_rows>>;
constexpr Frame frame = {.unknown = {"Unrecognised FFDC version ", Text::Version::hex4, "\n"}};

}  // namespace

const Driver rtc = driver<layouts, shown, frame>;

}  // namespace ffdc
