#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <set>
#include <vector>

#include "kv_fluids_dyn/particles/MAC_ParticleSystem3.h"

namespace kelvar::fluid {
namespace {

// Random adds (counter ids and given ids in random order), single and batch
// removes against a plain set of live ids: every lookup, removal result and
// the iteration must agree with the set, whatever shape the chunk id ranges
// take (overlapping, stale after removals, chunks recycled).
TEST(ParticleSystemChurn, LookupsAgreeWithTheLiveSet) {
    std::mt19937 random(12345);
    MAC_ParticleSystem3 particles;
    std::vector<uint32_t> unusedGiven(100000);
    std::iota(unusedGiven.begin(), unusedGiven.end(), 0u);
    std::shuffle(unusedGiven.begin(), unusedGiven.end(), random);
    particles.setLastUsedId(100000);  // counter ids start above the given ones
    std::set<uint32_t> live;
    std::vector<uint32_t> everUsed;
    const auto usedId = [&] { return everUsed[random() % everUsed.size()]; };

    // Rounds of a burst of adds followed by lookups and removals, so that the
    // lazy sort runs once per chunk and round rather than per lookup.
    for (int round = 0; round < 12; ++round) {
        for (int k = 0; k < 4000; ++k) {
            MAC_Particle3 given;
            const bool withId = random() % 2 == 0;
            if (withId) {
                given.id = unusedGiven.back();
                unusedGiven.pop_back();
            }
            MAC_Particle3& p = withId ? particles.addParticle(given) : particles.addParticle();
            p.position.x = float(p.id);
            live.insert(p.id);
            everUsed.push_back(p.id);
        }
        for (int k = 0; k < 1500; ++k) {
            const uint32_t action = random() % 100;
            if (action < 40) {
                const uint32_t id = usedId();
                ASSERT_EQ(particles.remove(id), live.erase(id) == 1) << id;
            } else if (action < 42) {
                std::set<uint32_t> batch;
                for (uint32_t n = random() % 100; n > 0; --n) batch.insert(usedId());
                Array<unsigned int> ids;
                bool allLive = true;
                for (uint32_t id : batch) {
                    ids.push_back(id);
                    allLive = live.erase(id) == 1 && allLive;
                }
                std::shuffle(ids.begin(), ids.end(), random);
                ASSERT_EQ(particles.remove(ids), allLive);
            } else {
                const uint32_t id = usedId();
                ASSERT_EQ(particles.find(id).id, live.count(id) ? id : 0xFFFFFFFFu) << id;
            }
        }
        ASSERT_EQ(particles.getParticlesCount(), live.size());
        std::set<uint32_t> iterated;
        for (const MAC_Particle3& p : std::as_const(particles)) {
            ASSERT_EQ(p.position.x, float(p.id));
            ASSERT_TRUE(iterated.insert(p.id).second) << "id iterated twice";
        }
        ASSERT_EQ(iterated, live);
        for (uint32_t id : live) ASSERT_EQ(particles.find(id).position.x, float(id)) << id;
    }
    EXPECT_GT(live.size(), 3 * 8192u) << "the churn should span several chunks";
    const auto& cached = particles.getParticlesArray();
    ASSERT_EQ(cached.size(), live.size());
    for (MAC_Particle3* p : cached) ASSERT_EQ(p->position.x, float(p->id));
}

}  // namespace
}  // namespace kelvar::fluid
