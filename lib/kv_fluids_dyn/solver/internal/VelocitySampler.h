#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "kv_fluids_dyn/domain/Grid3.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

// What the particle advection needs of one grid position, copied out of the
// cell into a dense array once per pass: its type and velocity. A position
// without a cell has the type kNoCell, which is neither liquid nor solid.
// Sixteen bytes, so that a sample is one aligned load and the eight corners
// of an interpolation share four cache lines instead of eight cells.
struct alignas(16) CellSample {
    static constexpr uint32_t kNoCell = 0xFFu;

    Vector3<float> velocity;
    uint32_t type = kNoCell;

    bool isFluid() const { return type == LBM_CELL_FLUID || type == LBM_CELL_INTERFACE; }
    bool isSolid() const { return type == LBM_CELL_SOLID; }
    bool hasCell() const { return type != kNoCell; }
    const Vector3<float>& getVelocity() const { return velocity; }
};
static_assert(sizeof(CellSample) == 16);

// Where a sampler finds the cell at a linear grid index: behind the grid's
// pointers (null where there is no cell) ...
struct GridCellLookup {
    using Cell = const LBM_Cell3<float>*;
    const LBM_Cell3<float>* const* cells;
    Cell at(uint32_t index) const { return cells[index]; }
};

// ... or in a dense array of samples with one entry per grid pointer.
struct CellSampleLookup {
    using Cell = const CellSample*;
    const CellSample* samples;
    Cell at(uint32_t index) const { return samples + index; }
};

// The grid as the lattice path sees it, for code that runs that path in
// another form (several particles at once): counts, strides, corner,
// inverse cell size and half cell width.
struct LatticeShape {
    uint32_t nx;
    uint32_t ny;
    uint32_t nz;
    uint32_t stride;
    float countX;
    float countY;
    float countZ;
    Vector3<float> min;
    Vector3<float> invCellSize;
    float halfWidth;
};

// Trilinear velocity sampling for the particle advection: the same
// arithmetic, operation for operation, as LBM_Fluid3::evalVelocityAt, so the
// results are bit-identical, but with the grid geometry held in plain
// members and the cell lookups inlined, since the advection samples once per
// particle and sub-step. On the usual grid of unit cells the eight corner
// cells come from integer arithmetic that provably matches the float one.
// Build one per pass, after the grid has its size. Lookup says where the
// cells come from (GridCellLookup or CellSampleLookup); the geometry and the
// arithmetic do not depend on it.
template <class Lookup>
class BasicVelocitySampler {
public:
    using Grid = Grid3<LBM_Cell3<float>, float>;
    using Cell = typename Lookup::Cell;

    explicit BasicVelocitySampler(const Grid& grid)
        requires std::is_same_v<Lookup, GridCellLookup>
        : BasicVelocitySampler(grid, GridCellLookup{grid.getCells().data()}) {}

    // `lookup` must answer for every index of the grid's pointer array.
    BasicVelocitySampler(const Grid& grid, const Lookup& lookup)
        : cells(lookup),
          nx(grid.getNx()),
          ny(grid.getNy()),
          nz(grid.getNz()),
          stride(grid.getStride()),
          last(grid.getCells().size() - 1),
          // Indices of positions inside the counts then never reach the clamp.
          exactIndex(stride == ny * nz && uint64_t(nx) * stride == grid.getCells().size() &&
                     grid.getCells().size() <= 0x80000000ull),
          exactCounts(nx <= kExactCount && ny <= kExactCount && nz <= kExactCount),
          countX(float(nx)),
          countY(float(ny)),
          countZ(float(nz)),
          min(grid.getBox().min),
          cellSize(grid.getCellSize()),
          invCellSize(grid.getInvCellSize()),
          halfWidth(grid.getLatticeCellSize() / 2.0f),
          unitLattice(cellSize == Vector3<float>(1.0f, 1.0f, 1.0f) && invCellSize == Vector3<float>(1.0f, 1.0f, 1.0f) &&
                      halfWidth == 0.5f && isHalfInteger(min.x) && isHalfInteger(min.y) && isHalfInteger(min.z) &&
                      float(nx) < kExactHalves && float(ny) < kExactHalves && float(nz) < kExactHalves) {}

    // Whether every position inside the grid takes the lattice path, its
    // cell and corners found by exact integer indices without the clamp.
    bool onExactLattice() const { return unitLattice && exactIndex && exactCounts; }

    LatticeShape latticeShape() const {
        return {nx, ny, nz, stride, countX, countY, countZ, min, invCellSize, halfWidth};
    }

