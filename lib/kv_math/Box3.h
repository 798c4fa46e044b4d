#pragma once

#include <algorithm>

#include "kv_math/Vector3.h"

namespace kelvar {

// An axis-aligned box given by its min and max corners.
template <class T>
struct Box3 {
    Vector3<T> min{};
    Vector3<T> max{};

    constexpr Box3() = default;
    constexpr Box3(const Vector3<T>& lo, const Vector3<T>& hi) : min(lo), max(hi) {}

    constexpr Vector3<T> extent() const { return max - min; }
    constexpr Vector3<T> center() const { return (min + max) * T(0.5); }
    constexpr bool contains(const Vector3<T>& p) const {
        return p.x >= min.x && p.x <= max.x && p.y >= min.y && p.y <= max.y && p.z >= min.z && p.z <= max.z;
    }
    constexpr void expand(const Vector3<T>& p) {
        min = {std::min(min.x, p.x), std::min(min.y, p.y), std::min(min.z, p.z)};
        max = {std::max(max.x, p.x), std::max(max.y, p.y), std::max(max.z, p.z)};
    }
    constexpr bool operator==(const Box3&) const = default;
};

}  // namespace kelvar
