#pragma once

#include <string>

namespace kelvar {

// Text used for file paths in the public interface.
using KV_String = std::string;

}  // namespace kelvar
