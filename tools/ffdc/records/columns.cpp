#include "records/columns.hpp"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <map>
#include <set>
#include <utility>

#include "input/input.hpp"

namespace {

bool contains(std::string_view text, std::string_view part) {
    for (std::size_t i = 0; i + part.size() <= text.size(); ++i)
        if (compare_letters(text.substr(i, part.size()), part) == 0) return true;
    return false;
}

std::string_view decimal(const Number& number, Cell::Room& room) {
    const auto end = number.large ? std::to_chars(room, std::end(room), static_cast<std::uint64_t>(number.bits))
                                  : std::to_chars(room, std::end(room), number.bits);
    return {room, end.ptr};
}

}  // namespace

Number signed_number(std::int64_t v) { return {false, v}; }
Number unsigned_number(std::uint64_t v) { return {v > INT64_MAX, static_cast<std::int64_t>(v)}; }

bool parse_number(std::string_view text, Number& number, bool& hex) {
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    hex = text.starts_with("0x") || text.starts_with("0X");
    if (hex) text.remove_prefix(2);
    std::uint64_t n = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), n, hex ? 16 : 10);
    if (error != std::errc{} || end != text.data() + text.size() || (negative && n > std::uint64_t{INT64_MAX} + 1))
        return false;
    number = negative ? signed_number(static_cast<std::int64_t>(0 - n)) : unsigned_number(n);
    return true;
}

std::string_view Cell::for_people(Room& room) const {
    return kind == Kind::number && text.empty() ? decimal(number, room) : text;
}
std::string_view Cell::for_machines(Room& room) const {
    if (kind != Kind::time) return kind == Kind::number ? decimal(number, room) : text;
    constexpr int digits = 8;
    for (int i = 0; i <= 2 * digits; ++i)
        room[i] = i == digits ? ':' : "0123456789abcdef"[number.bits >> 4 * (2 * digits - i - (i < digits)) & 15];
    return {room, 2 * digits + 1};
}

std::weak_ordering order(const Cell& a, const Cell& b) {
    const auto rank = [](const Cell& c) { return c.kind == Cell::Kind::none ? 2 : c.kind < Cell::Kind::name ? 0 : 1; };
    if (rank(a) != rank(b) || rank(a) == 2) return rank(a) <=> rank(b);
    if (rank(a) == 0) return a.number <=> b.number;
    return compare_letters(a.text, b.text);
}

constexpr char a_number[] = "a number, decimal or 0x";

// A column of the record itself. What `get` leaves alone is not there.
struct FixedColumn {
    struct Asking {
        Columns& columns;
        const Entry& entry;
        int state;
        Cell& cell;

        void number(Number n) const { cell = {.kind = Cell::Kind::number, .number = n}; }
        void signed_word(const std::uint8_t (&bytes)[4]) const {
            cell = {.kind = Cell::Kind::number,
                    .width = sizeof bytes,
                    .number = signed_number(static_cast<std::int32_t>(word(bytes)))};
        }
        void text(std::string_view text) const {
            if (!text.empty()) cell = {.kind = Cell::Kind::text, .text = text};
        }
        void name(Number n, std::string_view text, Cell::Kind kind = Cell::Kind::name) const {
            cell = {.kind = kind, .number = n, .text = text};
        }
        std::string_view keep(std::string_view text) const { return columns.keep(text); }
        std::string_view cause() const { return columns.cause(entry, state); }
    };

    Column column;
    Need need;
    void (*get)(const Asking& a);
    const char* expected = a_number;  // of a value in a condition, or null where it may be any text
    // Returns whether a text is such a value.
    bool (*parse)(std::string_view text, Number& number, bool& hex) = parse_number;
};

