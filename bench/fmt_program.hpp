// The straightforward program once more, with {fmt}'s compiled formats, for the five types most often met.
#pragma once

namespace fmt_program {

// Knows these record types and versions only: FSI, DMA 2, PSI 3, mailbox 5, IIC 3 with KOR registers and a master
// transfer. Renders a record as straightforward::print does, with the same two allocations.
int print(const void* record, char** output);

}  // namespace fmt_program
