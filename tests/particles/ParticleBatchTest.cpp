#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <tuple>
#include <vector>

#include "kv_fluids_dyn/particles/MAC_ParticleSystem3.h"

namespace kelvar::fluid {
namespace {

// The same history of adds and removes on any system: three chunks and a
// half, then every third particle of the first two chunks and all of the
// last one removed, which leaves released slots in full chunks and a chunk
// that left the list.
void churn(MAC_ParticleSystem3& particles) {
    for (uint32_t n = 0; n < 3 * 8192 + 4000; ++n) particles.createParticle({float(n), 0, 0}, {}, 1, {});
    Array<unsigned int> ids;
    for (uint32_t id = 0; id < 2 * 8192; id += 3) ids.push_back(id);
    for (uint32_t id = 3 * 8192; id < 3 * 8192 + 4000; ++id) ids.push_back(id);
    particles.remove(ids);
    particles.remove(9001u);
}

// Id, position and source of every particle, in iteration order.
std::vector<std::tuple<uint32_t, Vector3<float>, unsigned short>> contents(const MAC_ParticleSystem3& particles) {
    std::vector<std::tuple<uint32_t, Vector3<float>, unsigned short>> out;
    for (const MAC_Particle3& p : particles) out.emplace_back(p.id, p.position, p.sourceId);
    return out;
}

// A batch fills the released slots and the new chunks exactly as single
// adds would, even when written by several threads at once, and leaves the
// system in the same state for the adds and lookups that follow.
TEST(ParticleBatch, TakesTheSlotsOfSingleAddsAndFillsFromManyThreads) {
    MAC_ParticleSystem3 single;
    MAC_ParticleSystem3 batched;
    churn(single);
    churn(batched);

    const uint32_t count = 8192 + 5000;  // the freed slots, then fresh chunks
    const uint32_t firstId = single.getLastUsedId();
    for (uint32_t k = 0; k < count; ++k) single.createParticle({float(firstId + k), 0, 0}, {}, 2, {});

    const ParticleBatch<MAC_Particle3> batch = batched.addParticles(count);
    ASSERT_EQ(batch.firstId(), firstId);
    ASSERT_EQ(batch.size(), count);
    EXPECT_EQ(batched.getParticlesCount(), single.getParticlesCount());
    EXPECT_EQ(batched.getLastUsedId(), single.getLastUsedId());
    const uint32_t parts[] = {0, 1, 2731, 5462, 9000, count};
    std::vector<std::thread> writers;
    for (unsigned part = 0; part + 1 < std::size(parts); ++part) {
        writers.emplace_back([&, part] {
            ParticleBatch<MAC_Particle3>::Writer writer = batch.writerAt(parts[part]);
            for (uint32_t k = parts[part]; k < parts[part + 1]; ++k) {
                MAC_Particle3& p = writer.next();
                ASSERT_EQ(p.id, firstId + k);
                p.position.x = float(p.id);
                p.sourceId = 2;
            }
        });
    }
    for (std::thread& writer : writers) writer.join();
    EXPECT_TRUE(contents(batched) == contents(single));

    // What follows sees the same system: lookups, removals and new adds.
    std::mt19937 random(7);
    for (int k = 0; k < 3000; ++k) {
        const uint32_t id = random() % single.getLastUsedId();
        ASSERT_EQ(batched.find(id).id, single.find(id).id) << id;
        if (k % 3 == 0) {
            ASSERT_EQ(batched.remove(id), single.remove(id)) << id;
        }
    }
    for (uint32_t n = 0; n < 2000; ++n) {
        single.createParticle({-1, 0, 0}, {}, 3, {});
        batched.createParticle({-1, 0, 0}, {}, 3, {});
    }
    EXPECT_TRUE(contents(batched) == contents(single));
    EXPECT_EQ(batched.addParticles(0).size(), 0u);
    EXPECT_EQ(batched.getLastUsedId(), single.getLastUsedId());
}

}  // namespace
}  // namespace kelvar::fluid
