// The FSI error block as SCAN and SCOM records embed it.
#pragma once

#include "records/drivers.hpp"

namespace ffdc {

inline constexpr std::size_t fsi_size = 96;
inline constexpr std::size_t fsi_longest = 770;
inline constexpr std::size_t embedded_fsi_longest = sizeof "and now fsi data \nfsidata len 770\n" - 1 + fsi_longest;

// Announces the block at `at`, says how long its text is, and prints it. The text is rendered into a buffer first, from
// the heap unless the report is quiet; refused by the heap, the text is left out.
void embedded_fsi(Report& r, std::size_t at);

}  // namespace ffdc
