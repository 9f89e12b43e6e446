// One JSON object a record, written as its values come. Its shape is a contract (docs/record.schema.json): `format`
// changes whenever the shape does.
#include <nettle/base16.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/prettywriter.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>
#include <type_traits>
#include <unordered_map>

#include "commands/commands.hpp"

namespace {

constexpr int format = 2;

// Text for the output's own buffer.
class Stream {
public:
    using Ch = char;
    explicit Stream(Output& out) : out_(out) {}

    void Put(char c) {
        if (at_ == end_) more();
        *at_++ = c;
    }
    void put(std::string_view text) {
        while (!text.empty()) {
            if (at_ == end_) more();
            const std::size_t n = std::min(text.size(), static_cast<std::size_t>(end_ - at_));
            at_ = std::copy_n(text.data(), n, at_);
            text.remove_prefix(n);
        }
    }
    void Flush() {
        out_.took(static_cast<std::size_t>(at_ - begin_));
        begin_ = at_ = end_ = nullptr;
    }

private:
    Output& out_;
    char *begin_ = nullptr, *at_ = nullptr, *end_ = nullptr;

    void more() {
        constexpr std::size_t piece = 64 * 1024;
        Flush();
        begin_ = at_ = out_.room(piece);
        end_ = begin_ + piece;
    }
};

// What the writers call where they have asked for room before.
void PutUnsafe(Stream& out, char c) { out.Put(c); }

// Memory as the rest of the tool gets it: the writers do not look whether they got any.
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

using Compact = rapidjson::Writer<Stream, rapidjson::UTF8<>, rapidjson::ASCII<>, Allocator>;
using Pretty = rapidjson::PrettyWriter<Stream, rapidjson::UTF8<>, rapidjson::ASCII<>, Allocator>;

// Either writer, and texts that need no look at their characters.
template <typename Base>
class Writer : public Base {
public:
    explicit Writer(Stream& out) : Base(out), out_(out) {
        if constexpr (std::is_same_v<Base, Pretty>) this->SetIndent(' ', 2);
    }

    // With its quotes, if it is a text.
    void verbatim(std::string_view text, rapidjson::Type type = rapidjson::kStringType) {
        begin(type);
        out_.put(text);
    }
    template <std::size_t n>
    void key(const char (&name)[n]) {
        begin(rapidjson::kStringType);
        out_.Put('"');
        out_.put({name, n - 1});
        out_.Put('"');
    }
    void text(std::string_view text) { this->String(text.data(), static_cast<rapidjson::SizeType>(text.size())); }
    void text_or_null(const char* text) { text ? this->text(text) : static_cast<void>(this->Null()); }
    // Bytes as characters of the same number, so that every byte can be had back.
    void latin1(std::string_view bytes) {
        if (std::none_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }))
            return text(bytes);
        utf8_.clear();
        for (const char c : bytes) {
            const unsigned byte = static_cast<unsigned char>(c);
            if (byte >= 0x80) utf8_ += static_cast<char>(0xc0 | byte >> 6);
            utf8_ += byte >= 0x80 ? static_cast<char>(0x80 | (byte & 0x3f)) : c;
        }
        text(utf8_);
    }
    void digits(Bytes bytes) {
        begin(rapidjson::kStringType);
        out_.Put('"');
        while (!bytes.empty()) {
            constexpr std::size_t most = 512;
            char digits[2 * most];
            const std::size_t n = std::min(bytes.size(), most);
            base16_encode_update(digits, n, bytes.data());
            out_.put({digits, 2 * n});
            bytes = bytes.subspan(n);
        }
        out_.Put('"');
    }

private:
    Stream& out_;
    std::string utf8_;

    void begin(rapidjson::Type type) {
        if constexpr (std::is_same_v<Base, Pretty>)
            this->PrettyPrefix(type);
        else
            this->Prefix(type);
    }
};

// What is no UTF-8 shows as U+FFFD.
std::string utf8_of(const std::string& name) {
    std::string utf8;
    for (std::size_t i = 0; i < name.size();) {
        rapidjson::MemoryStream rest(name.data() + i, name.size() - i);
        unsigned character = 0;
        const bool good = rapidjson::UTF8<>::Decode(rest, &character);
        utf8 += good ? name.substr(i, rest.Tell()) : "\xef\xbf\xbd";
        i += good ? rest.Tell() : 1;
    }
    return utf8;
}

