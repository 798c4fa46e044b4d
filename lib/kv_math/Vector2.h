#pragma once

namespace kelvar {

// A two-component vector, used for texture coordinates.
template <class T>
struct Vector2 {
    T x{};
    T y{};

    constexpr Vector2() = default;
    constexpr Vector2(T x_, T y_) : x(x_), y(y_) {}

    constexpr Vector2 operator+(const Vector2& o) const { return {x + o.x, y + o.y}; }
    constexpr Vector2 operator-(const Vector2& o) const { return {x - o.x, y - o.y}; }
    constexpr Vector2 operator*(T s) const { return {x * s, y * s}; }
    constexpr bool operator==(const Vector2&) const = default;
};

}  // namespace kelvar
