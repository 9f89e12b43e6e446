// The driver types, versions and layout sizes that this build knows.
#include <algorithm>

#include "commands/commands.hpp"

namespace {

std::string range(const dd_ffdc_versions& v) {
    constexpr unsigned any = 0xffff;
    if (v.last == any) return v.first == 0 ? "any" : std::to_string(v.first) + " and later";
    return std::to_string(v.first) + (v.last == v.first ? "" : "-" + std::to_string(v.last));
}

// 0 where a value has its bits alone, null where others have them, too, and for the header, which follows from the
// rest.
std::vector<Value> blank(std::vector<Value> values, std::size_t size) {
    std::vector<std::uint8_t> once(size), more(size);  // bits that values have
    const auto each_byte = [](const Value& v, auto&& use) {
        for (std::size_t i = 0; i < v.size; ++i) use(v.offset + i, v.bits(i));
    };
    for (const Value& v : values)
        each_byte(v, [&](std::size_t i, unsigned bits) {
            more[i] = static_cast<std::uint8_t>(more[i] | (once[i] & bits));
            once[i] = static_cast<std::uint8_t>(once[i] | bits);
        });
    for (Value& v : values) {
        v.number = 0;
        v.missing = std::string_view(v.group) == "header" || v.size == 0;
        each_byte(v, [&](std::size_t i, unsigned bits) { v.missing = v.missing || (more[i] & bits) != 0; });
        if (v.kind == DD_FFDC_NAME) v.kind = DD_FFDC_UNSIGNED;
    }
    return values;
}

}  // namespace

// Of each version whose values are not those of the version before.
int templates(Session& s) {
    bool any = false;
    for (const std::string& name : s.options.templates) {
        const int type = parse_type(name, "--template");
        each_layout(type, [&](const dd_ffdc_versions& versions, const Layout& layout) {
            const std::size_t size = DD_FFDC_HEADER_SIZE + versions.size;
            std::vector<Value> values;
            for (const Field& field : layout.fields) {
                Value v;
                v.group = field.group, v.name = field.name, v.index = field.index, v.offset = field.offset;
                v.size = field.size, v.kind = field.kind, v.mask = field.mask;
                const auto is_known = [&](const Value& known) {
                    return known.offset == v.offset && known.key() == v.key();
                };
                if (field.is_value() && std::ranges::none_of(values, is_known)) values.push_back(v);
            }
            put_template(s, type, versions.first, blank(values, size));
            any = true;
        });
    }
    return any ? exit_ok : exit_none;
}

int types(Session& s) {
    if (s.options.json || !s.options.files.empty()) return show_layouts(s);
    Table table({{"TYPE"}, {"CODE", true}, {"VERSIONS"}, {"BYTES", true}}, s.out, !s.options.no_legend);
    bool any = false;
    for (const int type : known_types()) {
        if (!s.wants(type)) continue;
        any = true;
        dd_ffdc_versions row, next;
        for (std::size_t n = 0; dd_ffdc_layout_row(type, n, &row); ++n) {
            // Layouts of one size differ in what they show, which is not asked for here.
            for (; dd_ffdc_layout_row(type, n + 1, &next) && next.first == row.last + 1 && next.size == row.size; ++n)
                row.last = next.last;
            table.row(
                {type_name(type), std::to_string(type), range(row), row.size == 0 ? "raw" : std::to_string(row.size)});
        }
    }
    table.print();
    return any ? exit_ok : exit_none;
}
