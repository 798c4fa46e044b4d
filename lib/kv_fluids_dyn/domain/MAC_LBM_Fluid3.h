#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "kv_basic/Array.h"
#include "kv_basic/ArrayOfPtr.h"
#include "kv_basic/Export.h"
#include "kv_basic/Flag.h"
#include "kv_basic/KV_String.h"
#include "kv_basic/MutexShort.h"
#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/domain/CellPool.h"
#include "kv_fluids_dyn/domain/KV_Combo.h"
#include "kv_fluids_dyn/domain/LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
#include "kv_fluids_dyn/particles/MAC_Particle3.h"
#include "kv_fluids_dyn/particles/MAC_ParticleSystem3.h"
#include "kv_fluids_dyn/particles/ParticleBatch.h"
#include "kv_fluids_dyn/domain/MAC_LBM_SolverContext3.h"
#include "kv_geometry/Box3BoxesBits.h"
#include "kv_geometry/Mesh.h"
#include "kv_geometry/MeshGrid3BoxesFaces.h"
#include "kv_geometry/ScalarField3.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

class FileStream;
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
// The solver reaches the liquid-cell pool through acquireLiquidCells
// (locked) and releaseCell (unlocked, called between passes). Copies are
// shallow on purpose: a copy shares the source's cells and must not outlive
// it; it gets pools and a VOF field of its own, empty.
class KV_EXPORT MAC_LBM_Fluid3 : public LBM_Fluid3<float> {
public:
    using NeighborArray = Array<LBM_Cell3<float>*>;

    // Dirty flag: the fill fractions changed since the VOF field was built.
    static constexpr unsigned short VOF_DIRTY = 0x0001;

    MAC_LBM_Fluid3();
    MAC_LBM_Fluid3(const MAC_LBM_Fluid3& other);
    MAC_LBM_Fluid3& operator=(const MAC_LBM_Fluid3& other);
    ~MAC_LBM_Fluid3() override;

    // External forcing, written into the force of liquid cells (lattice
    // units). The global forms change every fluid and interface cell. The
    // positional forms take a grid-space position and change the cell there
    // whatever its type; a position with no cell, or a cell that carries no
    // force (wall, drain), is ignored.
    void addForce(const Vector3<float>& position, const Vector3<float>& force) override;
    void addForce(const Vector3<float>& force) override;
    void setForce(const Vector3<float>& position, const Vector3<float>& force) override;
    void setForce(const Vector3<float>& force) override;
    // Checkpoints: the whole state of the domain in one little-endian file
    // (parameters, grid, every cell, the particles with 8 bits per position
    // and velocity component), written with createCheckPoint. Read back
    // with createFromCheckPoint (the file's parameters and grid too) or with
    // restoreFromCheckPoint into a domain of the same shape (its own
    // parameters kept), or only the particles with
    // load_MAC_ParticlesFromCheckPoint. A file that is cut short or does not
    // hold together is refused, and the domain is then left as it was.
    enum RestoreError : unsigned int {
        RESTORE_CANNOT_OPEN = 1,
        RESTORE_NEWER_VERSION = 2,
        RESTORE_OTHER_RESOLUTION = 3,
        RESTORE_OTHER_GRID = 4,
        RESTORE_DONE = 5,
        // Ours: the file is truncated or inconsistent.
        RESTORE_CORRUPT = 6,
    };
    using Load_MAC_ParticlesError = RestoreError;

    bool createCheckPoint(const KV_String& path) const override;
    bool createCheckPoint(FileStream& stream) const;
    // Off by default. When on, checkpoints end with a section of our own
    // that readers of the plain layout never reach: the particles' positions
    // and velocities in full precision, the time the solver has carried
    // over and the state of its re-seeding generator. A domain restored
    // from such a file after its solver was initialised goes on exactly as
    // the saved one would have.
    void setExactCheckpoints(const bool& exact) { exactCheckpoints = exact; }
    const bool& getExactCheckpoints() const { return exactCheckpoints; }

