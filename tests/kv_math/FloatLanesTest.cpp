#include "kv_math/internal/Float4.h"
#include "kv_math/internal/Float8.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace kelvar {
namespace {

uint32_t bits(float x) { return std::bit_cast<uint32_t>(x); }

float lane(const Float4& x, unsigned i) {
    float out[4];
    x.store(out);
    return out[i];
}

constexpr unsigned kOps = 6;  // +, -, *, /, sqrt, and a float broadcast times b

template <unsigned N>
using ApplyOps = void (*)(const float (&a)[N], const float (&b)[N], float (&out)[kOps][N]);

// Each lane must round exactly as the float operation does: the lattice code
// relies on that to give several cells at once the bits of one.
template <unsigned N>
void expectEveryLaneRoundsAsFloat(ApplyOps<N> apply) {
    std::mt19937 random(N);
    std::uniform_real_distribution<float> value(-1e3f, 1e3f);
    for (int round = 0; round < 2000; ++round) {
        float a[N], b[N], out[kOps][N];
        for (unsigned i = 0; i < N; ++i) {
            a[i] = value(random) * std::ldexp(1.0f, int(random() % 300) - 150);  // denormals too
            b[i] = value(random);
        }
        if (round == 0) {
            a[0] = std::nanf("");
            a[1] = std::numeric_limits<float>::infinity();
            b[2] = 0.0f;
            a[3] = -0.0f;
        }
        apply(a, b, out);
        for (unsigned i = 0; i < N; ++i) {
            const float expected[kOps] = {a[i] + b[i],     a[i] - b[i],     a[i] * b[i],
                                          a[i] / b[i], std::sqrt(a[i]), 2.5f * b[i]};
            for (unsigned op = 0; op < kOps; ++op)
                ASSERT_EQ(bits(out[op][i]), bits(expected[op])) << "op " << op << " lane " << i;
        }
    }
}

void applyOps4(const float (&a)[4], const float (&b)[4], float (&out)[kOps][4]) {
    const Float4 x = Float4::load(a), y = Float4::load(b);
    const Float4 results[kOps] = {x + y, x - y, x * y, x / y, sqrt(x), 2.5f * y};
    for (unsigned op = 0; op < kOps; ++op) results[op].store(out[op]);
}

TEST(Float4, EveryLaneRoundsAsFloat) { expectEveryLaneRoundsAsFloat<4>(applyOps4); }

TEST(Float4, ZeroLanesAndTranspose) {
    EXPECT_EQ(Float4(0.0f, 1.0f, -0.0f, std::nanf("")).zeroLanes(), 0b0101u);
    Float4 rows[4] = {Float4(0, 1, 2, 3), Float4(4, 5, 6, 7), Float4(8, 9, 10, 11), Float4(12, 13, 14, 15)};
    Float4::transpose(rows[0], rows[1], rows[2], rows[3]);
    for (unsigned r = 0; r < 4; ++r)
        for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(lane(rows[r], i), float(i * 4 + r)) << r << " " << i;
}

#if KV_HAS_FLOAT8

constexpr unsigned kLanes = 8;

KV_TARGET_AVX2 void applyOps8(const float (&a)[kLanes], const float (&b)[kLanes], float (&out)[kOps][kLanes]) {
    const Float8 x = Float8::load(a), y = Float8::load(b);
    const Float8 results[kOps] = {x + y, x - y, x * y, x / y, sqrt(x), 2.5f * y};
    for (unsigned op = 0; op < kOps; ++op) results[op].store(out[op]);
}

KV_TARGET_AVX2 unsigned zeroLanesOf(const float (&a)[kLanes]) { return Float8::load(a).zeroLanes(); }

KV_TARGET_AVX2 unsigned greaterLanesOf(const float (&a)[kLanes], const float& b) {
    return Float8::load(a).greaterLanes(Float8(b));
}

TEST(Float8, EveryLaneRoundsAsFloat) {
    if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "no AVX2 on this machine";
    expectEveryLaneRoundsAsFloat<kLanes>(applyOps8);
}

// The masks follow float's == 0 and >, NaN comparing false.
TEST(Float8, LaneMasksCompareAsFloat) {
    if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "no AVX2 on this machine";
    const float nan = std::nanf(""), inf = std::numeric_limits<float>::infinity();
    const float a[kLanes] = {0.0f, 1.0f, -0.0f, nan, 2.0f, inf, -inf, 1e-45f};
    EXPECT_EQ(zeroLanesOf(a), 0b00000101u);
    EXPECT_EQ(greaterLanesOf(a, 1.0f), 0b00110000u);
    EXPECT_EQ(greaterLanesOf(a, nan), 0u);
}

#endif

}  // namespace
}  // namespace kelvar
