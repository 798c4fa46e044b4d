#pragma once

#include <string>
#include <vector>

#include "ValidationRuns.h"

namespace kelvar::validation {

enum class Command { DamBreak, Hydrostatic, FreeFall, Sweep, All };

struct ValidationOptions {
    Command command = Command::All;
    WaterOptions water;
    std::vector<unsigned int> cells;  // resolutions; empty: the command's default
    double untilT = 3.5;              // dam break: last T
    double settleT = 30.0;            // still water: settling time in sqrt(H/g)
    unsigned int across = kDefaultAcross;  // dam break: cells across z
    double frontFill = kDefaultFrontFill;  // dam break: fill a floor cell needs to count as front
    std::string output = "kv_fluids_validation-output";
    bool quick = false;
    bool help = false;
};

// Parses the arguments after the program name. False with a message for an
// unknown command or option, a missing or malformed value, or one out of
// range.
bool parseValidationOptions(const std::vector<std::string>& arguments, ValidationOptions& options, std::string& error);

std::string validationUsage(const char* program);

}  // namespace kelvar::validation
