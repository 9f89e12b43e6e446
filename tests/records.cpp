// Records and chains, whole records as text, the walk through unknown bytes, and the helpers that the library exports.
#include <doctest/doctest.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>

#include "support.hpp"

namespace {

constexpr int no_type = std::end(drivers)[-1].type + 1;

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

Bytes sized(int size, Header header = {}) {
    return record_of(header, Bytes(static_cast<std::size_t>(size - 42), 0x41));
}

// The offsets that a walk along the chain visits.
std::vector<long> visited(const Bytes& area) {
    std::vector<long> offsets;
    const dd_ffdc_hdr* cursor = nullptr;
    while (offsets.size() < 100 && dd_ffdc_get_chain(as_record(area.data()), &cursor) == 0 && cursor)
        offsets.push_back(reinterpret_cast<const std::uint8_t*>(cursor) - area.data());
    return offsets;
}

std::string printed(const std::uint8_t* record, int* count = nullptr, int ignored = 0) {
    const Capture silence;
    char* text = nullptr;
    const int n = dd_ffdc_print(as_record(record), ignored, &text);
    if (count) *count = n;
    const std::string s = text ? text : "(null)";
    std::free(text);
    return s;
}

}  // namespace

TEST_CASE("heads that are refused, and what stays as it was") {
    const Bytes good = sized(50), bad = sized(50, {.magic = 0xDCFFDCFF});
    const auto* const mark = as_record(good.data());
    char out[8] = "intact!", *text = out;
    const auto called = [](void*, const dd_ffdc_value*) { FAIL("called"); };
    for (const dd_ffdc_hdr* head : {static_cast<const dd_ffdc_hdr*>(nullptr), as_record(bad.data())}) {
        const dd_ffdc_hdr *cursor = mark, *found = mark;
        errno = 99;
        CHECK(dd_ffdc_chain_size(head) == -EINVAL);
        CHECK(dd_ffdc_print(head, 0, &text) == -EINVAL);
        CHECK(dd_ffdc_render(head, 50, out, sizeof out, nullptr) == -EINVAL);
        CHECK(dd_ffdc_values(head, 50, called, nullptr) == -EINVAL);
        CHECK(errno == 99);
        CHECK(dd_ffdc_get_chain(head, &cursor) == -1);
        CHECK(errno == EINVAL);
        errno = 99;
        CHECK(dd_ffdc_get_type(head, 0, &found) == -1);
        CHECK(errno == EINVAL);
        CHECK(cursor == mark);
        CHECK(found == nullptr);
    }
    CHECK(dd_ffdc_print(mark, 0, nullptr) == -EINVAL);
    const Guarded area(1);
    for (std::size_t there = 0; there < 42; ++there) {
        const auto* const cut = as_record(area.back(good, there));
        CHECK(dd_ffdc_render(cut, there, out, sizeof out, nullptr) == -EINVAL);
        CHECK(dd_ffdc_values(cut, there, called, nullptr) == -EINVAL);
    }
    CHECK(text == out);
    CHECK(out == std::string("intact!"));
}

TEST_SUITE_BEGIN("chain");

TEST_CASE("walk") {
    const Bytes last = sized(42), wrong_magic = sized(50, {.magic = 0x12345678});
    const struct {
        std::string_view name;
        Bytes area;
        std::vector<long> offsets;
    } cases[] = {
        {"three", joined({sized(43, {.chained = 1}), sized(45, {.chained = 0x80000000}), last}), {0, 43, 88}},
        {"magic behind the head", joined({sized(100, {.chained = 1}), wrong_magic}), {0, 100}},
        {"size 41", sized(42, {.size = 41, .chained = 1}), {0}},
        {"size 0", joined({sized(50, {.chained = 1}), sized(42, {.size = 0, .chained = 1})}), {0, 50}},
    };
    for (const auto& c : cases) {
        CAPTURE(c.name);
        CHECK(visited(c.area) == c.offsets);
        CHECK(visited(c.area) == c.offsets);  // a null cursor starts again
    }
}

