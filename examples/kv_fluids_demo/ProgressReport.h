#pragma once

#include <cstdint>
#include <cstdio>

namespace kelvar::demo {

// The numbers reported after each frame.
struct FrameReport {
    unsigned int frame = 0;
    double simulatedSeconds = 0.0;
    uint32_t liquidCells = 0;
    double liquidMass = 0.0;  // kilograms
    unsigned int subSteps = 0;
    double mlups = 0.0;  // million lattice cell updates per second of wall time
};

// Prints one line per frame. On a terminal it also keeps a progress bar with
// the estimated time left on the last line, redrawn after every frame;
// elsewhere (a pipe, a log file) it prints the plain lines only.
class ProgressReport {
public:
    ProgressReport(std::FILE* out, unsigned int totalFrames, bool terminal);

    // Shows the empty bar before the first frame.
    void start();
    // Reports a finished frame; `elapsedSeconds` is the wall time since the start.
    void frameDone(const FrameReport& report, double elapsedSeconds);
    // Removes the bar, leaving the plain lines.
    void finish();

private:
    void drawBar(unsigned int framesDone, double elapsedSeconds);
    void clearBar();

    std::FILE* out;
    unsigned int totalFrames;
    bool terminal;
};

}  // namespace kelvar::demo
