// The inverse of json: records from objects, whole ones or no more of them than what is not zero. Where the bytes of a
// value are, and what values there are, the library is asked.
#include <nettle/base16.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>
#include <unordered_map>
#include <utility>

#include "commands/commands.hpp"
#include "input/objects.hpp"

namespace {

constexpr std::size_t longest_record = 0xffff;

// What is wrong with an object.
struct Wrong {
    const Leaf* leaf;  // none when something is not there
    std::string what;

    Wrong(const Leaf& at, const std::string& expected, const std::string& found)
        : leaf(&at), what(std::string(at.path) + ": expected " + expected + ", found " + found) {}
    Wrong(const Leaf& at, const std::string& expected) : Wrong(at, expected, at.told()) {}
    Wrong(const Leaf& at, const Fatal& why) : leaf(&at), what(why.what()) {}
    Wrong(const std::string& path, const std::string& expected)
        : leaf(nullptr), what(path + ": expected " + expected + ", found none") {}
};

// The place of a value in a record of some size.
struct Place : Value {
    const Field* field;

    Place(const Field& f, std::size_t record) : Value(f), field(&f) {
        if (size == 0 && offset < record) size = static_cast<std::uint32_t>(record - offset);
        missing = size == 0 || offset + size > record;
    }
    bool is_number() const { return kind != DD_FFDC_TEXT && kind != DD_FFDC_BYTES; }
};

// The fields of a layout by the paths of an object. One path has many where alternatives share a key.
class Paths {
public:
    explicit Paths(const Layout& layout) {
        for (const Field& field : layout.fields)
            if (field.is_value()) {
                const bool of_header = std::string_view(field.group) == "header";
                const auto [at, is_new] = fields_.try_emplace((of_header ? "" : "payload.") + field.key());
                at->second.push_back(&field);
                if (is_new) (of_header ? of_header_ : of_payload_).push_back(at->first);
            }
    }
    std::span<const Field* const> find(std::string_view path) const {
        const auto found = fields_.find(path);
        return found == fields_.end() ? std::span<const Field* const>() : found->second;
    }
    const std::vector<std::string>& all(bool of_header) const { return of_header ? of_header_ : of_payload_; }
    // Whether there are values in the object or array that the leaf is, without any.
    bool has_part(const Leaf& leaf) const {
        const std::string begin = std::string(leaf.path) + (leaf.kind == Leaf::Kind::object ? '.' : '[');
        return std::ranges::any_of(fields_, [&](const auto& field) { return field.first.starts_with(begin); });
    }

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    std::unordered_map<std::string, std::vector<const Field*>, Hash, std::equal_to<>> fields_;
    std::vector<std::string> of_header_, of_payload_;  // in the order of the text
};

// Integers, also written as 1e3; in quotes hexadecimal, too.
Number number_of(const Leaf& leaf) {
    Number number;
    bool hex = false;
    if (leaf.kind == Leaf::Kind::boolean) return {false, leaf.text == "true"};
    if (leaf.kind != Leaf::Kind::null && parse_number(leaf.text, number, hex)) return number;
    double real = 0.5;
    constexpr double exact = 1e15;
    if (leaf.kind == Leaf::Kind::number) std::from_chars(leaf.text.data(), leaf.text.data() + leaf.text.size(), real);
    if (std::abs(real) > exact || std::trunc(real) != real) throw Wrong(leaf, "an integer");
    return signed_number(static_cast<std::int64_t>(real));
}

std::size_t count_of(const Leaf& leaf, std::size_t most) {
    const Number number = number_of(leaf);
    if (number < Number{} || number > unsigned_number(most)) throw Wrong(leaf, "0 to " + std::to_string(most));
    return static_cast<std::size_t>(number.bits);
}

std::vector<std::uint8_t> digits_of(const Leaf& leaf) {
    std::vector<std::uint8_t> bytes(BASE16_DECODE_LENGTH(leaf.text.size()));
    base16_decode_ctx context;
    base16_decode_init(&context);
    std::size_t n = bytes.size();
    if (leaf.kind != Leaf::Kind::text ||
        !base16_decode_update(&context, &n, bytes.data(), leaf.text.size(), leaf.text.data()) ||
        !base16_decode_final(&context))
        throw Wrong(leaf, "two hex digits for every byte");
    bytes.resize(n);
    return bytes;
}

// Each character is the byte of the same number.
std::vector<std::uint8_t> characters_of(const Leaf& leaf) {
    std::vector<std::uint8_t> bytes;
    bool good = leaf.kind == Leaf::Kind::text;
    for (std::size_t i = 0; good && i < leaf.text.size(); ++i) {
        const auto byte = static_cast<std::uint8_t>(leaf.text[i]);
        good = byte != 0 && byte < 0xc4;
        bytes.push_back(byte < 0x80 ? byte : static_cast<std::uint8_t>(byte << 6 | (leaf.text[++i] & 0x3f)));
    }
    if (!good) throw Wrong(leaf, "a text of the characters U+0001 to U+00FF");
    return bytes;
}

constexpr std::string_view keys[] = {"format",  "file",  "offset", "index",  "bytes",   "type",    "type_code",
                                     "version", "state", "cause",  "header", "payload", "unshown", "damage"};

// Makes one object at a time.
class Maker {
public:
    // Until the next call. Throws Wrong.
    std::vector<std::uint8_t>& make(const std::vector<Leaf>& leaves);
    bool is_record() const { return record_; }
    // Whether it is a record that did not say whether another one follows.
    bool is_open() const { return open_; }

private:
    struct Said {
        const Leaf* leaf;
        Place place;
    };
    std::unordered_map<const Layout*, Paths> paths_;
    const Paths& header_paths_ = paths_of(0, 0);
    std::vector<std::uint8_t> bytes_, said_;  // which bits values have said
    std::vector<Said> values_, names_;        // names are looked up when all else is there
    const Leaf* size_ = nullptr;
    std::size_t needed_ = 0;  // where no size is said
    bool record_ = false, open_ = false;

