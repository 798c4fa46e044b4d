#include "kv_geometry/detail/PlyFormat.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <map>
#include <vector>

#include "kv_basic/ByteOrder.h"
#include "kv_geometry/detail/MeshFileErrors.h"
#include "kv_geometry/detail/PlyHeader.h"
#include "kv_geometry/detail/PlyValueStream.h"

namespace kelvar::detail {

namespace {

using Type = PlyHeader::Type;
using Property = PlyHeader::Property;
using Element = PlyHeader::Element;

// Element counts must fit the mesh's 32-bit arrays.
constexpr uint64_t kMaxElements = UINT32_MAX / 3;
// Face list holding two texture coordinates per corner.
constexpr const char* kUvList = "texcoord";
// Internal name of texture coordinates given per vertex; they become corner values.
constexpr const char* kVertexUv = "\x01vertex-uv";

// An attribute being read, its values kept as doubles until the end.
struct PendingAttribute {
    std::string name;
    MeshAttributeDomain domain = MeshAttributeDomain::Vertex;
    uint32_t components = 0;
    bool isInteger = false;
    std::vector<double> values;
    std::vector<double> current;  // the tuple of the face being read (face attributes)
};

// Where one scalar property goes: attribute and component (-1: nowhere).
struct Target {
    int attribute = -1;
    uint32_t component = 0;
};

// Splits "base_3" into ("base", 3); false for names without a short numeric suffix.
bool splitComponent(const std::string& name, std::string& base, uint32_t& component) {
    const std::size_t underscore = name.rfind('_');
    if (underscore == std::string::npos || underscore == 0 || underscore + 1 == name.size() ||
        name.size() - underscore > 3)
        return false;
    component = 0;
    for (std::size_t i = underscore + 1; i < name.size(); ++i) {
        if (!std::isdigit(static_cast<unsigned char>(name[i]))) return false;
        component = component * 10 + uint32_t(name[i] - '0');
    }
    base = name.substr(0, underscore);
    return true;
}

// Vertex property names with a fixed meaning besides x, y, z.
bool knownVertexProperty(const std::string& name, std::string& base, uint32_t& component) {
    static const std::map<std::string, std::pair<const char*, uint32_t>> kKnown = {
        {"nx", {Mesh::kNormal, 0}}, {"ny", {Mesh::kNormal, 1}},    {"nz", {Mesh::kNormal, 2}},
        {"s", {kVertexUv, 0}},      {"t", {kVertexUv, 1}},         {"u", {kVertexUv, 0}},
        {"v", {kVertexUv, 1}},      {"texture_u", {kVertexUv, 0}}, {"texture_v", {kVertexUv, 1}},
        {"texture_s", {kVertexUv, 0}}, {"texture_t", {kVertexUv, 1}}};
    const auto known = kKnown.find(name);
    if (known == kKnown.end()) return false;
    base = known->second.first;
    component = known->second.second;
    return true;
}

// A vertex index as read (a double holding a whole number, or not).
std::string indexText(double index) {
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", index);
    return text;
}

class PlyReader {
public:
    PlyReader(const char* data, std::size_t size, const std::string& name, std::string& error)
        : data_(data), size_(size), name_(name), error_(error) {}

    bool read(Mesh& out) {
        std::string message;
        std::size_t line = 0;
        if (!header_.parse(data_, size_, message, line)) {
            error_ = lineError(name_, line, message);
            return false;
        }
        PlyValueStream values(data_, size_, header_);
        // Known from the header, so that each face index is checked where
        // it is read, whichever element comes first.
        for (const Element& element : header_.elements)
            if (element.name == "vertex") vertexCount_ += element.count;
        for (const Element& element : header_.elements) {
            if (!checkCount(element, values)) return false;
            bool ok = false;
            if (element.name == "vertex")
                ok = readVertices(element, values);
            else if (element.name == "face")
                ok = readFaces(element, values);
            else
                ok = skipElement(element, values);
            if (!ok) return false;
        }
        build(out);
        return true;
    }

private:
    bool fail(const PlyValueStream& values, const std::string& message) {
        error_ = name_ + ": " + values.where() + ": " + message;
        return false;
    }

