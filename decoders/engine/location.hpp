// The engine location word, of which the highest byte is not shown.
#pragma once

#include "language/row.hpp"

namespace ffdc {

inline constexpr Row location_rows[] = {
    {"Engine location: link=%d", u8(1), "link"},
    {" cfam=%d", u8(2)},
    {" engine=%d\n", u8(3)},
};

}  // namespace ffdc
