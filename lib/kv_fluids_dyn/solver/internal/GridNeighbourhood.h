#pragma once

#include <algorithm>
#include <cstdint>

#include "kv_fluids_dyn/domain/Grid3.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"

namespace kelvar::fluid {

namespace detail {

// Room flags of a grid position, one bit per axis and side.
inline constexpr uint32_t kRoomBelow[3] = {1u, 2u, 4u};
inline constexpr uint32_t kRoomAbove[3] = {8u, 16u, 32u};

// The room a D3Q19 direction needs.
constexpr uint32_t roomNeeded(unsigned int i) {
    uint32_t bits = 0;
    for (unsigned int a = 0; a < 3; ++a) {
        if (q19::kDirection[i][a] < 0) bits |= kRoomBelow[a];
        if (q19::kDirection[i][a] > 0) bits |= kRoomAbove[a];
    }
    return bits;
}

inline constexpr uint32_t kNeeds[q19::kDirectionCount] = {
    roomNeeded(0),  roomNeeded(1),  roomNeeded(2),  roomNeeded(3),  roomNeeded(4),
    roomNeeded(5),  roomNeeded(6),  roomNeeded(7),  roomNeeded(8),  roomNeeded(9),
    roomNeeded(10), roomNeeded(11), roomNeeded(12), roomNeeded(13), roomNeeded(14),
    roomNeeded(15), roomNeeded(16), roomNeeded(17), roomNeeded(18),
};

}  // namespace detail

// Gathers the 19 D3Q19 neighbours of a cell straight from a grid's pointer
// array, for the passes that run once per liquid cell.
//
// Entry i is the cell at the position plus the offset of direction i (entry
// 0 is the cell's own slot), null where that position lies outside the grid.
// A position is decoded from the cell's linear index (z fastest). Cells away
// from the grid's faces take the 19 pointers at fixed linear offsets without
// any bounds test; the others test each axis. Holds plain copies of the grid
// geometry: build one per pass, after the grid has its final size.
class GridNeighbourhood {
public:
    using Grid = Grid3<LBM_Cell3<float>, float>;

    explicit GridNeighbourhood(const Grid& grid)
        : cells(grid.getCells().data()),
          nx(grid.getNx()),
          ny(grid.getNy()),
          nz(grid.getNz()),
          stride(grid.getStride()),
          strideReciprocal(reciprocal(stride)),
          nzReciprocal(reciprocal(nz)) {
        for (unsigned int i = 0; i < q19::kDirectionCount; ++i)
            offset[i] = q19::kDirection[i][0] * int64_t(stride) + q19::kDirection[i][1] * int64_t(nz) +
                        q19::kDirection[i][2];
    }

    void decode(const uint32_t& index, uint32_t& x, uint32_t& y, uint32_t& z) const {
        x = stride == 1 ? index : quotient(index, strideReciprocal);
        const uint32_t rest = index - x * stride;
        y = nz == 1 ? rest : quotient(rest, nzReciprocal);
        z = rest - y * nz;
    }

    void gather(const uint32_t& index, LBM_Cell3<float>** out) const {
        gatherFrom<LBM_Cell3<float>*>(cells, nullptr, index, out);
    }

    // The same over a per-position array beside the grid (GridTypes): entry
    // i is the code at the position in direction i, `outside` beyond a face.
    void gatherCodes(const unsigned char* codes, const unsigned char& outside, const uint32_t& index,
                     unsigned char* out) const {
        gatherFrom<unsigned char>(codes, outside, index, out);
    }

    // The same from the cells themselves: entry i is the type of the cell
    // in direction i, `noCell` where there is none or beyond a face.
    void gatherCellCodes(const uint32_t& index, const unsigned char& noCell, unsigned char* out) const {
        LBM_Cell3<float>* around[q19::kDirectionCount];
        gather(index, around);
        for (unsigned int i = 0; i < q19::kDirectionCount; ++i)
            out[i] = around[i] == nullptr ? noCell : around[i]->getType();
    }

    // How far apart in linear index a position and its farthest neighbour
    // lie: every neighbour of index p lies in [p - reach, p + reach].
    uint32_t reach() const {
        int64_t farthest = 0;
        for (const int64_t& o : offset) farthest = std::max(farthest, o < 0 ? -o : o);
        return uint32_t(farthest);
    }

    // The cell in direction i of a position whose neighbour there lies
    // inside the grid.
    LBM_Cell3<float>* neighbour(const uint32_t& index, const unsigned int& i) const {
        return cells[int64_t(index) + offset[i]];
    }

    uint32_t indexOf(const uint32_t& x, const uint32_t& y, const uint32_t& z) const { return x * stride + y * nz + z; }

    const uint32_t& getNy() const { return ny; }

private:
    // Division of 32-bit numbers by a fixed divisor d > 1 as a multiply:
    // with r = floor((2^64 - 1) / d) + 1, the high 64 bits of n * r are
    // n / d exactly for every 32-bit n (the divisions of a decode are
    // otherwise the slowest instructions of a neighbour gather).
    static uint64_t reciprocal(const uint32_t& d) { return d > 1 ? ~uint64_t(0) / d + 1 : 0; }
    static uint32_t quotient(const uint32_t& n, const uint64_t& r) {
        // The high half of the 96-bit product from two 64-bit ones.
        const uint64_t low = (uint64_t(n) * uint32_t(r)) >> 32;
        return uint32_t((uint64_t(n) * (r >> 32) + low) >> 32);
    }

    template <class Value>
    void gatherFrom(const Value* values, const Value& outside, const uint32_t& index, Value* out) const {
        uint32_t x, y, z;
        decode(index, x, y, z);
        if (x > 0 && x + 1 < nx && y > 0 && y + 1 < ny && z > 0 && z + 1 < nz) {
            for (unsigned int i = 0; i < q19::kDirectionCount; ++i) out[i] = values[int64_t(index) + offset[i]];
            return;
        }
        // On a face: a direction is usable when every axis it steps along
        // has room on that side.
        const uint32_t room = (x > 0 ? detail::kRoomBelow[0] : 0u) | (x + 1 < nx ? detail::kRoomAbove[0] : 0u) |
                              (y > 0 ? detail::kRoomBelow[1] : 0u) | (y + 1 < ny ? detail::kRoomAbove[1] : 0u) |
                              (z > 0 ? detail::kRoomBelow[2] : 0u) | (z + 1 < nz ? detail::kRoomAbove[2] : 0u);
        for (unsigned int i = 0; i < q19::kDirectionCount; ++i)
            out[i] = (detail::kNeeds[i] & ~room) == 0 ? values[int64_t(index) + offset[i]] : outside;
    }

    LBM_Cell3<float>* const* cells;
    uint32_t nx;
    uint32_t ny;
    uint32_t nz;
    uint32_t stride;
    uint64_t strideReciprocal;
    uint64_t nzReciprocal;
    int64_t offset[q19::kDirectionCount];
};

}  // namespace kelvar::fluid
