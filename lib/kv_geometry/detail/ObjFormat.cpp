#include "kv_geometry/detail/ObjFormat.h"

#include <array>
#include <cstdio>
#include <vector>

#include "kv_geometry/detail/MeshFileErrors.h"
#include "kv_geometry/detail/TextScanner.h"

namespace kelvar::detail {

namespace {

// Element counts must fit the mesh's 32-bit arrays.
constexpr std::size_t kTooMany = UINT32_MAX / 3;

struct Corner {
    int64_t vertex;  // resolved 0-based index, checked once the file is read
    int64_t uv;      // resolved 0-based index or -1
    std::size_t line;
};

// Resolves a 1-based or negative (relative) OBJ index against the elements read so far.
bool resolveIndex(std::string_view token, std::size_t countSoFar, int64_t& index) {
    int64_t raw = 0;
    if (!parseInteger(token, raw) || raw == 0) return false;
    index = raw > 0 ? raw - 1 : int64_t(countSoFar) + raw;
    return index >= 0;
}

class ObjReader {
public:
    ObjReader(const std::string& name, std::string& error) : name_(name), error_(error) {}

    bool read(const char* data, std::size_t size) {
        TextScanner scanner(data, data + size);
        std::string_view line;
        while (scanner.nextLine(line)) {
            std::string_view keyword;
            if (!nextToken(line, keyword) || keyword[0] == '#') continue;
            bool ok = true;
            if (keyword == "v")
                ok = readPosition(line);
            else if (keyword == "vt")
                ok = readUv(line);
            else if (keyword == "f")
                ok = readFace(line, scanner.lineNumber());
            if (!ok) return fail(scanner.lineNumber());
        }
        return checkIndices();
    }

    void build(Mesh& out) const {
        out.clear();
        out.refVertices().reserve(uint32_t(positions_.size()));
        for (const Vector3<float>& p : positions_) out.addVertex(p);
        out.refTriangles().reserve(uint32_t(triangles_.size() / 3));
        for (std::size_t c = 0; c < triangles_.size(); c += 3)
            out.addTriangle(uint32_t(triangles_[c].vertex), uint32_t(triangles_[c + 1].vertex),
                            uint32_t(triangles_[c + 2].vertex));
        if (!anyUv_) return;
        MeshAttribute* uv = out.addAttribute(Mesh::kUvMap, MeshAttributeDomain::Corner, 2, false);
        for (std::size_t c = 0; c < triangles_.size(); ++c) {
            if (triangles_[c].uv < 0) continue;
            uv->floats[uint32_t(2 * c)] = uvs_[std::size_t(triangles_[c].uv)][0];
            uv->floats[uint32_t(2 * c + 1)] = uvs_[std::size_t(triangles_[c].uv)][1];
        }
    }

private:
    bool fail(std::size_t line) {
        error_ = lineError(name_, line, message_);
        return false;
    }

    bool readPosition(std::string_view rest) {
        Vector3<float> p;
        std::string_view token;
        for (unsigned a = 0; a < 3; ++a)
            if (!nextToken(rest, token) || !parseFiniteFloat(token, p[a])) {
                message_ = "vertex needs three finite coordinates";
                return false;
            }
        positions_.push_back(p);
        return true;
    }

    bool readUv(std::string_view rest) {
        std::array<float, 2> uv{};
        std::string_view token;
        if (!nextToken(rest, token) || !parseFiniteFloat(token, uv[0])) {
            message_ = "texture coordinate needs a finite u";
            return false;
        }
        if (nextToken(rest, token) && !parseFiniteFloat(token, uv[1])) {
            message_ = "texture coordinate v is not a finite number";
            return false;
        }
        uvs_.push_back(uv);
        return true;
    }

