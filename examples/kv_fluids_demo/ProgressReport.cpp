#include "ProgressReport.h"

#include <algorithm>
#include <cmath>

namespace kelvar::demo {

namespace {

constexpr unsigned int kBarWidth = 30;

// "m:ss", or "h:mm:ss" from an hour on.
void printDuration(std::FILE* out, double seconds) {
    const long total = std::lround(std::max(seconds, 0.0));
    if (total >= 3600)
        std::fprintf(out, "%ld:%02ld:%02ld", total / 3600, total / 60 % 60, total % 60);
    else
        std::fprintf(out, "%ld:%02ld", total / 60, total % 60);
}

}  // namespace

ProgressReport::ProgressReport(std::FILE* out_, unsigned int totalFrames_, bool terminal_)
    : out(out_), totalFrames(totalFrames_), terminal(terminal_) {}

void ProgressReport::start() {
    drawBar(0, 0.0);
    std::fflush(out);
}

void ProgressReport::frameDone(const FrameReport& report, double elapsedSeconds) {
    clearBar();
    std::fprintf(out, "frame %4u  t = %6.3f s  liquid cells %8u  mass %10.3f kg  sub-steps %4u  %7.2f MLUPS\n",
                 report.frame, report.simulatedSeconds, report.liquidCells, report.liquidMass, report.subSteps,
                 report.mlups);
    drawBar(report.frame, elapsedSeconds);
    std::fflush(out);
}

void ProgressReport::finish() {
    clearBar();
    std::fflush(out);
}

void ProgressReport::drawBar(unsigned int framesDone, double elapsedSeconds) {
    if (!terminal || totalFrames == 0) return;
    const unsigned int filled = unsigned(std::lround(double(kBarWidth) * framesDone / totalFrames));
    std::fputc('[', out);
    for (unsigned int n = 0; n < kBarWidth; ++n) std::fputc(n < filled ? '#' : '.', out);
    std::fprintf(out, "] %u/%u frames, ", framesDone, totalFrames);
    if (framesDone == 0) {
        std::fputs("estimating time left", out);
        return;
    }
    printDuration(out, elapsedSeconds / framesDone * (totalFrames - framesDone));
    std::fputs(" left", out);
}

void ProgressReport::clearBar() {
    // Carriage return and erase to the end of the line.
    if (terminal) std::fputs("\r\033[K", out);
}

}  // namespace kelvar::demo
