#include "input/decompress.hpp"

#if defined(FFDC_ARCHIVES)

#include <bzlib.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <string_view>

#include "input/text.hpp"

namespace {

// One stream. Each call of decode() consumes from the front of `in` and writes to the front of `out`.
class Decoder {
public:
    using Room = std::span<std::uint8_t>;
    enum class Step { more, end, damage };

    virtual ~Decoder() = default;
    virtual Step decode(Bytes& in, Room& out) = 0;
    virtual const char* damage() const = 0;  // after Step::damage: what is wrong

protected:
    // What zlib, liblzma and libbz2 have in common.
    template <typename Stream, typename Run>
    static auto run(Stream& s, Bytes& in, Room& out, Run run) {
        s.next_in = reinterpret_cast<decltype(s.next_in)>(const_cast<std::uint8_t*>(in.data()));
        s.next_out = reinterpret_cast<decltype(s.next_out)>(out.data());
        s.avail_in = static_cast<decltype(s.avail_in)>(in.size());
        s.avail_out = static_cast<decltype(s.avail_out)>(out.size());
        const auto result = run(&s);
        in = in.last(s.avail_in);
        out = out.last(s.avail_out);
        return result;
    }
    static void require(bool memory) {
        if (!memory) throw std::bad_alloc();
    }
};

class Gzip : public Decoder {
public:
    Gzip() { require(inflateInit2(&stream_, 16 + MAX_WBITS) == Z_OK); }
    ~Gzip() override { inflateEnd(&stream_); }
    Step decode(Bytes& in, Room& out) override {
        const int result = run(stream_, in, out, [](z_stream* s) { return inflate(s, Z_NO_FLUSH); });
        require(result != Z_MEM_ERROR);
        return result == Z_STREAM_END ? Step::end : result == Z_OK || result == Z_BUF_ERROR ? Step::more : Step::damage;
    }
    const char* damage() const override { return stream_.msg ? stream_.msg : "a preset dictionary"; }

private:
    z_stream stream_{};
};

class Xz : public Decoder {
public:
    Xz() { require(lzma_stream_decoder(&stream_, most_memory, 0) == LZMA_OK); }
    ~Xz() override { lzma_end(&stream_); }
    Step decode(Bytes& in, Room& out) override {
        result_ = run(stream_, in, out, [](lzma_stream* s) { return lzma_code(s, LZMA_RUN); });
        require(result_ != LZMA_MEM_ERROR);
        return result_ == LZMA_STREAM_END                        ? Step::end
               : result_ == LZMA_OK || result_ == LZMA_BUF_ERROR ? Step::more
                                                                 : Step::damage;
    }
    const char* damage() const override {
        return result_ == LZMA_FORMAT_ERROR     ? "incorrect header"
               : result_ == LZMA_MEMLIMIT_ERROR ? "more than 1 GiB of memory needed"
               : result_ == LZMA_OPTIONS_ERROR  ? "unknown options"
                                                : "incorrect data or checksum";
    }

private:
    static constexpr std::uint64_t most_memory = 1 << 30;
    lzma_stream stream_ = LZMA_STREAM_INIT;
    lzma_ret result_ = LZMA_OK;
};

class Bzip2 : public Decoder {
public:
    Bzip2() { require(BZ2_bzDecompressInit(&stream_, 0, 0) == BZ_OK); }
    ~Bzip2() override { BZ2_bzDecompressEnd(&stream_); }
    Step decode(Bytes& in, Room& out) override {
        const int result = run(stream_, in, out, [](bz_stream* s) { return BZ2_bzDecompress(s); });
        require(result != BZ_MEM_ERROR);
        return result == BZ_STREAM_END ? Step::end : result == BZ_OK ? Step::more : Step::damage;
    }
    const char* damage() const override { return "incorrect data or checksum"; }

private:
    bz_stream stream_{};
};

class Zstd : public Decoder {
public:
    Zstd() : stream_(ZSTD_createDStream()) { require(stream_); }
    ~Zstd() override { ZSTD_freeDStream(stream_); }
    Zstd(const Zstd&) = delete;
    Zstd& operator=(const Zstd&) = delete;
    Step decode(Bytes& in, Room& out) override {
        // As much as it asks for: of what it is given in the call that finds damage, it returns nothing.
        ZSTD_inBuffer from{in.data(), std::min(in.size(), result_), 0};
        ZSTD_outBuffer to{out.data(), out.size(), 0};
        result_ = ZSTD_decompressStream(stream_, &to, &from);
        in = in.subspan(from.pos);
        out = out.subspan(to.pos);
        require(ZSTD_getErrorCode(result_) != ZSTD_error_memory_allocation);
        return ZSTD_isError(result_) ? Step::damage : result_ == 0 ? Step::end : Step::more;
    }
    const char* damage() const override { return ZSTD_getErrorName(result_); }

private:
    ZSTD_DStream* stream_;
    std::size_t result_ = 1;
};

template <typename D>
std::unique_ptr<Decoder> make() {
    return std::make_unique<D>();
}
constexpr struct Kind {
    const char* name;
    std::unique_ptr<Decoder> (*decoder)();
} kinds[] = {{"gzip", make<Gzip>}, {"xz", make<Xz>}, {"zstd", make<Zstd>}, {"bzip2", make<Bzip2>}};

class Decompressed : public Source {
public:
    Decompressed(std::unique_ptr<Source> source, const Kind& kind)
        : Source(source.get()), source_(std::move(source)), kind_(kind) {}
    bool waits() const override { return source_->waits(); }

private:
    std::unique_ptr<Source> source_;
    const Kind& kind_;
    std::unique_ptr<Decoder> decoder_;  // null between two streams
    bool damaged_ = false;

