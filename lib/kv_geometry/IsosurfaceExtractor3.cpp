#include "kv_geometry/IsosurfaceExtractor3.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "kv_geometry/detail/CubeTetrahedra.h"

namespace kelvar {

namespace {

using detail::CubeTetrahedra;

// Value of the virtual gas layer beyond a closed face.
constexpr float kPadValue = std::numeric_limits<float>::max();
// Crossings stay this fraction of an edge away from its end points.
constexpr float kMinEdgeFraction = 1.0f / 1024.0f;
// Row flags: the row holds voxels below / at or above the iso value.
constexpr uint8_t kRowBelow = 1;
constexpr uint8_t kRowAbove = 2;
constexpr uint8_t kRowMixed = kRowBelow | kRowAbove;
// Edge slots kept per layer (within one x layer) and per slab (spanning two).
constexpr unsigned kInLayerSlots = 3;
constexpr unsigned kCrossSlots = 4;
struct SlotStore {
    bool inLayer;
    uint8_t index;
};
constexpr SlotStore kStore[CubeTetrahedra::kSlots] = {
    {false, 0},  // axis x
    {true, 0},   // axis y
    {true, 1},   // axis z
    {false, 1},  // square xy
    {false, 2},  // square xz
    {true, 2},   // square yz
    {false, 3},  // body
};

template <class Vec>
void pushGrowing(Vec& array, const typename Vec::value_type& value) {
    if (array.size() == array.capacity()) array.reserve(std::max<uint32_t>(1024u, array.capacity() * 2u));
    array.push_back(value);
}

// One x layer of the padded grid: values, below-iso bits and per-row summary.
struct Layer {
    std::vector<float> values;
    std::vector<uint8_t> below;
    std::vector<uint8_t> rowState;
    // Crossing vertex of each in-layer slot (axis y, axis z, square yz), indexed y * nz + z.
    std::vector<uint32_t> edgeVertex[kInLayerSlots];
};

// A point of the padded grid and the layer holding its value.
struct GridPoint {
    const Layer* layer;
    unsigned x, y, z;
};

// Walks the padded grid one slab (pair of x layers) at a time and emits the
// surface of every mixed cube. Cubes in the upper half of the grid along an
// axis use the split mirrored in that axis, so the grid is triangulated
// symmetrically about its centre and capped faces meet in sharp edges.
// Vertex numbers of crossed edges are kept for the current slab only.
class SlabWalker {
public:
    SlabWalker(const ScalarField3<float>& field, float iso, const unsigned close[6], Mesh& mesh)
        : field_(field), iso_(iso), mesh_(mesh), tables_(CubeTetrahedra::instance()) {
        for (unsigned a = 0; a < 3; ++a) {
            padLow_[a] = close[2 * a] ? 1 : 0;
            count_[a] = field.getResolution()[a] + padLow_[a] + (close[2 * a + 1] ? 1 : 0);
        }
        const std::size_t layerSize = std::size_t(count_[1]) * count_[2];
        for (Layer& layer : layers_) {
            layer.values.resize(layerSize);
            layer.below.resize(layerSize);
            layer.rowState.resize(count_[1]);
            for (auto& slot : layer.edgeVertex) slot.resize(layerSize);
        }
        for (auto& slot : crossVertex_) slot.resize(layerSize);
    }

    bool run(int (*abortCallback)()) {
        if (field_.voxelCount() == 0 || count_[0] < 2 || count_[1] < 2 || count_[2] < 2) return true;
        loadLayer(0, layers_[0]);
        buildInLayerEdges(0, layers_[0]);
        for (unsigned x = 0; x + 1 < count_[0]; ++x) {
            if (abortCallback && abortCallback() > 0) return false;
            loadLayer(x + 1, layers_[1]);
            buildInLayerEdges(x + 1, layers_[1]);
            buildCrossEdges(x);
            emitCubes(x);
            std::swap(layers_[0], layers_[1]);
        }
        return true;
    }

private:
    std::size_t at(unsigned y, unsigned z) const { return std::size_t(y) * count_[2] + z; }

    // Whether cube c along an axis lies in the upper half, where the split is mirrored.
    bool mirrored(unsigned axis, unsigned c) const { return 2 * uint64_t(c) + 1 >= count_[axis]; }

    void loadLayer(unsigned x, Layer& layer) const {
        const Tuple3<unsigned>& n = field_.getResolution();
        const int i = int(x) - int(padLow_[0]);
        const bool padLayer = i < 0 || i >= int(n.first);
        for (unsigned y = 0; y < count_[1]; ++y) {
            const int j = int(y) - int(padLow_[1]);
            const bool padRow = padLayer || j < 0 || j >= int(n.second);
            const float* row = padRow ? nullptr : &field_.at(unsigned(i), unsigned(j), 0);
            uint8_t state = 0;
            for (unsigned z = 0; z < count_[2]; ++z) {
                const int k = int(z) - int(padLow_[2]);
                const float v = (padRow || k < 0 || k >= int(n.third)) ? kPadValue : row[k];
                const bool below = v < iso_;
                layer.values[at(y, z)] = v;
                layer.below[at(y, z)] = below;
                state |= below ? kRowBelow : kRowAbove;
            }
            layer.rowState[y] = state;
        }
    }