TEST_CASE("find a type") {
    const Bytes area = joined({sized(50, {.type = 3, .chained = 1}), sized(42, {.type = 65535, .chained = 1}),
                               sized(42, {.type = 7, .chained = 1, .magic = 0}), sized(42, {.type = 7})});
    for (const auto& c : {std::pair{3, 0}, {65535, 50}, {7, 92}, {4, -1}, {-1, -1}, {65543, -1}}) {
        CAPTURE(c.first);
        const dd_ffdc_hdr* found = as_record(area.data());
        CHECK(dd_ffdc_get_type(as_record(area.data()), c.first, &found) == 0);
        CHECK((found ? reinterpret_cast<const std::uint8_t*>(found) - area.data() : -1) == c.second);
    }
}

TEST_SUITE_BEGIN("text of a record");

TEST_CASE("headers, types without a decoder, sizes below a header") {
    const std::string unknown = "type: UNKNOWN\n";
    const Bytes letters(17, 'A');
    const std::string dump = dump_text(letters.data(), 17, 1000);
    const struct {
        std::string_view name;
        Header header;
        Bytes payload;
        std::string text;  // behind the header
    } cases[] = {
        {"type 0", {.type = 0, .chained = 1, .head_version = 0, .time = {0, 1}}, letters, unknown + dump},
        {"lowest numbers", {.type = 14, .head_version = INT_MIN, .pid = -1, .tgid = INT_MIN}, letters, unknown + dump},
        {"the type behind the last", {.type = no_type, .head_version = 2}, letters, unknown + dump},
        {"type 65535, no payload", {.type = 65535}, {}, unknown},
        {"size 40, unknown", {.type = no_type, .size = 40}, {}, unknown},
        {"size 40", {.type = 3, .version = 1, .size = 40}, {}, "type: FFDC_TYPE_DMA\nData size mismatch 252 vs -2\n"},
        {"size 0, DPSS", {.type = 26, .size = 0}, {}, "type: FFDC_TYPE_DPSS\n"},
    };
    for (const auto& c : cases) {
        CAPTURE(c.name);
        const Bytes record = record_of(c.header, c.payload);
        const std::size_t size = c.header.size >= 0 ? static_cast<std::size_t>(c.header.size) : record.size();
        const std::string expected = heading(c.header, size, c.text);
        for (int ignored : {0, 1, -1, INT_MIN}) {
            int count;
            CHECK(printed(record.data(), &count, ignored) == expected);
            CHECK(count == static_cast<int>(expected.size()));
        }
        dd_ffdc_state state;
        CHECK(record_text(record.data(), record.size(), &state) == expected);
        CHECK((state == DD_FFDC_UNKNOWN_TYPE) == (dd_ffdc_type_name(c.header.type) == nullptr));
        const void* payload = nullptr;
        std::int32_t length = 0;
        dd_ffdc_driver_data(as_record(record.data()), &payload, &length);
        CHECK(payload == record.data() + 42);
        CHECK(length == static_cast<std::int32_t>(size) - 42);
        for (std::size_t shift = 1; shift < 8; ++shift) {
            const Bytes shifted = joined({Bytes(shift), record});
            CHECK(printed(shifted.data() + shift) == expected);
        }
    }
}

TEST_CASE("a dump that passes the work buffer is cut at a whole line") {
    Bytes payload(65535 - 42);
    for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<std::uint8_t>(i * 7 / 3);
    const Header header = {.type = 200};
    const Bytes record = record_of(header, payload);
    const std::string head = heading(header, 65535, "type: UNKNOWN\n");
    const long room = 32768 - static_cast<long>(head.size());
    int count;
    const std::string text = printed(record.data(), &count);
    CHECK(text == head + dump_text(payload.data(), 65493, room));
    CHECK(count == static_cast<int>(text.size()));
    CHECK(record_text(record.data(), record.size()) == head + dump_text(payload.data(), 65493, 1 << 20));
}

