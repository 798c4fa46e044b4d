#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kv_basic/ByteOrder.h"
#include "kv_geometry/MeshIO.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar {
namespace {

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

void expectSameGeometry(const Mesh& a, const Mesh& b) {
    ASSERT_EQ(a.vertexCount(), b.vertexCount());
    ASSERT_EQ(a.triangleCount(), b.triangleCount());
    for (uint32_t v = 0; v < a.vertexCount(); ++v) EXPECT_EQ(a.getVertices()[v], b.getVertices()[v]);
    for (uint32_t t = 0; t < a.triangleCount(); ++t) EXPECT_EQ(a.getTriangles()[t], b.getTriangles()[t]);
}

void expectSameAttribute(const Mesh& a, const Mesh& b, const char* name) {
    const MeshAttribute* x = a.findAttribute(name);
    const MeshAttribute* y = b.findAttribute(name);
    ASSERT_NE(x, nullptr) << name;
    ASSERT_NE(y, nullptr) << name;
    EXPECT_EQ(x->domain, y->domain) << name;
    EXPECT_EQ(x->components, y->components) << name;
    EXPECT_EQ(x->isInteger, y->isInteger) << name;
    ASSERT_EQ(x->floats.size(), y->floats.size()) << name;
    ASSERT_EQ(x->uints.size(), y->uints.size()) << name;
    for (uint32_t i = 0; i < x->floats.size(); ++i) EXPECT_EQ(x->floats[i], y->floats[i]) << name << " " << i;
    for (uint32_t i = 0; i < x->uints.size(); ++i) EXPECT_EQ(x->uints[i], y->uints[i]) << name << " " << i;
}

bool parse(const std::string& bytes, MeshFileFormat format, Mesh& out, std::string& error) {
    return readMeshFromMemory(bytes.data(), bytes.size(), format, "input", out, error);
}

Mesh roundTrip(const Mesh& mesh, MeshFileFormat format, bool ascii) {
    std::string bytes;
    std::string error;
    EXPECT_TRUE(writeMeshToMemory(mesh, format, ascii, bytes, error)) << error;
    Mesh back;
    EXPECT_TRUE(parse(bytes, format, back, error)) << error;
    return back;
}

// PLY (both encodings) keeps every attribute; OBJ keeps the texture coordinates.
TEST(MeshIO, PlyAndObjRoundTripsKeepGeometryAndTheirAttributes) {
    const Mesh mesh = attributedMesh();
    for (auto [format, ascii] : {std::pair{MeshFileFormat::Ply, false}, {MeshFileFormat::Ply, true},
                                 {MeshFileFormat::Obj, true}}) {
        SCOPED_TRACE(std::string(format == MeshFileFormat::Ply ? "ply" : "obj") + (ascii ? " ascii" : " binary"));
        const Mesh back = roundTrip(mesh, format, ascii);
        expectSameGeometry(mesh, back);
        for (const char* name : {Mesh::kUvMap, Mesh::kMeshId, Mesh::kVelocity, Mesh::kNormal})
            if (format == MeshFileFormat::Ply || name == Mesh::kUvMap) expectSameAttribute(mesh, back, name);
        EXPECT_TRUE(back.isBoxValid());
    }
}

TEST(MeshIO, StlRoundTripWeldsCornersBackIntoTheSameTriangles) {
    const Mesh mesh = attributedMesh();
    for (bool ascii : {false, true}) {
        const Mesh back = roundTrip(mesh, MeshFileFormat::Stl, ascii);
        ASSERT_EQ(back.triangleCount(), mesh.triangleCount());
        EXPECT_EQ(back.vertexCount(), mesh.vertexCount());  // all welded again
        for (uint32_t t = 0; t < mesh.triangleCount(); ++t) {
            const Mesh::Triangle& a = mesh.getTriangles()[t];
            const Mesh::Triangle& b = back.getTriangles()[t];
            for (unsigned c = 0; c < 3; ++c) EXPECT_EQ(mesh.getVertices()[a[c]], back.getVertices()[b[c]]);
        }
    }
}

TEST(MeshIO, FilesAreChosenByCaseInsensitiveExtension) {
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "kv_geometry_mesh_io";
    std::filesystem::create_directories(dir);
    const Mesh mesh = attributedMesh();
    std::string error;
    for (const char* file : {"a.PLY", "b.Obj", "c.stl"}) {
        const std::string path = (dir / file).string();
        ASSERT_TRUE(writeMesh(path, mesh, error)) << error;
        Mesh back;
        ASSERT_TRUE(readMesh(path, back, error)) << error;
        EXPECT_EQ(back.triangleCount(), mesh.triangleCount());
    }
    Mesh out;
    EXPECT_FALSE(readMesh((dir / "missing.obj").string(), out, error));
    EXPECT_NE(error.find("missing.obj"), std::string::npos);
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
    EXPECT_EQ(mesh.getTriangles()[0], (Mesh::Triangle{0, 1, 2}));
    EXPECT_EQ(mesh.getTriangles()[1], (Mesh::Triangle{0, 2, 3}));
    EXPECT_EQ(mesh.getTriangles()[2], (Mesh::Triangle{0, 2, 3}));
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
    auto putBig = [&](auto value) {
        unsigned char b[sizeof(value)];
        storeLittleEndian(value, b);
        for (std::size_t i = sizeof(value); i-- > 0;) bytes += char(b[i]);
    };
    const float vertices[4][5] = {{0, 0, 0, 0, 0}, {2, 0, 0, 1, 0}, {2, 2, 0, 1, 1}, {0, 2, 0, 0, 1}};
    for (const auto& v : vertices)
        for (float f : v) putBig(f);
    putBig(int32_t(7));
    bytes += char(2);
    putBig(int32_t(1));
    putBig(int32_t(2));
    bytes += char(4);
    for (int32_t i : {0, 1, 2, 3}) putBig(i);
    bytes += char(9);
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

std::string binaryPlyHeader(const std::string& elements) {
    return "ply\nformat binary_little_endian 1.0\n" + elements + "end_header\n";
}

template <class T>
std::string le(T v) {
    unsigned char b[sizeof(T)];
    storeLittleEndian(v, b);
    return std::string(reinterpret_cast<const char*>(b), sizeof(T));
}
const auto le32 = le<uint32_t>;
const auto lef = le<float>;

std::vector<BadFile> badFiles() {
    const std::string vertexProps = "element vertex 3\nproperty float x\nproperty float y\nproperty float z\n";
    const std::string faceProps = "element face 1\nproperty list uchar uint vertex_indices\n";
    std::string threeVertices;
    for (int i = 0; i < 9; ++i) threeVertices += lef(float(i));
    std::string stlHeader(80, 'x');
    return {
        {"obj short vertex", MeshFileFormat::Obj, "v 1 2\n"},
        {"obj nan", MeshFileFormat::Obj, "v 0 0 0\nv nan 0 0\n"},
        {"obj overflow", MeshFileFormat::Obj, "v 1e999 0 0\n"},
        {"obj index out of range", MeshFileFormat::Obj, "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 5\n"},
        {"obj zero index", MeshFileFormat::Obj, "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 0 1 2\n"},
        {"obj negative beyond", MeshFileFormat::Obj, "v 0 0 0\nv 1 0 0\nv 0 1 0\nf -4 1 2\n"},
        {"obj two corners", MeshFileFormat::Obj, "v 0 0 0\nv 1 0 0\nf 1 2\n"},
        {"obj bad uv index", MeshFileFormat::Obj, "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nf 1/1 2/2 3/1\n"},
        {"obj garbage index", MeshFileFormat::Obj, "v 0 0 0\nf a b c\n"},
        {"ply no magic", MeshFileFormat::Ply, "plx\nformat ascii 1.0\nend_header\n"},
        {"ply no end", MeshFileFormat::Ply, "ply\nformat ascii 1.0\nelement vertex 1\n"},
        {"ply bad format", MeshFileFormat::Ply, "ply\nformat binary_middle_endian 1.0\nend_header\n"},
        {"ply lying vertex count", MeshFileFormat::Ply,
         binaryPlyHeader("element vertex 4000000000\nproperty float x\nproperty float y\nproperty float z\n") +
             threeVertices},
        {"ply lying ascii count", MeshFileFormat::Ply,
         "ply\nformat ascii 1.0\nelement vertex 900000000\nproperty float x\nproperty float y\nproperty float z\n"
         "end_header\n0 0 0\n"},
        {"ply negative count", MeshFileFormat::Ply, binaryPlyHeader("element vertex -3\nproperty float x\n")},
        {"ply truncated vertices", MeshFileFormat::Ply, binaryPlyHeader(vertexProps) + threeVertices.substr(0, 30)},
        {"ply index out of range", MeshFileFormat::Ply,
         binaryPlyHeader(vertexProps + faceProps) + threeVertices + char(3) + le32(0) + le32(1) + le32(3)},
        {"ply huge list", MeshFileFormat::Ply,
         binaryPlyHeader(vertexProps + "element face 1\nproperty list uint uint vertex_indices\n") + threeVertices +
             le32(0xFFFFFFF0u) + le32(0) + le32(1) + le32(2)},
        {"ply two-corner face", MeshFileFormat::Ply,
         binaryPlyHeader(vertexProps + faceProps) + threeVertices + char(2) + le32(0) + le32(1)},
        {"ply nan", MeshFileFormat::Ply,
         binaryPlyHeader(vertexProps) + lef(std::nanf("")) + threeVertices.substr(4)},
        {"ply ascii letters", MeshFileFormat::Ply,
         "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\nproperty float z\n"
         "end_header\n0 zero 0\n"},
        {"ply ascii uchar overflow", MeshFileFormat::Ply,
         "ply\nformat ascii 1.0\n" + vertexProps + "element face 1\nproperty list uchar int vertex_indices\n"
         "end_header\n0 0 0\n1 0 0\n0 1 0\n300 0 1 2\n"},
        {"ply no xyz", MeshFileFormat::Ply, binaryPlyHeader("element vertex 1\nproperty float q\n") + lef(1)},
        {"ply float indices", MeshFileFormat::Ply,
         binaryPlyHeader(vertexProps + "element face 1\nproperty list uchar float vertex_indices\n") + threeVertices},
        {"stl lying count", MeshFileFormat::Stl, stlHeader + le32(1000) + std::string(50, '\0')},
        {"stl short", MeshFileFormat::Stl, std::string(20, '\x7f')},
        {"stl nan", MeshFileFormat::Stl,
         stlHeader + le32(1) + std::string(12, '\0') + lef(std::nanf("")) + std::string(32, '\0') + "\0\0"},
        {"stl ascii truncated", MeshFileFormat::Stl,
         "solid t\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n"},
        {"stl ascii stray vertex", MeshFileFormat::Stl, "solid t\nvertex 0 0 0\nendsolid t\n"},
        {"stl ascii bad number", MeshFileFormat::Stl,
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
        const bool positioned = error.find("line ") != std::string::npos ||
                                error.find("byte offset ") != std::string::npos ||
                                error.find("vertex index") != std::string::npos;
        EXPECT_TRUE(positioned) << bad.what << ": " << error;
    }
}

TEST(MeshIO, TruncatedBinaryFilesAndRandomBytesNeverCrash) {
    const Mesh mesh = attributedMesh();
    for (MeshFileFormat format : {MeshFileFormat::Ply, MeshFileFormat::Stl}) {
        std::string bytes;
        std::string error;
        ASSERT_TRUE(writeMeshToMemory(mesh, format, false, bytes, error));
        for (std::size_t cut = 0; cut < bytes.size(); cut += 7) {
            Mesh out;
            EXPECT_FALSE(parse(bytes.substr(0, cut), format, out, error)) << cut;
        }
    }
    std::mt19937 random(11);
    // Valid files with a few bytes overwritten: any answer, but a consistent mesh when accepted.
    for (MeshFileFormat format : {MeshFileFormat::Obj, MeshFileFormat::Ply, MeshFileFormat::Stl}) {
        for (bool ascii : {false, true}) {
            std::string bytes;
            std::string error;
            ASSERT_TRUE(writeMeshToMemory(mesh, format, ascii, bytes, error));
            for (int trial = 0; trial < 200; ++trial) {
                std::string mutated = bytes;
                for (int flips = 0; flips < 4; ++flips) mutated[random() % mutated.size()] = char(random());
                Mesh out;
                if (!parse(mutated, format, out, error)) continue;
                for (const Mesh::Triangle& t : out.getTriangles())
                    ASSERT_TRUE(t.first < out.vertexCount() && t.second < out.vertexCount() &&
                                t.third < out.vertexCount());
                for (const MeshAttribute& a : out.getAttributes()) {
                    const uint32_t expected = a.domain == MeshAttributeDomain::Vertex ? out.vertexCount()
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