    std::size_t read(std::uint8_t* to, std::size_t room) override {
        Decoder::Room out(to, room);
        while (out.size() == room) {
            if (damaged_) fail(decoder_->damage());
            if (!decoder_ && !begins()) return 0;
            const Bytes before = source_->bytes();
            Bytes in = before;
            const Decoder::Step step = decoder_->decode(in, out);
            source_->skip(before.size() - in.size());
            damaged_ = step == Decoder::Step::damage;
            if (step == Decoder::Step::end) decoder_.reset();
            const bool hungry = step == Decoder::Step::more && in.size() == before.size() && out.size() == room;
            if (hungry && source_->peek(in.size() + 1).size() == in.size()) fail("expected more, found the end");
        }
        return room - out.size();
    }
    // Whether another stream follows, perhaps after zeros, with which tapes and xz pad.
    bool begins() {
        while (!source_->peek(1).empty() && source_->bytes().front() == 0) source_->skip(1);
        if (source_->failure()) throw Failure(*source_->failure());
        if (source_->bytes().empty()) return false;
        decoder_ = kind_.decoder();
        return true;
    }
    [[noreturn]] void fail(const std::string& why) const {
        if (source_->failure()) throw Failure(*source_->failure());
        char offset[32];
        std::snprintf(offset, sizeof offset, "0x%06zx", source_->offset());
        throw Failure("at offset " + std::string(offset) + " of the " + kind_.name + " data: " + why, true);
    }
};

}  // namespace

std::unique_ptr<Source> decompress(std::unique_ptr<Source>& source, const char* packed) {
    for (const Kind& kind : kinds) {
        if (std::string_view(kind.name) != packed) continue;
        // Records and texts may begin like a stream, but do not go on like one.
        Bytes head = source->bytes();
        std::uint8_t byte;
        Decoder::Room out(&byte, 1);
        const bool plain = holds_record_or_text(head);
        if (plain && kind.decoder()->decode(head, out) == Decoder::Step::damage && !out.empty()) return nullptr;
        return std::make_unique<Decompressed>(std::move(source), kind);
    }
    return nullptr;
}

#else

std::unique_ptr<Source> decompress(std::unique_ptr<Source>&, const char*) { return nullptr; }

#endif