TEST_CASE("DD_FFDC_RENDER_ROOM holds every text, and a bare header makes no long one") {
    const Bytes payload(65535 - 42, 0xff);
    std::vector<char> out(DD_FFDC_RENDER_ROOM);
    for (const Driver& d : drivers)
        for (std::uint32_t version : {0u, 1u, 2u, 3u, 4u, 5u, 8u, 256u, 0x101u, 0x102u, 65535u}) {
            CAPTURE(d.name);
            CAPTURE(version);
            const Bytes record = record_of({.type = d.type, .version = version}, payload);
            const auto length = [&](std::size_t there) {
                return dd_ffdc_render(as_record(record.data()), there, out.data(), DD_FFDC_RENDER_ROOM, nullptr);
            };
            CHECK(length(record.size()) < DD_FFDC_RENDER_ROOM - 70);
            CHECK(length(42) < 100 * 42);
        }
}

TEST_CASE("print_header needs 174 bytes of room, and writes nothing behind its text") {
    const Guarded area(174);
    const auto room_for = [&](const std::string& text) {
        CHECK(text.size() < 174);
        return reinterpret_cast<char*>(area.end()) - text.size() - 1;
    };
    Header longest = {.type = 65535, .size = 65535, .head_version = INT_MIN, .pid = INT_MIN, .tgid = INT_MIN};
    longest.time[0] = longest.time[1] = 0xffffffff;
    for (const Header& header : {longest, Header{.type = 3, .size = 300}}) {
        const Bytes record = record_of(header, {});
        CHECK(dd_ffdc_chain_size(as_record(record.data())) == header.size);
        const std::string expected = heading(header, static_cast<std::size_t>(header.size), "");
        char* out = room_for(expected);
        CHECK(print_header(as_record(record.data()), out) == static_cast<int>(expected.size()));
        CHECK(out == expected);
        const std::string v1 = expected.substr(expected.find("  head version"));
        out = room_for(v1);
        CHECK(print_header_v1(as_record(record.data()), out) == static_cast<int>(v1.size()));
        CHECK(out == v1);
    }
}

// What holds for the steps through any area is what fuzz/fuzz_area.cpp expects.
TEST_SUITE_BEGIN("bytes of unknown origin");

namespace {

std::string told(const std::uint8_t* area, std::size_t size) {
    static constexpr const char* names[] = {"no next ", "cut ", "bad size ", "no magic ", "end ", "record "};
    std::string steps;
    dd_ffdc_cursor cursor = {0, 0, 0};
    for (int step = 1; step != DD_FFDC_END && steps.size() < 1000;) {
        step = dd_ffdc_next(area, size, &cursor);
        steps += names[step - DD_FFDC_NO_NEXT] + std::to_string(cursor.offset) + (step == DD_FFDC_END ? "" : ", ");
    }
    return steps;
}

}  // namespace

