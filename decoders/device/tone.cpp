// Records of the tone driver: the version of the payload, and the payload raw.
#include "decoders.hpp"

namespace ffdc {

void tone(Report& r) {
    r.counts_whole = true;
    r.put("Tone Version: 0x", Digits::hex(r.version), "\n");
    r.close_with_dump();
}

}  // namespace ffdc
