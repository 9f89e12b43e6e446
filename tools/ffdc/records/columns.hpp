// Columns: what list, csv and count show of a record, and what --where and --sort ask of it.
#pragma once

#include <array>
#include <compare>
#include <list>
#include <memory_resource>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "output/table.hpp"
#include "records/values.hpp"

// Any signed or unsigned number of 64 bits.
struct Number {
    bool large = false;  // beyond what is signed
    std::int64_t bits = 0;

    auto operator<=>(const Number&) const = default;
};

Number signed_number(std::int64_t v);
Number unsigned_number(std::uint64_t v);
// Decimal, or hexadecimal behind 0x, and negative or not.
bool parse_number(std::string_view text, Number& number, bool& hex);

// The names nearest to one that is not known, one after the other.
std::string nearest(std::string_view name, std::span<const std::string> known);

// What one column says of one record.
struct Cell {
    enum class Kind : std::uint8_t { none, number, time, name, text };  // times and names have numbers, too

    Kind kind = Kind::none;
    std::uint8_t width = 0;       // bytes of a signed number
    bool is_from_record = false;  // the text: any bytes at all
    Number number = {};
    std::string_view text = {};  // of a number only where people do not see it in decimal

    bool has_number() const { return kind != Kind::none && kind != Kind::text; }
    // As people see it, and as machines do: a time so that its text sorts as the time does. Numbers and times are
    // written into `room`.
    using Room = char[24];
    std::string_view for_people(Room& room) const;
    std::string_view for_machines(Room& room) const;
};

// By number where both are one, else by text, whatever the case; what is not there comes last.
std::weak_ordering order(const Cell& a, const Cell& b);

enum class Need { entry, state, values };  // of these, each is more work than the one before

class Columns {
public:
    // Names of the record's own columns, or keys of values. When there is no such column, `option` is told, with the
    // nearest ones.
    Columns(std::span<const std::string> names, const char* option);

    // Asks for everything that the columns need, and for the state, which is the result, if `at_least` says so.
    int read(const Entry& entry, Need at_least = Need::state);
    // The same in steps, where someone else asks for the values, too: before them, for each as it is told, and behind
    // them.
    void begin(const Entry& entry);
    void take(const dd_ffdc_value& v, const Entry& entry) {
        for (const Field* const cause : causes_)
            if (v.name == cause->name && v.group == cause->group)
                (cause->role == DD_FFDC_RETURN_CODE ? code_ : error_) =
                    Value(v, text_of(v, memory_), bytes_of(v, entry));
        if (keys_.empty()) return;
        if (const auto key = keys_.find({v.group, v.name, v.index}); key != keys_.end())
            found_[key->second] = Value(v, text_of(v, memory_), bytes_of(v, entry));
    }
    void finish(const Entry& entry, int state);

    std::span<const Cell> cells() const { return cells_; }  // as long as the record, and until the next one is read
    Need need() const { return need_; }
    const std::vector<Column>& headings() const { return headings_; }

private:
    struct Asked {
        const struct FixedColumn* fixed;  // or none: the value of a key
        std::size_t key;
    };
    std::vector<Asked> asked_;
    std::vector<Column> headings_;
    Need need_ = Need::entry;
    // Keys are constant, so their addresses tell them.
    struct Key {
        const char *group, *name;
        int index;
        bool operator==(const Key&) const = default;
    };
    struct Hash {
        std::size_t operator()(const Key& key) const {
            return reinterpret_cast<std::uintptr_t>(key.group) * 31 + reinterpret_cast<std::uintptr_t>(key.name) * 7 +
                   static_cast<std::size_t>(key.index);
        }
    };
    std::unordered_map<Key, std::size_t, Hash> keys_;
    std::vector<Value> found_;  // by the numbers of their keys
    bool wants_cause_ = false;
    std::span<const Field* const> causes_;  // of the record
    Value code_, error_;
    std::vector<Cell> cells_;
    std::array<std::byte, 4096> room_;
    std::pmr::monotonic_buffer_resource memory_{room_.data(), room_.size()};

    friend struct FixedColumn;
    std::string_view cause(const Entry& entry, int state);
    std::string_view keep(std::string_view text);
};

// Conditions, all of which have to hold.
class Where {
public:
    explicit Where(std::span<const std::string> conditions);
    ~Where();
    bool holds(const Entry& entry);

private:
    struct Condition;
    // Those that need the header alone, and those that need more.
    struct Stage;
    std::list<Stage> stages_;
};

// All names of the record's own columns, in the order in which machines get them.
std::vector<std::string> fixed_columns();
