#pragma once

#include <cstddef>
#include <string>

#include "kv_basic/Export.h"
#include "kv_geometry/Mesh.h"

namespace kelvar {

// Mesh file formats, chosen from the extension when reading or writing a
// file (case-insensitive: .obj, .ply, .stl).
enum class MeshFileFormat { Obj, Ply, Stl };

// Reading:
// - OBJ: v, vt and f lines (polygons fan-triangulated, negative indices
//   relative to the elements read so far, v/vt/vn forms); texture
//   coordinates become the corner attribute "UV_MAP_0". Other statements are
//   skipped.
// - PLY: ascii, binary_little_endian and binary_big_endian. Vertex x y z;
//   nx ny nz become "Normal"; s t / u v / texture_u texture_v become
//   "UV_MAP_0"; the face list vertex_indices (or vertex_index) is
//   fan-triangulated; a face list "texcoord" becomes "UV_MAP_0". Any other
//   scalar property becomes an attribute of its element, properties named
//   base_0, base_1, ... forming one attribute "base" with several
//   components; other face lists holding k values per polygon corner become
//   corner attributes. Elements other than vertex and face are skipped.
// - STL: binary (recognised by its exact size) or ASCII; identical corner
//   positions are welded into shared vertices, in order of first use.
//
// A file that is malformed, truncated, holds non-finite coordinates or
// out-of-range indices, or declares more elements than its size can hold is
// rejected: the result is false, `out` is left empty and `error` names the
// file and the line (text) or byte offset (binary) of the fault. Nothing is
// allocated from a declared count before it is checked against the file size.
KV_EXPORT bool readMesh(const std::string& path, Mesh& out, std::string& error);

// The same from bytes in memory; `name` stands for the file in messages.
KV_EXPORT bool readMeshFromMemory(const char* data, std::size_t size, MeshFileFormat format,
                                  const std::string& name, Mesh& out, std::string& error);

// Writing: OBJ (positions, "UV_MAP_0" as vt per corner), PLY (binary
// little-endian unless `ascii`; every attribute, named as the reader expects
// them) and STL (binary unless `ascii`; positions and facet normals only).
KV_EXPORT bool writeMesh(const std::string& path, const Mesh& mesh, std::string& error, bool ascii = false);

// The same into a string.
KV_EXPORT bool writeMeshToMemory(const Mesh& mesh, MeshFileFormat format, bool ascii, std::string& bytes,
                                 std::string& error);

// The format for a path's extension; false when it is none of the three.
KV_EXPORT bool meshFileFormatOf(const std::string& path, MeshFileFormat& format);

}  // namespace kelvar