// How the values of a record nest. Values come in the order of the text, in which a group may be left and entered
// again, and what there is depends on what the record holds; but few sequences of keys are all that there are.
class Plan {
public:
    struct Step {
        enum class What : std::uint8_t { open_object, close_object, open_array, close_array, value, null };
        What what;
        std::uint32_t value = 0;  // which one
        std::string key = {};     // in quotes, before all that; or empty
    };

    explicit Plan(std::span<const Value> values);
    bool fits(std::span<const Value> values) const {
        return std::equal(values.begin(), values.end(), keys_.begin(), keys_.end(), [](const Value& v, const Key& key) {
            return v.name == key.name && v.group == key.group && v.index == key.index;
        });
    }
    const std::vector<Step>& steps() const { return steps_; }

private:
    struct Key {
        const char *group, *name;
        int index;
    };
    struct Node {
        static constexpr std::uint32_t none = UINT32_MAX;
        std::string key;
        std::vector<Node> members = {};            // of an object
        std::vector<std::uint32_t> elements = {};  // of an array
        std::uint32_t value = none;

        Node& member(std::string_view name) {
            for (Node& node : members)
                if (node.key == name) return node;
            return members.emplace_back(Node{std::string(name)});
        }
    };
    std::vector<Key> keys_;
    std::vector<Step> steps_;

    void add_steps(const Node& node);
};

Plan::Plan(std::span<const Value> values) {
    Node root{""};
    root.members = {{"header"}, {"payload"}};
    for (std::uint32_t i = 0; i < values.size(); ++i) {
        const Value& v = values[i];
        keys_.push_back({v.group, v.name, v.index});
        std::string_view group = v.group;
        Node* node = group == "header" ? &root : &root.member("payload");
        while (!group.empty()) {
            const std::size_t end = std::min(group.find('.'), group.size());
            node = &node->member(group.substr(0, end));
            group.remove_prefix(std::min(end + 1, group.size()));
        }
        node = &node->member(v.name);
        if (v.index < 0) {
            node->value = i;
            continue;
        }
        const auto index = static_cast<std::size_t>(v.index);
        if (index >= node->elements.size()) node->elements.resize(index + 1, Node::none);
        node->elements[index] = i;
    }
    for (const Node& part : root.members) add_steps(part);
}

void Plan::add_steps(const Node& node) {
    using enum Step::What;
    const std::string key = '"' + node.key + '"';
    const auto add = [&](std::uint32_t i, const std::string& k) {
        steps_.push_back({i == Node::none ? null : value, i, k});
    };
    if (!node.elements.empty()) {
        steps_.push_back({open_array, 0, key});
        for (const std::uint32_t i : node.elements) add(i, "");
        steps_.push_back({close_array});
    } else if (node.value != Node::none) {
        add(node.value, key);
    } else {
        steps_.push_back({open_object, 0, key});
        for (const Node& member : node.members) add_steps(member);
        steps_.push_back({close_object});
    }
}

class Plans {
public:
    const Plan& of(std::span<const Value> values) {
        // A dump cannot know so many, but could be made to.
        constexpr std::size_t most = 10000;
        if (plans_.size() > most) plans_.clear();
        const auto [begin, end] = plans_.equal_range(hash_of(values));
        for (auto known = begin; known != end; ++known)
            if (known->second.fits(values)) return known->second;
        return plans_.emplace(hash_of(values), Plan(values))->second;
    }

private:
    std::unordered_multimap<std::size_t, Plan> plans_;

    static std::size_t hash_of(std::span<const Value> values) {
        std::size_t hash = values.size();
        for (const std::size_t i : {values.size() / 4, values.size() / 2, values.size() - 1})
            hash = hash * 0x9e3779b1 + reinterpret_cast<std::uintptr_t>(values[i].name);
        return hash;
    }
};

template <typename W>
void put_number(W& w, const Value& v) {
    if (v.missing) {
        w.Null();
    } else if (v.size > 4) {
        char text[32] = {'"'};
        char* const end = v.is_unsigned_64()
                              ? std::to_chars(text + 1, std::end(text), static_cast<std::uint64_t>(v.number)).ptr
                              : std::to_chars(text + 1, std::end(text), v.number).ptr;
        *end = '"';
        w.verbatim({text, end + 1});
    } else {
        w.Int64(v.number);
    }
}

