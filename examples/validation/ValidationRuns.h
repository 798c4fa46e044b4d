#pragma once

// The validation scenes, each built in a walled tank and run through the
// library as a host would: the Martin-Moyce dam break, still water settling
// under gravity, and a block of liquid falling freely. Each returns its
// measurements; printing and checking them is the caller's.

#include <string>
#include <vector>

#include "ValidationAnalysis.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"

namespace kelvar::validation {

// The liquid's settings, applied to every scene in one place.
struct WaterOptions {
    // The demo's liquid: the settings this host's runs chose.
    float viscosity = 0.05f;
    float compressibility = 0.2f;
    // Keep the liquid's mass (MAC_LBM_Fluid3::setConserveMass).
    bool conserveMass = true;
    // Expected speed over sqrt(2 g h) (expectedSpeed); the demo's 4.5 m/s
    // over the free fall from its 0.7 m column.
    double speedRatio = 1.2;
    unsigned int threads = 2;
};

// Sets density, viscosity, compressibility and the relabelling option on a
// domain not yet initialised; drains are made to drain.
void applyWaterOptions(fluid::MAC_LBM_Fluid3& fluid, const WaterOptions& options);

// A walled tank of nx x ny x nz cells (walls included) with cells of edge
// about `dx` metres, for liquid expected to move at up to `speed` m/s, the
// domain initialised and walled. The domain derives its counts from a cube
// root of the volume per cell, which can land a hair either side of a whole
// count; an axis that comes out a cell long or short is shrunk or stretched
// by a few parts in 10^5 until every count is the one asked for. False when
// that does not happen.
bool buildTank(fluid::MAC_LBM_Fluid3& fluid, const WaterOptions& options, unsigned int nx, unsigned int ny,
               unsigned int nz, double dx, double speed);

// Fills the cells lo..hi (inclusive, grid indices) with liquid at rest, all
// of them full. A free face of the box crosses the outer cells a quarter
// cell from their outer side, so they are crossed but their centres lie
// outside: they become interface cells, the liquid's surface. A face
// against a wall lies inside the wall cells, which emission leaves alone.
void fillCells(fluid::MAC_LBM_Fluid3& fluid, const unsigned int lo[3], const unsigned int hi[3]);

// Far face of a dam-break surge front in cells from the back (-x) wall's
// face: the furthest cell of fill 0.5 or more in the layer on the floor
// whose neighbour towards the back wall is filled as much, the largest over
// the rows across z. A lone cell ahead (a drop flung forward) does not
// count, and neither do pockets of air the collapse traps on the floor
// behind the front.
// `minFill` sets the fill a cell needs to count (0.5 by default).
inline constexpr float kDefaultFrontFill = 0.5f;
unsigned int frontCells(const fluid::MAC_LBM_Fluid3& fluid, float minFill = kDefaultFrontFill);

inline constexpr double kGravity = 9.81;
// Column width and height of the dam break, the experiment's larger column
// (2.25 in). Only the ratios to it matter: see expectedSpeed().
inline constexpr double kColumn = 0.05715;

// The fastest the liquid is expected to move in a scene of height `h` (m):
// `ratio` times the free-fall speed sqrt(2 g h). It sets the sub-step and
// the lattice's speed limit: liquid faster than that is slowed to it.
double expectedSpeed(double h, double ratio);

struct DamBreakResult {
    unsigned int cellsPerColumn = 0;
    std::vector<Point2> front;         // (T, Z)
    std::vector<double> massRatio;     // liquid mass / initial mass, per frame
    double subStepsPerT = 0.0;         // sub-steps per unit of T = t sqrt(g/a)
    double dt = 0.0;                   // s
    double dx = 0.0;                   // m
    float latticeViscosity = 0.0f;
    double seconds = 0.0;              // wall time
    FrontError error;                  // against Martin & Moyce, T <= 3
};

// Square column of `cells` x `cells` (x, y) in a tank 8 columns long and 1.5
// high, `across` cells across z between free-slip walls (the flow is plane), run
// up to T = `lastT`. The front is frontCells() with `frontFill`.
inline constexpr unsigned int kDefaultAcross = 4;
DamBreakResult runDamBreak(const WaterOptions& options, unsigned int cells, double lastT, bool progress,
                           unsigned int across = kDefaultAcross, float frontFill = kDefaultFrontFill);

struct HydrostaticResult {
    unsigned int depthCells = 0;
    double latticeGravity = 0.0;       // g dt^2 / dx
    double expectedSlope = 0.0;        // 3 g_lattice: d(ln rho)/d(depth) per cell
    double fittedSlope = 0.0;          // fit of ln(layer density) over the full layers
    double linearSlope = 0.0;          // fit of the layer density itself
    double slopeError = 0.0;           // fitted / expected - 1
    double bottomExcess = 0.0;         // density of the bottom layer - 1
    double volumeChange = 0.0;         // (sum of fills) / initial - 1
    double massDrift = 0.0;            // mass / initial - 1
    double maxSpeedRatio = 0.0;        // largest speed at the end / sqrt(g H)
    unsigned int layerCells = 0;       // cells in one horizontal layer
    unsigned int countMin = 0, countMax = 0;  // liquid cells over the last fifth of the frames
    unsigned int countChanges = 0;     // frames in that stretch whose count differs from the one before
    bool topLayerStable = false;       // count spread under half a layer
    double settleT = 0.0;              // in units of sqrt(H/g)
    double seconds = 0.0;
};

// Still water `cells` deep and as wide in a tank half as deep again, 4 cells
// across z, settled for `settleT` (in sqrt(H/g)) with H = kColumn.
HydrostaticResult runHydrostatic(const WaterOptions& options, unsigned int cells, double settleT, bool progress);

struct FreeFallResult {
    unsigned int cubeCells = 0;
    double fittedAcceleration = 0.0;   // m/s^2, downwards positive
    double relativeError = 0.0;        // fitted / g - 1
    double particleAcceleration = 0.0; // the same for the mean height of the marker particles
    double particleError = 0.0;
    unsigned int samples = 0;          // centre-of-mass heights fitted
    double fallenCells = 0.0;          // drop of the centre of mass over the fit
    double seconds = 0.0;
};

// A cube of `cells` on a side released at rest high in a tall tank; the
// mass-weighted centre of its liquid cells is sampled every sub-step from
// the third on until the lowest liquid cell comes within two cells of the
// floor, and a parabola fitted to its height; the mean height of the marker
// particles is fitted alike.
FreeFallResult runFreeFall(const WaterOptions& options, unsigned int cells, bool progress);

// The kinematic viscosity (m^2/s) a lattice viscosity (2 tau - 1) / 6 gives
// with cells of `dx` metres and sub-steps of `dt` seconds.
inline double physicalViscosity(double latticeViscosity, double dx, double dt) {
    return dt > 0.0 ? latticeViscosity * dx * dx / dt : 0.0;
}

// The sub-step and cell of the demo host's default scene (2 m tank of
// 88 x 44 x 44 cells, expected speed 3 m/s) at these settings.
struct DemoTiming {
    double dt = 0.0;  // s
    double dx = 0.0;  // m
    double latticeViscosity = 0.0;
};
DemoTiming demoTiming(const WaterOptions& options);

}  // namespace kelvar::validation
