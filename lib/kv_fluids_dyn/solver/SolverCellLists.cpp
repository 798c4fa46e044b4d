#include "kv_fluids_dyn/solver/internal/CellListsPass.h"

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace kelvar::fluid {

void CellListsPass::run(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    Lists* const lists = perWorker.forWorkers(threads);
    const uint32_t workers = workerCount(threads);
    for (uint32_t t = 0; t < workers; ++t) {
        lists[t].liquid.clear();
        lists[t].interface.clear();
        lists[t].solid.clear();
        lists[t].sink.clear();
        lists[t].density.clear();
    }
    lastWorkers = workers;

    LBM_Cell3<float>* const* const cells = fluid.getGrid().getCells().data();
    runParallelIndices(
        fluid.getGrid().getCount(),
        [&](const unsigned int& t, uint32_t index) {
            LBM_Cell3<float>* cell = cells[index];
            if (cell == nullptr) return;
            Lists& mine = lists[t];
            switch (cell->getType()) {
                case LBM_CELL_SOLID:
                    mine.solid.push_back(static_cast<LBM_SolidCell3<float>*>(cell));
                    break;
                case LBM_CELL_SINK:
                    mine.sink.push_back(static_cast<LBM_SinkCell3<float>*>(cell));
                    break;
                case LBM_CELL_INTERFACE:
                    mine.interface.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(cell));
                    [[fallthrough]];
                case LBM_CELL_FLUID:
                    mine.liquid.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(cell));
                    mine.density.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(cell)->getDensity());
                    break;
                default:
                    break;
            }
        },
        threads);

    mergeInWorkerOrder(fluid.refArrLiquidCells(), lists, workers, &Lists::liquid);
    mergeInWorkerOrder(fluid.refArrInterfaceCells(), lists, workers, &Lists::interface);
    mergeInWorkerOrder(fluid.refArrSolidCells(), lists, workers, &Lists::solid);
    mergeInWorkerOrder(fluid.refArrSinkCells(), lists, workers, &Lists::sink);
}

float CellListsPass::liquidDensitySum() const {
    float sum = 0.0f;
    forEachInWorkerOrder(perWorker.records(), lastWorkers, &Lists::density, [&sum](const float& d) { sum += d; });
    return sum;
}

void CellListsPass::runSolids(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    Lists* const lists = perWorker.forWorkers(threads);
    const uint32_t workers = workerCount(threads);
    for (uint32_t t = 0; t < workers; ++t) lists[t].solid.clear();

    LBM_Cell3<float>* const* const cells = fluid.getGrid().getCells().data();
    runParallelIndices(
        fluid.getGrid().getCount(),
        [&](const unsigned int& t, uint32_t index) {
            LBM_Cell3<float>* cell = cells[index];
            if (cell != nullptr && cell->isSolid()) lists[t].solid.push_back(static_cast<LBM_SolidCell3<float>*>(cell));
        },
        threads);
    mergeInWorkerOrder(fluid.refArrSolidCells(), lists, workers, &Lists::solid);
}

}  // namespace kelvar::fluid
