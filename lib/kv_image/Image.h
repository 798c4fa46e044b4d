#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/Export.h"

namespace kelvar {

// An owned buffer of pixels, enough for textures sampled by the library
// (friction maps). Pixels are stored row after row from the top, channels
// interleaved, 8 or 16 bits per channel (16-bit channels in host byte
// order) and 1 to 4 channels.
//
// bitdepth() is the bits of one channel, pixdepth() the bits of one pixel,
// so pixdepth() / bitdepth() is the channel count. Texture lookups may wrap
// to one past the last column or row; the buffer is therefore followed by
// one zeroed row and one zeroed pixel of padding, so such reads stay inside
// the allocation and see 0.
class KV_EXPORT Image {
public:
    static constexpr int kMaxChannels = 4;

    Image() = default;

    // Allocates a zeroed image. Returns false, leaving the image unchanged,
    // for a negative size, a bit depth other than 8 or 16, a channel count
    // outside 1..4 or a buffer beyond 4 GiB.
    bool create(int width, int height, int bitdepth, int channels);

    int width() const { return width_; }
    int height() const { return height_; }
    int bitdepth() const { return bitdepth_; }
    int pixdepth() const { return bitdepth_ * channels_; }
    int channels() const { return channels_; }
    int bytesPerPixel() const { return bitdepth_ / 8 * channels_; }
    std::uint32_t rowBytes() const { return static_cast<std::uint32_t>(width_) * bytesPerPixel(); }
    bool empty() const { return width_ == 0 || height_ == 0; }

    // The pixels, rowBytes() * height() bytes followed by the padding; null
    // for an image never created.
    unsigned char* getBuffer() { return pixels_.data(); }
    const unsigned char* getBuffer() const { return pixels_.data(); }

    // Address of the first channel of pixel (x, y); no bounds check.
    unsigned char* pixel(int x, int y) { return getBuffer() + offset(x, y); }
    const unsigned char* pixel(int x, int y) const { return getBuffer() + offset(x, y); }

private:
    std::uint32_t offset(int x, int y) const {
        return static_cast<std::uint32_t>(y) * rowBytes() + static_cast<std::uint32_t>(x) * bytesPerPixel();
    }

    int width_ = 0;
    int height_ = 0;
    int bitdepth_ = 8;
    int channels_ = 1;
    Array<unsigned char> pixels_;
};

}  // namespace kelvar