    // A lying count is caught before anything is sized by it.
    bool checkCount(const Element& element, const PlyValueStream& values) {
        std::size_t bytes = 0;
        for (const Property& p : element.properties) bytes += PlyHeader::sizeOf(p.isList ? p.countType : p.type);
        const uint64_t perElement = std::max<uint64_t>(element.properties.size(), 1);
        const bool ascii = header_.encoding == PlyHeader::Encoding::Ascii;
        const bool fits = ascii ? element.count <= kMaxElements && values.canHold(element.count * perElement, 1)
                                : values.canHold(element.count, bytes);
        if (fits && element.count <= kMaxElements) return true;
        return fail(values, "element '" + element.name + "' declares " + std::to_string(element.count) +
                                " entries, more than the file can hold");
    }

    bool readValue(PlyValueStream& values, Type type, const std::string& property, double& v) {
        if (values.read(type, v)) return true;
        return fail(values, "bad, non-finite or missing value for '" + property + "'");
    }

    bool readList(PlyValueStream& values, const Property& p, std::vector<double>& list) {
        double length = 0.0;
        if (!values.read(p.countType, length) || length < 0.0)
            return fail(values, "bad list length for '" + p.name + "'");
        if (!values.canHold(uint64_t(length), PlyHeader::sizeOf(p.type)))
            return fail(values, "list '" + p.name + "' of " + std::to_string(uint64_t(length)) +
                                    " values overruns the file");
        list.resize(std::size_t(length));
        for (double& v : list)
            if (!readValue(values, p.type, p.name, v)) return false;
        return true;
    }

    int pendingAttribute(const std::string& name, MeshAttributeDomain domain, bool isInteger) {
        for (std::size_t i = 0; i < attributes_.size(); ++i)
            if (attributes_[i].name == name && attributes_[i].domain == domain) return int(i);
        attributes_.push_back({name, domain, 0, isInteger, {}, {}});
        return int(attributes_.size() - 1);
    }

    // Maps each scalar property of an element to an attribute component.
    std::vector<Target> scalarTargets(const Element& element, MeshAttributeDomain domain) {
        std::vector<Target> targets(element.properties.size());
        for (std::size_t i = 0; i < element.properties.size(); ++i) {
            const Property& p = element.properties[i];
            if (p.isList) continue;
            if (domain == MeshAttributeDomain::Vertex && (p.name == "x" || p.name == "y" || p.name == "z")) continue;
            std::string base = p.name;
            uint32_t component = 0;
            if (!(domain == MeshAttributeDomain::Vertex && knownVertexProperty(p.name, base, component)))
                splitComponent(p.name, base, component);
            const bool integer = PlyHeader::isInteger(p.type) && base != Mesh::kNormal && base != kVertexUv;
            const int a = pendingAttribute(base, domain, integer);
            attributes_[std::size_t(a)].components = std::max(attributes_[std::size_t(a)].components, component + 1);
            targets[i] = {a, component};
        }
        return targets;
    }

    bool store(PlyValueStream& values, const Target& target, const Property& p, double v, double* tuple) {
        if (attributes_[std::size_t(target.attribute)].isInteger && v < 0.0)
            return fail(values, "negative value for integer property '" + p.name + "'");
        tuple[target.component] = v;
        return true;
    }

    bool readVertices(const Element& element, PlyValueStream& values) {
        int xyz[3] = {-1, -1, -1};
        for (std::size_t i = 0; i < element.properties.size(); ++i)
            for (unsigned a = 0; a < 3; ++a)
                if (!element.properties[i].isList && element.properties[i].name == std::string(1, char('x' + a)))
                    xyz[a] = int(i);
        if (xyz[0] < 0 || xyz[1] < 0 || xyz[2] < 0) return fail(values, "vertex element lacks x, y or z");
        const std::vector<Target> targets = scalarTargets(element, MeshAttributeDomain::Vertex);
        positions_.reserve(positions_.size() + element.count);
        std::vector<double> skipped;
        for (uint64_t n = 0; n < element.count; ++n) {
            for (PendingAttribute& a : attributes_)
                if (a.domain == MeshAttributeDomain::Vertex) a.values.resize(a.values.size() + a.components, 0.0);
            Vector3<float> position;
            for (std::size_t i = 0; i < element.properties.size(); ++i) {
                const Property& p = element.properties[i];
                if (p.isList) {
                    if (!readList(values, p, skipped)) return false;
                    continue;
                }
                double v = 0.0;
                if (!readValue(values, p.type, p.name, v)) return false;
                for (unsigned a = 0; a < 3; ++a)
                    if (int(i) == xyz[a]) position[a] = float(v);
                if (targets[i].attribute < 0) continue;
                PendingAttribute& attribute = attributes_[std::size_t(targets[i].attribute)];
                if (!store(values, targets[i], p, v, &attribute.values[attribute.values.size() - attribute.components]))
                    return false;
            }
            if (!std::isfinite(position.x) || !std::isfinite(position.y) || !std::isfinite(position.z))
                return fail(values, "vertex coordinate out of float range");
            positions_.push_back(position);
        }
        return true;
    }