namespace {

using Asking = FixedColumn::Asking;

bool parse_time(std::string_view text, Number& number, bool&) {
    std::uint32_t words[2] = {};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (std::uint32_t& w : words) {
        const auto [stop, error] = std::from_chars(at, end, w, 16);
        const bool last = &w == &words[1];
        if (error != std::errc{} || (last ? stop != end : stop == end || *stop != ':')) return false;
        at = stop + 1;
    }
    number = unsigned_number(std::uint64_t{words[0]} << 32 | words[1]);
    return true;
}

bool parse_state(std::string_view text, Number& number, bool&) {
    int state = DD_FFDC_OK;
    while (state <= damaged && compare_letters(text, state_name(state)) != 0) ++state;
    number = signed_number(state);
    return state <= damaged;
}

// Memory that is refused before main ends the program as it does later.
// NOLINTNEXTLINE(cert-err58-cpp)
const FixedColumn fixed[] = {
    {{"file", false, Cut::begin}, Need::entry, [](const Asking& a) { a.text(a.entry.file); }, nullptr},
    {{"offset"},
     Need::entry,
     [](const Asking& a) {
         a.number(unsigned_number(a.entry.offset));
         a.cell.text = a.keep(hex_number(a.entry.offset));
     }},
    {{"index", true}, Need::entry, [](const Asking& a) { a.number(unsigned_number(a.entry.index)); }},
    {{"type"},
     Need::entry,
     [](const Asking& a) {
         if (!a.entry.has_header()) return;
         const char* const name = dd_ffdc_type_name(a.entry.type());
         a.name(signed_number(a.entry.type()), name ? name : a.keep(type_name(a.entry)));
     },
     "a type",
     [](std::string_view text, Number& number, bool&) {
         number = signed_number(parse_type(std::string(text), "--where: type"));
         return true;
     }},
    {{"version", true, Cut::never, true},
     Need::entry,
     [](const Asking& a) {
         if (a.entry.has_header()) a.number(signed_number(a.entry.version()));
     }},
    {{"state"},
     Need::state,
     [](const Asking& a) { a.name(signed_number(a.state), state_name(a.state)); },
     "ok, short, size_mismatch, unknown_version, unknown_type or damaged",
     parse_state},
    {{"size", true, Cut::never, true},
     Need::entry,
     [](const Asking& a) {
         if (a.entry.has_header()) a.number(signed_number(a.entry.size()));
     }},
    {{"pid", true, Cut::never, true},
     Need::entry,
     [](const Asking& a) {
         if (a.entry.has_header()) a.signed_word(a.entry.header().pid);
     }},
    {{"tgid", true, Cut::never, true},
     Need::entry,
     [](const Asking& a) {
         if (a.entry.has_header()) a.signed_word(a.entry.header().tgid);
     }},
    {{"time", false, Cut::never, true},
     Need::entry,
     [](const Asking& a) {
         if (!a.entry.has_header()) return;
         const dd_ffdc_hdr& header = a.entry.header();
         a.name(unsigned_number(std::uint64_t{word(header.time[0])} << 32 | word(header.time[1])),
                a.keep(time_text(header)), Cell::Kind::time);
     },
     "two words in hexadecimal, such as 5f3c0001:2a",
     parse_time},
    {{"cause", false, Cut::end}, Need::values, [](const Asking& a) { a.text(a.cause()); }, nullptr},
};

const FixedColumn* find_fixed(std::string_view name) {
    const auto found =
        std::find_if(std::begin(fixed), std::end(fixed), [&](const FixedColumn& c) { return c.column.name == name; });
    return found == std::end(fixed) ? nullptr : found;
}

// Bits, one for each enum dd_ffdc_kind.
using Kinds = unsigned;
constexpr Kinds only_flag = 1u << DD_FFDC_FLAG, only_name = 1u << DD_FFDC_NAME,
                texts = 1u << DD_FFDC_TEXT | only_name | 1u << DD_FFDC_BYTES;

// The keys of all values there are, each with what may show it.
using KnownKeys = std::map<std::string, std::vector<const Field*>, std::less<>>;
const KnownKeys& known_keys() {
    static const KnownKeys known = [] {
        KnownKeys keys;
        for (const int type : known_types())
            each_layout(type, [&](const dd_ffdc_versions&, const Layout& layout) {
                for (const Field& field : layout.fields)
                    if (field.is_value()) keys[field.key()].push_back(&field);
            });
        return keys;
    }();
    return known;
}

// How many letters are to be put in, left out or changed to get from a name to others: all of a column of the table of
// distances at once, as bits that say where it goes up or down.
class Distance {
public:
    static constexpr std::size_t most = 64;  // letters of the name
    explicit Distance(std::string_view name) : size_(name.size()) {
        for (std::size_t i = 0; i < size_; ++i) places_[static_cast<std::uint8_t>(name[i])] |= std::uint64_t{1} << i;
    }
    std::size_t to(std::string_view other) const {
        if (size_ == 0) return other.size();
        std::size_t distance = size_;
        std::uint64_t up = ~std::uint64_t{0}, down = 0;
        for (const char c : other) {
            const std::uint64_t same = places_[static_cast<std::uint8_t>(c)];
            const std::uint64_t diagonal = (((same & up) + up) ^ up) | same;
            std::uint64_t right = down | ~(diagonal | up), left = up & diagonal;
            distance += static_cast<std::size_t>(right >> (size_ - 1) & 1);
            distance -= static_cast<std::size_t>(left >> (size_ - 1) & 1);
            right = right << 1 | 1;
            left <<= 1;
            up = left | ~(same | down | right);
            down = right & (same | down);
        }
        return distance;
    }

private:
    std::size_t size_;
    std::array<std::uint64_t, 256> places_{};  // of each letter in the name
};

// Before the key of a value, where a column of the record itself has the same name.
constexpr std::string_view payload = "payload.";

std::string_view key_of(std::string_view column) {
    return column.substr(column.starts_with(payload) ? payload.size() : 0);
}

[[noreturn]] void no_such_column(const std::string& name, const char* option) {
    std::vector<std::string> known = fixed_columns();
    for (const auto& [key, _] : known_keys()) known.push_back(find_fixed(key) ? std::string(payload) + key : key);
    throw Fatal(std::string(option) + ": expected a column, found '" + name + "'; the nearest are " +
                nearest(name, known));
}

using Fields = std::span<const Field* const>;
Fields fields_of(const std::string& column, const char* option) {
    const auto found = known_keys().find(key_of(column));
    if (found == known_keys().end()) no_such_column(column, option);
    return found->second;
}
Kinds kinds_of(Fields fields) {
    Kinds kinds = 0;
    for (const Field* const field : fields) kinds |= 1u << field->kind;
    return kinds;
}

}  // namespace

