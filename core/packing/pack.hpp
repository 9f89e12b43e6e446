// Packs tables, at compile time.
#pragma once

#include <array>
#include <vector>

#include "choice.hpp"

namespace ffdc {

namespace packing {

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

// A packed table that still grows. What does not fit is kept as the table's fault, for the last to look at.
class Draft {
public:
    std::vector<Layout> layouts;
    std::vector<Op> ops;
    std::vector<std::uint8_t> label_of;
    std::vector<Label> labels;
    std::vector<PackedNames> names;
    std::vector<std::uint16_t> chunks;
    std::vector<char> text, keys = {'\0'};
    GroupsDraft groups;
    Verdict fault;

    constexpr explicit Draft(Table rows) : groups(rows, ""), fault(fault_of(rows)) {
        if (!fault.reason && columns(rows) == 0)
            fault = rows.front().refused("an offset column is missing or one too many");
        if (fault.reason) return;
        for (std::size_t i = 0; i < columns(rows); ++i) add_layout(rows, i);
        for (const Named& n : named_) add_names(n);
        text.resize(text.size() + slack, '\0');
    }

private:
    // A field whose numbers have names, which are padded to a width.
    struct Named {
        const Row* row;
        std::size_t width;
    };
    std::vector<Named> named_;
    const Row* row_ = nullptr;    // that is being packed
    std::vector<char> literals_;  // of the layout, with the holes
    std::size_t literal_ = 0;     // characters of them that no op has taken yet
    std::size_t longest_ = 0, extent_ = 0;

    constexpr void refuse(const char* reason) {
        if (!fault.reason) fault = row_->refused(reason);
    }
    // The only place where a number becomes narrower.
    template <typename Narrow>
    constexpr Narrow narrow(std::uint64_t n, const char* reason = "a table has no room for it") {
        if (!std::in_range<Narrow>(n)) refuse(reason);
        return static_cast<Narrow>(n);
    }
    constexpr std::uint16_t place(std::size_t n) { return narrow<std::uint16_t>(n, "a table has less than 64 KiB"); }

    constexpr void add_layout(Table rows, std::size_t layout) {
        const std::size_t begin = ops.size(), values = label_of.size();
        longest_ = extent_ = 0;
        literals_.clear();
        each_row(rows, layout, 0, {}, [&](const Row& row, std::size_t base, std::string_view group) {
            row_ = &row;
            if (!row.hidden()) add_row(base + (row.has_value() ? row.field.at[layout] : 0), group);
        });
        if (literal_ != 0) add_op({});
        join_runs(begin);
        const std::size_t printed = ops.size(), first_chunk = chunks.size();
        add_chunks(begin);
        each_row(rows, layout, 0, {}, [&](const Row& row, std::size_t base, std::string_view group) {
            row_ = &row;
            if (row.hidden()) add_value({}, 0, base + row.field.at[layout], group);
        });
        const std::size_t size = ops.size() - begin, shared = share(ops, begin);
        layouts.push_back({place(shared), place(shared + printed - begin), place(shared + size),
                           place(share(label_of, values)), place(share(chunks, first_chunk)), place(longest_),
                           place(extent_)});
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
            if (length != 0) {
                const std::size_t begin = text.size();
                text.insert(text.end(), literal, literal + static_cast<std::ptrdiff_t>(length));
                chunks.push_back(place(share(text, begin)));
            }
            ops[chunk].copies = narrow<std::uint8_t>(
                (length + 15) / 16, "a table has at most 4080 characters between values of varying width");
            literal += static_cast<std::ptrdiff_t>(length);
            chunk = i + 1;
            length = 0;
        }
    }

