// Records of the tone driver: the version of the payload, and the payload raw.
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr Versions layouts[] = {{0, any, 0}};

void print(Report& r) {
    r.counts_whole = true;
    r.put("Tone Version: 0x", Digits::hex(r.version), "\n");
    r.close_with_dump();
}

}  // namespace

const Driver tone = {layouts, print};

}  // namespace ffdc
