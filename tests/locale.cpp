// The calling program's locale decides which characters raw dumps show, and the language of error messages.
#include <doctest/doctest.h>
#include <libintl.h>
#include <locale.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "support.hpp"

namespace {

constexpr const char* latin_1 = "de_DE.ISO-8859-1";  // generated in LOCALE_DIR by the build

std::string dumped(const Bytes& bytes) {
    return rendered(
        [&](char* out, int room) { return pretty_print(bytes.data(), static_cast<int>(bytes.size()), out, room); });
}

}  // namespace

TEST_CASE("raw dumps follow the locale, from call to call") {
    setenv("LOCPATH", LOCALE_DIR, 1);
    Bytes all(256);
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<std::uint8_t>(i);
    const Bytes word = {'f', 0xfc, 'r', 0x7f};
    const std::string in_c = dumped(all);
    CHECK(in_c == dump_text(all.data(), 256, 10000));
    CHECK(dumped(word).find("[f.r.....") != std::string::npos);

    REQUIRE(std::setlocale(LC_CTYPE, latin_1) != nullptr);
    CHECK(dumped(all) == dump_text(all.data(), 256, 10000));
    CHECK(dumped(all) != in_c);
    CHECK(dumped(word).find("[f\xfcr.....") != std::string::npos);
    CHECK(record_text(record_of({.type = FFDC_TYPE_DIO}, word).data(), 46).find("[f\xfcr.") != std::string::npos);

    const locale_t own = duplocale(LC_GLOBAL_LOCALE);
    std::setlocale(LC_CTYPE, "C");
    CHECK(dumped(all) == in_c);

    // A thread's own locale counts more than the program's.
    const locale_t before = uselocale(own);
    CHECK(dumped(word).find("[f\xfcr.....") != std::string::npos);
    uselocale(before);
    freelocale(own);
    CHECK(dumped(word).find("[f.r.....") != std::string::npos);
}

TEST_CASE("errors of the mailbox speak the language of the locale") {
    // A catalogue with one message: its header, places of the two texts, the texts.
    const std::string_view english = "Success", german = "Erfolg";
    const std::uint32_t catalogue[] = {0x950412de, 0, 1, 28, 36, 0, 44, 7, 44, 6, 52};
    std::filesystem::create_directories(LOCALE_DIR "/de/LC_MESSAGES");
    std::ofstream(LOCALE_DIR "/de/LC_MESSAGES/libc.mo", std::ios::binary)
        << std::string_view(reinterpret_cast<const char*>(catalogue), sizeof catalogue) << english << '\0' << german
        << '\0';
    bindtextdomain("libc", LOCALE_DIR);
    setenv("LOCPATH", LOCALE_DIR, 1);

    const Bytes record = record_of({.type = FFDC_TYPE_MBOX, .version = 4}, Bytes(300));
    const auto says = [&](std::string_view text) {
        return record_text(record.data(), record.size()).find(text) != std::string::npos;
    };
    CHECK(says("Success"));
    REQUIRE(std::setlocale(LC_MESSAGES, latin_1) != nullptr);
    CHECK(says("Erfolg"));
    const locale_t own = duplocale(LC_GLOBAL_LOCALE);
    std::setlocale(LC_MESSAGES, "C");
    CHECK(says("Success"));

    const locale_t before = uselocale(own);
    CHECK(says("Erfolg"));
    uselocale(before);
    freelocale(own);
    CHECK(says("Success"));
}
