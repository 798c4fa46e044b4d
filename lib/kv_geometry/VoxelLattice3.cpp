#include "kv_geometry/VoxelLattice3.h"

#include <algorithm>
#include <cmath>

namespace kelvar {

template <class T>
Vector3<T> VoxelLattice3<T>::cellMin(unsigned int i, unsigned int j, unsigned int k) const {
    return origin + Vector3<T>(T(i), T(j), T(k)).mul(cellSize);
}

template <class T>
Vector3<T> VoxelLattice3<T>::cellCentre(unsigned int i, unsigned int j, unsigned int k) const {
    return {centreAlong(0, i), centreAlong(1, j), centreAlong(2, k)};
}

template <class T>
T VoxelLattice3<T>::centreAlong(unsigned axis, unsigned int index) const {
    return origin[axis] + (T(index) + T(0.5)) * cellSize[axis];
}

template <class T>
bool VoxelLattice3<T>::cellRange(const Box3<T>& region, Tuple3<unsigned int>& first,
                                 Tuple3<unsigned int>& count) const {
    for (unsigned a = 0; a < 3; ++a) {
        const double lo = (double(region.min[a]) - double(origin[a])) / double(cellSize[a]);
        const double hi = (double(region.max[a]) - double(origin[a])) / double(cellSize[a]);
        if (!std::isfinite(lo) || !std::isfinite(hi) || !(lo <= hi)) return false;
        // Cells whose interior the region reaches; a flat region still gets
        // the cell it lies in.
        const double lowCell = std::floor(lo);
        const double firstCell = std::max(lowCell, 0.0);
        const double endCell = std::min(std::max(std::ceil(hi), lowCell + 1.0), double(resolution[a]));
        if (!(firstCell < endCell)) return false;
        first[a] = unsigned(firstCell);
        count[a] = unsigned(endCell - firstCell);
    }
    return true;
}

template struct VoxelLattice3<float>;

}  // namespace kelvar