template <typename W>
void put_value(W& w, const Value& v) {
    if (v.kind == DD_FFDC_NAME) {
        w.StartObject();
        w.key("value");
        put_number(w, v);
        w.key("name");
        v.missing ? static_cast<void>(w.Null()) : w.latin1(v.text.substr(0, v.text.find_last_not_of(' ') + 1));
        w.EndObject();
    } else if (v.missing) {
        w.Null();
    } else if (v.kind == DD_FFDC_TEXT) {
        w.latin1(v.text);
    } else if (v.kind == DD_FFDC_FLAG) {
        w.Bool(v.number != 0);
    } else if (v.kind == DD_FFDC_BYTES) {
        w.digits(v.bytes);
    } else {
        put_number(w, v);
    }
}

template <typename W>
class Objects {
public:
    explicit Objects(Session& s) : s_(s), out_(s.out), w_(out_), cause_(cause_name, "") {}

    int put(const Entry& entry) {
        const int state = values_.read(entry, [&](const dd_ffdc_value& v) {
            return v.kind == DD_FFDC_NAME || v.kind == DD_FFDC_TEXT || cause_.wants(v);
        });
        cause_.read(entry, state, values_.shown());
        if (entry.file != file_) file_ = entry.file, file_text_ = utf8_of(file_);
        const bool header = entry.has_header();
        w_.Reset(out_);
        w_.StartObject();
        w_.key("format"), w_.Int(format);
        w_.key("file"), w_.text(file_text_);
        w_.key("offset"), w_.Uint64(entry.offset);
        w_.key("index"), w_.Uint64(entry.index);
        w_.key("type"), w_.text_or_null(header ? dd_ffdc_type_name(entry.type()) : nullptr);
        w_.key("type_code"), header ? w_.Int(entry.type()) : w_.Null();
        w_.key("version"), header ? w_.Uint(entry.version()) : w_.Null();
        w_.key("state"), w_.text(state_name(state));
        const std::string_view cause = cause_.cells()[0].text;
        w_.key("cause"), cause.empty() ? static_cast<void>(w_.Null()) : w_.text(cause);
        if (header) {
            put_values();
        } else {
            w_.key("header"), w_.Null();
            w_.key("payload"), w_.Null();
        }
        w_.key("unshown");
        w_.StartArray();
        for (const Value& v : values_.unshown()) {
            w_.StartObject();
            w_.key("offset"), w_.Uint(v.offset);
            w_.key("bytes"), w_.digits(v.bytes);
            w_.EndObject();
        }
        w_.EndArray();
        w_.key("damage");
        state == DD_FFDC_OK ? static_cast<void>(w_.Null()) : put_trouble(entry, state);
        w_.EndObject();
        out_.Put('\n');
        out_.Flush();
        return state;
    }

private:
    static inline const std::string cause_name[] = {"cause"};  // NOLINT(cert-err58-cpp): see the columns
    Session& s_;
    Stream out_;
    W w_;
    Values values_;
    Plans plans_;
    Columns cause_;
    std::string file_, file_text_;

    void put_values() {
        using enum Plan::Step::What;
        const std::span<const Value> values = values_.shown();
        for (const Plan::Step& step : plans_.of(values).steps()) {
            if (!step.key.empty()) w_.verbatim(step.key);
            switch (step.what) {
                case open_object: w_.StartObject(); break;
                case close_object: w_.EndObject(); break;
                case open_array: w_.StartArray(); break;
                case close_array: w_.EndArray(); break;
                case null: w_.Null(); break;
                case value: put_value(w_, values[step.value]); break;
            }
        }
    }

    void put_trouble(const Entry& entry, int state) {
        const Trouble trouble = trouble_of(entry, state);
        w_.StartObject();
        w_.key("reason"), w_.text(trouble.reason);
        w_.key("expected"), w_.text(trouble.expected);
        w_.key("actual"), w_.text(trouble.found);
        w_.key("bytes"), w_.Uint64(entry.bytes.size());
        w_.EndObject();
    }
};

template <typename W>
Session::Visit visit_with(Session& s) {
    return [objects = std::make_shared<Objects<W>>(s)](const Entry& entry) { return objects->put(entry); };
}

}  // namespace

Session::Visit json_visit(Session& s) {
    return s.options.pretty ? visit_with<Writer<Pretty>>(s) : visit_with<Writer<Compact>>(s);
}

int json(Session& s) { return s.each_entry(json_visit(s), Parts::all); }
