#include "input/archive.hpp"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#if defined(FFDC_ARCHIVES)
#include <archive.h>
#include <archive_entry.h>
#endif

using namespace std::string_view_literals;

const char* packed_with(Source& source) {
    constexpr struct {
        std::size_t at;
        std::string_view mark;
        const char* name;
    } marks[] = {
        {0, "\x1f\x8b\x08"sv, "gzip"},
        {0,
         "\xfd"
         "7zXZ\0"sv,
         "xz"},
        {0, "\x28\xb5\x2f\xfd"sv, "zstd"},
        {0, "BZh"sv, "bzip2"},
        {257, "ustar"sv, "tar"},
        {0, "PK\3\4"sv, "zip"},
    };
    const Bytes head = source.peek(512);
    const std::string_view text(reinterpret_cast<const char*>(head.data()), std::min<std::size_t>(head.size(), 512));
    for (const auto& [at, mark, name] : marks)
        if (text.size() > at && text.substr(at).starts_with(mark)) return name;
    return nullptr;
}

#if defined(FFDC_ARCHIVES)

namespace {

class Packed : public Archive {
public:
    explicit Packed(const char* packed) : archive_(archive_read_new()) {
        if (!archive_) throw std::bad_alloc();
        // One layer at a time: what is in a compressed file may be an archive again.
        const std::string_view name = packed;
        if (name == "tar") {
            archive_read_support_format_tar(archive_);
        } else if (name == "zip") {
            archive_read_support_format_zip_streamable(archive_);
        } else {
            for (const auto support : {archive_read_support_filter_gzip, archive_read_support_filter_xz,
                                       archive_read_support_filter_zstd, archive_read_support_filter_bzip2,
                                       archive_read_support_format_raw, archive_read_support_format_empty})
                support(archive_);
        }
    }
    ~Packed() override { archive_read_free(archive_); }

    bool begin(std::unique_ptr<Source>& source) {
        source_ = source.get();
        if (archive_read_open2(archive_, this, nullptr, give_more, nullptr, nullptr) != ARCHIVE_OK) return false;
        const int result = archive_read_next_header(archive_, &entry_);
        // Bytes that only begin like compressed ones are taken for a file that is not.
        begun_ =
            result == ARCHIVE_EOF || (result >= ARCHIVE_WARN && !(is_raw() && archive_filter_count(archive_) <= 1));
        if (result == ARCHIVE_EOF) archive_read_free(std::exchange(archive_, nullptr));
        if (!begun_) return false;
        owned_ = std::move(source);
        return true;
    }

    std::unique_ptr<Source> next(std::string& name) override;

    std::size_t read(std::uint8_t* to, std::size_t room) {
        const la_ssize_t n = archive_read_data(archive_, to, room);
        if (n < 0) fail();
        return static_cast<std::size_t>(n);
    }
    bool waits() const { return source_->waits(); }

private:
    archive* archive_;
    archive_entry* entry_ = nullptr;
    Source* source_ = nullptr;
    std::unique_ptr<Source> owned_;
    std::size_t given_ = 0;  // of the source's bytes
    bool begun_ = false;     // and what is given can be forgotten

    bool is_raw() const { return archive_format(archive_) == ARCHIVE_FORMAT_RAW; }
    [[noreturn]] void fail() {
        const char* const why = archive_error_string(archive_);
        if (archive_errno(archive_) == ENOMEM) throw std::bad_alloc();
        throw Failure(why ? why : "cannot be unpacked");
    }
    static la_ssize_t give_more(archive*, void* self, const void** bytes) {
        Packed& p = *static_cast<Packed*>(self);
        if (p.begun_) p.source_->skip(std::exchange(p.given_, 0));
        const Bytes there = p.source_->peek(p.given_ + 1).subspan(p.given_);
        p.given_ += there.size();
        *bytes = there.data();
        return static_cast<la_ssize_t>(there.size());
    }
};

class Member : public Source {
public:
    explicit Member(Packed& archive) : archive_(archive) {}
    bool waits() const override { return archive_.waits(); }

private:
    Packed& archive_;
    std::size_t read(std::uint8_t* to, std::size_t room) override { return archive_.read(to, room); }
};

std::unique_ptr<Source> Packed::next(std::string& name) {
    while (archive_) {
        archive_entry* const entry = std::exchange(entry_, nullptr);
        if (!entry) {
            const int result = archive_read_next_header(archive_, &entry_);
            if (result == ARCHIVE_EOF) break;
            if (result >= ARCHIVE_WARN || result == ARCHIVE_RETRY) continue;
            const std::string why =
                archive_error_string(archive_) ? archive_error_string(archive_) : "cannot be unpacked";
            archive_read_free(std::exchange(archive_, nullptr));
            throw Failure(why);
        }
        if (is_raw()) {
            name.clear();
        } else {
            if (archive_entry_filetype(entry) != AE_IFREG) continue;
            const char* const given = archive_entry_pathname(entry);
            name = given ? given : "?";
        }
        return std::make_unique<Member>(*this);
    }
    return nullptr;
}

}  // namespace

std::unique_ptr<Archive> Archive::open(std::unique_ptr<Source>& source, const char* packed) {
    auto archive = std::make_unique<Packed>(packed);
    if (!archive->begin(source)) return nullptr;
    return archive;
}

#else

std::unique_ptr<Archive> Archive::open(std::unique_ptr<Source>&, const char* packed) {
    throw Failure("expected what this build can read, found " + std::string(packed) +
                  ": unpack it first, or say --from raw if it is not");
}

#endif
