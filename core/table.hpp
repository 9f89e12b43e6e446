// Packs a table of rows into what the library carries: for each layout an array of ops and the characters between the
// values, and once for all layouts what the values are called. No pointers, so that nothing is relocated at load.
#pragma once

#include <array>
#include <vector>

#include "row.hpp"

namespace ffdc {

// How an op turns its value into text.
enum class Show : std::uint8_t {
    nothing,  // only the literal; or a value that the text does not show
    // All digits of 1, 2, 4 or 8 bytes, in lower and in upper case.
    hex1,
    hex2,
    hex4,
    hex8,
    HEX1,
    HEX2,
    HEX4,
    HEX8,
    // Decimal without padding, and two digits of BCD: what most numbers are.
    plain_u8,
    plain_bcd,
    plain_u16,
    plain_s32,
    plain_bit,
    plain_hex,
    // Any other number, by its load and its argument.
    hex,
    HEX,
    decimal,
    unsigned_decimal,
    pointer,  // 0x and lower-case digits, (nil) for 0
    text,
    name,
    choice,
    fixed,
};
enum class Load : std::uint8_t { u8, u16, u32, u64, s16, s32, bcd, bit };

// Characters of a value that always has the same number of them, else 0.
inline constexpr std::uint8_t hole[32] = {0, 2, 4, 8, 16, 2, 4, 8, 16, 0, 0, 0, 0, 1};
constexpr std::size_t hole_of(Show show) { return hole[static_cast<std::size_t>(show)]; }

// One step: `literal` characters, then the value at `at`. The table's text has holes where values of fixed width go, so
// that what lies between two values of varying width is one chunk, copied at once by the first op behind the former.
struct Op {
    // In the argument of a number.
    static constexpr std::uint8_t width_bits = 31, zero = 32, prefix = 64;

    std::uint16_t at = 0;
    std::uint8_t copies = 0;  // of 16 characters: the next chunk of the text
    std::uint8_t literal = 0;
    Show show = Show::nothing;
    Load load = Load::u8;
    std::uint8_t mask = 0;      // of the byte, for u8, bcd and bit
    std::uint8_t argument = 0;  // least width and flags of a number, bytes of a text field, which names of the table

    // An op of hex4 is a run of such values, evenly spaced both in the text and in the payload.
    constexpr std::size_t more() const { return argument; }
    constexpr std::size_t gap() const { return mask; }
    constexpr std::size_t stride() const { return static_cast<std::size_t>(load); }
    // Those that the op has.
    constexpr std::size_t values(bool hidden) const {
        return show == Show::hex4 ? more() + 1 : hidden || show != Show::nothing;
    }
    bool operator==(const Op&) const = default;
};

// What the value of an op is called and where it lies. Only those who are told of values need it, and missing values.
// The elements of an array, which are printed one behind the other, share theirs.
struct Label {
    std::uint16_t name;  // in the table's names; 0 for what is not handed out
    std::uint8_t group;  // of the table's groups
    bool indexed;        // an element
    std::uint8_t size;   // bytes of the value
    std::uint8_t back;   // the value begins so many bytes before what the op loads
    std::uint8_t kind;   // enum dd_ffdc_kind
    std::uint8_t shown;  // '?' of a missing value
    bool operator==(const Label&) const = default;
};

// The keys of a table's groups: for each of them how many bytes behind the first of these numbers it stands.
using Groups = const std::uint16_t*;

// Names for numbers: `count` entries of a length and `stride` characters each, in the table's text. The last entry is
// for all other numbers, or has no characters: "INVALID (0x%x)".
struct PackedNames {
    std::uint16_t text, first;
    std::uint8_t count, stride;
};

// One layout of a table.
struct Layout {
    std::uint16_t begin, end;  // ops that print
    std::uint16_t hidden_end;  // then ops of values that the text does not show
    std::uint16_t values;      // labels of its values, in order
    std::uint16_t chunks;      // where its chunks of text stand, in order
    std::uint16_t longest;     // characters it can print
    std::uint16_t extent;      // bytes of payload it reads
};

// Literals are copied in steps: their source and their target have this to spare.
inline constexpr std::size_t slack = 32;

// The beginning of a packed table: how many layouts, and how many bytes from here its parts lie.
struct Head {
    std::uint16_t columns, layouts_at, ops_at, label_of_at, labels_at, names_at, chunks_at, text_at, keys_at, groups_at;