    Place header_place(const char* path) const { return {*header_paths_.find(path).front(), DD_FFDC_HEADER_SIZE}; }
    const dd_ffdc_hdr& header() const { return *reinterpret_cast<const dd_ffdc_hdr*>(bytes_.data()); }
    int type() const { return static_cast<int>(word(header().type)); }
    unsigned version() const { return word(header().version); }
    const Paths& paths_of(int type, unsigned version) {
        const Layout& layout = layout_of(type, version);
        return paths_.try_emplace(&layout, layout).first->second;
    }

    void put_unshown(const std::vector<Leaf>& leaves);
    void put_header(const std::vector<Leaf>& leaves);
    void put_record(const std::vector<Leaf>& leaves);
    void put_payload(const std::vector<Leaf>& leaves);
    void put_name(const Leaf& leaf, const Place& place);
    void put_default(const char* path, std::size_t number);
    bool put(const Leaf& leaf, const Paths& paths, bool is_choice);
    void put_value(const Leaf& leaf, const Place& place);
    void put_number(const Leaf& leaf, const Place& place, Number number);
    void put_bytes(const Leaf& leaf, const Place& place, std::vector<std::uint8_t> bytes, const char* unit);
    void say(const Leaf& leaf, const Place& place, Bytes bytes);
    bool grows(const Place& place, std::size_t size);
    bool is_said(const Place& place) const;
    // Than that of the layout, where it shows values in no other.
    bool is_other_length() const {
        std::size_t size = 0;
        dd_ffdc_layout(type(), version(), &size);
        return layout_of(type(), version()).exact && bytes_.size() != DD_FFDC_HEADER_SIZE + size;
    }
    std::uint64_t bits_at(const Place& place) const;
    std::int64_t number_at(const Place& place) const;
    std::string told(const Place& place) const;
    [[noreturn]] void disagree(const Leaf& leaf, const Place& place) const;
    [[noreturn]] void refuse(const Leaf& leaf, const Paths& paths) const;
};

std::vector<std::uint8_t>& Maker::make(const std::vector<Leaf>& leaves) {
    bytes_.clear();
    said_.clear();
    values_.clear();
    size_ = nullptr;
    needed_ = 0;
    record_ = open_ = false;
    bool no_header = false;
    for (const Leaf& leaf : leaves) {
        const std::string_view key = leaf.path.substr(0, leaf.path.find_first_of(".["));
        if (std::ranges::find(keys, key) == std::end(keys))
            throw Wrong(leaf, "a key of an object",
                        "'" + std::string(key) + "'; the nearest are " +
                            nearest(key, std::vector<std::string>(std::begin(keys), std::end(keys))));
        const bool is_array = key == "unshown", is_object = key == "header" || key == "payload" || key == "damage";
        const std::string_view behind = leaf.path != key                  ? leaf.path.substr(key.size(), 1)
                                        : leaf.kind == Leaf::Kind::array  ? "["
                                        : leaf.kind == Leaf::Kind::object ? "."
                                                                          : "";
        if (leaf.kind == Leaf::Kind::null && behind.empty()) {
            no_header = no_header || key == "header";
        } else if (behind != (is_array ? "[" : is_object ? "." : "")) {
            throw Wrong(leaf,
                        is_array    ? "an array"
                        : is_object ? "an object"
                                    : "one value",
                        behind == "["   ? "an array"
                        : behind == "." ? "an object"
                                        : leaf.told());
        } else if (leaf.kind != Leaf::Kind::null &&
                   (key == "header" || key == "type" || key == "type_code" || key == "version")) {
            record_ = true;
        } else if (key == "bytes") {
            size_ = &leaf;
        } else if (key == "format" && number_of(leaf) != Number{false, json_format}) {
            throw Wrong(leaf, std::to_string(json_format));
        }
    }
    put_unshown(leaves);
    if (record_) {
        put_record(leaves);
    } else if (!no_header) {
        throw Wrong("type", "the name or the code of a type");
    } else {
        if (size_) bytes_.resize(count_of(*size_, part_size));
        for (const Leaf& leaf : leaves)
            if (leaf.path.starts_with("payload.") && leaf.kind != Leaf::Kind::null)
                throw Wrong(leaf, "no value without a header");
    }
    return bytes_;
}

// Runs of bytes, in the order of their offsets.
void Maker::put_unshown(const std::vector<Leaf>& leaves) {
    const std::size_t most = size_ ? count_of(*size_, part_size) : part_size;
    for (auto leaf = leaves.begin(); leaf != leaves.end();) {
        if (!leaf->path.starts_with("unshown[")) {
            ++leaf;
            continue;
        }
        const std::string_view run = leaf->path.substr(0, leaf->path.find(']') + 1);
        const Leaf *offset = nullptr, *digits = nullptr;
        for (; leaf != leaves.end() && leaf->path.starts_with(run); ++leaf) {
            const std::string_view key = leaf->path.substr(run.size());
            if (key == ".offset")
                offset = &*leaf;
            else if (key == ".bytes")
                digits = &*leaf;
            else
                throw Wrong(*leaf, "an offset and bytes, as hex digits");
        }
        if (!offset || !digits) throw Wrong(std::string(run) + (offset ? ".bytes" : ".offset"), "one");
        const std::size_t begin = count_of(*offset, most);
        const std::vector<std::uint8_t> bytes = digits_of(*digits);
        if (begin < bytes_.size())
            throw Wrong(*offset, "at least " + std::to_string(bytes_.size()) + ", where the run before ends");
        if (bytes.size() > most - begin)
            throw Wrong(*digits, "at most " + std::to_string(most - begin) + " bytes", std::to_string(bytes.size()));
        bytes_.resize(begin);
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
}

void Maker::put_record(const std::vector<Leaf>& leaves) {
    const std::size_t unshown = bytes_.size();
    bytes_.resize(std::max<std::size_t>(unshown, DD_FFDC_HEADER_SIZE));
    said_.resize(bytes_.size());
    put_header(leaves);
    std::size_t size = 0;
    if (size_) {
        size = count_of(*size_, part_size);
        if (size < DD_FFDC_HEADER_SIZE) throw Wrong(*size_, "at least the 42 bytes of a header");
    } else {
        dd_ffdc_layout(type(), version(), &size);
        size = std::max<std::size_t>(DD_FFDC_HEADER_SIZE + size, unshown);
    }
    for (needed_ = size; size != 0; size = needed_ > bytes_.size() ? needed_ : 0) {
        bytes_.resize(size);
        said_.resize(size);
        put_payload(leaves);
    }
    put_default("header.magic", DD_FFDC_MAGIC);
    put_default("header.head_version", 1);
    put_default("header.size", bytes_.size());
    open_ = !is_said(header_place("header.chained"));
}

void Maker::put_header(const std::vector<Leaf>& leaves) {
    const Place type_place = header_place("header.type"), version_place = header_place("header.version");
    for (const Leaf& leaf : leaves) {
        if (leaf.kind == Leaf::Kind::null) continue;
        if (leaf.path == "type" && leaf.kind == Leaf::Kind::text) try {
                put_number(leaf, type_place, signed_number(parse_type(std::string(leaf.text), "type")));
            } catch (const Fatal& unknown) {
                throw Wrong(leaf, unknown);
            }
        else if (leaf.path == "type" || leaf.path == "type_code")
            put_value(leaf, type_place);
        else if (leaf.path == "version")
            put_value(leaf, version_place);
        else if (leaf.path.starts_with("header.") && !put(leaf, header_paths_, false))
            refuse(leaf, header_paths_);
    }
    if (!is_said(type_place)) throw Wrong("type", "the name or the code of a type");
    std::size_t size = 0;
    if (!is_said(version_place) && dd_ffdc_layout(type(), 0, &size) == DD_FFDC_UNKNOWN_VERSION)
        throw Wrong("version", "one that `ffdc types -t " + type_name(type()) + "` names");
}

void Maker::put_payload(const std::vector<Leaf>& leaves) {
    const Paths& paths = paths_of(type(), version());
    const bool has_values = !is_other_length();
    names_.clear();
    // Values decide which of the alternatives there are.
    for (const bool is_choice : {false, true})
        for (const Leaf& leaf : leaves)
            if (leaf.path.starts_with("payload.") && !(has_values && put(leaf, paths, is_choice))) refuse(leaf, paths);
    for (const Said& name : std::exchange(names_, {})) put_name(*name.leaf, name.place);
}

// Returns false when there is no such value. Those that alternatives share are put if `is_choice`, else all others.
bool Maker::put(const Leaf& leaf, const Paths& paths, bool is_choice) {
    if (leaf.kind == Leaf::Kind::null) return true;
    const bool is_empty = leaf.kind == Leaf::Kind::object || leaf.kind == Leaf::Kind::array;
    if (is_empty && paths.has_part(leaf)) return true;
    std::span<const Field* const> fields = paths.find(leaf.path);
    bool as_name = false;
    if (fields.empty()) {  // a number that has a name may be an object of both
        const std::size_t dot = std::min(leaf.path.rfind('.'), leaf.path.size());
        const std::string_view part = leaf.path.substr(dot);
        fields = paths.find(leaf.path.substr(0, dot));
        as_name = part == ".name";
        if (fields.empty() || fields.front()->kind != DD_FFDC_NAME || (part != ".value" && !as_name)) return false;
    }
    if ((fields.size() > 1) != is_choice) return true;
    const auto shown = std::ranges::find_if(fields, [&](const Field* field) { return field->holds(bytes_); });
    const Place place(shown == fields.end() ? *fields.front() : **shown, bytes_.size());
    if (place.missing) {
        if (!grows(place, place.kind == DD_FFDC_TEXT ? characters_of(leaf).size() : place.size))
            throw Wrong(leaf, "null, as the record ends before it, after " + std::to_string(bytes_.size()) + " bytes");
    } else if (as_name) {
        names_.push_back({&leaf, place});
    } else {
        put_value(leaf, place);
    }
    return true;
}

void Maker::put_value(const Leaf& leaf, const Place& place) {
    Number number;
    bool hex = false;
    if (place.kind == DD_FFDC_TEXT) {
        put_bytes(leaf, place, characters_of(leaf), " characters");
    } else if (place.kind == DD_FFDC_BYTES) {
        put_bytes(leaf, place, digits_of(leaf), " bytes");
    } else if (place.kind == DD_FFDC_NAME && leaf.kind == Leaf::Kind::text && !parse_number(leaf.text, number, hex)) {
        names_.push_back({&leaf, place});
    } else {
        put_number(leaf, place, number_of(leaf));
    }
}

// Whether a record of no said size can be so long that so many bytes have their place.
bool Maker::grows(const Place& place, std::size_t size) {
    if (size_ || place.field->size != 0 || place.offset + size > longest_record) return false;
    needed_ = std::max(needed_, place.offset + size);
    return true;
}

void Maker::put_bytes(const Leaf& leaf, const Place& place, std::vector<std::uint8_t> bytes, const char* unit) {
    if (bytes.size() > place.size) {
        if (grows(place, bytes.size())) return;
        throw Wrong(leaf, "at most " + std::to_string(place.size) + unit, std::to_string(bytes.size()));
    }
    if (place.kind == DD_FFDC_TEXT && bytes.size() < place.size) bytes.push_back(0);
    say(leaf, place, bytes);
}

void Maker::put_number(const Leaf& leaf, const Place& place, Number number) {
    auto bits = static_cast<std::uint64_t>(number.bits);
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): a number has 1 to 8 bytes
    const std::uint64_t all = ~std::uint64_t{0} >> (64 - 8 * place.size), high = all ^ all >> 1;
    const bool negative = !number.large && number.bits < 0;
    // Hexadecimal digits say the bytes, also those of a negative number.
    const bool is_hex = leaf.text.starts_with("0x") || leaf.text.starts_with("0X");
    const bool as_unsigned = !negative && bits <= all;
    const bool as_signed = (!number.large && (negative ? ~bits : bits) < high) || (is_hex && as_unsigned);
    std::string expected;
    switch (place.kind) {
        case DD_FFDC_FLAG:
            if (bits > 1) expected = "true or false";
            bits = bits != 0 ? place.mask : 0;
            break;
        case DD_FFDC_BCD:
            // A digit above 9 is among the unshown bytes, which say it better.
            if (number == signed_number(number_at(place))) {
                bits = bits_at(place);
                break;
            }
            if (bits > 99 || ((bits / 10 << 4 | bits % 10) & ~place.mask) != 0)
                expected = "0 to " + std::to_string(std::min<std::uint64_t>(place.mask >> 4, 9) * 10 + 9);
            bits = bits / 10 << 4 | bits % 10;
            break;
        case DD_FFDC_SIGNED:
            if (!as_signed) expected = "-" + std::to_string(high) + " to " + std::to_string(high - 1);
            break;
        case DD_FFDC_NAME:
            if (!as_signed && !as_unsigned) expected = "a name, or 0 to " + std::to_string(all);
            break;
        default:
            if (!as_unsigned || (bits & ~place.mask) != 0)
                expected = (place.mask & (place.mask + 1)) == 0 ? "0 to " + std::to_string(place.mask)
                                                                : "bits of " + hex_number(place.mask, 2);
    }
    if (!expected.empty()) throw Wrong(leaf, expected);
    std::uint8_t bytes[sizeof bits];
    for (std::size_t i = place.size; i-- > 0; bits >>= 8) bytes[i] = static_cast<std::uint8_t>(bits);
    say(leaf, place, {bytes, place.size});
}

void Maker::say(const Leaf& leaf, const Place& place, Bytes bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::uint8_t &byte = bytes_[place.offset + i], &said = said_[place.offset + i];
        if (((byte ^ bytes[i]) & said & place.bits(i)) != 0) disagree(leaf, place);
        byte = static_cast<std::uint8_t>((byte & ~place.bits(i)) | (bytes[i] & place.bits(i)));
        said |= place.bits(i);
    }
    values_.push_back({&leaf, place});
}

