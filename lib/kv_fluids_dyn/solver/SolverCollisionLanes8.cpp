#include "kv_fluids_dyn/solver/internal/CollisionLanes8.h"

#include <utility>

#include "kv_fluids_dyn/lattice/internal/LBM_Q19_Regularised.h"
#include "kv_fluids_dyn/lattice/internal/LBM_Q19_SparseMoment.h"
#include "kv_fluids_dyn/solver/internal/CollisionPass.h"
#include "kv_fluids_dyn/solver/internal/SpeedLimit.h"
#include "kv_math/internal/Float8.h"

namespace kelvar::fluid {

#if KV_HAS_FLOAT8

namespace {

using q19::kDirectionCount;
constexpr unsigned int kWidth = kCollisionLanes8;
constexpr unsigned int kAllLanes = (1u << kWidth) - 1;

// A group's slots as 19 lanes of eight: lane c of direction i is cell c's
// slot i. Slots 0-15 go through two 8 x 8 transposes and slots 15-18 through
// one of four floats per cell, so that no access reaches past slot 18.
constexpr unsigned int kSquareSlots = 16;
constexpr unsigned int kTailFirst = kDirectionCount - 4;
constexpr unsigned int kHalf = kWidth / 2;

// A 4 x 4 transpose in each 128-bit half of the four registers.
KV_TARGET_AVX2 inline void transposeHalves(__m256& a, __m256& b, __m256& c, __m256& d) {
    const __m256 ab0 = _mm256_unpacklo_ps(a, b);
    const __m256 ab1 = _mm256_unpackhi_ps(a, b);
    const __m256 cd0 = _mm256_unpacklo_ps(c, d);
    const __m256 cd1 = _mm256_unpackhi_ps(c, d);
    a = _mm256_shuffle_ps(ab0, cd0, 0x44);
    b = _mm256_shuffle_ps(ab0, cd0, 0xEE);
    c = _mm256_shuffle_ps(ab1, cd1, 0x44);
    d = _mm256_shuffle_ps(ab1, cd1, 0xEE);
}

// Rows into columns: afterwards lane c of r[k] is what lane k of r[c] was.
KV_TARGET_AVX2 inline void transpose8(__m256 (&r)[kWidth]) {
    transposeHalves(r[0], r[1], r[2], r[3]);
    transposeHalves(r[4], r[5], r[6], r[7]);
    for (unsigned int k = 0; k < kHalf; ++k) {
        const __m256 low = _mm256_permute2f128_ps(r[k], r[k + kHalf], 0x20);
        r[k + kHalf] = _mm256_permute2f128_ps(r[k], r[k + kHalf], 0x31);
        r[k] = low;
    }
}

KV_TARGET_AVX2 inline void gatherLanes(float* const (&slots)[kWidth], Float8 (&lanes)[kDirectionCount]) {
    for (unsigned int first = 0; first < kSquareSlots; first += kWidth) {
        __m256 rows[kWidth];
        for (unsigned int c = 0; c < kWidth; ++c) rows[c] = _mm256_loadu_ps(slots[c] + first);
        transpose8(rows);
        for (unsigned int k = 0; k < kWidth; ++k) lanes[first + k] = Float8(rows[k]);
    }
    __m256 tail[4];
    for (unsigned int c = 0; c < kHalf; ++c)
        tail[c] = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(slots[c] + kTailFirst)),
                                       _mm_loadu_ps(slots[c + kHalf] + kTailFirst), 1);
    transposeHalves(tail[0], tail[1], tail[2], tail[3]);
    for (unsigned int i = kSquareSlots; i < kDirectionCount; ++i) lanes[i] = Float8(tail[i - kTailFirst]);
}

KV_TARGET_AVX2 inline void scatterLanes(const Float8 (&lanes)[kDirectionCount], float* const (&slots)[kWidth]) {
    for (unsigned int first = 0; first < kSquareSlots; first += kWidth) {
        __m256 rows[kWidth];
        for (unsigned int k = 0; k < kWidth; ++k) rows[k] = lanes[first + k].v;
        transpose8(rows);
        for (unsigned int c = 0; c < kWidth; ++c) _mm256_storeu_ps(slots[c] + first, rows[c]);
    }
    __m256 tail[4];
    for (unsigned int k = 0; k < 4; ++k) tail[k] = lanes[kTailFirst + k].v;
    transposeHalves(tail[0], tail[1], tail[2], tail[3]);
    for (unsigned int c = 0; c < kHalf; ++c) {
        _mm_storeu_ps(slots[c] + kTailFirst, _mm256_castps256_ps128(tail[c]));
        _mm_storeu_ps(slots[c + kHalf] + kTailFirst, _mm256_extractf128_ps(tail[c], 1));
    }
}

// The cells whose lane passed, one slot at a time: the others keep their
// slots for the one-cell collision.
KV_TARGET_AVX2 inline void scatterPassedLanes(const Float8 (&lanes)[kDirectionCount], const unsigned int& passed,
                                              float* const (&slots)[kWidth]) {
    for (unsigned int i = 0; i < kDirectionCount; ++i) {
        float column[kWidth];
        lanes[i].store(column);
        for (unsigned int c = 0; c < kWidth; ++c)
            if (passed & (1u << c)) slots[c][i] = column[c];
    }
}

