// The decoders written the straightforward way: one formatted print a line, no tables.
// The library is measured and compared against them; they assume payloads that are as long as their layout.
#pragma once

#include <cstdint>

namespace straightforward {

// Renders one record, header text and type line included, into a text that the caller releases with free().
// Returns its length in characters, -EINVAL for a null or foreign record, -ENOMEM when the heap refuses.
int print(const void* record, char** output);

// Writes the text of one payload into `room` bytes at `out`; a type without a decoder gets the raw dump.
// Returns the count of characters that dd_ffdc_print adds for it. Nothing goes to standard output.
int decode(int type, const void* payload, std::uint32_t version, int length, char* out, int room);

// Writes the raw dump of `length` bytes, whole lines only, and returns its count of characters.
int dump(const void* data, int length, char* out, int room);

}  // namespace straightforward
