#include "records/layouts.hpp"

#include <algorithm>
#include <map>

namespace {

void add(Layout& layout, const dd_ffdc_field& f) {
    const auto text = [&](std::uint64_t number) {
        std::size_t length;
        const char* const found = dd_ffdc_field_text(&f, number, &length);
        return found ? std::optional(std::string(found, length)) : std::nullopt;
    };
    Field field = {f.group,
                   f.name,
                   f.index,
                   f.count,
                   f.offset,
                   f.size,
                   f.kind,
                   f.role,
                   f.mask,
                   f.first_number,
                   {},
                   {},
                   {f.before, f.before_length},
                   f.format,
                   {}};
    for (std::uint64_t n = 0; n < f.numbers; ++n) field.names.push_back(text(f.first_number + n));
    field.other = text(std::uint64_t{f.first_number} + f.numbers);
    for (const dd_ffdc_condition* c = f.when; c; c = c->outer)
        field.when.push_back({c->offset, c->size, c->mask, c->number, c->equal != 0});
    std::ranges::reverse(field.when);
    layout.fields.push_back(std::move(field));
}

}  // namespace

std::string key_of(const char* group, const char* name, int index) {
    std::string key = group;
    if (!key.empty()) key += '.';
    key += name;
    if (index >= 0) key += "[" + std::to_string(index) + "]";
    return key;
}

std::string Field::key() const { return key_of(group, name, index); }

// Versions between the known ones all show the same, and so do unknown types.
const Layout& layout_of(int type, unsigned version) {
    static std::map<std::pair<int, unsigned>, Layout> layouts;
    unsigned place = 0;  // among the layouts, and the gaps between them
    dd_ffdc_versions row;
    for (std::size_t n = 0; dd_ffdc_layout_row(type, n, &row) != 0 && version >= row.first; ++n)
        place = 2 * static_cast<unsigned>(n) + (version <= row.last ? 1 : 2);
    const auto [at, is_new] = layouts.try_emplace({dd_ffdc_type_name(type) ? type : -1, place});
    Layout& layout = at->second;
    const auto each = [](void* self, const dd_ffdc_field* f) { add(*static_cast<Layout*>(self), *f); };
    if (is_new) layout.state = dd_ffdc_fields(type, version, each, &layout);
    return layout;
}

void each_layout(int type, const std::function<void(const dd_ffdc_versions& versions, const Layout& layout)>& visit) {
    dd_ffdc_versions row;
    for (std::size_t n = 0; dd_ffdc_layout_row(type, n, &row) != 0; ++n) visit(row, layout_of(type, row.first));
}