// The name of a number that is said, or the number of a name.
void Maker::put_name(const Leaf& leaf, const Place& place) {
    const std::vector<std::uint8_t> characters = characters_of(leaf);
    const std::string wanted(characters.begin(), characters.end());
    const Field& field = *place.field;
    if (is_said(place)) {
        if (const std::string name = field.name_of(bits_at(place));
            field.holds(bytes_) && compare_letters(name, wanted) != 0)
            throw Wrong(leaf, "'" + name + "', the name of " + told(place));
        return;
    }
    if (!field.holds(bytes_)) throw Wrong(leaf, "a number, as the text of this record has no name for it");
    const auto number = field.number_of(wanted);
    if (number) return put_number(leaf, place, unsigned_number(*number));
    std::set<std::string> known;
    field.add_names(known);
    throw Wrong(leaf, "a number or a name, the nearest of which are " +
                          nearest(wanted, std::vector<std::string>(known.begin(), known.end())));
}

void Maker::put_default(const char* path, std::size_t number) {
    const Place place = header_place(path);
    if (is_said(place)) return;
    if (number > place.mask) throw Wrong(path, "the size of a record of more than 65535 bytes");
    static const Leaf none{};
    put_number(none, place, unsigned_number(number));
}

bool Maker::is_said(const Place& place) const {
    for (std::size_t i = 0; i < place.size; ++i)
        if ((place.bits(i) & ~said_[place.offset + i]) != 0) return false;
    return true;
}

