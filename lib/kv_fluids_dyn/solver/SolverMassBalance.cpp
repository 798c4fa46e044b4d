#include "kv_fluids_dyn/solver/internal/MassBalance.h"

#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace kelvar::fluid {

namespace {

// The values widened to double and added one by one in their order.
double sumInOrder(const Array<float>& values) {
    double sum = 0.0;
    for (const float value : values) sum += double(value);
    return sum;
}

}  // namespace

void addMovingDensity(LBM_Q19_MAC_Cell3F& cell, const float& amount) {
    const Vector3<float>& u = cell.getVelocity();
    const float uu = u.dot(u);
    float density = 0.0f;
    for (unsigned int i = 0; i < q19::kDirectionCount; ++i) {
        const float cu = q19::kVelocity[i].dot(u);
        const float slot = cell.LBM_Q19_Cell3<float>::getPdfAt(i) +
                           q19::kWeight[i] * amount * (1.0f + 3.0f * cu + 4.5f * cu * cu - 1.5f * uu);
        cell.LBM_Q19_Cell3<float>::setPdfAt(i, slot);
        density += slot;
    }
    cell.setDensity(density);
}

bool shareWithInterfaceNeighbours(const GridNeighbourhood& grid, const uint32_t& index, const float& amount,
                                  AllNeighbours& neighbours) {
    grid.gather(index, neighbours.data());
    unsigned int receivers = 0;
    for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
        if (neighbours[i] != nullptr && neighbours[i]->isInterface()) ++receivers;
    if (receivers == 0) return false;
    const float share = amount / static_cast<float>(receivers);
    for (unsigned int i = 1; i < q19::kDirectionCount; ++i) {
        if (neighbours[i] == nullptr || !neighbours[i]->isInterface()) continue;
        LBM_Q19_MAC_Cell3F* receiver = static_cast<LBM_Q19_MAC_Cell3F*>(neighbours[i]);
        const float mass = receiver->getMass() + share;
        receiver->setMass(mass < 0.0f ? 0.0f : mass);
    }
    return true;
}

void KeptMassExchangePass::run(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    Scratch* const scratch = perWorker.forWorkers(threads);
    const GridNeighbourhood grid(fluid.getGrid());
    const LiquidCells& cells = fluid.getArrInterfaceCells();
    const bool drains = fluid.getSinksDrain();
    drainedAt.resize(cells.size());
    overflowAt.resize(cells.size());
    runParallelIndices(
        cells.size(),
        [&](const unsigned int& t, uint32_t c) {
            LBM_Q19_MAC_Cell3F& cell = *cells[c];
            AllNeighbours& neighbours = scratch[t].neighbours;
            grid.gather(cell.getGridMonoindex(), neighbours.data());
            float mass = cell.getMass();
            const float epsilon = cell.getEpsilon();
            bool nextToSink = false;
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i) {
                const LBM_Cell3<float>* n = neighbours[i];
                if (n == nullptr) continue;
                nextToSink = nextToSink || n->isSink();
                if (!n->isFluid()) continue;
                const LBM_Q19_MAC_Cell3F* liquid = static_cast<const LBM_Q19_MAC_Cell3F*>(n);
                const float flux =
                    liquid->LBM_Q19_Cell3<float>::getPdfAt(i) - cell.LBM_Q19_Cell3<float>::getPdfAt(q19::kOpposite[i]);
                if (n->getType() == LBM_CELL_FLUID)
                    mass += flux;
                else
                    mass += ((liquid->getEpsilon() + epsilon) * 0.5f) * flux;
            }
            const float held = mass < 0.0f ? 0.0f : (mass > cell.getDensity() ? cell.getDensity() : mass);
            const float over = mass > held ? mass - held : 0.0f;
            drainedAt[c] = drains && nextToSink ? over : 0.0f;
            overflowAt[c] = drains && nextToSink ? 0.0f : over;
            cell.setMass(held);
        },
        threads);
    drainedMass = 0.0;
    overflowMass = 0.0;
    for (uint32_t c = 0; c < cells.size(); ++c) {
        drainedMass += double(drainedAt[c]);
        overflowMass += double(overflowAt[c]);
    }
}

double LiquidMassSum::overList(const LiquidCells& cells, const unsigned int& threads) {
    held.resize(cells.size());
    gather(cells, 0, false, threads);
    return sumInOrder(held);
}

double LiquidMassSum::afterRelabel(const LiquidCells& listed, const LiquidCells& created,
                                   const unsigned int& threads) {
    held.resize(listed.size() + created.size());
    gather(listed, 0, true, threads);
    gather(created, listed.size(), true, threads);
    return sumInOrder(held);
}

void LiquidMassSum::gather(const LiquidCells& cells, const uint32_t& first, const bool& onlyLiquid,
                           const unsigned int& threads) {
    float* const out = held.data() + first;
    runParallelIndices(
        cells.size(),
        [&](const unsigned int&, uint32_t c) {
            const LBM_Q19_MAC_Cell3F& cell = *cells[c];
            out[c] = !onlyLiquid || cell.isFluid() ? heldMass(cell) : -0.0f;
        },
        threads);
}

void MassHandBackPass::run(MAC_LBM_Fluid3& fluid, MAC_LBM_SolverContext3& context, const unsigned int& threads) {
    if (context.getLostMass() == 0.0f) return;
    collectInOrder(
        fluid.refArrLiquidCells(), perWorker, &Scratch::eligible, eligible,
        [](const LBM_Q19_MAC_Cell3F* cell) {
            return cell->getType() == LBM_CELL_FLUID && !cell->getFlags().test(MAC_FLAG_NEW_INTERFACE);
        },
        threads);
    if (eligible.empty()) {
        handToInterfaceCells(fluid, context, threads);
        return;
    }

    // A cell's density is the sum of its slots, which does not take the
    // share to the bit: what the cells really took is summed in list order
    // and the difference stays owed.
    const float amount = context.getLostMass();
    const unsigned int count = eligible.size();
    const float share = amount / static_cast<float>(count);
    densityBefore.resize(count);
    densityAfter.resize(count);
    runParallelIndices(
        count,
        [&](const unsigned int&, uint32_t n) {
            densityBefore[n] = eligible[n]->getDensity();
            addMovingDensity(*eligible[n], share);
            densityAfter[n] = eligible[n]->getDensity();
        },
        threads);
    double taken = 0.0;
    for (uint32_t n = 0; n < count; ++n) taken += double(densityAfter[n]) - double(densityBefore[n]);
    context.setLostMass(static_cast<float>(double(amount) - taken));
}

void MassHandBackPass::handToInterfaceCells(MAC_LBM_Fluid3& fluid, MAC_LBM_SolverContext3& context,
                                            const unsigned int& threads) {
    eligible.clear();
    for (LBM_Q19_MAC_Cell3F* cell : fluid.refArrLiquidCells())
        if (cell->isInterface()) eligible.push_back(cell);
    if (shareOverMass(eligible, context.getLostMass(), threads)) context.setLostMass(0.0f);
}

bool MassHandBackPass::shareOverMass(const LiquidCells& cells, const float& amount, const unsigned int& threads) {
    if (cells.empty()) return false;
    const float share = amount / static_cast<float>(cells.size());
    runParallel(
        cells, [&](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) { cell->setMass(cell->getMass() + share); },
        threads);
    return true;
}

}  // namespace kelvar::fluid