    constexpr void add_row(std::size_t at, std::string_view group) {
        const Row& row = *row_;
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
                    add_value(c, element, at + element * row.field.width, group);
                    ++element;
                }
            }
            add_literal({s, row.format.tail});
        }
    }

    constexpr void add_literal(std::string_view s) {
        for (char c : s) {
            if (!std::in_range<std::uint8_t>(literal_ + 1)) add_op({});
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
            const Op run = ops[last], op = ops[i];
            const std::size_t end = run.at + run.more() * run.stride();
            const std::size_t stride = op.at > end ? op.at - end : 0;
            const bool follows = run.show == Show::hex4 && op.show == Show::hex4 && stride != 0 &&
                                 std::in_range<std::uint8_t>(stride) && std::in_range<std::uint8_t>(run.more() + 1) &&
                                 (run.more() == 0 || (run.gap() == op.literal && run.stride() == stride));
            if (follows) {
                ops[last] = Op::run(run.at, static_cast<std::uint8_t>(stride), op.literal,
                                    static_cast<std::uint8_t>(run.more() + 1));
                ops[last].literal = run.literal;
            } else {
                ops[++last] = op;
            }
        }
        if (ops.size() > begin) ops.resize(last + 1);
    }

    constexpr void add_value(const Conversion& c, std::size_t element, std::size_t at, std::string_view group) {
        const Field& f = row_->field;
        if (f.kind == Field::Kind::area) refuse("an area is dumped by itself");
        const auto begin = place(at + f.first_byte());
        if (fault.reason) return;
        const Show show = c.kind == 0 ? Show::nothing : show_of(f, c);
        add_op(show == Show::hex4
                   ? Op::run(begin)
                   : Op::value(begin, show, load_of(f), narrow<std::uint8_t>(f.bits()), argument(show, c)));
        // Not insert, which doubles the room each time in a compiler with libc++ 19.
        literals_.resize(literals_.size() + hole_of(show), ' ');
        if (c.kind != 0) longest_ += longest(f, c, true);
        extent_ = std::max(extent_, at + f.width);
        label_of.push_back(label(c, element, group));
    }

    constexpr std::uint8_t argument(Show show, const Conversion& c) {
        switch (show) {
            case Show::nothing: return 0;
            case Show::text: return narrow<std::uint8_t>(row_->field.width, "a text has at most 255 characters");
            case Show::name:
            case Show::choice:
            case Show::fixed:
                return narrow<std::uint8_t>(names_index(c.width), "a table has at most 256 sets of names");
            default: return narrow<std::uint8_t>(c.width | (c.zero ? Op::zero : 0) | (c.prefix ? Op::prefix : 0));
        }
    }

    constexpr std::size_t names_index(std::size_t width) {
        auto equal = [](const char* a, const char* b) {
            return a && b ? std::string_view(a) == std::string_view(b) : a == b;
        };
        const Field& f = row_->field;
        for (std::size_t i = 0; i < named_.size(); ++i) {
            const Field& g = named_[i].row->field;
            if (named_[i].width == width && g.shown == f.shown && g.names.list.data() == f.names.list.data() &&
                g.names.first == f.names.first && equal(g.names.otherwise, f.names.otherwise) && equal(g.set, f.set) &&
                equal(g.clear, f.clear))
                return i;
        }
        named_.push_back({row_, width});
        return named_.size() - 1;
    }

    constexpr void add_names(const Named& n) {
        row_ = n.row;
        const Field& f = row_->field;
        std::vector<std::string_view> entries;
        if (f.shown == Field::Shown::name) {
            for (const char* name : f.names.list) entries.push_back(name);
            entries.push_back(f.names.otherwise ? f.names.otherwise : "");
        } else if (f.shown == Field::Shown::choice) {
            entries = {f.clear, f.set};
        } else {
            entries = {f.set};
        }
        std::size_t stride = n.width + 1;
        for (std::string_view entry : entries) stride = std::max(stride, entry.size() + 1);
        names.push_back({place(text.size()),
                         narrow<std::uint16_t>(static_cast<std::size_t>(f.names.first), "the first number has 16 bits"),
                         narrow<std::uint8_t>(entries.size(), "a number has at most 254 names"),
                         narrow<std::uint8_t>(stride, "a name has at most 254 characters")});
        for (std::string_view entry : entries) {
            const std::size_t size = std::max(entry.size(), n.width);
            text.push_back(static_cast<char>(size));
            text.resize(text.size() + size - entry.size(), ' ');
            text.insert(text.end(), entry.begin(), entry.end());
            text.resize(text.size() + stride - 1 - size, '\0');
        }
    }

    constexpr std::uint8_t label(const Conversion& c, std::size_t element, std::string_view group) {
        const Row& row = *row_;
        const Field& f = row.field;
        // Text for a set bit alone: a missing bit counts as clear.
        const bool condition = f.shown == Field::Shown::choice && *f.clear == '\0';
        if (!row.shown_again() && row.key(element).empty()) refuse("the value needs a label");
        const Label l = {.name = place(row.shown_again() ? 0 : pooled(keys, row.key(element))),
                         .group = narrow<std::uint8_t>(groups.index_of(group), "a table has at most 256 groups"),
                         .flags = narrow<std::uint8_t>(static_cast<unsigned>(f.role) |
                                                       (f.count > 1 && !row.names_elements() ? Label::indexed : 0)),
                         .size = narrow<std::uint8_t>(f.width, "a text has at most 255 characters"),
                         .back = narrow<std::uint8_t>(f.first_byte()),
                         .kind = narrow<std::uint8_t>(kind_of(f, c)),
                         .shown = narrow<std::uint8_t>(condition ? 0 : c.shown())};
        const auto known = std::find(labels.begin(), labels.end(), l);
        const auto index = static_cast<std::size_t>(known - labels.begin());
        if (known == labels.end()) labels.push_back(l);
        return narrow<std::uint8_t>(index, "a table has at most 256 labels");
    }
};

