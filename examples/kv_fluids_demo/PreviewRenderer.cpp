#include "PreviewRenderer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace kelvar::demo {

namespace {

// Scene colours (linear 0..1 RGB).
const Vector3<float> kSkyTop(0.93f, 0.95f, 0.98f);
const Vector3<float> kSkyBottom(0.80f, 0.83f, 0.88f);
const Vector3<float> kLiquid(0.20f, 0.50f, 0.90f);
const Vector3<float> kFloor(0.86f, 0.85f, 0.82f);
const Vector3<float> kWall(0.74f, 0.76f, 0.80f);
const Vector3<float> kFixture(0.30f, 0.30f, 0.32f);

// Camera and light of the preview: above the tank's (max x, max z) corner.
const Vector3<float> kViewDirection(0.55f, 0.65f, 1.0f);
constexpr float kFieldOfView = 35.0f;
// Distance margin over the one that just fits the tank's bounding sphere.
constexpr float kFraming = 0.8f;
const Vector3<float> kTowardsLight(0.35f, 1.0f, 0.55f);
constexpr float kAmbient = 0.35f;

// Nearest depth drawn; triangles reaching closer are skipped.
constexpr float kNearDepth = 1e-4f;

Vector3<float> normalised(const Vector3<float>& v) {
    const float length = v.length();
    return length > 0.0f ? v / length : v;
}

uint8_t toByte(float value) {
    return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0f, 1.0f) * 255.0f));
}

// Twice the signed area of the screen triangle (a, b, p).
float edge(float ax, float ay, float bx, float by, float px, float py) {
    return (bx - ax) * (py - ay) - (by - ay) * (px - ax);
}

void addQuad(PreviewRasterizer& rasterizer, const Vector3<float>& a, const Vector3<float>& b, const Vector3<float>& c,
             const Vector3<float>& d, const Vector3<float>& colour) {
    rasterizer.drawTriangle(a, b, c, colour);
    rasterizer.drawTriangle(a, c, d, colour);
}

}  // namespace

RgbImage renderPreview(const Mesh& surface, const Mesh& fixtures, const Box3<float>& tank, unsigned int width,
                       unsigned int height) {
    PreviewRasterizer rasterizer(width, height, kSkyTop, kSkyBottom);
    const Vector3<float> centre = tank.center();
    const float radius = tank.extent().length() * 0.5f;
    const float halfFov = kFieldOfView * 0.5f * std::numbers::pi_v<float> / 180.0f;
    const float distance = kFraming * radius / std::sin(halfFov);
    rasterizer.setCamera(centre + normalised(kViewDirection) * distance, centre, kFieldOfView);
    rasterizer.setLight(kTowardsLight, kAmbient);

    const Vector3<float>& lo = tank.min;
    const Vector3<float>& hi = tank.max;
    addQuad(rasterizer, {lo.x, lo.y, lo.z}, {hi.x, lo.y, lo.z}, {hi.x, lo.y, hi.z}, {lo.x, lo.y, hi.z}, kFloor);
    addQuad(rasterizer, {lo.x, lo.y, lo.z}, {hi.x, lo.y, lo.z}, {hi.x, hi.y, lo.z}, {lo.x, hi.y, lo.z}, kWall);
    addQuad(rasterizer, {lo.x, lo.y, lo.z}, {lo.x, hi.y, lo.z}, {lo.x, hi.y, hi.z}, {lo.x, lo.y, hi.z}, kWall);
    rasterizer.drawMesh(fixtures, kFixture);
    rasterizer.drawMesh(surface, kLiquid);
    return rasterizer.image();
}

PreviewRasterizer::PreviewRasterizer(unsigned int width, unsigned int height, const Vector3<float>& top,
                                     const Vector3<float>& bottom) {
    image_.width = width;
    image_.height = height;
    image_.pixels.resize(std::size_t(width) * height * 3);
    depth_.assign(std::size_t(width) * height, std::numeric_limits<float>::infinity());
    for (unsigned int y = 0; y < height; ++y) {
        const float t = height > 1 ? float(y) / float(height - 1) : 0.0f;
        const Vector3<float> colour = top + (bottom - top) * t;
        for (unsigned int x = 0; x < width; ++x) {
            uint8_t* pixel = &image_.pixels[(std::size_t(y) * width + x) * 3];
            pixel[0] = toByte(colour.x);
            pixel[1] = toByte(colour.y);
            pixel[2] = toByte(colour.z);
        }
    }
}

