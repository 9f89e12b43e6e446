// Records of the tone driver: the version of the payload, and the payload raw.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr DriverLayout layouts[] = {{{0, any, 0}}};
constexpr Frame frame = {.title = {"Tone Version: 0x", Text::Version::hex, "\n"}, .closing = "", .counts_whole = true};

}  // namespace

const Driver tone = driver<layouts, nothing, frame>;

}  // namespace ffdc
