#include "kv_fluids_dyn/solver/internal/AdvectionLanes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/solver/internal/ParticleLandings.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define KV_ADVECTION_LANES 1
#else
#define KV_ADVECTION_LANES 0
#endif

namespace kelvar::fluid {

namespace {

// The lanes read a particle's position as the first three of four floats
// and write its position and velocity as six floats in a row.
static_assert(offsetof(MAC_Particle3, velocity) == offsetof(MAC_Particle3, position) + 3 * sizeof(float));
static_assert(sizeof(Vector3<float>) == 3 * sizeof(float));
static_assert(offsetof(CellSample, type) == 3 * sizeof(float));

// The lanes address samples by 32-bit byte offsets, 16 bytes a sample.
constexpr int kSampleShift = 4;
constexpr uint64_t kMaxLaneCells = uint64_t(1) << (32 - kSampleShift);

#if KV_ADVECTION_LANES
#define KV_AVX2 __attribute__((target("avx2")))

// The grid's constants, one per lane.
struct Broadcast {
    __m256 minX, minY, minZ;
    __m256 invX, invY, invZ;
    __m256 countX, countY, countZ;
    __m256 half, one, minusOne, magnitude;
    __m256i nz, stride;
    __m256i lastCorner[3];  // n - 1 per axis
    uint32_t nzScalar, strideScalar;
};

KV_AVX2 void broadcast(const LatticeShape& s, Broadcast& b) {
    b.minX = _mm256_set1_ps(s.min.x);
    b.minY = _mm256_set1_ps(s.min.y);
    b.minZ = _mm256_set1_ps(s.min.z);
    b.invX = _mm256_set1_ps(s.invCellSize.x);
    b.invY = _mm256_set1_ps(s.invCellSize.y);
    b.invZ = _mm256_set1_ps(s.invCellSize.z);
    b.countX = _mm256_set1_ps(s.countX);
    b.countY = _mm256_set1_ps(s.countY);
    b.countZ = _mm256_set1_ps(s.countZ);
    b.half = _mm256_set1_ps(s.halfWidth);
    b.one = _mm256_set1_ps(1.0f);
    b.minusOne = _mm256_set1_ps(-1.0f);
    // Clears the sign bit, as std::abs does.
    b.magnitude = _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF));
    b.nz = _mm256_set1_epi32(int(s.nz));
    b.stride = _mm256_set1_epi32(int(s.stride));
    b.lastCorner[0] = _mm256_set1_epi32(int(s.nx) - 1);
    b.lastCorner[1] = _mm256_set1_epi32(int(s.ny) - 1);
    b.lastCorner[2] = _mm256_set1_epi32(int(s.nz) - 1);
    b.nzScalar = s.nz;
    b.strideScalar = s.stride;
}

// out[k] lane i := rows[i][k] for four floats at each of eight addresses.
KV_AVX2 inline void transpose4(const float* const (&rows)[AdvectionLanes::kWidth], __m256 (&out)[4]) {
    __m256 r[4];
    for (int i = 0; i < 4; ++i)
        r[i] = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(rows[i])), _mm_loadu_ps(rows[i + 4]), 1);
    const __m256 t0 = _mm256_unpacklo_ps(r[0], r[1]);
    const __m256 t1 = _mm256_unpackhi_ps(r[0], r[1]);
    const __m256 t2 = _mm256_unpacklo_ps(r[2], r[3]);
    const __m256 t3 = _mm256_unpackhi_ps(r[2], r[3]);
    out[0] = _mm256_shuffle_ps(t0, t2, 0x44);
    out[1] = _mm256_shuffle_ps(t0, t2, 0xEE);
    out[2] = _mm256_shuffle_ps(t1, t3, 0x44);
    out[3] = _mm256_shuffle_ps(t1, t3, 0xEE);
}

