// Single passes of the free-surface solver on hand-built cells: the speed
// limiter, the density return, relabelling, re-seeding and the generators.

#include <gtest/gtest.h>

#include "SolverTestScene.h"
#include "kv_fluids_dyn/solver/internal/SolverRandom.h"
#include "kv_fluids_dyn/solver/internal/SpeedLimit.h"

namespace kelvar::fluid::test {
namespace {

float slotSum(const LBM_Q19_MAC_Cell3F& cell) {
    float sum = 0.0f;
    for (unsigned i = 0; i < q19::kDirectionCount; ++i) sum += cell.getPdfAt(i);
    return sum;
}

TEST(SolverSpeedLimit, FastCellsBecomeUnitDensityEquilibriaAtTheLimit) {
    LBM_Q19_MAC_Cell3F cell;
    for (unsigned i = 0; i < q19::kDirectionCount; ++i) cell.setPdfAt(i, 0.0f);
    cell.setPdfAt(1, 0.5f);  // j = (0.5, 0, 0), |j|^2 = 0.25 exactly

    EXPECT_FALSE(limitCellSpeed(cell, 0.5f, 0.25f)) << "at the limit nothing is reset";
    EXPECT_EQ(cell.getPdfAt(1), 0.5f);

    ASSERT_TRUE(limitCellSpeed(cell, 0.1f, 0.01f));
    EXPECT_NEAR(slotSum(cell), 1.0f, 1e-6f) << "density is not kept";
    Vector3<float> j;
    for (unsigned i = 0; i < q19::kDirectionCount; ++i) j += q19::kVelocity[i] * cell.getPdfAt(i);
    for (unsigned k = 0; k < 3; ++k) EXPECT_NEAR(j[k], k == 0 ? 0.1f : 0.0f, k == 0 ? 1e-6f : 1e-8f) << k;
    // Slot values are the unit-density equilibrium at u = (0.1, 0, 0).
    EXPECT_EQ(cell.getPdfAt(1), cell.calcFeq(1, 1.0f, Vector3<float>(0.1f, 0.0f, 0.0f)));
}

// Liquid cells at rest placed into an empty 8^3 box.
class HandCells : public ::testing::Test {
protected:
    Vector3<float> siteCentre(unsigned i, unsigned j, unsigned k) const {
        return fluid.getGrid().getBox().min + Vector3<float>(float(i) + 0.5f, float(j) + 0.5f, float(k) + 0.5f);
    }
    const LBM_Cell3<float>* at(unsigned i, unsigned j, unsigned k) const { return fluid.getGrid().at(i, j, k); }

