// One JSON object a record, written as its values come. Its shape is a contract (docs/record.schema.json).
#include "output/json.hpp"

#include <rapidjson/encodings.h>
#include <rapidjson/memorystream.h>

#include <algorithm>
#include <memory>
#include <unordered_map>

#include "commands/commands.hpp"

namespace {

// A file name; what is no UTF-8 shows as U+FFFD.
std::string string_of_utf8(const std::string& name) {
    std::string text = "\"";
    for (std::size_t i = 0; i < name.size();) {
        rapidjson::MemoryStream rest(name.data() + i, name.size() - i);
        unsigned character = 0;
        const bool good = rapidjson::UTF8<>::Decode(rest, &character);
        char room[12];
        text.append(room, put_character(room, good ? character : 0xfffd));
        i += good ? rest.Tell() : 1;
    }
    return text + '"';
}

// An object, of which all but the values is ready. Values come in the order of the text, in which a group may be left
// and entered again, and what there is depends on what the record holds; but few sequences of keys are all that there
// are.
class Plan {
public:
    enum class What : std::uint8_t {
        file,
        offset,
        index,
        bytes,
        type,
        type_code,
        version,
        state,
        cause,
        value,  // `number` says which one
        name,   // that a value has beside its number
        unshown,
        damage,
        end
    };
    struct Step {
        std::uint32_t text;  // bytes of it that stand before
        What what;
        std::uint32_t number = 0;
    };
    // No values: a place where not even a header is. Less than `whole` is what `make` wants to know.
    Plan(std::span<const Value> values, bool pretty, bool whole = true);

    bool fits(std::span<const Value> values) const {
        return std::equal(values.begin(), values.end(), keys_.begin(), keys_.end(), [](const Value& v, const Key& key) {
            return v.name == key.name && v.group == key.group && v.index == key.index && v.kind == key.kind;
        });
    }
    std::span<const Step> steps() const { return steps_; }
    // What stands before the first step, before the next, and so on. Whole blocks of it may be read.
    const char* text() const { return text_.data(); }
    std::size_t memory() const { return keys_.size() * sizeof(Key) + steps_.size() * sizeof(Step) + text_.size(); }

private:
    struct Key {
        const char *group, *name;
        int index;
        dd_ffdc_kind kind;
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
    std::string text_;
    std::size_t done_ = 0;  // of the text, before the last step

