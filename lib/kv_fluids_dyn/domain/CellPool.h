#pragma once

#include <cstdint>
#include <memory>

#include "kv_basic/Array.h"

namespace kelvar::fluid {

// The store a fluid takes its cells of one class from. Cells live in chunks
// of 256 and are never freed one by one: a released cell goes on a free list
// and is handed out again first (last released, first reused). When the last
// cell handed out comes back, the pool rewinds instead, so the next cell
// comes from the start of the first chunk again. Memory is returned only by
// clear() and the destructor.
//
// Cells are handed out as they were left: a fresh chunk's cells are default
// constructed, a reused cell keeps the state of its previous use. Pointers
// stay valid until clear(). Not thread-safe: callers that acquire or release
// from several threads hold a lock around each call.
template <class Cell>
class CellPool {
public:
    static constexpr uint32_t kChunkSize = 256;

    CellPool() { addChunk(); }
    CellPool(const CellPool&) = delete;
    CellPool& operator=(const CellPool&) = delete;

    Cell* acquire() {
        ++count;
        if (!freeCells.empty()) {
            Cell* cell = freeCells.back();
            freeCells.pop_back();
            return cell;
        }
        if (slot == kChunkSize) {
            ++chunk;
            slot = 0;
        }
        if (chunk == chunks.size()) addChunk();
        return &chunks[chunk][slot++];
    }

    void release(Cell* cell) {
        --count;
        if (count > 0)
            freeCells.push_back(cell);
        else
            rewind();
    }

    // Drops every cell and keeps one fresh chunk; the free list keeps room
    // for one chunk's worth of cells.
    void clear() {
        chunks.clear();
        addChunk();
        rewind();
        freeCells.setCapacity(kChunkSize);
    }

    // Number of cells handed out and not yet released.
    const uint32_t& getCount() const { return count; }
    uint32_t getChunkCount() const { return chunks.size(); }

private:
    void addChunk() { chunks.push_back(std::make_unique<Cell[]>(kChunkSize)); }

    void rewind() {
        chunk = 0;
        slot = 0;
        count = 0;
        freeCells.clear();
    }

    Array<std::unique_ptr<Cell[]>> chunks;
    uint32_t chunk = 0;
    uint32_t slot = 0;
    Array<Cell*> freeCells;
    uint32_t count = 0;
};

}  // namespace kelvar::fluid