    const Layout& layout(std::size_t column) const { return part<Layout>(layouts_at)[column < columns ? column : 0]; }
    const Op* ops() const { return part<Op>(ops_at); }
    const std::uint8_t* label_of() const { return part<std::uint8_t>(label_of_at); }  // the values of the layouts
    const Label* labels() const { return part<Label>(labels_at); }
    const PackedNames* names() const { return part<PackedNames>(names_at); }
    const std::uint16_t* chunks() const { return part<std::uint16_t>(chunks_at); }  // of the layouts, in the text
    const char* text() const { return part<char>(text_at); }
    const char* keys() const { return part<char>(keys_at); }
    Groups groups() const { return part<std::uint16_t>(groups_at); }

private:
    template <typename T>
    const T* part(std::size_t bytes) const {
        return reinterpret_cast<const T*>(reinterpret_cast<const char*>(this) + bytes);
    }
};

namespace packing {

constexpr std::string_view invalid_longest = "INVALID (0xffffffff)";

// Characters that one conversion can print; without `any_number`, of a number that has a name.
constexpr std::size_t longest(const Field& f, const Conversion& c, bool any_number) {
    std::size_t n = 0;
    const bool is_signed = f.kind == Field::Kind::signed_number;
    switch (c.kind) {
        case 's':
            if (f.kind == Field::Kind::text) n = f.width;
            if (f.kind == Field::Kind::fixed) n = std::string_view(f.set).size();
            if (f.kind == Field::Kind::choice)
                n = std::max(std::string_view(f.set).size(), std::string_view(f.clear).size());
            if (f.kind == Field::Kind::name) {
                for (const char* name : f.names.list) n = std::max(n, std::string_view(name).size());
                if (any_number)
                    n = std::max(
                        n, f.names.otherwise ? std::string_view(f.names.otherwise).size() : invalid_longest.size());
            }
            break;
        case 'p': n = 10; break;
        case 'd':
        case 'u':
            if (f.kind == Field::Kind::flag)
                n = 1;
            else if (f.width == 1)
                n = 3;
            else if (f.width == 2)
                n = is_signed ? 6 : 5;
            else if (f.width == 4)
                n = c.kind == 'd' ? 11 : 10;
            else
                n = 20;
            break;
        default: n = (is_signed && f.width < 4 ? 8u : 2u * f.width) + (c.prefix ? 2 : 0);
    }
    return std::max({n, std::size_t{c.width}, std::size_t{c.precision}});
}

constexpr Load load_of(const Field& f) {
    if (f.kind == Field::Kind::bcd) return Load::bcd;
    if (f.kind == Field::Kind::flag || f.kind == Field::Kind::choice) return Load::bit;
    if (f.masked || f.width == 1) return Load::u8;
    const bool is_signed = f.kind == Field::Kind::signed_number;
    return f.width == 8   ? Load::u64
           : f.width == 4 ? (is_signed ? Load::s32 : Load::u32)
                          : (is_signed ? Load::s16 : Load::u16);
}

constexpr Show show_of(const Field& f, const Conversion& c) {
    switch (f.kind) {
        case Field::Kind::text: return Show::text;
        case Field::Kind::name: return Show::name;
        case Field::Kind::choice: return Show::choice;
        case Field::Kind::fixed: return Show::fixed;
        default: break;
    }
    if (c.kind == 'd') {
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
    if (c.kind == 'u') return Show::unsigned_decimal;
    if (c.kind == 'p') return Show::pointer;
    const bool upper = c.kind == 'X';
    if (!upper && c.width == 0 && !c.prefix && load_of(f) == Load::u32) return Show::plain_hex;
    if (c.zero && !c.prefix && !f.masked && c.width == 2 * f.width) {
        switch (f.width) {
            case 1: return upper ? Show::HEX1 : Show::hex1;
            case 2: return upper ? Show::HEX2 : Show::hex2;
            case 4: return upper ? Show::HEX4 : Show::hex4;
            default: return upper ? Show::HEX8 : Show::hex8;
        }
    }
    return upper ? Show::HEX : Show::hex;
}

// As enum dd_ffdc_kind of the public header, which tables do not need otherwise.
constexpr std::uint8_t kind_of(const Field& f, char conversion) {
    switch (f.kind) {
        case Field::Kind::unsigned_number: return conversion == 'p' ? 2 : 0;
        case Field::Kind::signed_number: return 1;
        case Field::Kind::text: return 3;
        case Field::Kind::name: return 4;
        case Field::Kind::flag:
        case Field::Kind::choice: return 5;
        case Field::Kind::bcd: return 6;
        default: return 0;
    }
}

// Where what stands in the pool from `begin` on stands already; then it need not stand twice.
template <typename T>
constexpr std::size_t share(std::vector<T>& pool, std::size_t begin) {
    const auto fresh = pool.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto old = std::search(pool.begin(), fresh, fresh, pool.end());
    if (old == fresh) return begin;
    const auto found = static_cast<std::size_t>(old - pool.begin());
    pool.erase(fresh, pool.end());
    return found;
}

// Where the key stands in the pool, where the tail of another one does for it.
constexpr std::size_t pooled(std::vector<char>& pool, const std::vector<char>& key) {
    const std::size_t begin = pool.size();
    pool.insert(pool.end(), key.begin(), key.end());
    pool.push_back('\0');
    return share(pool, begin);
}

// The groups of a table in the order of their first values, and their keys inside another group.
struct GroupsDraft {
    std::vector<std::vector<char>> names;
    std::vector<std::size_t> at;
    std::vector<char> keys;

    constexpr GroupsDraft(Table rows, std::string_view outer) {
        for (std::size_t layout = 0; layout < columns(rows); ++layout)
            each_row(rows, layout, 0, outer, [&](const Row& row, std::size_t, std::string_view name) {
                if (row.has_value() && index_of(name) == names.size()) names.emplace_back(name.begin(), name.end());
            });
        for (const auto& name : names) at.push_back(pooled(keys, key_of(view_of(name), true)));
    }
    constexpr std::size_t index_of(std::string_view name) const {
        std::size_t i = 0;
        while (i < names.size() && view_of(names[i]) != name) ++i;
        return i;
    }
};

// A packed table that still grows.
struct Draft {
    std::vector<Layout> layouts;
    std::vector<Op> ops;
    std::vector<std::uint8_t> label_of;
    std::vector<Label> labels;
    std::vector<PackedNames> names;
    struct Named {
        const Field* field;
        std::size_t width;  // to which the names are padded
    };
    std::vector<Named> named_fields;
    std::vector<std::uint16_t> chunks;
    std::vector<char> text, keys = {'\0'};
    GroupsDraft groups;

    constexpr explicit Draft(Table rows) : groups(rows, "") {
        for (std::size_t i = 0; i < columns(rows); ++i) add_layout(rows, i);
        for (const Named& n : named_fields) add_names(*n.field, n.width);
        text.insert(text.end(), slack, '\0');
    }

private:
    std::vector<char> literals_;  // of the layout, with the holes
    std::size_t literal_ = 0;     // characters of them that no op has taken yet
    std::size_t longest_ = 0, extent_ = 0;

    constexpr void add_layout(Table rows, std::size_t layout) {
        const std::size_t begin = ops.size(), values = label_of.size();
        longest_ = extent_ = 0;
        literals_.clear();
        each_row(rows, layout, 0, {}, [&](const Row& row, std::size_t base, std::string_view group) {
            if (!row.hidden()) add_row(row, base + (row.has_value() ? row.field.at[layout] : 0), group);
        });
        if (literal_ != 0) add_op({});
        join_runs(begin);
        const std::size_t printed = ops.size(), first_chunk = chunks.size();
        add_chunks(begin);
        each_row(rows, layout, 0, {}, [&](const Row& row, std::size_t base, std::string_view group) {
            if (row.hidden()) add_value(row, {}, 0, base + row.field.at[layout], group);
        });
        const std::size_t size = ops.size() - begin, shared = share(ops, begin);
        layouts.push_back({narrow(shared), narrow(shared + printed - begin), narrow(shared + size),
                           narrow(share(label_of, values)), narrow(share(chunks, first_chunk)), narrow(longest_),
                           narrow(extent_)});
    }

    // Cuts the literals of a layout where values of varying width stand; a chunk that the table has already is shared.
    constexpr void add_chunks(std::size_t first) {
        std::size_t chunk = first, length = 0;
        auto literal = literals_.begin();
        for (std::size_t i = first; i < ops.size(); ++i) {
            const bool varying = ops[i].show != Show::nothing && hole_of(ops[i].show) == 0;
            length += ops[i].literal + hole_of(ops[i].show);
            if (ops[i].show == Show::hex4) length += ops[i].more() * (ops[i].gap() + hole_of(Show::hex4));
            if (!varying && i + 1 != ops.size()) continue;
            require(length <= 255 * 16, "", "a table has at most 4080 characters between values of varying width");
            if (length != 0) {
                const std::size_t begin = text.size();
                text.insert(text.end(), literal, literal + static_cast<std::ptrdiff_t>(length));
                chunks.push_back(narrow(share(text, begin)));
            }
            ops[chunk].copies = static_cast<std::uint8_t>((length + 15) / 16);
            literal += static_cast<std::ptrdiff_t>(length);
            chunk = i + 1;
            length = 0;
        }
    }

    constexpr void add_row(const Row& row, std::size_t at, std::string_view group) {
        std::size_t element = 0, name = 0;
        for (std::size_t repeat = 0; repeat < row.repeats(); ++repeat) {
            const char* s = row.format.text;
            for (const Conversion& c : row.format.conversions()) {
                add_literal({s, c.literal});
                s += c.literal + c.length;
                if (c.kind == 's' && !row.names.empty()) {
                    std::string_view each = row.names[name++];
                    if (c.precision != 0) each = each.substr(0, c.precision);
                    for (std::size_t i = each.size(); i < c.width; ++i) add_literal(" ");
                    add_literal(each);
                } else {
                    add_value(row, c, element, at + element * row.field.width, group);
                    ++element;
                }
            }
            add_literal({s, row.format.tail});
        }
    }

    constexpr void add_literal(std::string_view s) {
        for (char c : s) {
            if (literal_ == 255) add_op({});
            literals_.push_back(c);
            ++literal_;
            ++longest_;
        }
    }

    constexpr void add_op(Op op) {
        op.literal = static_cast<std::uint8_t>(literal_);
        literal_ = 0;
        ops.push_back(op);
    }

    constexpr void join_runs(std::size_t begin) {
        std::size_t last = begin;
        for (std::size_t i = begin + 1; i < ops.size(); ++i) {
            Op& run = ops[last];
            const Op& op = ops[i];
            const std::size_t end = run.at + run.more() * run.stride();
            const std::size_t stride = op.at > end ? op.at - end : 0;
            const bool fits = run.show == Show::hex4 && op.show == Show::hex4 && stride != 0 && stride <= 255 &&
                              (run.more() == 0 || (run.gap() == op.literal && run.stride() == stride));
            if (fits) {
                ++run.argument;
                run.mask = op.literal;
                run.load = static_cast<Load>(stride);
            } else {
                ops[++last] = op;
            }
        }
        if (ops.size() > begin) ops.resize(last + 1);
    }

    constexpr void add_value(const Row& row, const Conversion& c, std::size_t element, std::size_t at,
                             std::string_view group) {
        const Field& f = row.field;
        Op op;
        op.at = narrow(at + f.mask_at);
        op.load = load_of(f);
        op.mask = f.mask;
        if (c.kind != 0) {
            op.show = show_of(f, c);
            op.argument = static_cast<std::uint8_t>(c.width | (c.zero ? Op::zero : 0) | (c.prefix ? Op::prefix : 0));
            if (op.show == Show::text) op.argument = static_cast<std::uint8_t>(f.width);
            if (op.show >= Show::name) op.argument = names_index(f, c.width);
            longest_ += longest(f, c, true);
        }
        extent_ = std::max(extent_, at + f.width);
        if (op.show == Show::hex4) op.load = {}, op.mask = op.argument = 0;  // a run of one
        add_op(op);
        label_of.push_back(label(row, c, element, group));
        literals_.insert(literals_.end(), hole_of(op.show), ' ');
    }

    constexpr std::uint8_t names_index(const Field& f, std::size_t width) {
        auto equal = [](const char* a, const char* b) {
            return a && b ? std::string_view(a) == std::string_view(b) : a == b;
        };
        for (std::size_t i = 0; i < named_fields.size(); ++i) {
            const Field& g = *named_fields[i].field;
            if (named_fields[i].width == width && g.kind == f.kind && g.names.list.data() == f.names.list.data() &&
                g.names.first == f.names.first && equal(g.set, f.set) && equal(g.clear, f.clear))
                return static_cast<std::uint8_t>(i);
        }
        named_fields.push_back({&f, width});
        require(named_fields.size() <= 255, "", "a table has at most 255 sets of names");
        return static_cast<std::uint8_t>(named_fields.size() - 1);
    }

    constexpr void add_names(const Field& f, std::size_t width) {
        std::vector<std::string_view> entries;
        if (f.kind == Field::Kind::name) {
            require(width == 0, f.names.list[0], "names of numbers bring their own blanks");
            for (const char* name : f.names.list) entries.push_back(name);
            entries.push_back(f.names.otherwise ? f.names.otherwise : "");
        } else if (f.kind == Field::Kind::choice) {
            entries = {f.clear, f.set};
        } else {
            entries = {f.set};
        }
        std::size_t stride = width + 1;
        for (std::string_view entry : entries) stride = std::max(stride, entry.size() + 1);
        names.push_back({narrow(text.size()), f.names.first, static_cast<std::uint8_t>(entries.size()),
                         static_cast<std::uint8_t>(stride)});
        for (std::string_view entry : entries) {
            const std::size_t size = std::max(entry.size(), width);
            text.push_back(static_cast<char>(size));
            text.insert(text.end(), size - entry.size(), ' ');
            text.insert(text.end(), entry.begin(), entry.end());
            text.insert(text.end(), stride - 1 - size, '\0');
        }
    }

    constexpr std::uint8_t label(const Row& row, const Conversion& c, std::size_t element, std::string_view group) {
        const Field& f = row.field;
        // Text for a set bit alone: a missing bit counts as clear.
        const bool condition = f.kind == Field::Kind::choice && *f.clear == '\0';
        require(f.width <= 255, row.format.text, "the value is too long");
        require(groups.names.size() <= 255, row.format.text, "a table has at most 255 groups");
        require(row.shown_again() || !row.key(element).empty(), row.format.text, "the value needs a label");
        const Label l = {.name = row.shown_again() ? std::uint16_t{0} : narrow(pooled(keys, row.key(element))),
                         .group = static_cast<std::uint8_t>(groups.index_of(group)),
                         .indexed = f.count > 1 && !row.names_elements(),
                         .size = static_cast<std::uint8_t>(f.width),
                         .back = f.mask_at,
                         .kind = kind_of(f, c.kind),
                         .shown = static_cast<std::uint8_t>(condition ? 0 : c.shown())};
        for (std::size_t i = 0; i < labels.size(); ++i)
            if (labels[i] == l) return static_cast<std::uint8_t>(i);
        labels.push_back(l);
        require(labels.size() <= 256, row.format.text, "a table has at most 256 values");
        return static_cast<std::uint8_t>(labels.size() - 1);
    }

    static constexpr std::uint16_t narrow(std::size_t n) {
        require(n <= 0xffff, "", "a table has less than 64 KiB");
        return static_cast<std::uint16_t>(n);
    }
};

template <std::size_t groups, std::size_t characters>
struct PackedGroups {
    std::array<std::uint16_t, groups> at;
    std::array<char, characters> keys;

    consteval PackedGroups(const GroupsDraft& d) : at{}, keys{} {
        for (std::size_t i = 0; i < groups; ++i) at[i] = static_cast<std::uint16_t>(sizeof at + d.at[i]);
        std::copy(d.keys.begin(), d.keys.end(), keys.begin());
    }
};

struct Sizes {
    std::size_t layouts, ops, values, labels, names, chunks, text, keys, groups, group_keys;
};
consteval Sizes measure(Table rows) {
    const Draft d{rows};
    return {d.layouts.size(), d.ops.size(),  d.label_of.size(), d.labels.size(),    d.names.size(),
            d.chunks.size(),  d.text.size(), d.keys.size(),     d.groups.at.size(), d.groups.keys.size()};
}

template <const auto& rows>
struct Packed {
    static constexpr Sizes sizes = measure(rows);

    Head head;
    std::array<Layout, sizes.layouts> layouts;
    std::array<Op, sizes.ops> ops;
    std::array<std::uint8_t, sizes.values> label_of;
    std::array<Label, sizes.labels> labels;
    std::array<PackedNames, sizes.names> names;
    std::array<std::uint16_t, sizes.chunks> chunks;
    PackedGroups<sizes.groups, sizes.group_keys> groups;
    std::array<char, sizes.text> text;
    std::array<char, sizes.keys> keys;

    consteval Packed() : Packed(Draft(Table(rows))) {}

private:
    consteval explicit Packed(const Draft& d)
        : head{}, layouts{}, ops{}, label_of{}, labels{}, names{}, chunks{}, groups(d.groups), text{}, keys{} {
        std::copy(d.layouts.begin(), d.layouts.end(), layouts.begin());
        std::copy(d.ops.begin(), d.ops.end(), ops.begin());
        std::copy(d.label_of.begin(), d.label_of.end(), label_of.begin());
        std::copy(d.labels.begin(), d.labels.end(), labels.begin());
        std::copy(d.names.begin(), d.names.end(), names.begin());
        std::copy(d.chunks.begin(), d.chunks.end(), chunks.begin());
        std::copy(d.text.begin(), d.text.end(), text.begin());
        std::copy(d.keys.begin(), d.keys.end(), keys.begin());
        head = {sizes.layouts,
                offsetof(Packed, layouts),
                offsetof(Packed, ops),
                offsetof(Packed, label_of),
                offsetof(Packed, labels),
                offsetof(Packed, names),
                offsetof(Packed, chunks),
                offsetof(Packed, text),
                offsetof(Packed, keys),
                offsetof(Packed, groups)};
    }
};

consteval Sizes measure_groups(const Section& s) {
    const GroupsDraft d(s.rows(), s.group);
    Sizes sizes{};
    sizes.groups = d.at.size();
    sizes.group_keys = d.keys.size();
    return sizes;
}
template <const auto& placed>
inline constexpr PackedGroups<measure_groups(placed).groups, measure_groups(placed).group_keys> groups_of_placed =
    GroupsDraft(placed.rows(), placed.group);

}  // namespace packing

template <const auto& rows>
inline constexpr packing::Packed<rows> packed;

// The groups of a table that is printed inside another group.
template <const auto& placed>
constexpr Groups groups_of() {
    return packing::groups_of_placed<placed>.at.data();
}

}  // namespace ffdc
