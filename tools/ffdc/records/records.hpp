// The one way through every input: each record, and each damaged place between records, in turn.
#pragma once

#include <bitset>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "input/input.hpp"
#include "options.hpp"
#include "output/output.hpp"
#include "tavi_ffdc.h"

enum Exit { exit_ok = 0, exit_none = 1, exit_failed = 2, exit_damaged = 3 };

constexpr int last_type = 0xffff;

// The states of the library, and one more.
constexpr int damaged = DD_FFDC_UNKNOWN_TYPE + 1;
const char* state_name(int state);

// A big-endian number of a header.
template <std::size_t n>
constexpr std::uint32_t word(const std::uint8_t (&bytes)[n]) {
    std::uint32_t v = 0;
    for (const std::uint8_t b : bytes) v = v << 8 | b;
    return v;
}

// A record, or a place where one should be.
struct Entry {
    const std::string& file;
    std::size_t offset;
    std::size_t index;  // among the entries of its file
    Bytes bytes;
    int step = DD_FFDC_RECORD;  // an enum dd_ffdc_step: DD_FFDC_RECORD, or what is wrong

    bool is_damaged() const { return step != DD_FFDC_RECORD; }
    bool has_header() const {
        return step != DD_FFDC_NO_MAGIC && step != DD_FFDC_NO_NEXT && bytes.size() >= DD_FFDC_HEADER_SIZE;
    }
    const dd_ffdc_hdr& header() const { return *reinterpret_cast<const dd_ffdc_hdr*>(bytes.data()); }
    int type() const { return static_cast<int>(word(header().type)); }
    unsigned version() const { return word(header().version); }
    unsigned size() const { return word(header().size); }
};

std::string type_name(int type);            // "DMA", or "TYPE_14" where the code has no name
std::string type_name(const Entry& entry);  // "-" without a header
std::string hex_number(std::uint64_t v, int digits = 6);
std::string hex_digits(Bytes bytes);

// What is wrong with an entry whose state is not ok.
struct Trouble {
    const char* reason;
    std::string expected, found;
};
Trouble trouble_of(const Entry& entry, int state);

// One value of a record, as dd_ffdc_values tells it, with the bytes of it that are there.
// Bytes that no value gives back (unshown ones, those behind the NUL of a text, those of a value that is cut) are
// values of kind DD_FFDC_UNSHOWN.
struct Value {
    std::string group, name;
    int index;
    std::uint32_t offset, size;
    dd_ffdc_kind kind;
    bool missing;
    std::int64_t number;
    std::string text;
    Bytes bytes;

    std::string full_name() const;    // "master.slave.sisc", "tx_data[3]"
    std::string number_text() const;  // "" for texts and bytes
    std::string plain_text() const;
};

// The printed text of a value without the blanks around it, and with 0x if it is hexadecimal; the number where nothing
// is printed, "?" where that is not there. It may lie in `room`.
std::string_view plain_text(const dd_ffdc_value& v, std::string_view printed, std::span<char, 32> room);

// Stores the values in the order of the text, then the unshown bytes in that of their offsets, and returns the state.
int values_of(const Entry& entry, std::vector<Value>& values);
// The state alone.
int state_of(const Entry& entry);

// What every command works with.
class Session {
public:
    explicit Session(const Options& asked);

    const Options& options;
    Output out;

    using Visit = std::function<int(const Entry&)>;  // returns the state that it found
    // Visits every entry of every file that passes the filter, and keeps account of states and failures. Returns the
    // status.
    int each_entry(const Visit& visit);
    // Visits those of one input.
    void each_entry(const Input& input, const Visit& visit);
    // Visits one entry, if it passes the filter.
    void one_entry(const Entry& entry, const Visit& visit);
    // Opens each file and hands it on; a file that cannot be read does not keep the others from being read.
    void each_input(std::size_t window, const std::function<void(Input&)>& use);

    bool wants(int type) const { return options.types.empty() || wanted_[static_cast<std::size_t>(type)]; }
    int status() const;

private:
    std::bitset<65536> wanted_;
    bool any_ = false, damage_ = false, failure_ = false;
};

// The separator line over an entry.
void put_separator(Session& s, const Entry& entry);
