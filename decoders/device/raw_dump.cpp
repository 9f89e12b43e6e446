// Records without a known layout: DIO, MDMA, DRA and USB show only the dump.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr DriverLayout layouts[] = {{{0, any, 0}}};
constexpr Frame frame = {.closing = ""};

}  // namespace

const Driver raw_dump = driver<layouts, nothing, frame>;

}  // namespace ffdc