    Vector3<float> operator()(const Vector3<float>& p) const {
        const Vector3<float> offset = (p - min).mul(invCellSize);
        const Vector3<float> c(std::trunc(offset.x), std::trunc(offset.y), std::trunc(offset.z));
        const Vector3<float>& fallback =
            velocityAt(truncateToCellIndex(c.x), truncateToCellIndex(c.y), truncateToCellIndex(c.z));
        return sample(p, offset, fallback);
    }

    // The same, given p's offset from the grid's corner in cells, (p - min)
    // times the inverse cell size, and the velocity of p's cell when that is
    // a liquid cell (zero otherwise), for a caller that has both at hand.
    Vector3<float> sample(const Vector3<float>& p, const Vector3<float>& offset, const Vector3<float>& fallback) const {
        // |trunc(x)| < 2^20 exactly when |x| < 2^20, and there the integer
        // conversion truncates as trunc does, up to the sign of a zero,
        // which the lattice path never looks at: it only enters base = min
        // + c, whose zero sign goes in |p - base| and in (base + delta)
        // with delta >= +0, and cancels in both.
        if (unitLattice && std::abs(offset.x) < kExactHalves && std::abs(offset.y) < kExactHalves &&
            std::abs(offset.z) < kExactHalves)
            return sampleOnLattice(p,
                                   Vector3<float>(float(int32_t(offset.x)), float(int32_t(offset.y)),
                                                  float(int32_t(offset.z))),
                                   fallback);

        const Vector3<float> c(std::trunc(offset.x), std::trunc(offset.y), std::trunc(offset.z));
        const Vector3<float> base = min + c.mul(cellSize);

        // First of the eight boxes centred on the corners of p's cell that
        // holds p, in corner order (x fastest); the last one when none does.
        // The test is per axis, so the first box takes on each axis the lower
        // corner when that axis admits it.
        Vector3<float> delta(1.0f, 1.0f, 1.0f);
        bool found = true;
        for (unsigned int a = 0; a < 3 && found; ++a) {
            if (std::abs(p[a] - base[a]) <= halfWidth)
                delta[a] = 0.0f;
            else
                found = std::abs(p[a] - (base[a] + cellSize[a])) <= halfWidth;
        }
        if (!found) delta = Vector3<float>(1.0f, 1.0f, 1.0f);
        const Vector3<float> centre = base + delta.mul(cellSize);

        const Vector3<float> low = centre - Vector3<float>(halfWidth, halfWidth, halfWidth);
        const float width = halfWidth * 2.0f;
        const Vector3<float>* v[kCorners];
        cornerVelocities(low, width, fallback, v);
        return interpolate(v, (p - low) / width);
    }

    // Cell that holds p, as Grid3::locate and Grid3::at find it; null
    // outside the grid.
    Cell cellAt(const Vector3<float>& p) const { return cellAtOffset(offsetOf(p)); }

    // p's offset from the grid's corner in cells.
    Vector3<float> offsetOf(const Vector3<float>& p) const { return (p - min).mul(invCellSize); }

    // Cell at an offset from offsetOf; null outside the grid.
    Cell cellAtOffset(const Vector3<float>& q) const {
        uint32_t index;
        if (!indexAtOffset(q, index)) return nullptr;
        return exactIndex ? cells.at(index) : cellAt(index);
    }

    // Linear index of the cell at an offset from offsetOf, as Grid3::index
    // of the truncated coordinates; false outside the grid.
    bool indexAtOffset(const Vector3<float>& q, uint32_t& index) const {
        if (exactCounts) {
            // truncateToCellIndex(x) < n exactly when -1 < x < n, n being
            // an integer; below 2^24 the count is exact as a float and the
            // conversion through int32 truncates as the unsigned one does.
            if (!(q.x > -1.0f && q.x < countX && q.y > -1.0f && q.y < countY && q.z > -1.0f && q.z < countZ))
                return false;
            index = uint32_t(int32_t(q.x)) * stride + uint32_t(int32_t(q.y)) * nz + uint32_t(int32_t(q.z));
            return true;
        }
        const unsigned int i = truncateToCellIndex(q.x), j = truncateToCellIndex(q.y), k = truncateToCellIndex(q.z);
        if (!(i < nx && j < ny && k < nz)) return false;
        index = i * stride + j * nz + k;
        return true;
    }

private:
    static constexpr unsigned int kCorners = 8;
    // Counts up to this are exact in single precision.
    static constexpr uint32_t kExactCount = 16777216u;
    // Below this every multiple of 0.5 is exact in single precision.
    static constexpr float kExactHalves = 1048576.0f;

