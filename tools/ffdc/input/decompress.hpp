// Compressed streams: gzip, xz, zstd, bzip2.
#pragma once

#include <memory>

#include "input/source.hpp"

// Takes the source if it is what packed_with() says, and that is a stream of one of these kinds: returns the bytes that
// it holds, and those of further streams that follow. Otherwise null, and the source is as it was. What precedes damage
// is read; the failure says where in the source the damage is.
std::unique_ptr<Source> decompress(std::unique_ptr<Source>& source, const char* packed);