std::string nearest(std::string_view name, std::span<const std::string> known) {
    const Distance distance(name.substr(0, Distance::most));
    std::vector<std::pair<std::size_t, const std::string*>> near;
    for (const std::string& one : known) {
        // Whoever gives a part of a long name most likely means it.
        const bool part = !name.empty() && one.find(name) != std::string::npos;
        near.emplace_back(part ? 1 : distance.to(one), &one);
    }
    std::partial_sort(near.begin(), near.begin() + std::min<std::ptrdiff_t>(5, std::ssize(near)), near.end());
    std::string text;
    for (std::size_t i = 0; i < std::min<std::size_t>(5, near.size()); ++i)
        text += (i == 0 ? "" : ", ") + *near[i].second;
    return text;
}

std::vector<std::string> fixed_columns() {
    std::vector<std::string> names;
    for (const FixedColumn& column : fixed) names.emplace_back(column.column.name);
    return names;
}

Columns::Columns(std::span<const std::string> names, const char* option) {
    wants_cause_ = std::ranges::find(names, "cause") != names.end();
    for (const std::string& name : names) {
        const FixedColumn* const own = find_fixed(name);
        const auto fields = own ? Fields() : fields_of(name, option);
        const bool plain = !own && (kinds_of(fields) & texts) == 0;
        std::size_t key = found_.size();
        for (const Field* const f : fields) key = keys_.try_emplace({f->group, f->name, f->index}, key).first->second;
        if (key == found_.size() && !own) found_.emplace_back();
        asked_.push_back({own, key});
        need_ = std::max(need_, own ? own->need : Need::values);
        headings_.push_back(own ? own->column : Column{name, plain, plain ? Cut::never : Cut::end});
        for (char& c : headings_.back().name)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    cells_.resize(asked_.size());
}

void Columns::begin(const Entry& entry) {
    memory_.release();
    code_.missing = error_.missing = true;
    causes_ = {};
    if (wants_cause_ && entry.has_header()) causes_ = layout_of(entry.type(), entry.version()).causes;
    for (Value& v : found_) v.missing = true;
}

int Columns::read(const Entry& entry, Need at_least) {
    begin(entry);
    int state = damaged;
    const Need need = std::max(need_, at_least);
    if (need == Need::values) {
        state = each_value(entry, [&](const dd_ffdc_value& v) { take(v, entry); });
    } else if (need == Need::state) {
        state = state_of(entry);
    }
    finish(entry, state);
    return state;
}

void Columns::finish(const Entry& entry, int state) {
    for (std::size_t i = 0; i < asked_.size(); ++i) {
        Cell& cell = cells_[i];
        cell = {};
        if (const FixedColumn* const own = asked_[i].fixed) {
            own->get({*this, entry, state, cell});
            continue;
        }
        const Value& v = found_[asked_[i].key];
        if (v.missing) continue;
        if (v.has_number()) {
            const bool sign = v.kind == DD_FFDC_SIGNED;
            cell.kind = v.kind == DD_FFDC_NAME ? Cell::Kind::name : Cell::Kind::number;
            cell.width = sign ? static_cast<std::uint8_t>(v.size) : 0;
            cell.number = sign ? signed_number(v.number) : unsigned_number(static_cast<std::uint64_t>(v.number));
        } else {
            cell.kind = Cell::Kind::text;
            cell.is_from_record = v.kind == DD_FFDC_TEXT;
        }
        cell.text = v.kind == DD_FFDC_TEXT ? v.text : keep(v.plain_text());
    }
}

std::string_view Columns::keep(std::string_view text) {
    char* const kept = static_cast<char*>(memory_.allocate(text.size() + 1, 1));
    std::memcpy(kept, text.data(), text.size());  // cppcheck-suppress danglingTemporaryLifetime
    return {kept, text.size()};
}

// The return code, and the error if it has a name.
std::string_view Columns::cause(const Entry& entry, int state) {
    if (state == damaged) {
        const Trouble trouble = trouble_of(entry, state);
        return keep("expected " + trouble.expected + ", found " + trouble.found);
    }
    std::string text;
    if (!code_.missing) text = code_.name + (" " + code_.plain_text());
    if (!error_.missing) text += (text.empty() ? "" : ", ") + error_.plain_text();
    return keep(text);
}

struct Where::Condition {
    enum class Op { equal, not_equal, less, at_most, more, at_least, contains };

    Op op;
    std::string text;
    Number number = {};
    bool is_number = false, is_hex = false;

    static Condition parse(const std::string& given, std::string& column);
    // Throws Fatal unless `text` is what the column may be.
    void read_value(const std::string& column);
    bool holds(const Cell& cell) const;
};

struct Where::Stage {
    Columns columns;
    std::vector<Condition> conditions;

    Stage(std::span<const std::string> names, std::vector<Condition> all)
        : columns(names, "--where"), conditions(std::move(all)) {}
};

Where::Condition Where::Condition::parse(const std::string& given, std::string& column) {
    constexpr std::pair<std::string_view, Op> ops[] = {{"!=", Op::not_equal}, {"<=", Op::at_most}, {">=", Op::at_least},
                                                       {"=", Op::equal},      {"<", Op::less},     {">", Op::more},
                                                       {"~", Op::contains}};
    const auto trim = [](const std::string& padded) {
        const std::size_t begin = std::min(padded.find_first_not_of(' '), padded.size());
        return padded.substr(begin, padded.find_last_not_of(' ') + 1 - begin);
    };
    const std::size_t at = given.find_first_of("=!<>~");
    const auto op = std::find_if(std::begin(ops), std::end(ops), [&](const auto& known) {
        return at != std::string::npos && given.compare(at, known.first.size(), known.first) == 0;
    });
    if (op == std::end(ops))
        throw Fatal("--where: expected COLUMN OP VALUE with OP one of = != < <= > >= ~, found '" + given + "'");
    column = trim(given.substr(0, at));
    Condition condition = {op->second, trim(given.substr(at + op->first.size()))};
    condition.read_value(column);
    return condition;
}

void Where::Condition::read_value(const std::string& column) {
    const auto refuse = [&](const std::string& expected) {
        throw Fatal("--where: " + column + ": expected " + expected + ", found '" + text + "'");
    };
    const FixedColumn* const own = find_fixed(column);
    const Fields fields = own ? Fields() : fields_of(column, "--where");
    const Kinds kinds = kinds_of(fields);
    const char quote = text.empty() ? '\0' : text.front();
    if (quote == '"' || quote == '\'') {
        if (text.size() < 2 || text.find(quote, 1) != text.size() - 1) refuse("one text in quotes");
        text = text.substr(1, text.size() - 2);
    } else if (text.empty() || text.find_first_of("=!<>~") != std::string::npos) {
        refuse("a value, in quotes where it is empty or holds an operator");
    }
    if (op == Op::contains || (own && !own->expected)) return;
    is_number = own ? own->parse(text, number, is_hex) : parse_number(text, number, is_hex);
    if (own) {
        if (!is_number) refuse(own->expected);
        return;
    }
    const bool is_bit = is_number && !number.large && (number.bits & ~1) == 0;
    if (kinds == only_flag && !is_bit) refuse("0 or 1");
    if (is_number || (kinds & texts & ~only_name) != 0) return;
    if ((kinds & only_name) == 0) refuse(a_number);
    if (std::ranges::any_of(fields, [&](const Field* field) { return field->number_of(text).has_value(); })) return;
    std::set<std::string> known;
    for (const Field* const field : fields) field->add_names(known);
    refuse("a number or a name, the nearest of which are " +
           nearest(text, std::vector<std::string>(known.begin(), known.end())));
}

bool Where::Condition::holds(const Cell& cell) const {
    if (cell.kind == Cell::Kind::none) return false;
    Cell::Room room;
    std::weak_ordering found = std::weak_ordering::equivalent;
    if (op == Op::contains) return ::contains(cell.for_people(room), text);
    if (is_number && cell.has_number()) {
        Number wanted = number;
        // Hexadecimal digits say the bytes, so those of a negative number mean it.
        if (is_hex && cell.width == 4 && wanted.bits >= 0 && wanted.bits <= UINT32_MAX)
            wanted = signed_number(static_cast<std::int32_t>(wanted.bits));
        else if (is_hex && cell.width == 8)
            wanted.large = false;
        else if (is_hex && cell.width == 2 && wanted.bits >= 0 && wanted.bits <= UINT16_MAX)
            wanted = signed_number(static_cast<std::int16_t>(wanted.bits));
        found = cell.number <=> wanted;
    } else {
        found = compare_letters(cell.for_people(room), text);
    }
    switch (op) {
        case Op::equal: return found == 0;
        case Op::not_equal: return found != 0;
        case Op::less: return found < 0;
        case Op::at_most: return found <= 0;
        case Op::more: return found > 0;
        default: return found >= 0;
    }
}

Where::Where(std::span<const std::string> conditions) {
    std::vector<std::string> names[2];
    std::vector<Condition> parsed[2];
    for (const std::string& given : conditions) {
        std::string column;
        Condition condition = Condition::parse(given, column);
        const FixedColumn* const own = find_fixed(column);
        const int stage = own && own->need == Need::entry ? 0 : 1;
        names[stage].push_back(column);
        parsed[stage].push_back(std::move(condition));
    }
    for (const int stage : {0, 1})
        if (!names[stage].empty()) stages_.emplace_back(names[stage], std::move(parsed[stage]));
}
Where::~Where() = default;

bool Where::holds(const Entry& entry) {
    for (Stage& stage : stages_) {
        stage.columns.read(entry, Need::entry);
        const std::span<const Cell> cells = stage.columns.cells();
        for (std::size_t i = 0; i < cells.size(); ++i)
            if (!stage.conditions[i].holds(cells[i])) return false;
    }
    return true;
}
