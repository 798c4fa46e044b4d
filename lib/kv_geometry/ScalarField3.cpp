#include "kv_geometry/ScalarField3.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kelvar {

namespace {

// Relative distance, in voxels, within which a coordinate snaps onto a voxel plane.
constexpr float kSnapTolerance = 1e-5f;

template <class T>
T snapToVoxel(T u) {
    const T nearest = std::round(u);
    const T tolerance = T(kSnapTolerance) * std::max(T(1), std::fabs(u));
    return std::fabs(u - nearest) <= tolerance ? nearest : u;
}

}  // namespace

template <class T>
ScalarField3<T>::ScalarField3(const Tuple3<unsigned int>& resolution, const Vector3<T>& spacing) {
    spacing_ = spacing;
    setResolution(resolution);
}

template <class T>
uint64_t ScalarField3<T>::voxelCount() const {
    return uint64_t(resolution_.first) * resolution_.second * resolution_.third;
}

template <class T>
bool ScalarField3<T>::setResolution(const Tuple3<unsigned int>& resolution) {
    constexpr uint64_t kMaxCount = std::numeric_limits<uint32_t>::max();
    const uint64_t xy = uint64_t(resolution.first) * resolution.second;
    if (xy > kMaxCount) return false;
    const uint64_t count = xy * resolution.third;  // both factors below 2^32: no overflow
    if (count > kMaxCount) return false;
    const Vector3<T> centre = box_.center();
    resolution_ = resolution;
    values_.resize(uint32_t(count));
    placeAroundCentre(centre);
    return true;
}

template <class T>
void ScalarField3<T>::setSpacing(const Vector3<T>& spacing) {
    const Vector3<T> centre = box_.center();
    spacing_ = spacing;
    placeAroundCentre(centre);
}

template <class T>
void ScalarField3<T>::placeAroundCentre(const Vector3<T>& centre) {
    for (unsigned a = 0; a < 3; ++a) {
        const unsigned n = resolution_[a];
        const T half = n > 1 ? T(n - 1) * spacing_[a] * T(0.5) : T(0);
        box_.min[a] = centre[a] - half;
        box_.max[a] = box_.min[a] + (n > 1 ? T(n - 1) * spacing_[a] : T(0));
    }
}

template <class T>
void ScalarField3<T>::setBox(const Box3<T>& box) {
    box_ = box;
    for (unsigned a = 0; a < 3; ++a) {
        const unsigned n = resolution_[a];
        if (n > 1)
            spacing_[a] = (box.max[a] - box.min[a]) / T(n - 1);
        else
            box_.max[a] = box_.min[a];
    }
}

template <class T>
void ScalarField3<T>::moveBox(const Vector3<T>& offset) {
    box_.min += offset;
    box_.max += offset;
}

template <class T>
void ScalarField3<T>::clear() {
    std::fill(values_.begin(), values_.end(), T(0));
}

template <class T>
Vector3<T> ScalarField3<T>::voxelPosition(unsigned int i, unsigned int j, unsigned int k) const {
    return box_.min + Vector3<T>(T(i), T(j), T(k)).mul(spacing_);
}

template <class T>
Vector3<T> ScalarField3<T>::toVoxelCoords(const Vector3<T>& p) const {
    Vector3<T> u;
    for (unsigned a = 0; a < 3; ++a)
        u[a] = resolution_[a] > 1 ? snapToVoxel((p[a] - box_.min[a]) / spacing_[a]) : T(0);
    return u;
}

template <class T>
T ScalarField3<T>::interpolate(const Vector3<T>& u) const {
    unsigned lo[3];
    unsigned hi[3];
    T f[3];
    for (unsigned a = 0; a < 3; ++a) {
        const unsigned last = resolution_[a] - 1;
        lo[a] = std::min(unsigned(u[a]), last);
        hi[a] = std::min(lo[a] + 1, last);
        f[a] = u[a] - T(lo[a]);
    }
    // Along z first (the contiguous axis), then y, then x.
    auto lerp = [](T a, T b, T t) { return a + (b - a) * t; };
    auto edge = [&](unsigned i, unsigned j) { return lerp(at(i, j, lo[2]), at(i, j, hi[2]), f[2]); };
    const T x0 = lerp(edge(lo[0], lo[1]), edge(lo[0], hi[1]), f[1]);
    const T x1 = lerp(edge(hi[0], lo[1]), edge(hi[0], hi[1]), f[1]);
    return lerp(x0, x1, f[0]);
}

template <class T>
bool ScalarField3<T>::sample(const Vector3<T>& p, T& value) const {
    if (voxelCount() == 0) return false;
    const Vector3<T> u = toVoxelCoords(p);
    for (unsigned a = 0; a < 3; ++a) {
        if (resolution_[a] == 1) {
            if (!(p[a] == box_.min[a])) return false;
        } else if (!(u[a] >= T(0) && u[a] <= T(resolution_[a] - 1))) {
            return false;
        }
    }
    value = interpolate(u);
    return true;
}

template <class T>
Vector3<T> ScalarField3<T>::gradient(const Vector3<T>& p, const Tuple3<unsigned int>& stencil) const {
    Vector3<T> g{};
    if (voxelCount() == 0) return g;
    auto clampToBox = [&](Vector3<T> q) {
        for (unsigned a = 0; a < 3; ++a) {
            const T upper = T(resolution_[a] - 1);
            q[a] = std::isnan(q[a]) ? T(0) : std::clamp(q[a], T(0), upper);
        }
        return q;
    };
    const Vector3<T> centre = clampToBox(toVoxelCoords(p));
    for (unsigned a = 0; a < 3; ++a) {
        if (stencil[a] == 0 || resolution_[a] < 2) continue;
        Vector3<T> lo = centre;
        Vector3<T> hi = centre;
        lo[a] -= T(stencil[a]);
        hi[a] += T(stencil[a]);
        lo = clampToBox(lo);
        hi = clampToBox(hi);
        const T distance = (hi[a] - lo[a]) * spacing_[a];
        if (distance > T(0)) g[a] = (interpolate(hi) - interpolate(lo)) / distance;
    }
    return g;
}

template class ScalarField3<float>;

}  // namespace kelvar
