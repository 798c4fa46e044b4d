#pragma once

#include <vector>

#include "kv_basic/Export.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3OppositeIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3Shifter.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3StreamFreeSlipTable.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3StreamIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3Weights.h"

namespace kelvar::fluid {

// A lattice-Boltzmann liquid cell of any velocity set: adds the density and
// the body force (an acceleration in lattice units) to the common cell state,
// and declares the distribution access, equilibrium, collision and lattice
// tables that a concrete velocity set provides.
template <class T>
class LBM_FluidCell3 : public LBM_Cell3<T> {
public:
    LBM_FluidCell3() = default;
    LBM_FluidCell3(const LBM_FluidCell3& other) = default;
    LBM_FluidCell3& operator=(const LBM_FluidCell3& other) = default;
    ~LBM_FluidCell3() override;

    // Unclassified, at rest, no force, zero density.
    void initialize() override;
    virtual void stream(std::vector<LBM_Cell3<T>*>& neighbours) = 0;
    virtual void collision(const T& nu) = 0;
    virtual const T& getPdfAt(const unsigned int& i) const = 0;
    // Equilibrium of direction i at the cell's velocity and unit density.
    virtual T calcFeq(const unsigned int& i) const = 0;
    virtual void setPdfAt(const unsigned int& i, T value) = 0;
    virtual const LBM_Cell3Shifter& getShifter() const = 0;
    virtual const LBM_Cell3Weights<T>& getWeights() const = 0;
    virtual const LBM_Cell3StreamIndices& getStreamIndices() const = 0;
    virtual const LBM_Cell3OppositeIndices& getOppositeIndices() const = 0;
    virtual const LBM_Cell3StreamFreeSlipTable& getStreamFreeSlipTable() const = 0;

    const T& getDensity() const { return density; }
    void setDensity(const T& value) { density = value; }
    const Vector3<T>& getForce() const { return force; }
    void setForce(const Vector3<T>& value) { force = value; }
    void addForce(const Vector3<T>& value) { force += value; }

protected:
    T density = T(0);
    Vector3<T> force;
};

extern template class KV_EXPORT LBM_FluidCell3<float>;

}  // namespace kelvar::fluid
