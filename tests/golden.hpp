// The golden cases: payloads, and the texts that their decoders must print.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tavi_ffdc.h"

struct Driver {
    const char* folder;  // of its cases
    const char* name;    // of its type, without the prefix
    int type;
    ffdc_print_fn print;
    // What the count tells when the room cuts the text: the length of the whole text, or what was stored.
    enum { stored, whole, whole_message } count = stored;
    // The decoder accepts one length only.
    bool exact = false;
};

inline constexpr Driver drivers[] = {
    {"8250", "8250", FFDC_TYPE_8250, serial8250_print},
    {"alert", "ALERT", FFDC_TYPE_ALERT, alert_print},
    {"dio", "DIO", FFDC_TYPE_DIO, dio_print},
    {"dma", "DMA", FFDC_TYPE_DMA, dma_print, Driver::whole, true},
    {"dpss", "DPSS", FFDC_TYPE_DPSS, dpss_print},
    {"dra", "DRA", FFDC_TYPE_DRA, dra_print},
    {"fsi", "FSI", FFDC_TYPE_FSI, fsi_print},
    {"hdma", "HDMA", FFDC_TYPE_HDMA, hdma_print, Driver::whole, true},
    {"iic", "IIC", FFDC_TYPE_IIC, iic_print},
    {"iomux", "IOMUX", FFDC_TYPE_IOMUX, iomux_print, Driver::whole, true},
    {"jtag", "JTAG", FFDC_TYPE_JTAG, jtag_print},
    {"kor_port", "KOR_PORT", FFDC_TYPE_KOR_PORT, kor_port_print},
    {"mbox", "MBOX", FFDC_TYPE_MBOX, mbox_print},
    {"mdma", "MDMA", FFDC_TYPE_MDMA, mdma_print},
    {"mtdcram", "MTDCRAM", FFDC_TYPE_MTDCRAM, mtdcram_print, Driver::whole_message},
    {"psi", "PSI", FFDC_TYPE_PSI, psi_print},
    {"rs485", "RS485", FFDC_TYPE_RS485, rs485_port_print},
    {"rtc", "RTC", FFDC_TYPE_RTC, rtc_print, Driver::whole, true},
    {"scan", "SCAN", FFDC_TYPE_SCAN, scan_print, Driver::whole_message},
    {"scom", "SCOM", FFDC_TYPE_SCOM, scom_print, Driver::whole_message},
    {"spad", "SPAD", FFDC_TYPE_SPAD, spad_print, Driver::whole},
    {"tam_port", "TAM_PORT", FFDC_TYPE_TAM_PORT, tam_port_print},
    {"tone", "TONE", FFDC_TYPE_TONE, tone_print, Driver::whole},
    {"uart", "UART", FFDC_TYPE_UART, ulouart_print},
    {"usb", "USB", FFDC_TYPE_USB, usb_print},
    {"wex_port", "WEX_PORT", FFDC_TYPE_WEX_PORT, wex_port_print},
};

struct Golden {
    const Driver* driver;
    std::string name;  // folder/case
    std::filesystem::path text_file;
    std::uint32_t version;
    std::vector<std::uint8_t> payload;
    std::string text;
};

// All cases, read on the first call; none is an error that ends the program.
const std::vector<Golden>& goldens();