// out[k] lane i := in[i] lane k: the transpose of an 8 x 8 block.
KV_AVX2 inline void transpose8(const __m256 (&in)[8], __m256 (&out)[8]) {
    __m256 t[8];
    for (int i = 0; i < 8; i += 2) {
        t[i] = _mm256_unpacklo_ps(in[i], in[i + 1]);
        t[i + 1] = _mm256_unpackhi_ps(in[i], in[i + 1]);
    }
    __m256 s[8];
    for (int h = 0; h < 8; h += 4) {
        s[h] = _mm256_shuffle_ps(t[h], t[h + 2], 0x44);
        s[h + 1] = _mm256_shuffle_ps(t[h], t[h + 2], 0xEE);
        s[h + 2] = _mm256_shuffle_ps(t[h + 1], t[h + 3], 0x44);
        s[h + 3] = _mm256_shuffle_ps(t[h + 1], t[h + 3], 0xEE);
    }
    for (int k = 0; k < 4; ++k) {
        out[k] = _mm256_permute2f128_ps(s[k], s[k + 4], 0x20);
        out[k + 4] = _mm256_permute2f128_ps(s[k], s[k + 4], 0x31);
    }
}

// out[k] lane i := the k-th of the eight floats at base + offsets[i] bytes.
KV_AVX2 inline void gather8(const char* base, const uint32_t (&offsets)[AdvectionLanes::kWidth], __m256 (&out)[8]) {
    __m256 rows[8];
    for (int i = 0; i < 8; ++i) rows[i] = _mm256_loadu_ps(reinterpret_cast<const float*>(base + offsets[i]));
    transpose8(rows, out);
}

KV_AVX2 inline __m256i isLiquid(const __m256i& type) {
    return _mm256_or_si256(_mm256_cmpeq_epi32(type, _mm256_set1_epi32(LBM_CELL_FLUID)),
                           _mm256_cmpeq_epi32(type, _mm256_set1_epi32(LBM_CELL_INTERFACE)));
}

// -1 < q < count on each axis, as the sampler's exact-count test.
KV_AVX2 inline __m256 insideGrid(const Broadcast& b, const __m256& qx, const __m256& qy, const __m256& qz) {
    const __m256 x = _mm256_and_ps(_mm256_cmp_ps(qx, b.minusOne, _CMP_GT_OQ), _mm256_cmp_ps(qx, b.countX, _CMP_LT_OQ));
    const __m256 y = _mm256_and_ps(_mm256_cmp_ps(qy, b.minusOne, _CMP_GT_OQ), _mm256_cmp_ps(qy, b.countY, _CMP_LT_OQ));
    const __m256 z = _mm256_and_ps(_mm256_cmp_ps(qz, b.minusOne, _CMP_GT_OQ), _mm256_cmp_ps(qz, b.countZ, _CMP_LT_OQ));
    return _mm256_and_ps(_mm256_and_ps(x, y), z);
}

KV_AVX2 inline __m256i linearIndex(const Broadcast& b, const __m256i& i, const __m256i& j, const __m256i& k) {
    return _mm256_add_epi32(_mm256_add_epi32(_mm256_mullo_epi32(i, b.stride), _mm256_mullo_epi32(j, b.nz)), k);
}

// The lattice path's choice of sample box on one axis, for the cell c of p:
// whether the lower corner is taken (the box centred on c's lower face
// holds p) and the box's lower edge.
struct AxisBox {
    __m256 lowerOk;  // |p - b| <= half
    __m256 upperOk;  // |p - (b + 1)| <= half
    __m256 base;     // b = min + c
};

KV_AVX2 inline AxisBox axisBox(const Broadcast& b, const __m256& min, const __m256& p, const __m256& c) {
    const __m256 base = _mm256_add_ps(min, c);
    const __m256 lower = _mm256_and_ps(_mm256_sub_ps(p, base), b.magnitude);
    const __m256 upper = _mm256_and_ps(_mm256_sub_ps(p, _mm256_add_ps(base, b.one)), b.magnitude);
    return {_mm256_cmp_ps(lower, b.half, _CMP_LE_OQ), _mm256_cmp_ps(upper, b.half, _CMP_LE_OQ), base};
}

// a s + b t: one step of the sampler's trilinear blend, in its order.
KV_AVX2 inline __m256 blend(const __m256& a, const __m256& s, const __m256& b, const __m256& t) {
    return _mm256_add_ps(_mm256_mul_ps(a, s), _mm256_mul_ps(b, t));
}

