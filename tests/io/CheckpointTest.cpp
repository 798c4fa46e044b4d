#include <gtest/gtest.h>

#include <random>

#include "CheckpointFiles.h"
#include "kv_fluids_dyn/io/StreamVersion.h"

namespace kelvar::fluid::test {
namespace {

using Error = MAC_LBM_Fluid3::RestoreError;

// Every field a checkpoint keeps exactly, cell by cell.
void expectSameCells(const MAC_LBM_Fluid3& a, const MAC_LBM_Fluid3& b) {
    ASSERT_EQ(a.getGrid().getCount(), b.getGrid().getCount());
    for (uint32_t index = 0; index < a.getGrid().getCount(); ++index) {
        const LBM_Cell3<float>* x = a.getGrid().at(index);
        const LBM_Cell3<float>* y = b.getGrid().at(index);
        ASSERT_EQ(x == nullptr, y == nullptr) << index;
        if (x == nullptr) continue;
        ASSERT_EQ(x->getType(), y->getType()) << index;
        EXPECT_EQ(y->getGridMonoindex(), index);
        EXPECT_EQ(std::memcmp(&x->getVelocity(), &y->getVelocity(), sizeof(Vector3<float>)), 0) << index;
        if (x->isSolid()) {
            const auto& s = static_cast<const LBM_SolidCell3<float>&>(*x);
            const auto& t = static_cast<const LBM_SolidCell3<float>&>(*y);
            EXPECT_TRUE(s.getWallFactor() == t.getWallFactor() && s.getFlags() == t.getFlags()) << index;
        } else if (x->isSink()) {
            EXPECT_EQ(static_cast<const LBM_SinkCell3<float>&>(*x).getSinkId(),
                      static_cast<const LBM_SinkCell3<float>&>(*y).getSinkId());
        } else if (x->isFluid()) {
            const auto& c = static_cast<const LBM_Q19_MAC_Cell3F&>(*x);
            const auto& d = static_cast<const LBM_Q19_MAC_Cell3F&>(*y);
            for (unsigned i = 0; i < q19::kDirectionCount; ++i) {
                EXPECT_EQ(std::bit_cast<uint32_t>(c.getPdfAt(i)), std::bit_cast<uint32_t>(d.getPdfAt(i))) << index;
                EXPECT_EQ(c.getArrReconstructBit().test(i), d.getArrReconstructBit().test(i)) << index;
            }
            for (auto [u, v] : {std::pair{c.getDensity(), d.getDensity()}, std::pair{c.getMass(), d.getMass()},
                                std::pair{c.getEpsilon(), d.getEpsilon()}, std::pair{c.getForce().y, d.getForce().y}})
                EXPECT_EQ(std::bit_cast<uint32_t>(u), std::bit_cast<uint32_t>(v)) << index;
            EXPECT_EQ(c.getFlags().get(), d.getFlags().get()) << index;
        }
    }
}

// Particles by id: the same ids, sources and uv; positions within one step
// of the 8-bit cell offset, velocities within one step of the velocity range.
void expectSameParticles(const MAC_LBM_Fluid3& a, const MAC_LBM_Fluid3& b) {
    const MAC_ParticleSystem3& x = a.get_MAC_ParticleSystem();
    const MAC_ParticleSystem3& y = b.get_MAC_ParticleSystem();
    ASSERT_EQ(x.getParticlesCount(), y.getParticlesCount());
    EXPECT_EQ(x.getLastUsedId(), y.getLastUsedId());
    const float range = b.getMaxSpeed() / (1.7320508f * b.getSoundSpeed());
    for (const MAC_Particle3& p : x) {
        const MAC_Particle3& q = const_cast<MAC_ParticleSystem3&>(y).find(p.id);
        ASSERT_EQ(q.id, p.id);
        EXPECT_TRUE(q.sourceId == p.sourceId && q.uv == p.uv);
        for (unsigned a3 = 0; a3 < 3; ++a3) {
            EXPECT_NEAR(q.position[a3], p.position[a3], 1.0f / 255.0f + 1e-5f) << p.id;
            EXPECT_NEAR(q.velocity[a3], p.velocity[a3], 2.0f * range / 255.0f + 1e-6f) << p.id;
        }
    }
}

TEST(Checkpoint, RestoreAndCreateGiveBackEveryCellAndParticle) {
    TempFile file("roundtrip.kvc");
    RunScene saved(10 * 10 * 10, 6);
    ASSERT_TRUE(saved.fluid.createCheckPoint(file.path()));

    WalledScene<> restored(10 * 10 * 10, 1);
    EXPECT_EQ(restored.fluid.restoreFromCheckPoint(file.path()), Error::RESTORE_DONE);
    EXPECT_EQ(streamVersion, 17u);
    expectSameCells(saved.fluid, restored.fluid);
    expectSameParticles(saved.fluid, restored.fluid);
    EXPECT_EQ(restored.fluid.getSolverContext().getAddedMass(), 0.25f);
    EXPECT_EQ(restored.fluid.getSolverContext().getLostMass(), saved.fluid.getSolverContext().getLostMass());

    // A bare domain takes the file's parameters and grid too; the momentum
    // factor comes back as the velocity factor.
    MAC_LBM_Fluid3 created;
    ASSERT_TRUE(created.createFromCheckPoint(file.path()));
    EXPECT_EQ(created.getGrid().getNx(), saved.fluid.getGrid().getNx());
    EXPECT_EQ(created.getResolution(), saved.fluid.getResolution());
    EXPECT_EQ(created.getDensity(), 1000.0f);
    EXPECT_EQ(created.getMomentumFactor(), saved.fluid.getVelocityFactor());
    expectSameCells(saved.fluid, created);
    expectSameParticles(saved.fluid, created);

    // The particles alone: the cells stay as they were.
    WalledScene<> particlesOnly(10 * 10 * 10, 1);
    EXPECT_EQ(particlesOnly.fluid.load_MAC_ParticlesFromCheckPoint(file.path()), Error::RESTORE_DONE);
    expectSameParticles(saved.fluid, particlesOnly.fluid);
    EXPECT_EQ(particlesOnly.fluid.getLiquidCellCount(), 0u);
}

// A run saved after N sub-steps and resumed in a fresh domain and solver
// goes on exactly as the uninterrupted run with the exact section; without
// it the particles come back packed, and the run stays close.
TEST(Checkpoint, ExactSectionResumesBitForBit) {
    constexpr unsigned kBefore = 12, kAfter = 10;
    for (unsigned threads : {1u, 2u}) {
        TempFile exactFile("exact.kvc"), plainFile("plain.kvc");
        WalledScene<> run(10 * 10 * 10, threads);
        fillBlock(run.fluid, {1, 1, 1}, {5, 6, 9}, latticeGravity(run.fluid));
        run.fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));
        runSubSteps(run.solver, run.fluid, kBefore);
        ASSERT_TRUE(run.fluid.createCheckPoint(plainFile.path()));
        run.fluid.setExactCheckpoints(true);
        ASSERT_TRUE(run.fluid.createCheckPoint(exactFile.path()));
        EXPECT_EQ(exactFile.bytes().size(),
                  plainFile.bytes().size() + 12 + run.fluid.get_MAC_ParticleSystem().getParticlesCount() * 24 + 8);
        runSubSteps(run.solver, run.fluid, kAfter);
        const uint64_t uninterrupted = hashState(run.fluid);

