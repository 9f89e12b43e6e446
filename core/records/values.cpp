// The values of a record, and the bytes that are none.
#include <cerrno>

#include "record.hpp"

namespace ffdc {
namespace {

int tell(const Record* record, std::size_t there, char* out, int room, Observer observer) {
    int length = 0;
    if (!readable(record, there, length)) return -EINVAL;
    Report r = report_of(*record, length, out, room);
    r.quiet = true;
    r.observer = &observer;
    print_record(*record, r);

    dd_ffdc_value unshown = {};
    unshown.group = unshown.name = "";
    unshown.index = -1;
    unshown.kind = DD_FFDC_UNSHOWN;
    observer.covered.keep();
    const std::size_t end = header_size + r.payload.size;
    for (std::size_t at = observer.covered.next(header_size, false); at < end;) {
        const std::size_t next = std::min(observer.covered.next(at, true), end);
        unshown.offset = static_cast<std::uint32_t>(at);
        unshown.size = static_cast<std::uint32_t>(next - at);
        observer.each(observer.context, &unshown);
        at = observer.covered.next(next, false);
    }
    return r.state;
}

}  // namespace

int values(const Record* record, std::size_t there, dd_ffdc_value_fn each, void* context) {
    return tell(record, there, nullptr, 0, {each, context, false});
}

int annotate(const Record* record, std::size_t there, char* out, int room, dd_ffdc_value_fn each, void* context) {
    return tell(record, there, out, room, {each, context, true});
}

}  // namespace ffdc
