#pragma once

#include <string>

// Calls into every exported class of the installed library; returns an
// empty string when all behaved, or what did not.
std::string touchExportedClasses();
