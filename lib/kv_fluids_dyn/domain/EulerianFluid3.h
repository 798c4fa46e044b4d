#pragma once

#include "kv_basic/Export.h"
#include "kv_fluids_dyn/domain/Fluid3.h"
#include "kv_fluids_dyn/domain/Grid3.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"
#include "kv_math/Box3.h"
#include "kv_math/Obb3.h"
#include "kv_math/Transform3.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

// A fluid discretised on a regular grid: the grid of cell pointers, how grid
// space (measured in cells) maps into the world, and the unit factors that
// turn world quantities into lattice quantities and back.
//
// setResolution sizes the grid from the world scale and a requested total
// cell count, then re-lays it in lattice units: cell edge 1, box centred on
// the origin. xformGridToWorld maps that box onto the world placement; it is
// recomputed whenever the placement changes. The factors stay 1 until the
// solver sets them from its sub-step, cell edge and cell mass.
//
// Vector conversions turn the direction by the grid/world rotation only and
// scale the length by the factor, so neither the world scale nor rounding in
// the rotation changes a converted vector's length. Copies share the grid's
// cell pointers.
template <class GridT, class T>
class KV_EXPORT EulerianFluid3 : public Fluid3<T> {
public:
    using Cell = typename GridT::CellType;

    EulerianFluid3();
    EulerianFluid3(const EulerianFluid3& other);
    EulerianFluid3& operator=(const EulerianFluid3& other);
    ~EulerianFluid3() override;

    void setTransformWorld(const Transform3Rts<T>& transform) override;
    void setPosition(const Vector3<T>& position) override;
    void setRotation(const Vector3<T>& degrees) override;
    void setScale(const Vector3<T>& scale) override;

    // Velocity of the cell that holds the grid-space point p, or the zero
    // vector when that is no liquid cell.
    const Vector3<T>& getVelocityAt(const Vector3<T>& p) const override;

    // Sets every cell pointer to null; the owner of the cells frees them first.
    virtual void initialize();
    // Sizes the grid for about `requestedCount` cells over the world scale.
    virtual void setResolution(const unsigned int& requestedCount);
    virtual Box3<T> getBBox() const;
    // Velocity of cell (i, j, k), or a shared zero vector when the indices
    // lie outside the grid or the cell is missing or not liquid.
    virtual const Vector3<T>& getVelocityAt(const unsigned int& i, const unsigned int& j, const unsigned int& k) const;

    // Recomputes xformGridToWorld from the grid and the world placement.
    void updateXformGridToWorld();

    // Sets the unit factors from the sub-step length, the cell edge and the
    // mass of one cell, all in world units.
    void setUnitFactors(const T& subStep, const T& cellEdge, const T& cellMass);

    const GridT& getGrid() const { return grid; }
    GridT& refGrid() { return grid; }
    const unsigned int& getResolution() const { return resolution; }
    const T& getLargestLength() const { return largestLength; }
    void setLargestLength(const T& value) { largestLength = value; }
    const Transform3<T>& getXformGridToWorld() const { return xformGridToWorld; }

    const T& getForceFactor() const { return forceFactor; }
    const T& getVelocityFactor() const { return velocityFactor; }
    const T& getMomentumFactor() const { return momentumFactor; }
    const T& getAccelerationFactor() const { return accelerationFactor; }
    const T& getDensityFactor() const { return densityFactor; }
    const T& getMassUnit() const { return massUnit; }
    const T& getLengthUnit() const { return lengthUnit; }

    T worldToGridSpeed(const T& speed) const { return speed * velocityFactor; }
    T gridToWorldSpeed(const T& speed) const { return speed / velocityFactor; }
    T worldToGridDensity(const T& value) const { return value * densityFactor; }
    T gridToWorldDensity(const T& value) const { return value / densityFactor; }
    T worldToGridMass(const T& mass) const { return mass / massUnit; }
    T gridToWorldMass(const T& mass) const { return mass * massUnit; }

    Vector3<T> worldToGridVelocity(const Vector3<T>& v) const;
    Vector3<T> gridToWorldVelocity(const Vector3<T>& v) const;
    Vector3<T> worldToGridForce(const Vector3<T>& v) const;
    Vector3<T> gridToWorldForce(const Vector3<T>& v) const;
    Vector3<T> worldToGridAcceleration(const Vector3<T>& v) const;
    Vector3<T> gridToWorldAcceleration(const Vector3<T>& v) const;
    Vector3<T> worldToGridMomentum(const Vector3<T>& v) const;
    Vector3<T> gridToWorldMomentum(const Vector3<T>& v) const;

    Vector3<T> worldToGridPosition(const Vector3<T>& p) const { return xformGridToWorld.inverseTransformPoint(p); }
    Vector3<T> gridToWorldPosition(const Vector3<T>& p) const { return xformGridToWorld.transformPoint(p); }
    T worldToGridLength(const T& length) const;
    T gridToWorldLength(const T& length) const;
    Obb3<T> worldToGridOrientedBox(const Obb3<T>& box) const;

protected:
    // The box from -s/2 to s/2 (s the world scale) that decides the counts.
    Box3<T> worldSizingBox() const;
    Vector3<T> worldToGridVector(const Vector3<T>& v, const T& factor) const;
    Vector3<T> gridToWorldVector(const Vector3<T>& v, const T& factor) const;

    GridT grid;
    Transform3<T> xformGridToWorld;
    T forceFactor;
    T velocityFactor;
    T momentumFactor;
    T unassignedFactor;  // never written; part of the stored record
    T accelerationFactor;
    T densityFactor;
    T massUnit;
    T lengthUnit;
    unsigned int resolution;
    T largestLength;

private:
    static const Vector3<T> zeroVelocity;
};

extern template class KV_EXPORT EulerianFluid3<Grid3<LBM_Cell3<float>, float>, float>;

}  // namespace kelvar::fluid