    // Off by default. When on, liquid that leaves through a sink is drained
    // for good: the density of a cell the relabelling empties next to a
    // sink is counted in the context's drained total instead of the density
    // the sub-step lost (which the solver hands back to the liquid), and no
    // sub-step hands back more than is owed. With it, a tank with a drain
    // in its floor empties. getDrainedMass is the total in world units (kg
    // for a density in kg/m^3).
    void setSinksDrain(const bool& drain) { sinksDrain = drain; }
    const bool& getSinksDrain() const { return sinksDrain; }
    float getDrainedMass() const { return solverContext.getDrainedDensity() * solverContext.getCellMass(); }
    // Off by default. When on, the solver keeps the liquid's mass (the
    // density of full cells plus the mass of interface cells) instead of
    // its density sum: the mass exchange is not clipped to one cell's worth,
    // relabelling hands the mass of a cell that empties and the excess or
    // shortfall of one that fills to its interface neighbours, cells turned
    // into interface cells start with their density as mass, and what is
    // left over (cells with no liquid neighbour, the speed limiter) is
    // spread over the interface cells within the same sub-step. Only
    // drains and obstacles then change the liquid's mass.
    void setConserveMass(const bool& conserve) { conserveMass = conserve; }
    const bool& getConserveMass() const { return conserveMass; }
    // The liquid's mass in world units (kg for a density in kg/m^3): the
    // density of every full cell plus the mass of every interface cell,
    // summed in double precision in grid order. A full cell's own mass
    // field is only refreshed when it changes type, so its density is what
    // it holds.
    double computeLiquidMass() const;
    bool createFromCheckPoint(const KV_String& path) override;
    RestoreError restoreFromCheckPoint(const KV_String& path);
    RestoreError restoreFromCheckPoint(FileStream& stream);
    Load_MAC_ParticlesError load_MAC_ParticlesFromCheckPoint(const KV_String& path);
    Load_MAC_ParticlesError load_MAC_ParticlesFromCheckPoint(FileStream& stream);

    // The body of a checkpoint (everything after the version word) for each
    // stream class; read returns false, with the domain unchanged, on a
    // file that is cut short or inconsistent.
    template <class S>
    void write(S& stream) const;
    template <class S>
    bool read(S& stream);

    // Proxies: the particles' positions and velocities alone, all of them or
    // a share of those in interface cells.
    enum ProxyQuality : int {
        PROXY_SURFACE_TENTH = 0,
        PROXY_SURFACE_THIRD = 1,
        PROXY_SURFACE_HALF = 2,
        PROXY_SURFACE = 3,
        PROXY_ALL = 4,
    };
    bool createProxy(const KV_String& path, const ProxyQuality& quality) const;
    // Replaces the particles with the proxy's (ids from 0 in file order); a
    // file that is cut short leaves the particles as they were.
    bool restoreFromProxy(const KV_String& path);

    // Empties the grid, drops every cell and particle, and zeroes the
    // solver's density accumulators.
    void initialize() override;
    // Sizes the grid, then the VOF field to one value per cell.
    void setResolution(const unsigned int& requestedCount) override;

