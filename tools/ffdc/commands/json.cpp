// One JSON object a record. Its shape is a contract (docs/record.schema.json): `format` changes whenever the shape
// does.
#include <nlohmann/json.hpp>

#include "commands/commands.hpp"

namespace {

using Json = nlohmann::ordered_json;

constexpr int format = 1;

// Bytes as characters of the same number, so that every byte can be had back.
std::string latin1(const std::string& bytes) {
    std::string utf8;
    for (const char c : bytes) {
        const unsigned byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            utf8 += c;
        } else {
            utf8 += {static_cast<char>(0xc0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3f))};
        }
    }
    return utf8;
}

Json number_of(const Value& v) {
    if (v.missing) return nullptr;
    if (v.size > 4) return v.number_text();
    return v.number;
}

Json json_of(const Value& v) {
    switch (v.kind) {
        case DD_FFDC_NAME: {
            const std::string name = v.text.substr(0, v.text.find_last_not_of(' ') + 1);
            return {{"value", number_of(v)}, {"name", v.missing ? Json() : Json(latin1(name))}};
        }
        case DD_FFDC_TEXT: return v.missing ? Json() : Json(latin1(v.text));
        case DD_FFDC_FLAG: return v.missing ? Json() : Json(v.number != 0);
        case DD_FFDC_BYTES: return v.missing ? Json() : Json(hex_digits(v.bytes));
        default: return number_of(v);
    }
}

// Puts a value where its group and name say, arrays element by element.
void place(Json& object, const Value& v) {
    Json* node = &object;
    for (std::size_t begin = 0; begin < v.group.size();) {
        const std::size_t end = std::min(v.group.find('.', begin), v.group.size());
        node = &(*node)[v.group.substr(begin, end - begin)];
        begin = end + 1;
    }
    node = &(*node)[v.name];
    if (v.index >= 0) node = &(*node)[static_cast<std::size_t>(v.index)];
    *node = json_of(v);
}

Json object_of(const Entry& entry, int state, const std::vector<Value>& values) {
    const bool header = entry.has_header();
    Json decoded = {{"header", header ? Json::object() : Json()}, {"payload", header ? Json::object() : Json()}};
    Json unshown = Json::array();
    for (const Value& v : values) {
        if (v.kind == DD_FFDC_UNSHOWN) {
            unshown.push_back({{"offset", v.offset}, {"bytes", hex_digits(v.bytes)}});
        } else {
            place(v.group == "header" ? decoded : decoded["payload"], v);
        }
    }
    Json damage;
    if (state != DD_FFDC_OK) {
        const Trouble trouble = trouble_of(entry, state);
        damage = {{"reason", trouble.reason},
                  {"expected", trouble.expected},
                  {"actual", trouble.found},
                  {"bytes", entry.bytes.size()}};
    }
    const char* const type = header ? dd_ffdc_type_name(entry.type()) : nullptr;
    return {{"format", format},
            {"file", entry.file},
            {"offset", entry.offset},
            {"index", entry.index},
            {"type", type ? Json(type) : Json()},
            {"type_code", header ? Json(entry.type()) : Json()},
            {"version", header ? Json(entry.version()) : Json()},
            {"state", state_name(state)},
            {"header", std::move(decoded["header"])},
            {"payload", std::move(decoded["payload"])},
            {"unshown", std::move(unshown)},
            {"damage", std::move(damage)}};
}

}  // namespace

int json(Session& s) {
    std::vector<Value> values;
    return s.each_entry([&](const Entry& entry) {
        const int state = values_of(entry, values);
        const Json object = object_of(entry, state, values);
        s.out.put(object.dump(s.options.pretty ? 2 : -1, ' ', true, Json::error_handler_t::replace));
        s.out.put("\n");
        return state;
    });
}