    bool readFaces(const Element& element, PlyValueStream& values) {
        int indexList = -1;
        for (std::size_t i = 0; i < element.properties.size(); ++i)
            if (element.properties[i].isList &&
                (element.properties[i].name == "vertex_indices" || element.properties[i].name == "vertex_index"))
                indexList = int(i);
        if (indexList < 0) return fail(values, "face element lacks a vertex_indices list");
        if (!PlyHeader::isInteger(element.properties[std::size_t(indexList)].type))
            return fail(values, "vertex_indices must hold integers");
        const std::vector<Target> targets = scalarTargets(element, MeshAttributeDomain::Face);
        std::vector<int> cornerTargets(element.properties.size(), -1);
        for (std::size_t i = 0; i < element.properties.size(); ++i) {
            const Property& p = element.properties[i];
            if (!p.isList || int(i) == indexList) continue;
            const std::string name = p.name == kUvList ? std::string(Mesh::kUvMap) : p.name;
            cornerTargets[i] = pendingAttribute(name, MeshAttributeDomain::Corner,
                                                PlyHeader::isInteger(p.type) && name != Mesh::kUvMap);
        }
        std::vector<double> polygon;
        std::vector<std::vector<double>> lists(element.properties.size());
        for (uint64_t n = 0; n < element.count; ++n) {
            for (PendingAttribute& a : attributes_)
                if (a.domain == MeshAttributeDomain::Face) a.current.assign(a.components, 0.0);
            for (std::size_t i = 0; i < element.properties.size(); ++i) {
                const Property& p = element.properties[i];
                if (p.isList) {
                    if (!readList(values, p, int(i) == indexList ? polygon : lists[i])) return false;
                    continue;
                }
                double v = 0.0;
                if (!readValue(values, p.type, p.name, v)) return false;
                if (targets[i].attribute >= 0 &&
                    !store(values, targets[i], p, v, attributes_[std::size_t(targets[i].attribute)].current.data()))
                    return false;
            }
            if (!addPolygon(values, element, polygon, lists, cornerTargets)) return false;
        }
        return true;
    }

    bool skipElement(const Element& element, PlyValueStream& values) {
        if (element.properties.empty()) return true;  // nothing stored, however many entries
        std::vector<double> skipped;
        for (uint64_t n = 0; n < element.count; ++n)
            for (const Property& p : element.properties) {
                double v = 0.0;
                if (p.isList ? !readList(values, p, skipped) : !readValue(values, p.type, p.name, v)) return false;
            }
        return true;
    }

    // Fan-triangulates one polygon, repeating its face values per triangle
    // and picking its corner values.
    bool addPolygon(PlyValueStream& values, const Element& element, const std::vector<double>& polygon,
                    const std::vector<std::vector<double>>& lists, const std::vector<int>& cornerTargets) {
        const std::size_t n = polygon.size();
        if (n < 3) return fail(values, "face with fewer than three vertices");
        for (std::size_t i = 0; i < cornerTargets.size(); ++i) {
            if (cornerTargets[i] < 0) continue;
            PendingAttribute& a = attributes_[std::size_t(cornerTargets[i])];
            const std::size_t size = lists[i].size();
            if (size == 0 || size % n != 0 || (a.components != 0 && size / n != a.components))
                return fail(values, "list '" + element.properties[i].name +
                                        "' does not hold the same number of values for every corner");
            a.components = uint32_t(size / n);
        }
        for (std::size_t t = 1; t + 1 < n; ++t) {
            const std::size_t fan[3] = {0, t, t + 1};
            for (std::size_t c : fan) {
                if (polygon[c] < 0.0) return fail(values, "negative vertex index");
                if (polygon[c] >= double(vertexCount_))
                    return fail(values, "vertex index " + indexText(polygon[c]) + " beyond the " +
                                            std::to_string(vertexCount_) + " vertices");
                indices_.push_back(uint64_t(polygon[c]));
            }
            for (PendingAttribute& a : attributes_)
                if (a.domain == MeshAttributeDomain::Face) a.values.insert(a.values.end(), a.current.begin(), a.current.end());
            for (std::size_t i = 0; i < cornerTargets.size(); ++i) {
                if (cornerTargets[i] < 0) continue;
                PendingAttribute& a = attributes_[std::size_t(cornerTargets[i])];
                for (std::size_t c : fan)
                    a.values.insert(a.values.end(), lists[i].begin() + std::ptrdiff_t(c * a.components),
                                    lists[i].begin() + std::ptrdiff_t((c + 1) * a.components));
            }
        }
        if (indices_.size() / 3 > kMaxElements) return fail(values, "more triangles than a mesh can hold");
        return true;
    }

