#include "kv_fluids_dyn/domain/EulerianFluid3.h"

#include <cmath>

#include "kv_math/Matrix4.h"
#include "kv_math/Quaternion.h"

namespace kelvar::fluid {

namespace {

constexpr unsigned int kDefaultResolution = 8;

// Below this squared length a vector is not normalised before it is turned;
// it then comes out scaled by its own near-zero length.
constexpr float kTinyLengthSquared = 1e-28f;

// Below this norm a quaternion is treated as no rotation at all.
constexpr float kTinyQuaternionNorm = 1e-14f;

// v divided by its length, or v itself when it is too short to divide by.
template <class T>
Vector3<T> normalisedIfLong(const Vector3<T>& v) {
    const T lengthSquared = v.lengthSquared();
    return lengthSquared > T(kTinyLengthSquared) ? v / std::sqrt(lengthSquared) : v;
}

// Turns the direction of v by `rotation` and returns it with unit length.
// Renormalising after the turn keeps rounding in the rotation from changing
// the length; a vector too short to normalise comes out as short as it was.
template <class T>
Vector3<T> turnedDirection(const Vector3<T>& v, const Quaternion<T>& rotation) {
    return normalisedIfLong(rotation.rotate(normalisedIfLong(v)));
}

template <class T>
T columnLength(const Matrix4<T>& matrix, const unsigned int& column) {
    return Vector3<T>(matrix.m[0][column], matrix.m[1][column], matrix.m[2][column]).length();
}

}  // namespace

template <class GridT, class T>
const Vector3<T> EulerianFluid3<GridT, T>::zeroVelocity{};

template <class GridT, class T>
EulerianFluid3<GridT, T>::EulerianFluid3()
    : forceFactor(T(1)),
      velocityFactor(T(1)),
      momentumFactor(T(1)),
      unassignedFactor(T(1)),
      accelerationFactor(T(1)),
      densityFactor(T(1)),
      massUnit(T(1)),
      lengthUnit(T(1)),
      resolution(kDefaultResolution),
      largestLength(T(0)) {}

template <class GridT, class T>
EulerianFluid3<GridT, T>::EulerianFluid3(const EulerianFluid3&) = default;

template <class GridT, class T>
EulerianFluid3<GridT, T>& EulerianFluid3<GridT, T>::operator=(const EulerianFluid3&) = default;

template <class GridT, class T>
EulerianFluid3<GridT, T>::~EulerianFluid3() = default;

template <class GridT, class T>
void EulerianFluid3<GridT, T>::setTransformWorld(const Transform3Rts<T>& transform) {
    Fluid3<T>::setTransformWorld(transform);
    updateXformGridToWorld();
}

template <class GridT, class T>
void EulerianFluid3<GridT, T>::setPosition(const Vector3<T>& position) {
    Fluid3<T>::setPosition(position);
    updateXformGridToWorld();
}

template <class GridT, class T>
void EulerianFluid3<GridT, T>::setRotation(const Vector3<T>& degrees) {
    Fluid3<T>::setRotation(degrees);
    updateXformGridToWorld();
}

template <class GridT, class T>
void EulerianFluid3<GridT, T>::setScale(const Vector3<T>& scale) {
    Fluid3<T>::setScale(scale);
    updateXformGridToWorld();
}

template <class GridT, class T>
const Vector3<T>& EulerianFluid3<GridT, T>::getVelocityAt(const Vector3<T>& p) const {
    Tuple3<unsigned int> ijk;
    if (!grid.locate(p, ijk)) return zeroVelocity;
    return getVelocityAt(ijk.first, ijk.second, ijk.third);
}

template <class GridT, class T>
void EulerianFluid3<GridT, T>::initialize() {
    grid.clearCells();
}

template <class GridT, class T>
void EulerianFluid3<GridT, T>::setResolution(const unsigned int& requestedCount) {
    grid.set(worldSizingBox(), requestedCount, true);
    grid.relay(T(1));
    grid.resizeCells();
    resolution = requestedCount;
    updateXformGridToWorld();
}

template <class GridT, class T>
Box3<T> EulerianFluid3<GridT, T>::getBBox() const {
    return grid.getBox();
}

template <class GridT, class T>
const Vector3<T>& EulerianFluid3<GridT, T>::getVelocityAt(const unsigned int& i, const unsigned int& j,
                                                         const unsigned int& k) const {
    if (!grid.contains(i, j, k)) return zeroVelocity;
    const Cell* cell = grid.at(i, j, k);
    if (cell == nullptr || !cell->isFluid()) return zeroVelocity;
    return cell->getVelocity();
}

template <class GridT, class T>
void EulerianFluid3<GridT, T>::updateXformGridToWorld() {
    // The counts come from a world-sized grid whose whole cells overshoot
    // the world scale a little; place the grid over that grown box.
    const Vector3<T> scale = this->transformWorld.getScale();
    GridT sizing;
    sizing.set(worldSizingBox(), resolution, true);
    const Vector3<T> growth = sizing.getBox().extent() - scale;

    const Vector3<T> extent = grid.getBox().extent();
    Transform3Rts<T> normalise;
    normalise.setScale(Vector3<T>(T(1) / extent.x, T(1) / extent.y, T(1) / extent.z));
    if (normalise.isUniformScale() && normalise.getScale().x == T(1)) normalise.setIdentity();

    Transform3Rts<T> place = this->transformWorld;
    place.setScale(scale + growth);

    xformGridToWorld = Transform3<T>::concatenate(Transform3<T>(normalise), Transform3<T>(place));
}

template <class GridT, class T>
void EulerianFluid3<GridT, T>::setUnitFactors(const T& subStep, const T& cellEdge, const T& cellMass) {
    const T subStep2 = subStep * subStep;
    forceFactor = subStep2 / (cellMass * cellEdge);
    velocityFactor = subStep / cellEdge;
    momentumFactor = subStep / (cellMass * cellEdge);
    accelerationFactor = subStep2 / cellEdge;
    densityFactor = cellEdge * cellEdge * cellEdge / cellMass;
    massUnit = cellMass;
    lengthUnit = cellEdge;
}

template <class GridT, class T>
Vector3<T> EulerianFluid3<GridT, T>::worldToGridVelocity(const Vector3<T>& v) const {
    return worldToGridVector(v, velocityFactor);
}

template <class GridT, class T>
Vector3<T> EulerianFluid3<GridT, T>::gridToWorldVelocity(const Vector3<T>& v) const {
    return gridToWorldVector(v, velocityFactor);
}

template <class GridT, class T>
Vector3<T> EulerianFluid3<GridT, T>::worldToGridForce(const Vector3<T>& v) const {
    return worldToGridVector(v, forceFactor);
}

template <class GridT, class T>
Vector3<T> EulerianFluid3<GridT, T>::gridToWorldForce(const Vector3<T>& v) const {
    return gridToWorldVector(v, forceFactor);
}

template <class GridT, class T>
Vector3<T> EulerianFluid3<GridT, T>::worldToGridAcceleration(const Vector3<T>& v) const {
    return worldToGridVector(v, accelerationFactor);
}

template <class GridT, class T>
Vector3<T> EulerianFluid3<GridT, T>::gridToWorldAcceleration(const Vector3<T>& v) const {
    return gridToWorldVector(v, accelerationFactor);
}

template <class GridT, class T>
Vector3<T> EulerianFluid3<GridT, T>::worldToGridMomentum(const Vector3<T>& v) const {
    return worldToGridVector(v, momentumFactor);
}

template <class GridT, class T>
Vector3<T> EulerianFluid3<GridT, T>::gridToWorldMomentum(const Vector3<T>& v) const {
    return gridToWorldVector(v, momentumFactor);
}

template <class GridT, class T>
T EulerianFluid3<GridT, T>::worldToGridLength(const T& length) const {
    return xformGridToWorld.getInverseMatrix().transformVector(Vector3<T>(length, T(0), T(0))).length();
}

template <class GridT, class T>
T EulerianFluid3<GridT, T>::gridToWorldLength(const T& length) const {
    return xformGridToWorld.getMatrix().transformVector(Vector3<T>(length, T(0), T(0))).length();
}

template <class GridT, class T>
Obb3<T> EulerianFluid3<GridT, T>::worldToGridOrientedBox(const Obb3<T>& box) const {
    const Quaternion<T> inverse = xformGridToWorld.getRotation().conjugate();
    const Quaternion<T> turn =
        inverse.norm() > T(kTinyQuaternionNorm) ? inverse.normalized() : Quaternion<T>::identity();
    const Matrix4<T>& worldToGrid = xformGridToWorld.getInverseMatrix();

    Obb3<T> result;
    result.center = worldToGrid.transformPoint(box.center);
    for (unsigned int a = 0; a < 3; ++a) {
        result.axis[a] = turn.rotate(box.axis[a]);
        result.halfExtent[a] = box.halfExtent[a] * columnLength(worldToGrid, a);
    }
    return result;
}

template <class GridT, class T>
Box3<T> EulerianFluid3<GridT, T>::worldSizingBox() const {
    const Vector3<T> half(T(0.5), T(0.5), T(0.5));
    const Vector3<T> growth = (this->transformWorld.getScale() - Vector3<T>(T(1), T(1), T(1))) / T(2);
    return Box3<T>(-half - growth, half + growth);
}

template <class GridT, class T>
Vector3<T> EulerianFluid3<GridT, T>::worldToGridVector(const Vector3<T>& v, const T& factor) const {
    const Vector3<T> direction = turnedDirection(v, xformGridToWorld.getRotation().conjugate());
    return direction * (v.length() * factor);
}

template <class GridT, class T>
Vector3<T> EulerianFluid3<GridT, T>::gridToWorldVector(const Vector3<T>& v, const T& factor) const {
    const Vector3<T> direction = turnedDirection(v, xformGridToWorld.getRotation());
    return direction * (v.length() / factor);
}

template class EulerianFluid3<Grid3<LBM_Cell3<float>, float>, float>;

}  // namespace kelvar::fluid
