#include "kv_fluids_dyn/domain/Grid3.h"

#include <algorithm>
#include <cmath>

namespace kelvar::fluid {

namespace {

// The cell edge is the cube root of the volume per cell, taken with this
// exponent in double precision. It is slightly below 1/3 on purpose: the
// edge lands just above the exact root, so that with the +1 after the
// truncation a box of whole cells keeps its count (the unit box with 8
// cells gets 2 per axis, not 3).
constexpr double kCubeRootExponent = 0.3333333;

constexpr unsigned int kDefaultRequestedCount = 8;

// Cells along one axis: the whole edges that fit, plus one. A degenerate
// extent (negative, zero over zero) still gets one cell.
template <class T>
unsigned int cellsAlong(const T& extent, const T& edge) {
    const T fit = extent / edge;
    if (!(fit > T(-1))) return 1u;
    return static_cast<unsigned int>(fit) + 1u;
}

}  // namespace

template <class Cell, class T>
Grid3<Cell, T>::Grid3() {
    set(Box3<T>({T(-0.5), T(-0.5), T(-0.5)}, {T(0.5), T(0.5), T(0.5)}), kDefaultRequestedCount, true);
    resizeCells();
}

template <class Cell, class T>
void Grid3<Cell, T>::set(const Box3<T>& newBox, const unsigned int& newRequestedCount, const bool& cubic) {
    box = newBox;
    requestedCount = newRequestedCount;
    const Vector3<T> extent = box.extent();

    const T volumePerCell = extent.x * extent.y * extent.z / static_cast<T>(requestedCount);
    const T edge = static_cast<T>(std::pow(static_cast<double>(volumePerCell), kCubeRootExponent));
    setCounts(cellsAlong(extent.x, edge), cellsAlong(extent.y, edge), cellsAlong(extent.z, edge));

    const Vector3<T> fitted(extent.x / static_cast<T>(nx), extent.y / static_cast<T>(ny), extent.z / static_cast<T>(nz));
    if (!cubic) {
        cellSize = fitted;
        invCellSize = Vector3<T>(T(1) / fitted.x, T(1) / fitted.y, T(1) / fitted.z);
        cubicCellSize = std::max(std::max(fitted.x, fitted.y), fitted.z);
        return;
    }
    const T cubicEdge = std::max(std::max(fitted.x, fitted.y), fitted.z);
    const Vector3<T> centre = box.center();
    const Vector3<T> half(static_cast<T>(nx) * cubicEdge / T(2), static_cast<T>(ny) * cubicEdge / T(2),
                          static_cast<T>(nz) * cubicEdge / T(2));
    box = Box3<T>(centre - half, centre + half);
    setCellSize(cubicEdge);
}

template <class Cell, class T>
void Grid3<Cell, T>::relay(const T& newLatticeCellSize) {
    latticeCellSize = newLatticeCellSize;
    const Vector3<T> half(static_cast<T>(nx) * latticeCellSize / T(2), static_cast<T>(ny) * latticeCellSize / T(2),
                          static_cast<T>(nz) * latticeCellSize / T(2));
    box = Box3<T>(-half, half);
    setCellSize(latticeCellSize);
}

template <class Cell, class T>
void Grid3<Cell, T>::resizeCells() {
    cells.resize(count);
}

template <class Cell, class T>
void Grid3<Cell, T>::clearCells() {
    std::fill(cells.begin(), cells.end(), nullptr);
}

template <class Cell, class T>
bool Grid3<Cell, T>::locate(const Vector3<T>& p, Tuple3<unsigned int>& ijk) const {
    const Vector3<T> coordinates = (p - box.min).mul(invCellSize);
    ijk.first = truncateToCellIndex(coordinates.x);
    ijk.second = truncateToCellIndex(coordinates.y);
    ijk.third = truncateToCellIndex(coordinates.z);
    return contains(ijk.first, ijk.second, ijk.third);
}

template <class Cell, class T>
uint32_t Grid3<Cell, T>::clampIndex(const unsigned int& index) const {
    if (static_cast<int32_t>(index) < 0) return 0;
    return std::min<uint32_t>(index, cells.size() - 1);
}

template <class Cell, class T>
typename Grid3<Cell, T>::Geometry Grid3<Cell, T>::getGeometry() const {
    return Geometry{box, latticeCellSize, requestedCount, nx, ny, nz, cellSize, invCellSize, cubicCellSize};
}

template <class Cell, class T>
void Grid3<Cell, T>::setGeometry(const Geometry& geometry) {
    box = geometry.box;
    latticeCellSize = geometry.latticeCellSize;
    requestedCount = geometry.requestedCount;
    setCounts(geometry.nx, geometry.ny, geometry.nz);
    cellSize = geometry.cellSize;
    invCellSize = geometry.invCellSize;
    cubicCellSize = geometry.cubicCellSize;
    cells.clear();
    cells.resize(count);
}

template <class Cell, class T>
void Grid3<Cell, T>::setCounts(const unsigned int& countX, const unsigned int& countY, const unsigned int& countZ) {
    nx = countX;
    ny = countY;
    nz = countZ;
    stride = ny * nz;
    count = nx * stride;
}

template <class Cell, class T>
void Grid3<Cell, T>::setCellSize(const T& size) {
    cellSize = Vector3<T>(size, size, size);
    invCellSize = Vector3<T>(T(1) / size, T(1) / size, T(1) / size);
    cubicCellSize = size;
}

template class Grid3<LBM_Cell3<float>, float>;

}  // namespace kelvar::fluid