void PreviewRasterizer::setCamera(const Vector3<float>& eye, const Vector3<float>& target, float verticalFovDegrees) {
    eye_ = eye;
    forward_ = normalised(target - eye);
    right_ = normalised(forward_.cross(Vector3<float>(0.0f, 1.0f, 0.0f)));
    up_ = right_.cross(forward_);
    const float halfFov = verticalFovDegrees * 0.5f * std::numbers::pi_v<float> / 180.0f;
    focal_ = float(image_.height) * 0.5f / std::tan(halfFov);
}

void PreviewRasterizer::setLight(const Vector3<float>& towardsLight, float ambient) {
    towardsLight_ = normalised(towardsLight);
    ambient_ = ambient;
}

bool PreviewRasterizer::project(const Vector3<float>& p, Projected& out) const {
    const Vector3<float> d = p - eye_;
    out.depth = d.dot(forward_);
    if (!(out.depth > kNearDepth)) return false;
    out.x = float(image_.width) * 0.5f + d.dot(right_) / out.depth * focal_;
    out.y = float(image_.height) * 0.5f - d.dot(up_) / out.depth * focal_;
    return true;
}

float PreviewRasterizer::shade(const Vector3<float>& a, const Vector3<float>& b, const Vector3<float>& c) const {
    const Vector3<float> normal = normalised((b - a).cross(c - a));
    const float diffuse = std::fabs(normal.dot(towardsLight_));
    return ambient_ + (1.0f - ambient_) * diffuse;
}

void PreviewRasterizer::drawTriangle(const Vector3<float>& a, const Vector3<float>& b, const Vector3<float>& c,
                                     const Vector3<float>& colour) {
    Projected corners[3];
    if (!project(a, corners[0]) || !project(b, corners[1]) || !project(c, corners[2])) return;
    const float light = shade(a, b, c);
    const uint8_t rgb[3] = {toByte(colour.x * light), toByte(colour.y * light), toByte(colour.z * light)};
    fill(corners, rgb);
}

void PreviewRasterizer::drawMesh(const Mesh& mesh, const Vector3<float>& colour) {
    const auto& vertices = mesh.getVertices();
    for (const Mesh::Triangle& t : mesh.getTriangles())
        drawTriangle(vertices[t.first], vertices[t.second], vertices[t.third], colour);
}

void PreviewRasterizer::fill(const Projected (&corners)[3], const uint8_t (&rgb)[3]) {
    const Projected& p0 = corners[0];
    const Projected& p1 = corners[1];
    const Projected& p2 = corners[2];
    const float area = edge(p0.x, p0.y, p1.x, p1.y, p2.x, p2.y);
    if (!(std::fabs(area) > 0.0f)) return;

    // Pixel centres inside the bounding box of the triangle, clipped to the image.
    const float minX = std::max(0.0f, std::floor(std::min({p0.x, p1.x, p2.x})));
    const float maxX = std::min(float(image_.width) - 1.0f, std::ceil(std::max({p0.x, p1.x, p2.x})));
    const float minY = std::max(0.0f, std::floor(std::min({p0.y, p1.y, p2.y})));
    const float maxY = std::min(float(image_.height) - 1.0f, std::ceil(std::max({p0.y, p1.y, p2.y})));
    if (minX > maxX || minY > maxY) return;

    // Depth is interpolated as 1/depth, which is linear on the screen.
    const float inverse[3] = {1.0f / p0.depth, 1.0f / p1.depth, 1.0f / p2.depth};
    for (unsigned int y = unsigned(minY); y <= unsigned(maxY); ++y) {
        const float py = float(y) + 0.5f;
        for (unsigned int x = unsigned(minX); x <= unsigned(maxX); ++x) {
            const float px = float(x) + 0.5f;
            const float w0 = edge(p1.x, p1.y, p2.x, p2.y, px, py) / area;
            const float w1 = edge(p2.x, p2.y, p0.x, p0.y, px, py) / area;
            const float w2 = edge(p0.x, p0.y, p1.x, p1.y, px, py) / area;
            if (w0 < 0.0f || w1 < 0.0f || w2 < 0.0f) continue;
            const float depth = 1.0f / (w0 * inverse[0] + w1 * inverse[1] + w2 * inverse[2]);
            const std::size_t index = std::size_t(y) * image_.width + x;
            if (!(depth < depth_[index])) continue;
            depth_[index] = depth;
            std::copy(rgb, rgb + 3, &image_.pixels[index * 3]);
        }
    }
}

}  // namespace kelvar::demo
