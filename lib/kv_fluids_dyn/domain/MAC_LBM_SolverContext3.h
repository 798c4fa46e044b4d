#pragma once

#include <cstdint>

#include "kv_basic/Export.h"

namespace kelvar::fluid {

// The per-fluid state a solver keeps between sub-steps, stored inside the
// fluid so that a solver owns nothing of it. The three classes add, in this
// order: three general-purpose values no pass writes yet; the lattice units
// and the sub-step clock; the density bookkeeping of the free surface.
// Accessors are plain: getters return the field, setters store unchecked,
// ref accessors hand out the field for in-place updates. Copies copy every
// value.

// Base: three spare values, 0 at construction.
template <class T>
class KV_EXPORT SolverContext3 {
public:
    static constexpr unsigned int kSpareCount = 3;

    SolverContext3() = default;
    SolverContext3(const SolverContext3&) = default;
    SolverContext3& operator=(const SolverContext3&) = default;
    virtual ~SolverContext3() = default;

    const T& getSpare(const unsigned int& i) const { return spare[i]; }
    void setSpare(const unsigned int& i, const T& value) { spare[i] = value; }

protected:
    T spare[kSpareCount] = {T(0), T(0), T(0)};
};

// Lattice units of one fluid: viscosity and speed limit in lattice units,
// the sub-step length, cell edge and cell mass in world units, and the frame
// time not yet consumed by sub-steps.
template <class T>
class KV_EXPORT LBM_SolverContext3 : public SolverContext3<T> {
public:
    static constexpr T kDefaultSubStep = T(0.001);

    const T& getLatticeViscosity() const { return latticeViscosity; }
    void setLatticeViscosity(const T& value) { latticeViscosity = value; }
    const T& getLatticeMaxSpeed() const { return latticeMaxSpeed; }
    void setLatticeMaxSpeed(const T& value) { latticeMaxSpeed = value; }
    const T& getLatticeMaxSpeed2() const { return latticeMaxSpeed2; }
    void setLatticeMaxSpeed2(const T& value) { latticeMaxSpeed2 = value; }
    const T& getDt() const { return dt; }
    void setDt(const T& value) { dt = value; }
    const T& getDx() const { return dx; }
    void setDx(const T& value) { dx = value; }
    const T& getCellMass() const { return cellMass; }
    void setCellMass(const T& value) { cellMass = value; }
    const T& getTimeAccumulator() const { return timeAccumulator; }
    void setTimeAccumulator(const T& value) { timeAccumulator = value; }
    T& refTimeAccumulator() { return timeAccumulator; }

protected:
    T latticeViscosity = T(0);
    T latticeMaxSpeed = T(0);
    T latticeMaxSpeed2 = T(0);
    T dt = kDefaultSubStep;
    T dx = T(1);
    T cellMass = T(1);
    T timeAccumulator = T(0);
};

// The free-surface fluid's context: adds the density the sub-steps lost and
// still owe the liquid (lostMass), the density that left the liquid
// outside the solver since the last sub-step (addedMass), and the state of
// the generator that places re-seeded particles, so that a checkpoint can
// carry it and a restored run draws what the uninterrupted one would.
class KV_EXPORT MAC_LBM_SolverContext3 : public LBM_SolverContext3<float> {
public:
    const float& getLostMass() const { return lostMass; }
    void setLostMass(const float& value) { lostMass = value; }
    float& refLostMass() { return lostMass; }
    const float& getAddedMass() const { return addedMass; }
    void setAddedMass(const float& value) { addedMass = value; }
    float& refAddedMass() { return addedMass; }
    // Density (lattice units) that left the liquid through drains, summed
    // over the sub-steps since initialize; only counted when the fluid's
    // sinks drain (MAC_LBM_Fluid3::setSinksDrain).
    const float& getDrainedDensity() const { return drainedDensity; }
    void setDrainedDensity(const float& value) { drainedDensity = value; }
    const uint32_t& getRandomState() const { return randomState; }
    void setRandomState(const uint32_t& value) { randomState = value; }

protected:
    float lostMass = 0.0f;
    float addedMass = 0.0f;
    float drainedDensity = 0.0f;
    uint32_t randomState = 1;
};

}  // namespace kelvar::fluid
