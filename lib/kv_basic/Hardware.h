#pragma once

#include <bit>

namespace kelvar {

// Facts about the machine the library runs on.
struct Hardware {
    static constexpr bool isBigEndian() { return std::endian::native == std::endian::big; }
};

}  // namespace kelvar
