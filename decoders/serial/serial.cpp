#include "serial.hpp"

#include "language/proof.hpp"

namespace ffdc {

static_assert(sound(buffer_rows, {buffer_size}));
static_assert(unshown(buffer_rows, {buffer_size}, {}));

void buffer_descriptor(Report& r) { r.print<buffer_rows>(); }

void version_behind(Report& r) {
    r.put("drv ver[");
    r.put_text_behind("drv_ver");
    r.put("] ");
}

void close(Report& r) {
    r.put("\n");
    r.close_with_dump();
}

}  // namespace ffdc