    void build(Mesh& out) const {
        out.clear();
        out.refVertices().reserve(uint32_t(positions_.size()));
        for (const Vector3<float>& p : positions_) out.addVertex(p);
        out.refTriangles().reserve(uint32_t(indices_.size() / 3));
        for (std::size_t i = 0; i + 2 < indices_.size(); i += 3)
            out.addTriangle(uint32_t(indices_[i]), uint32_t(indices_[i + 1]), uint32_t(indices_[i + 2]));
        const PendingAttribute* vertexUv = nullptr;
        for (const PendingAttribute& a : attributes_) {
            if (a.components == 0) continue;
            if (a.name == kVertexUv) {
                vertexUv = &a;
                continue;
            }
            MeshAttribute* target = out.addAttribute(a.name, a.domain, a.components, a.isInteger);
            if (!target) continue;
            const std::size_t count = std::min<std::size_t>(a.values.size(), target->isInteger ? target->uints.size()
                                                                                                 : target->floats.size());
            for (std::size_t i = 0; i < count; ++i) {
                if (target->isInteger)
                    target->uints[uint32_t(i)] = uint32_t(a.values[i]);
                else
                    target->floats[uint32_t(i)] = float(a.values[i]);
            }
        }
        if (!vertexUv || out.findAttribute(Mesh::kUvMap)) return;
        MeshAttribute* uv = out.addAttribute(Mesh::kUvMap, MeshAttributeDomain::Corner, 2, false);
        for (std::size_t c = 0; c < indices_.size(); ++c)
            for (uint32_t k = 0; k < 2 && k < vertexUv->components; ++k)
                uv->floats[uint32_t(2 * c + k)] = float(vertexUv->values[indices_[c] * vertexUv->components + k]);
    }

    const char* data_;
    std::size_t size_;
    const std::string& name_;
    std::string& error_;
    PlyHeader header_;
    std::vector<Vector3<float>> positions_;
    std::vector<uint64_t> indices_;
    uint64_t vertexCount_ = 0;
    std::vector<PendingAttribute> attributes_;
};

// ---- writing ----

// Attribute names as header words: whitespace would split them.
std::string headerWord(const std::string& name) {
    std::string word = name;
    for (char& c : word)
        if (std::isspace(static_cast<unsigned char>(c))) c = '_';
    return word;
}

// Scalar property of one component: nx ny nz for normals, name_c for vectors.
std::string propertyName(const MeshAttribute& a, uint32_t component) {
    if (a.name == Mesh::kNormal && a.components == 3) return std::string("n") + "xyz"[component];
    if (a.components == 1) return headerWord(a.name);
    return headerWord(a.name) + "_" + std::to_string(component);
}

bool complete(const Mesh& mesh, const MeshAttribute& a) {
    const uint32_t expected = a.domain == MeshAttributeDomain::Vertex ? mesh.vertexCount()
                              : a.domain == MeshAttributeDomain::Face ? mesh.triangleCount()
                                                                      : 3 * mesh.triangleCount();
    return a.components > 0 && a.tupleCount() >= expected;
}

class PlyWriter {
public:
    PlyWriter(const Mesh& mesh, bool ascii, std::string& out) : mesh_(mesh), ascii_(ascii), out_(out) {}

