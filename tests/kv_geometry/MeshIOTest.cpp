#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

#include "MeshChecks.h"
#include "kv_basic/ByteOrder.h"
#include "kv_geometry/MeshIO.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar {
namespace {

using test::sameElements;

// A box with every kind of attribute the formats can carry.
Mesh attributedMesh() {
    Mesh mesh = makeBoxMesh(Box3<float>({-1.5f, 0.125f, 2}, {3.25f, 1, 7.1f}), 2);
    MeshAttribute* uv = mesh.addAttribute(Mesh::kUvMap, MeshAttributeDomain::Corner, 2, false);
    for (uint32_t i = 0; i < uv->floats.size(); ++i) uv->floats[i] = float(i % 17) / 16.0f + 0.1f;
    MeshAttribute* ids = mesh.addAttribute(Mesh::kMeshId, MeshAttributeDomain::Face, 1, true);
    for (uint32_t f = 0; f < ids->uints.size(); ++f) ids->uints[f] = 4000000000u + f;
    MeshAttribute* velocity = mesh.addAttribute(Mesh::kVelocity, MeshAttributeDomain::Vertex, 3, false);
    for (uint32_t i = 0; i < velocity->floats.size(); ++i) velocity->floats[i] = float(i) * -0.3f;
    MeshAttribute* normal = mesh.addAttribute(Mesh::kNormal, MeshAttributeDomain::Vertex, 3, false);
    for (uint32_t i = 0; i < normal->floats.size(); ++i) normal->floats[i] = float(i % 3) / 3.0f;
    return mesh;
}

void expectSameAttribute(const Mesh& a, const Mesh& b, const char* name) {
    const MeshAttribute* x = a.findAttribute(name);
    const MeshAttribute* y = b.findAttribute(name);
    ASSERT_TRUE(x != nullptr && y != nullptr) << name;
    EXPECT_TRUE(x->domain == y->domain && x->components == y->components && x->isInteger == y->isInteger) << name;
    EXPECT_TRUE(sameElements(x->floats, y->floats)) << name;
    EXPECT_TRUE(sameElements(x->uints, y->uints)) << name;
}

template <class T>
std::string le(T v) {
    unsigned char b[sizeof(T)];
    storeLittleEndian(v, b);
    return std::string(reinterpret_cast<const char*>(b), sizeof(T));
}
template <class T>
std::string be(T v) {
    const std::string bytes = le(v);
    return std::string(bytes.rbegin(), bytes.rend());
}
const auto le32 = le<uint32_t>;
const auto lef = le<float>;

bool parse(const std::string& bytes, MeshFileFormat format, Mesh& out, std::string& error) {
    return readMeshFromMemory(bytes.data(), bytes.size(), format, "input", out, error);
}

Mesh roundTrip(const Mesh& mesh, MeshFileFormat format, bool ascii) {
    std::string bytes, error;
    EXPECT_TRUE(writeMeshToMemory(mesh, format, ascii, bytes, error)) << error;
    Mesh back;
    EXPECT_TRUE(parse(bytes, format, back, error)) << error;
    return back;
}

// PLY (both encodings) keeps every attribute and the indices; OBJ keeps the
// indices and the texture coordinates. STL stores each corner's position, so
// the reader must weld the corners back into the same vertices and triangles.
TEST(MeshIO, RoundTripsKeepGeometryAndWhatAttributesTheFormatCarries) {
    const Mesh mesh = attributedMesh();
    const std::pair<MeshFileFormat, bool> cases[] = {
        {MeshFileFormat::Ply, false}, {MeshFileFormat::Ply, true}, {MeshFileFormat::Obj, true},
        {MeshFileFormat::Stl, false}, {MeshFileFormat::Stl, true}};
    for (const auto& [format, ascii] : cases) {
        SCOPED_TRACE(std::to_string(int(format)) + (ascii ? " ascii" : " binary"));
        const Mesh back = roundTrip(mesh, format, ascii);
        ASSERT_EQ(back.triangleCount(), mesh.triangleCount());
        EXPECT_EQ(back.vertexCount(), mesh.vertexCount());
        EXPECT_TRUE(back.isBoxValid());
        for (uint32_t t = 0; t < mesh.triangleCount(); ++t) {
            const Mesh::Triangle& a = mesh.getTriangles()[t];
            const Mesh::Triangle& b = back.getTriangles()[t];
            for (unsigned k = 0; k < 3; ++k) EXPECT_EQ(mesh.getVertices()[a[k]], back.getVertices()[b[k]]);
        }
        if (format == MeshFileFormat::Stl) continue;
        EXPECT_TRUE(sameElements(back.getTriangles(), mesh.getTriangles()));
        for (const char* name : {Mesh::kUvMap, Mesh::kMeshId, Mesh::kVelocity, Mesh::kNormal})
            if (format == MeshFileFormat::Ply || name == Mesh::kUvMap) expectSameAttribute(mesh, back, name);
    }
}

TEST(MeshIO, FilesAreChosenByCaseInsensitiveExtension) {
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("kv_geometry_mesh_io_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const Mesh mesh = attributedMesh();
    std::string error;
    for (const char* file : {"a.PLY", "b.Obj", "c.stl"}) {
        Mesh back;
        ASSERT_TRUE(writeMesh((dir / file).string(), mesh, error) && readMesh((dir / file).string(), back, error))
            << error;
        EXPECT_EQ(back.triangleCount(), mesh.triangleCount());
    }
    Mesh out;
    EXPECT_FALSE(readMesh((dir / "missing.obj").string(), out, error));
    EXPECT_NE(error.find("missing.obj"), std::string::npos);
    // A directory reports a size of 2^63 - 1 through the stream: refused
    // before anything is allocated.
    std::filesystem::create_directories(dir / "folder.obj");
    EXPECT_FALSE(readMesh((dir / "folder.obj").string(), out, error));
    EXPECT_NE(error.find("not a regular file"), std::string::npos) << error;
    EXPECT_FALSE(writeMesh((dir / "x.dae").string(), mesh, error));
    std::filesystem::remove_all(dir);
}

TEST(MeshIO, ObjPolygonsNegativeIndicesAndIndexForms) {
    const std::string text =
        "# quad and triangle\r\n"
        "o thing\r\n"
        "v 0 0 0\r\nv 1 0 0\r\nv 1 1 0\r\nv 0 1 0 1.0\r\n"
        "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nvn 0 0 1\n"
        "s off\n"
        "f 1/1/1 2/2/1 3/3/1 4/4/1\n"
        "f -4//1 -2//1 -1//1\n";
    Mesh mesh;
    std::string error;
    ASSERT_TRUE(parse(text, MeshFileFormat::Obj, mesh, error)) << error;
    ASSERT_EQ(mesh.triangleCount(), 3u);
    EXPECT_TRUE(sameElements(mesh.getTriangles(), Array<Mesh::Triangle>{{0, 1, 2}, {0, 2, 3}, {0, 2, 3}}));
    const MeshAttribute* uv = mesh.findAttribute(Mesh::kUvMap);
    ASSERT_NE(uv, nullptr);
    EXPECT_EQ(uv->floats[2 * 4], 1.0f);  // second triangle, second corner = vt 3
    EXPECT_EQ(uv->floats[2 * 6], 0.0f);  // third triangle has no vt
}

TEST(MeshIO, PlyBigEndianQuadsVertexUvAndExtraElements) {
    std::string bytes =
        "ply\nformat binary_big_endian 1.0\ncomment made by hand\n"
        "element vertex 4\nproperty float x\nproperty float y\nproperty float z\nproperty float s\nproperty float t\n"
        "element edge 1\nproperty int vertex1\nproperty list uchar int extra\n"
        "element face 1\nproperty list uchar int vertex_indices\nproperty uchar MESH_ID\nend_header\n";
    const float vertices[4][5] = {{0, 0, 0, 0, 0}, {2, 0, 0, 1, 0}, {2, 2, 0, 1, 1}, {0, 2, 0, 0, 1}};
    for (const auto& v : vertices)
        for (float f : v) bytes += be(f);
    bytes += be(int32_t(7)) + char(2) + be(int32_t(1)) + be(int32_t(2));  // the edge
    bytes += char(4);
    for (int32_t i : {0, 1, 2, 3}) bytes += be(i);
    bytes += char(9);  // the quad's MESH_ID
    Mesh mesh;
    std::string error;
    ASSERT_TRUE(parse(bytes, MeshFileFormat::Ply, mesh, error)) << error;
    ASSERT_EQ(mesh.triangleCount(), 2u);
    EXPECT_EQ(mesh.getVertices()[2], Vector3<float>(2, 2, 0));
    EXPECT_EQ(mesh.findAttribute(Mesh::kMeshId)->uints[1], 9u);
    const MeshAttribute* uv = mesh.findAttribute(Mesh::kUvMap);
    ASSERT_NE(uv, nullptr);
    EXPECT_EQ(uv->domain, MeshAttributeDomain::Corner);
    EXPECT_EQ(uv->floats[2 * 4], 1.0f);  // triangle 1 corner 1 = vertex 2, u = 1
    EXPECT_EQ(uv->floats[2 * 4 + 1], 1.0f);
}

// Each malformed input must be refused with a message naming the input and a position.
struct BadFile {
    const char* what;
    MeshFileFormat format;
    std::string bytes;
};

std::string plyHeader(const std::string& format, const std::string& elements) {
    return "ply\nformat " + format + " 1.0\n" + elements + "end_header\n";
}

std::vector<BadFile> badFiles() {
    using enum MeshFileFormat;
    const std::string xyz = "property float x\nproperty float y\nproperty float z\n";
    const std::string vertexProps = "element vertex 3\n" + xyz;
    const std::string faceProps = "element face 1\nproperty list uchar uint vertex_indices\n";
    const std::string triangle = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
    auto binary = [](const std::string& elements) { return plyHeader("binary_little_endian", elements); };
    auto ascii = [](const std::string& elements) { return plyHeader("ascii", elements); };
    std::string threeVertices;
    for (int i = 0; i < 9; ++i) threeVertices += lef(float(i));
    const std::string stlHeader(80, 'x');
    return {
        {"obj short vertex", Obj, "v 1 2\n"},
        {"obj nan", Obj, "v 0 0 0\nv nan 0 0\n"},
        {"obj overflow", Obj, "v 1e999 0 0\n"},
        {"obj index out of range", Obj, triangle + "f 1 2 5\n"},
        {"obj zero index", Obj, triangle + "f 0 1 2\n"},
        {"obj negative beyond", Obj, triangle + "f -4 1 2\n"},
        {"obj two corners", Obj, "v 0 0 0\nv 1 0 0\nf 1 2\n"},
        {"obj bad uv index", Obj, triangle + "vt 0 0\nf 1/1 2/2 3/1\n"},
        {"obj garbage index", Obj, "v 0 0 0\nf a b c\n"},
        {"ply no magic", Ply, "plx\nformat ascii 1.0\nend_header\n"},
        {"ply no end", Ply, "ply\nformat ascii 1.0\nelement vertex 1\n"},
        {"ply bad format", Ply, plyHeader("binary_middle_endian", "")},
        {"ply lying vertex count", Ply, binary("element vertex 4000000000\n" + xyz) + threeVertices},
        {"ply lying ascii count", Ply, ascii("element vertex 900000000\n" + xyz) + "0 0 0\n"},
        {"ply negative count", Ply, binary("element vertex -3\nproperty float x\n")},
        {"ply truncated vertices", Ply, binary(vertexProps) + threeVertices.substr(0, 30)},
        {"ply index out of range", Ply,
         binary(vertexProps + faceProps) + threeVertices + char(3) + le32(0) + le32(1) + le32(3)},
        {"ply ascii faces first, index out of range", Ply,
         ascii(faceProps + vertexProps) + "3 0 1 5\n0 0 0\n1 0 0\n0 1 0\n"},
        {"ply huge list", Ply,
         binary(vertexProps + "element face 1\nproperty list uint uint vertex_indices\n") + threeVertices +
             le32(0xFFFFFFF0u) + le32(0) + le32(1) + le32(2)},
        {"ply two-corner face", Ply, binary(vertexProps + faceProps) + threeVertices + char(2) + le32(0) + le32(1)},
        {"ply nan", Ply, binary(vertexProps) + lef(std::nanf("")) + threeVertices.substr(4)},
        {"ply ascii letters", Ply, ascii("element vertex 1\n" + xyz) + "0 zero 0\n"},
        {"ply ascii uchar overflow", Ply,
         ascii(vertexProps + "element face 1\nproperty list uchar int vertex_indices\n") +
             "0 0 0\n1 0 0\n0 1 0\n300 0 1 2\n"},
        {"ply no xyz", Ply, binary("element vertex 1\nproperty float q\n") + lef(1)},
        {"ply float indices", Ply,
         binary(vertexProps + "element face 1\nproperty list uchar float vertex_indices\n") + threeVertices},
        {"stl lying count", Stl, stlHeader + le32(1000) + std::string(50, '\0')},
        {"stl short", Stl, std::string(20, '\x7f')},
        {"stl nan", Stl, stlHeader + le32(1) + std::string(12, '\0') + lef(std::nanf("")) + std::string(34, '\0')},
        {"stl ascii truncated", Stl, "solid t\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n"},
        {"stl ascii stray vertex", Stl, "solid t\nvertex 0 0 0\nendsolid t\n"},
        {"stl ascii bad number", Stl,
         "solid t\nfacet normal 0 0 1\nouter loop\nvertex 0 0 x\nvertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\n"
         "endsolid\n"},
    };
}

TEST(MeshIO, MalformedFilesAreRefusedWithAPosition) {
    for (const BadFile& bad : badFiles()) {
        Mesh mesh = makeBoxMesh(Box3<float>({0, 0, 0}, {1, 1, 1}));
        std::string error;
        EXPECT_FALSE(parse(bad.bytes, bad.format, mesh, error)) << bad.what;
        EXPECT_EQ(mesh.vertexCount(), 0u) << bad.what;
        EXPECT_EQ(error.rfind("input: ", 0), 0u) << bad.what << ": " << error;
        const bool positioned =
            error.find("line ") != std::string::npos || error.find("byte offset ") != std::string::npos;
        EXPECT_TRUE(positioned) << bad.what << ": " << error;
    }
}

// Whatever the bytes, the readers must neither crash nor overrun, and a mesh
// they accept must be consistent: indices in range, attribute sizes matching.
TEST(MeshIO, TruncatedMutatedAndRandomBytesNeverCrash) {
    const Mesh mesh = attributedMesh();
    std::mt19937 random(11);
    for (MeshFileFormat format : {MeshFileFormat::Obj, MeshFileFormat::Ply, MeshFileFormat::Stl}) {
        for (bool ascii : {false, true}) {
            std::string bytes, error;
            ASSERT_TRUE(writeMeshToMemory(mesh, format, ascii, bytes, error));
            Mesh out;
            for (std::size_t cut = 0; !ascii && format != MeshFileFormat::Obj && cut < bytes.size(); cut += 7)
                EXPECT_FALSE(parse(bytes.substr(0, cut), format, out, error)) << cut;  // binary cuts are refused
            for (int trial = 0; trial < 200; ++trial) {
                std::string mutated = bytes;
                for (int flips = 0; flips < 4; ++flips) mutated[random() % mutated.size()] = char(random());
                if (!parse(mutated, format, out, error)) continue;
                const uint32_t n = out.vertexCount();
                for (const Mesh::Triangle& t : out.getTriangles())
                    ASSERT_TRUE(t.first < n && t.second < n && t.third < n);
                for (const MeshAttribute& a : out.getAttributes()) {
                    const uint32_t expected = a.domain == MeshAttributeDomain::Vertex ? n
                                              : a.domain == MeshAttributeDomain::Face ? out.triangleCount()
                                                                                      : 3 * out.triangleCount();
                    EXPECT_EQ(a.tupleCount(), expected) << a.name;
                }
            }
        }
    }
    for (int trial = 0; trial < 300; ++trial) {
        std::string garbage(std::size_t(random() % 400), '\0');
        for (char& c : garbage) c = char(random());
        if (trial % 3 == 1) garbage.insert(0, "ply\nformat binary_little_endian 1.0\nelement vertex 5\nproperty float x\n");
        if (trial % 3 == 2) garbage.insert(0, "v 1 2 3\nf ");
        Mesh out;
        std::string error;
        for (MeshFileFormat format : {MeshFileFormat::Obj, MeshFileFormat::Ply, MeshFileFormat::Stl})
            parse(garbage, format, out, error);  // any answer, no crash, no overrun
    }
}

}  // namespace
}  // namespace kelvar
