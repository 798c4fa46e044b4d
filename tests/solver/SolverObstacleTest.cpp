#include <gtest/gtest.h>

#include "SolverTestScene.h"
#include "kv_fluids_dyn/domain/FrictionData.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::fluid::test {
namespace {

// A world-space box over grid cells [lo, hi) (fractions allowed).
Mesh gridBox(const MAC_LBM_Fluid3& fluid, const Vector3<float>& lo, const Vector3<float>& hi, unsigned id) {
    const Vector3<float>& min = fluid.getGrid().getBox().min;
    Mesh mesh = makeBoxMesh(Box3<float>(fluid.gridToWorldPosition(min + lo), fluid.gridToWorldPosition(min + hi)));
    mesh.setId(id);
    return mesh;
}

FrictionData friction(float factor) {
    FrictionData data;
    data.set(factor);
    return data;
}

unsigned countType(const MAC_LBM_Fluid3& fluid, unsigned char type) {
    unsigned count = 0;
    for (const LBM_Cell3<float>* c : fluid.getGrid().getCells()) count += c != nullptr && c->getType() == type;
    return count;
}

TEST(SolverObstacle, MergedMeshTagsEveryFaceWithItsMesh) {
    SceneFluid fluid;
    makeWalledBox(fluid, 8 * 8 * 8);
    const Mesh a = gridBox(fluid, {2, 2, 2}, {3, 3, 3}, 3);
    const Mesh b = gridBox(fluid, {5, 5, 5}, {6, 6, 6}, 5);
    const Mesh merged = MAC_LBM_Fluid3::createMergedMesh({&a, &b});
    ASSERT_EQ(merged.triangleCount(), 24u);
    const MeshAttribute* ids = merged.findAttribute(Mesh::kMeshId);
    ASSERT_NE(ids, nullptr);
    for (uint32_t f = 0; f < 24; ++f) EXPECT_EQ(ids->uints[f], f < 12 ? 3u : 5u);
}

// A box obstacle in liquid: the cells it touches and encloses turn solid
// with the mesh's friction (inside ones no-slip), the liquid and particles
// there go, walls stay.
TEST(SolverObstacle, StaticObstaclesReplaceTheLiquidTheyCover) {
    WalledScene<> scene(10 * 10 * 10, 2);
    SceneFluid& fluid = scene.fluid;
    fillBlock(fluid, {1, 1, 1}, {9, 5, 9}, Vector3<float>());
    const unsigned walls = countType(fluid, LBM_CELL_SOLID);
    const uint32_t liquid = fluid.getLiquidCellCount();
    const Mesh rock = gridBox(fluid, {2.5f, 0.5f, 2.5f}, {5.5f, 3.5f, 5.5f}, 9);
    fluid.setStaticSolidCells({&rock}, {friction(0.7f)});

    // Cells 2..5 along x and z, 1..3 up (0 is the floor wall).
    EXPECT_EQ(countType(fluid, LBM_CELL_SOLID), walls + 4 * 3 * 4);
    EXPECT_EQ(fluid.getLiquidCellCount(), liquid - 4 * 3 * 4);
    EXPECT_EQ(fluid.get_MAC_ParticleSystem().getParticlesCount(), (liquid - 4 * 3 * 4) * 8);
    const auto* face = static_cast<const LBM_SolidCell3<float>*>(fluid.getGrid().at(2, 2, 3));
    const auto* core = static_cast<const LBM_SolidCell3<float>*>(fluid.getGrid().at(3, 2, 3));
    EXPECT_FLOAT_EQ(float(face->getWallFactor()), 0.7f);
    EXPECT_EQ(core->getWallFactor(), 1.0);
    EXPECT_EQ(fluid.getStaticSolidMeshIds().at(fluid.getGrid().index(2, 2, 3)), 9u);

    // Contacts: the liquid cells around the rock, none by the walls alone.
    Array<MAC_Particle3> contacts;
    fluid.getFluidCellsInSolidContactAsParticles(contacts);
    ASSERT_FALSE(contacts.empty());
    for (const MAC_Particle3& contact : contacts) {
        EXPECT_EQ(contact.sourceId, 9u);
        const Vector3<float> cell = fluid.worldToGridPosition(contact.position) - fluid.getGrid().getBox().min;
        EXPECT_TRUE(cell.x > 0.5f && cell.x < 7.0f && cell.y < 5.0f && cell.z > 0.5f && cell.z < 7.0f);
    }
    EXPECT_EQ(contacts[0].id, 0u);
}

// A plate a third of a cell thick splits the tank; the liquid on one side
// stays there.
TEST(SolverObstacle, AThinPlateHoldsTheLiquidBack) {
    WalledScene<> scene(10 * 10 * 10, 2);
    SceneFluid& fluid = scene.fluid;
    const Mesh plate = gridBox(fluid, {5.3f, 0.0f, 0.0f}, {5.63f, 10.0f, 10.0f}, 1);
    fluid.setStaticSolidCells({&plate}, {friction(1.0f)});
    fillBlock(fluid, {1, 1, 1}, {5, 8, 9}, latticeGravity(fluid));
    fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));
    runSubSteps(scene.solver, fluid, 1000);
    EXPECT_GT(fluid.getLiquidCellCount(), 0u);
    unsigned beyond = 0;
    for (uint32_t index = 0; index < fluid.getGrid().getCount(); ++index) {
        const LBM_Cell3<float>* c = fluid.getGrid().at(index);
        beyond += c != nullptr && c->isFluid() && index / fluid.getGrid().getStride() >= 5;
    }
    EXPECT_EQ(beyond, 0u) << "liquid got past the plate";
    EXPECT_TRUE(liquidStats(fluid).finite);
}

