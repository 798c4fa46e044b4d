#include "kv_fluids_dyn/solver/internal/ObstacleMomentumPass.h"

#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"

namespace kelvar::fluid {

namespace {

// The scale of the moving-wall term of the wall streaming: 1 / c_s^2 times
// the two of a bounce-back.
constexpr double kMovingWallScale = 6.0;

}  // namespace

void exchangeObstacleMomentum(MAC_LBM_Fluid3& fluid, const LiquidCells& wallCells) {
    const GridNeighbourhood grid(fluid.getGrid());
    AllNeighbours neighbours;
    for (const LBM_Q19_MAC_Cell3F* cell : wallCells) {
        grid.gather(cell->getGridMonoindex(), neighbours.data());
        for (unsigned int i = 1; i < q19::kDirectionCount; ++i) {
            const LBM_Cell3<float>* n = neighbours[i];
            unsigned int meshId = 0;
            if (n == nullptr || !n->isSolid() || !fluid.obstacleMeshAt(n->getGridMonoindex(), meshId)) continue;
            // The population sent along c_i comes back less the moving-wall
            // term the wall streaming adds: the wall takes the difference.
            const double weight = i < q19::kFirstDiagonal ? q19::kWeightAxis : q19::kWeightDiagonal;
            const double along = double(q19::kVelocity[i].dot(n->getVelocity()));
            const double taken = 2.0 * double(cell->getPdfAt(i)) - kMovingWallScale * weight * along;
            fluid.addExchangedMomentum(meshId, Vector3<double>(taken * q19::kDirection[i][0],
                                                               taken * q19::kDirection[i][1],
                                                               taken * q19::kDirection[i][2]));
        }
    }
}

}  // namespace kelvar::fluid
