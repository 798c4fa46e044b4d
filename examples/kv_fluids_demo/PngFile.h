#pragma once

#include <string>

#include "PreviewRenderer.h"

namespace kelvar::demo {

// Writes the image as an 8-bit RGB PNG file. Returns false with a message
// naming the file when it cannot be written.
bool writePng(const std::string& path, const RgbImage& image, std::string& error);

}  // namespace kelvar::demo
