#include "serial.hpp"

namespace ffdc {
namespace {

constexpr DriverLayout layouts[] = {{{0, any, buffer_size}}};

}  // namespace

void buffer_descriptor(Report& r) { Proved<layouts, buffer_rows>::print_part<buffer_rows>(r); }

}  // namespace ffdc
