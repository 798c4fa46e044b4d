#pragma once

#include <cstdint>
#include <cstring>

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
        // Most liquid cells lie inside the liquid: every link swaps, no slot
        // needs rebuilding and no wall is near.
        if (allNeighboursLiquid(codes)) {
            cell.refArrReconstructBit().clearAll();
            for (const unsigned int s : q19::kStreamIndex) swapLink(cell, s, grid);
            return;
        }
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
    // Whether the codes of all 18 neighbours are liquid, eight at a time: a
    // liquid code is 4 or 5, so it is 4 once its lowest bit is cleared.
    static bool allNeighboursLiquid(const Codes& codes) {
        static_assert(LBM_CELL_FLUID == 4 && LBM_CELL_INTERFACE == 5);
        constexpr uint64_t kLowBitsOff = 0xFEFEFEFEFEFEFEFEull;
        constexpr uint64_t kFluid = 0x0404040404040404ull;
        uint64_t first, second;
        uint16_t last;
        std::memcpy(&first, codes + 1, sizeof(first));
        std::memcpy(&second, codes + 1 + sizeof(first), sizeof(second));
        std::memcpy(&last, codes + 1 + 2 * sizeof(first), sizeof(last));
        static_assert(1 + 2 * sizeof(uint64_t) + sizeof(uint16_t) == q19::kDirectionCount);
        return (first & kLowBitsOff) == kFluid && (second & kLowBitsOff) == kFluid &&
               (last & uint16_t(kLowBitsOff)) == uint16_t(kFluid);
    }

    // Liquid cells are of one class, so their slots are reached through its
    // non-virtual accessors.
    static void swapLinks(LBM_Q19_MAC_Cell3F& cell, const Codes& codes, const GridNeighbourhood& grid) {
        ArrayBit& rebuilt = cell.refArrReconstructBit();
        rebuilt.clearAll();
        for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
            if (codes[i] == GridTypes::kNoCell || codes[i] == LBM_CELL_SINK) rebuilt.set(q19::kOpposite[i]);
        for (const unsigned int s : q19::kStreamIndex)
            if (isLiquidCode(codes[s])) swapLink(cell, s, grid);
    }

    // Swaps the cell's slot s with its liquid neighbour's opposite slot.
    static void swapLink(LBM_Q19_MAC_Cell3F& cell, const unsigned int& s, const GridNeighbourhood& grid) {
        using Slots = LBM_Q19_Cell3<float>;
        auto* n = static_cast<LBM_Q19_MAC_Cell3F*>(grid.neighbour(cell.getGridMonoindex(), s));
        const unsigned int o = q19::kOpposite[s];
        const float incoming = n->Slots::getPdfAt(o);
        n->Slots::setPdfAt(o, cell.Slots::getPdfAt(s));
        cell.Slots::setPdfAt(s, incoming);
    }

    struct alignas(64) Part {
        LiquidCells walls;
    };

    Array<Part> parts;
    uint32_t used = 0;
};

}  // namespace kelvar::fluid
