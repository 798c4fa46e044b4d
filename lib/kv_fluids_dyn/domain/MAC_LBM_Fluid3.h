#pragma once

#include <cstdint>
#include <map>

#include "kv_basic/Array.h"
#include "kv_basic/ArrayOfPtr.h"
#include "kv_basic/Export.h"
#include "kv_basic/Flag.h"
#include "kv_basic/KV_String.h"
#include "kv_basic/MutexShort.h"
#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/domain/CellPool.h"
#include "kv_fluids_dyn/domain/LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
#include "kv_fluids_dyn/particles/MAC_Particle3.h"
#include "kv_fluids_dyn/particles/MAC_ParticleSystem3.h"
#include "kv_fluids_dyn/solver/MAC_LBM_SolverContext3.h"
#include "kv_geometry/Mesh.h"
#include "kv_geometry/ScalarField3.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

class FrictionData;
class MAC_LBM_Solver3;

// One free-surface lattice-Boltzmann fluid domain, the object a host builds,
// fills and hands to a solver.
//
// It owns every cell of its grid: liquid cells (full and interface) come
// from its liquid-cell pool, walls and obstacles from the solid-cell pool,
// drains from the sink-cell pool. It also owns the marker particles, the VOF
// field, the solver's per-fluid state and the per-step cell lists that the
// solver rebuilds at each sub-step. The dirty flags tell the output code
// which derived data is out of date.
//
// The solver reaches the liquid-cell pool through acquireLiquidCell (locked,
// safe from worker threads) and releaseCell (unlocked, called between
// passes). Copies are shallow on purpose: a copy shares the source's cells
// and must not outlive it; it gets pools and a VOF field of its own, empty.
class KV_EXPORT MAC_LBM_Fluid3 : public LBM_Fluid3<float> {
public:
    using NeighborArray = Array<LBM_Cell3<float>*>;

    // Dirty flag: the fill fractions changed since the VOF field was built.
    static constexpr unsigned short VOF_DIRTY = 0x0001;

    MAC_LBM_Fluid3();
    MAC_LBM_Fluid3(const MAC_LBM_Fluid3& other);
    MAC_LBM_Fluid3& operator=(const MAC_LBM_Fluid3& other);
    ~MAC_LBM_Fluid3() override;

    // Not implemented yet: these do nothing; the checkpoint calls return false.
    void addForce(const Vector3<float>& position, const Vector3<float>& force) override;
    void addForce(const Vector3<float>& force) override;
    void setForce(const Vector3<float>& position, const Vector3<float>& force) override;
    void setForce(const Vector3<float>& force) override;
    bool createCheckPoint(const KV_String& path) const override;
    bool createFromCheckPoint(const KV_String& path) override;

    // Empties the grid, drops every cell and particle, and zeroes the
    // solver's density accumulators.
    void initialize() override;
    // Sizes the grid, then the VOF field to one value per cell.
    void setResolution(const unsigned int& requestedCount) override;

    // Not implemented yet: these do nothing and leave their outputs empty.
    virtual void setFluidCells(const Mesh& mesh, const Vector3<float>& velocity, const float& jitter, const int& seed,
                               const unsigned short& id);
    virtual void setStaticSolidCells(const ArrayOfPtr<const Mesh, KV_NO>& meshes, const Array<FrictionData>& friction);
    virtual void setDynamicSolidCells(const ArrayOfPtr<const Mesh, KV_NO>& meshes, const Array<FrictionData>& friction);
    // Momentum the liquid exerts on each obstacle mesh, in mesh order.
    virtual void computeMomentum(Array<Vector3<float>>& momentum) const;
    virtual void setSinkCells(const Mesh& mesh, const bool& inside);

    // Neighbour lookup. Fills exactly out.size() entries (at most 18) with
    // the neighbours in D3Q19 directions 1, 2, ... of the given position:
    // null where the neighbour lies outside the grid, else the grid's
    // pointer there (itself null where no cell exists). Never resizes out.
    virtual void getNeighborCells(const Tuple3<unsigned int>& ijk, const GridType& grid, NeighborArray& out) const;
    virtual void getNeighborCells(const unsigned int& i, const unsigned int& j, const unsigned int& k,
                                  const GridType& grid, NeighborArray& out) const;

