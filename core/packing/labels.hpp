// Reads the labels of packed tables.
#pragma once

#include "language/field.hpp"
#include "packed.hpp"
#include "tavi_ffdc.h"

namespace ffdc {

// Which bits of the bytes of a value its number is.
inline std::uint64_t mask_of(const Op& op, const Label& label) {
    if (label.kind == DD_FFDC_TEXT) return 0;
    const bool of_a_byte =
        op.show != Show::hex4 && (op.load() == Load::u8 || op.load() == Load::bcd || op.load() == Load::bit);
    return of_a_byte ? std::uint64_t{op.mask()} << 8 * (label.size - 1 - label.back) : all_bits(label.size);
}

// The labels of a layout's values, one after the other.
class Labels {
public:
    Labels(const Head& table, const Layout& l) : all_(table.labels()), which_(table.label_of() + l.values) {}
    const Label& next() {
        const Label& label = all_[*which_++];
        element_ = &label == last_ ? element_ + 1 : 0;
        last_ = &label;
        return label;  // NOLINT(clang-analyzer-core.uninitialized.UndefReturn): no label has the address null
    }
    int index() const { return (last_->flags & Label::indexed) != 0 ? element_ : -1; }
    // Elements of the array of which the last value is the first, if `left` values follow it in the layout.
    std::uint32_t count(std::size_t left) const {
        std::uint32_t n = 1;
        while (index() == 0 && n <= left && which_[n - 1] == which_[-1]) ++n;
        return n;
    }

private:
    const Label *all_, *last_ = nullptr;
    const std::uint8_t* which_;
    int element_ = 0;
};

}  // namespace ffdc