std::uint64_t Maker::bits_at(const Place& place) const {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < place.size; ++i) bits = bits << 8 | bytes_[place.offset + i];
    return bits & place.mask;
}

std::int64_t Maker::number_at(const Place& place) const {
    const std::uint64_t bits = bits_at(place);
    if (place.kind == DD_FFDC_FLAG) return bits != 0;
    if (place.kind == DD_FFDC_BCD) return static_cast<std::int64_t>((bits >> 4) * 10 + (bits & 15));
    const std::uint64_t high = place.mask ^ place.mask >> 1;
    const bool negative = place.kind == DD_FFDC_SIGNED && (bits & high) != 0;
    return static_cast<std::int64_t>(negative ? bits - high - high : bits);
}

std::string Maker::told(const Place& place) const {
    const std::int64_t number = number_at(place);
    if (place.kind == DD_FFDC_FLAG) return number != 0 ? "true" : "false";
    return place.kind == DD_FFDC_SIGNED ? std::to_string(number) : std::to_string(static_cast<std::uint64_t>(number));
}

void Maker::disagree(const Leaf& leaf, const Place& place) const {
    const auto shares = [&](const Said& other) {
        for (std::size_t i = 0; i < place.size; ++i) {
            const std::size_t at = place.offset + i - other.place.offset;  // wraps where the other begins later
            if (at < other.place.size && (place.bits(i) & other.place.bits(at)) != 0) return true;
        }
        return false;
    };
    const auto other = std::find_if(values_.begin(), values_.end(), shares);
    const std::string path(other == values_.end() ? "another value" : std::string(other->leaf->path));
    throw Wrong(leaf, (place.is_number() ? told(place) + ", which " : "what ") + path + " says of the same bits");
}

