#pragma once

#include <cstdint>

#include "kv_basic/Array.h"

namespace kelvar::fluid {

// One byte per grid position beside the grid's cell pointers: the type code
// of the cell there, or kNoCell where the position holds no cell. A pass that
// tests many neighbours' types reads one byte of this dense array instead of
// a grid pointer and then the cell behind it, which mostly lies on a cache
// line the pass would not otherwise touch.
//
// The cell-list pass writes it while it walks the grid at the start of a
// sub-step, and the relabelling writes every type change it makes through,
// so it stays true for the whole sub-step.
class GridTypes {
public:
    // A code no cell type uses: an empty position, or one outside the grid.
    static constexpr unsigned char kNoCell = 0xFF;

    // Sized for `count` positions; the codes are unset until written.
    void resize(const uint32_t& count) {
        if (codes.size() != count) codes.resize(count);
    }

    unsigned char* data() { return codes.data(); }
    const unsigned char* data() const { return codes.data(); }
    uint32_t size() const { return codes.size(); }

private:
    Array<unsigned char> codes;
};

}  // namespace kelvar::fluid