    void write() {
        for (const MeshAttribute& a : mesh_.getAttributes())
            if (complete(mesh_, a)) (a.domain == MeshAttributeDomain::Vertex ? vertexAttributes_
                                     : a.domain == MeshAttributeDomain::Face ? faceAttributes_
                                                                             : cornerAttributes_).push_back(&a);
        writeHeader();
        const auto& p = mesh_.getVertices();
        for (uint32_t v = 0; v < mesh_.vertexCount(); ++v) {
            putFloat(p[v].x);
            putFloat(p[v].y);
            putFloat(p[v].z);
            for (const MeshAttribute* a : vertexAttributes_)
                for (uint32_t c = 0; c < a->components; ++c) putValue(*a, v * a->components + c);
            endLine();
        }
        for (uint32_t f = 0; f < mesh_.triangleCount(); ++f) {
            const Mesh::Triangle& t = mesh_.getTriangles()[f];
            putCount(3);
            putUInt(t.first);
            putUInt(t.second);
            putUInt(t.third);
            for (const MeshAttribute* a : faceAttributes_)
                for (uint32_t c = 0; c < a->components; ++c) putValue(*a, f * a->components + c);
            for (const MeshAttribute* a : cornerAttributes_) {
                putCount(3 * a->components);
                for (uint32_t c = 0; c < 3 * a->components; ++c) putValue(*a, 3 * f * a->components + c);
            }
            endLine();
        }
    }

private:
    void writeHeader() {
        out_ += "ply\n";
        out_ += ascii_ ? "format ascii 1.0\n" : "format binary_little_endian 1.0\n";
        out_ += "comment kv_geometry mesh\n";
        out_ += "element vertex " + std::to_string(mesh_.vertexCount()) + "\n";
        out_ += "property float x\nproperty float y\nproperty float z\n";
        for (const MeshAttribute* a : vertexAttributes_)
            for (uint32_t c = 0; c < a->components; ++c)
                out_ += std::string("property ") + typeName(*a) + " " + propertyName(*a, c) + "\n";
        out_ += "element face " + std::to_string(mesh_.triangleCount()) + "\n";
        out_ += "property list uchar uint vertex_indices\n";
        for (const MeshAttribute* a : faceAttributes_)
            for (uint32_t c = 0; c < a->components; ++c)
                out_ += std::string("property ") + typeName(*a) + " " + propertyName(*a, c) + "\n";
        for (const MeshAttribute* a : cornerAttributes_) {
            const std::string name = a->name == Mesh::kUvMap ? std::string(kUvList) : headerWord(a->name);
            out_ += std::string("property list ") + (3 * a->components > 255 ? "uint " : "uchar ") + typeName(*a) +
                    " " + name + "\n";
        }
        out_ += "end_header\n";
    }

    static const char* typeName(const MeshAttribute& a) { return a.isInteger ? "uint" : "float"; }

    void separate() {
        if (ascii_ && !lineStart_) out_ += ' ';
        lineStart_ = false;
    }
    void endLine() {
        if (ascii_) out_ += '\n';
        lineStart_ = true;
    }
    void putFloat(float v) {
        separate();
        if (ascii_) {
            char buffer[32];
            const int n = std::snprintf(buffer, sizeof buffer, "%.9g", double(v));
            if (n > 0) out_.append(buffer, std::size_t(n));
            return;
        }
        unsigned char bytes[4];
        storeLittleEndian(v, bytes);
        out_.append(reinterpret_cast<const char*>(bytes), 4);
    }
    void putUInt(uint32_t v) {
        separate();
        if (ascii_) {
            out_ += std::to_string(v);
            return;
        }
        unsigned char bytes[4];
        storeLittleEndian(v, bytes);
        out_.append(reinterpret_cast<const char*>(bytes), 4);
    }
    // List lengths: uchar, or uint when a corner list is longer than 255.
    void putCount(uint32_t n) {
        if (n > 255) {
            putUInt(n);
            return;
        }
        separate();
        if (ascii_)
            out_ += std::to_string(n);
        else
            out_ += char(uint8_t(n));
    }
    void putValue(const MeshAttribute& a, uint32_t i) {
        if (a.isInteger)
            putUInt(a.uints[i]);
        else
            putFloat(a.floats[i]);
    }

    const Mesh& mesh_;
    bool ascii_;
    std::string& out_;
    bool lineStart_ = true;
    std::vector<const MeshAttribute*> vertexAttributes_;
    std::vector<const MeshAttribute*> faceAttributes_;
    std::vector<const MeshAttribute*> cornerAttributes_;
};

}  // namespace

bool readPly(const char* data, std::size_t size, const std::string& name, Mesh& out, std::string& error) {
    PlyReader reader(data, size, name, error);
    return reader.read(out);
}

void writePly(const Mesh& mesh, bool ascii, std::string& out) {
    PlyWriter writer(mesh, ascii, out);
    writer.write();
}

}  // namespace kelvar::detail