// The cells limitCellSpeed has to see: those with a non-finite slot, for
// which the limiter takes the full sums, and those it would replace. The
// sum and the first moment are the limiter's, lane by lane.
KV_TARGET_AVX2 inline unsigned int lanesToLimit(const Float8 (&lanes)[kDirectionCount], const float& maxSpeed2) {
    Float8 sum(0.0f);
    for (unsigned int i = 0; i < kDirectionCount; ++i) sum += lanes[i];
    const unsigned int nonFinite = ~(sum - sum).zeroLanes() & kAllLanes;
    const Vector3<Float8> j = q19::sparseFirstMoment(lanes);
    return nonFinite | j.dot(j).greaterLanes(Float8(maxSpeed2));
}

KV_TARGET_AVX2 inline Vector3<Float8> forceLanes(LBM_Q19_MAC_Cell3F* const* cells) {
    float axes[3][kWidth];
    for (unsigned int c = 0; c < kWidth; ++c)
        for (unsigned int a = 0; a < 3; ++a) axes[a][c] = cells[c]->getForce()[a];
    return {Float8::load(axes[0]), Float8::load(axes[1]), Float8::load(axes[2])};
}

// One group of eight. Flattened: the templates written for any number type,
// and Float8's members, are only inlinable into a function compiled for AVX2.
KV_TARGET_AVX2 __attribute__((flatten)) void collideGroup(LBM_Q19_MAC_Cell3F* const* cells,
                                                         const CollisionParameters& parameters,
                                                         CellSample* samples) {
    using Cell = LBM_Q19_Cell3<float>;
    // A liquid cell keeps the lattice cell's slot array; the cells are not
    // const, so its slots may be written through it.
    float* slots[kWidth];
    for (unsigned int c = 0; c < kWidth; ++c) slots[c] = const_cast<float*>(&cells[c]->Cell::getPdfAt(0));
    Float8 lanes[kDirectionCount];
    gatherLanes(slots, lanes);
    if (const unsigned int limit = lanesToLimit(lanes, parameters.maxSpeed2)) {
        for (unsigned int c = 0; c < kWidth; ++c)
            if (limit & (1u << c)) limitCellSpeed(*cells[c], parameters.maxSpeed, parameters.maxSpeed2);
        gatherLanes(slots, lanes);
    }

    // Undo the streaming swap on the lanes, as the one-cell collision does
    // on its slots.
    for (const unsigned int s : q19::kStreamIndex) std::swap(lanes[s], lanes[q19::kOpposite[s]]);
    Float8 density;
    Vector3<Float8> velocity;
    const unsigned int passed = q19::regularised::relaxRegularisedSparse(lanes, forceLanes(cells),
                                                                        Float8(parameters.viscosity), density, velocity);

    // updateDensity's sum, which updateVelocity repeats in the same order.
    Float8 rho(0.0f);
    for (unsigned int i = 0; i < kDirectionCount; ++i) rho += lanes[i];
    const unsigned int finite = (rho - rho).zeroLanes();
    const Vector3<Float8> u = q19::sparseFirstMoment(lanes) / rho;
    if (passed == kAllLanes)
        scatterLanes(lanes, slots);
    else
        scatterPassedLanes(lanes, passed, slots);

    float rhoOf[kWidth], ux[kWidth], uy[kWidth], uz[kWidth];
    rho.store(rhoOf);
    u.x.store(ux);
    u.y.store(uy);
    u.z.store(uz);
    for (unsigned int c = 0; c < kWidth; ++c) {
        LBM_Q19_MAC_Cell3F& cell = *cells[c];
        const unsigned int bit = 1u << c;
        if (!(passed & bit)) cell.Cell::collision(parameters.viscosity);
        if (passed & finite & bit) {
            cell.setDensity(rhoOf[c]);
            cell.setVelocity(Vector3<float>(ux[c], uy[c], uz[c]));
        } else {
            cell.Cell::updateDensity();
            cell.Cell::updateVelocity();
        }
        writeSample(cell, samples);
    }
}

// Asks for the cache lines of the cells of a later group: the liquid list
// reaches them through pointers, which the hardware prefetcher does not
// follow.
inline void prefetchGroup(LBM_Q19_MAC_Cell3F* const* cells) {
    constexpr unsigned int kLine = 64;
    for (unsigned int c = 0; c < kWidth; ++c) {
        const char* const cell = reinterpret_cast<const char*>(cells[c]);
        for (unsigned int offset = 0; offset < sizeof(LBM_Q19_MAC_Cell3F); offset += kLine)
            __builtin_prefetch(cell + offset, 1);
        __builtin_prefetch(cell + sizeof(LBM_Q19_MAC_Cell3F) - 1, 1);
    }
}

// How many groups ahead the cells are prefetched.
constexpr uint32_t kPrefetchGroups = 2;

}  // namespace

bool hasCollisionLanes8() {
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}

uint32_t collideLanes8(LBM_Q19_MAC_Cell3F* const* cells, const uint32_t& first, const uint32_t& end,
                       const CollisionParameters& parameters, CellSample* samples) {
    uint32_t n = first;
    for (; n + kWidth <= end; n += kWidth) {
        if (n + (kPrefetchGroups + 1) * kWidth <= end) prefetchGroup(cells + n + kPrefetchGroups * kWidth);
        collideGroup(cells + n, parameters, samples);
    }
    return n;
}

#else

bool hasCollisionLanes8() {
    return false;
}

uint32_t collideLanes8(LBM_Q19_MAC_Cell3F* const*, const uint32_t& first, const uint32_t&, const CollisionParameters&,
                       CellSample*) {
    return first;
}

#endif

}  // namespace kelvar::fluid