    // Stores in `slot` the vertex where the edge p-q crosses the iso value, if it does.
    void crossing(uint32_t& slot, const GridPoint& p, const GridPoint& q) {
        const std::size_t ip = at(p.y, p.z);
        const std::size_t iq = at(q.y, q.z);
        if (p.layer->below[ip] == q.layer->below[iq]) return;
        const float a = p.layer->values[ip];
        const float b = q.layer->values[iq];
        float t = (a == kPadValue || b == kPadValue) ? 0.5f : (iso_ - a) / (b - a);
        if (!std::isfinite(t)) t = 0.5f;
        t = std::clamp(t, kMinEdgeFraction, 1.0f - kMinEdgeFraction);
        const unsigned from[3] = {p.x, p.y, p.z};
        const unsigned to[3] = {q.x, q.y, q.z};
        Vector3<float> position;
        for (unsigned a3 = 0; a3 < 3; ++a3) {
            const float index = float(int(from[a3]) - int(padLow_[a3]));
            const float step = float(int(to[a3]) - int(from[a3]));
            position[a3] = field_.getBox().min[a3] + (index + t * step) * field_.getSpacing()[a3];
        }
        pushGrowing(mesh_.refVertices(), position);
        slot = mesh_.vertexCount() - 1;
    }

    void buildInLayerEdges(unsigned x, Layer& layer) {
        const unsigned ny = count_[1];
        const unsigned nz = count_[2];
        for (unsigned y = 0; y < ny; ++y) {
            const std::size_t row = at(y, 0);
            if (layer.rowState[y] == kRowMixed)
                for (unsigned z = 0; z + 1 < nz; ++z)
                    crossing(layer.edgeVertex[kStore[CubeTetrahedra::kAxisZ].index][row + z], {&layer, x, y, z},
                             {&layer, x, y, z + 1});
            if (y + 1 >= ny || (layer.rowState[y] | layer.rowState[y + 1]) != kRowMixed) continue;
            const bool my = mirrored(1, y);
            for (unsigned z = 0; z < nz; ++z) {
                crossing(layer.edgeVertex[kStore[CubeTetrahedra::kAxisY].index][row + z], {&layer, x, y, z},
                         {&layer, x, y + 1, z});
                if (z + 1 >= nz) continue;
                uint32_t& square = layer.edgeVertex[kStore[CubeTetrahedra::kSquareYZ].index][row + z];
                if (my == mirrored(2, z))
                    crossing(square, {&layer, x, y, z}, {&layer, x, y + 1, z + 1});
                else
                    crossing(square, {&layer, x, y + 1, z}, {&layer, x, y, z + 1});
            }
        }
    }

    void buildCrossEdges(unsigned x) {
        const Layer* lo = &layers_[0];
        const Layer* hi = &layers_[1];
        const unsigned ny = count_[1];
        const unsigned nz = count_[2];
        const bool mx = mirrored(0, x);
        for (unsigned y = 0; y < ny; ++y) {
            const bool hasNext = y + 1 < ny;
            uint8_t state = lo->rowState[y] | hi->rowState[y];
            if (hasNext) state |= lo->rowState[y + 1] | hi->rowState[y + 1];
            if (state != kRowMixed) continue;
            const bool my = mirrored(1, y);
            const std::size_t row = at(y, 0);
            for (unsigned z = 0; z < nz; ++z) {
                crossing(crossVertex_[kStore[CubeTetrahedra::kAxisX].index][row + z], {lo, x, y, z},
                         {hi, x + 1, y, z});
                const bool hasZ = z + 1 < nz;
                const bool mz = hasZ && mirrored(2, z);
                if (hasNext) {
                    uint32_t& square = crossVertex_[kStore[CubeTetrahedra::kSquareXY].index][row + z];
                    if (mx == my)
                        crossing(square, {lo, x, y, z}, {hi, x + 1, y + 1, z});
                    else
                        crossing(square, {lo, x, y + 1, z}, {hi, x + 1, y, z});
                }
                if (hasZ) {
                    uint32_t& square = crossVertex_[kStore[CubeTetrahedra::kSquareXZ].index][row + z];
                    if (mx == mz)
                        crossing(square, {lo, x, y, z}, {hi, x + 1, y, z + 1});
                    else
                        crossing(square, {lo, x, y, z + 1}, {hi, x + 1, y, z});
                }
                if (hasNext && hasZ) {
                    // The cube's main diagonal runs from corner m to corner 7 ^ m.
                    const unsigned m = unsigned(mx) | unsigned(my) << 1 | unsigned(mz) << 2;
                    crossing(crossVertex_[kStore[CubeTetrahedra::kBody].index][row + z], cornerPoint(x, y, z, m),
                             cornerPoint(x, y, z, 7 ^ m));
                }
            }
        }
    }

    GridPoint cornerPoint(unsigned x, unsigned y, unsigned z, unsigned corner) const {
        return {&layers_[corner & 1], x + (corner & 1), y + ((corner >> 1) & 1), z + ((corner >> 2) & 1)};
    }

