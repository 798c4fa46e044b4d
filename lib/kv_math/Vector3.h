#pragma once

#include <cmath>

namespace kelvar {

// A three-component vector: three plain fields, everything inline.
//
// Sums are evaluated left to right, so dot(a, b) is (a.x*b.x + a.y*b.y) +
// a.z*b.z; the lattice code relies on that order for bit-exact results.
template <class T>
struct Vector3 {
    T x{};
    T y{};
    T z{};

    constexpr Vector3() = default;
    constexpr Vector3(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}

    constexpr T& operator[](unsigned i) { return i == 0 ? x : (i == 1 ? y : z); }
    constexpr const T& operator[](unsigned i) const { return i == 0 ? x : (i == 1 ? y : z); }

    constexpr Vector3 operator+(const Vector3& o) const { return {x + o.x, y + o.y, z + o.z}; }
    constexpr Vector3 operator-(const Vector3& o) const { return {x - o.x, y - o.y, z - o.z}; }
    constexpr Vector3 operator-() const { return {-x, -y, -z}; }
    constexpr Vector3 operator*(T s) const { return {x * s, y * s, z * s}; }
    constexpr Vector3 operator/(T s) const { return {x / s, y / s, z / s}; }
    constexpr Vector3& operator+=(const Vector3& o) { x += o.x; y += o.y; z += o.z; return *this; }
    constexpr Vector3& operator-=(const Vector3& o) { x -= o.x; y -= o.y; z -= o.z; return *this; }
    constexpr Vector3& operator*=(T s) { x *= s; y *= s; z *= s; return *this; }
    constexpr Vector3& operator/=(T s) { x /= s; y /= s; z /= s; return *this; }
    constexpr bool operator==(const Vector3&) const = default;

    // Component-wise product and quotient.
    constexpr Vector3 mul(const Vector3& o) const { return {x * o.x, y * o.y, z * o.z}; }
    constexpr Vector3 div(const Vector3& o) const { return {x / o.x, y / o.y, z / o.z}; }

    constexpr T dot(const Vector3& o) const { return x * o.x + y * o.y + z * o.z; }
    constexpr Vector3 cross(const Vector3& o) const {
        return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
    }
    constexpr T lengthSquared() const { return x * x + y * y + z * z; }
    T length() const { return std::sqrt(lengthSquared()); }
};

template <class T>
constexpr Vector3<T> operator*(T s, const Vector3<T>& v) { return v * s; }

template <class T>
constexpr T dot(const Vector3<T>& a, const Vector3<T>& b) { return a.dot(b); }

}  // namespace kelvar
