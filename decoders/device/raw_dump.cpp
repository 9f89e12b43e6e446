// Records without a known layout: DIO, MDMA, DRA and USB show only the dump.
#include "decoders.hpp"

namespace ffdc {

void raw_dump(Report& r) { r.close_with_dump(); }

}  // namespace ffdc
