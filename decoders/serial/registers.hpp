// Register names of the serial-port engines, by register number.
#pragma once

namespace ffdc {

inline constexpr const char* kor_registers[29] = {
    "None",           "BIDI Parity",  "UNI Parity",   "FULL Parity",     "None",      "BIDI Mask",
    "BIDI Latches",   "BIDI Alert",   "UNI Mask",     "UNI Latches",     "UNI Alert", "IRQ Mask",
    "IRQ Conditions", "IRQ",          "Status",       "Extended Status", "FULL Mask", "FULL Latches",
    "FULL Alert",     "RX Port",      "TX Port",      "RX Baud",         "TX Baud",   "RX Mode",
    "TX Mode",        "RX Watermark", "TX Watermark", "SC Clock",        "SC Port",
};
inline constexpr const char* wex_registers[8] = {"FIFO", "IER", "IIR", "FCR", "LCR", "MCR", "LSR", "SCR"};

}  // namespace ffdc
