#pragma once

namespace kelvar {

// A set of bits held in an integer of type Int. Tag names the owner of the
// bit meanings, so that flag words of different owners do not mix.
template <class Tag, class Int>
class Flag {
public:
    constexpr Flag() = default;
    constexpr Flag(Int bits) : bits_(bits) {}

    constexpr Int get() const { return bits_; }
    constexpr void setAll(Int bits) { bits_ = bits; }

    // True when any of `bits` is set.
    constexpr bool test(Int bits) const { return (bits_ & bits) != 0; }
    constexpr bool testAll(Int bits) const { return (bits_ & bits) == bits; }
    constexpr void set(Int bits) { bits_ = static_cast<Int>(bits_ | bits); }
    constexpr void clear(Int bits) { bits_ = static_cast<Int>(bits_ & ~bits); }
    constexpr void reset() { bits_ = 0; }

    constexpr bool operator==(const Flag& other) const = default;

private:
    Int bits_ = 0;
};

}  // namespace kelvar
