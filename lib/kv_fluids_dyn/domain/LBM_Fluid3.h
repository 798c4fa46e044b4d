#pragma once

#include <cstdint>

#include "kv_basic/ArrayOfPtr.h"
#include "kv_basic/Export.h"
#include "kv_basic/MutexShort.h"
#include "kv_fluids_dyn/domain/CellPool.h"
#include "kv_fluids_dyn/domain/EulerianFluid3.h"
#include "kv_fluids_dyn/domain/Grid3.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"
#include "kv_fluids_dyn/lattice/LBM_SinkCell3.h"
#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

// A lattice-Boltzmann fluid: the grid of LBM cells, and the cells that are
// not liquid. Solid cells (walls, obstacles) and sink cells (drains) come
// from this object's pools and stay valid until the next initialize(); the
// lists of them are rebuilt by the solver at every sub-step.
//
// It can wall the whole domain (setDomainBoundaryCells) and sample the
// lattice velocity anywhere in grid space (evalVelocityAt). Copies share the
// cells of the source and start with empty pools of their own.
template <class T>
class KV_EXPORT LBM_Fluid3 : public EulerianFluid3<Grid3<LBM_Cell3<T>, T>, T> {
public:
    using GridType = Grid3<LBM_Cell3<T>, T>;

    // Flag word and wall factor of the cells that line the domain.
    static constexpr unsigned short kDomainWallFlags = 1;
    static constexpr double kDomainWallFactor = 0.001;

    LBM_Fluid3();
    LBM_Fluid3(const LBM_Fluid3& other);
    LBM_Fluid3& operator=(const LBM_Fluid3& other);
    ~LBM_Fluid3() override;

    // Velocity at the grid-space point p, interpolated trilinearly between
    // the liquid cells around it, in lattice units.
    Vector3<T> evalVelocityAt(const Vector3<T>& p) const override;

    // Empties the grid and drops every solid and sink cell.
    void initialize() override;

    // Lines the six faces of the grid with new solid cells, overwriting
    // whatever the grid held there. Needs at least two cells on every axis.
    void setDomainBoundaryCells();

    const ArrayOfPtr<LBM_SolidCell3<T>, KV_NO>& getArrSolidCells() const { return arrSolidCells; }
    ArrayOfPtr<LBM_SolidCell3<T>, KV_NO>& refArrSolidCells() { return arrSolidCells; }
    const ArrayOfPtr<LBM_SinkCell3<T>, KV_NO>& getArrSinkCells() const { return arrSinkCells; }
    ArrayOfPtr<LBM_SinkCell3<T>, KV_NO>& refArrSinkCells() { return arrSinkCells; }

    // Solid and sink cells handed out by the pools, i.e. in the grid.
    const uint32_t& getSolidCellCount() const { return solidPool.getCount(); }
    const uint32_t& getSinkCellCount() const { return sinkPool.getCount(); }

protected:
    // Pool access for passes that run on worker threads; each call holds
    // the pool's lock for the take or the return only.
    LBM_SolidCell3<T>* acquireSolidCell();
    LBM_SinkCell3<T>* acquireSinkCell();
    void releaseSinkCell(LBM_SinkCell3<T>* cell);

    CellPool<LBM_SolidCell3<T>> solidPool;
    ArrayOfPtr<LBM_SolidCell3<T>, KV_NO> arrSolidCells;
    CellPool<LBM_SinkCell3<T>> sinkPool;
    ArrayOfPtr<LBM_SinkCell3<T>, KV_NO> arrSinkCells;

private:
    void placeWallCell(const unsigned int& i, const unsigned int& j, const unsigned int& k);

    MutexShort solidPoolMutex;
    MutexShort sinkPoolMutex;
};

extern template class KV_EXPORT LBM_Fluid3<float>;

}  // namespace kelvar::fluid