// A cube held under still water feels the weight of the water it displaces,
// upwards, once the water has settled: Archimedes within a few per cent.
TEST(SolverObstacle, ASubmergedCubeFeelsItsBuoyancy) {
    WalledScene<> scene(16 * 16 * 16, 2);
    SceneFluid& fluid = scene.fluid;
    fillBlock(fluid, {1, 1, 1}, {15, 12, 15}, latticeGravity(fluid));
    const Mesh cube = gridBox(fluid, {6, 3, 6}, {10, 7, 10}, 1);
    fluid.setStaticSolidCells({&cube}, {friction(1.0f)});
    fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));
    runSubSteps(scene.solver, fluid, 800);

    constexpr unsigned kWindow = 400;
    const float dt = fluid.getSolverContext().getDt();
    scene.solver.preSolve();
    for (unsigned s = 0; s < kWindow; ++s) scene.solver.solve(dt);
    Array<Vector3<float>> momentum;
    fluid.computeMomentum(momentum);
    ASSERT_EQ(momentum.size(), 1u);
    const Vector3<float> force = momentum[0] * (1.0f / (float(kWindow) * dt));
    const float side = 4.0f * fluid.getSolverContext().getDx();
    const float weight = 1000.0f * kGravity * side * side * side;
    EXPECT_NEAR(force.y, weight, 0.1f * weight);
    EXPECT_NEAR(force.x, 0.0f, 1e-3f * weight);
    EXPECT_NEAR(force.z, 0.0f, 1e-3f * weight);
}

// A paddle pushed through the liquid along +x for 30 frames of 5 sub-steps.
struct PaddleRun : WalledScene<> {
    static constexpr float kLatticeSpeed = 0.02f;  // cells per sub-step

    explicit PaddleRun(unsigned threads) : WalledScene<>(12 * 12 * 12, threads) {
        fillBlock(fluid, {1, 1, 1}, {11, 6, 11}, latticeGravity(fluid));
        startDensity = liquidStats(fluid).densitySum;
        fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));
        const float worldSpeed = kLatticeSpeed / fluid.getVelocityFactor();
        constexpr unsigned kSubStepsPerFrame = 5;
        float x = 2.2f;
        for (unsigned frame = 0; frame < 30; ++frame, x += kLatticeSpeed * kSubStepsPerFrame) {
            Mesh paddle = gridBox(fluid, {x, 0.5f, 0.5f}, {x + 0.4f, 8.0f, 11.5f}, 4);
            MeshAttribute* velocity = paddle.addAttribute(Mesh::kVelocity, MeshAttributeDomain::Vertex, 3, false);
            for (uint32_t v = 0; v < paddle.vertexCount(); ++v) velocity->floats[3 * v] = worldSpeed;
            solver.preSolve();
            fluid.setDynamicSolidCells({&paddle}, {friction(1.0f)});
            if (frame == 0) firstCells = fluid.getDynamicSolidMeshIds().size();
            // Pooled cells come back with the type they were released with:
            // every moving obstacle cell must be a solid where it stands.
            for (const auto& [index, mesh] : fluid.getDynamicSolidMeshIds()) {
                const LBM_Cell3<float>* cell = fluid.getGrid().at(index);
                misplaced += cell == nullptr || !cell->isSolid() || cell->getGridMonoindex() != index;
            }
            for (unsigned s = 0; s < kSubStepsPerFrame; ++s) solver.solve(fluid.getSolverContext().getDt());
            solver.postSolve();
        }
    }
    std::size_t firstCells = 0;
    double startDensity = 0.0;
    unsigned misplaced = 0;
};

// The liquid starts moving the paddle's way, what it overtakes goes without
// a NaN, the cells it leaves open up, and any thread count gives the same
// state.
TEST(SolverObstacle, AMovingPaddlePushesTheLiquid) {
    PaddleRun run(2);
    const MAC_LBM_Fluid3& fluid = run.fluid;
    EXPECT_EQ(fluid.getDynamicSolidMeshIds().size(), run.firstCells) << "the cells left behind were given back";
    EXPECT_EQ(run.misplaced, 0u);
    double momentum = 0.0;
    for (const LBM_Cell3<float>* c : fluid.getGrid().getCells())
        if (c != nullptr && c->isFluid()) momentum += c->getVelocity().x;
    EXPECT_GT(momentum, 0.0);
    // The liquid holds the paddle back.
    Array<Vector3<float>> force;
    fluid.computeMomentum(force);
    ASSERT_EQ(force.size(), 1u);
    EXPECT_LT(force[0].x, 0.0f);
    EXPECT_TRUE(liquidStats(fluid).finite);
    const uint32_t first = fluid.getDynamicSolidMeshIds().begin()->first;
    EXPECT_NEAR(fluid.getGrid().at(first)->getVelocity().x, PaddleRun::kLatticeSpeed, 1e-6f);
    EXPECT_EQ(hashState(PaddleRun(1).fluid), hashState(fluid));
    // The density the paddle pushed out is owed to the liquid until handed
    // back: what is there and what is owed make up what was there.
    const double owed = fluid.getSolverContext().getLostMass();
    EXPECT_NEAR(liquidStats(fluid).densitySum + owed, run.startDensity, 1e-3 * run.startDensity);
}

}  // namespace
}  // namespace kelvar::fluid::test
