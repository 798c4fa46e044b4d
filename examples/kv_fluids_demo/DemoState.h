#pragma once

#include <string>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"

namespace kelvar::demo {

// The demo's saved states: a checkpoint every few frames and a particle
// proxy per frame, named by frame beside the frame files, and the resumption
// of a run from one of its checkpoints.

// "checkpoint_NNNN.kvc" or "proxy_NNNN.kvp" in `folder`.
std::string checkpointPath(const std::string& folder, unsigned int frame);
std::string proxyPath(const std::string& folder, unsigned int frame);

// Writes the files the options ask for after `frame`; false with a message
// when one cannot be written.
bool writeFrameState(const fluid::MAC_LBM_Fluid3& fluid, const std::string& folder, unsigned int frame,
                     unsigned int checkpointEvery, int proxyQuality, std::string& error);

// Restores `fluid` (built for the same scene and resolution, its solver
// initialised) from the checkpoint at `path` and gives the frame it was
// written after, read from its name. False with a message otherwise.
bool resumeFrom(const std::string& path, fluid::MAC_LBM_Fluid3& fluid, unsigned int& frame, std::string& error);

}  // namespace kelvar::demo