TEST_CASE("steps through an area") {
    const Bytes junk(5, 0xff), first = sized(100, {.chained = 1}), second = sized(60);
    const Bytes half(first.begin(), first.begin() + 50), magic = {0xff, 0xdc, 0xff, 0xdc};
    // So little of a header that the next one's pid is taken for its size.
    const Bytes stub(first.begin(), first.begin() + 14), after_stub = sized(60, {.pid = 80});
    const struct {
        std::string_view name;
        Bytes area;
        std::string steps;
    } cases[] = {
        {"smallest", sized(42), "record 0, end 42"},
        {"chains", joined({second, first, second}), "record 0, record 60, record 160, end 220"},
        {"no next", sized(60, {.chained = 0x80000000}), "record 0, no next 60, end 60"},
        {"junk", junk, "no magic 0, end 5"},
        {"junk between", joined({second, junk, second}), "record 0, no magic 60, record 65, end 125"},
        {"junk behind", joined({second, junk}), "record 0, no magic 60, end 65"},
        {"one byte behind", joined({second, {0}}), "record 0, no magic 60, end 61"},
        {"size 41", joined({sized(42, {.size = 41}), second}), "bad size 0, record 42, end 102"},
        {"size 0", joined({second, sized(42, {.size = 0})}), "record 0, bad size 60, end 102"},
        {"cut, then a record", joined({half, sized(42)}), "cut 0, record 50, end 92"},
        {"cut, but its size ends inside the next one", joined({half, second}), "cut 0, record 50, end 110"},
        {"a size that reaches into the next record", joined({sized(60, {.size = 70}), second, second}),
         "cut 0, record 60, record 120, end 180"},
        {"a size that reaches over two records",
         joined({sized(60, {.size = 185, .chained = 1}), first, second, second}),
         "cut 0, record 60, record 160, record 220, end 280"},
        {"a size that reaches to the end, chained", joined({sized(60, {.size = 120, .chained = 0x100}), second}),
         "cut 0, record 60, end 120"},
        {"a size that reaches to the end", joined({sized(60, {.size = 120}), second}), "record 0, end 120"},
        {"a size that reaches behind the area", joined({sized(60, {.size = 500}), second}),
         "cut 0, record 60, end 120"},
        {"a size that is too small", joined({sized(60, {.size = 50}), second}),
         "record 0, no magic 50, record 60, end 120"},
        {"an implausible record that reaches over one",
         joined({second, sized(60, {.size = 160, .head_version = 2}), first, second}),
         "record 0, cut 60, record 120, record 220, end 280"},
        {"an implausible record", joined({second, sized(60, {.head_version = 2}), second}),
         "record 0, record 60, record 120, end 180"},
        {"chained to a broken magic", joined({first, sized(60, {.magic = 0xffdcffdd}), second}),
         "record 0, no magic 100, record 160, end 220"},
        {"a header that ends in a header", joined({stub, after_stub, second}), "cut 0, record 14, record 74, end 134"},
        {"damage, again and again", joined({junk, sized(60, {.size = 50}), second, magic}),
         "no magic 0, record 5, no magic 55, record 65, cut 125, end 129"},
    };
    for (const auto& c : cases) {
        CAPTURE(c.name);
        CHECK(told(c.area.data(), c.area.size()) == c.steps);
    }
}

TEST_CASE("an area that is cut at any byte") {
    const Bytes all = joined({sized(60, {.chained = 1}), sized(49), sized(80)});
    const Guarded area(all.size());
    for (std::size_t size = 0; size <= all.size(); ++size) {
        CAPTURE(size);
        std::string expected;
        std::size_t at = 0;
        for (std::size_t n : {60u, 49u, 80u}) {
            if (size == at) break;
            expected += (at + n <= size ? "record " : "cut ") + std::to_string(at) + ", ";
            at = std::min(at + n, size);
        }
        if (size == 60) expected += "no next 60, ";
        CHECK(told(area.back(all, size), size) == expected + "end " + std::to_string(size));
    }
}

TEST_CASE("a part of an area tells the same of what begins DD_FFDC_LOOKAHEAD before its end") {
    std::mt19937 random(21);
    Bytes area(1 << 20);
    const auto place = [&](std::size_t at, int size) {
        const Bytes header = record_of({.type = 5, .size = size, .chained = 1}, {});
        std::copy(header.begin(), header.end(), area.begin() + static_cast<long>(at));
    };
    place(0, 65535);
    place(65534, 65535);  // the last place, and the largest size, that speak against the first record
    for (std::size_t at = 140000; at + 42 <= area.size(); at += 42 + random() % 30000)
        place(at, static_cast<int>(random() % 65536));
    dd_ffdc_cursor cursor = {0, 0, 0};
    while (const int step = dd_ffdc_next(area.data(), area.size(), &cursor)) {
        if (cursor.offset == 0) CHECK(step == DD_FFDC_CUT);
        if (cursor.offset == area.size()) break;
        const std::size_t sure = step == DD_FFDC_RECORD ? cursor.offset : cursor.next;
        dd_ffdc_cursor part = {0, cursor.offset, 0};
        CHECK(dd_ffdc_next(area.data(), std::min(area.size(), sure + DD_FFDC_LOOKAHEAD), &part) == step);
        CHECK(part.next == cursor.next);
    }
}