template <std::size_t groups, std::size_t characters>
struct PackedGroups {
    std::array<std::uint16_t, groups> at;
    std::array<char, characters> keys;
    static_assert(sizeof at + sizeof keys <= 0xffff, "the groups of a table have less than 64 KiB");

    consteval PackedGroups(const GroupsDraft& d) : at{}, keys{} {
        for (std::size_t i = 0; i < groups; ++i) at[i] = static_cast<std::uint16_t>(sizeof at + d.at[i]);
        std::copy(d.keys.begin(), d.keys.end(), keys.begin());
    }
};

// How much there is of each part.
struct Counts {
    std::size_t layouts, ops, values, labels, names, chunks, text, keys, groups, group_keys;
};
struct Measure {
    Counts counts;
    Verdict fault;

    consteval Verdict sound() const { return fault; }
};
consteval Measure measure(Table rows) {
    const Draft d(rows);
    return {{d.layouts.size(), d.ops.size(), d.label_of.size(), d.labels.size(), d.names.size(), d.chunks.size(),
             d.text.size(), d.keys.size(), d.groups.at.size(), d.groups.keys.size()},
            d.fault};
}
// By itself, so that the compiler looks at nothing else of a table that cannot be packed.
template <const auto& rows>
struct Measured {
    static constexpr Measure measured = measure(rows);
    static_assert(measured.sound());
    static constexpr Counts counts = measured.counts;
};

template <Counts counts>
requires(counts.keys != 0)  // as they always are, but with counts that the compiler has refused
    struct Packed {
    Head head;
    std::array<Layout, counts.layouts> layouts;
    std::array<Op, counts.ops> ops;
    std::array<std::uint8_t, counts.values> label_of;
    std::array<Label, counts.labels> labels;
    std::array<PackedNames, counts.names> names;
    std::array<std::uint16_t, counts.chunks> chunks;
    PackedGroups<counts.groups, counts.group_keys> groups;
    std::array<char, counts.text> text;
    std::array<char, counts.keys> keys;

    consteval explicit Packed(const Draft& d)
        : head{}, layouts{}, ops{}, label_of{}, labels{}, names{}, chunks{}, groups(d.groups), text{}, keys{} {
        static_assert(sizeof(Packed) <= 0xffff, "a table has less than 64 KiB");
        std::copy(d.layouts.begin(), d.layouts.end(), layouts.begin());
        std::copy(d.ops.begin(), d.ops.end(), ops.begin());
        std::copy(d.label_of.begin(), d.label_of.end(), label_of.begin());
        std::copy(d.labels.begin(), d.labels.end(), labels.begin());
        std::copy(d.names.begin(), d.names.end(), names.begin());
        std::copy(d.chunks.begin(), d.chunks.end(), chunks.begin());
        std::copy(d.text.begin(), d.text.end(), text.begin());
        std::copy(d.keys.begin(), d.keys.end(), keys.begin());
        head = {
            counts.layouts,           offsetof(Packed, layouts), offsetof(Packed, ops),    offsetof(Packed, label_of),
            offsetof(Packed, labels), offsetof(Packed, names),   offsetof(Packed, chunks), offsetof(Packed, text),
            offsetof(Packed, keys),   offsetof(Packed, groups)};
    }
};

consteval Counts measure_groups(const Section& s) {
    const GroupsDraft d(s.rows(), s.group);
    Counts counts{};
    counts.groups = d.at.size();
    counts.group_keys = d.keys.size();
    return counts;
}
template <const auto& rows>
consteval auto pack() {
    return Packed<Measured<rows>::counts>(Draft(Table(rows)));
}

// Internal linkage (static, not inline) for whatever depends on a table: g++ 14 makes instances for tables of an
// anonymous namespace global, and the linker would keep one of all tables that have the same name.
template <const auto& placed>
static constexpr PackedGroups<measure_groups(placed).groups, measure_groups(placed).group_keys> groups_of_placed =
    GroupsDraft(placed.rows(), placed.group);

}  // namespace packing

template <const auto& rows>
static constexpr auto packed = packing::pack<rows>();

// The groups of a table that is printed inside another group.
template <const auto& placed>
[[gnu::always_inline]] constexpr Groups groups_of() {
    return packing::groups_of_placed<placed>.at.data();
}

}  // namespace ffdc
