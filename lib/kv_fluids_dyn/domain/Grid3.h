#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/Export.h"
#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"
#include "kv_math/Box3.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

// A regular grid of cell pointers laid over an axis-aligned box.
//
// The grid is sized from a box and a requested total cell count: the count
// decides the cell edge, the box decides how many cells fit along each axis.
// Once sized, a fluid re-lays the grid in lattice units (cell edge 1, box
// centred on the origin), so that grid space is measured in cells.
//
// Cell (i, j, k) is stored at the linear index i * (ny * nz) + j * nz + k
// (z fastest). The grid holds pointers only: it never owns, creates or
// frees cells; the fluid that fills it does. Copies share the pointers.
template <class Cell, class T>
class KV_EXPORT Grid3 {
public:
    using CellType = Cell;
    using ScalarType = T;

    // Covers the box from -0.5 to 0.5 with a requested count of 8 cubic
    // cells, which gives 2 x 2 x 2 cells of edge 0.5, all null.
    Grid3();

    // Sizes the grid so that about `requestedCount` cells cover `box`.
    // Cubic cells share one edge on all axes and recentre the box on the
    // whole number of cells; otherwise each axis divides the box evenly.
    // The cell pointer array is left as it is.
    void set(const Box3<T>& box, const unsigned int& requestedCount, const bool& cubic);

    // Keeps the counts and rebuilds the rest around them: every cell gets
    // the edge `latticeCellSize` and the box is centred on the origin.
    void relay(const T& latticeCellSize);

    // Sizes the pointer array to one entry per cell. Storage only grows;
    // entries that already existed keep their pointers, new ones are null.
    void resizeCells();

    // Sets every cell pointer to null without touching the cells.
    void clearCells();

    const unsigned int& getNx() const { return nx; }
    const unsigned int& getNy() const { return ny; }
    const unsigned int& getNz() const { return nz; }
    const unsigned int& getStride() const { return stride; }
    const unsigned int& getCount() const { return count; }
    const Box3<T>& getBox() const { return box; }
    const Vector3<T>& getCellSize() const { return cellSize; }
    const Vector3<T>& getInvCellSize() const { return invCellSize; }
    const T& getCubicCellSize() const { return cubicCellSize; }
    const T& getLatticeCellSize() const { return latticeCellSize; }
    const unsigned int& getRequestedCount() const { return requestedCount; }

    // The geometry as plain data, for files: everything but the cells.
    struct Geometry {
        Box3<T> box;
        T latticeCellSize = T(0);
        unsigned int requestedCount = 0;
        unsigned int nx = 0;
        unsigned int ny = 0;
        unsigned int nz = 0;
        Vector3<T> cellSize;
        Vector3<T> invCellSize;
        T cubicCellSize = T(0);
    };
    Geometry getGeometry() const;
    // Takes a saved geometry whose cell count nx * ny * nz fits 32 bits; the
    // cell array gets that many entries, all null.
    void setGeometry(const Geometry& geometry);

    const Array<Cell*>& getCells() const { return cells; }
    Array<Cell*>& refCells() { return cells; }

    unsigned int index(const unsigned int& i, const unsigned int& j, const unsigned int& k) const {
        return i * stride + j * nz + k;
    }

    // Cell pointer at a linear index. An index past the end of the array is
    // clamped to the last entry, one at or above 2^31 to the first, so that
    // a stray index never reads outside the array.
    Cell* const& at(const unsigned int& index) const { return cells[clampIndex(index)]; }
    Cell*& at(const unsigned int& index) { return cells[clampIndex(index)]; }
    Cell* const& at(const unsigned int& i, const unsigned int& j, const unsigned int& k) const { return at(index(i, j, k)); }
    Cell*& at(const unsigned int& i, const unsigned int& j, const unsigned int& k) { return at(index(i, j, k)); }

    bool contains(const unsigned int& i, const unsigned int& j, const unsigned int& k) const {
        return i < nx && j < ny && k < nz;
    }

    // Indices of the cell that holds p: (p - box min) times the inverse
    // cell size, truncated toward zero. Returns false when p lies in no
    // cell of the grid; the indices are then meaningless.
    bool locate(const Vector3<T>& p, Tuple3<unsigned int>& ijk) const;

private:
    uint32_t clampIndex(const unsigned int& index) const;
    void setCounts(const unsigned int& countX, const unsigned int& countY, const unsigned int& countZ);
    void setCellSize(const T& size);

    unsigned int nx = 0;
    unsigned int ny = 0;
    unsigned int nz = 0;
    unsigned int stride = 0;
    unsigned int count = 0;
    Box3<T> box;
    Vector3<T> cellSize;
    Vector3<T> invCellSize;
    T cubicCellSize = T(0);
    Array<Cell*> cells;
    T latticeCellSize = T(0);
    unsigned int requestedCount = 0;
};

// Truncates a cell coordinate toward zero and returns it as an index, or
// 0xFFFFFFFF (past any grid) when the coordinate lies at or below -1, above
// the 32-bit range, or is not a number.
template <class T>
inline unsigned int truncateToCellIndex(const T& coordinate) {
    constexpr T kBeyond = T(4294967296.0);
    if (!(coordinate > T(-1)) || !(coordinate < kBeyond)) return 0xFFFFFFFFu;
    return static_cast<unsigned int>(coordinate);
}

extern template class KV_EXPORT Grid3<LBM_Cell3<float>, float>;

}  // namespace kelvar::fluid
