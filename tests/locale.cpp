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

// Checks with a category in C and in German, which is the program's locale first, and the thread's own later.
void in_both(int category, const std::function<void(bool)>& check) {
    setenv("LOCPATH", LOCALE_DIR, 1);
    check(false);
    REQUIRE(std::setlocale(category, latin_1) != nullptr);
    check(true);
    const locale_t own = duplocale(LC_GLOBAL_LOCALE);
    std::setlocale(category, "C");
    check(false);
    const locale_t before = uselocale(own);
    check(true);
    uselocale(before);
    freelocale(own);
    check(false);
}

}  // namespace

TEST_CASE("raw dumps follow the locale, from call to call") {
    Bytes all(256);
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<std::uint8_t>(i);
    const Bytes word = {'f', 0xfc, 'r', 0x7f};
    std::string in_c;
    in_both(LC_CTYPE, [&](bool german) {
        const std::string dump =
            rendered([&](char* out, int room) { return pretty_print(all.data(), 256, out, room); });
        CHECK(dump == dump_text(all.data(), 256, 10000));
        if (in_c.empty()) in_c = dump;
        CHECK((dump != in_c) == german);
        const std::string record = record_text(record_of({.type = FFDC_TYPE_DIO}, word).data(), 46);
        CHECK(record.find(german ? "[f\xfcr....." : "[f.r.....") != record.npos);
    });
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
    const Bytes record = record_of({.type = FFDC_TYPE_MBOX, .version = 4}, Bytes(300));
    in_both(LC_MESSAGES, [&](bool translated) {
        const std::string text = record_text(record.data(), record.size());
        CHECK(text.find(translated ? german : english) != text.npos);
    });
}
