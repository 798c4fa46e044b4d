#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"
#include "kv_fluids_dyn/solver/internal/GridTypes.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// The swap step of streaming for one liquid cell at a time, given the type
// codes of its 19 neighbours: it leaves the cell as its streamPassFluid
// would, but loads a neighbour only for a link it swaps. Each link between
// two liquid cells is swapped by exactly one of them, and a swap touches no
// slot another cell's swap touches, so cells may be visited in any order and
// on any worker.
//
// It also records the cells with a solid neighbour, the wall pass's input,
// in one list per part of the walk that visits them (a block of the grid or
// a worker's range of a list); joined in part order they are in the order
// of the walk's input. One worker at a time may visit a part.
class LinkSwap {
public:
    using Codes = unsigned char[q19::kDirectionCount];

    // Empties the wall lists of `count` parts.
    void beginParts(const uint32_t& count) {
        if (parts.size() < count) parts.resize(count);
        for (uint32_t p = 0; p < count; ++p) parts[p].walls.clear();
        used = count;
    }

    void visit(const uint32_t& part, LBM_Q19_MAC_Cell3F& cell, const Codes& codes,
               const GridNeighbourhood& grid) {
        swapLinks(cell, codes, grid);
        recordWall(part, cell, codes);
    }

    // Records the cell when it has a solid neighbour, without streaming it.
    void recordWall(const uint32_t& part, LBM_Q19_MAC_Cell3F& cell, const Codes& codes) {
        bool wall = false;
        for (unsigned int i = 1; i < q19::kDirectionCount; ++i) wall = wall || codes[i] == LBM_CELL_SOLID;
        if (wall) parts[part].walls.push_back(&cell);
    }

    // The wall cells of the parts of the last walk, in part order.
    void joinWalls(LiquidCells& out) const {
        uint32_t total = 0;
        for (uint32_t p = 0; p < used; ++p) total += parts[p].walls.size();
        out.clear();
        out.reserve(total);
        for (uint32_t p = 0; p < used; ++p)
            for (LBM_Q19_MAC_Cell3F* cell : parts[p].walls) out.push_back(cell);
    }

    static bool isLiquidCode(const unsigned char& code) {
        return code == LBM_CELL_FLUID || code == LBM_CELL_INTERFACE;
    }

private:
    // Liquid cells are of one class, so their slots are reached through its
    // non-virtual accessors.
    static void swapLinks(LBM_Q19_MAC_Cell3F& cell, const Codes& codes, const GridNeighbourhood& grid) {
        ArrayBit& rebuilt = cell.refArrReconstructBit();
        rebuilt.clearAll();
        for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
            if (codes[i] == GridTypes::kNoCell || codes[i] == LBM_CELL_SINK) rebuilt.set(q19::kOpposite[i]);

        using Slots = LBM_Q19_Cell3<float>;
        for (const unsigned int s : q19::kStreamIndex) {
            if (!isLiquidCode(codes[s])) continue;
            auto* n = static_cast<LBM_Q19_MAC_Cell3F*>(grid.neighbour(cell.getGridMonoindex(), s));
            const unsigned int o = q19::kOpposite[s];
            const float incoming = n->Slots::getPdfAt(o);
            n->Slots::setPdfAt(o, cell.Slots::getPdfAt(s));
            cell.Slots::setPdfAt(s, incoming);
        }
    }

    struct alignas(64) Part {
        LiquidCells walls;
    };

    Array<Part> parts;
    uint32_t used = 0;
};

}  // namespace kelvar::fluid