    // Not implemented yet, like the operations above.
    virtual void getFluidCellsInSolidContactAsParticles(Array<MAC_Particle3>& particles) const;
    virtual void addAcceleration(const Vector3<float>& position, const Vector3<float>& acceleration);
    virtual void addAcceleration(const Vector3<float>& acceleration);
    virtual void setAcceleration(const Vector3<float>& acceleration);

    // Neighbour lookup by linear index; the grid must have cells.
    virtual void getNeighborCells(const unsigned int& index, const GridType& grid, NeighborArray& out) const;

    // Volume-of-fluid output: compute_VOF_Field rebuilds the field from the
    // cells while VOF_DIRTY is set; get_VOF_Field returns it as it stands.
    void compute_VOF_Field();
    const ScalarField3<float>& get_VOF_Field() const { return vofField; }
    // Voxels of the VOF field per cell along each axis (its integer part).
    const float& getVOFResolutionFactor() const { return vofResolutionFactor; }
    void setVOFResolutionFactor(const float& factor) { vofResolutionFactor = factor; }
    // The centre height of the lowest open-surface interface cell in the
    // column at fractions s (along x) and t (along z) of the domain.
    bool getPointInSkyInterfaceCell(const float& s, const float& t, Vector3<float>& point) const;
    const MAC_ParticleSystem3& get_MAC_ParticleSystem() const { return particles; }
    MAC_ParticleSystem3& ref_MAC_ParticleSystem() { return particles; }
    const MAC_LBM_SolverContext3& getSolverContext() const { return solverContext; }
    MAC_LBM_SolverContext3& refSolverContext() { return solverContext; }
    const Flag<MAC_LBM_Fluid3, unsigned short>& getDirtyFlags() const { return dirtyFlags; }
    Flag<MAC_LBM_Fluid3, unsigned short>& refDirtyFlags() { return dirtyFlags; }
    void setDirtyFlags(const Flag<MAC_LBM_Fluid3, unsigned short>& flags) { dirtyFlags = flags; }

    // Per-step lists the solver rebuilds from the grid: every liquid cell
    // (full or interface) in grid order, and the interface cells among them.
    const ArrayOfPtr<LBM_Q19_MAC_Cell3F, KV_NO>& getArrLiquidCells() const { return arrLiquidCells; }
    ArrayOfPtr<LBM_Q19_MAC_Cell3F, KV_NO>& refArrLiquidCells() { return arrLiquidCells; }
    const ArrayOfPtr<LBM_Q19_MAC_Cell3F, KV_NO>& getArrInterfaceCells() const { return arrInterfaceCells; }
    ArrayOfPtr<LBM_Q19_MAC_Cell3F, KV_NO>& refArrInterfaceCells() { return arrInterfaceCells; }

    // Liquid cells handed out by the pool, i.e. in the grid.
    const uint32_t& getLiquidCellCount() const { return liquidPool.getCount(); }

    // Mesh id of each static obstacle cell, by linear grid index.
    const std::map<unsigned int, unsigned int>& getStaticSolidMeshIds() const { return staticSolidMeshIds; }

protected:
    friend class MAC_LBM_Solver3;

    // Takes a liquid cell from the pool under the pool's lock.
    LBM_Q19_MAC_Cell3F* acquireLiquidCell();
    // Returns a liquid or solid cell to its pool with the type NONE; other
    // cells (and null) are left alone. The caller clears the grid entry.
    void releaseCell(LBM_Cell3<float>* const cell);
    // Whether two cells would be stored as one run: same pointer, or the
    // same type with equal fields. Distinct empty or unclassified cells
    // never compare equal.
    bool areCellsEqual(const LBM_Cell3<float>* a, const LBM_Cell3<float>* b) const;

    ScalarField3<float>& ref_VOF_Field() { return vofField; }

    ScalarField3<float> vofField;
    float vofResolutionFactor = 1.0f;
    CellPool<LBM_Q19_MAC_Cell3F> liquidPool;
    ArrayOfPtr<LBM_Q19_MAC_Cell3F, KV_NO> arrLiquidCells;
    ArrayOfPtr<LBM_Q19_MAC_Cell3F, KV_NO> arrInterfaceCells;
    MAC_ParticleSystem3 particles;
    std::map<unsigned int, unsigned int> staticSolidMeshIds;
    MAC_LBM_SolverContext3 solverContext;
    Flag<MAC_LBM_Fluid3, unsigned short> dirtyFlags;

private:
    MutexShort liquidPoolMutex;
};

}  // namespace kelvar::fluid
