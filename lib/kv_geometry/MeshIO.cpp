#include "kv_geometry/MeshIO.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "kv_geometry/detail/ObjFormat.h"
#include "kv_geometry/detail/PlyFormat.h"
#include "kv_geometry/detail/StlFormat.h"

namespace kelvar {

namespace {

std::string lowerExtension(const std::string& path) {
    const std::size_t dot = path.find_last_of('.');
    const std::size_t slash = path.find_last_of("/\\");
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
    std::string extension = path.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return extension;
}

// Reads the whole file in chunks: the memory taken grows with the bytes
// that actually arrive, never with a size the stream reports (a directory
// reports an absurd one, a pipe or a /proc file none at all).
bool readFile(const std::string& path, std::string& bytes, std::string& error) {
    std::error_code status;
    if (!std::filesystem::is_regular_file(path, status)) {
        error = path + (std::filesystem::exists(path, status) ? ": not a regular file" : ": cannot open for reading");
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = path + ": cannot open for reading";
        return false;
    }
    constexpr std::size_t kChunk = std::size_t(1) << 20;
    bytes.clear();
    for (;;) {
        const std::size_t used = bytes.size();
        bytes.resize(used + kChunk);
        file.read(bytes.data() + used, std::streamsize(kChunk));
        bytes.resize(used + std::size_t(file.gcount()));
        if (file.eof()) return true;
        if (!file) {
            error = path + ": read failed";
            return false;
        }
    }
}

}  // namespace

bool meshFileFormatOf(const std::string& path, MeshFileFormat& format) {
    const std::string extension = lowerExtension(path);
    if (extension == "obj")
        format = MeshFileFormat::Obj;
    else if (extension == "ply")
        format = MeshFileFormat::Ply;
    else if (extension == "stl")
        format = MeshFileFormat::Stl;
    else
        return false;
    return true;
}

bool readMeshFromMemory(const char* data, std::size_t size, MeshFileFormat format, const std::string& name,
                        Mesh& out, std::string& error) {
    out.clear();
    bool ok = false;
    switch (format) {
        case MeshFileFormat::Obj: ok = detail::readObj(data, size, name, out, error); break;
        case MeshFileFormat::Ply: ok = detail::readPly(data, size, name, out, error); break;
        case MeshFileFormat::Stl: ok = detail::readStl(data, size, name, out, error); break;
    }
    if (!ok) {
        out.clear();
        return false;
    }
    out.workBox();
    return true;
}

bool readMesh(const std::string& path, Mesh& out, std::string& error) {
    out.clear();
    MeshFileFormat format;
    if (!meshFileFormatOf(path, format)) {
        error = path + ": unknown mesh file extension (expected .obj, .ply or .stl)";
        return false;
    }
    std::string bytes;
    if (!readFile(path, bytes, error)) return false;
    return readMeshFromMemory(bytes.data(), bytes.size(), format, path, out, error);
}

bool writeMeshToMemory(const Mesh& mesh, MeshFileFormat format, bool ascii, std::string& bytes, std::string& error) {
    bytes.clear();
    for (const Mesh::Triangle& t : mesh.getTriangles())
        if (t.first >= mesh.vertexCount() || t.second >= mesh.vertexCount() || t.third >= mesh.vertexCount()) {
            error = "mesh has a triangle with a vertex index beyond its vertices";
            return false;
        }
    switch (format) {
        case MeshFileFormat::Obj: detail::writeObj(mesh, bytes); break;
        case MeshFileFormat::Ply: detail::writePly(mesh, ascii, bytes); break;
        case MeshFileFormat::Stl: detail::writeStl(mesh, ascii, bytes); break;
    }
    return true;
}

bool writeMesh(const std::string& path, const Mesh& mesh, std::string& error, bool ascii) {
    MeshFileFormat format;
    if (!meshFileFormatOf(path, format)) {
        error = path + ": unknown mesh file extension (expected .obj, .ply or .stl)";
        return false;
    }
    std::string bytes;
    if (!writeMeshToMemory(mesh, format, ascii, bytes, error)) {
        error = path + ": " + error;
        return false;
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file || !file.write(bytes.data(), std::streamsize(bytes.size())) || !file.flush()) {
        error = path + ": cannot write";
        return false;
    }
    return true;
}

}  // namespace kelvar
