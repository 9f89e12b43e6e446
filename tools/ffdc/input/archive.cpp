#include "input/archive.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#if defined(FFDC_ARCHIVES)
#include <archive.h>
#include <archive_entry.h>

#include "input/text.hpp"
#endif

using namespace std::string_view_literals;

const char* packed_with(Source& source) {
    constexpr struct {
        std::size_t at;
        std::string_view mark;
        const char* name;
    } marks[] = {
        {0, "\x1f\x8b"sv, "gzip"},
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
    explicit Packed(const char* packed) : is_zip_(std::string_view(packed) == "zip") {}
    ~Packed() override { archive_read_free(archive_); }

    bool begin(std::unique_ptr<Source>& source) {
        source_ = source.get();
        // Bytes that only begin like packed ones are taken for a file that is not, and so is a damaged tar: its records
        // are found without it.
        const bool plain = !is_zip_ || holds_record_or_text(source_->bytes());
        if (!open() || (plain && *ahead_ != ARCHIVE_EOF && *ahead_ < ARCHIVE_WARN)) return false;
        owned_ = std::move(source);
        return true;
    }

    std::unique_ptr<Source> next(std::string& name) override;
    std::size_t read(std::uint8_t* to, std::size_t room);
    bool waits() const { return source_->waits(); }

private:
    const bool is_zip_;
    archive* archive_ = nullptr;
    archive_entry* entry_ = nullptr;
    std::optional<int> ahead_;  // what the attempt to read the next header has returned already
    Source* source_ = nullptr;
    std::unique_ptr<Source> owned_;
    std::size_t begin_ = 0;  // where the archive, or what is left of it, begins in the source
    std::size_t given_ = 0;  // of the source's bytes; they are not skipped yet
    bool ended_ = false;     // nothing more can be read
    bool lost_ = false;      // the header that should be next, and that has been told
    std::size_t members_ = 0;

    Bytes block_;            // of the member
    std::size_t zeros_ = 0;  // before it, where a sparse file has a hole
    std::size_t read_ = 0;   // of the member, with the block
    bool damaged_ = false;   // behind the block

    bool open();
    bool open_behind_damage();
    void finish();
    [[noreturn]] void fail(const std::string& why) const {
        if (source_->failure()) throw Failure(*source_->failure());
        char offset[32];
        std::snprintf(offset, sizeof offset, "0x%06zx", source_->offset() + given_);
        throw Failure("before offset " + std::string(offset) + " of the " + (is_zip_ ? "zip" : "tar") + " data: " + why,
                      true);
    }
    [[noreturn]] void fail() const {
        if (archive_errno(archive_) == ENOMEM) throw std::bad_alloc();
        const char* const why = archive_error_string(archive_);
        fail(why ? why : "it cannot be unpacked");
    }
    static la_ssize_t give_more(archive* a, void* self, const void** bytes) {
        constexpr std::size_t zip_block = 1024;  // damage takes the block in which it is found with it
        Packed& p = *static_cast<Packed*>(self);
        if (p.owned_) p.source_->skip(std::exchange(p.given_, 0));
        Bytes there = p.source_->peek(p.given_ + 1).subspan(p.given_);
        if (p.is_zip_) there = there.first(std::min(there.size(), zip_block));
        p.given_ += there.size();
        *bytes = there.data();
        if (!there.empty() || !p.source_->failure()) return static_cast<la_ssize_t>(there.size());
        archive_set_error(a, EIO, "%s", p.source_->failure()->what());
        return ARCHIVE_FATAL;
    }
};

class Member : public Source {
public:
    Member(Packed& archive, const Source& packed) : Source(&packed), archive_(archive) {}
    bool waits() const override { return archive_.waits(); }

private:
    Packed& archive_;
    std::size_t read(std::uint8_t* to, std::size_t room) override { return archive_.read(to, room); }
};

bool Packed::open() {
    archive_read_free(archive_);
    archive_ = archive_read_new();
    begin_ = source_->offset();
    if (!archive_) throw std::bad_alloc();
    is_zip_ ? archive_read_support_format_zip_streamable(archive_) : archive_read_support_format_tar(archive_);
    if (archive_read_open2(archive_, this, nullptr, give_more, nullptr, nullptr) != ARCHIVE_OK) return false;
    ahead_ = archive_read_next_header(archive_, &entry_);
    return true;
}

// Whether a member of a zip follows one whose data cannot be decompressed to their end.
bool Packed::open_behind_damage() {
    constexpr std::string_view mark = "PK\3\4";
    const std::size_t read =
        begin_ + std::max<std::size_t>(1, static_cast<std::size_t>(archive_filter_bytes(archive_, 0)));
    source_->skip(read - std::min(read, source_->offset()));
    given_ = 0;
    while (is_zip_ && source_->peek(mark.size()).size() >= mark.size()) {
        const Bytes there = source_->bytes();
        const void* const found = memmem(there.data(), there.size(), mark.data(), mark.size());
        source_->skip(found ? static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - there.data())
                            : there.size() - mark.size() + 1);
        if (found) return open();
    }
    return false;
}

