#pragma once

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>

#define KV_HAS_FLOAT8 1
// Code that uses Float8 is compiled for AVX2 function by function, so that
// the rest of the library keeps running on machines without it; callers
// check __builtin_cpu_supports("avx2") first.
#define KV_TARGET_AVX2 __attribute__((target("avx2")))

namespace kelvar {

// Eight single-precision lanes with float's arithmetic applied lane by lane,
// the AVX2 counterpart of Float4: +, -, *, / and sqrt round each lane as the
// scalar float operation does. Every member is compiled for AVX2, so a
// function using it must be too, and must inline it (flatten) when it goes
// through templates written for any number type.
struct Float8 {
    __m256 v;

    // Unset, as a float is, so that arrays of lanes which are filled
    // before they are read cost no clearing; Float8{} is all zeros.
    Float8() = default;
    KV_TARGET_AVX2 Float8(float s) : v(_mm256_set1_ps(s)) {}
    KV_TARGET_AVX2 explicit Float8(__m256 lanes) : v(lanes) {}

    KV_TARGET_AVX2 static Float8 load(const float* p) { return Float8(_mm256_loadu_ps(p)); }
    KV_TARGET_AVX2 void store(float* p) const { _mm256_storeu_ps(p, v); }

    // Lanes whose value equals zero, as bits 0 to 7.
    KV_TARGET_AVX2 unsigned int zeroLanes() const {
        return static_cast<unsigned int>(_mm256_movemask_ps(_mm256_cmp_ps(v, _mm256_setzero_ps(), _CMP_EQ_OQ)));
    }
    // Lanes where this > b, false for NaN as float's >, as bits 0 to 7.
    KV_TARGET_AVX2 unsigned int greaterLanes(const Float8& b) const {
        return static_cast<unsigned int>(_mm256_movemask_ps(_mm256_cmp_ps(v, b.v, _CMP_GT_OQ)));
    }

    KV_TARGET_AVX2 friend Float8 operator+(const Float8& a, const Float8& b) { return Float8(_mm256_add_ps(a.v, b.v)); }
    KV_TARGET_AVX2 friend Float8 operator-(const Float8& a, const Float8& b) { return Float8(_mm256_sub_ps(a.v, b.v)); }
    KV_TARGET_AVX2 friend Float8 operator*(const Float8& a, const Float8& b) { return Float8(_mm256_mul_ps(a.v, b.v)); }
    KV_TARGET_AVX2 friend Float8 operator/(const Float8& a, const Float8& b) { return Float8(_mm256_div_ps(a.v, b.v)); }
    KV_TARGET_AVX2 friend Float8 sqrt(const Float8& a) { return Float8(_mm256_sqrt_ps(a.v)); }

    KV_TARGET_AVX2 Float8& operator+=(const Float8& b) { return *this = *this + b; }
    KV_TARGET_AVX2 Float8& operator-=(const Float8& b) { return *this = *this - b; }
    KV_TARGET_AVX2 Float8& operator*=(const Float8& b) { return *this = *this * b; }
    KV_TARGET_AVX2 Float8& operator/=(const Float8& b) { return *this = *this / b; }
};

}  // namespace kelvar

#else
#define KV_HAS_FLOAT8 0
#endif
