// The commands of the tool. Each returns the exit status.
#pragma once

#include "output/table.hpp"
#include "records/records.hpp"

int show(Session& s);
int list(Session& s);
int json(Session& s);
int hex(Session& s);
int carve(Session& s);
int types(Session& s);
int diff(Session& s);

// Pieces that carve uses too.
int show_entry(Session& s, const Entry& entry);
class Listing {
public:
    explicit Listing(Session& s);
    int add(const Entry& entry);

private:
    bool files_;  // are several: then each row says which
    std::vector<Value> values_;

public:
    Table table;
};
