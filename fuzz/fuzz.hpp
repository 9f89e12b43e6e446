// What the fuzz targets share. A target is LLVMFuzzerTestOneInput; what it must not find ends the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>

#include "tavi_ffdc.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline void expect(bool holds, const std::string& otherwise) {
    if (holds) return;
    std::fprintf(stderr, "%s\n", otherwise.c_str());
    std::abort();
}

// Memory of exactly so many bytes, so that the address sanitizer sees each one too many.
template <typename Byte>
class Exact {
public:
    explicit Exact(std::size_t size) : bytes_(new Byte[size]), size_(size) {}
    explicit Exact(std::span<const std::uint8_t> from) : Exact(from.size()) {
        for (std::size_t i = 0; i < size_; ++i) bytes_[i] = static_cast<Byte>(from[i]);
    }
    Byte* data() const { return bytes_.get(); }
    std::size_t size() const { return size_; }
    Byte& operator[](std::size_t i) const { return bytes_[i]; }

private:
    std::unique_ptr<Byte[]> bytes_;
    std::size_t size_;
};

inline const dd_ffdc_hdr* as_record(const std::uint8_t* bytes) { return reinterpret_cast<const dd_ffdc_hdr*>(bytes); }

inline unsigned half(const std::uint8_t* p) { return static_cast<unsigned>(p[0] << 8 | p[1]); }

// Room for the text of any record of so many bytes: less than DD_FFDC_RENDER_ROOM, because large memory is slow memory.
inline int room_for(std::size_t size) { return static_cast<int>(32768 + 5 * size); }

// Trace lines go nowhere.
inline void silence() {
    static std::FILE* const nowhere = std::freopen("/dev/null", "w", stdout);
    expect(nowhere != nullptr, "cannot open /dev/null");
}