    WalledScene<PassSolver> scene{8 * 8 * 8, 2};
    SceneFluid& fluid = scene.fluid;
    PassSolver& solver = scene.solver;
};

TEST_F(HandCells, ListsAndDensitySums) {
    LBM_Q19_MAC_Cell3F* b = placeLiquid(fluid, 2, 2, 2, LBM_CELL_INTERFACE);
    LBM_Q19_MAC_Cell3F* a = placeLiquid(fluid, 1, 3, 1, LBM_CELL_FLUID);
    a->setDensity(2.0f);
    b->setDensity(0.5f);
    b->setMass(0.25f);
    solver.updateCellArrays(fluid);
    const auto& liquid = fluid.getArrLiquidCells();
    const auto& surface = fluid.getArrInterfaceCells();
    EXPECT_TRUE(liquid.size() == 2 && liquid[0] == a && liquid[1] == b);  // grid order
    EXPECT_TRUE(surface.size() == 1 && surface[0] == b);
    EXPECT_EQ(fluid.getArrSolidCells().size(), fluid.getSolidCellCount());
    EXPECT_EQ(solver.computeRhoAndMass(fluid), (Tuple2<float, float>{2.5f, a->getMass() + 0.25f}));
    EXPECT_EQ(solver.computeRhoInfo(fluid), (Tuple3<float>{2.5f, 0.5f, 2.0f}));  // sum, min, max
}

TEST_F(HandCells, LostDensityIsReturnedAShareAtATime) {
    LBM_Q19_MAC_Cell3F* cell = placeLiquid(fluid, 3, 3, 3, LBM_CELL_FLUID);
    LBM_Q19_MAC_Cell3F* fresh = placeLiquid(fluid, 3, 4, 3, LBM_CELL_INTERFACE);
    fresh->refFlags().set(MAC_FLAG_NEW_INTERFACE);
    solver.updateCellArrays(fluid);
    MAC_LBM_SolverContext3& context = fluid.refSolverContext();
    const float rhoOld = cell->getDensity();
    const float freshRho = fresh->getDensity();

    context.setLostMass(-1.0f);
    solver.distributeRho(2, 100.0f, context, fluid);
    EXPECT_EQ(context.getLostMass(), -1.0f) << "a gain is never taken back";
    EXPECT_EQ(cell->getDensity(), rhoOld);

    context.setLostMass(1.0f);
    solver.distributeRho(2, 100.0f, context, fluid);
    EXPECT_EQ(context.getLostMass(), 1.0f * (1.0f - 1.0f / 100.0f));
    EXPECT_NEAR(cell->getDensity(), rhoOld + 0.01f, 1e-6f);
    EXPECT_EQ(slotSum(*cell), cell->getDensity());
    EXPECT_EQ(fresh->getDensity(), freshRho) << "new interface cells get nothing";

    cell->refFlags().set(MAC_FLAG_NEW_INTERFACE);
    solver.distributeRho(2, 100.0f, context, fluid);
    EXPECT_EQ(context.getLostMass(), 0.99f) << "no eligible cell keeps the loss";
}

// A pool of still liquid three cells deep with eight particles per cell.
class Relabel : public HandCells {
protected:
    void SetUp() override {
        fillBlock(fluid, {1, 1, 1}, {7, 4, 7}, Vector3<float>(0.0f, -1e-4f, 0.0f));
        solver.updateCellArrays(fluid);
    }

