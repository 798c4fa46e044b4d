#pragma once

#include <cstdint>
#include <memory>
#include <new>

#include "kv_basic/Array.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

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
        return chunks[chunk].get() + slot++;
    }

    // Adds now the chunks that the next `count` acquisitions would add one
    // by one, constructing their cells on `threads` workers, so that a large
    // batch of new cells is first touched in parallel. Which cells the
    // acquisitions return does not change.
    void reserve(const uint32_t& count, const unsigned int& threads) {
        const uint64_t available = uint64_t(freeCells.size()) + uint64_t(chunks.size() - chunk) * kChunkSize - slot;
        if (count <= available) return;
        const uint32_t first = chunks.size();
        const uint32_t added = uint32_t((count - available + kChunkSize - 1) / kChunkSize);
        for (uint32_t c = 0; c < added; ++c) chunks.push_back(allocateChunk());
        runParallelIndices(
            added, [&](const unsigned int&, const uint32_t& c) { constructChunk(chunks[first + c].get()); }, threads);
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
    // A chunk's storage: raw until constructChunk(), destroyed cell by cell.
    struct ChunkDeleter {
        void operator()(Cell* cells) const {
            for (uint32_t n = 0; n < kChunkSize; ++n) cells[n].~Cell();
            ::operator delete(cells, std::align_val_t(alignof(Cell)));
        }
    };
    using ChunkStorage = std::unique_ptr<Cell, ChunkDeleter>;

    static ChunkStorage allocateChunk() {
        return ChunkStorage(
            static_cast<Cell*>(::operator new(sizeof(Cell) * kChunkSize, std::align_val_t(alignof(Cell)))));
    }
    static void constructChunk(Cell* cells) {
        for (uint32_t n = 0; n < kChunkSize; ++n) new (cells + n) Cell();
    }
    void addChunk() {
        chunks.push_back(allocateChunk());
        constructChunk(chunks[chunks.size() - 1].get());
    }

    void rewind() {
        chunk = 0;
        slot = 0;
        count = 0;
        freeCells.clear();
    }

    Array<ChunkStorage> chunks;
    uint32_t chunk = 0;
    uint32_t slot = 0;
    Array<Cell*> freeCells;
    uint32_t count = 0;
};

}  // namespace kelvar::fluid
