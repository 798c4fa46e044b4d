#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <vector>

#include "kv_fluids_dyn/particles/MAC_ParticleSystem3.h"

namespace kelvar::fluid {
namespace {

constexpr uint32_t kChunk = 8192;
constexpr uint32_t kMissing = 0xFFFFFFFFu;

// Exposes the chunk list and the cache flag for inspection.
struct Pool : MAC_ParticleSystem3 {
    uint32_t chunks() const { return chunkCount; }
    bool dirty() const { return particlesArrayDirty; }
    const Chunk* first() const { return head; }
    const Chunk* last() const { return tail; }
};

void addMany(Pool& pool, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) pool.addParticle().position.x = float(i);
}

std::vector<uint32_t> idsInIterationOrder(const Pool& pool) {
    std::vector<uint32_t> ids;
    for (const MAC_Particle3& p : pool) ids.push_back(p.id);
    return ids;
}

Array<unsigned int> idRange(uint32_t first, uint32_t end) {
    Array<unsigned int> ids;
    for (uint32_t id = first; id < end; ++id) ids.push_back(id);
    return ids;
}

MAC_Particle3 particleWithId(uint32_t id, float x = 0.0f) {
    MAC_Particle3 p;
    p.id = id;
    p.position.x = x;
    return p;
}

// Ids restart after clear() and the chunks are recorded afresh; the second
// chunk opens at particle 8193 and iteration crosses into it in id order,
// skipping released slots.
TEST(ParticleSystem, IdsRestartAfterClearAndTheSecondChunkOpensAtParticle8193) {
    Pool pool;
    for (uint32_t id : {0u, 1u, 2u}) EXPECT_EQ(pool.addParticle().id, id);
    EXPECT_TRUE(pool.remove(1u));
    EXPECT_EQ(pool.addParticle().id, 3u) << "ids are not reused before clear";

    pool.clear();
    EXPECT_TRUE(pool.getParticlesCount() == 0u && pool.chunks() == 0u && pool.dirty());
    addMany(pool, kChunk);
    EXPECT_EQ(pool.chunks(), 1u);
    pool.addParticle().position.x = float(kChunk);
    ASSERT_EQ(pool.chunks(), 2u);
    EXPECT_TRUE(pool.first()->prev == pool.last() && pool.last()->next == pool.first());
    EXPECT_EQ(pool.last()->entries.size(), 1u);
    EXPECT_EQ(pool.find(kChunk).position.x, float(kChunk));

    ASSERT_TRUE(pool.remove(Array<unsigned int>{0, kChunk - 1}));
    const std::vector<uint32_t> ids = idsInIterationOrder(pool);
    ASSERT_EQ(ids.size(), kChunk - 1);
    for (uint32_t k = 0; k < ids.size(); ++k) ASSERT_EQ(ids[k], k < kChunk - 2 ? k + 1 : kChunk);
}

TEST(ParticleSystem, RemovalsNeverMoveOtherParticles) {
    Pool pool;
    addMany(pool, 2 * kChunk + 100);
    const Array<MAC_Particle3*> before = pool.getParticlesArray();
    Array<unsigned int> batch;
    for (unsigned int id = 0; id < 2 * kChunk + 100; ++id) {
        if (id % 3 == 1) {
            ASSERT_TRUE(pool.remove(id));
        }
        if (id % 3 == 2 && id >= 2 * kChunk) batch.push_back(id);
    }
    ASSERT_TRUE(pool.remove(batch));
    for (uint32_t id = 0; id < 2 * kChunk + 100; ++id) {
        const bool removed = id % 3 == 1 || (id % 3 == 2 && id >= 2 * kChunk);
        ASSERT_EQ(&pool.find(id), removed ? &pool.find(kMissing) : before[id]) << id;
    }
    EXPECT_TRUE(pool.find(1).id == kMissing && pool.find(1).sourceId == 0xFFFF);
    const auto& after = pool.getParticlesArray();
    ASSERT_EQ(after.size(), pool.getParticlesCount());
    for (uint32_t k = 1; k < after.size(); ++k) ASSERT_LT(after[k - 1]->id, after[k]->id);
}

TEST(ParticleSystem, FullChunkReusesItsFirstReleasedSlot) {
    Pool pool;
    addMany(pool, 2 * kChunk);
    ASSERT_TRUE(pool.remove(700u));
    ASSERT_TRUE(pool.remove(300u));
    MAC_Particle3& reused = pool.addParticle();
    EXPECT_EQ(&reused, &pool.first()->entries[300].particle);
    EXPECT_EQ(reused.position.x, 300.0f) << "addParticle() leaves the slot's old fields";
    for (uint32_t chunks : {2u, 3u}) {
        pool.addParticle();
        EXPECT_EQ(pool.chunks(), chunks);
    }
    // The reused slots broke the first chunk's order; a lookup restores it.
    EXPECT_EQ(pool.find(2 * kChunk + 1).id, 2 * kChunk + 1);
    EXPECT_EQ(pool.first()->entries.back().particle.id, 2 * kChunk + 1);
}

TEST(ParticleSystem, BatchRemoveStopsTidyingAtTheFirstEmptiedChunk) {
    Pool pool;
    addMany(pool, 3 * kChunk);
    Array<unsigned int> ids = idRange(0, kChunk);
    for (unsigned int id = 2 * kChunk; id < 3 * kChunk; ++id) ids.push_back(id);
    ASSERT_TRUE(pool.remove(ids));

    // Chunk 0 left the list and the walk ended there: chunk 2 stays, empty,
    // with its old id range.
    EXPECT_TRUE(pool.chunks() == 2u && pool.getParticlesCount() == kChunk);
    EXPECT_TRUE(pool.last()->minId == 2 * kChunk && pool.last()->maxId == 3 * kChunk - 1);
    EXPECT_EQ(idsInIterationOrder(pool).front(), kChunk);

    // The empty chunk is still used: the next particle lands in its slot 0.
    EXPECT_EQ(&pool.addParticle(), &pool.last()->entries[0].particle);
    EXPECT_EQ(pool.find(3 * kChunk).id, 3 * kChunk);

    // Emptying chunk 1 unlinks it; the walk ends before the last chunk.
    ASSERT_TRUE(pool.remove(idRange(kChunk, 2 * kChunk)));
    EXPECT_TRUE(pool.chunks() == 1u && pool.getParticlesCount() == 1u);
    EXPECT_EQ(pool.first()->minId, 2 * kChunk) << "range behind the walk's end is kept";
}

// Given ids keep their insertion order until a lookup sorts the chunk; the
// sort marks the cached array stale. Neither form touches the id counter.
TEST(ParticleSystem, GivenIdsSortOnLookupAndAddSafeOverwrites) {
    Pool pool;
    for (uint32_t id : {5u, 3u, 9u, 1u}) pool.addParticle(particleWithId(id, float(id)));
    EXPECT_EQ(idsInIterationOrder(pool), (std::vector<uint32_t>{5, 3, 9, 1}));
    EXPECT_EQ(pool.getParticlesArray()[0]->id, 5u);
    EXPECT_EQ(pool.find(3).position.x, 3.0f);
    EXPECT_EQ(idsInIterationOrder(pool), (std::vector<uint32_t>{1, 3, 5, 9}));
    EXPECT_EQ(pool.getParticlesArray()[0]->id, 1u);
    EXPECT_EQ(pool.find(4).id, kMissing);

    MAC_Particle3& overwritten = pool.addParticleSafe(particleWithId(3, 7.0f));
    EXPECT_TRUE(&overwritten == &pool.find(3) && overwritten.position.x == 7.0f && pool.getParticlesCount() == 4u);
    EXPECT_EQ(pool.addParticleSafe(particleWithId(40)).id, 40u);
    EXPECT_EQ(pool.getParticlesCount(), 5u);
    EXPECT_EQ(pool.addParticle().id, 0u);
}

TEST(ParticleSystem, SignatureBits) {
    Pool pool;
    MAC_Particle3 p = particleWithId(0);
    p.position = {1.0f, 2.0f, 3.0f};
    p.velocity = {0.5f, 0.0f, 0.0f};
    pool.addParticle(p);
    EXPECT_EQ(pool.computeSignature_v1(), 0x401A000000000000) << "6.5";

    // (y + x) + z: with x = 1e8 and z = -1e8 the y of 1 is absorbed first;
    // the quotient is single precision before it is widened.
    p = particleWithId(2);
    p.position = {1e8f, 1.0f, -1e8f};
    p.velocity = {0.0f, 1.0f, 0.0f};
    pool.addParticle(p);
    EXPECT_EQ(pool.computeSignature_v1(), std::bit_cast<int64_t>(6.5 + double(1.0f / 3.0f)));

    // id 0xFFFFFFFF divides by (float)0.
    pool.addParticle(particleWithId(kMissing, 1.0f));
    EXPECT_EQ(pool.computeSignature_v1(), std::bit_cast<int64_t>(std::numeric_limits<double>::infinity()));
}

TEST(ParticleSystem, CopyIsAViewAndAssignmentCopiesOnlyCounters) {
    MAC_ParticleSystem3 source;
    for (int i = 0; i < 5; ++i) source.addParticle();
    const auto& sourceArray = source.getParticlesArray();
    {
        MAC_ParticleSystem3 view(source);
        EXPECT_EQ(&*view.begin(), &*source.begin());
        view.clear();  // detaches the view only
    }
    EXPECT_EQ(source.find(4).id, 4u);

    MAC_ParticleSystem3 target;
    target.addParticle();
    target = source;
    EXPECT_TRUE(target.getParticlesCount() == 5u && target.getLastUsedId() == 5u);
    EXPECT_EQ(target.getParticlesArray()[0], sourceArray[0]);
    EXPECT_EQ(target.find(3).id, kMissing) << "the target keeps its own chunks";
}

TEST(MAC_ParticleSystem3, MaxSpeedIsTheLargestVelocityLength) {
    MAC_ParticleSystem3 particles;
    particles.setMaxSpeed(42.0f);
    particles.calcMaxVelModule();
    EXPECT_EQ(particles.getMaxSpeed(), 0.0f);
    for (const Vector3<float>& v : {Vector3<float>(3, 4, 0), Vector3<float>(0, -12, 5), Vector3<float>(1, 1, 1)})
        particles.createParticle({}, v, 0, {});
    particles.calcMaxVelModule();
    EXPECT_EQ(particles.getMaxSpeed(), 13.0f);
    ASSERT_TRUE(particles.remove(1u));
    particles.calcMaxVelModule();
    EXPECT_EQ(particles.getMaxSpeed(), 5.0f);
}

TEST(MAC_ParticleSystem3, IntegrationNarrowsTheStepFirst) {
    MAC_ParticleSystem3 particles;
    particles.createParticle({1.0f, -2.0f, 0.5f}, {3.0f, 0.7f, -1.1f}, 0, {});
    particles.integrateParticlesPosition(0.1);
    const MAC_Particle3& p = *particles.begin();
    const float h = 0.1f;
    EXPECT_EQ(p.position, (Vector3<float>{h * 3.0f + 1.0f, h * 0.7f + -2.0f, h * -1.1f + 0.5f}));
    EXPECT_EQ(p.velocity, (Vector3<float>{3.0f, 0.7f, -1.1f}));
}

}  // namespace
}  // namespace kelvar::fluid
