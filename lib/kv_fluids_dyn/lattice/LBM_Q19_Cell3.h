#pragma once

#include <vector>

#include "kv_basic/Export.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3MirrorIndices.h"
#include "kv_fluids_dyn/lattice/LBM_FluidCell3.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"

namespace kelvar::fluid {

// A D3Q19 liquid cell: the 19 distributions and the purely local lattice
// work on them (moments, equilibrium, initialisation from a velocity, and the
// collision). Streaming, which needs the neighbours, is left to subclasses.
//
// Storage convention: the solver streams by swapping with the neighbours, so
// when a collision starts the value of direction i sits in slot opp(i). Both
// collision operators read that swapped layout and leave the natural one
// (slot i holds direction i). Every other operation works on the slots as
// they stand. No operation checks its inputs; a zero density divides by
// zero. All arithmetic is in T, in a fixed order, so results are bit-exact.
template <class T>
class LBM_Q19_Cell3 : public LBM_FluidCell3<T> {
public:
    // Leaves the distributions unset; initialize() sets them.
    LBM_Q19_Cell3();
    LBM_Q19_Cell3(const LBM_Q19_Cell3& other) = default;
    LBM_Q19_Cell3& operator=(const LBM_Q19_Cell3& other) = default;
    ~LBM_Q19_Cell3() override;

    // Unclassified and at rest, slot i = w_i, density = running sum of the
    // weights.
    void initialize() override;
    // Regularised collision with Smagorinsky subgrid viscosity.
    void collision(const T& nu) override;
    // collision(nu) of four cells at once, for cells that keep this class's
    // collision: each cell ends exactly as its own call would leave it, but
    // the relaxation runs on four lanes side by side.
    static void collision4(LBM_Q19_Cell3* const (&cells)[4], const T& nu);
    // This class's updateDensity() then updateVelocity() of four cells,
    // without virtual calls and with the sums of the four side by side;
    // each cell ends with the same bits as its own two calls would give it.
    // For cells that keep this class's versions of those calls.
    static void updateMoments4(LBM_Q19_Cell3* const (&cells)[4]);
    const T& getPdfAt(const unsigned int& i) const override;
    T calcFeq(const unsigned int& i) const override;
    void setPdfAt(const unsigned int& i, T value) override;
    const LBM_Cell3Shifter& getShifter() const override;
    const LBM_Cell3Weights<T>& getWeights() const override;
    const LBM_Cell3StreamIndices& getStreamIndices() const override;
    const LBM_Cell3OppositeIndices& getOppositeIndices() const override;
    const LBM_Cell3StreamFreeSlipTable& getStreamFreeSlipTable() const override;
    virtual const LBM_Cell3MirrorIndices& getMirrorIndices() const;
    virtual const Vector3<T>& getVelocity() const;
    // velocity = computeVelocity()
    virtual void updateVelocity();
    // density = computeDensity()
    virtual void updateDensity();
    // Sets the slots to the equilibrium at the cell's density and velocity u.
    virtual void setInitialVelocity(const Vector3<T>& u);
    // Sets the slots to the equilibrium at the cell's density and velocity
    // velocity + du.
    virtual void addVelocity(const Vector3<T>& du);
    // First moment over zeroth moment of the slots; stores nothing.
    virtual Vector3<T> computeVelocity() const;
    virtual Vector3<T> computeVelocity(const std::vector<T>& values) const;
    // density = sum of the slots in index order.
    virtual const T& computeDensity();

    // Incompressible equilibrium w_i ((rho - 1.5 u.u) + 3 c_i.u + 4.5 (c_i.u)^2).
    T calcFeq(const unsigned int& i, const T& rho, const Vector3<T>& u) const;
    // The same at the cell's velocity and density.
    T calcFeqUseRho(const unsigned int& i) const;
    // Copies the other cell's slots and density; velocity and force stay.
    void copyPdfs(const LBM_FluidCell3<T>& other);

protected:
    // Single-relaxation-time collision with a one-sided gravity correction.
    virtual void collisionBGK(const T& nu);
    // Plain regularised collision: not used, does nothing.
    virtual void collisionRLB(const T& nu);
    // Regularised collision with Smagorinsky subgrid viscosity.
    virtual void collisionRLBSmag(const T& nu);

    // First moment over zeroth moment of 19 values, in direction order.
    static Vector3<T> velocityOf(const T* values);

    T pdfs[q19::kDirectionCount];
};

// Defined here so that a call qualified with this class, which a pass that
// knows its cells' class makes instead of a virtual one, is inlined.
template <class T>
inline const T& LBM_Q19_Cell3<T>::getPdfAt(const unsigned int& i) const {
    return pdfs[i];
}

template <class T>
inline void LBM_Q19_Cell3<T>::setPdfAt(const unsigned int& i, T value) {
    pdfs[i] = value;
}

extern template class KV_EXPORT LBM_Q19_Cell3<float>;

}  // namespace kelvar::fluid
