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
// Slot of each edge direction in the in-layer (y, z, yz) or cross-layer (x, xy, xz, xyz) tables.
constexpr uint8_t kInLayer[CubeTetrahedra::kDirections] = {0, 1, 1, 0, 0, 1, 0};
constexpr uint8_t kSlot[CubeTetrahedra::kDirections] = {0, 0, 1, 1, 2, 2, 3};
constexpr unsigned kInLayerSlots = 3;
constexpr unsigned kCrossSlots = 4;

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
    // Crossing vertex of each in-layer edge, by slot, indexed j * nz + k.
    std::vector<uint32_t> edgeVertex[kInLayerSlots];
};

// Walks the padded grid one slab (pair of x layers) at a time and emits the
// surface of every mixed cube. Vertex numbers of crossed edges are kept for
// the two layers of the current slab only.
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
            emitCubes();
            std::swap(layers_[0], layers_[1]);
        }
        return true;
    }

private:
    std::size_t at(unsigned y, unsigned z) const { return std::size_t(y) * count_[2] + z; }

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

    // Creates the vertex where the edge from padded point (x, y, z) along
    // direction d crosses the iso value; a and b are the end values.
    uint32_t makeVertex(unsigned x, unsigned y, unsigned z, unsigned d, float a, float b) {
        float t = (a == kPadValue || b == kPadValue) ? 0.5f : (iso_ - a) / (b - a);
        if (!std::isfinite(t)) t = 0.5f;
        t = std::clamp(t, kMinEdgeFraction, 1.0f - kMinEdgeFraction);
        const auto& offset = tables_.directionOffset[d];
        const unsigned point[3] = {x, y, z};
        Vector3<float> p;
        for (unsigned a3 = 0; a3 < 3; ++a3) {
            const float index = float(int(point[a3]) - int(padLow_[a3]));
            p[a3] = field_.getBox().min[a3] + (index + t * float(offset[a3])) * field_.getSpacing()[a3];
        }
        pushGrowing(mesh_.refVertices(), p);
        return mesh_.vertexCount() - 1;
    }

    void buildInLayerEdges(unsigned x, Layer& layer) {
        const unsigned ny = count_[1];
        const unsigned nz = count_[2];
        for (unsigned y = 0; y < ny; ++y) {
            const bool hasNext = y + 1 < ny;
            if (layer.rowState[y] == kRowMixed) {
                for (unsigned z = 0; z + 1 < nz; ++z)
                    if (layer.below[at(y, z)] != layer.below[at(y, z + 1)])
                        layer.edgeVertex[kSlot[2]][at(y, z)] =
                            makeVertex(x, y, z, 2, layer.values[at(y, z)], layer.values[at(y, z + 1)]);
            }
            if (!hasNext || (layer.rowState[y] | layer.rowState[y + 1]) != kRowMixed) continue;
            for (unsigned z = 0; z < nz; ++z) {
                const uint8_t b = layer.below[at(y, z)];
                if (b != layer.below[at(y + 1, z)])
                    layer.edgeVertex[kSlot[1]][at(y, z)] =
                        makeVertex(x, y, z, 1, layer.values[at(y, z)], layer.values[at(y + 1, z)]);
                if (z + 1 < nz && b != layer.below[at(y + 1, z + 1)])
                    layer.edgeVertex[kSlot[5]][at(y, z)] =
                        makeVertex(x, y, z, 5, layer.values[at(y, z)], layer.values[at(y + 1, z + 1)]);
            }
        }
    }

    void buildCrossEdges(unsigned x) {
        const Layer& lo = layers_[0];
        const Layer& hi = layers_[1];
        const unsigned ny = count_[1];
        const unsigned nz = count_[2];
        for (unsigned y = 0; y < ny; ++y) {
            const bool hasNext = y + 1 < ny;
            uint8_t state = lo.rowState[y] | hi.rowState[y];
            if (hasNext) state |= hi.rowState[y + 1];
            if (state != kRowMixed) continue;
            for (unsigned z = 0; z < nz; ++z) {
                const uint8_t b = lo.below[at(y, z)];
                const float a = lo.values[at(y, z)];
                if (b != hi.below[at(y, z)]) crossVertex_[kSlot[0]][at(y, z)] = makeVertex(x, y, z, 0, a, hi.values[at(y, z)]);
                if (hasNext && b != hi.below[at(y + 1, z)])
                    crossVertex_[kSlot[3]][at(y, z)] = makeVertex(x, y, z, 3, a, hi.values[at(y + 1, z)]);
                if (z + 1 < nz && b != hi.below[at(y, z + 1)])
                    crossVertex_[kSlot[4]][at(y, z)] = makeVertex(x, y, z, 4, a, hi.values[at(y, z + 1)]);
                if (hasNext && z + 1 < nz && b != hi.below[at(y + 1, z + 1)])
                    crossVertex_[kSlot[6]][at(y, z)] = makeVertex(x, y, z, 6, a, hi.values[at(y + 1, z + 1)]);
            }
        }
    }

    // Vertex on cube edge e of the cube whose lowest corner is (current x, y, z).
    uint32_t cubeEdgeVertex(unsigned e, unsigned y, unsigned z) const {
        const uint8_t owner = tables_.edgeCorners[e][0];
        const unsigned d = tables_.edgeDirection[e];
        const std::size_t cell = at(y + ((owner >> 1) & 1), z + ((owner >> 2) & 1));
        if (!kInLayer[d]) return crossVertex_[kSlot[d]][cell];
        return layers_[owner & 1].edgeVertex[kSlot[d]][cell];
    }

    void emitCubes() {
        const Layer& lo = layers_[0];
        const Layer& hi = layers_[1];
        for (unsigned y = 0; y + 1 < count_[1]; ++y) {
            if ((lo.rowState[y] | lo.rowState[y + 1] | hi.rowState[y] | hi.rowState[y + 1]) != kRowMixed) continue;
            for (unsigned z = 0; z + 1 < count_[2]; ++z) {
                unsigned mask = 0;
                for (unsigned c = 0; c < 8; ++c) {
                    const Layer& layer = (c & 1) ? hi : lo;
                    mask |= unsigned(layer.below[at(y + ((c >> 1) & 1), z + ((c >> 2) & 1))]) << c;
                }
                if (mask == 0 || mask == 0xFF) continue;
                emitCube(mask, y, z);
            }
        }
    }

    void emitCube(unsigned cubeMask, unsigned y, unsigned z) {
        for (unsigned t = 0; t < CubeTetrahedra::kTetrahedra; ++t) {
            const auto& corners = tables_.tetCorners[t];
            unsigned mask = 0;
            for (unsigned c = 0; c < 4; ++c) mask |= ((cubeMask >> corners[c]) & 1u) << c;
            const CubeTetrahedra::Case& triangles = tables_.cases[mask];
            for (unsigned tri = 0; tri < triangles.triangleCount; ++tri) {
                uint32_t v[3];
                for (unsigned c = 0; c < 3; ++c) v[c] = cubeEdgeVertex(tables_.tetEdges[t][triangles.edges[tri][c]], y, z);
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
