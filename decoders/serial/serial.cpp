#include "serial.hpp"

#include "proof.hpp"

namespace ffdc {

static_assert(sound({buffer_rows}, {buffer_size}));
static_assert(unread({buffer_rows}, {buffer_size}, 0) == Bytes{});

void buffer_descriptor(Report& r) { r.print<buffer_rows>(); }

constexpr Row valid_rows[] = {{port_registers_valid, "regs valid"}};
void port_opening(Report& r) {
    r.print<usual_origin>();
    r.print<port_buffer>();
    r.print<valid_rows>();
}

void driver_version(Report& r, std::size_t at, std::size_t size) {
    r.put("drv ver[");
    r.put_text(at, size, "drv_ver");
    r.put("] ");
}

void close(Report& r) {
    r.put("\n");
    r.close_with_dump();
}

}  // namespace ffdc
