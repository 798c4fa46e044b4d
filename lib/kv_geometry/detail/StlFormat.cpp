#include "kv_geometry/detail/StlFormat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "kv_basic/ByteOrder.h"
#include "kv_geometry/detail/MeshFileErrors.h"
#include "kv_geometry/detail/TextScanner.h"

namespace kelvar::detail {

namespace {

constexpr std::size_t kHeaderBytes = 80;
constexpr std::size_t kTriangleBytes = 50;  // normal, three corners, attribute word
constexpr uint64_t kMaxTriangles = UINT32_MAX / 3;

// Coordinates as comparable bits, 0 and -0 alike.
std::array<uint32_t, 3> weldKey(const Vector3<float>& p) {
    std::array<uint32_t, 3> key{};
    for (unsigned a = 0; a < 3; ++a) {
        const float v = p[a] == 0.0f ? 0.0f : p[a];
        std::memcpy(&key[a], &v, sizeof v);
    }
    return key;
}

// Turns a triangle soup (three corners per triangle) into a mesh whose equal
// corners share one vertex, numbered in order of first use. Sorting the
// corners by position finds the equal ones without a node per vertex.
void weldCorners(const std::vector<Vector3<float>>& corners, Mesh& out) {
    std::vector<uint32_t> order(corners.size());
    for (uint32_t i = 0; i < order.size(); ++i) order[i] = i;
    std::sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
        const auto ka = weldKey(corners[a]);
        const auto kb = weldKey(corners[b]);
        return ka != kb ? ka < kb : a < b;
    });
    // first[c]: the earliest corner at c's position.
    std::vector<uint32_t> first(corners.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        first[order[i]] = (i > 0 && weldKey(corners[order[i]]) == weldKey(corners[order[i - 1]])) ? first[order[i - 1]]
                                                                                                    : order[i];
    std::vector<uint32_t>& vertexOf = order;  // reused: vertex number per corner
    for (uint32_t c = 0; c < corners.size(); ++c)
        vertexOf[c] = first[c] == c ? out.addVertex(corners[c]) : vertexOf[first[c]];
    out.refTriangles().reserve(uint32_t(corners.size() / 3));
    for (uint32_t c = 0; c + 2 < corners.size(); c += 3) out.addTriangle(vertexOf[c], vertexOf[c + 1], vertexOf[c + 2]);
}

bool finite(const Vector3<float>& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

bool readBinary(const unsigned char* data, uint64_t triangles, const std::string& name, Mesh& out,
                std::string& error) {
    std::vector<Vector3<float>> corners;
    corners.reserve(std::size_t(triangles) * 3);  // the file size vouches for the count
    for (uint64_t t = 0; t < triangles; ++t) {
        const std::size_t offset = kHeaderBytes + 4 + std::size_t(t) * kTriangleBytes;
        for (unsigned c = 0; c < 3; ++c) {
            float xyz[3];
            loadLittleEndian(xyz, 3, data + offset + 12 + 12 * c);
            const Vector3<float> p(xyz[0], xyz[1], xyz[2]);
            if (!finite(p)) {
                error = offsetError(name, offset + 12 + 12 * c, "non-finite vertex coordinate");
                return false;
            }
            corners.push_back(p);
        }
    }
    weldCorners(corners, out);
    return true;
}

// ASCII: solid / facet normal / outer loop / vertex x3 (or more: fanned) / endloop / endfacet / endsolid.
bool readAscii(const char* data, std::size_t size, const std::string& name, Mesh& out, std::string& error) {
    TextScanner scanner(data, data + size);
    std::vector<Vector3<float>> corners;
    std::vector<Vector3<float>> loop;
    bool inLoop = false;
    bool ended = false;
    std::string_view line;
    auto fail = [&](std::string_view message) {
        error = lineError(name, scanner.lineNumber(), message);
        return false;
    };
    while (scanner.nextLine(line)) {
        std::string_view keyword;
        if (!nextToken(line, keyword)) continue;
        if (keyword == "vertex") {
            if (!inLoop) return fail("vertex outside an outer loop");
            Vector3<float> p;
            std::string_view token;
            for (unsigned a = 0; a < 3; ++a)
                if (!nextToken(line, token) || !parseFiniteFloat(token, p[a]))
                    return fail("vertex needs three finite coordinates");
            loop.push_back(p);
        } else if (keyword == "outer") {
            if (inLoop) return fail("nested outer loop");
            inLoop = true;
            loop.clear();
        } else if (keyword == "endloop") {
            if (!inLoop || loop.size() < 3) return fail("loop without three vertices");
            for (std::size_t i = 1; i + 1 < loop.size(); ++i)
                corners.insert(corners.end(), {loop[0], loop[i], loop[i + 1]});
            if (corners.size() / 3 > kMaxTriangles) return fail("more triangles than a mesh can hold");
            inLoop = false;
        } else if (keyword == "endsolid") {
            ended = true;
        } else if (keyword != "solid" && keyword != "facet" && keyword != "endfacet") {
            return fail("unexpected '" + std::string(keyword) + "'");
        }
    }
    if (inLoop || !ended) return fail("file ends inside a solid");
    weldCorners(corners, out);
    return true;
}

void appendFloats(std::string& out, const char* keyword, const Vector3<float>& v) {
    char buffer[96];
    const int n = std::snprintf(buffer, sizeof buffer, "%s %.9g %.9g %.9g\n", keyword, double(v.x), double(v.y),
                                double(v.z));
    if (n > 0) out.append(buffer, std::size_t(n));
}

Vector3<float> unitNormal(const Vector3<float>& a, const Vector3<float>& b, const Vector3<float>& c) {
    const Vector3<float> n = (b - a).cross(c - a);
    const float length = n.length();
    return length > 0.0f ? n / length : Vector3<float>();
}

}  // namespace

bool readStl(const char* data, std::size_t size, const std::string& name, Mesh& out, std::string& error) {
    out.clear();
    if (size >= kHeaderBytes + 4) {
        const uint64_t triangles = loadLittleEndian<uint32_t>(reinterpret_cast<const unsigned char*>(data) + kHeaderBytes);
        if (kHeaderBytes + 4 + triangles * kTriangleBytes == size) {
            if (triangles > kMaxTriangles) {
                error = offsetError(name, kHeaderBytes, "more triangles than a mesh can hold");
                return false;
            }
            return readBinary(reinterpret_cast<const unsigned char*>(data), triangles, name, out, error);
        }
    }
    std::string_view text(data, size);
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    if (start != std::string_view::npos && text.substr(start, 5) == "solid") {
        if (readAscii(data, size, name, out, error)) return true;
        out.clear();
        return false;
    }
    if (size < kHeaderBytes + 4) {
        error = offsetError(name, size, "file too short for a binary STL header");
        return false;
    }
    const uint64_t declared = loadLittleEndian<uint32_t>(reinterpret_cast<const unsigned char*>(data) + kHeaderBytes);
    error = offsetError(name, kHeaderBytes, "binary STL declares " + std::to_string(declared) + " triangles (" +
                                                std::to_string(kHeaderBytes + 4 + declared * kTriangleBytes) +
                                                " bytes) but the file has " + std::to_string(size) + " bytes");
    return false;
}

void writeStl(const Mesh& mesh, bool ascii, std::string& out) {
    const auto& p = mesh.getVertices();
    if (ascii) {
        out += "solid kv_geometry\n";
        for (const Mesh::Triangle& t : mesh.getTriangles()) {
            appendFloats(out, "facet normal", unitNormal(p[t.first], p[t.second], p[t.third]));
            out += "outer loop\n";
            for (uint32_t v : {t.first, t.second, t.third}) appendFloats(out, "vertex", p[v]);
            out += "endloop\nendfacet\n";
        }
        out += "endsolid kv_geometry\n";
        return;
    }
    std::string header = "binary STL written by kv_geometry";
    header.resize(kHeaderBytes, ' ');
    out += header;
    unsigned char word[4];
    storeLittleEndian(uint32_t(mesh.triangleCount()), word);
    out.append(reinterpret_cast<const char*>(word), 4);
    for (const Mesh::Triangle& t : mesh.getTriangles()) {
        unsigned char record[kTriangleBytes] = {};
        const Vector3<float> n = unitNormal(p[t.first], p[t.second], p[t.third]);
        const Vector3<float> values[4] = {n, p[t.first], p[t.second], p[t.third]};
        for (unsigned i = 0; i < 4; ++i) {
            const float xyz[3] = {values[i].x, values[i].y, values[i].z};
            storeLittleEndian(xyz, 3, record + 12 * i);
        }
        out.append(reinterpret_cast<const char*>(record), kTriangleBytes);
    }
}

}  // namespace kelvar::detail
