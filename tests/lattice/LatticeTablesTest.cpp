#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <set>

#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3MirrorIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3OppositeIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3Shifter.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3StreamFreeSlipTable.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3StreamIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"

using namespace kelvar;
using namespace kelvar::fluid;

namespace {

constexpr unsigned kQ = 19;
constexpr unsigned kNone = 0xFFFFFFFFu;

const LBM_Cell3Shifter& shifter() { return *LBM_Q19_Cell3Shifter::instance(); }
const LBM_Cell3OppositeIndices& opposite() { return *LBM_Q19_Cell3OppositeIndices::instance(); }

Tuple3<int32_t> sum(const Tuple3<int32_t>& a, const Tuple3<int32_t>& b) {
    return {a.first + b.first, a.second + b.second, a.third + b.third};
}
Tuple3<int32_t> negated(const Tuple3<int32_t>& a) { return {-a.first, -a.second, -a.third}; }

}  // namespace

TEST(LatticeTables, ShifterHoldsTheDirectionOrder) {
    const Tuple3<int32_t> expected[kQ] = {
        {0, 0, 0},  {1, 0, 0},  {0, 1, 0},   {-1, 0, 0}, {0, -1, 0}, {0, 0, 1},  {0, 0, -1},
        {1, 1, 0},  {-1, 1, 0}, {-1, -1, 0}, {1, -1, 0}, {1, 0, 1},  {-1, 0, 1}, {-1, 0, -1},
        {1, 0, -1}, {0, 1, 1},  {0, -1, 1},  {0, -1, -1}, {0, 1, -1}};
    ASSERT_EQ(shifter().size(), kQ);
    for (unsigned i = 0; i < kQ; ++i) EXPECT_EQ(shifter()[i], expected[i]) << "direction " << i;
}

TEST(LatticeTables, WeightsAreTheNearestFloatsAndSumToOne) {
    const LBM_Q19_MAC_Cell3F cell;
    const LBM_Cell3Weights<float>& w = cell.getWeights();
    ASSERT_EQ(w.size(), kQ);
    EXPECT_EQ(std::bit_cast<uint32_t>(w[0]), 0x3EAAAAABu);
    for (unsigned i = 1; i <= 6; ++i) EXPECT_EQ(std::bit_cast<uint32_t>(w[i]), 0x3D638E39u) << i;
    for (unsigned i = 7; i < kQ; ++i) EXPECT_EQ(std::bit_cast<uint32_t>(w[i]), 0x3CE38E39u) << i;
    float total = 0.0f;
    for (float x : w) total += x;
    EXPECT_FLOAT_EQ(total, 1.0f);
}

TEST(LatticeTables, OppositeNegatesAndIsAnInvolution) {
    const unsigned expected[kQ] = {0, 3, 4, 1, 2, 6, 5, 9, 10, 7, 8, 13, 14, 11, 12, 17, 18, 15, 16};
    ASSERT_EQ(opposite().size(), kQ);
    for (unsigned i = 0; i < kQ; ++i) {
        EXPECT_EQ(opposite()[i], expected[i]);
        EXPECT_EQ(opposite()[opposite()[i]], i);
        EXPECT_EQ(shifter()[opposite()[i]], negated(shifter()[i]));
    }
}

TEST(LatticeTables, StreamIndicesAndOppositesCoverEveryLinkOnce) {
    const LBM_Cell3StreamIndices& stream = *LBM_Q19_Cell3StreamIndices::instance();
    const std::vector<unsigned> expected = {1, 2, 5, 7, 8, 11, 12, 15, 16};
    EXPECT_EQ(static_cast<const std::vector<unsigned>&>(stream), expected);
    std::multiset<unsigned> covered;
    for (unsigned s : stream) {
        covered.insert(s);
        covered.insert(opposite()[s]);
        // The last non-zero component is +1.
        const Tuple3<int32_t> c = shifter()[s];
        EXPECT_EQ(c.third != 0 ? c.third : (c.second != 0 ? c.second : c.first), 1) << s;
    }
    EXPECT_EQ(covered.size(), kQ - 1);
    for (unsigned i = 1; i < kQ; ++i) EXPECT_EQ(covered.count(i), 1u) << i;
}