// Folds the squared lengths of the lanes of `mask` into the extremes.
KV_AVX2 inline void foldSpeeds(const __m256 (&v)[3], const __m256i& mask, __m256d (&lowest)[2], __m256d (&highest)[2]) {
    for (int h = 0; h < 2; ++h) {
        const __m128 x = h == 0 ? _mm256_castps256_ps128(v[0]) : _mm256_extractf128_ps(v[0], 1);
        const __m128 y = h == 0 ? _mm256_castps256_ps128(v[1]) : _mm256_extractf128_ps(v[1], 1);
        const __m128 z = h == 0 ? _mm256_castps256_ps128(v[2]) : _mm256_extractf128_ps(v[2], 1);
        const __m256d dx = _mm256_cvtps_pd(x), dy = _mm256_cvtps_pd(y), dz = _mm256_cvtps_pd(z);
        const __m256d length2 =
            _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(dx, dx), _mm256_mul_pd(dy, dy)), _mm256_mul_pd(dz, dz));
        const __m128i half = h == 0 ? _mm256_castsi256_si128(mask) : _mm256_extracti128_si256(mask, 1);
        const __m256d take = _mm256_castsi256_pd(_mm256_cvtepi32_epi64(half));
        // (a < b ? a : b) and (a > b ? a : b): a NaN length leaves the
        // extreme as it is, as std::min and std::max do.
        lowest[h] = _mm256_min_pd(_mm256_blendv_pd(lowest[h], length2, take), lowest[h]);
        highest[h] = _mm256_max_pd(_mm256_blendv_pd(highest[h], length2, take), highest[h]);
    }
}

