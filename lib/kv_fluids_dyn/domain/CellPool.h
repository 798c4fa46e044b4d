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

    // Throws std::bad_alloc when a new chunk cannot be had; the pool is then
    // as it was.
    Cell* acquire() {
        if (!freeCells.empty()) {
            Cell* cell = freeCells.back();
            freeCells.pop_back();
            ++count;
            return cell;
        }
        const bool chunkFull = slot == kChunkSize;
        if (chunk + (chunkFull ? 1u : 0u) == chunks.size()) addChunk();
        if (chunkFull) {
            ++chunk;
            slot = 0;
        }
        ++count;
        return chunks[chunk].get() + slot++;
    }

    // Adds now the chunks that the next `count` acquisitions would add one
    // by one, constructing their cells on `threads` workers, so that a large
    // batch of new cells is first touched in parallel. Which cells the
    // acquisitions return does not change. Throws std::bad_alloc when the
    // memory cannot be had; the pool is then as it was.
    void reserve(const uint32_t& count, const unsigned int& threads) {
        const uint64_t available = uint64_t(freeCells.size()) + uint64_t(chunks.size() - chunk) * kChunkSize - slot;
        if (count <= available) return;
        const uint32_t added = uint32_t((count - available + kChunkSize - 1) / kChunkSize);
        // Everything that can fail comes before the first cell is built.
        Array<RawChunk> raw;
        raw.reserve(added);
        for (uint32_t c = 0; c < added; ++c) raw.push_back(allocateChunk());
        chunks.reserve(chunks.size() + added);
        runParallelIndices(
            added, [&](const unsigned int&, const uint32_t& c) { constructChunk(raw[c].get()); }, threads);
        for (RawChunk& storage : raw) chunks.push_back(ChunkStorage(storage.release()));
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
        RawChunk raw = allocateChunk();
        chunks.clear();
        constructChunk(raw.get());
        chunks.push_back(ChunkStorage(raw.release()));
        rewind();
        freeCells.setCapacity(kChunkSize);
    }

    // Number of cells handed out and not yet released.
    const uint32_t& getCount() const { return count; }
    uint32_t getChunkCount() const { return chunks.size(); }

private:
    // A chunk's storage before its cells are built: freed without running
    // any destructor.
    struct RawDeleter {
        void operator()(Cell* cells) const { ::operator delete(cells, std::align_val_t(alignof(Cell))); }
    };
    using RawChunk = std::unique_ptr<Cell, RawDeleter>;
    // A chunk whose cells are built: destroyed cell by cell, then freed.
    struct ChunkDeleter {
        void operator()(Cell* cells) const {
            for (uint32_t n = 0; n < kChunkSize; ++n) cells[n].~Cell();
            RawDeleter()(cells);
        }
    };
    using ChunkStorage = std::unique_ptr<Cell, ChunkDeleter>;

    static RawChunk allocateChunk() {
        return RawChunk(
            static_cast<Cell*>(::operator new(sizeof(Cell) * kChunkSize, std::align_val_t(alignof(Cell)))));
    }
    // Cell construction does not throw, so a built chunk is never partial.
    static void constructChunk(Cell* cells) noexcept {
        for (uint32_t n = 0; n < kChunkSize; ++n) new (cells + n) Cell();
    }
    void addChunk() {
        RawChunk raw = allocateChunk();
        if (chunks.size() == chunks.capacity()) chunks.reserve(Array<ChunkStorage>::grownCapacity(chunks.size()));
        constructChunk(raw.get());
        chunks.push_back(ChunkStorage(raw.release()));
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
