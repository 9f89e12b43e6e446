// Decoders written the straightforward way: one formatted print a line, no tables. The drivers that write most of the
// records, and raw dumps: what the library is raced against. Payloads are as long as their layout.
#pragma once

#include <cstdint>

namespace straightforward {

// Renders one record, header text and type line included, into a text that the caller releases with free().
// Returns its length in characters, -EINVAL for a null or foreign record, -ENOMEM when the heap refuses.
int print(const void* record, char** output);

}  // namespace straightforward