    // Vertex on a tetrahedron edge of the cube whose lowest corner is (current x, y, z).
    uint32_t edgeVertex(const CubeTetrahedra::EdgeRef& edge, unsigned y, unsigned z) const {
        const SlotStore store = kStore[edge.slot];
        const std::size_t cell = at(y + ((edge.owner >> 1) & 1), z + ((edge.owner >> 2) & 1));
        if (!store.inLayer) return crossVertex_[store.index][cell];
        return layers_[edge.owner & 1].edgeVertex[store.index][cell];
    }

    void emitCubes(unsigned x) {
        const Layer& lo = layers_[0];
        const Layer& hi = layers_[1];
        const unsigned mx = mirrored(0, x) ? 1 : 0;
        for (unsigned y = 0; y + 1 < count_[1]; ++y) {
            if ((lo.rowState[y] | lo.rowState[y + 1] | hi.rowState[y] | hi.rowState[y + 1]) != kRowMixed) continue;
            const unsigned mxy = mx | (mirrored(1, y) ? 2 : 0);
            for (unsigned z = 0; z + 1 < count_[2]; ++z) {
                unsigned mask = 0;
                for (unsigned c = 0; c < 8; ++c) {
                    const Layer& layer = (c & 1) ? hi : lo;
                    mask |= unsigned(layer.below[at(y + ((c >> 1) & 1), z + ((c >> 2) & 1))]) << c;
                }
                if (mask == 0 || mask == 0xFF) continue;
                emitCube(mask, tables_.variants[mxy | (mirrored(2, z) ? 4 : 0)], y, z);
            }
        }
    }

    void emitCube(unsigned cubeMask, const CubeTetrahedra::Variant& split, unsigned y, unsigned z) {
        for (unsigned t = 0; t < CubeTetrahedra::kTetrahedra; ++t) {
            const auto& corners = split.corners[t];
            unsigned mask = 0;
            for (unsigned c = 0; c < 4; ++c) mask |= ((cubeMask >> corners[c]) & 1u) << c;
            const CubeTetrahedra::Case& triangles = tables_.cases[mask];
            for (unsigned tri = 0; tri < triangles.triangleCount; ++tri) {
                uint32_t v[3];
                for (unsigned c = 0; c < 3; ++c) v[c] = edgeVertex(split.edges[t][triangles.edges[tri][c]], y, z);
                pushGrowing(mesh_.refTriangles(), Mesh::Triangle{v[0], v[1], v[2]});
            }
        }
    }

    const ScalarField3<float>& field_;
    const float iso_;
    Mesh& mesh_;
    const CubeTetrahedra& tables_;
    unsigned padLow_[3] = {};
    unsigned count_[3] = {};
    Layer layers_[2];
    std::vector<uint32_t> crossVertex_[kCrossSlots];
};

void computeVertexNormals(Mesh& mesh) {
    MeshAttribute* normals = mesh.addAttribute(Mesh::kNormal, MeshAttributeDomain::Vertex, 3, false);
    if (!normals) return;
    std::vector<Vector3<float>> sum(mesh.vertexCount());
    const Array<Vector3<float>>& p = mesh.getVertices();
    for (const Mesh::Triangle& t : mesh.getTriangles()) {
        const Vector3<float> n = (p[t.second] - p[t.first]).cross(p[t.third] - p[t.first]);
        sum[t.first] += n;
        sum[t.second] += n;
        sum[t.third] += n;
    }
    for (uint32_t v = 0; v < mesh.vertexCount(); ++v) {
        const float length = sum[v].length();
        const Vector3<float> n = length > 0.0f ? sum[v] / length : Vector3<float>();
        normals->floats[3 * v] = n.x;
        normals->floats[3 * v + 1] = n.y;
        normals->floats[3 * v + 2] = n.z;
    }
}

}  // namespace

template <class T>
unsigned long IsosurfaceExtractor3::extractMesh(const ScalarField3<T>& field, Mesh& mesh, const T& iso,
                                                unsigned closeXmin, unsigned closeXmax, unsigned closeYmin,
                                                unsigned closeYmax, unsigned closeZmin, unsigned closeZmax,
                                                unsigned option, int (*abortCallback)()) {
    mesh.clear();
    const unsigned close[6] = {closeXmin, closeXmax, closeYmin, closeYmax, closeZmin, closeZmax};
    SlabWalker walker(field, iso, close, mesh);
    if (!walker.run(abortCallback)) {
        mesh.clear();
        return 0;
    }
    mesh.refVertices().shrinkToFit();
    mesh.refTriangles().shrinkToFit();
    if (option & kOptionNormals) computeVertexNormals(mesh);
    mesh.workBox();
    return mesh.triangleCount();
}

template unsigned long IsosurfaceExtractor3::extractMesh<float>(const ScalarField3<float>&, Mesh&, const float&,
                                                                unsigned, unsigned, unsigned, unsigned, unsigned,
                                                                unsigned, unsigned, int (*)());

}  // namespace kelvar