    bool readFace(std::string_view rest, std::size_t line) {
        polygon_.clear();
        std::string_view token;
        while (nextToken(rest, token)) {
            const std::size_t slash = token.find('/');
            Corner corner{0, -1, line};
            if (!resolveIndex(token.substr(0, slash), positions_.size(), corner.vertex)) {
                message_ = "bad vertex index '" + std::string(token) + "'";
                return false;
            }
            if (slash != std::string_view::npos) {
                const std::string_view afterSlash = token.substr(slash + 1);
                const std::string_view uvToken = afterSlash.substr(0, afterSlash.find('/'));
                if (!uvToken.empty()) {
                    if (!resolveIndex(uvToken, uvs_.size(), corner.uv)) {
                        message_ = "bad texture coordinate index '" + std::string(token) + "'";
                        return false;
                    }
                    anyUv_ = true;
                }
            }
            polygon_.push_back(corner);
        }
        if (polygon_.size() < 3) {
            message_ = "face needs at least three vertices";
            return false;
        }
        for (std::size_t i = 1; i + 1 < polygon_.size(); ++i) {
            triangles_.push_back(polygon_[0]);
            triangles_.push_back(polygon_[i]);
            triangles_.push_back(polygon_[i + 1]);
        }
        return true;
    }

    // Positive indices may point forward, so they are checked at the end.
    bool checkIndices() {
        for (const Corner& c : triangles_) {
            if (c.vertex >= int64_t(positions_.size()) || c.vertex >= int64_t(UINT32_MAX)) {
                message_ = "vertex index " + std::to_string(c.vertex + 1) + " beyond the " +
                           std::to_string(positions_.size()) + " vertices";
                return fail(c.line);
            }
            if (c.uv >= int64_t(uvs_.size())) {
                message_ = "texture coordinate index " + std::to_string(c.uv + 1) + " beyond the " +
                           std::to_string(uvs_.size()) + " texture coordinates";
                return fail(c.line);
            }
        }
        if (positions_.size() >= kTooMany || triangles_.size() / 3 >= kTooMany) {
            error_ = name_ + ": more elements than a mesh can hold";
            return false;
        }
        return true;
    }

    const std::string& name_;
    std::string& error_;
    std::string message_;
    std::vector<Vector3<float>> positions_;
    std::vector<std::array<float, 2>> uvs_;
    std::vector<Corner> triangles_;
    std::vector<Corner> polygon_;
    bool anyUv_ = false;
};

// Appends "<keyword> a b [c]" with enough digits to read the floats back exactly.
void appendValues(std::string& out, const char* keyword, const float* values, unsigned count) {
    char buffer[32];
    out += keyword;
    for (unsigned i = 0; i < count; ++i) {
        const int n = std::snprintf(buffer, sizeof buffer, " %.9g", double(values[i]));
        if (n > 0) out.append(buffer, std::size_t(n));
    }
    out += '\n';
}

}  // namespace

bool readObj(const char* data, std::size_t size, const std::string& name, Mesh& out, std::string& error) {
    ObjReader reader(name, error);
    if (!reader.read(data, size)) return false;
    reader.build(out);
    return true;
}

void writeObj(const Mesh& mesh, std::string& out) {
    out += "# kv_geometry mesh\n";
    for (const Vector3<float>& p : mesh.getVertices()) {
        const float xyz[3] = {p.x, p.y, p.z};
        appendValues(out, "v", xyz, 3);
    }
    const MeshAttribute* uv = mesh.findAttribute(Mesh::kUvMap);
    const bool withUv = uv && !uv->isInteger && uv->domain == MeshAttributeDomain::Corner && uv->components == 2 &&
                        uv->tupleCount() >= 3 * mesh.triangleCount();
    if (withUv)
        for (uint32_t c = 0; c < 3 * mesh.triangleCount(); ++c)
            appendValues(out, "vt", &uv->floats[2 * c], 2);
    uint32_t corner = 1;
    for (const Mesh::Triangle& t : mesh.getTriangles()) {
        if (withUv) {
            out += "f " + std::to_string(t.first + 1) + "/" + std::to_string(corner) + " " +
                   std::to_string(t.second + 1) + "/" + std::to_string(corner + 1) + " " +
                   std::to_string(t.third + 1) + "/" + std::to_string(corner + 2) + "\n";
            corner += 3;
        } else {
            out += "f " + std::to_string(t.first + 1) + " " + std::to_string(t.second + 1) + " " +
                   std::to_string(t.third + 1) + "\n";
        }
    }
}

}  // namespace kelvar::detail
