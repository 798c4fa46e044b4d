#pragma once

#include "kv_basic/Export.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

// Base of every cell of the fluid grid: what kind of site it is (a code of
// LBM_CellType), its macroscopic velocity in lattice units and its linear
// index in the grid (0xFFFFFFFF while not placed). Cells never own their
// neighbours; the grid and its pools own the cells.
template <class T>
class LBM_Cell3 {
public:
    LBM_Cell3() = default;
    LBM_Cell3(const LBM_Cell3& other) = default;
    LBM_Cell3& operator=(const LBM_Cell3& other) = default;
    virtual ~LBM_Cell3();

    // Returns the cell to the unclassified type; nothing else changes.
    virtual void initialize();

    const unsigned char& getType() const { return type; }
    void setType(const unsigned char& code) { type = code; }
    const Vector3<T>& getVelocity() const { return velocity; }
    void setVelocity(const Vector3<T>& value) { velocity = value; }
    const unsigned int& getGridMonoindex() const { return gridMonoindex; }
    void setGridMonoindex(const unsigned int& index) { gridMonoindex = index; }

    // Liquid, that is a full cell or an interface cell.
    bool isFluid() const { return type == LBM_CELL_FLUID || type == LBM_CELL_INTERFACE; }
    bool isInterface() const { return type == LBM_CELL_INTERFACE; }
    bool isSolid() const { return type == LBM_CELL_SOLID; }
    bool isSink() const { return type == LBM_CELL_SINK; }

    // Equal type and velocity; the grid index is not compared.
    bool operator==(const LBM_Cell3& other) const;

protected:
    unsigned char type = LBM_CELL_NONE;
    Vector3<T> velocity;
    unsigned int gridMonoindex = 0xFFFFFFFFu;
};

extern template class KV_EXPORT LBM_Cell3<float>;

}  // namespace kelvar::fluid