    friend class Shape<Plan>;
    void put(std::string_view text) { text_ += text; }
    void add_step(What what, std::uint32_t number = 0) {
        steps_.push_back({static_cast<std::uint32_t>(text_.size() - done_), what, number});
        done_ = text_.size();
    }
    void add_value(Shape<Plan>& shape, std::uint32_t number);
    void add_node(Shape<Plan>& shape, const Node& node);
};

Plan::Plan(std::span<const Value> values, bool pretty, bool whole) {
    Node root{""};
    root.members = {{"header"}, {"payload"}};
    for (std::uint32_t i = 0; i < values.size(); ++i) {
        const Value& v = values[i];
        keys_.push_back({v.group, v.name, v.index, v.kind});
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
    Shape<Plan> shape(*this, pretty, 0);
    shape.open("{");
    if (whole) {
        shape.key("format");
        put(std::to_string(json_format));
    }
    const auto add = [&](const char* key, What what) {
        shape.key(key);
        add_step(what);
    };
    using enum What;
    for (const auto& [key, what] : {std::pair{"file", file},
                                    {"offset", offset},
                                    {"index", index},
                                    {"bytes", bytes},
                                    {"type", type},
                                    {"type_code", type_code},
                                    {"version", version},
                                    {"state", state},
                                    {"cause", cause}})
        if (whole || what == type || what == version) add(key, what);
    for (const Node& part : root.members) {
        if (!values.empty()) {
            add_node(shape, part);
            continue;
        }
        shape.key(part.key);
        put("null");
    }
    add("unshown", unshown);
    if (whole) add("damage", damage);
    shape.close("}");
    put("\n");
    add_step(end);
    text_.append(Stream::block, ' ');
}

void Plan::add_node(Shape<Plan>& shape, const Node& node) {
    shape.key(node.key);
    if (!node.elements.empty()) {
        shape.open("[");
        for (const std::uint32_t i : node.elements) {
            shape.element();
            add_value(shape, i);
        }
        shape.close("]");
    } else if (node.value != Node::none) {
        add_value(shape, node.value);
    } else {
        shape.open("{");
        for (const Node& member : node.members) add_node(shape, member);
        shape.close("}");
    }
}

void Plan::add_value(Shape<Plan>& shape, std::uint32_t number) {
    if (number == Node::none) return put("null");
    if (keys_[number].kind != DD_FFDC_NAME) return add_step(What::value, number);
    shape.open("{");
    shape.key("value");
    add_step(What::value, number);
    shape.key("name");
    add_step(What::name, number);
    shape.close("}");
}

class Plans {
public:
    explicit Plans(bool pretty) : pretty_(pretty) {}

    const Plan& of(std::span<const Value> values) {
        constexpr std::size_t most = 4 << 20;  // bytes: a dump cannot know so many, but could be made to
        const std::size_t hash = hash_of(values);
        const auto [begin, end] = plans_.equal_range(hash);
        for (auto known = begin; known != end; ++known)
            if (known->second.fits(values)) return known->second;
        if (memory_ > most) plans_.clear(), memory_ = 0;
        const Plan& plan = plans_.emplace(hash, Plan(values, pretty_))->second;
        memory_ += plan.memory();
        return plan;
    }

private:
    std::unordered_multimap<std::size_t, Plan> plans_;
    std::size_t memory_ = 0;
    bool pretty_;

    static std::size_t hash_of(std::span<const Value> values) {
        std::size_t hash = values.size();
        if (hash == 0) return 0;
        for (const std::size_t i : {values.size() / 4, values.size() / 2, values.size() - 1})
            hash = hash * 0x9e3779b1 + reinterpret_cast<std::uintptr_t>(values[i].name);
        return hash;
    }
};

void put_value(Stream& out, const Value& v) {
    if (v.missing) return out.put("null");
    switch (v.kind) {
        case DD_FFDC_TEXT: return out.string(v.text);
        case DD_FFDC_FLAG: return out.put(v.number != 0 ? "true" : "false");
        case DD_FFDC_BYTES: return out.digits(v.bytes);
        default: break;
    }
    if (v.size <= 4) return v.number < 0 ? out.number(v.number) : out.number(static_cast<std::uint32_t>(v.number));
    out.put("\"");
    v.is_unsigned_64() ? out.number(static_cast<std::uint64_t>(v.number)) : out.number(v.number);
    out.put("\"");
}

class Objects {
public:
    explicit Objects(Session& s) : s_(s), out_(s.out), plans_(s.options.pretty), cause_(cause_name, "") {}

    int put(const Entry& entry) {
        cause_.begin(entry);
        const int state = values_.read(entry, [&](const dd_ffdc_value& v) {
            cause_.take(v, entry);
            return v.kind == DD_FFDC_NAME || v.kind == DD_FFDC_TEXT;
        });
        cause_.finish(entry, state);
        if (entry.file != file_ || file_text_.empty()) file_ = entry.file, file_text_ = string_of_utf8(file_);
        const Plan& plan = plans_.of(values_.shown());
        const char* text = plan.text();
        for (const Plan::Step& step : plan.steps()) {
            out_.put_in_blocks(text, step.text);
            text += step.text;
            put_step(step, entry, state);
        }
        out_.flush();
        return state;
    }

private:
    static inline const std::string cause_name[] = {"cause"};  // NOLINT(cert-err58-cpp): see the columns
    Session& s_;
    Stream out_;
    Values values_;
    Plans plans_;
    Columns cause_;
    std::string file_, file_text_;

    void put_step(const Plan::Step& step, const Entry& entry, int entry_state) {
        using enum Plan::What;
        switch (step.what) {
            case value: return put_value(out_, values_.shown()[step.number]);
            case name: {
                const Value& v = values_.shown()[step.number];
                return v.missing ? out_.put("null") : out_.string(v.text.substr(0, v.text.find_last_not_of(' ') + 1));
            }
            case file: return out_.put(file_text_);
            case offset: return out_.number(entry.offset);
            case index: return out_.number(entry.index);
            case bytes: return out_.number(entry.bytes.size());
            case type: {
                const char* const known = entry.has_header() ? dd_ffdc_type_name(entry.type()) : nullptr;
                return out_.string_or_null(known ? known : "");
            }
            case type_code: return entry.has_header() ? out_.number(entry.type()) : out_.put("null");
            case version: return entry.has_header() ? out_.number(entry.version()) : out_.put("null");
            case Plan::What::state: return out_.string(state_name(entry_state));
            case cause: return out_.string_or_null(cause_.cells()[0].text);
            case unshown: return put_unshown();
            case damage: return entry_state == DD_FFDC_OK ? out_.put("null") : put_trouble(entry, entry_state);
            case end: return;
        }
    }

    void put_unshown() {
        Shape<Stream> shape(out_, s_.options.pretty, 1);
        shape.open("[");
        for (const Value& v : values_.unshown()) {
            shape.element();
            shape.open("{");
            shape.key("offset"), out_.number(v.offset);
            shape.key("bytes"), out_.digits(v.bytes);
            shape.close("}");
        }
        shape.close("]");
    }

    void put_trouble(const Entry& entry, int state) {
        const Trouble trouble = trouble_of(entry, state);
        Shape<Stream> shape(out_, s_.options.pretty, 1);
        shape.open("{");
        shape.key("reason"), out_.string(trouble.reason);
        shape.key("expected"), out_.string(trouble.expected);
        shape.key("actual"), out_.string(trouble.found);
        shape.close("}");
    }
};

}  // namespace

void put_template(Session& s, int type, unsigned version, std::span<const Value> values) {
    Stream out(s.out);
    const Plan plan(values, s.options.pretty, false);
    const char* text = plan.text();
    for (const Plan::Step& step : plan.steps()) {
        out.put_in_blocks(text, step.text);
        text += step.text;
        if (step.what == Plan::What::type) out.put('"' + type_name(type) + '"');
        if (step.what == Plan::What::version) out.number(version);
        if (step.what == Plan::What::value) put_value(out, values[step.number]);
        if (step.what == Plan::What::unshown) out.put("[]");
    }
    out.flush();
}

Session::Visit json_visit(Session& s) {
    return [objects = std::make_shared<Objects>(s)](const Entry& entry) { return objects->put(entry); };
}

int json(Session& s) { return s.each_entry(json_visit(s), Parts::all); }
