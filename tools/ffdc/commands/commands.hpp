// The commands of the tool. Each returns the exit status.
#pragma once

#include <optional>

#include "records/columns.hpp"
#include "records/records.hpp"

constexpr int json_format = 2;  // changes whenever the shape of the objects does

int show(Session& s);
int list(Session& s);
int json(Session& s);
int make(Session& s);
int csv(Session& s);
int count(Session& s);
int hex(Session& s);
int carve(Session& s);
int html(Session& s);
int types(Session& s);
int diff(Session& s);

int templates(Session& s);     // of `make`
int show_layouts(Session& s);  // of `types`

// Pieces that carve uses too.
int show_entry(Session& s, const Entry& entry);
Session::Visit json_visit(Session& s);  // puts the object of an entry
// Puts what make needs of an object with these values.
void put_template(Session& s, int type, unsigned version, std::span<const Value> values);
class Listing {
public:
    explicit Listing(Session& s);
    int add(const Entry& entry);
    void print();

private:
    // A row that waits for its place.
    struct Kept {
        std::span<const Cell> keys;
        std::string_view cells;  // each with a NUL behind it
        Style style;
    };
    Session& s_;
    Columns keys_;
    std::optional<Columns> columns_;  // from the first entry on, unless they were asked for
    std::optional<Table> table_;      // the same
    std::vector<bool> descending_;
    bool waits_ = false;  // a row, to be printed
    std::vector<std::string_view> cells_;
    std::vector<Cell::Room> rooms_;
    std::vector<Kept> kept_;
    std::pmr::monotonic_buffer_resource memory_;  // of what is kept

    void begin(const std::vector<std::string>& columns);
    void keep(const Entry& entry, Style style);
};