TEST_CASE("plausible records") {
    const Guarded area(200);
    const struct {
        std::string_view name;
        Header header;
        bool found;
    } cases[] = {
        {"head version 1, unknown type", {.type = 99, .chained = 7}, true},
        {"another head version, known type", {.type = 27, .chained = 1, .head_version = 2}, true},
        {"another head version, unknown type", {.type = 14, .chained = 0, .head_version = 2}, false},
        {"another head version, strange chained", {.type = 3, .chained = 2, .head_version = 0}, false},
        {"no magic", {.type = 3, .magic = 0xFFDCFFDD}, false},
        {"size 41", {.type = 3, .size = 41}, false},
        {"ends with the area", {.type = 3, .size = 45}, true},
        {"ends behind the area", {.type = 3, .size = 46}, false},
    };
    CHECK(dd_ffdc_find(nullptr, 0, 0) == 0);
    // Before the record, bytes that look like a magic up to its third.
    Bytes before;
    for (; before.size() <= 36; before.insert(before.begin(), before.size() % 3 == 1 ? 0xdc : 0xff))
        for (const auto& c : cases) {
            CAPTURE(before.size());
            CAPTURE(c.name);
            const Bytes bytes = joined({before, record_of(c.header, Bytes(3))});
            const std::uint8_t* const at = area.back(bytes);
            const std::size_t size = bytes.size(), none = size, there = before.size();
            for (std::size_t from = 0; from <= size + 2; ++from)
                CHECK(dd_ffdc_find(at, size, from) == (c.found && from <= there ? there : none));
            for (std::size_t shorter = 0; shorter < size; ++shorter)
                CHECK(dd_ffdc_find(area.back(bytes, shorter), shorter, 0) ==
                      (c.found && c.header.size != 45 && shorter >= there + 45 ? there : shorter));
        }
}

TEST_SUITE_BEGIN("helpers");

TEST_CASE("scnprintf stores what it counts") {
    const std::string text = "twenty-five characters...";
    for (int size = -2; size <= 30; ++size) {
        const std::size_t n = std::min<std::size_t>(text.size(), static_cast<std::size_t>(std::max(size - 1, 0)));
        char out[40];
        CAPTURE(size);
        std::memset(out, '#', sizeof out);
        CHECK(scnprintf(out, size, "%s%c%s", "twenty-five", ' ', "characters...") == static_cast<int>(n));
        CHECK(std::string(out, sizeof out) ==
              text.substr(0, n) + (size > 0 ? std::string(1, '\0') + std::string(39 - n, '#') : std::string(40, '#')));
    }
}

