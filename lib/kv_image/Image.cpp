#include "kv_image/Image.h"

#include <limits>

namespace kelvar {

bool Image::create(int width, int height, int bitdepth, int channels) {
    if (width < 0 || height < 0) return false;
    if (bitdepth != 8 && bitdepth != 16) return false;
    if (channels < 1 || channels > kMaxChannels) return false;
    const std::uint64_t pixelBytes = static_cast<std::uint64_t>(bitdepth / 8) * static_cast<std::uint64_t>(channels);
    // Pixels plus the padding row and pixel read by wrapped lookups.
    const std::uint64_t paddedPixels =
        static_cast<std::uint64_t>(width) * (static_cast<std::uint64_t>(height) + 1) + 1;
    const std::uint64_t bytes = paddedPixels * pixelBytes;
    if (bytes > std::numeric_limits<std::uint32_t>::max()) return false;

    Array<unsigned char> pixels;
    pixels.resize(static_cast<std::uint32_t>(bytes), 0);
    pixels_.swap(pixels);
    width_ = width;
    height_ = height;
    bitdepth_ = bitdepth;
    channels_ = channels;
    return true;
}

}  // namespace kelvar
