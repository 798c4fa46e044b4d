#pragma once

#include <cmath>

#include "kv_math/Vector3.h"

namespace kelvar {

// A rotation quaternion (x, y, z, w), w the scalar part; identity is
// (0, 0, 0, 1). Products follow Hamilton's convention, so that
// (a * b).rotate(v) == a.rotate(b.rotate(v)): the right operand acts first.
//
// Euler angles are in radians and applied about the fixed axes x first, then
// y, then z: fromEuler(r) == qz * qy * qx.
template <class T>
struct Quaternion {
    T x{};
    T y{};
    T z{};
    T w{1};

    constexpr Quaternion() = default;
    constexpr Quaternion(T x_, T y_, T z_, T w_) : x(x_), y(y_), z(z_), w(w_) {}

    static constexpr Quaternion identity() { return {T(0), T(0), T(0), T(1)}; }

    // Rotation by `radians` about `axis` (normalised here; a zero axis gives
    // the identity).
    static Quaternion fromAxisAngle(const Vector3<T>& axis, T radians) {
        const T length = axis.length();
        if (!(length > T(0))) return identity();
        const T half = radians * T(0.5);
        const T s = std::sin(half) / length;
        return {axis.x * s, axis.y * s, axis.z * s, std::cos(half)};
    }

    static Quaternion fromEuler(const Vector3<T>& radians) {
        const Quaternion qx = fromAxisAngle({T(1), T(0), T(0)}, radians.x);
        const Quaternion qy = fromAxisAngle({T(0), T(1), T(0)}, radians.y);
        const Quaternion qz = fromAxisAngle({T(0), T(0), T(1)}, radians.z);
        return qz * qy * qx;
    }

    constexpr Quaternion operator*(const Quaternion& o) const {
        return {w * o.x + x * o.w + y * o.z - z * o.y,
                w * o.y - x * o.z + y * o.w + z * o.x,
                w * o.z + x * o.y - y * o.x + z * o.w,
                w * o.w - x * o.x - y * o.y - z * o.z};
    }

    constexpr Quaternion conjugate() const { return {-x, -y, -z, w}; }
    constexpr T normSquared() const { return x * x + y * y + z * z + w * w; }
    T norm() const { return std::sqrt(normSquared()); }

    // Unit quaternion in the same direction; the identity when the norm is 0.
    Quaternion normalized() const {
        const T n = norm();
        if (!(n > T(0))) return identity();
        return {x / n, y / n, z / n, w / n};
    }

    // Rotates v; the quaternion is expected to be of unit length.
    constexpr Vector3<T> rotate(const Vector3<T>& v) const {
        const Vector3<T> u{x, y, z};
        const Vector3<T> t = u.cross(v) * T(2);
        return v + t * w + u.cross(t);
    }

    constexpr bool operator==(const Quaternion&) const = default;
};

}  // namespace kelvar
