#include "kv_fluids_dyn/solver/LBM_Solver3.h"

#include <vector>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_FluidCell3.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/domain/MAC_LBM_SolverContext3.h"
#include "kv_fluids_dyn/solver/internal/GridWrap.h"

namespace kelvar::fluid {

namespace {

// Solid and sink cells have no distributions to stream or relax.
template <class T>
bool isLatticeCell(const LBM_Cell3<T>* cell) {
    return cell != nullptr && !cell->isSolid() && !cell->isSink();
}

}  // namespace

int wrapGridCoordinate(int c, int n) {
    if (c > n - 1) {
        const int r = (c - (n - 1)) % n;
        return r == 0 ? n - 1 : r - 1;
    }
    if (c < 0) {
        const int r = (-c) % n;
        return r == 0 ? 0 : n - r;
    }
    return c;
}

template <class Fluid, class Context, class T>
LBM_Solver3<Fluid, Context, T>::LBM_Solver3() = default;

template <class Fluid, class Context, class T>
LBM_Solver3<Fluid, Context, T>::LBM_Solver3(const LBM_Solver3& other) = default;

template <class Fluid, class Context, class T>
LBM_Solver3<Fluid, Context, T>& LBM_Solver3<Fluid, Context, T>::operator=(const LBM_Solver3& other) = default;

template <class Fluid, class Context, class T>
LBM_Solver3<Fluid, Context, T>::~LBM_Solver3() = default;

template <class Fluid, class Context, class T>
void LBM_Solver3<Fluid, Context, T>::stream(Fluid& fluid) {
    const bool wrap[3] = {false, false, false};
    streamWithWrap(fluid, wrap);
}

template <class Fluid, class Context, class T>
void LBM_Solver3<Fluid, Context, T>::streamPeriodicBoundaries(Fluid& fluid, const KV_AXIS& axis) {
    bool wrap[3] = {false, false, false};
    wrap[static_cast<unsigned>(axis)] = true;
    streamWithWrap(fluid, wrap);
}

template <class Fluid, class Context, class T>
void LBM_Solver3<Fluid, Context, T>::collision(const Context& context, Fluid& fluid) {
    auto& grid = fluid.refGrid();
    for (unsigned int x = 0; x < grid.getNx(); ++x)
        for (unsigned int y = 0; y < grid.getNy(); ++y)
            for (unsigned int z = 0; z < grid.getNz(); ++z) {
                LBM_Cell3<T>* cell = grid.at(x, y, z);
                if (isLatticeCell(cell))
                    static_cast<LBM_FluidCell3<T>*>(cell)->collision(context.getLatticeViscosity());
            }
}

template <class Fluid, class Context, class T>
void LBM_Solver3<Fluid, Context, T>::streamWithWrap(Fluid& fluid, const bool wrap[3]) {
    auto& grid = fluid.refGrid();
    const int size[3] = {int(grid.getNx()), int(grid.getNy()), int(grid.getNz())};
    std::vector<LBM_Cell3<T>*> neighbours(q19::kDirectionCount);
    for (int x = 0; x < size[0]; ++x)
        for (int y = 0; y < size[1]; ++y)
            for (int z = 0; z < size[2]; ++z) {
                LBM_Cell3<T>* cell = grid.at(unsigned(x), unsigned(y), unsigned(z));
                if (!isLatticeCell(cell)) continue;
                const int at[3] = {x, y, z};
                for (unsigned int i = 0; i < q19::kDirectionCount; ++i) {
                    int n[3];
                    bool inside = true;
                    for (unsigned int a = 0; a < 3; ++a) {
                        n[a] = at[a] + q19::kDirection[i][a];
                        if (wrap[a]) n[a] = wrapGridCoordinate(n[a], size[a]);
                        inside = inside && n[a] >= 0 && n[a] < size[a];
                    }
                    neighbours[i] = inside ? grid.at(unsigned(n[0]), unsigned(n[1]), unsigned(n[2])) : nullptr;
                }
                static_cast<LBM_FluidCell3<T>*>(cell)->stream(neighbours);
            }
}

template class LBM_Solver3<MAC_LBM_Fluid3, MAC_LBM_SolverContext3, float>;

}  // namespace kelvar::fluid
