#include "samples.hpp"

#include <algorithm>
#include <array>

const std::vector<Kind> kinds = {
    {"FSI", FFDC_TYPE_FSI, 1, 96, {}},
    {"DMA v2", FFDC_TYPE_DMA, 2, 260, {{44, 4, 3, 5}, {64, 4, 3, 5}}},
    {"PSI v3", FFDC_TYPE_PSI, 3, 516, {{4, 4, 0, 4}, {8, 4, 0, 3}}},
    {"MBOX v5", FFDC_TYPE_MBOX, 5, 396, {{32, 1, 0, 5}, {24, 4, -40, -1}}},
    {"IIC v3", FFDC_TYPE_IIC, 3, 469, {{10, 1, 'M', 'M'}, {11, 1, 'K', 'K'}, {12, 1, 1, 1}}},
    {"UART v7", FFDC_TYPE_UART, 7, 192, {}},
    {"SCAN v1", FFDC_TYPE_SCAN, 1, 232, {}},
    {"SCOM v1", FFDC_TYPE_SCOM, 1, 236, {}},
    {"JTAG v4",
     FFDC_TYPE_JTAG,
     4,
     596,
     {{0, 4, 0x1A000000, 0x1A000000},
      {20, 1, 0x11, 0x11},
      {52, 1, 47, 47},
      {244, 1, 1, 1},
      {336, 4, 0xFEEDB0BB, 0xFEEDB0BB}}},
    {"RS485 v1", FFDC_TYPE_RS485, 1, 236, {{96, 1, 1, 1}}},
    {"RTC 0x0101", FFDC_TYPE_RTC, 0x0101, 24, {}},
    {"HDMA 0x0100", FFDC_TYPE_HDMA, 0x0100, 40, {{4, 4, 0, 15}, {36, 4, 208, 210}}},
    {"ALERT v2", FFDC_TYPE_ALERT, 2, 112, {{32, 1, 1, 1}}},
    {"KOR_PORT v3", FFDC_TYPE_KOR_PORT, 3, 172, {{26, 1, 1, 1}}},
    {"TAM_PORT v2", FFDC_TYPE_TAM_PORT, 2, 120, {{28, 1, 1, 1}}},
    {"WEX_PORT v2", FFDC_TYPE_WEX_PORT, 2, 45, {{28, 1, 1, 1}}},
    {"8250", FFDC_TYPE_8250, 1, 24, {{0, 4, 0x8250FFDC, 0x8250FFDC}}},
    {"SPAD v1", FFDC_TYPE_SPAD, 1, 20, {{4, 4, 0x1B000000, 0x1B000000}}},
    {"IOMUX 0x0100", FFDC_TYPE_IOMUX, 0x0100, 149, {{52, 1, 0, 1}}},
    {"DPSS", FFDC_TYPE_DPSS, 1, 30, {}},
    {"MTDCRAM v1", FFDC_TYPE_MTDCRAM, 1, 20, {{0, 4, 0, 1}}},
    {"dump 4 KiB", no_type, 0, 4096, {}},
    {"dump 14 KiB", no_type, 0, 14336, {}},
};

namespace {

std::uint32_t below(Random& random, std::size_t n) { return static_cast<std::uint32_t>(random() % n); }

void store(std::uint8_t* at, std::size_t width, std::uint64_t v) {
    for (std::size_t i = width; i-- > 0; v >>= 8) at[i] = static_cast<std::uint8_t>(v);
}

void choose(std::uint8_t* payload, const Choice& c, Random& random) {
    const std::int64_t v = c.first + below(random, static_cast<std::size_t>(c.last - c.first + 1));
    store(payload + c.at, c.width, static_cast<std::uint64_t>(v));
}

// A record with a header, its payload still to be filled.
Sample blank(int type, std::uint32_t version, std::size_t length, Random& random) {
    constexpr std::size_t header = DD_FFDC_HEADER_SIZE;
    Sample s{std::vector<std::uint8_t>(header + length), {}};
    std::uint8_t* const p = s.bytes.data();
    store(p, 4, DD_FFDC_MAGIC);
    store(p + 16, 4, 1);
    store(p + 20, 4, below(random, 32768));
    store(p + 24, 2, static_cast<std::uint64_t>(type));
    store(p + 26, 2, version);
    store(p + 28, 4, random());
    store(p + 32, 4, random());
    store(p + 36, 2, header + length);
    store(p + 38, 4, below(random, 32768));
    return s;
}

}  // namespace

Sample typical(const Kind& kind, Random& random) {
    Sample s = blank(kind.type, kind.version, kind.length, random);
    std::uint8_t* const payload = s.bytes.data() + DD_FFDC_HEADER_SIZE;
    std::generate_n(payload, kind.length, [&] { return static_cast<std::uint8_t>(random()); });
    for (const Choice& c : kind.choices) choose(payload, c, random);

    // The library knows where the texts are; they are collected first because filling them changes what it says.
    std::vector<std::array<std::size_t, 2>> texts;
    const auto note = [](void* found, const dd_ffdc_value* v) {
        if (v->kind == DD_FFDC_TEXT)
            static_cast<std::vector<std::array<std::size_t, 2>>*>(found)->push_back({v->offset, v->size});
    };
    dd_ffdc_values(s.record(), s.bytes.size(), note, &texts);
    for (const auto& [at, size] : texts) {
        const std::size_t characters = size / 2 + below(random, size - size / 2);
        std::generate_n(&s.bytes[at], characters, [&] { return static_cast<std::uint8_t>(' ' + below(random, 95)); });
        s.bytes[at + characters] = 0;
    }
    return s;
}

Sample arbitrary(int type, std::uint32_t version, Random& random) {
    std::size_t size = 0;
    dd_ffdc_layout(type, version, &size);
    if (below(random, 2) == 0) size += below(random, below(random, 128) == 0 ? 16384 : 48);
    Sample s = blank(type, version, size, random);
    if (below(random, 8) == 0) store(&s.bytes[16], 4, random());
    std::uint8_t* const payload = s.bytes.data() + DD_FFDC_HEADER_SIZE;

    static constexpr char deciding[] = {1, 'K', 'M', 'S', 'W', '%', 0x11, 0x7f};
    const std::uint8_t common = below(random, 2) == 0 ? 0x00 : 0xff;
    const std::uint32_t share = below(random, 129);
    std::generate_n(payload, size, [&] {
        const auto r = random();
        if ((r & 127) < share) return common;
        if ((r >> 8 & 3) == 0) return static_cast<std::uint8_t>(deciding[r >> 16 & 7]);
        return static_cast<std::uint8_t>(r >> 24);
    });
    for (const Kind& kind : kinds) {
        if (kind.type != type) continue;
        for (const Choice& c : kind.choices)
            if (c.at + c.width <= size && below(random, 2) == 0) choose(payload, c, random);
    }
    return s;
}
