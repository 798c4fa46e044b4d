#include "ValidationAnalysis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>

namespace kelvar::validation {

const std::vector<Point2>& martinMoyceSquareColumn() {
    // Z advances in steps of 1/9 (a quarter inch on the 2.25 in column).
    static const std::vector<Point2> points = {
        {0.00, 1.00}, {0.43, 1.11}, {0.62, 1.22}, {0.80, 1.44}, {0.97, 1.67}, {1.14, 1.89}, {1.29, 2.11},
        {1.45, 2.33}, {1.62, 2.56}, {1.76, 2.78}, {1.93, 3.00}, {2.07, 3.22}, {2.24, 3.44}, {2.40, 3.67},
        {2.54, 3.89}, {2.71, 4.11}, {2.87, 4.33}, {3.04, 4.56}, {3.21, 4.78}, {3.29, 4.89}, {3.32, 5.00},
    };
    return points;
}

double interpolate(const std::vector<Point2>& points, double x) {
    if (points.empty()) return std::numeric_limits<double>::quiet_NaN();
    if (x <= points.front().x) return points.front().y;
    if (x >= points.back().x) return points.back().y;
    const auto upper = std::upper_bound(points.begin(), points.end(), x,
                                        [](double value, const Point2& p) { return value < p.x; });
    const Point2& b = *upper;
    const Point2& a = *(upper - 1);
    if (b.x == a.x) return b.y;
    return a.y + (b.y - a.y) * (x - a.x) / (b.x - a.x);
}

bool fitLine(const std::vector<Point2>& points, LineFit& fit) {
    const double n = double(points.size());
    if (points.size() < 2) return false;
    double mx = 0.0, my = 0.0;
    for (const Point2& p : points) {
        mx += p.x;
        my += p.y;
    }
    mx /= n;
    my /= n;
    double sxx = 0.0, sxy = 0.0;
    for (const Point2& p : points) {
        sxx += (p.x - mx) * (p.x - mx);
        sxy += (p.x - mx) * (p.y - my);
    }
    if (!(sxx > 0.0)) return false;
    fit.slope = sxy / sxx;
    fit.intercept = my - fit.slope * mx;
    return true;
}

bool fitParabola(const std::vector<Point2>& points, ParabolaFit& fit) {
    if (points.size() < 3) return false;
    // Centre x for a well-conditioned normal system, then shift back.
    double mx = 0.0;
    for (const Point2& p : points) mx += p.x;
    mx /= double(points.size());
    std::array<std::array<double, 4>, 3> m{};
    for (const Point2& p : points) {
        const double u = p.x - mx;
        const double powers[5] = {1.0, u, u * u, u * u * u, u * u * u * u};
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) m[r][c] += powers[r + c];
            m[r][3] += powers[r] * p.y;
        }
    }
    // Gaussian elimination with partial pivoting.
    for (int col = 0; col < 3; ++col) {
        int pivot = col;
        for (int r = col + 1; r < 3; ++r)
            if (std::fabs(m[r][col]) > std::fabs(m[pivot][col])) pivot = r;
        std::swap(m[col], m[pivot]);
        const double scale = std::max(std::fabs(m[0][0]), 1.0);
        if (std::fabs(m[col][col]) <= 1e-12 * scale) return false;
        for (int r = 0; r < 3; ++r) {
            if (r == col) continue;
            const double f = m[r][col] / m[col][col];
            for (int c = col; c < 4; ++c) m[r][c] -= f * m[col][c];
        }
    }
    const double a0 = m[0][3] / m[0][0], a1 = m[1][3] / m[1][1], a2 = m[2][3] / m[2][2];
    // y = a0 + a1 (x - mx) + a2 (x - mx)^2
    fit.c2 = a2;
    fit.c1 = a1 - 2.0 * a2 * mx;
    fit.c0 = a0 - a1 * mx + a2 * mx * mx;
    return true;
}

FrontError compareFront(const std::vector<Point2>& simulated, const std::vector<Point2>& measured, double lastT) {
    FrontError error;
    if (simulated.empty()) return error;
    const double reached = simulated.back().x;
    double sumSquares = 0.0;
    for (const Point2& m : measured) {
        if (m.x > lastT || m.x > reached || m.x <= 0.0) continue;
        const double e = (interpolate(simulated, m.x) - m.y) / m.y;
        if (error.compared == 0 || std::fabs(e) > std::fabs(error.largest)) {
            error.largest = e;
            error.largestAtT = m.x;
        }
        sumSquares += e * e;
        ++error.compared;
    }
    if (error.compared > 0) error.rms = std::sqrt(sumSquares / double(error.compared));
    if (lastT <= reached) {
        const double expected = interpolate(measured, lastT);
        error.atLastT = (interpolate(simulated, lastT) - expected) / expected;
    }
    return error;
}

