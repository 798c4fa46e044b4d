#include <gtest/gtest.h>

#include <set>

#include "LatticeTestSupport.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3MirrorIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3OppositeIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3Shifter.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3StreamFreeSlipTable.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3StreamIndices.h"

using namespace kelvar;
using namespace kelvar::fluid;
using namespace kelvar::fluid::test;

namespace {

constexpr unsigned kNone = 0xFFFFFFFFu;
using Triple = Tuple3<int32_t>;

const LBM_Cell3Shifter& shifter() { return *LBM_Q19_Cell3Shifter::instance(); }
Triple plus(const Triple& a, const Triple& b) { return {a.first + b.first, a.second + b.second, a.third + b.third}; }
Triple minus(const Triple& a) { return {-a.first, -a.second, -a.third}; }

}  // namespace

TEST(LatticeTables, DirectionsWeightsAndOpposites) {
    // Axis order +x +y -x -y +z -z; first diagonal of each plane.
    ASSERT_EQ(shifter().size(), kQ);
    const Triple axes[7] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
    for (unsigned i = 0; i < 7; ++i) EXPECT_EQ(shifter()[i], axes[i]) << i;
    EXPECT_EQ(shifter()[7], plus(axes[1], axes[2]));
    EXPECT_EQ(shifter()[11], plus(axes[1], axes[5]));
    EXPECT_EQ(shifter()[15], plus(axes[2], axes[5]));

    const LBM_Cell3Weights<float>& w = LBM_Q19_MAC_Cell3F().getWeights();
    ASSERT_EQ(w.size(), kQ);
    float total = 0.0f;
    for (unsigned i = 0; i < kQ; ++i) {
        EXPECT_EQ(bitsOf(w[i]), i == 0 ? 0x3EAAAAABu : (i < 7 ? 0x3D638E39u : 0x3CE38E39u)) << i;
        total += w[i];
    }
    EXPECT_FLOAT_EQ(total, 1.0f);

    const LBM_Cell3OppositeIndices& opp = *LBM_Q19_Cell3OppositeIndices::instance();
    ASSERT_EQ(opp.size(), kQ);
    std::set<int> distinct;
    for (unsigned i = 0; i < kQ; ++i) {
        EXPECT_EQ(opp[i], kOpp[i]);
        EXPECT_EQ(shifter()[opp[i]], minus(shifter()[i])) << i;
        distinct.insert((shifter()[i].first + 1) * 9 + (shifter()[i].second + 1) * 3 + shifter()[i].third + 1);
    }
    EXPECT_EQ(distinct.size(), kQ);
}

TEST(LatticeTables, StreamIndicesAndOppositesCoverEveryLinkOnce) {
    const LBM_Cell3StreamIndices& stream = *LBM_Q19_Cell3StreamIndices::instance();
    EXPECT_EQ(static_cast<const std::vector<unsigned>&>(stream),
              (std::vector<unsigned>{1, 2, 5, 7, 8, 11, 12, 15, 16}));
    std::multiset<unsigned> covered;
    for (unsigned s : stream) {
        covered.insert({s, kOpp[s]});
        const Triple c = shifter()[s];  // last non-zero component is +1
        EXPECT_EQ(c.third != 0 ? c.third : (c.second != 0 ? c.second : c.first), 1) << s;
    }
    for (unsigned i = 0; i < kQ; ++i) EXPECT_EQ(covered.count(i), i == 0 ? 0u : 1u) << i;
}

TEST(LatticeTables, MirrorRowsReflectAcrossTheirAxisPlane) {
    const LBM_Cell3MirrorIndices& mirror = *LBM_Q19_Cell3MirrorIndices::instance();
    ASSERT_EQ(mirror.size(), 7u);
    for (unsigned r : {0u, 3u, 4u, 6u}) EXPECT_TRUE(mirror[r].empty()) << r;
    for (unsigned r : {1u, 2u, 5u}) {
        ASSERT_EQ(mirror[r].size(), kQ);
        const unsigned axis = r == 1 ? 0 : (r == 2 ? 1 : 2);
        for (unsigned i = 0; i < kQ; ++i) {
            Triple reflected = shifter()[i];
            reflected[axis] = -reflected[axis];
            EXPECT_EQ(shifter()[mirror[r][i]], reflected) << "row " << r << " direction " << i;
        }
    }
}

TEST(LatticeTables, FreeSlipRowsDescribeDiagonalsAlongWalls) {
    const LBM_Cell3StreamFreeSlipTable& table = *LBM_Q19_Cell3StreamFreeSlipTable::instance();
    const LBM_Cell3MirrorIndices& mirror = *LBM_Q19_Cell3MirrorIndices::instance();
    ASSERT_EQ(table.size(), kQ);
    for (unsigned d = 0; d < 7; ++d)
        for (unsigned e : table[d]) EXPECT_EQ(e, kNone) << d;

    const unsigned mirrorRowOfAxis[7] = {0, 1, 2, 1, 2, 5, 5};
    const unsigned firstAxis[12] = {1, 2, 3, 1, 1, 5, 3, 1, 2, 5, 4, 2};  // rows 8, 12, 16 lead with +y, +z, +z
    const unsigned presentPairs[12] = {2, 1, 1, 0, 2, 1, 1, 0, 2, 1, 1, 0};
    std::set<std::set<unsigned>> pairs;
    for (unsigned d = 7; d < kQ; ++d) {
        const std::array<unsigned, 5>& row = table[d];
        EXPECT_EQ(row[0], firstAxis[d - 7]) << d;
        EXPECT_EQ(plus(shifter()[row[0]], shifter()[row[1]]), shifter()[d]) << d;
        EXPECT_EQ(unsigned(row[2] != kNone) + unsigned(row[3] != kNone), presentPairs[d - 7]) << d;
        const unsigned expected2 = mirror[mirrorRowOfAxis[row[1]]][d];
        const unsigned expected3 = mirror[mirrorRowOfAxis[row[0]]][d];
        EXPECT_TRUE(row[2] == kNone || row[2] == expected2) << d;
        EXPECT_TRUE(row[3] == kNone || row[3] == expected3) << d;
        EXPECT_EQ(row[4], row[2] != kNone ? 0 : (row[3] != kNone ? 1 : kNone)) << d;
        for (unsigned k : {2u, 3u})
            EXPECT_TRUE(row[k] == kNone || pairs.insert({d, row[k]}).second) << "pair listed twice at " << d;
    }
    EXPECT_EQ(pairs.size(), 12u);
}
