#pragma once

#include "kv_basic/Export.h"
#include "kv_basic/Tuple.h"
#include "kv_math/Box3.h"
#include "kv_math/Vector3.h"

namespace kelvar {

// The regular lattice of cells that voxelisation samples: usually a fluid
// grid in grid space (origin at the grid's min corner, cell edge 1). Sample
// boxes are exactly its cells, so a sample box's centre truncates back to its
// own cell indices.
template <class T>
struct VoxelLattice3 {
    Vector3<T> origin{};                   // min corner of cell (0, 0, 0)
    Vector3<T> cellSize{T(1), T(1), T(1)};  // cell edges per axis, all positive
    Tuple3<unsigned int> resolution{};     // cells per axis

    Vector3<T> cellMin(unsigned int i, unsigned int j, unsigned int k) const;
    Vector3<T> cellCentre(unsigned int i, unsigned int j, unsigned int k) const;
    // Centre coordinate of cell index `index` along one axis; every part of
    // the voxeliser uses this one expression so that comparisons agree.
    T centreAlong(unsigned axis, unsigned int index) const;

    // The range of cells whose interiors meet `region` (a flat region gets the
    // cells it lies in), clipped to the lattice. Returns false when the range is empty or the region is
    // not finite.
    bool cellRange(const Box3<T>& region, Tuple3<unsigned int>& first, Tuple3<unsigned int>& count) const;
};

extern template struct KV_EXPORT VoxelLattice3<float>;

}  // namespace kelvar