    // Trilinear blend of the corner velocities at fractions t, x first.
    static Vector3<float> interpolate(const Vector3<float>* const (&v)[kCorners], const Vector3<float>& t) {
        const float sx = 1.0f - t.x;
        const float sy = 1.0f - t.y;
        const float sz = 1.0f - t.z;
        const Vector3<float> x00 = *v[0] * sx + *v[1] * t.x;
        const Vector3<float> x10 = *v[2] * sx + *v[3] * t.x;
        const Vector3<float> x01 = *v[4] * sx + *v[5] * t.x;
        const Vector3<float> x11 = *v[6] * sx + *v[7] * t.x;
        const Vector3<float> y0 = x00 * sy + x10 * t.y;
        const Vector3<float> y1 = x01 * sy + x11 * t.y;
        return y0 * sz + y1 * t.z;
    }

    // The general path on a grid of unit cells with half-integer bounds,
    // where every product with the cell size is exact and the box width is
    // exactly 1: base = min + c, the upper corner base + 1, the fractions
    // p - low (a division by 1 changes nothing). The axis tests are the same
    // comparisons, evaluated without early exits: when one axis fails, the
    // last box is taken whatever the others found.
    Vector3<float> sampleOnLattice(const Vector3<float>& p, const Vector3<float>& c,
                                   const Vector3<float>& fallback) const {
        const float bx = min.x + c.x, by = min.y + c.y, bz = min.z + c.z;
        const bool lowX = std::abs(p.x - bx) <= halfWidth;
        const bool lowY = std::abs(p.y - by) <= halfWidth;
        const bool lowZ = std::abs(p.z - bz) <= halfWidth;
        const bool found = (lowX || std::abs(p.x - (bx + 1.0f)) <= halfWidth) &&
                           (lowY || std::abs(p.y - (by + 1.0f)) <= halfWidth) &&
                           (lowZ || std::abs(p.z - (bz + 1.0f)) <= halfWidth);
        const float dx = found && lowX ? 0.0f : 1.0f;
        const float dy = found && lowY ? 0.0f : 1.0f;
        const float dz = found && lowZ ? 0.0f : 1.0f;
        const Vector3<float> low((bx + dx) - halfWidth, (by + dy) - halfWidth, (bz + dz) - halfWidth);

        const Vector3<float>* v[kCorners];
        cornerVelocitiesOnLattice(c, Vector3<float>(dx, dy, dz), fallback, v);
#if defined(__SSE2__)
        return interpolatePacked(v, p - low);
#else
        return interpolate(v, p - low);
#endif
    }

#if defined(__SSE2__)
    // interpolate with the three components side by side: each lane runs
    // the same single-precision products and sums, so the bits agree.
    static __m128 load(const Vector3<float>& v) {
        const __m128 xy = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(&v.x));
        return _mm_movelh_ps(xy, _mm_load_ss(&v.z));
    }

    static __m128 blend(const __m128& a, const __m128& s, const __m128& b, const __m128& t) {
        return _mm_add_ps(_mm_mul_ps(a, s), _mm_mul_ps(b, t));
    }

    static Vector3<float> interpolatePacked(const Vector3<float>* const (&v)[kCorners], const Vector3<float>& t) {
        const __m128 tx = _mm_set1_ps(t.x), ty = _mm_set1_ps(t.y), tz = _mm_set1_ps(t.z);
        const __m128 sx = _mm_set1_ps(1.0f - t.x), sy = _mm_set1_ps(1.0f - t.y), sz = _mm_set1_ps(1.0f - t.z);
        const __m128 x00 = blend(load(*v[0]), sx, load(*v[1]), tx);
        const __m128 x10 = blend(load(*v[2]), sx, load(*v[3]), tx);
        const __m128 x01 = blend(load(*v[4]), sx, load(*v[5]), tx);
        const __m128 x11 = blend(load(*v[6]), sx, load(*v[7]), tx);
        const __m128 r = blend(blend(x00, sy, x10, ty), sz, blend(x01, sy, x11, ty), tz);
        alignas(16) float out[4];
        _mm_store_ps(out, r);
        return Vector3<float>(out[0], out[1], out[2]);
    }