TEST(LatticeTables, MirrorRowsReflectAcrossTheirAxisPlane) {
    const LBM_Cell3MirrorIndices& mirror = *LBM_Q19_Cell3MirrorIndices::instance();
    ASSERT_EQ(mirror.size(), 7u);
    for (unsigned r : {0u, 3u, 4u, 6u}) EXPECT_TRUE(mirror[r].empty()) << r;
    const int axisOfRow[6] = {-1, 0, 1, -1, -1, 2};
    for (unsigned r : {1u, 2u, 5u}) {
        ASSERT_EQ(mirror[r].size(), kQ);
        for (unsigned i = 0; i < kQ; ++i) {
            EXPECT_EQ(mirror[r][mirror[r][i]], i);
            Tuple3<int32_t> reflected = shifter()[i];
            reflected[axisOfRow[r]] = -reflected[axisOfRow[r]];
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

    const std::array<unsigned, 5> diagonalRows[12] = {
        {1, 2, 10, 8, 0},        {2, 3, kNone, 9, 1}, {3, 4, kNone, 10, 1}, {1, 4, kNone, kNone, kNone},
        {1, 5, 14, 12, 0},       {5, 3, kNone, 13, 1}, {3, 6, kNone, 14, 1}, {1, 6, kNone, kNone, kNone},
        {2, 5, 18, 16, 0},       {5, 4, kNone, 17, 1}, {4, 6, kNone, 18, 1}, {2, 6, kNone, kNone, kNone}};
    // The row of the mirror table for the plane normal to an axis direction.
    const unsigned mirrorRowOfAxis[7] = {0, 1, 2, 1, 2, 5, 5};
    std::set<std::set<unsigned>> pairs;
    for (unsigned d = 7; d < kQ; ++d) {
        const std::array<unsigned, 5>& row = table[d];
        EXPECT_EQ(row, diagonalRows[d - 7]) << d;
        EXPECT_EQ(sum(shifter()[row[0]], shifter()[row[1]]), shifter()[d]) << d;
        if (row[2] != kNone) {
            EXPECT_EQ(row[2], mirror[mirrorRowOfAxis[row[1]]][d]) << d;
        }
        if (row[3] != kNone) {
            EXPECT_EQ(row[3], mirror[mirrorRowOfAxis[row[0]]][d]) << d;
        }
        const unsigned firstPresent = row[2] != kNone ? 0 : (row[3] != kNone ? 1 : kNone);
        EXPECT_EQ(row[4], firstPresent) << d;
        for (unsigned k : {2u, 3u}) {
            if (row[k] != kNone) {
                EXPECT_TRUE(pairs.insert({d, row[k]}).second) << "pair listed twice";
            }
        }
    }
    EXPECT_EQ(pairs.size(), 12u);
}

TEST(LatticeTables, CellsHandOutTheSingletons) {
    const LBM_Q19_MAC_Cell3F a;
    const LBM_Q19_MAC_Cell3F b;
    EXPECT_EQ(&a.getShifter(), LBM_Q19_Cell3Shifter::instance());
    EXPECT_EQ(&a.getOppositeIndices(), LBM_Q19_Cell3OppositeIndices::instance());
    EXPECT_EQ(&a.getStreamIndices(), LBM_Q19_Cell3StreamIndices::instance());
    EXPECT_EQ(&a.getStreamFreeSlipTable(), LBM_Q19_Cell3StreamFreeSlipTable::instance());
    EXPECT_EQ(&a.getMirrorIndices(), LBM_Q19_Cell3MirrorIndices::instance());
    EXPECT_EQ(&a.getWeights(), &b.getWeights());
    const LBM_Q19_Cell3<float>& asBase = a;
    EXPECT_EQ(&asBase.getWeights(), &b.getWeights());
}
