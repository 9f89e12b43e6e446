// The drivers of the list, and the pieces of them that are exported by themselves.
#pragma once

#include "engine/report.hpp"

namespace ffdc {

#define DRIVER(type, driver, exported) extern const Driver driver;
#include "drivers.def"
#undef DRIVER

// Sections of the IIC decoder.
void iic_summary(Report& r);
void iic_engine(Report& r);
void iic_kor_registers(Report& r);
void iic_wex_registers(Report& r);
void iic_master(Report& r);
void iic_slave(Report& r);

void buffer_descriptor(Report& r);              // of the serial-port drivers, at the start of the payload
const char* endpoint_kind(std::uint32_t kind);  // of the base DMA engine

}  // namespace ffdc
