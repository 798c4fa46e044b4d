#pragma once

namespace kelvar {

// Plain pairs and triples used to return several values at once.
template <class A, class B = A>
struct Tuple2 {
    A first{};
    B second{};
    constexpr bool operator==(const Tuple2&) const = default;
};

template <class T>
struct Tuple3 {
    T first{};
    T second{};
    T third{};
    constexpr T& operator[](unsigned i) { return i == 0 ? first : (i == 1 ? second : third); }
    constexpr const T& operator[](unsigned i) const { return i == 0 ? first : (i == 1 ? second : third); }
    constexpr bool operator==(const Tuple3&) const = default;
};

}  // namespace kelvar