// Moves the common-case particles among eight; returns their lane bits.
KV_AVX2 uint32_t moveEight(const Broadcast& b, const CellSample* samples, MAC_Particle3* const* particles,
                           uint32_t* landed, __m256d (&lowest)[2], __m256d (&highest)[2]) {
    constexpr uint32_t kLanes = AdvectionLanes::kWidth;
    const float* rows[kLanes];
    alignas(32) int32_t index[kLanes];

    // The particle's cell, as the sampler's cellAtOffset finds it.
    for (uint32_t i = 0; i < kLanes; ++i) rows[i] = &particles[i]->position.x;
    __m256 p[4];
    transpose4(rows, p);
    const __m256 qx = _mm256_mul_ps(_mm256_sub_ps(p[0], b.minX), b.invX);
    const __m256 qy = _mm256_mul_ps(_mm256_sub_ps(p[1], b.minY), b.invY);
    const __m256 qz = _mm256_mul_ps(_mm256_sub_ps(p[2], b.minZ), b.invZ);
    const __m256i inside = _mm256_castps_si256(insideGrid(b, qx, qy, qz));
    const __m256i ix = _mm256_cvttps_epi32(qx), iy = _mm256_cvttps_epi32(qy), iz = _mm256_cvttps_epi32(qz);
    _mm256_store_si256(reinterpret_cast<__m256i*>(index), _mm256_and_si256(linearIndex(b, ix, iy, iz), inside));
    for (uint32_t i = 0; i < kLanes; ++i) rows[i] = &samples[index[i]].velocity.x;
    __m256 own[4];
    transpose4(rows, own);
    __m256i take = _mm256_and_si256(inside, isLiquid(_mm256_castps_si256(own[3])));

    // The sample box: per axis the lower corner when the box centred on the
    // cell's lower face holds p on every axis that admits one.
    const AxisBox box[3] = {axisBox(b, b.minX, p[0], _mm256_cvtepi32_ps(ix)),
                            axisBox(b, b.minY, p[1], _mm256_cvtepi32_ps(iy)),
                            axisBox(b, b.minZ, p[2], _mm256_cvtepi32_ps(iz))};
    const __m256 found = _mm256_and_ps(_mm256_and_ps(_mm256_or_ps(box[0].lowerOk, box[0].upperOk),
                                                     _mm256_or_ps(box[1].lowerOk, box[1].upperOk)),
                                       _mm256_or_ps(box[2].lowerOk, box[2].upperOk));
    __m256 s[3], t[3];
    __m256i first[3];  // the block's first cell minus one, per axis
    const __m256i cell[3] = {ix, iy, iz};
    for (int a = 0; a < 3; ++a) {
        const __m256 lower = _mm256_and_ps(found, box[a].lowerOk);
        const __m256 delta = _mm256_andnot_ps(lower, b.one);
        t[a] = _mm256_sub_ps(p[a], _mm256_sub_ps(_mm256_add_ps(box[a].base, delta), b.half));
        s[a] = _mm256_sub_ps(b.one, t[a]);
        first[a] = _mm256_add_epi32(cell[a], _mm256_castps_si256(lower));
    }
    // The whole 2x2x2 block inside the grid: 0 <= first < n - 1 per axis.
    const __m256i before = _mm256_set1_epi32(-1);
    for (int a = 0; a < 3; ++a)
        take = _mm256_and_si256(take, _mm256_and_si256(_mm256_cmpgt_epi32(first[a], before),
                                                       _mm256_cmpgt_epi32(b.lastCorner[a], first[a])));

    // The eight corners: pairs along z are adjacent samples, so one load
    // per lane brings corners e and e + 4. Corners 0 and 1 (and 4 and 5)
    // blend along x first, then corners 2 and 3 (6 and 7).
    const __m256i low = _mm256_and_si256(linearIndex(b, first[0], first[1], first[2]), take);
    alignas(32) uint32_t lowBytes[kLanes];
    _mm256_store_si256(reinterpret_cast<__m256i*>(lowBytes), _mm256_slli_epi32(low, kSampleShift));
    const uint32_t pairOffset[4] = {0, b.strideScalar, b.nzScalar, b.strideScalar + b.nzScalar};
    __m256 alongX[2][2][3];  // [y][z][axis]: x00, x01, x10, x11
    for (int y = 0; y < 2; ++y) {
        __m256 corner[2][2][3];  // [x][z][axis]
        for (int x = 0; x < 2; ++x) {
            __m256 pair[8];
            gather8(reinterpret_cast<const char*>(samples + pairOffset[2 * y + x]), lowBytes, pair);
            for (int z = 0; z < 2; ++z) {
                const __m256 liquid = _mm256_castsi256_ps(isLiquid(_mm256_castps_si256(pair[4 * z + 3])));
                for (int a = 0; a < 3; ++a) corner[x][z][a] = _mm256_blendv_ps(own[a], pair[4 * z + a], liquid);
            }
        }
        for (int z = 0; z < 2; ++z)
            for (int a = 0; a < 3; ++a) alongX[y][z][a] = blend(corner[0][z][a], s[0], corner[1][z][a], t[0]);
    }
    __m256 velocity[3];
    for (int a = 0; a < 3; ++a)
        velocity[a] = blend(blend(alongX[0][0][a], s[1], alongX[1][0][a], t[1]), s[2],
                            blend(alongX[0][1][a], s[1], alongX[1][1][a], t[1]), t[2]);

    // The step, and the cell it lands in; a landing in a solid bounces,
    // which the scalar path does.
    __m256 moved[3];
    for (int a = 0; a < 3; ++a) moved[a] = _mm256_add_ps(p[a], velocity[a]);
    const __m256 lx = _mm256_mul_ps(_mm256_sub_ps(moved[0], b.minX), b.invX);
    const __m256 ly = _mm256_mul_ps(_mm256_sub_ps(moved[1], b.minY), b.invY);
    const __m256 lz = _mm256_mul_ps(_mm256_sub_ps(moved[2], b.minZ), b.invZ);
    const __m256i landedInside = _mm256_castps_si256(insideGrid(b, lx, ly, lz));
    const __m256i landing = _mm256_and_si256(
        linearIndex(b, _mm256_cvttps_epi32(lx), _mm256_cvttps_epi32(ly), _mm256_cvttps_epi32(lz)), landedInside);
    const __m256i landedType = _mm256_i32gather_epi32(reinterpret_cast<const int*>(&samples[0].type),
                                                      _mm256_slli_epi32(landing, 2), 4);
    const __m256i solid = _mm256_and_si256(landedInside, _mm256_cmpeq_epi32(landedType, _mm256_set1_epi32(LBM_CELL_SOLID)));
    take = _mm256_andnot_si256(solid, take);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(landed),
                        _mm256_blendv_epi8(_mm256_set1_epi32(int(ParticleLandings::kOutside)), landing, landedInside));

    // Commit the lanes taken: position and velocity, six floats in a row,
    // stored as four and two.
    const uint32_t bits = uint32_t(_mm256_movemask_ps(_mm256_castsi256_ps(take)));
    const __m256 fields[8] = {moved[0],    moved[1],    moved[2],           velocity[0],
                              velocity[1], velocity[2], _mm256_setzero_ps(), _mm256_setzero_ps()};
    __m256 particle[8];
    transpose8(fields, particle);
    for (uint32_t i = 0; i < kLanes; ++i) {
        if ((bits >> i & 1u) == 0) continue;
        float* const out = &particles[i]->position.x;
        _mm_storeu_ps(out, _mm256_castps256_ps128(particle[i]));
        _mm_storel_pi(reinterpret_cast<__m64*>(out + 4), _mm256_extractf128_ps(particle[i], 1));
    }
    foldSpeeds(velocity, take, lowest, highest);
    return bits;
}

