#include "input/objects.hpp"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cstring>

namespace {

// The longest object that the tool writes is a damaged place of 1 MiB in digits, and those with most values have a few
// hundred of them.
constexpr std::size_t longest = 4 << 20, first_look = 64 * 1024, deepest = 64, most_values = 65536, longest_path = 256;

// Memory as the rest of the tool gets it: the reader does not look whether it got any.
struct Allocator {
    [[maybe_unused]] static constexpr bool kNeedFree = true;
    static void* Malloc(std::size_t size) { return size == 0 ? nullptr : ::operator new(size); }
    static void* Realloc(void* old, std::size_t old_size, std::size_t size) {
        void* const grown = Malloc(size);
        if (old && grown) std::memcpy(grown, old, std::min(old_size, size));
        Free(old);
        return grown;
    }
    static void Free(void* memory) { ::operator delete(memory); }
};

// Keeps the leaves, with their paths.
class Keeper : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Keeper> {
public:
    Keeper(const rapidjson::MemoryStream& in, std::vector<Leaf>& leaves, std::pmr::memory_resource& memory)
        : in_(in), leaves_(leaves), memory_(memory) {}

    bool Null() { return add(Leaf::Kind::null, "null"); }
    bool Bool(bool b) { return add(Leaf::Kind::boolean, b ? "true" : "false"); }
    bool RawNumber(const char* text, rapidjson::SizeType n, bool) { return add(Leaf::Kind::number, {text, n}); }
    bool String(const char* text, rapidjson::SizeType n, bool) { return add(Leaf::Kind::text, {text, n}); }
    bool StartObject() { return open(false); }
    bool StartArray() { return open(true); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }
    bool Key(const char* text, rapidjson::SizeType n, bool) {
        path_.resize(levels_.back().path);
        if (!path_.empty()) path_ += '.';
        path_.append(text, n);
        return path_.size() <= longest_path;
    }

private:
    struct Level {
        std::size_t path;  // characters of it
        bool is_array;
        std::size_t elements, leaves;  // the leaves before it
    };
    const rapidjson::MemoryStream& in_;
    std::vector<Leaf>& leaves_;
    std::pmr::memory_resource& memory_;
    std::vector<Level> levels_;
    std::string path_;

    void begin_value() {
        if (levels_.empty() || !levels_.back().is_array) return;
        path_.resize(levels_.back().path);
        path_ += '[' + std::to_string(levels_.back().elements++) + ']';
    }
    bool add(Leaf::Kind kind, std::string_view text) {
        begin_value();
        return add_leaf(kind, text);
    }
    bool add_leaf(Leaf::Kind kind, std::string_view text) {
        leaves_.push_back({kind, keep(path_), keep(text), in_.Tell()});
        return leaves_.size() < most_values;
    }
    bool open(bool is_array) {
        begin_value();
        levels_.push_back({path_.size(), is_array, 0, leaves_.size()});
        return levels_.size() <= deepest;
    }
    bool close() {
        const Level closed = levels_.back();
        levels_.pop_back();
        if (levels_.empty() || leaves_.size() != closed.leaves) return true;
        return closed.is_array ? add_leaf(Leaf::Kind::array, "[]") : add_leaf(Leaf::Kind::object, "{}");
    }
    std::string_view keep(std::string_view text) {
        char* const kept = static_cast<char*>(memory_.allocate(text.size() + 1, 1));
        std::memcpy(kept, text.data(), text.size());
        return {kept, text.size()};
    }
};

std::size_t lines_in(Bytes text) { return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')); }

bool is_space(std::uint8_t c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

std::string Leaf::told() const {
    constexpr std::size_t most = 40;
    const std::string beginning = std::string(text.substr(0, most)) + (text.size() > most ? "..." : "");
    return kind == Kind::text ? "'" + beginning + "'" : beginning;
}

std::size_t Objects::line_of(const Leaf& leaf) const { return line_ + lines_in(source_.bytes().first(leaf.end)); }

void Objects::skip(std::size_t n) {
    const Bytes text = source_.bytes().first(n);
    line_ += lines_in(text);
    const auto last = std::find(text.rbegin(), text.rend(), '\n');
    column_ = static_cast<std::size_t>(last - text.rbegin()) + (last == text.rend() ? column_ : 1);
    source_.skip(n);
}

void Objects::fail(std::size_t at, const std::string& expected) const {
    const Bytes text = source_.bytes(), before = text.first(at);
    const std::size_t line = line_ + lines_in(before);
    const auto last = std::find(before.rbegin(), before.rend(), '\n');
    const std::size_t column = static_cast<std::size_t>(last - before.rbegin()) + (line == line_ ? column_ : 1);
    const std::string found = at < text.size() ? "'" + std::string(1, static_cast<char>(text[at])) + "'" : "the end";
    throw Failure("line " + std::to_string(line) + ", column " + std::to_string(column) + ": expected " + expected +
                  ", found " + found);
}

bool Objects::next() {
    skip(size_);
    size_ = 0;
    while (true) {
        const Bytes there = source_.peek(1);
        if (there.empty()) break;
        const auto begin = std::find_if_not(there.begin(), there.end(), is_space);
        skip(static_cast<std::size_t>(begin - there.begin()));
        if (begin != there.end()) break;
    }
    if (source_.failure()) throw Failure(source_.failure()->what());
    if (source_.bytes().empty()) return false;
    if (source_.bytes().front() != '{') fail(0, "a JSON object");
    for (std::size_t wanted = first_look;; wanted = 2 * source_.bytes().size()) {
        const Bytes there = source_.peek(wanted);
        const std::size_t size = std::min(there.size(), longest);
        leaves_.clear();
        memory_.release();
        rapidjson::MemoryStream in(reinterpret_cast<const char*>(there.data()), size);
        Keeper keeper(in, leaves_, memory_);
        rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, Allocator> reader;
        constexpr unsigned flags = rapidjson::kParseStopWhenDoneFlag | rapidjson::kParseNumbersAsStringsFlag |
                                   rapidjson::kParseValidateEncodingFlag;
        const auto result = reader.Parse<flags>(in, keeper);
        size_ = in.Tell();
        if (!result.IsError()) return true;
        if (source_.failure()) throw Failure(source_.failure()->what());
        if (size_ < size || (source_.ended() && size < longest))
            fail(size_, result.Code() == rapidjson::kParseErrorTermination
                            ? "less of an object, at most " + std::to_string(most_values) + " values, " +
                                  std::to_string(deepest) + " levels deep, and paths of " +
                                  std::to_string(longest_path) + " bytes"
                            : "JSON: " + std::string(rapidjson::GetParseError_En(result.Code())));
        if (size == longest) fail(0, "an object of at most " + std::to_string(longest) + " bytes");
    }
}
