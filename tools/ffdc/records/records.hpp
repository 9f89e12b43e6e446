// The one way through every input: each record, and each damaged place between records, in turn.
#pragma once

#include <bitset>
#include <compare>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "input/input.hpp"
#include "options.hpp"
#include "output/output.hpp"
#include "tavi_ffdc.h"

enum Exit { exit_ok = 0, exit_none = 1, exit_failed = 2, exit_damaged = 3 };

constexpr int last_type = 0xffff;
// Those that the library knows, ordered.
const std::vector<int>& known_types();

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
    bool continued = false;     // a further part of the damaged place before it

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
std::string time_text(const dd_ffdc_hdr& header);  // 5f3c0001:2a

// What is wrong with an entry whose state is not ok.
struct Trouble {
    const char* reason;
    std::string expected, found;
};
Trouble trouble_of(const Entry& entry, int state);

// The state of an entry, without a look at its values.
int state_of(const Entry& entry);

// Letters are the same whatever their case and the locale: to strcasecmp, a Turkish i is no I.
std::weak_ordering compare_letters(std::string_view a, std::string_view b);

// A type by its name, whatever the case and with or without the prefix, or by its code; `option` is told otherwise.
int parse_type(const std::string& text, const char* option);

// The longest damaged place that is visited in one part.
constexpr std::size_t part_size = 1 << 20;
enum class Parts { first, all };

// What every command works with.
class Session {
public:
    explicit Session(const Options& asked);
    ~Session();

    const Options& options;
    Output out;
    std::function<void()> before_waiting = nullptr;  // for input: puts what has been held back

    using Visit = std::function<int(const Entry&)>;  // returns the state that it found
    // Visits every entry of every file that passes the filter, as soon as it is sure what it is, and keeps account of
    // states and failures. Entries live until the visit ends. Returns the status.
    int each_entry(const Visit& visit, Parts parts = Parts::first);
    // Visits those of one file; the entries live as long as what is returned. Throws Fatal when the file cannot be
    // read.
    std::vector<Input> keep_entries(const std::string& file, const Visit& visit);
    // Visits one entry, if it passes the filter.
    void one_entry(const Entry& entry, const Visit& visit);
    // Hands each input of each file on; one that cannot be read does not keep the others from being read.
    // What they are is guessed, unless `otherwise` says it, or the command line does.
    void each_input(const std::function<void(Input&)>& use, const char* otherwise = "auto");
    // Hands on what the walk through an input yields, as soon as it is sure what it is, in all its parts.
    void walk(Input& input, const std::function<void(const Entry&)>& use);
    // Reports an input that cannot be read, or not to its end, even with --quiet.
    void fail(const std::string& name, const Failure& failure);

    bool wants(int type) const { return options.types.empty() || wanted_[static_cast<std::size_t>(type)]; }
    int status() const;

private:
    std::bitset<65536> wanted_;
    std::unique_ptr<class Where> where_;
    bool any_ = false, damage_ = false, failure_ = false;
    std::string read_as_;  // for messages about the input of the moment

    // Of one piece. Those behind gaps go on with the index.
    void walk_piece(Input& input, std::size_t& index, const std::function<void(const Entry&)>& use);
    // Goes on behind a gap, if there is one, and tells it.
    bool resume(Input& input);
    // Reads on until there are `n` bytes, or the end; what has been put is passed on before that may take its time.
    void read_on(Source& source, std::size_t n);
};

// The separator line over an entry.
void put_separator(Session& s, const Entry& entry);
