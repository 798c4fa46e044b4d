// The solver's listing walk against the cells' own streaming called cell by
// cell, every slot and reconstruction bit, and the neighbourhood it gathers.

#include <bit>
#include <cstdint>

#include <gtest/gtest.h>

#include "SolverTestScene.h"
#include "kv_fluids_dyn/solver/internal/CellListsPass.h"
#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"
#include "kv_fluids_dyn/solver/internal/SolverRandom.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"
#include "kv_fluids_dyn/solver/internal/StreamPass.h"

namespace kelvar::fluid::test {
namespace {

// Long enough that, with up to three workers, the walk that lists and
// swaps has cells both within reach of its blocks' ends and away from them.
constexpr unsigned kSide = 32;

// A walled box whose sites hold, at random, full and interface cells with
// random slots, solids, sinks or nothing; a few wall cells on the grid's
// faces are replaced by liquid, so that neighbours outside the grid count
// too. Built the same way from the same seed every time.
struct MixedSites {
    explicit MixedSites(unsigned threads) : scene(kSide * kSide * kSide, threads) {
        SolverRand random(11);
        for (unsigned i = 0; i < kSide; ++i)
            for (unsigned j = 0; j < kSide; ++j)
                for (unsigned k = 0; k < kSide; ++k) {
                    const bool onFace = i == 0 || j == 0 || k == 0 || i + 1 == kSide || j + 1 == kSide || k + 1 == kSide;
                    const unsigned pick = random() % 16;
                    if (onFace && pick != 0) continue;
                    if (pick < 9)
                        placeRandomLiquid(random, i, j, k, pick < 5 ? LBM_CELL_FLUID : LBM_CELL_INTERFACE);
                    else if (pick < 11)
                        placeCell(scene.fluid, scene.fluid.acquireSolidCell(), i, j, k);
                    else if (pick < 12)
                        placeCell(scene.fluid, scene.fluid.acquireSinkCell(), i, j, k);
                    else
                        scene.fluid.refGrid().at(i, j, k) = nullptr;
                }
        scene.solver.updateCellArrays(scene.fluid);
    }

    void placeRandomLiquid(SolverRand& random, unsigned i, unsigned j, unsigned k, unsigned char type) {
        LBM_Q19_MAC_Cell3F* cell = placeLiquid(scene.fluid, i, j, k, type);
        for (unsigned s = 0; s < q19::kDirectionCount; ++s) cell->setPdfAt(s, float(random() % 10007) * 1e-4f);
        cell->refArrReconstructBit().set(random() % q19::kDirectionCount);
    }