TEST_CASE("numbers of every length, as printf shows them") {
    std::set<std::uint64_t> numbers = {0};
    for (int bit = 0; bit < 64; ++bit)
        for (std::uint64_t d : {0u, 1u, 2u}) numbers.insert((std::uint64_t{1} << bit) + d - 1);
    for (std::uint64_t power = 1; power <= 1000000000000000000; power *= 10)
        for (std::uint64_t d : {0u, 1u, 2u}) numbers.insert({power + d - 1, 0 - power - d + 1});
    for (const std::uint64_t number : numbers) {
        const auto low = static_cast<std::uint32_t>(number);
        const auto low_signed = static_cast<std::int32_t>(low);
        // The number's bytes all along the payload, so that each 32-bit field holds its low word, and each 64-bit one
        // at an offset of 4, 12, 20... all of it.
        Bytes payload;
        while (payload.size() < 256)
            for (int shift : {24, 16, 8, 0})
                payload.push_back(
                    static_cast<std::uint8_t>((payload.size() / 4 % 2 == 0 ? low : number >> 32) >> shift));
        const Bytes shifted(payload.begin() + 4, payload.end());
        const struct {
            int type;
            std::uint32_t version;
            const Bytes& payload;
            int length;
            std::string text;
        } cases[] = {
            {FFDC_TYPE_MTDCRAM, 1, payload, 20, formatted("\nOffset\t\t%lld\n", static_cast<long long>(number))},
            {FFDC_TYPE_MTDCRAM, 1, payload, 20, formatted("RC\t\t%d\n", low_signed)},
            {FFDC_TYPE_UART, 9, payload, 12, formatted("V[0x%x] P[", low)},
            {FFDC_TYPE_UART, 2, shifted, 192, "  avg:" + std::to_string(number) + "  high"},
            {FFDC_TYPE_UART, 2, payload, 192, formatted("\nflags[%#x]\n", low)},
            {FFDC_TYPE_HDMA, 256, shifted, 40, formatted("\tRC:               %08d\n", low_signed)},
            {FFDC_TYPE_HDMA, 256, payload, 40, low == 0 ? "r:     (nil)\n" : formatted("r:     0x%x\n", low)},
            {FFDC_TYPE_DMA, 1, shifted, 252, formatted("\tRC:          %8d\n", low_signed)},
            {FFDC_TYPE_DMA, 1, shifted, 252, formatted("\tChannel:     %8d\n", low & 0xffff)},
            {FFDC_TYPE_TONE, low, payload, 0, formatted("Tone Version: 0x%x\n", low)},
            {FFDC_TYPE_SPAD, 0, payload, 20, formatted("Return code: %d\n", low_signed)},
        };
        for (const auto& c : cases) {
            const auto is_it = [&](const Driver& d) { return d.type == c.type; };
            const Driver& driver = *std::find_if(std::begin(drivers), std::end(drivers), is_it);
            const std::string text = decoded(driver, c.version, c.payload.data(), c.length);
            if (text.find(c.text) == text.npos) FAIL_CHECK(number << ": no " << c.text << " in " << text);
        }
    }
}

TEST_CASE("pretty_print, against a dump that goes word by word") {
    Bytes bytes(256);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 167 + 13);
    const Guarded area(bytes.size());
    for (int length = -1; length <= 200; ++length) {
        const std::uint8_t* const data = area.back(bytes, static_cast<std::size_t>(std::max(length, 0)));
        const int full = (length + 15) / 16 * 67;
        for (int room = -1; room <= full + 80; room += room < 210 || room > full - 3 ? 1 : 23) {
            const std::string expected = dump_text(data, length, room);
            const std::string flaw = room_flaw([&](char* out, int r) { return pretty_print(data, length, out, r); },
                                               Fitted(expected), false, room);
            if (!flaw.empty()) FAIL_CHECK("length " << length << ", " << flaw);
        }
    }
    const Bytes many(0x123450 + 16);
    std::vector<char> long_dump(6 << 20);
    const int end = pretty_print(many.data(), static_cast<int>(many.size()), long_dump.data(), 6 << 20);
    CHECK(std::string(&long_dump[static_cast<std::size_t>(end - 67)]).starts_with("00123450 [00000000 "));

    char out[200];
    CHECK(pretty_print(nullptr, 16, out, sizeof out) == 0);
    CHECK(pretty_print(bytes.data(), 16, nullptr, 200) == 0);
    CHECK(pretty_print("ABCDEFGHIJKLMNOP\1\2\3\4zz", 22, out, sizeof out) == 134);
    CHECK(out == std::string("00000000 [41424344 45464748 494a4b4c 4d4e4f50 ] [ABCDEFGHIJKLMNOP]\n"
                             "00000010 [01020304 00000000 00000000 00000000 ] [................]\n"));
}