#endif

    // Corner n of the sample box from low, looked up through float
    // coordinates exactly as the fluid does.
    void cornerVelocities(const Vector3<float>& low, const float& width, const Vector3<float>& fallback,
                          const Vector3<float>* (&v)[kCorners]) const {
        for (unsigned int n = 0; n < kCorners; ++n) {
            const Cell cell = cellAt(low + corner(n) * width);
            v[n] = cell != nullptr && cell->isFluid() ? &cell->getVelocity() : &fallback;
        }
    }

    // The same corners on a grid of unit cells with half-integer bounds: the
    // float coordinate of corner e is s - 1/2 exactly, s = c + delta + e,
    // which truncates to s - 1, to 0 for s = 0 (-1/2 truncates to 0) and to
    // no cell for s < 0. So the cells come from integer arithmetic, with the
    // same result.
    void cornerVelocitiesOnLattice(const Vector3<float>& c, const Vector3<float>& delta,
                                   const Vector3<float>& fallback, const Vector3<float>* (&v)[kCorners]) const {
        const int64_t first[3] = {int64_t(c.x) + int64_t(delta.x), int64_t(c.y) + int64_t(delta.y),
                                  int64_t(c.z) + int64_t(delta.z)};
        // Away from the grid's faces the eight cells form a whole 2x2x2 block.
        if (first[0] >= 1 && first[0] < int64_t(nx) && first[1] >= 1 && first[1] < int64_t(ny) && first[2] >= 1 &&
            first[2] < int64_t(nz)) {
            const uint32_t low = uint32_t(first[0] - 1) * stride + uint32_t(first[1] - 1) * nz + uint32_t(first[2] - 1);
            const uint32_t far = low + 1;
            v[0] = liquidVelocity(cells.at(low), fallback);
            v[1] = liquidVelocity(cells.at(low + stride), fallback);
            v[2] = liquidVelocity(cells.at(low + nz), fallback);
            v[3] = liquidVelocity(cells.at(low + stride + nz), fallback);
            v[4] = liquidVelocity(cells.at(far), fallback);
            v[5] = liquidVelocity(cells.at(far + stride), fallback);
            v[6] = liquidVelocity(cells.at(far + nz), fallback);
            v[7] = liquidVelocity(cells.at(far + stride + nz), fallback);
            return;
        }

        uint32_t index[3][2];
        bool inside[3][2];
        const uint32_t size[3] = {nx, ny, nz};
        const uint32_t scale[3] = {stride, nz, 1};
        for (unsigned int a = 0; a < 3; ++a) {
            for (unsigned int e = 0; e < 2; ++e) {
                const int64_t at = std::max<int64_t>(first[a] + e - 1, 0);
                inside[a][e] = first[a] + e >= 0 && at < int64_t(size[a]);
                index[a][e] = uint32_t(at) * scale[a];
            }
        }
        unsigned int n = 0;
        for (unsigned int ez = 0; ez < 2; ++ez)
            for (unsigned int ey = 0; ey < 2; ++ey) {
                const bool rowInside = inside[2][ez] && inside[1][ey];
                const uint32_t row = index[2][ez] + index[1][ey];
                for (unsigned int ex = 0; ex < 2; ++ex, ++n) {
                    const Cell cell = rowInside && inside[0][ex] ? cells.at(row + index[0][ex]) : nullptr;
                    v[n] = cell != nullptr && cell->isFluid() ? &cell->getVelocity() : &fallback;
                }
            }
    }

    static const Vector3<float>* liquidVelocity(const Cell cell, const Vector3<float>& fallback) {
        return cell != nullptr && cell->isFluid() ? &cell->getVelocity() : &fallback;
    }

    static bool isHalfInteger(float x) { return std::abs(x) < kExactHalves && std::trunc(x * 2.0f) == x * 2.0f; }

    static Vector3<float> corner(unsigned int n) {
        return Vector3<float>(float(n & 1u), float((n >> 1) & 1u), float((n >> 2) & 1u));
    }

    // The grid's clamped lookup: past the end to the last cell, top bit to 0.
    Cell cellAt(uint32_t index) const {
        if (static_cast<int32_t>(index) < 0) return cells.at(0);
        return cells.at(index < last ? index : last);
    }

    const Vector3<float>& velocityAt(unsigned int i, unsigned int j, unsigned int k) const {
        static const Vector3<float> zero;
        if (!(i < nx && j < ny && k < nz)) return zero;
        const Cell cell = cellAt(i * stride + j * nz + k);
        return cell != nullptr && cell->isFluid() ? cell->getVelocity() : zero;
    }

    Lookup cells;
    uint32_t nx;
    uint32_t ny;
    uint32_t nz;
    uint32_t stride;
    uint32_t last;
    bool exactIndex;
    bool exactCounts;
    float countX;
    float countY;
    float countZ;
    Vector3<float> min;
    Vector3<float> cellSize;
    Vector3<float> invCellSize;
    float halfWidth;
    bool unitLattice;
};

// The sampler over the grid's own cells.
using VelocitySampler = BasicVelocitySampler<GridCellLookup>;

// The sampler over a dense copy of the cells' types and velocities.
using SampledVelocitySampler = BasicVelocitySampler<CellSampleLookup>;

}  // namespace kelvar::fluid
