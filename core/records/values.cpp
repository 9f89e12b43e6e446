// The values of a record, and the bytes that are none.
#include <cerrno>

#include "record.hpp"

namespace ffdc {
namespace {

// Hands values on and remembers which bytes of the payload they cover.
struct Coverage {
    dd_ffdc_value_fn each;
    void* context;
    std::uint8_t covered[(65536 - header_size + 7) / 8] = {};

    static void note(void* self, const dd_ffdc_value* value) {
        Coverage& c = *static_cast<Coverage*>(self);
        for (std::size_t i = value->offset; i < value->offset + value->size; ++i)
            if (i >= header_size && i - header_size < 8 * sizeof c.covered)
                c.covered[(i - header_size) / 8] |= static_cast<std::uint8_t>(1 << (i - header_size) % 8);
        c.each(c.context, value);
    }
    bool has(std::size_t i) const { return (covered[i / 8] >> i % 8 & 1) != 0; }

    void tell_rest(std::size_t size) const {
        for (std::size_t end = 0, begin = 0; begin < size; begin = end) {
            while (end < size && has(end) == has(begin)) ++end;
            if (has(begin)) continue;
            const dd_ffdc_value rest = {.group = "",
                                        .name = "",
                                        .index = -1,
                                        .offset = static_cast<std::uint32_t>(header_size + begin),
                                        .size = static_cast<std::uint32_t>(end - begin),
                                        .kind = DD_FFDC_UNSHOWN,
                                        .missing = 0,
                                        .number = 0,
                                        .text = nullptr,
                                        .text_length = 0};
            each(context, &rest);
        }
    }
};

}  // namespace

int values(const Record* record, std::size_t there, dd_ffdc_value_fn each, void* context) {
    int length = 0;
    if (!readable(record, there, length)) return -EINVAL;
    Coverage coverage = {each, context};
    Report r = report_of(*record, length, nullptr, 0);
    r.quiet = true;
    r.observer.each = Coverage::note;
    r.observer.context = &coverage;
    print_record(*record, r);
    coverage.tell_rest(r.payload.size);
    return r.state;
}

}  // namespace ffdc
