// The decoders, one for each driver type, and the pieces that several share.
#pragma once

#include "report.hpp"

namespace ffdc {

void fsi(Report& r);
void psi(Report& r);
void dma(Report& r);
void hdma(Report& r);
void iic(Report& r);
void uart(Report& r);
void jtag(Report& r);
void mailbox(Report& r);
void scan(Report& r);
void scom(Report& r);
void tone(Report& r);
void rtc(Report& r);
void spad(Report& r);
void iomux(Report& r);
void serial8250(Report& r);
void rs485_port(Report& r);
void alert(Report& r);
void kor_port(Report& r);
void tam_port(Report& r);
void wex_port(Report& r);
void dpss(Report& r);
void mtdcram(Report& r);
void raw_dump(Report& r);  // DIO, MDMA, DRA and USB

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
