// Static obstacles of MAC_LBM_Fluid3: merging the host's meshes, and turning
// the cells they touch or enclose into solid cells with their friction.

#include <algorithm>

#include "kv_fluids_dyn/domain/FrictionTable.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/domain/internal/FrictionEvaluator.h"
#include "kv_fluids_dyn/domain/internal/GridVoxelization.h"
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

void MAC_LBM_Fluid3::setStaticSolidCells(const ArrayOfPtr<const Mesh, KV_NO>& meshes,
                                         const Array<FrictionData>& friction) {
    FrictionTable table;
    for (uint32_t n = 0; n < meshes.size() && n < friction.size(); ++n)
        if (meshes[n] != nullptr) table.insert(meshes[n]->getId(), friction[n]);
    Mesh gridMesh;
    detail::meshFromWorldToGrid(createMergedMesh(meshes), xformGridToWorld, grid, gridMesh);
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

    Array<FrictionEvaluator::FaceRecord> records;
    bool madeAny = false;
    for (const MeshGrid3BoxesFaces<float>& chunk : chunks)
        for (uint32_t n = 0; n < chunk.sampleCount(); ++n) {
            const bool touched = chunk.isSurface(n);
            if (!touched && !chunk.isInside(n)) continue;
            const Tuple3<unsigned int> ijk = chunk.getSampleCell(n);
            const unsigned int index = grid.index(ijk.first, ijk.second, ijk.third);
            LBM_Cell3<float>*& slot = grid.refCells()[index];
            if (slot != nullptr && !slot->isFluid()) continue;
            if (slot != nullptr) releaseCell(slot);

            LBM_SolidCell3<float>* solid = acquireSolidCell();
            solid->setVelocity(Vector3<float>());
            solid->setGridMonoindex(index);
            records.clear();
            if (touched && chunk.hasFaces())
                for (const uint32_t* f = chunk.facesBegin(n); f != chunk.facesEnd(n); ++f)
                    records.push_back({meshIdOf(ids, *f), *f});
            solid->setWallFactor(records.empty() ? kInsideWallFactor
                                                 : double(evaluator.evaluate(records, chunk.getSampleBox(n))));
            if (!records.empty()) staticSolidMeshIds[index] = records[0].first;
            slot = solid;
            madeAny = true;
        }
    if (!madeAny) return;

    // Particles the obstacles now cover go with the liquid.
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

void MAC_LBM_Fluid3::getFluidCellsInSolidContactAsParticles(Array<MAC_Particle3>& contacts) const {
    contacts.clear();
    if (staticSolidMeshIds.empty()) return;
    NeighborArray neighbours(q19::kDirectionCount - 1);
    const Array<LBM_Cell3<float>*>& cells = grid.getCells();
    for (uint32_t index = 0; index < cells.size(); ++index) {
        const LBM_Cell3<float>* cell = cells[index];
        if (cell == nullptr || !cell->isFluid()) continue;
        getNeighborCells(index, grid, neighbours);
        for (const LBM_Cell3<float>* n : neighbours) {
            if (n == nullptr || !n->isSolid()) continue;
            const auto obstacle = staticSolidMeshIds.find(n->getGridMonoindex());
            if (obstacle == staticSolidMeshIds.end()) continue;
            const unsigned int stride = grid.getStride();
            const Vector3<float> centre(float(index / stride) + 0.5f, float(index % stride / grid.getNz()) + 0.5f,
                                        float(index % grid.getNz()) + 0.5f);
            MAC_Particle3 contact;
            contact.id = contacts.size();
            contact.position = gridToWorldPosition(grid.getBox().min + centre.mul(grid.getCellSize()));
            contact.velocity = gridToWorldVelocity(cell->getVelocity());
            contact.sourceId = static_cast<unsigned short>(obstacle->second);
            contact.uv = Vector2<float>(0.0f, 0.0f);
            contacts.push_back(contact);
            break;
        }
    }
}

}  // namespace kelvar::fluid