        WalledScene<> resumed(10 * 10 * 10, threads);
        ASSERT_EQ(resumed.fluid.restoreFromCheckPoint(exactFile.path()), Error::RESTORE_DONE);
        runSubSteps(resumed.solver, resumed.fluid, kAfter);
        EXPECT_EQ(hashState(resumed.fluid), uninterrupted) << threads << " threads";

        WalledScene<> approximate(10 * 10 * 10, threads);
        ASSERT_EQ(approximate.fluid.restoreFromCheckPoint(plainFile.path()), Error::RESTORE_DONE);
        runSubSteps(approximate.solver, approximate.fluid, kAfter);
        const double mass = liquidStats(run.fluid).densitySum;
        EXPECT_NEAR(liquidStats(approximate.fluid).densitySum, mass, 1e-3 * mass);
    }
}

// The layout as an independent reader sees it.
TEST(Checkpoint, FileLayoutIsPinnedToTheByte) {
    TempFile file("layout.kvc");
    const auto setUp = [](SceneFluid& f) {
        f.setScale({3.5f, 3.5f, 3.5f});
        f.setResolution(42);
        f.initialize();
        f.setMaxSpeed(2.0f);
        f.setSoundSpeed(1.0f / 1.7320508f);  // velocity range 2
    };
    SceneFluid fluid;
    setUp(fluid);
    fluid.refSolverContext().setAddedMass(1.5f);
    fluid.refSolverContext().setLostMass(-2.25f);
    const Vector3<float>& min = fluid.getGrid().getBox().min;
    MAC_ParticleSystem3& particles = fluid.ref_MAC_ParticleSystem();
    particles.createParticle(min + Vector3<float>(1.0f, 2.0f, 0.0f), Vector3<float>(-2.0f, 2.0f, 0.0f), 9, {0.5f, 0.25f});
    particles.createParticle(min + Vector3<float>(0.999f, 0.0f, 2.5f), Vector3<float>(), 0, {});
    ASSERT_TRUE(fluid.createCheckPoint(file.path()));
    const std::string bytes = file.bytes();
    const unsigned n = fluid.getGrid().getNx();
    ASSERT_EQ(n, 4u);

    EXPECT_EQ(valueAt<uint32_t>(bytes, 0), 17u);
    EXPECT_EQ(valueAt<uint32_t>(bytes, kNxOffset), n);
    EXPECT_EQ(valueAt<float>(bytes, kVersionBytes + 5 * 4 + Transform3Rts<float>::kBinarySize + 12), 1000.0f)
        << "density comes after the transform and the thread count";
    EXPECT_EQ(bytes.at(kHeaderEnd), 0) << "reserved bool";
    std::size_t at = kParticleSection;
    EXPECT_EQ(valueAt<uint32_t>(bytes, at + 8), 2u) << "id counter";
    EXPECT_EQ(valueAt<uint32_t>(bytes, at + 12), 2u) << "count";
    at += 16;
    // cell (1, 2, 0), id 0, source 9, uv, offset 0, velocity -r and +r.
    EXPECT_EQ(valueAt<uint32_t>(bytes, at), 1u * n * n + 2u * n);
    EXPECT_EQ(valueAt<uint16_t>(bytes, at + 8), 9u);
    EXPECT_EQ(valueAt<float>(bytes, at + 10), 0.5f);
    EXPECT_EQ(bytes.substr(at + 18, 6), std::string("\x00\x00\x00\x00\xff\x80", 6));
    // 0.999 of the cell quantises to 255 and reads back at the clamp.
    EXPECT_EQ(static_cast<unsigned char>(bytes.at(at + 24 + 18)), 255u);
    at += 2 * 24;
    EXPECT_EQ(valueAt<float>(bytes, at), 1.5f) << "added before lost";
    EXPECT_EQ(valueAt<float>(bytes, at + 4), -2.25f);
    // An all-null grid is one empty record and its run length.
    EXPECT_EQ(bytes.size(), at + 8 + 5);
    EXPECT_EQ(bytes.at(at + 8), 3);
    EXPECT_EQ(valueAt<uint32_t>(bytes, at + 9), n * n * n);

    SceneFluid back;
    setUp(back);
    ASSERT_EQ(back.restoreFromCheckPoint(file.path()), Error::RESTORE_DONE);
    const MAC_Particle3& clamped = back.ref_MAC_ParticleSystem().find(1);
    EXPECT_EQ(clamped.position.x, min.x + 0.99988079f);
    EXPECT_FLOAT_EQ(back.ref_MAC_ParticleSystem().find(0).velocity.x, -2.0f);
}