    // Fills the inside of a closed world-space mesh with liquid: cells on its
    // surface become interface cells, cells inside fluid cells, all full and
    // moving at `velocity` (world units). Each new cell gets eight marker
    // particles stamped with `id`, spread by `jitter` (0 regular, 1 up to
    // almost a quarter cell) from a generator seeded with `seed`; particle
    // positions are in grid space. Solid and sink cells are never replaced;
    // existing liquid cells are re-initialised but get no new particles. The
    // result depends only on the arguments and the thread count.
    virtual void setFluidCells(const Mesh& mesh, const Vector3<float>& velocity, const float& jitter, const int& seed,
                               const unsigned short& id);
    // The obstacle meshes (world space) merged into one, each face keeping
    // its mesh's id as the per-face "MESH_ID"; "UV_MAP_0" and "Velocity"
    // come along where the meshes carry them (zero where they do not).
    static Mesh createMergedMesh(const ArrayOfPtr<const Mesh, KV_NO>& meshes);
    // Static obstacles: every cell that a face of the meshes touches becomes
    // solid (so a plate thinner than a cell still holds liquid back), and so
    // does every cell inside them. Each new solid cell stands still and
    // gets its wall factor (1 no-slip, 0 free slip) from the friction of
    // the faces touching it, `friction[n]` being the record of `meshes[n]`;
    // cells inside, touched by no face, are no-slip. Liquid the obstacles
    // cover is removed with its particles, its density booked in the
    // context's addedMass, so that the next sub-step hands it back to the
    // rest of the liquid (call after the solver's preSolve, which forgets
    // addedMass). Walls and drains stay as they are. The mesh id of each new
    // solid cell is kept (getStaticSolidMeshIds).
    virtual void setStaticSolidCells(const ArrayOfPtr<const Mesh, KV_NO>& meshes, const Array<FrictionData>& friction);
    // Moving obstacles, called every frame with the meshes at their new
    // pose (world space, "Velocity" per vertex in world units per second if
    // they move). Cells covered now become solid as for static obstacles
    // (the liquid there is removed with its particles), cells covered at
    // the last call and not now become empty and their full liquid
    // neighbours interface cells. Every moving solid cell carries the
    // obstacle's velocity there in lattice units (the mean over the
    // corners of the faces touching it, or over the whole mesh for a cell
    // inside), which the walls' moving-wall term hands to the liquid.
    // Static obstacles and walls are never touched.
    virtual void setDynamicSolidCells(const ArrayOfPtr<const Mesh, KV_NO>& meshes, const Array<FrictionData>& friction);
    // Mesh id of each moving obstacle cell, by linear grid index.
    const std::map<unsigned int, unsigned int>& getDynamicSolidMeshIds() const { return dynamicSolidMeshIds; }
    // The momentum (world units, kg m/s) the liquid handed each obstacle
    // mesh over the sub-steps since the solver's last preSolve, one entry
    // per mesh in the order the meshes were given (static ones, then moving
    // ones): twice the distribution that each liquid cell sends into an
    // obstacle cell along each link, summed over the links and sub-steps.
    // Divided by the frame's time it is the mean force in newtons.
    virtual void computeMomentum(Array<Vector3<float>>& momentum) const;
    // The solver's side of computeMomentum: forgets the exchanged momentum
    // (at preSolve) and adds a sub-step's share for one mesh (lattice units).
    void clearExchangedMomentum();
    void addExchangedMomentum(const unsigned int& meshId, const Vector3<double>& latticeMomentum);
    bool hasObstacles() const { return !staticSolidMeshIds.empty() || !dynamicSolidMeshIds.empty(); }
    // The mesh id of the obstacle cell at a linear grid index, or false.
    bool obstacleMeshAt(const unsigned int& index, unsigned int& meshId) const;
    // Makes drains of the cells inside (or, with inside false, outside) a
    // world-space mesh, tagged with the mesh's id; liquid there is dropped
    // to the pool, its particles stay. Drains of this id that the mesh no
    // longer covers become empty and their fluid neighbours interface
    // cells. A drain stays covered until the solver's next step clears its
    // mark, so calls for one id are one step apart.
    virtual void setSinkCells(const Mesh& mesh, const bool& inside);

    // Neighbour lookup. Fills exactly out.size() entries (at most 18) with
    // the neighbours in D3Q19 directions 1, 2, ... of the given position:
    // null where the neighbour lies outside the grid, else the grid's
    // pointer there (itself null where no cell exists). Never resizes out.
    virtual void getNeighborCells(const Tuple3<unsigned int>& ijk, const GridType& grid, NeighborArray& out) const;
    virtual void getNeighborCells(const unsigned int& i, const unsigned int& j, const unsigned int& k,
                                  const GridType& grid, NeighborArray& out) const;

    // One record per liquid cell next to an obstacle cell, in grid
    // order: the cell centre and the liquid's velocity in world units, and
    // the obstacle's mesh id in sourceId (the first obstacle neighbour in
    // lattice order); ids count from 0. For hosts that spawn foam, wetness
    // or sounds where liquid touches obstacles.
    virtual void getFluidCellsInSolidContactAsParticles(Array<MAC_Particle3>& particles) const;
    // Accelerations (world units) go into the same force field as forces,
    // converted but not weighted by density. The positional form takes a
    // world position and changes only a fluid or interface cell there.
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