namespace {

// 3 x 5 digit glyphs, one row per 3 bits (top row first), and a dot.
constexpr std::array<uint16_t, 10> kDigits = {
    0b111101101101111, 0b010110010010111, 0b111001111100111, 0b111001111001111, 0b101101111001001,
    0b111100111001111, 0b111100111101111, 0b111001001001001, 0b111101111101111, 0b111101111001111,
};

struct Canvas {
    RgbPlot& plot;
    void set(int x, int y, uint8_t r, uint8_t g, uint8_t b) {
        if (x < 0 || y < 0 || x >= int(plot.width) || y >= int(plot.height)) return;
        uint8_t* p = &plot.pixels[(std::size_t(y) * plot.width + std::size_t(x)) * 3];
        p[0] = r;
        p[1] = g;
        p[2] = b;
    }
    void line(double x0, double y0, double x1, double y1, uint8_t r, uint8_t g, uint8_t b, int thickness) {
        const double length = std::max(std::fabs(x1 - x0), std::fabs(y1 - y0));
        const int steps = std::max(1, int(std::ceil(length)));
        for (int s = 0; s <= steps; ++s) {
            const double t = double(s) / steps;
            const int x = int(std::lround(x0 + (x1 - x0) * t)), y = int(std::lround(y0 + (y1 - y0) * t));
            for (int dy = 0; dy < thickness; ++dy)
                for (int dx = 0; dx < thickness; ++dx) set(x + dx - thickness / 2, y + dy - thickness / 2, r, g, b);
        }
    }
    // A number with one decimal when it has one, scaled 2x, left-top at (x, y).
    void number(int x, int y, double value) {
        const long tenths = std::lround(value * 10.0);
        char text[32];
        if (tenths % 10 != 0)
            std::snprintf(text, sizeof text, "%.1f", double(tenths) / 10.0);
        else
            std::snprintf(text, sizeof text, "%ld", tenths / 10);
        for (const char* p = text; *p != '\0'; ++p) {
            const char c = *p;
            if (c < '0' || c > '9') {
                if (c != '.') continue;
            }
            if (c == '.') {
                for (int dy = 0; dy < 2; ++dy)
                    for (int dx = 0; dx < 2; ++dx) set(x + dx, y + 8 + dy, 0, 0, 0);
                x += 4;
                continue;
            }
            const uint16_t glyph = kDigits[std::size_t(c - '0')];
            for (int row = 0; row < 5; ++row)
                for (int col = 0; col < 3; ++col)
                    if (glyph & (1u << (14 - (row * 3 + col))))
                        for (int dy = 0; dy < 2; ++dy)
                            for (int dx = 0; dx < 2; ++dx) set(x + col * 2 + dx, y + row * 2 + dy, 0, 0, 0);
            x += 8;
        }
    }
};

}  // namespace

RgbPlot drawPlot(const std::vector<PlotSeries>& series, double xMax, double yMax, double xStep, double yStep,
                 unsigned int width, unsigned int height) {
    RgbPlot plot;
    if (width < 64 || height < 64 || !(xMax > 0.0) || !(yMax > 0.0) || !(xStep > 0.0) || !(yStep > 0.0))
        return plot;
    plot.width = width;
    plot.height = height;
    plot.pixels.assign(std::size_t(width) * height * 3, 255);
    Canvas canvas{plot};
    const double left = 48.0, right = double(width) - 16.0, top = 16.0, bottom = double(height) - 32.0;
    auto px = [&](double x) { return left + (right - left) * x / xMax; };
    auto py = [&](double y) { return bottom - (bottom - top) * y / yMax; };
    for (int i = 0; double(i) * xStep <= xMax + 1e-9; ++i) {
        const double x = px(double(i) * xStep);
        canvas.line(x, top, x, bottom, 225, 225, 225, 1);
        canvas.number(int(x) - 4, int(bottom) + 8, double(i) * xStep);
    }
    for (int i = 0; double(i) * yStep <= yMax + 1e-9; ++i) {
        const double y = py(double(i) * yStep);
        canvas.line(left, y, right, y, 225, 225, 225, 1);
        canvas.number(8, int(y) - 5, double(i) * yStep);
    }
    canvas.line(left, bottom, right, bottom, 0, 0, 0, 1);
    canvas.line(left, top, left, bottom, 0, 0, 0, 1);
    for (const PlotSeries& s : series) {
        for (std::size_t n = 0; n < s.points.size(); ++n) {
            const Point2& p = s.points[n];
            if (!std::isfinite(p.x) || !std::isfinite(p.y)) continue;
            if (s.markers) {
                for (int dy = -3; dy <= 3; ++dy)
                    for (int dx = -3; dx <= 3; ++dx)
                        if (std::abs(dx) == 3 || std::abs(dy) == 3)
                            canvas.set(int(px(p.x)) + dx, int(py(p.y)) + dy, s.r, s.g, s.b);
            } else if (n > 0 && std::isfinite(s.points[n - 1].y)) {
                const Point2& q = s.points[n - 1];
                canvas.line(px(q.x), py(std::min(q.y, yMax)), px(p.x), py(std::min(p.y, yMax)), s.r, s.g, s.b, 2);
            }
        }
    }
    return plot;
}

}  // namespace kelvar::validation