KV_AVX2 uint32_t moveWithLanes(const LatticeShape& shape, const CellSample* samples, MAC_Particle3* const* particles,
                               const uint32_t& count, uint32_t* landed, uint32_t* rest, double& minSpeed2,
                               double& maxSpeed2) {
    constexpr uint32_t kLanes = AdvectionLanes::kWidth;
    Broadcast b;
    broadcast(shape, b);
    __m256d lowest[2] = {_mm256_set1_pd(HUGE_VAL), _mm256_set1_pd(HUGE_VAL)};
    __m256d highest[2] = {_mm256_set1_pd(-HUGE_VAL), _mm256_set1_pd(-HUGE_VAL)};
    uint32_t left = 0;
    uint32_t first = 0;
    for (; first + kLanes <= count; first += kLanes) {
        const uint32_t bits = moveEight(b, samples, particles + first, landed + first, lowest, highest);
        for (uint32_t i = 0; i < kLanes; ++i)
            if ((bits >> i & 1u) == 0) rest[left++] = first + i;
    }
    for (; first < count; ++first) rest[left++] = first;

    alignas(32) double extremes[2][4];
    for (int h = 0; h < 2; ++h) {
        _mm256_store_pd(extremes[0], lowest[h]);
        _mm256_store_pd(extremes[1], highest[h]);
        for (int i = 0; i < 4; ++i) {
            minSpeed2 = std::min(minSpeed2, extremes[0][i]);
            maxSpeed2 = std::max(maxSpeed2, extremes[1][i]);
        }
    }
    return left;
}

#endif

bool hasAvx2() {
#if KV_ADVECTION_LANES
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

}  // namespace

AdvectionLanes::AdvectionLanes(const LatticeShape& shape, const bool& exactLattice, const CellSample* samples)
    : shape(shape),
      samples(samples),
      // A grid of fewer than two cells on an axis has no inner corner block.
      active(KV_ADVECTION_LANES && exactLattice && shape.nx >= 2 && shape.ny >= 2 && shape.nz >= 2 &&
             uint64_t(shape.nx) * shape.stride < kMaxLaneCells && hasAvx2()) {}

uint32_t AdvectionLanes::move(MAC_Particle3* const* particles, const uint32_t& count, uint32_t* landed,
                              uint32_t* rest, double& minSpeed2, double& maxSpeed2) const {
#if KV_ADVECTION_LANES
    if (active) return moveWithLanes(shape, samples, particles, count, landed, rest, minSpeed2, maxSpeed2);
#endif
    for (uint32_t i = 0; i < count; ++i) rest[i] = i;
    return count;
}

}  // namespace kelvar::fluid