TEST(Checkpoint, VersionAndShapeDecideWhatIsRestored) {
    TempFile file("version.kvc");
    RunScene saved(6 * 6 * 6, 2);
    ASSERT_TRUE(saved.fluid.createCheckPoint(file.path()));
    const std::string original = file.bytes();

    std::string newer = original;
    setValueAt<uint32_t>(newer, 0, 18);
    file.write(newer);
    WalledScene<> target(6 * 6 * 6, 1);
    EXPECT_EQ(target.fluid.restoreFromCheckPoint(file.path()), Error::RESTORE_NEWER_VERSION);
    EXPECT_FALSE(MAC_LBM_Fluid3().createFromCheckPoint(file.path()));
    EXPECT_EQ(streamVersion, 18u);

    WalledScene<> larger(8 * 8 * 8, 1);
    file.write(original);
    EXPECT_EQ(larger.fluid.restoreFromCheckPoint(file.path()), Error::RESTORE_OTHER_RESOLUTION);

    // Other counts with the same resolution: refused from version 12 on.
    std::string otherShape = original;
    setValueAt<uint32_t>(otherShape, kNxOffset, 5);
    setValueAt<uint32_t>(otherShape, kNxOffset + 4, 8);
    file.write(otherShape);
    EXPECT_EQ(target.fluid.restoreFromCheckPoint(file.path()), Error::RESTORE_OTHER_GRID);
    setValueAt<uint32_t>(otherShape, 0, 16);
    file.write(otherShape);
    EXPECT_EQ(target.fluid.restoreFromCheckPoint(file.path()), Error::RESTORE_OTHER_GRID);
    // A version 11 file has no accumulators after its particles.
    setValueAt<uint32_t>(otherShape, 0, 11);
    const uint32_t particles = valueAt<uint32_t>(otherShape, kParticleSection + 12);
    otherShape.erase(kParticleSection + 16 + particles * 24, 8);
    file.write(otherShape);
    EXPECT_EQ(target.fluid.restoreFromCheckPoint(file.path()), Error::RESTORE_DONE);
    EXPECT_EQ(target.fluid.restoreFromCheckPoint(file.path() + ".missing"), Error::RESTORE_CANNOT_OPEN);
}

