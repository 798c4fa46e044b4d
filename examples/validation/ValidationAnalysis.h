#pragma once

// Reference data and the arithmetic of the validation runs: the measured
// dam-break surge front, straight-line and parabola fits, the front's error
// against experiment, and a line plot drawn into an RGB image. Nothing here
// touches the library, so it is tested on hand-made numbers.

#include <cstdint>
#include <string>
#include <vector>

namespace kelvar::validation {

struct Point2 {
    double x = 0.0;
    double y = 0.0;
};

// Surge front of a square column (height = width = a, n^2 = 1) collapsing on
// a horizontal plane, measured by Martin, J. C. & Moyce, W. J. (1952),
// "Part IV. An experimental study of the collapse of liquid columns on a
// rigid horizontal plane", Phil. Trans. R. Soc. Lond. A 244, 312-324
// (a = 2.25 in): Z = (distance of the leading edge from the back wall) / a.
//
// Time scaling: Martin & Moyce plot the front against T = n t sqrt(g/a),
// with n^2 the height-to-width ratio; for the square column n = 1, so
// T = t sqrt(g/a). Papers on the n^2 = 2 column (height 2a) write the same
// definition as t sqrt(2g/a); those values are not these.
// Returned as (T, Z) pairs in increasing T.
const std::vector<Point2>& martinMoyceSquareColumn();

// y at x by linear interpolation between the points (sorted by x); outside
// their range the nearest end value. NaN for an empty list.
double interpolate(const std::vector<Point2>& points, double x);

// Least-squares straight line y = intercept + slope x. False with fewer than
// two distinct x.
struct LineFit {
    double intercept = 0.0;
    double slope = 0.0;
};
bool fitLine(const std::vector<Point2>& points, LineFit& fit);

// Least-squares parabola y = c0 + c1 x + c2 x^2. False with fewer than three
// distinct x.
struct ParabolaFit {
    double c0 = 0.0;
    double c1 = 0.0;
    double c2 = 0.0;
};
bool fitParabola(const std::vector<Point2>& points, ParabolaFit& fit);

// The simulated front (T, Z) against the experiment up to `lastT`: the
// relative error (Z_sim - Z_exp) / Z_exp at every measured point with
// T <= lastT, the one of largest magnitude (sign kept), and the error at
// exactly T = lastT (experiment interpolated). Points the simulation has not
// reached are skipped; `compared` counts the others.
struct FrontError {
    double largest = 0.0;
    double largestAtT = 0.0;
    double atLastT = 0.0;
    double rms = 0.0;
    unsigned int compared = 0;
};
FrontError compareFront(const std::vector<Point2>& simulated, const std::vector<Point2>& measured, double lastT);

// A line plot: curves drawn as polylines, markers as small squares, on axes
// from (0, 0) to (xMax, yMax) with tick marks and numbered grid lines every
// `xStep` / `yStep`. Colours are 0..255 RGB.
struct PlotSeries {
    std::vector<Point2> points;
    uint8_t r = 0, g = 0, b = 0;
    bool markers = false;
};
struct RgbPlot {
    unsigned int width = 0;
    unsigned int height = 0;
    std::vector<uint8_t> pixels;  // width * height * 3, row 0 on top
};
RgbPlot drawPlot(const std::vector<PlotSeries>& series, double xMax, double yMax, double xStep, double yStep,
                 unsigned int width, unsigned int height);

}  // namespace kelvar::validation