void Maker::refuse(const Leaf& leaf, const Paths& paths) const {
    const bool in_header = leaf.path.starts_with("header.");
    const std::string kind = type_name(type()) + " version " + std::to_string(version());
    std::size_t size = 0;
    dd_ffdc_layout(type(), version(), &size);
    const std::vector<std::string>& known = paths.all(in_header);
    if (!known.empty() && (in_header || !is_other_length()))
        throw Wrong(leaf, "a key of " + (in_header ? "a header" : kind),
                    "none such; the nearest are " + nearest(leaf.path, known));
    throw Wrong(leaf, "no value, as " + kind +
                          (!known.empty() ? " has some in " + std::to_string(DD_FFDC_HEADER_SIZE + size) +
                                                " bytes only, not in " + std::to_string(bytes_.size())
                           : layout_of(type(), version()).state == DD_FFDC_OK ? " has none"
                                                                              : " is not known"));
}

// What an object says of its place in a chain.
struct Link {
    bool is_record = false, is_open = false;  // open: it does not say whether another one follows
    std::size_t line = 0;
    std::string file, index;  // where it comes from; empty where it does not say that

    Link() = default;
    Link(const Maker& maker, const Objects& objects)
        : is_record(maker.is_record()), is_open(maker.is_open()), line(objects.line()) {
        for (const Leaf& leaf : objects.leaves())
            if (leaf.path == "file")
                file = leaf.text;
            else if (leaf.path == "index")
                index = leaf.text;
    }
    // Whether this one may have followed `before` where both come from: in the same file, or as the first of another.
    bool follows(const Link& before) const {
        Number own, other;
        bool hex = false;
        if (before.index.empty() || !parse_number(index, own, hex)) return before.index.empty();
        return file != before.file || (parse_number(before.index, other, hex) && own > other);
    }
};

