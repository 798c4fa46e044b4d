// The validation host's arithmetic and options on hand-made numbers; its
// physical results are checked by the quick runs registered next to this
// test (Validation.Quick*).

#include <gtest/gtest.h>

#include <cmath>

#include "ValidationAnalysis.h"
#include "ValidationOptions.h"

namespace kelvar::validation {
namespace {

TEST(ValidationReference, MartinMoyceFrontIsOrderedAndBelowTheShallowWaterLimit) {
    const std::vector<Point2>& front = martinMoyceSquareColumn();
    ASSERT_GE(front.size(), 15u);
    EXPECT_DOUBLE_EQ(front.front().x, 0.0);
    EXPECT_DOUBLE_EQ(front.front().y, 1.0);
    for (std::size_t n = 1; n < front.size(); ++n) {
        EXPECT_GT(front[n].x, front[n - 1].x) << n;
        EXPECT_GT(front[n].y, front[n - 1].y) << n;
    }
    // With T = t sqrt(g/a) the mean front speed dZ/dT is in units of
    // sqrt(g a); a dam-break surge stays under the shallow-water front speed
    // 2 sqrt(g a), and a square column reaches more than half of it.
    const double meanSpeed = (interpolate(front, 3.0) - 1.0) / 3.0;
    EXPECT_LT(meanSpeed, 2.0);
    EXPECT_GT(meanSpeed, 1.0);
}

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
    ValidationOptions o;
    std::string error;
    ASSERT_TRUE(parseValidationOptions({"dam-break", "--cells", "10,20,40", "--compressibility", "0.2", "--threads",
                                        "1", "--until", "3", "--quick"},
                                       o, error))
        << error;
    EXPECT_EQ(o.command, Command::DamBreak);
    EXPECT_EQ(o.cells, (std::vector<unsigned int>{10, 20, 40}));
    EXPECT_FLOAT_EQ(o.water.compressibility, 0.2f);
    EXPECT_EQ(o.water.threads, 1u);
    EXPECT_DOUBLE_EQ(o.untilT, 3.0);
    EXPECT_TRUE(o.quick);

    ValidationOptions d;
    ASSERT_TRUE(parseValidationOptions({}, d, error));
    EXPECT_EQ(d.command, Command::All);

    const std::vector<std::vector<std::string>> bad = {
        {"splash"},
        {"sweep", "--cells"},
        {"sweep", "--cells", "10,,20"},
        {"sweep", "--cells", "-10"},
        {"sweep", "--cells", "3"},
        {"sweep", "--cells", "100000"},
        {"sweep", "--compressibility", "1.5"},
        {"sweep", "--compressibility", "nan"},
        {"sweep", "--viscosity", "0.1x"},
        {"sweep", "--threads", "0"},
        {"sweep", "--until", "1e400"},
        {"sweep", "--output", ""},
        {"sweep", "--frobnicate", "1"},
    };
    for (const auto& arguments : bad) {
        ValidationOptions b;
        std::string message;
        EXPECT_FALSE(parseValidationOptions(arguments, b, message)) << arguments.back();
        EXPECT_FALSE(message.empty());
    }
    ValidationOptions m;
    EXPECT_EQ(parseValidationOptions({"--conserve-mass"}, m, error), conserveMassAvailable());
}

}  // namespace
}  // namespace kelvar::validation