// Cut at every byte and mutated at random: never a crash or an overrun, and
// a refused file leaves the domain exactly as it was.
TEST(Checkpoint, CutOrMutatedFilesAreRefusedAndLeaveTheDomainAlone) {
    TempFile file("hostile.kvc");
    RunScene saved(6 * 6 * 6, 2);
    ASSERT_TRUE(saved.fluid.createCheckPoint(file.path()));
    const std::string original = file.bytes();

    WalledScene<> target(6 * 6 * 6, 1);
    fillBlock(target.fluid, {2, 2, 2}, {4, 4, 4}, Vector3<float>());
    const uint64_t before = hashState(target.fluid);
    for (std::size_t size = 0; size < original.size(); ++size) {
        file.write(original.substr(0, size));
        EXPECT_EQ(target.fluid.restoreFromCheckPoint(file.path()), Error::RESTORE_CORRUPT) << size;
        MAC_LBM_Fluid3 created;
        EXPECT_FALSE(created.createFromCheckPoint(file.path())) << size;
    }
    EXPECT_EQ(hashState(target.fluid), before);

    std::mt19937 random(5);
    unsigned refused = 0;
    for (unsigned trial = 0; trial < 1500; ++trial) {
        std::string mutated = original;
        const unsigned flips = 1 + random() % 4;
        for (unsigned f = 0; f < flips; ++f) mutated[random() % mutated.size()] = char(random());
        file.write(mutated);
        WalledScene<> fresh(6 * 6 * 6, 1);
        const uint64_t untouched = hashState(fresh.fluid);
        if (fresh.fluid.restoreFromCheckPoint(file.path()) != Error::RESTORE_DONE) {
            ++refused;
            EXPECT_EQ(hashState(fresh.fluid), untouched) << trial;
        }
        MAC_LBM_Fluid3 created;
        created.createFromCheckPoint(file.path());
    }
    EXPECT_GT(refused, 0u);
}

}  // namespace
}  // namespace kelvar::fluid::test
