#include "DemoState.h"

#include <charconv>
#include <cstdio>
#include <filesystem>

namespace kelvar::demo {

namespace {

std::string numberedPath(const std::string& folder, const char* stem, unsigned int frame, const char* extension) {
    char name[48];
    std::snprintf(name, sizeof name, "%s_%04u.%s", stem, frame, extension);
    return (std::filesystem::path(folder) / name).string();
}

// The NNNN of "checkpoint_NNNN.kvc".
bool frameOfCheckpointName(const std::string& path, unsigned int& frame) {
    const std::string name = std::filesystem::path(path).filename().string();
    const std::string stem = "checkpoint_";
    const std::string extension = ".kvc";
    if (name.size() <= stem.size() + extension.size() || name.rfind(stem, 0) != 0 ||
        name.compare(name.size() - extension.size(), extension.size(), extension) != 0)
        return false;
    const char* first = name.data() + stem.size();
    const char* last = name.data() + name.size() - extension.size();
    const auto [stop, failure] = std::from_chars(first, last, frame);
    return failure == std::errc() && stop == last;
}

const char* restoreProblem(const fluid::MAC_LBM_Fluid3::RestoreError& code) {
    switch (code) {
        case fluid::MAC_LBM_Fluid3::RESTORE_CANNOT_OPEN: return "it cannot be opened";
        case fluid::MAC_LBM_Fluid3::RESTORE_NEWER_VERSION: return "it was written by a newer version";
        case fluid::MAC_LBM_Fluid3::RESTORE_OTHER_RESOLUTION: return "it was written at another --resolution";
        case fluid::MAC_LBM_Fluid3::RESTORE_OTHER_GRID: return "its grid has other cell counts";
        case fluid::MAC_LBM_Fluid3::RESTORE_CORRUPT: return "it is cut short or damaged";
        default: return "it cannot be read";
    }
}

}  // namespace

std::string checkpointPath(const std::string& folder, unsigned int frame) {
    return numberedPath(folder, "checkpoint", frame, "kvc");
}

std::string proxyPath(const std::string& folder, unsigned int frame) {
    return numberedPath(folder, "proxy", frame, "kvp");
}

bool writeFrameState(const fluid::MAC_LBM_Fluid3& fluid, const std::string& folder, unsigned int frame,
                     unsigned int checkpointEvery, int proxyQuality, std::string& error) {
    if (checkpointEvery > 0 && frame % checkpointEvery == 0) {
        const std::string path = checkpointPath(folder, frame);
        if (!fluid.createCheckPoint(path)) {
            error = "cannot write " + path;
            return false;
        }
    }
    if (proxyQuality >= 0) {
        const std::string path = proxyPath(folder, frame);
        if (!fluid.createProxy(path, fluid::MAC_LBM_Fluid3::ProxyQuality(proxyQuality))) {
            error = "cannot write " + path;
            return false;
        }
    }
    return true;
}

bool resumeFrom(const std::string& path, fluid::MAC_LBM_Fluid3& fluid, unsigned int& frame, std::string& error) {
    if (!frameOfCheckpointName(path, frame)) {
        error = "cannot resume from " + path + ": expected a checkpoint_NNNN.kvc the demo wrote";
        return false;
    }
    const fluid::MAC_LBM_Fluid3::RestoreError code = fluid.restoreFromCheckPoint(path);
    if (code != fluid::MAC_LBM_Fluid3::RESTORE_DONE) {
        error = "cannot resume from " + path + ": " + restoreProblem(code);
        return false;
    }
    return true;
}

}  // namespace kelvar::demo