// Passes on what is made, each when it is known whether another one follows. Reports records that say otherwise, as
// they do where one was removed or added.
class Chain {
public:
    Chain(Output& out, const std::string& name) : out_(out), name_(name) {}
    void add(std::vector<std::uint8_t>& bytes, const Link& link) {
        end(&link);
        last_.swap(bytes);
        link_ = link;
    }
    // What follows is wrong, so it is not known what would.
    void lose() { link_.is_record = false; }
    void end(const Link* next = nullptr) {
        if (link_.is_record) {
            auto& chained = reinterpret_cast<dd_ffdc_hdr*>(last_.data())->chained;
            if (link_.is_open)
                chained[3] |= next != nullptr;
            else if (word(chained) != 0 ? !next : next && next->is_record && !next->follows(link_))
                report(next, word(chained));
        }
        out_.put({reinterpret_cast<const char*>(last_.data()), last_.size()});
        last_.clear();
        link_ = {};
    }

private:
    Output& out_;
    const std::string& name_;
    std::vector<std::uint8_t> last_;
    Link link_;
    bool reported_ = false;

    void report(const Link* next, std::uint32_t found) {
        if (std::exchange(reported_, true)) return;
        out_.message(name_ + ": line " + std::to_string(link_.line) + ": header.chained: expected " +
                     (next ? "1, as another record follows" : "0, as no record follows") + ", found " +
                     std::to_string(found) + " (the first such record; without this key, make sets it)");
    }
};

}  // namespace

int make(Session& s) {
    if (!s.options.templates.empty()) return templates(s);
    if (s.out.is_terminal()) throw Fatal("expected -o FILE, or a pipe, to take the records, found a terminal");
    s.out.hold();
    Maker maker;
    bool any = false, all_well = true;
    s.each_input(
        [&](Input& input) {
            Objects objects(*input.source);
            Chain chain(s.out, input.name);
            for (; objects.next(); any = true) try {
                    auto& bytes = maker.make(objects.leaves());
                    chain.add(bytes, {maker, objects});
                } catch (const Wrong& wrong) {
                    all_well = false;
                    chain.lose();
                    const std::size_t line = wrong.leaf ? objects.line_of(*wrong.leaf) : objects.line();
                    s.out.message(input.name + ": line " + std::to_string(line) + ": " + wrong.what);
                }
            chain.end();
        },
        "raw");
    if (!all_well || s.status() != exit_none) return exit_failed;  // the session only knows of inputs that failed
    return any ? exit_ok : exit_none;
}
