#pragma once

#include <cstdint>

#include "kv_basic/ArrayOfPtr.h"
#include "kv_basic/Export.h"

namespace kelvar::fluid {

class MAC_LBM_Fluid3;

// Base of the solvers: which fluids a solver advances, how many solve calls
// it has completed, the upper bound on any fluid's sub-step and the number of
// worker threads its passes use.
//
// The fluids are not owned: attach stores a pointer, clear forgets them all,
// and neither the destructor nor a copy touches a fluid. Copies copy the
// pointers and the three counters. A derived solver defines initialize (the
// lattice units of each fluid) and solve (the sub-steps).
template <class Fluid>
class KV_EXPORT Solver3 {
public:
    // The largest finite float: no bound on the sub-step.
    static constexpr float kNoDtBound = 3.4028235e38f;

    Solver3();
    Solver3(const Solver3& other);
    Solver3& operator=(const Solver3& other);
    virtual ~Solver3();

    // The smallest sub-step of the attached fluids; kNoDtBound without any.
    virtual float getSafeDt() const;
    virtual void initialize(const unsigned int& threads) = 0;
    virtual void solve(const float& dt) = 0;
    virtual void preSolve();
    virtual void postSolve();

    // Appends the fluid; attaching it twice advances it twice per solve.
    void attach(Fluid& fluid);
    // Forgets every fluid; the storage is kept.
    void clear();

    const uint32_t& getStep() const { return step; }
    void setStep(const uint32_t& value) { step = value; }
    const float& getMaxAllowed_Dt() const { return maxAllowed_Dt; }
    void setMaxAllowed_Dt(const float& value) { maxAllowed_Dt = value; }

protected:
    ArrayOfPtr<Fluid, KV_NO> fluids;
    uint32_t step = 0;
    float maxAllowed_Dt = kNoDtBound;
    unsigned int threads = 1;
};

extern template class KV_EXPORT Solver3<MAC_LBM_Fluid3>;

}  // namespace kelvar::fluid
