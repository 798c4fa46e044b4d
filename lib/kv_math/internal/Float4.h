#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>
#else
#include <cmath>
#endif

namespace kelvar {

// Four single-precision lanes with float's arithmetic applied lane by lane.
// Every operation (+, -, *, /, sqrt) rounds each lane exactly as the scalar
// float operation does, so code written once as a template over float and
// Float4 gives, in each lane, the bits the float version gives. A float
// converts implicitly to a Float4 holding it in every lane.
struct Float4 {
#if defined(__SSE2__)
    __m128 v;

    Float4() : v(_mm_setzero_ps()) {}
    Float4(float s) : v(_mm_set1_ps(s)) {}
    Float4(float a, float b, float c, float d) : v(_mm_setr_ps(a, b, c, d)) {}
    explicit Float4(__m128 lanes) : v(lanes) {}

    // Lanes from four consecutive floats at p, unaligned.
    static Float4 load(const float* p) { return Float4(_mm_loadu_ps(p)); }
    void store(float* p) const { _mm_storeu_ps(p, v); }

    // Lanes whose value equals zero, as bits 0 to 3.
    unsigned int zeroLanes() const {
        return static_cast<unsigned int>(_mm_movemask_ps(_mm_cmpeq_ps(v, _mm_setzero_ps())));
    }

    // Turns rows a..d (lane i of row r = element r, i) into columns.
    static void transpose(Float4& a, Float4& b, Float4& c, Float4& d) { _MM_TRANSPOSE4_PS(a.v, b.v, c.v, d.v); }

    friend Float4 operator+(const Float4& a, const Float4& b) { return Float4(_mm_add_ps(a.v, b.v)); }
    friend Float4 operator-(const Float4& a, const Float4& b) { return Float4(_mm_sub_ps(a.v, b.v)); }
    friend Float4 operator*(const Float4& a, const Float4& b) { return Float4(_mm_mul_ps(a.v, b.v)); }
    friend Float4 operator/(const Float4& a, const Float4& b) { return Float4(_mm_div_ps(a.v, b.v)); }
    friend Float4 sqrt(const Float4& a) { return Float4(_mm_sqrt_ps(a.v)); }
#else
    float v[4];

    Float4() : v{0.0f, 0.0f, 0.0f, 0.0f} {}
    Float4(float s) : v{s, s, s, s} {}
    Float4(float a, float b, float c, float d) : v{a, b, c, d} {}

    static Float4 load(const float* p) {
        Float4 r;
        for (int i = 0; i < 4; ++i) r.v[i] = p[i];
        return r;
    }
    void store(float* p) const {
        for (int i = 0; i < 4; ++i) p[i] = v[i];
    }

    unsigned int zeroLanes() const {
        unsigned int mask = 0;
        for (int i = 0; i < 4; ++i) mask |= v[i] == 0.0f ? 1u << i : 0u;
        return mask;
    }

    static void transpose(Float4& a, Float4& b, Float4& c, Float4& d) {
        Float4* rows[4] = {&a, &b, &c, &d};
        for (int r = 0; r < 4; ++r)
            for (int i = r + 1; i < 4; ++i) {
                const float t = rows[r]->v[i];
                rows[r]->v[i] = rows[i]->v[r];
                rows[i]->v[r] = t;
            }
    }

    template <class Op>
    static Float4 apply(const Float4& a, const Float4& b, Op op) {
        Float4 r;
        for (int i = 0; i < 4; ++i) r.v[i] = op(a.v[i], b.v[i]);
        return r;
    }
    friend Float4 operator+(const Float4& a, const Float4& b) { return apply(a, b, [](float x, float y) { return x + y; }); }
    friend Float4 operator-(const Float4& a, const Float4& b) { return apply(a, b, [](float x, float y) { return x - y; }); }
    friend Float4 operator*(const Float4& a, const Float4& b) { return apply(a, b, [](float x, float y) { return x * y; }); }
    friend Float4 operator/(const Float4& a, const Float4& b) { return apply(a, b, [](float x, float y) { return x / y; }); }
    friend Float4 sqrt(const Float4& a) { return apply(a, a, [](float x, float) { return std::sqrt(x); }); }
#endif

    Float4& operator+=(const Float4& b) { return *this = *this + b; }
    Float4& operator-=(const Float4& b) { return *this = *this - b; }
    Float4& operator*=(const Float4& b) { return *this = *this * b; }
    Float4& operator/=(const Float4& b) { return *this = *this / b; }
};

}  // namespace kelvar
