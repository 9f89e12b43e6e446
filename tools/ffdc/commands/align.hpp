// Which elements of two sequences are the same, when some are missing, new or changed on either side.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// `size` elements from `a` of the first sequence on are those from `b` on of the second.
struct Run {
    std::ptrdiff_t a, b, size;
};

// Equal numbers are equal elements, of which each sequence has less than 2^32. The runs ascend in both sequences. Time
// and memory grow with the lengths, not with their product: few differences are found exactly, and where there are
// many, elements that both have only once hold the sequences together.
std::vector<Run> align(const std::vector<std::uint64_t>& a, const std::vector<std::uint64_t>& b);