    void removeParticlesIn(unsigned i, unsigned j, unsigned k) {
        Array<unsigned int> ids;
        for (const MAC_Particle3* p : fluid.get_MAC_ParticleSystem().getParticlesArray()) {
            Tuple3<unsigned int> ijk;
            if (fluid.getGrid().locate(p->position, ijk) && ijk == Tuple3<unsigned int>{i, j, k}) ids.push_back(p->id);
        }
        ASSERT_EQ(ids.size(), 8u);
        fluid.ref_MAC_ParticleSystem().remove(ids);
    }
    void addParticle(const Vector3<float>& p) { fluid.ref_MAC_ParticleSystem().createParticle(p, {}, 0, {}); }
    uint32_t particleCount() const { return fluid.get_MAC_ParticleSystem().getParticlesCount(); }
};

TEST_F(Relabel, CellsFollowTheParticles) {
    const uint32_t liquid = fluid.getLiquidCellCount();
    removeParticlesIn(3, 3, 3);
    // A site above the surface gains a particle; a particle outside the grid
    // changes nothing.
    addParticle(siteCentre(5, 4, 5));
    addParticle(Vector3<float>(-100.0f, 0.0f, 0.0f));
    // A cell whose pooled predecessor left garbage behind.
    LBM_Q19_MAC_Cell3F* used = fluid.acquireLiquidCell();
    used->setType(LBM_CELL_FLUID);
    used->setMass(7.0f);
    used->setForce(Vector3<float>(5.0f, 5.0f, 5.0f));
    used->refFlags().set(0xFFFF);
    used->refArrReconstructBit().set(4);
    fluid.releaseCell(used);
    const uint32_t particles = particleCount();

    solver.label(2, fluid.refSolverContext(), fluid);

    EXPECT_EQ(at(3, 3, 3), nullptr) << "a cell without particles is emptied";
    EXPECT_EQ(at(3, 2, 3)->getType(), LBM_CELL_INTERFACE) << "its full neighbour is now surface";
    EXPECT_EQ(at(2, 2, 3)->getType(), LBM_CELL_INTERFACE);
    EXPECT_EQ(at(3, 1, 3)->getType(), LBM_CELL_FLUID);
    EXPECT_EQ(particleCount(), particles) << "outside particles stay";

    const LBM_Q19_MAC_Cell3F* created = liquidAt(fluid, 5, 4, 5);
    ASSERT_EQ(created, used) << "the last released cell is reused";
    EXPECT_EQ(created->getType(), LBM_CELL_INTERFACE);
    EXPECT_EQ(created->getFlags().get(), MAC_FLAG_NEW_INTERFACE | MAC_FLAG_HAS_PARTICLE | MAC_FLAG_SKY);
    EXPECT_TRUE(created->getMass() == 0.0f && created->getEpsilon() == 0.0f);
    EXPECT_EQ(created->getForce(), Vector3<float>(0.0f, -1e-4f, 0.0f));
    EXPECT_EQ(created->getGridMonoindex(), fluid.getGrid().index(5, 4, 5));
    EXPECT_EQ(created->getDensity(), liquidAt(fluid, 5, 3, 5)->getDensity());
    EXPECT_EQ(created->getVelocity(), Vector3<float>());
    EXPECT_FALSE(created->getArrReconstructBit().any());
    for (unsigned i = 0; i < q19::kDirectionCount; ++i)
        EXPECT_EQ(created->getPdfAt(i), created->calcFeq(i, created->getDensity(), Vector3<float>())) << i;
    EXPECT_EQ(fluid.getLiquidCellCount(), liquid);  // one emptied, one created

    // Per-step flags: sky above the surface, marks next to walls and surface.
    EXPECT_TRUE(liquidAt(fluid, 3, 2, 3)->getFlags().test(MAC_FLAG_SKY));
    EXPECT_TRUE(liquidAt(fluid, 3, 1, 3)->getFlags().test(MAC_FLAG_NEAR_INTERFACE));
    EXPECT_TRUE(liquidAt(fluid, 2, 1, 2)->getFlags().test(MAC_FLAG_NEIGHBOUR_MARK));
}

// Each step of a relabelling sees the types the steps before it set; created
// cells take the pooled cells in grid order, whatever the thread count.
TEST_F(Relabel, EachStepSeesTheTypesTheStepsBeforeItSet) {
    // Every empty site above the surface cell (3, 3, 3) gains a particle.
    const unsigned above[5][3] = {{2, 4, 3}, {3, 4, 2}, {3, 4, 3}, {3, 4, 4}, {4, 4, 3}};
    for (const auto& site : above) addParticle(siteCentre(site[0], site[1], site[2]));
    // The surface cell (5, 3, 5) loses its particles.
    removeParticlesIn(5, 3, 5);
    LBM_Q19_MAC_Cell3F* releasedFirst = fluid.acquireLiquidCell();
    LBM_Q19_MAC_Cell3F* releasedLast = fluid.acquireLiquidCell();
    releasedFirst->setType(LBM_CELL_FLUID);
    releasedLast->setType(LBM_CELL_FLUID);
    fluid.releaseCell(releasedFirst);
    fluid.releaseCell(releasedLast);

    solver.label(3, fluid.refSolverContext(), fluid);

    EXPECT_EQ(liquidAt(fluid, 2, 4, 3), releasedLast) << "the first site takes the last released cell";
    EXPECT_EQ(liquidAt(fluid, 3, 4, 2), releasedFirst);
    // Its missing neighbours created, (3, 3, 3) is full, has surface above
    // and is flagged next to it.
    const LBM_Q19_MAC_Cell3F* covered = liquidAt(fluid, 3, 3, 3);
    EXPECT_EQ(covered->getType(), LBM_CELL_FLUID);
    EXPECT_FALSE(covered->getFlags().test(MAC_FLAG_SKY));
    EXPECT_TRUE(covered->getFlags().test(MAC_FLAG_NEAR_INTERFACE));
    // Below the emptied site: surface that is not filled, open to the sky,
    // and not flagged as a full cell.
    EXPECT_EQ(at(5, 3, 5), nullptr);
    const LBM_Q19_MAC_Cell3F* uncovered = liquidAt(fluid, 5, 2, 5);
    EXPECT_EQ(uncovered->getType(), LBM_CELL_INTERFACE);
    EXPECT_TRUE(uncovered->getFlags().test(MAC_FLAG_SKY));
    EXPECT_FALSE(uncovered->getFlags().test(MAC_FLAG_NEAR_INTERFACE));
    EXPECT_TRUE(liquidAt(fluid, 5, 1, 5)->getFlags().test(MAC_FLAG_NEAR_INTERFACE));
}

TEST_F(Relabel, ParticlesOutsideTheLiquidAreReseededIntoItsDepth) {
    placeCell(fluid, fluid.acquireSinkCell(), 6, 5, 6);
    addParticle(siteCentre(6, 5, 6));
    const uint32_t strayId = fluid.get_MAC_ParticleSystem().getParticlesArray().back()->id;
    const uint32_t particles = particleCount();

    solver.advect_MAC_Particles(2, fluid);

    const MAC_Particle3& moved = fluid.ref_MAC_ParticleSystem().find(strayId);
    ASSERT_EQ(moved.id, strayId);
    Tuple3<unsigned int> ijk;
    ASSERT_TRUE(fluid.getGrid().locate(moved.position, ijk));
    EXPECT_EQ(at(ijk.first, ijk.second, ijk.third)->getType(), LBM_CELL_FLUID);
    const Vector3<float> offset = moved.position - siteCentre(ijk.first, ijk.second, ijk.third);
    EXPECT_NEAR(std::sqrt(offset.dot(offset)), 0.49f, 1e-5f);
    EXPECT_EQ(particleCount(), particles);
    EXPECT_EQ(fluid.get_MAC_ParticleSystem().getMinSpeed(), 0.0f);  // all at rest

    // Once every cell is near the surface or a wall there is no depth left.
    solver.label(2, fluid.refSolverContext(), fluid);
    addParticle(siteCentre(6, 5, 6));
    solver.advect_MAC_Particles(2, fluid);
    EXPECT_EQ(particleCount(), particles) << "no deep cell: deleted";
}

TEST(SolverKernels, SplineValues) {
    PassSolver solver;
    const float cases[][2] = {{0.0f, 1.0f}, {1.0f, 0.25f}, {1.5f, 0.03125f}, {2.0f, 0.0f}, {-0.1f, 0.0f}, {2.1f, 0.0f}};
    for (const auto& c : cases) EXPECT_EQ(solver.SPHKernel(c[0]), c[1]) << c[0];
}

TEST(SolverRandomness, GeneratorsFollowTheirRecurrences) {
    // Worked by hand from m = 1, a = 3, b = 1.
    ReseedCellPicker picker, single;
    for (unsigned expected : {6u, 2u, 2u}) EXPECT_EQ(picker.pick(10), expected);
    for (int n = 0; n < 5; ++n) EXPECT_EQ(single.pick(1), 0u);
    SolverRand random;
    for (int expected : {41, 18467, 6334}) EXPECT_EQ(random(), expected);

    const double radius = static_cast<double>(0.49f);
    EXPECT_EQ(reseedOffset(0, 12345), Vector3<double>(0.0, 0.0, radius));
    EXPECT_EQ(reseedOffset(SolverRand::kMax, 0).z, -radius);
    EXPECT_NEAR(std::sqrt(reseedOffset(1000, 20000).lengthSquared()), radius, 1e-15);
}

}  // namespace
}  // namespace kelvar::fluid::test
