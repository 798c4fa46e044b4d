#pragma once

#include "kv_math/Vector3.h"

namespace kelvar {

// An oriented box: a centre, three unit axes and the half extent along each.
template <class T>
struct Obb3 {
    Vector3<T> center{};
    Vector3<T> axis[3]{{T(1), T(0), T(0)}, {T(0), T(1), T(0)}, {T(0), T(0), T(1)}};
    Vector3<T> halfExtent{};

    // True when p lies inside the box or on its boundary.
    constexpr bool contains(const Vector3<T>& p) const {
        const Vector3<T> d = p - center;
        for (int i = 0; i < 3; ++i) {
            const T a = d.dot(axis[i]);
            if (a > halfExtent[i] || a < -halfExtent[i]) return false;
        }
        return true;
    }
};

}  // namespace kelvar
