// How a field is loaded, shown and called: which op a conversion of it becomes.
#pragma once

#include "language/row.hpp"
#include "packed.hpp"
#include "tavi_ffdc.h"

namespace ffdc::packing {

constexpr Load load_of(const Field& f) {
    if (f.kind == Field::Kind::bcd) return Load::bcd;
    if (f.kind == Field::Kind::flag) return Load::bit;
    // What stands for a number has no sign.
    const bool is_signed = f.kind == Field::Kind::signed_number && f.shown == Field::Shown::itself;
    switch (f.bytes()) {
        case 2: return is_signed ? Load::s16 : Load::u16;
        case 4: return is_signed ? Load::s32 : Load::u32;
        case 8: return Load::u64;
        default: return Load::u8;
    }
}

constexpr Show show_decimal(const Field& f, const Conversion& c) {
    if (f.kind == Field::Kind::bcd && c.width == 2 && c.zero) return Show::plain_bcd;
    if (c.width != 0) return Show::decimal;
    switch (load_of(f)) {
        case Load::u8: return Show::plain_u8;
        case Load::u16: return Show::plain_u16;
        case Load::s32: return Show::plain_s32;
        case Load::bit: return Show::plain_bit;
        default: return Show::decimal;
    }
}

constexpr Show show_hex(const Field& f, const Conversion& c) {
    const bool upper = c.kind == 'X';
    if (!upper && c.width == 0 && !c.prefix && load_of(f) == Load::u32) return Show::plain_hex;
    if (c.zero && f.is_number() && f.whole() && c.width == 2 * f.width) {
        switch (f.width) {
            case 1: return upper ? Show::HEX1 : Show::hex1;
            case 2: return upper ? Show::HEX2 : Show::hex2;
            case 4: return upper ? Show::HEX4 : Show::hex4;
            default: return upper ? Show::HEX8 : Show::hex8;
        }
    }
    return upper ? Show::HEX : Show::hex;
}

constexpr Show show_of(const Field& f, const Conversion& c) {
    switch (f.shown) {
        case Field::Shown::name: return Show::name;
        case Field::Shown::choice: return Show::choice;
        case Field::Shown::fixed: return Show::fixed;
        case Field::Shown::itself: break;
    }
    switch (c.kind) {
        case 's': return Show::text;
        case 'd': return show_decimal(f, c);
        case 'u': return Show::unsigned_decimal;
        case 'p': return Show::pointer;
        default: return show_hex(f, c);
    }
}

constexpr dd_ffdc_kind kind_of(const Field& f, const Conversion& c) {
    if (f.shown == Field::Shown::name) return DD_FFDC_NAME;
    if (f.shown == Field::Shown::fixed) return DD_FFDC_UNSIGNED;
    if (c.kind == 'p') return DD_FFDC_ADDRESS;
    switch (f.kind) {
        case Field::Kind::signed_number: return DD_FFDC_SIGNED;
        case Field::Kind::text: return DD_FFDC_TEXT;
        case Field::Kind::flag: return DD_FFDC_FLAG;
        case Field::Kind::bcd: return DD_FFDC_BCD;
        default: return DD_FFDC_UNSIGNED;
    }
}

}  // namespace ffdc::packing
