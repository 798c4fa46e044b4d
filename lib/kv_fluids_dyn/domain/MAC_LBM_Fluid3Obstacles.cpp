// Obstacles of MAC_LBM_Fluid3: merging the host's meshes, turning the cells
// they touch or enclose into solid cells with their friction (once for
// static obstacles, every frame for moving ones), and reporting where the
// liquid touches them.

#include <algorithm>

#include "kv_fluids_dyn/domain/FrictionTable.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/domain/internal/FrictionEvaluator.h"
#include "kv_fluids_dyn/domain/internal/GridVoxelization.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_geometry/MeshVoxelizer3.h"
#include "kv_geometry/detail/FacePlanes.h"

namespace kelvar::fluid {

namespace {

// The friction of the cells inside an obstacle, which no face touches.
constexpr double kInsideWallFactor = 1.0;

// The mesh id of face f of the merged mesh.
unsigned int meshIdOf(const MeshAttribute* ids, const uint32_t& f) {
    return ids != nullptr && f < ids->uints.size() ? ids->uints[f] : 0u;
}

// The mean "Velocity" of the corners of faces `first`..`last` of `mesh`;
// zero without the attribute.
template <class FaceIter>
Vector3<float> meanCornerVelocity(const Mesh& mesh, const MeshAttribute* velocity, FaceIter first, FaceIter last) {
    if (velocity == nullptr || velocity->components != 3) return Vector3<float>();
    Vector3<double> sum;
    unsigned int corners = 0;
    for (FaceIter f = first; f != last; ++f) {
        const Mesh::Triangle& t = mesh.getTriangles()[*f];
        for (uint32_t v : {t.first, t.second, t.third}) {
            if (3 * uint64_t(v) + 2 >= velocity->floats.size()) continue;
            sum += Vector3<double>(velocity->floats[3 * v], velocity->floats[3 * v + 1], velocity->floats[3 * v + 2]);
            ++corners;
        }
    }
    if (corners == 0) return Vector3<float>();
    return Vector3<float>(float(sum.x / corners), float(sum.y / corners), float(sum.z / corners));
}

}  // namespace

Mesh MAC_LBM_Fluid3::createMergedMesh(const ArrayOfPtr<const Mesh, KV_NO>& meshes) {
    Mesh merged;
    for (const Mesh* mesh : meshes) {
        if (mesh == nullptr) continue;
        Mesh part;
        part.copyFrom(*mesh);
        MeshAttribute* ids = part.findAttribute(Mesh::kMeshId);
        if (ids == nullptr) ids = part.addAttribute(Mesh::kMeshId, MeshAttributeDomain::Face, 1, true);
        ids->uints.resize(part.triangleCount());
        std::fill(ids->uints.begin(), ids->uints.end(), mesh->getId());
        merged.addMesh(part);
    }
    return merged;
}

template <class Place>
void MAC_LBM_Fluid3::forEachObstacleCell(const ArrayOfPtr<const Mesh, KV_NO>& meshes,
                                         const Array<FrictionData>& friction, const Place& place) {
    FrictionTable table;
    for (uint32_t n = 0; n < meshes.size() && n < friction.size(); ++n)
        if (meshes[n] != nullptr) table.insert(meshes[n]->getId(), friction[n]);
    const Mesh merged = createMergedMesh(meshes);
    Mesh gridMesh;
    detail::meshFromWorldToGrid(merged, xformGridToWorld, grid, gridMesh);
    if (gridMesh.triangleCount() == 0 || !gridMesh.isBoxValid()) return;

    MeshVoxelizer3<float> voxelizer(detail::gridLattice(grid));
    voxelizer.setThreads(threads);
    voxelizer.setCollectFaces(true);
    Array<MeshGrid3BoxesFaces<float>> chunks;
    if (!voxelizer.rasterize(gridMesh, Array<Box3<float>>{gridMesh.getBox()}, chunks)) return;
    Array<FacePlanes> faces;
    buildFacePlanes(gridMesh, faces);
    const FrictionEvaluator evaluator(*this, gridMesh, table, &faces);
    const MeshAttribute* ids = gridMesh.findAttribute(Mesh::kMeshId);
    const MeshAttribute* velocities = merged.findAttribute(Mesh::kVelocity);
    // The whole mesh's mean velocity, for the cells inside it.
    Array<uint32_t> allFaces(merged.triangleCount());
    for (uint32_t f = 0; f < allFaces.size(); ++f) allFaces[f] = f;
    const Vector3<float> meanVelocity = meanCornerVelocity(merged, velocities, allFaces.begin(), allFaces.end());

    Array<FrictionEvaluator::FaceRecord> records;
    for (const MeshGrid3BoxesFaces<float>& chunk : chunks)
        for (uint32_t n = 0; n < chunk.sampleCount(); ++n) {
            const bool touched = chunk.isSurface(n) && chunk.hasFaces() && chunk.facesBegin(n) != chunk.facesEnd(n);
            if (!touched && !chunk.isInside(n)) continue;
            const Tuple3<unsigned int> ijk = chunk.getSampleCell(n);
            records.clear();
            if (touched)
                for (const uint32_t* f = chunk.facesBegin(n); f != chunk.facesEnd(n); ++f)
                    records.push_back({meshIdOf(ids, *f), *f});
            const Vector3<float> worldVelocity =
                touched ? meanCornerVelocity(merged, velocities, chunk.facesBegin(n), chunk.facesEnd(n)) : meanVelocity;
            place(ObstacleCell{grid.index(ijk.first, ijk.second, ijk.third),
                               touched ? double(evaluator.evaluate(records, chunk.getSampleBox(n))) : kInsideWallFactor,
                               touched ? records[0].first : 0u, touched, worldToGridVelocity(worldVelocity)});
        }
}

// The density of the liquid an obstacle covers leaves the liquid outside the
// solver: booked in addedMass, the sub-steps hand it back to the rest, as
// the liquid the obstacle pushed away.
void MAC_LBM_Fluid3::removeCoveredLiquid(LBM_Cell3<float>* cell) {
    solverContext.refAddedMass() += static_cast<LBM_Q19_MAC_Cell3F*>(cell)->getDensity();
    releaseCell(cell);
}

void MAC_LBM_Fluid3::removeParticlesInSolids() {
    Array<unsigned int> covered;
    for (const MAC_Particle3& p : particles) {
        Tuple3<unsigned int> ijk;
        if (!grid.locate(p.position, ijk)) continue;
        const LBM_Cell3<float>* cell = grid.at(ijk.first, ijk.second, ijk.third);
        if (cell != nullptr && cell->isSolid()) covered.push_back(p.id);
    }
    if (!covered.empty()) particles.remove(covered);
    dirtyFlags.set(VOF_DIRTY);
}

void MAC_LBM_Fluid3::setStaticSolidCells(const ArrayOfPtr<const Mesh, KV_NO>& meshes,
                                         const Array<FrictionData>& friction) {
    for (const Mesh* mesh : meshes)
        if (mesh != nullptr && std::find(staticMeshOrder.begin(), staticMeshOrder.end(), mesh->getId()) ==
                                   staticMeshOrder.end())
            staticMeshOrder.push_back(mesh->getId());
    bool madeAny = false;
    forEachObstacleCell(meshes, friction, [&](const ObstacleCell& covered) {
        LBM_Cell3<float>*& slot = grid.refCells()[covered.index];
        if (slot != nullptr && !slot->isFluid()) return;
        if (slot != nullptr) removeCoveredLiquid(slot);
        // A pooled cell comes back as it was released, type and all.
        LBM_SolidCell3<float>* solid = acquireSolidCell();
        solid->setType(LBM_CELL_SOLID);
        solid->setVelocity(Vector3<float>());
        solid->setGridMonoindex(covered.index);
        solid->setWallFactor(covered.wallFactor);
        if (covered.hasMesh) staticSolidMeshIds[covered.index] = covered.meshId;
        slot = solid;
        madeAny = true;
    });
    if (madeAny) removeParticlesInSolids();
}

void MAC_LBM_Fluid3::setDynamicSolidCells(const ArrayOfPtr<const Mesh, KV_NO>& meshes,
                                          const Array<FrictionData>& friction) {
    dynamicMeshOrder.clear();
    for (const Mesh* mesh : meshes)
        if (mesh != nullptr) dynamicMeshOrder.push_back(mesh->getId());
    std::map<unsigned int, unsigned int> now;
    forEachObstacleCell(meshes, friction, [&](const ObstacleCell& covered) {
        LBM_Cell3<float>*& slot = grid.refCells()[covered.index];
        const bool ours = dynamicSolidMeshIds.count(covered.index) > 0;
        if (slot != nullptr && !slot->isFluid() && !ours) return;  // walls, static obstacles, drains
        if (!ours) {
            if (slot != nullptr) removeCoveredLiquid(slot);
            LBM_SolidCell3<float>* solid = acquireSolidCell();
            solid->setType(LBM_CELL_SOLID);
            solid->setGridMonoindex(covered.index);
            slot = solid;
        }
        auto* solid = static_cast<LBM_SolidCell3<float>*>(slot);
        solid->setVelocity(covered.velocity);
        solid->setWallFactor(covered.wallFactor);
        now[covered.index] = covered.hasMesh ? covered.meshId : 0u;
    });

    // Cells the obstacles left: empty, with their full neighbours on the surface.
    NeighborArray neighbours(q19::kDirectionCount - 1);
    for (const auto& [index, meshId] : dynamicSolidMeshIds) {
        if (now.count(index) > 0) continue;
        LBM_Cell3<float>*& slot = grid.refCells()[index];
        releaseCell(slot);
        slot = nullptr;
        getNeighborCells(index, grid, neighbours);
        for (LBM_Cell3<float>* n : neighbours)
            if (n != nullptr && n->getType() == LBM_CELL_FLUID) n->setType(LBM_CELL_INTERFACE);
    }
    dynamicSolidMeshIds.swap(now);
    removeParticlesInSolids();
}

void MAC_LBM_Fluid3::computeMomentum(Array<Vector3<float>>& momentum) const {
    momentum.clear();
    for (const std::vector<unsigned int>* order : {&staticMeshOrder, &dynamicMeshOrder})
        for (const unsigned int& id : *order) {
            const auto found = exchangedMomentum.find(id);
            const Vector3<double> lattice = found != exchangedMomentum.end() ? found->second : Vector3<double>();
            momentum.push_back(gridToWorldMomentum(Vector3<float>(float(lattice.x), float(lattice.y), float(lattice.z))));
        }
}

void MAC_LBM_Fluid3::clearExchangedMomentum() { exchangedMomentum.clear(); }

void MAC_LBM_Fluid3::addExchangedMomentum(const unsigned int& meshId, const Vector3<double>& latticeMomentum) {
    exchangedMomentum[meshId] += latticeMomentum;
}

bool MAC_LBM_Fluid3::obstacleMeshAt(const unsigned int& index, unsigned int& meshId) const {
    for (const std::map<unsigned int, unsigned int>* ids : {&staticSolidMeshIds, &dynamicSolidMeshIds}) {
        const auto found = ids->find(index);
        if (found == ids->end()) continue;
        meshId = found->second;
        return true;
    }
    return false;
}

void MAC_LBM_Fluid3::getFluidCellsInSolidContactAsParticles(Array<MAC_Particle3>& contacts) const {
    contacts.clear();
    if (!hasObstacles()) return;
    NeighborArray neighbours(q19::kDirectionCount - 1);
    const Array<LBM_Cell3<float>*>& cells = grid.getCells();
    for (uint32_t index = 0; index < cells.size(); ++index) {
        const LBM_Cell3<float>* cell = cells[index];
        if (cell == nullptr || !cell->isFluid()) continue;
        getNeighborCells(index, grid, neighbours);
        for (const LBM_Cell3<float>* n : neighbours) {
            unsigned int meshId = 0;
            if (n == nullptr || !n->isSolid() || !obstacleMeshAt(n->getGridMonoindex(), meshId)) continue;
            const unsigned int stride = grid.getStride();
            const Vector3<float> centre(float(index / stride) + 0.5f, float(index % stride / grid.getNz()) + 0.5f,
                                        float(index % grid.getNz()) + 0.5f);
            MAC_Particle3 contact;
            contact.id = contacts.size();
            contact.position = gridToWorldPosition(grid.getBox().min + centre.mul(grid.getCellSize()));
            contact.velocity = gridToWorldVelocity(cell->getVelocity());
            contact.sourceId = static_cast<unsigned short>(meshId);
            contact.uv = Vector2<float>(0.0f, 0.0f);
            contacts.push_back(contact);
            break;
        }
    }
}

}  // namespace kelvar::fluid