std::size_t Packed::read(std::uint8_t* to, std::size_t room) {
    while (zeros_ == 0 && block_.empty()) {
        if (std::exchange(damaged_, false)) fail();
        if (ended_) return 0;
        const void* block = nullptr;
        std::size_t size = 0;
        la_int64_t offset = 0;
        const int result = archive_read_data_block(archive_, &block, &size, &offset);
        if (result == ARCHIVE_EOF) return 0;
        damaged_ = result != ARCHIVE_OK;
        ended_ = result == ARCHIVE_FATAL;
        if (ended_ || size == 0) continue;
        if (static_cast<std::size_t>(offset) < read_) fail("the parts of a sparse file are out of order");
        zeros_ = static_cast<std::size_t>(offset) - read_;
        block_ = {static_cast<const std::uint8_t*>(block), size};  // the bytes are there, even if their sum is wrong
        read_ = static_cast<std::size_t>(offset) + size;
    }
    const std::size_t n = std::min(room, zeros_ != 0 ? zeros_ : block_.size());
    if (zeros_ != 0) {
        std::memset(to, 0, n);
        zeros_ -= n;
    } else {
        std::copy_n(block_.begin(), n, to);
        block_ = block_.subspan(n);
    }
    return n;
}

std::unique_ptr<Source> Packed::next(std::string& name) {
    block_ = {};
    zeros_ = read_ = 0;
    damaged_ = false;
    while (!ended_ || open_behind_damage()) {
        ended_ = false;
        const int result = ahead_ ? *ahead_ : archive_read_next_header(archive_, &entry_);
        ahead_.reset();
        if (result == ARCHIVE_EOF) {
            ended_ = true;
            finish();
            break;
        }
        if (result < ARCHIVE_WARN) {
            ended_ = result != ARCHIVE_RETRY;
            if (ended_ || !std::exchange(lost_, true)) fail();
            continue;
        }
        lost_ = false;
        ++members_;
        if (archive_entry_filetype(entry_) != AE_IFREG) continue;
        const char* const given = archive_entry_pathname(entry_);
        name = given ? given : "?";
        return std::make_unique<Member>(*this, *source_);
    }
    return nullptr;
}

// Reads the source to its end: the sum of what was compressed may come last. A zip says there how many members it has,
// as one whose beginning is damaged is not found.
void Packed::finish() {
    constexpr std::string_view mark = "PK\5\6";
    constexpr std::size_t size = 22, longest = size + 0xffff;
    while (!source_->ended()) {
        source_->skip(source_->bytes().size() - std::min(source_->bytes().size(), longest));
        source_->read_on(longest);
    }
    const Bytes rest = source_->bytes();
    given_ = rest.size();
    if (source_->failure()) fail();
    if (!is_zip_) return;
    const std::string_view text(reinterpret_cast<const char*>(rest.data()), rest.size());
    const std::size_t at = text.rfind(mark);
    if (at == text.npos || rest.size() - at < size) fail("expected the end of a list of members, found none");
    const std::size_t members = rest[at + 10] | static_cast<std::size_t>(rest[at + 11]) << 8;
    if (members != 0xffff && members != (members_ & 0xffff))
        fail("expected " + std::to_string(members) + " members, found " + std::to_string(members_));
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
