// Records without a known layout: DIO, MDMA, DRA and USB show only the dump.
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr Versions layouts[] = {{0, any, 0}};

void print(Report& r) { r.close_with_dump(); }

}  // namespace

const Driver raw_dump = {layouts, print};

}  // namespace ffdc
