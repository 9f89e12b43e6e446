// Records to measure and to compare with: pseudo-random payloads, the same on every run.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tavi_ffdc.h"

// One record and its text.
struct Sample {
    std::vector<std::uint8_t> bytes;
    std::string text;

    const dd_ffdc_hdr* record() const { return reinterpret_cast<const dd_ffdc_hdr*>(bytes.data()); }
};

// A number that decides what is shown: `width` big-endian bytes of the payload, drawn from `first` to `last`.
struct Choice {
    std::size_t at, width;
    std::int64_t first, last;
};

// One kind of record.
struct Kind {
    const char* name;
    int type;
    std::uint32_t version;
    std::size_t length;           // of the payload
    std::vector<Choice> choices;  // so that every section of the text shows
};

// FSI, DMA, PSI, mailbox and IIC come first; then the other types with a layout; then two sizes of raw dump.
extern const std::vector<Kind> kinds;
constexpr std::size_t first_kinds = 5, dumps = 2;
constexpr int no_type = 99;  // has no decoder: its records are shown raw

using Random = std::mt19937;

// A record of that kind: texts printable and terminated, everything else random. Its text stays empty.
Sample typical(const Kind& kind, Random& random);

// Any bytes at all under that type and version, but with at least as many as the layout has. Zeros, ones and the bytes
// that decide about sections are more frequent than chance.
Sample arbitrary(int type, std::uint32_t version, Random& random);
