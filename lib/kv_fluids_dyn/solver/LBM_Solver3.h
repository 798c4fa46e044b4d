#pragma once

#include "kv_basic/Export.h"
#include "kv_basic/KV_AXIS.h"
#include "kv_fluids_dyn/solver/Solver3.h"

namespace kelvar::fluid {

class MAC_LBM_SolverContext3;

// A lattice-Boltzmann solver over a fluid whose grid holds LBM cells: adds
// the generic single-threaded whole-grid passes, streaming (bounded or
// periodic along one axis) and collision, which every LBM fluid kind can run.
//
// The passes visit the grid x outermost, z innermost, and skip positions
// without a cell as well as solid and sink cells, which carry no
// distributions. They run on the caller's thread and are not on the
// free-surface solver's hot path: its cells stream through their own
// two-pass swap scheme instead.
template <class Fluid, class Context, class T>
class KV_EXPORT LBM_Solver3 : public Solver3<Fluid> {
public:
    LBM_Solver3();
    LBM_Solver3(const LBM_Solver3& other);
    LBM_Solver3& operator=(const LBM_Solver3& other);
    ~LBM_Solver3() override;

protected:
    // Hands every lattice cell its 19 neighbours by direction (entry 0 is the
    // cell itself, null outside the grid) through the cell's stream().
    virtual void stream(Fluid& fluid);
    // As stream, with the grid wrapped around along `axis`.
    virtual void streamPeriodicBoundaries(Fluid& fluid, const KV_AXIS& axis);
    // Relaxes every lattice cell with the context's lattice viscosity.
    virtual void collision(const Context& context, Fluid& fluid);

private:
    void streamWithWrap(Fluid& fluid, const bool wrap[3]);
};

extern template class KV_EXPORT LBM_Solver3<MAC_LBM_Fluid3, MAC_LBM_SolverContext3, float>;

}  // namespace kelvar::fluid