TEST_CASE("test_bit, get_type, names, versions") {
    for (std::uint32_t bit = 0; bit < 40; ++bit)
        for (std::uint32_t value : {0u, 0x8000u, 0x80000001u, 0xffffffffu})
            CHECK(test_bit(value, bit) == (bit < 32 && (value & (1u << (bit & 31))) != 0 ? 1 : 0));
    CHECK(test_bit(0xffffffff, 0xffffffff) == 0);

    std::string names;
    for (std::uint32_t kind : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 0xffffffffu}) names += get_type(kind) + std::string(",");
    for (const char* name : wex_regs) names += name + std::string(",");
    for (const char* name : kor_reg_names) names += name + std::string(",");
    CHECK(names ==
          "INVALID,ZCOPY,INVALID,DIRECT,DEVICE,FIFO,INVALID,INVALID,FIFO,IER,IIR,FCR,LCR,MCR,LSR,SCR,"
          "None,BIDI Parity,UNI Parity,FULL Parity,None,BIDI Mask,BIDI Latches,BIDI Alert,UNI Mask,"
          "UNI Latches,UNI Alert,IRQ Mask,IRQ Conditions,IRQ,Status,Extended Status,FULL Mask,FULL Latches,"
          "FULL Alert,RX Port,TX Port,RX Baud,TX Baud,RX Mode,TX Mode,RX Watermark,TX Watermark,SC Clock,"
          "SC Port,");

    const Bytes longest(596);  // of all layouts of JTAG
    char text[4096];
    for (const std::uint32_t version : {5u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
        jtag_print(longest.data(), version, static_cast<int>(longest.size()), text, sizeof text);
        CHECK(std::string(text).find(formatted("\nUnknown FFDC version %d -- Raw FFDC:\n",
                                               static_cast<int>(version))) != std::string::npos);
    }

    for (const Driver& d : drivers) CHECK(dd_ffdc_type_name(d.type) == std::string(d.name));
    for (int type : {0, 14, no_type, -1, INT_MIN, 65536 + 3}) CHECK(dd_ffdc_type_name(type) == nullptr);

    CHECK(tavi_ffdc_version() == std::string(TAVI_FFDC_VERSION));
    CHECK(std::to_string(TAVI_FFDC_VERSION_MAJOR) + "." + std::to_string(TAVI_FFDC_VERSION_MINOR) + "." +
              std::to_string(TAVI_FFDC_VERSION_PATCH) ==
          TAVI_FFDC_VERSION);
}

// That the sizes are right is what the golden texts say, in every line about a size.
TEST_CASE("layouts of unknown versions and types") {
    constexpr int ok = DD_FFDC_OK, version = DD_FFDC_UNKNOWN_VERSION, type = DD_FFDC_UNKNOWN_TYPE;
    const struct {
        int type;
        std::uint32_t version;
        std::size_t size;
        int state;
    } cases[] = {{FFDC_TYPE_FSI, UINT32_MAX, 96, ok},
                 {FFDC_TYPE_JTAG, 5, 596, version},
                 {FFDC_TYPE_IIC, 3, 469, ok},
                 {FFDC_TYPE_IIC, 4, 0, version},
                 {FFDC_TYPE_SPAD, 2, 20, version},
                 {FFDC_TYPE_PSI, 0, 0, version},
                 {FFDC_TYPE_UART, 65535, 12, ok},
                 {FFDC_TYPE_MBOX, 6, 0, version},
                 {14, 1, 0, type},
                 {-1, 1, 0, type},
                 {no_type, 1, 0, type}};
    for (const auto& c : cases) {
        CAPTURE(c.type);
        std::size_t size = 12345;
        CHECK(dd_ffdc_layout(c.type, c.version, &size) == c.state);
        CHECK(size == c.size);
    }
    // The rows of a type are those versions which have a layout, in order.
    dd_ffdc_versions row = {};
    for (const int unknown : {14, -1, no_type}) CHECK(dd_ffdc_layout_row(unknown, 0, &row) == 0);
    for (const Driver& d : drivers) {
        std::size_t n = 0, size;
        for (std::uint32_t v = 0; v <= 65535; ++v) {
            while (n == 0 || (row.last < v && row.last != 65535))
                if (dd_ffdc_layout_row(d.type, n++, &row) == 0) row = {65536, 65535, 0, 0};
            const bool known = dd_ffdc_layout(d.type, v, &size) == ok;
            if (known != (v >= row.first) || (known && size != row.size)) FAIL(d.name << ", version " << v);
        }
        CHECK(dd_ffdc_layout_row(d.type, n, &row) == 0);
    }
}

