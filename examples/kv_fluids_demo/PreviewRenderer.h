#pragma once

#include <cstdint>
#include <vector>

#include "kv_geometry/Mesh.h"
#include "kv_math/Box3.h"
#include "kv_math/Vector3.h"

namespace kelvar::demo {

// An 8-bit RGB image, rows from top to bottom, three bytes per pixel.
struct RgbImage {
    unsigned int width = 0;
    unsigned int height = 0;
    std::vector<uint8_t> pixels;
};

// A preview of one frame: the liquid's surface mesh inside the tank (floor
// and the two far walls drawn) with the tank's fixtures (drains, drawn
// dark), seen from a fixed camera above one corner. All in world units.
RgbImage renderPreview(const Mesh& surface, const Mesh& fixtures, const Box3<float>& tank, unsigned int width,
                       unsigned int height);

// A small software rasteriser: perspective camera, a depth buffer, and flat
// Lambert shading per triangle from one directional light. Triangles are lit
// from either side, so open surfaces (walls) need no particular winding.
class PreviewRasterizer {
public:
    // A blank image with a vertical gradient from `top` to `bottom` (0..1 RGB).
    PreviewRasterizer(unsigned int width, unsigned int height, const Vector3<float>& top,
                      const Vector3<float>& bottom);

    // Camera at `eye` looking at `target`, y up, with the vertical field of
    // view in degrees.
    void setCamera(const Vector3<float>& eye, const Vector3<float>& target, float verticalFovDegrees);
    // Direction the light travels towards the scene is -towardsLight.
    void setLight(const Vector3<float>& towardsLight, float ambient);

    // Draws a triangle of `colour` (0..1 RGB); pixels whose centres it covers
    // are written where it is nearer than what is there. A triangle with a
    // corner behind the camera is skipped.
    void drawTriangle(const Vector3<float>& a, const Vector3<float>& b, const Vector3<float>& c,
                      const Vector3<float>& colour);
    void drawMesh(const Mesh& mesh, const Vector3<float>& colour);

    const RgbImage& image() const { return image_; }

private:
    // Screen position (pixels) and camera depth of a world point.
    struct Projected {
        float x;
        float y;
        float depth;
    };
    bool project(const Vector3<float>& p, Projected& out) const;
    float shade(const Vector3<float>& a, const Vector3<float>& b, const Vector3<float>& c) const;
    void fill(const Projected (&corners)[3], const uint8_t (&rgb)[3]);

    RgbImage image_;
    std::vector<float> depth_;
    Vector3<float> eye_;
    Vector3<float> forward_{0.0f, 0.0f, -1.0f};
    Vector3<float> right_{1.0f, 0.0f, 0.0f};
    Vector3<float> up_{0.0f, 1.0f, 0.0f};
    float focal_ = 1.0f;  // pixels per unit of (lateral offset / depth)
    Vector3<float> towardsLight_{0.0f, 1.0f, 0.0f};
    float ambient_ = 0.3f;
};

}  // namespace kelvar::demo
