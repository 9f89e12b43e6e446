// Describes what a report would print.
#include "packing/labels.hpp"
#include "report.hpp"

namespace ffdc {
namespace {

constexpr std::uint32_t version_at = 26;  // in the header of the record

// The conversion of an op: of those with digits of their own it is complete, of others it lacks flags and width.
constexpr char conversions[][7] = {"",  "02x", "04x", "08x", "016llx", "02X", "04X", "08X", "016llX", "d", "02d", "d",
                                   "d", "d",   "x",   "x",   "X",      "d",   "u",   "p",   "s",      "s", "s",   "s"};
static_assert(std::size(conversions) == static_cast<std::size_t>(Show::fixed) + 1);

void write_format(char (&out)[8], const Op& op) {
    if (op.show == Show::nothing) return;
    char* at = out;
    *at++ = '%';
    if (op.show >= Show::hex && op.show <= Show::unsigned_decimal) {
        const unsigned width = op.argument() & Op::width_bits;
        if ((op.argument() & Op::prefix) != 0) *at++ = '#';
        if ((op.argument() & Op::zero) != 0) *at++ = '0';
        if (width >= 10) *at++ = static_cast<char>('0' + width / 10);
        if (width != 0) *at++ = static_cast<char>('0' + width % 10);
        if (op.load() == Load::u64) *at++ = 'l', *at++ = 'l';
    }
    std::memcpy(at, conversions[static_cast<std::size_t>(op.show)], static_cast<std::size_t>(out + sizeof out - at));
    out[7] = '\0';
}

const PackedNames* names_of(const dd_ffdc_field& field) {
    if (!field.own.table) return nullptr;
    const Op& op = *static_cast<const Op*>(field.own.step);
    const bool has_texts = op.show == Show::name || op.show == Show::choice || op.show == Show::fixed;
    return has_texts ? static_cast<const Head*>(field.own.table)->names() + op.argument() : nullptr;
}

}  // namespace

dd_ffdc_field Describer::field(const Report& r, std::size_t at, std::size_t size, dd_ffdc_kind kind) const {
    dd_ffdc_field f = {};
    f.group = no_group;
    f.name = f.before = "";
    f.index = -1;
    f.count = 1;
    f.offset = r.base + static_cast<std::uint32_t>(at);
    f.size = static_cast<std::uint32_t>(size);
    f.kind = kind;
    f.when = depth_ == 0 ? nullptr : &when_[depth_ - 1];
    return f;
}

void Describer::put(dd_ffdc_field f, std::string_view before) {
    f.before = before.data();
    f.before_length = before.size();
    for (std::size_t i = 0; *f.name != '\0' && i < f.size && f.offset + i < sizeof shown_; ++i)
        shown_[f.offset + i] |= static_cast<std::uint8_t>(f.mask == 0 ? 0xff : f.mask >> 8 * (f.size - 1 - i));
    each_(context_, &f);
}

void Describer::version(const Report& r, std::string_view before, Text::Version as, std::string_view after) {
    constexpr char formats[][8] = {"", "%d", "%x", "%04x"};
    dd_ffdc_field f = field(r, 0, 2, DD_FFDC_UNSIGNED);
    f.offset = version_at;
    f.mask = all_bits(2);
    std::memcpy(f.format, formats[static_cast<int>(as)], sizeof f.format);
    put(f, before);
    text(r, after);
}

void Describer::value(const Report& r, std::size_t at, std::size_t size, dd_ffdc_kind kind, const char* name,
                      Role role) {
    dd_ffdc_field f = field(r, at, size, kind);
    f.name = name;
    f.role = static_cast<dd_ffdc_role>(role);
    if (kind == DD_FFDC_NAME) f.mask = all_bits(size);
    if (kind != DD_FFDC_BYTES) std::memcpy(f.format, "%s", 3);
    put(f, "");
}

void Describer::enter(const Report& r, const Peeked& peeked, std::uint64_t number, bool equal) {
    const auto at = static_cast<std::uint32_t>(peeked.at.in(r.layout));
    when_[depth_] = {depth_ == 0 ? nullptr : &when_[depth_ - 1],           r.base + at, peeked.width, peeked.mask,
                     peeked.is_flag && number != 0 ? peeked.mask : number, equal};
    ++depth_;
}

void Describer::table(const Report& r, const Head& table, const Layout& l, Groups groups) {
    const Op *const ops = table.ops(), *const hidden = ops + l.end, *const end = ops + l.hidden_end;
    const std::uint16_t* chunk = table.chunks() + l.chunks;
    const char* literal = "";
    Labels labels(table, l);
    std::size_t left = 0;
    for (const Op* op = ops + l.begin; op != end; ++op) left += op->values(op >= hidden);
    const unsigned before = is_embedded ? roles_ : 0;
    std::uint32_t count = 1;
    for (const Op* op = ops + l.begin; op != end; ++op) {
        if (op->copies != 0) literal = table.text() + *chunk++;
        const std::size_t values = op->values(op >= hidden);
        if (values == 0) {
            text(r, {literal, op->literal});
            literal += op->literal;
        }
        for (std::size_t n = 0, at = op->at; n < values; ++n, at += op->stride()) {
            const Label& label = labels.next();
            --left;
            dd_ffdc_field f = field(r, at - label.back, label.size, static_cast<dd_ffdc_kind>(label.kind));
            f.group = reinterpret_cast<const char*>(groups) + groups[label.group];
            f.name = table.keys() + label.name;
            f.index = labels.index();
            if (f.index <= 0) count = labels.count(left);
            f.count = count;
            f.mask = mask_of(*op, label);
            f.own.table = &table;
            f.own.step = op;
            write_format(f.format, *op);
            if (const PackedNames* const names = names_of(f)) {
                f.first_number = names->first;
                f.numbers = op->show == Show::fixed ? 0 : op->show == Show::choice ? 2 : names->count - 1u;
            }
            const unsigned role = label.flags & Label::role;
            if ((before >> role & 1) == 0) f.role = static_cast<dd_ffdc_role>(role);
            roles_ |= 1u << role;
            const std::size_t characters = n == 0 ? op->literal : op->gap();
            put(f, {literal, characters});
            literal += characters + hole_of(op->show);
        }
    }
}

void Describer::unshown(std::size_t begin, std::size_t end) {
    for (std::size_t at = begin, next; at < end; at = next) {
        for (next = at + 1; next < end && shown_[next] == shown_[at] && next != DD_FFDC_HEADER_SIZE; ++next) {
        }
        if (shown_[at] == 0xff) continue;
        dd_ffdc_field f = {};
        f.group = f.name = "";
        f.index = -1;
        f.count = 1;
        f.offset = static_cast<std::uint32_t>(at);
        f.size = static_cast<std::uint32_t>(next - at);
        f.kind = DD_FFDC_UNSHOWN;
        f.mask = 0xffu & ~shown_[at];
        put(f, "");
    }
}

const char* field_text(const dd_ffdc_field& field, std::uint64_t number, std::size_t* length) {
    *length = 0;
    const PackedNames* const names = names_of(field);
    if (!names) return nullptr;
    const Head& table = *static_cast<const Head*>(field.own.table);
    const Show show = static_cast<const Op*>(field.own.step)->show;
    std::uint64_t entry = show == Show::fixed ? 0 : number - names->first;
    if (entry >= names->count) entry = names->count - 1u;
    const char* const text = table.text() + names->text + entry * names->stride;
    if (*text == 0 && show == Show::name) return nullptr;
    *length = static_cast<std::uint8_t>(*text);
    return text + 1;
}

}  // namespace ffdc
