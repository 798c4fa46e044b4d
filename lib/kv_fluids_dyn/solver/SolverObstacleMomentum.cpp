#include "kv_fluids_dyn/solver/internal/ObstacleMomentumPass.h"

#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"

namespace kelvar::fluid {

void exchangeObstacleMomentum(MAC_LBM_Fluid3& fluid, const LiquidCells& wallCells) {
    const GridNeighbourhood grid(fluid.getGrid());
    AllNeighbours neighbours;
    for (const LBM_Q19_MAC_Cell3F* cell : wallCells) {
        grid.gather(cell->getGridMonoindex(), neighbours.data());
        for (unsigned int i = 1; i < q19::kDirectionCount; ++i) {
            const LBM_Cell3<float>* n = neighbours[i];
            unsigned int meshId = 0;
            if (n == nullptr || !n->isSolid() || !fluid.obstacleMeshAt(n->getGridMonoindex(), meshId)) continue;
            const double twice = 2.0 * double(cell->getPdfAt(i));
            fluid.addExchangedMomentum(meshId, Vector3<double>(twice * q19::kDirection[i][0],
                                                               twice * q19::kDirection[i][1],
                                                               twice * q19::kDirection[i][2]));
        }
    }
}

}  // namespace kelvar::fluid
