#include "records/layouts.hpp"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <map>
#include <utility>

#include "records/records.hpp"

namespace {

void add(Layout& layout, const dd_ffdc_field& f) {
    const auto text = [&](std::uint64_t number) {
        std::size_t length;
        const char* const found = dd_ffdc_field_text(&f, number, &length);
        return found ? std::optional(std::string(found, length)) : std::nullopt;
    };
    const std::string before(f.before, f.before_length);
    Field field = {f.group, f.name, f.index, f.count,        f.offset, f.size,
                   f.kind,  f.role, f.mask,  f.first_number, before,   f.format};
    for (std::uint64_t n = 0; n < f.numbers; ++n) field.names.push_back(text(f.first_number + n));
    field.other = text(std::uint64_t{f.first_number} + f.numbers);
    for (const dd_ffdc_condition* c = f.when; c; c = c->outer)
        field.when.push_back({c->offset, c->size, c->mask, c->number, c->equal != 0});
    std::ranges::reverse(field.when);
    layout.fields.push_back(std::move(field));
}

// Texts that no table has: of numbers without a name, and of errors.
constexpr std::string_view invalid = "INVALID (0x", unknown_error = "Unknown error ";

// Of the errors that have one: what the library shows, by their numbers.
const std::vector<std::string>& error_messages() {
    static const std::vector<std::string> messages = [] {
        std::vector<std::string> all;
        for (int error = 0; error < 134; ++error) all.emplace_back(std::strerror(error));
        return all;
    }();
    return messages;
}

bool is_computed(const Field& field) { return field.names.empty() && !field.other; }

}  // namespace

std::string key_of(const char* group, const char* name, int index) {
    std::string key = group;
    if (!key.empty()) key += '.';
    key += name;
    if (index >= 0) key += "[" + std::to_string(index) + "]";
    return key;
}

bool Condition::holds(Bytes record) const {
    std::uint64_t found = 0;
    for (std::size_t at = offset; at < offset + size; ++at) found = found << 8 | (at < record.size() ? record[at] : 0u);
    return ((found & mask) == number) == equal;
}

bool Field::holds(Bytes record) const {
    return std::ranges::all_of(when, [&](const Condition& condition) { return condition.holds(record); });
}

std::string Field::name_of(std::uint64_t number) const {
    if (is_computed(*this)) {
        const std::uint32_t error =
            std::min(static_cast<std::uint32_t>(number), 0 - static_cast<std::uint32_t>(number));
        return error < error_messages().size() ? error_messages()[error] : std::strerror(static_cast<int>(error));
    }
    const std::uint64_t at = number - first_number;
    const std::optional<std::string>& text = at < names.size() ? names[static_cast<std::size_t>(at)] : other;
    if (!text) {
        char digits[17] = {};
        std::to_chars(digits, digits + 16, number, 16);
        return std::string(invalid) + digits + ')';
    }
    constexpr char blanks[] = " \t\n";
    const std::size_t begin = std::min(text->find_first_not_of(blanks), text->size());
    return text->substr(begin, text->find_last_not_of(blanks) + 1 - begin);
}

std::optional<std::uint64_t> Field::number_of(std::string_view text) const {
    const auto is_it = [&](std::uint64_t number) { return compare_letters(name_of(number), text) == 0; };
    if (other && first_number != 0 && is_it(0)) return 0;
    const std::size_t end = is_computed(*this) ? error_messages().size() : names.size() + (other ? 1 : 0);
    for (std::size_t n = 0; n != end; ++n)
        if (is_it(first_number + n)) return first_number + n;
    for (const auto& [begin, base] : {std::pair(invalid, 16), std::pair(unknown_error, 10)}) {
        std::uint64_t number = 0;
        if (text.size() > begin.size())
            std::from_chars(text.data() + begin.size(), text.data() + text.size(), number, base);
        if (is_it(number)) return number;
    }
    return std::nullopt;
}

void Field::add_names(std::set<std::string>& to) const {
    const std::size_t end = is_computed(*this) ? error_messages().size() : names.size() + (other ? 1 : 0);
    for (std::size_t n = 0; n != end; ++n)
        if (is_computed(*this) || n >= names.size() || names[n]) to.insert(name_of(first_number + n));
}

const Layout& layout_of(int type, unsigned version) {
    // Versions between the known ones all show the same, and so do unknown types.
    static std::map<std::pair<int, unsigned>, Layout> layouts;
    static struct {
        int type;
        unsigned version;
        const Layout* layout;
    } latest[256];
    auto& last = latest[(31 * static_cast<unsigned>(type) + version) % std::size(latest)];
    if (last.layout && last.type == type && last.version == version) return *last.layout;
    unsigned place = 0;  // among the layouts, and the gaps between them
    dd_ffdc_versions row;
    bool exact = false;
    for (std::size_t n = 0; dd_ffdc_layout_row(type, n, &row) != 0 && version >= row.first; ++n) {
        exact = row.exact != 0 && version <= row.last;
        place = 2 * static_cast<unsigned>(n) + (version <= row.last ? 1 : 2);
    }
    const auto [at, is_new] = layouts.try_emplace({dd_ffdc_type_name(type) ? type : -1, place});
    Layout& layout = at->second;
    last = {type, version, &layout};
    if (!is_new) return layout;
    const auto each = [](void* self, const dd_ffdc_field* f) { add(*static_cast<Layout*>(self), *f); };
    layout.state = dd_ffdc_fields(type, version, each, &layout);
    layout.exact = exact;
    for (const Field& f : layout.fields)
        if ((f.role == DD_FFDC_RETURN_CODE || (f.role == DD_FFDC_ERROR_NAME && f.kind == DD_FFDC_NAME)) &&
            std::ranges::none_of(layout.causes, [&](auto* c) { return c->name == f.name && c->group == f.group; }))
            layout.causes.push_back(&f);
    return layout;
}

void each_layout(int type, const std::function<void(const dd_ffdc_versions& versions, const Layout& layout)>& visit) {
    dd_ffdc_versions row;
    for (std::size_t n = 0; dd_ffdc_layout_row(type, n, &row) != 0; ++n) visit(row, layout_of(type, row.first));
}