TEST_CASE("a buffer descriptor") {
    const Guarded area(16);
    std::string errors;
    for (const char* error : {"LRC", "CRC", "RX FRAMING", "RX OVERRUN", "RX UNDERFLOW", "RX PARITY", "RX MAX_LEN",
                              "TX UNDERRUN", "TX PARITY", "NRT", "FSI"})
        errors += std::string("\t\t\t") + error + " error\n";
    for (const bool quiet : {false, true}) {
        Bytes kb = {0, 0, 0x80, 1, 0xff, 0xff, 0, 1, 0, 2, 0xfe, 0xdc, 0x03, 0xff, 0xff, 0xff};
        if (quiet) kb[12] = 0xfc, kb[13] = 0;
        const std::uint8_t* const at = area.back(kb);
        const std::string text = std::string("kb: flags[00008001] errors[") + (quiet ? "fc00" : "03ff") +
                                 "ffff] count[65535] head[1] tail[2] size[65244]\n" + (quiet ? "" : errors);
        const auto print = [at](char* out, int room) { return print_kb(at, out, room); };
        for (int room = -1; room <= static_cast<int>(text.size()) + 40; ++room)
            CHECK(room_flaw(print, Fitted(text), false, room) == "");
    }
}

TEST_CASE("IIC sections, one after the other, are the decoder's text") {
    for (const Golden& g : goldens()) {
        if (g.driver->type != FFDC_TYPE_IIC || g.version > 3) continue;
        std::size_t layout;
        dd_ffdc_layout(FFDC_TYPE_IIC, g.version, &layout);
        const char kind = g.payload.size() < layout ? 0 : static_cast<char>(g.payload[10]);
        const char format = kind && g.payload[12] ? static_cast<char>(g.payload[11]) : 0;
        if ((kind != 'M' && kind != 'S') || (format != 'K' && format != 'W')) continue;
        CAPTURE(g.name);
        const Guarded area(layout);
        const std::uint8_t* const payload = area.back(g.payload, layout);
        std::string text;
        for (auto* section : {iic_print_summary, iic_print_eng, format == 'K' ? iic_print_kor_regs : iic_print_wex_regs,
                              kind == 'M' ? iic_print_mstr : iic_print_slv}) {
            auto render = [&](char* out, int room) { return section(payload, out, room, g.version); };
            const std::string part = rendered(render);
            for (const std::uint32_t newer : {4u, 8u, UINT32_MAX})
                if (g.version == 3)
                    CHECK(rendered([&](char* out, int room) { return section(payload, out, room, newer); }) == part);
            for (int room = 0; room <= static_cast<int>(part.size()) + 2; room += room < 40 ? 1 : 7)
                CHECK(room_flaw(render, Fitted(part), false, room) == "");
            text += part;
        }
        CHECK(g.text.substr(0, text.size()) == text);
        CHECK((g.text.size() == text.size() || g.text.substr(text.size()).starts_with("\n---------- Trace Data")));
    }
}

TEST_SUITE_END();
