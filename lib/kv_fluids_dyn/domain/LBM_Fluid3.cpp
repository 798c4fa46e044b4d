#include "kv_fluids_dyn/domain/LBM_Fluid3.h"

#include <cmath>

#include "kv_fluids_dyn/lattice/LBM_CellType.h"

namespace kelvar::fluid {

namespace {

constexpr unsigned int kBoxCorners = 8;

// Offset (0 or 1 per axis) of corner n of a box: bit 0 is x, bit 1 y, bit 2 z.
template <class T>
Vector3<T> cornerOffset(const unsigned int& n) {
    return Vector3<T>(T(n & 1u), T((n >> 1) & 1u), T((n >> 2) & 1u));
}

template <class T>
bool boxContains(const Vector3<T>& centre, const T& halfWidth, const Vector3<T>& p) {
    const Vector3<T> d = p - centre;
    return std::abs(d.x) <= halfWidth && std::abs(d.y) <= halfWidth && std::abs(d.z) <= halfWidth;
}

// Trilinear blend of eight corner values (corner order as cornerOffset) at
// the fractional position t inside the box.
template <class T>
Vector3<T> trilinear(const Vector3<T> (&v)[kBoxCorners], const Vector3<T>& t) {
    const T sx = T(1) - t.x;
    const T sy = T(1) - t.y;
    const T sz = T(1) - t.z;
    const Vector3<T> x00 = v[0] * sx + v[1] * t.x;
    const Vector3<T> x10 = v[2] * sx + v[3] * t.x;
    const Vector3<T> x01 = v[4] * sx + v[5] * t.x;
    const Vector3<T> x11 = v[6] * sx + v[7] * t.x;
    const Vector3<T> y0 = x00 * sy + x10 * t.y;
    const Vector3<T> y1 = x01 * sy + x11 * t.y;
    return y0 * sz + y1 * t.z;
}

}  // namespace

template <class T>
LBM_Fluid3<T>::LBM_Fluid3() = default;

template <class T>
LBM_Fluid3<T>::LBM_Fluid3(const LBM_Fluid3& other)
    : EulerianFluid3<GridType, T>(other), arrSolidCells(other.arrSolidCells), arrSinkCells(other.arrSinkCells) {}

template <class T>
LBM_Fluid3<T>& LBM_Fluid3<T>::operator=(const LBM_Fluid3& other) {
    if (this == &other) return *this;
    EulerianFluid3<GridType, T>::operator=(other);
    arrSolidCells = other.arrSolidCells;
    arrSinkCells = other.arrSinkCells;
    return *this;
}

template <class T>
LBM_Fluid3<T>::~LBM_Fluid3() = default;

template <class T>
Vector3<T> LBM_Fluid3<T>::evalVelocityAt(const Vector3<T>& p) const {
    const GridType& grid = this->grid;
    const Vector3<T>& cellSize = grid.getCellSize();
    const Vector3<T> offset = (p - grid.getBox().min).mul(grid.getInvCellSize());
    const Vector3<T> c(std::trunc(offset.x), std::trunc(offset.y), std::trunc(offset.z));
    const Vector3<T> base = grid.getBox().min + c.mul(cellSize);
    const T halfWidth = grid.getLatticeCellSize() / T(2);

    // The sample box is centred on the corner of p's cell nearest to p; its
    // corners are the centres of the eight cells around that corner.
    Vector3<T> centre;
    for (unsigned int n = 0; n < kBoxCorners; ++n) {
        centre = base + cornerOffset<T>(n).mul(cellSize);
        if (boxContains(centre, halfWidth, p)) break;
    }

    const Vector3<T>& fallback =
        this->getVelocityAt(truncateToCellIndex(c.x), truncateToCellIndex(c.y), truncateToCellIndex(c.z));
    const Vector3<T> low = centre - Vector3<T>(halfWidth, halfWidth, halfWidth);
    const T width = halfWidth * T(2);
    Vector3<T> corners[kBoxCorners];
    for (unsigned int n = 0; n < kBoxCorners; ++n) {
        Tuple3<unsigned int> ijk;
        const LBM_Cell3<T>* cell =
            grid.locate(low + cornerOffset<T>(n) * width, ijk) ? grid.at(ijk.first, ijk.second, ijk.third) : nullptr;
        corners[n] = cell != nullptr && cell->isFluid() ? cell->getVelocity() : fallback;
    }
    return trilinear(corners, (p - low) / width);
}

template <class T>
void LBM_Fluid3<T>::initialize() {
    EulerianFluid3<GridType, T>::initialize();
    solidPool.clear();
    sinkPool.clear();
}

template <class T>
void LBM_Fluid3<T>::setDomainBoundaryCells() {
    const unsigned int nx = this->grid.getNx();
    const unsigned int ny = this->grid.getNy();
    const unsigned int nz = this->grid.getNz();
    // z faces whole, then the x faces and the y faces without the cells
    // already placed.
    for (unsigned int i = 0; i < nx; ++i) {
        for (unsigned int j = 0; j < ny; ++j) {
            placeWallCell(i, j, 0);
            placeWallCell(i, j, nz - 1);
        }
    }
    if (nz < 3) return;
    for (unsigned int j = 0; j < ny; ++j) {
        for (unsigned int k = 1; k + 1 < nz; ++k) {
            placeWallCell(0, j, k);
            placeWallCell(nx - 1, j, k);
        }
    }
    if (nx < 3) return;
    for (unsigned int i = 1; i + 1 < nx; ++i) {
        for (unsigned int k = 1; k + 1 < nz; ++k) {
            placeWallCell(i, 0, k);
            placeWallCell(i, ny - 1, k);
        }
    }
}

template <class T>
LBM_SolidCell3<T>* LBM_Fluid3<T>::acquireSolidCell() {
    solidPoolMutex.lock();
    LBM_SolidCell3<T>* cell = solidPool.acquire();
    solidPoolMutex.unlock();
    return cell;
}

template <class T>
LBM_SinkCell3<T>* LBM_Fluid3<T>::acquireSinkCell() {
    sinkPoolMutex.lock();
    LBM_SinkCell3<T>* cell = sinkPool.acquire();
    sinkPoolMutex.unlock();
    return cell;
}

template <class T>
void LBM_Fluid3<T>::releaseSinkCell(LBM_SinkCell3<T>* cell) {
    sinkPoolMutex.lock();
    sinkPool.release(cell);
    sinkPoolMutex.unlock();
}

template <class T>
void LBM_Fluid3<T>::placeWallCell(const unsigned int& i, const unsigned int& j, const unsigned int& k) {
    const unsigned int index = this->grid.index(i, j, k);
    LBM_SolidCell3<T>* cell = solidPool.acquire();
    cell->setType(LBM_CELL_SOLID);
    cell->setVelocity(Vector3<T>());
    cell->setFlags(kDomainWallFlags);
    cell->setWallFactor(kDomainWallFactor);
    cell->setGridMonoindex(index);
    this->grid.at(index) = cell;
}

template class LBM_Fluid3<float>;

}  // namespace kelvar::fluid
