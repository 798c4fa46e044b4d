#pragma once

#include <cstddef>
#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/Export.h"
#include "kv_basic/Tuple.h"
#include "kv_math/Box3.h"
#include "kv_math/Vector3.h"

namespace kelvar {

// A regular 3D grid of scalar values placed in space: the volume-of-fluid
// field, the field the surface extractor triangulates, and anything else that
// needs values on a lattice of sample points.
//
// Voxel (i, j, k) sits at box.min + (i, j, k) * spacing; the box runs from the
// first voxel to the last, so max = min + (n - 1) * spacing per axis. Values
// are stored flat at i * (ny * nz) + j * nz + k (z fastest), the order of the
// fluid grid. A new field is centred on the origin; setResolution and
// setSpacing keep the box centre where it is, so a field sized and then moved
// by a domain's centre lands with its voxels on that domain's cell centres.
//
// The value buffer only grows: setResolution reuses the storage when the new
// voxel count fits its capacity.
template <class T>
class ScalarField3 {
public:
    ScalarField3() = default;
    ScalarField3(const Tuple3<unsigned int>& resolution, const Vector3<T>& spacing);

    // Sets the voxel counts, keeping the box centre. Values of voxels that
    // already existed are kept in storage order, new ones are zero. Returns
    // false, changing nothing, when the voxel count would exceed 2^32 - 1.
    bool setResolution(const Tuple3<unsigned int>& resolution);
    const Tuple3<unsigned int>& getResolution() const { return resolution_; }
    uint64_t voxelCount() const;

    // Sets the distance between neighbouring voxels per axis, keeping the box centre.
    void setSpacing(const Vector3<T>& spacing);
    const Vector3<T>& getSpacing() const { return spacing_; }

    // Places the field so that its first and last voxels sit at the box's
    // corners; the spacing follows (axes with fewer than two voxels keep their
    // spacing and collapse to box.min).
    void setBox(const Box3<T>& box);
    void moveBox(const Vector3<T>& offset);
    const Box3<T>& getBox() const { return box_; }

    // Sets every value to zero.
    void clear();

    std::size_t index(unsigned int i, unsigned int j, unsigned int k) const {
        return (std::size_t(i) * resolution_.second + j) * resolution_.third + k;
    }
    T& at(unsigned int i, unsigned int j, unsigned int k) { return values_[uint32_t(index(i, j, k))]; }
    const T& at(unsigned int i, unsigned int j, unsigned int k) const { return values_[uint32_t(index(i, j, k))]; }
    Array<T>& refValues() { return values_; }
    const Array<T>& getValues() const { return values_; }

    // World position of voxel (i, j, k).
    Vector3<T> voxelPosition(unsigned int i, unsigned int j, unsigned int k) const;

    // Trilinear interpolation at p. Returns false, leaving value untouched,
    // when p lies outside the box (NaN counts as outside). Points within a
    // relative 1e-5 of a voxel plane snap onto it, so a point computed as
    // min + i * spacing reads voxel values exactly despite rounding.
    bool sample(const Vector3<T>& p, T& value) const;

    // Central-difference gradient at p. stencil[a] is the half-width, in
    // voxels, of the difference along axis a: the field is sampled at
    // p +- stencil[a] * spacing[a] and the difference divided by the distance
    // between the two samples. Sample points are clamped to the box, so near a
    // face the difference becomes one-sided; p itself is clamped first. An axis
    // with stencil 0 or a single voxel gives 0. (2, 2, 2) spans four voxels.
    Vector3<T> gradient(const Vector3<T>& p, const Tuple3<unsigned int>& stencil) const;

private:
    void placeAroundCentre(const Vector3<T>& centre);
    T interpolate(const Vector3<T>& voxelCoords) const;
    Vector3<T> toVoxelCoords(const Vector3<T>& p) const;

    Tuple3<unsigned int> resolution_{};
    Vector3<T> spacing_{T(1), T(1), T(1)};
    Box3<T> box_{};
    Array<T> values_;
};

extern template class KV_EXPORT ScalarField3<float>;

}  // namespace kelvar