    WalledScene<PassSolver> scene;
};

// Streams every listed cell with its own operations: the swap of each cell,
// then the wall pass of each.
void streamCellByCell(SceneFluid& fluid) {
    const GridNeighbourhood grid(fluid.getGrid());
    AllNeighbours neighbours;
    for (LBM_Q19_MAC_Cell3F* cell : fluid.refArrLiquidCells()) {
        grid.gather(cell->getGridMonoindex(), neighbours.data());
        cell->streamPassFluid(neighbours);
    }
    for (LBM_Q19_MAC_Cell3F* cell : fluid.refArrLiquidCells()) {
        grid.gather(cell->getGridMonoindex(), neighbours.data());
        cell->streamPassSolid(neighbours);
    }
}

// Every position of the mixed grid: the decoded position is the one plain
// division gives, the gathered neighbours are the fluid's own, and the
// gathered codes are those of the gathered cells.
TEST(SolverStreaming, NeighbourhoodGathersWhatTheFluidFinds) {
    MixedSites mixed(1);
    SceneFluid& fluid = mixed.scene.fluid;
    const SolverGrid& cells = fluid.getGrid();
    GridTypes types;
    CellListsPass::writeTypes(cells, types, 2);
    const GridNeighbourhood grid(cells);
    AllNeighbours gathered;
    unsigned char codes[q19::kDirectionCount];
    MAC_LBM_Fluid3::NeighborArray expected(q19::kDirectionCount - 1);
    uint32_t wrong = 0;
    for (uint32_t index = 0; index < cells.getCount(); ++index) {
        uint32_t x, y, z;
        grid.decode(index, x, y, z);
        ASSERT_EQ(cells.index(x, y, z), index);
        ASSERT_TRUE(x == index / (cells.getNy() * cells.getNz()) && z == index % cells.getNz());
        grid.gather(index, gathered.data());
        grid.gatherCodes(types.data(), GridTypes::kNoCell, index, codes);
        fluid.getNeighborCells(x, y, z, cells, expected);
        for (unsigned i = 1; i < q19::kDirectionCount; ++i) {
            wrong += gathered[i] != expected[i - 1];
            wrong += codes[i] != (gathered[i] == nullptr ? GridTypes::kNoCell : gathered[i]->getType());
        }
    }
    EXPECT_EQ(wrong, 0u);
}

// The slots and reconstruction bits of every liquid cell, and the list's
// order, are those of the reference.
void expectStreamedAs(const LiquidCells& expected, const LiquidCells& streamed, unsigned threads) {
    ASSERT_EQ(streamed.size(), expected.size());
    uint32_t differing = 0;
    for (uint32_t n = 0; n < expected.size(); ++n) {
        ASSERT_EQ(streamed[n]->getGridMonoindex(), expected[n]->getGridMonoindex());
        for (unsigned s = 0; s < q19::kDirectionCount; ++s) {
            differing +=
                std::bit_cast<uint32_t>(streamed[n]->getPdfAt(s)) != std::bit_cast<uint32_t>(expected[n]->getPdfAt(s));
            differing += streamed[n]->getArrReconstructBit().test(s) != expected[n]->getArrReconstructBit().test(s);
        }
    }
    EXPECT_EQ(differing, 0u) << threads << " threads";
}

// The walk that lists the cells and swaps their links as it goes, then the
// wall pass: the same cells as the cells' own streaming, and the same wall
// cells in the same order as the liquid list gives. A second walk splits the
// grid where the first found the liquid, which must not change a bit either.
TEST(SolverStreaming, ListingWalkStreamsAsTheCellsOwnStreamingDoes) {
    for (unsigned walks : {1u, 2u}) {
        MixedSites reference(1);
        GridTypes referenceTypes;
        StreamPass referenceWalls;
        for (unsigned w = 0; w < walks; ++w) {
            CellListsPass::writeTypes(reference.scene.fluid.getGrid(), referenceTypes, 1);
            referenceWalls.listWallCells(reference.scene.fluid, referenceTypes, 1);
            streamCellByCell(reference.scene.fluid);
        }
        const LiquidCells& expected = reference.scene.fluid.getArrLiquidCells();
        ASSERT_GT(referenceWalls.wallCells().size(), 20u);

        for (unsigned threads : {1u, 2u, 3u}) {
            MixedSites mixed(threads);
            CellListsPass lists;
            GridTypes types;
            StreamPass stream;
            for (unsigned w = 0; w < walks; ++w) {
                lists.runAndSwap(mixed.scene.fluid, types, threads, stream.linkSwap());
                stream.streamWalls(mixed.scene.fluid, threads);
            }
            expectStreamedAs(expected, mixed.scene.fluid.getArrLiquidCells(), threads);

            const LiquidCells& walls = stream.wallCells();
            ASSERT_EQ(walls.size(), referenceWalls.wallCells().size()) << threads << " threads";
            uint32_t misplaced = 0;
            for (uint32_t n = 0; n < walls.size(); ++n)
                misplaced += walls[n]->getGridMonoindex() != referenceWalls.wallCells()[n]->getGridMonoindex();
            EXPECT_EQ(misplaced, 0u) << threads << " threads, " << walks << " walks";
        }
    }
}

}  // namespace
}  // namespace kelvar::fluid::test
