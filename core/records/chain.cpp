// The chain of those who trust their records.
#include <cerrno>

#include "record.hpp"

namespace ffdc {

int get_chain(const Record* head, const Record** cursor) {
    if (!has_magic(head)) {
        errno = EINVAL;
        return -1;
    }
    const Record* const record = *cursor;
    if (!record) {
        *cursor = head;
    } else if (word(record->chained) != 0 && word(record->size) >= header_size) {
        *cursor = reinterpret_cast<const Record*>(bytes_of(*record) + word(record->size));
    } else {
        *cursor = nullptr;
    }
    return 0;
}

int get_type(const Record* head, std::int32_t type, const Record** found) {
    *found = nullptr;
    const Record* record = nullptr;
    do {
        if (get_chain(head, &record) != 0) return -1;
    } while (record && static_cast<std::int32_t>(word(record->type)) != type);
    *found = record;
    return 0;
}

}  // namespace ffdc