    // The cell supply of a solver that relabels cells during a sub-step:
    // acquireLiquidCells and releaseCell below, reachable only with a key
    // that the solver makes, so that they stay out of a host's reach.
    class SolverKey {
        friend class MAC_LBM_Solver3;
        SolverKey() = default;
    };
    // Takes `count` liquid cells from the pool into out[0..count), in the
    // order the pool hands them out, under one hold of the pool's lock.
    void acquireLiquidCells(const SolverKey&, const uint32_t& count, LBM_Q19_MAC_Cell3F** out);
    void releaseCell(const SolverKey&, LBM_Cell3<float>* const cell) { releaseCell(cell); }

protected:
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
    std::map<unsigned int, unsigned int> dynamicSolidMeshIds;
    std::vector<unsigned int> staticMeshOrder;
    std::vector<unsigned int> dynamicMeshOrder;
    std::map<unsigned int, Vector3<double>> exchangedMomentum;
    MAC_LBM_SolverContext3 solverContext;
    Flag<MAC_LBM_Fluid3, unsigned short> dirtyFlags;

private:
    // What one setFluidCells call stamps on the cells and particles it makes;
    // the velocity is in lattice units.
    struct Emission {
        Vector3<float> velocity;
        float jitter;
        int seed;
        unsigned short id;
    };

    // Emission (MAC_LBM_Fluid3Emission.cpp): one pass over the chunks for
    // the samples with the surface (or inside) answer, making cells of `type`.
    void emitLiquid(const Array<MeshGrid3BoxesFaces<float>>& chunks, const bool& surface, const unsigned char& type,
                    const Emission& emission);
    // Writes the eight marker particles of the new cell at ijk through
    // `slots` (reserved beforehand, so that several workers can fill cells
    // at once), reading the velocity the cell holds now; advances `combo`
    // when jitter > 0.
    void create_MAC_ParticlesInCell(const Tuple3<unsigned int>& ijk, const float& jitter, const unsigned short& id,
                                    KV_Combo& combo, ParticleBatch<MAC_Particle3>::Writer& slots) const;

    // Sinks (MAC_LBM_Fluid3Sinks.cpp): marks or makes the drains of `sinkId`
    // where the inside bit equals `inside`, then empties the unmarked ones.
    void markSinkCells(const Array<Box3BoxesBits<float>>& chunks, const bool& inside, const unsigned int& sinkId);
    void sweepSinkCells(const unsigned int& sinkId);
    // Returns a liquid cell to its pool under the pool's lock.
    void releaseLiquidCellLocked(LBM_Q19_MAC_Cell3F* cell);

    // Checkpoints (io/MAC_LBM_Fluid3Checkpoint.cpp): the batch removal of
    // each id list in turn.
    void remove_MAC_Particles(const Array<Array<unsigned int>>& ids);
    template <class S>
    RestoreError restoreSection(S& stream, const bool& particlesOnly);
    RestoreError restoreFile(const KV_String& path, const bool& particlesOnly);
    // Replaces the particles (and, unless particlesOnly, the cells and the
    // accumulators) with a decoded checkpoint body.
    template <class Body>
    void commitCheckpoint(const Body& body, const bool& particlesOnly);

    // Obstacles (MAC_LBM_Fluid3Obstacles.cpp): what the voxelisation of the
    // meshes says of one covered cell, handed to `place` in grid order.
    struct ObstacleCell {
        unsigned int index;
        double wallFactor;
        unsigned int meshId;
        bool hasMesh;
        Vector3<float> velocity;  // lattice units
    };
    template <class Place>
    void forEachObstacleCell(const ArrayOfPtr<const Mesh, KV_NO>& meshes, const Array<FrictionData>& friction,
                             const Place& place);
    // Removes the particles that lie in solid cells.
    void removeParticlesInSolids();
    void removeCoveredLiquid(LBM_Cell3<float>* cell);

    // Forces (MAC_LBM_Fluid3Forces.cpp): adds v to, or stores it in, the
    // force of every fluid and interface cell.
    void applyToLiquidCells(const Vector3<float>& v, const bool& replace);

    MutexShort liquidPoolMutex;
    bool exactCheckpoints = false;
    bool sinksDrain = false;
    bool conserveMass = false;
};

}  // namespace kelvar::fluid
