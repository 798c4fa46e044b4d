// The validation host's arithmetic and options on hand-made numbers; its
// physical results are checked by the quick runs registered next to this
// test (Validation.Quick*).

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "ValidationAnalysis.h"
#include "ValidationOptions.h"
#include "ValidationRuns.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"

namespace kelvar::validation {
namespace {

TEST(ValidationFits, InterpolationClampsAtTheEndsAndIsLinearBetween) {
    const std::vector<Point2> points = {{0.0, 1.0}, {1.0, 3.0}, {3.0, 4.0}};
    EXPECT_DOUBLE_EQ(interpolate(points, -1.0), 1.0);
    EXPECT_DOUBLE_EQ(interpolate(points, 0.5), 2.0);
    EXPECT_DOUBLE_EQ(interpolate(points, 2.0), 3.5);
    EXPECT_DOUBLE_EQ(interpolate(points, 9.0), 4.0);
    EXPECT_TRUE(std::isnan(interpolate({}, 1.0)));
}

TEST(ValidationFits, LineAndParabolaRecoverTheirCoefficients) {
    std::vector<Point2> line, fall;
    for (int n = 0; n < 50; ++n) {
        const double x = 2.0 + 0.1 * n;
        line.push_back({x, 0.25 - 3.5 * x});
        // A fall sampled late and briefly: x far from 0 relative to its span.
        const double t = 0.12 + 0.002 * n;
        fall.push_back({t, 0.6 + 0.3 * t - 0.5 * 9.81 * t * t});
    }
    LineFit l;
    ASSERT_TRUE(fitLine(line, l));
    EXPECT_NEAR(l.slope, -3.5, 1e-9);
    EXPECT_NEAR(l.intercept, 0.25, 1e-9);
    ParabolaFit p;
    ASSERT_TRUE(fitParabola(fall, p));
    EXPECT_NEAR(-2.0 * p.c2, 9.81, 1e-6);
    EXPECT_NEAR(p.c1, 0.3, 1e-7);
    EXPECT_NEAR(p.c0, 0.6, 1e-8);

    EXPECT_FALSE(fitLine({{1.0, 1.0}}, l));
    EXPECT_FALSE(fitLine({{1.0, 1.0}, {1.0, 2.0}}, l));
    EXPECT_FALSE(fitParabola({{0.0, 1.0}, {1.0, 2.0}}, p));
    EXPECT_FALSE(fitParabola({{1.0, 1.0}, {1.0, 2.0}, {1.0, 3.0}}, p));
}

TEST(ValidationFits, FrontErrorIsRelativeToTheMeasurementAndSkipsWhatWasNotReached) {
    const std::vector<Point2> measured = {{0.0, 1.0}, {1.0, 2.0}, {2.0, 3.0}, {3.0, 4.0}, {4.0, 5.0}};
    // 10 % ahead everywhere, run to T = 3.5.
    std::vector<Point2> ahead;
    for (int n = 0; n <= 35; ++n) ahead.push_back({0.1 * n, 1.1 * (1.0 + 0.1 * n)});
    const FrontError e = compareFront(ahead, measured, 3.0);
    EXPECT_EQ(e.compared, 3u);  // T = 1, 2, 3: not T = 0, not T = 4
    EXPECT_NEAR(e.largest, 0.1, 1e-9);
    EXPECT_NEAR(e.atLastT, 0.1, 1e-9);
    EXPECT_NEAR(e.rms, 0.1, 1e-9);

    // Behind by a growing amount: the largest is the last, with its sign.
    std::vector<Point2> behind;
    for (int n = 0; n <= 20; ++n) behind.push_back({0.1 * n, 1.0 + 0.1 * n - 0.05 * 0.1 * n});
    const FrontError b = compareFront(behind, measured, 3.0);
    EXPECT_EQ(b.compared, 2u);  // the run stopped at T = 2
    EXPECT_NEAR(b.largest, -0.1 / 3.0, 1e-9);
    EXPECT_DOUBLE_EQ(b.largestAtT, 2.0);
    EXPECT_DOUBLE_EQ(b.atLastT, 0.0);  // T = 3 not reached: not judged
    EXPECT_EQ(compareFront({}, measured, 3.0).compared, 0u);
}

TEST(ValidationPlot, DrawsCurvesAndMarkersWhereTheyBelongAndRefusesBadSizes) {
    PlotSeries curve;
    curve.points = {{0.0, 0.0}, {3.5, 6.0}};
    curve.r = 255;
    PlotSeries marker;
    marker.points = {{1.0, 5.0}};
    marker.markers = true;
    marker.b = 255;
    const RgbPlot plot = drawPlot({curve, marker}, 3.5, 6.0, 0.5, 1.0, 640, 400);
    ASSERT_EQ(plot.pixels.size(), 640u * 400u * 3u);
    auto countColour = [&](uint8_t r, uint8_t g, uint8_t b) {
        std::size_t count = 0;
        for (std::size_t p = 0; p < plot.pixels.size(); p += 3)
            count += plot.pixels[p] == r && plot.pixels[p + 1] == g && plot.pixels[p + 2] == b;
        return count;
    };
    EXPECT_GT(countColour(255, 0, 0), 500u);  // the diagonal, two pixels wide
    EXPECT_EQ(countColour(0, 0, 255), 24u);   // one hollow 7 x 7 square
    // The curve starts at the plot's lower-left corner (48, 368).
    const std::size_t corner = (std::size_t(367) * 640 + 49) * 3;
    EXPECT_EQ(plot.pixels[corner], 255);
    EXPECT_EQ(plot.pixels[corner + 1], 0);
    EXPECT_TRUE(drawPlot({curve}, 3.5, 6.0, 0.5, 1.0, 10, 10).pixels.empty());
    EXPECT_TRUE(drawPlot({curve}, 0.0, 6.0, 0.5, 1.0, 640, 400).pixels.empty());
    EXPECT_TRUE(drawPlot({curve}, 3.5, 6.0, 0.0, 1.0, 640, 400).pixels.empty());
}

TEST(ValidationOptionsParsing, ReadsCommandsAndValuesAndRefusesBadOnes) {
    // The values the quick runs do not pass (--quick and --threads they do).
    ValidationOptions o;
    std::string error;
    ASSERT_TRUE(parseValidationOptions({"dam-break", "--cells", "10,20,40", "--compressibility", "0.2", "--until", "3",
                                        "--plain-mass"},
                                       o, error))
        << error;
    EXPECT_EQ(o.command, Command::DamBreak);
    EXPECT_EQ(o.cells, (std::vector<unsigned int>{10, 20, 40}));
    EXPECT_FLOAT_EQ(o.water.compressibility, 0.2f);
    EXPECT_DOUBLE_EQ(o.untilT, 3.0);
    EXPECT_FALSE(o.water.conserveMass);

    const std::vector<std::vector<std::string>> bad = {
        {"splash"}, {"sweep", "--cells"}, {"sweep", "--cells", "10,,20"}, {"sweep", "--cells", "-10"},
        {"sweep", "--cells", "3"}, {"sweep", "--cells", "100000"}, {"sweep", "--compressibility", "1.5"},
        {"sweep", "--compressibility", "nan"}, {"sweep", "--viscosity", "0.1x"}, {"sweep", "--threads", "0"},
        {"sweep", "--until", "1e400"}, {"sweep", "--output", ""}, {"sweep", "--frobnicate", "1"},
    };
    for (const auto& arguments : bad) {
        ValidationOptions b;
        std::string message;
        EXPECT_FALSE(parseValidationOptions(arguments, b, message)) << arguments.back();
        EXPECT_FALSE(message.empty());
    }
}

using fluid::LBM_Q19_MAC_Cell3F;
using fluid::MAC_LBM_Fluid3;

WaterOptions oneThread() {
    WaterOptions water;
    water.threads = 1;
    return water;
}

// The counts of the scenes' tanks, at the resolutions the host runs; the
// 20-cell dam-break tank (162 x 32 x 6 at 2.9 mm) is one the domain's cube
// root rounds up by a cell unless the host corrects it.
TEST(ValidationScenes, TanksComeOutWithTheCountsAskedFor) {
    const struct {
        unsigned int nx, ny, nz;
        double dx;
    } tanks[] = {
        {82, 17, 6, 0.05715 / 10}, {162, 32, 6, 0.05715 / 20}, {322, 62, 6, 0.05715 / 40},
        {22, 32, 6, 0.05715 / 20}, {16, 38, 16, 0.1 / 8},      {24, 70, 24, 0.1 / 16},
    };
    for (const auto& t : tanks) {
        MAC_LBM_Fluid3 fluid;
        ASSERT_TRUE(buildTank(fluid, oneThread(), t.nx, t.ny, t.nz, t.dx, 1.0)) << t.nx << " x " << t.ny;
        const auto& grid = fluid.getGrid();
        EXPECT_EQ(grid.getNx(), t.nx);
        EXPECT_EQ(grid.getNy(), t.ny);
        EXPECT_EQ(grid.getNz(), t.nz);
        // The cell edge stays what was asked for, to a part in 10^3.
        const float dx = fluid.getLargestLength() / float(std::max({t.nx, t.ny, t.nz}));
        EXPECT_NEAR(dx / t.dx, 1.0, 1e-3);
    }
}

// The filled block is exactly the cells asked for, every one full; the free
// faces are interface cells and the cells against walls full liquid.
TEST(ValidationScenes, FilledBlockIsTheCellsAskedForWithItsFreeFacesAsInterface) {
    MAC_LBM_Fluid3 fluid;
    ASSERT_TRUE(buildTank(fluid, oneThread(), 30, 14, 6, 0.01, 1.0));
    const unsigned int lo[3] = {1, 1, 1}, hi[3] = {7, 9, 4};
    fillCells(fluid, lo, hi);
    unsigned int liquid = 0;
    for (unsigned int i = 0; i < 30; ++i)
        for (unsigned int j = 0; j < 14; ++j)
            for (unsigned int k = 0; k < 6; ++k) {
                const auto* cell = fluid.getGrid().at(i, j, k);
                const bool inside = i >= 1 && i <= 7 && j >= 1 && j <= 9 && k >= 1 && k <= 4;
                const bool isLiquid = cell != nullptr && cell->isFluid();
                EXPECT_EQ(isLiquid, inside) << i << ", " << j << ", " << k;
                if (!isLiquid) continue;
                ++liquid;
                const auto* c = static_cast<const LBM_Q19_MAC_Cell3F*>(cell);
                EXPECT_FLOAT_EQ(c->getMass(), c->getDensity());
                const bool freeFace = i == 7 || j == 9;
                EXPECT_EQ(c->getType(), freeFace ? fluid::LBM_CELL_INTERFACE : fluid::LBM_CELL_FLUID)
                    << i << ", " << j << ", " << k;
            }
    EXPECT_EQ(liquid, 7u * 9u * 4u);
}

// The front is the column's width at rest; a lone drop ahead does not move
// it, a tongue of two cells on the floor does, in a single row across z.
TEST(ValidationScenes, FrontFollowsTheLiquidOnTheFloorButNotALoneDrop) {
    MAC_LBM_Fluid3 fluid;
    ASSERT_TRUE(buildTank(fluid, oneThread(), 40, 14, 6, 0.01, 1.0));
    const unsigned int lo[3] = {1, 1, 1}, hi[3] = {8, 8, 4};
    fillCells(fluid, lo, hi);
    EXPECT_EQ(frontCells(fluid), 8u);
    const unsigned int dropLo[3] = {20, 1, 2}, dropHi[3] = {20, 1, 2};
    fillCells(fluid, dropLo, dropHi);
    EXPECT_EQ(frontCells(fluid), 8u);
    const unsigned int tongueLo[3] = {25, 1, 3}, tongueHi[3] = {26, 1, 3};
    fillCells(fluid, tongueLo, tongueHi);
    EXPECT_EQ(frontCells(fluid), 26u);
}

// The run's clock is the frame times the solver consumed, so the sampled T
// rise by at most a frame (0.05) and by whole sub-steps, and the run stops
// at the first frame past its end; the front starts at the column's face
// and a collapsing column only spreads.
TEST(ValidationScenes, DamBreakRunKeepsItsClockAndStartsFromTheColumn) {
    const DamBreakResult run = runDamBreak(oneThread(), 8, 1.0, false);
    ASSERT_GE(run.front.size(), 10u);
    ASSERT_EQ(run.massRatio.size(), run.front.size());
    EXPECT_DOUBLE_EQ(run.front.front().x, 0.0);
    EXPECT_DOUBLE_EQ(run.front.front().y, 1.0);
    const double subStepT = 1.0 / run.subStepsPerT;
    for (std::size_t n = 1; n < run.front.size(); ++n) {
        const double step = run.front[n].x - run.front[n - 1].x;
        EXPECT_GE(step, 0.0) << n;
        EXPECT_LE(step, 0.05 + subStepT) << n;
        const double subSteps = step / subStepT;
        EXPECT_NEAR(subSteps, std::round(subSteps), 1e-3) << n;
        EXPECT_GE(run.front[n].y, run.front[n - 1].y - 1.0 / 8.0) << n;
        EXPECT_LE(run.massRatio[n], 1.0 + 1e-3) << n;
    }
    EXPECT_GE(run.front.back().x, 1.0);
    EXPECT_LT(run.front.back().x, 1.0 + 0.05 + subStepT);
    EXPECT_GT(run.front.back().y, 1.2);  // it did collapse
}

}  // namespace
}  // namespace kelvar::validation
