#include "PngFile.h"

#include <png.h>

namespace kelvar::demo {

bool writePng(const std::string& path, const RgbImage& image, std::string& error) {
    if (image.width == 0 || image.height == 0 || image.pixels.size() != std::size_t(image.width) * image.height * 3) {
        error = path + ": no image to write";
        return false;
    }
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = image.width;
    png.height = image.height;
    png.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&png, path.c_str(), 0, image.pixels.data(), 0, nullptr) == 0) {
        error = path + ": " + png.message;
        png_image_free(&png);
        return false;
    }
    return true;
}

}  // namespace kelvar::demo
