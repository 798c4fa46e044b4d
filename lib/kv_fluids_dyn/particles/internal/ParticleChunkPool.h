#pragma once

#include <cstdint>
#include <new>

#include "kv_basic/Array.h"

namespace kelvar {

// Hands out chunk records for a particle system. Records are made in blocks
// of four and come back through a free list that is served first; a reused
// record keeps its slot storage, so recycling a chunk costs no allocation.
// Records stay valid until reset() or the pool's destruction.
template <class Chunk>
class ParticleChunkPool {
public:
    ParticleChunkPool() { openBlock(); }
    ParticleChunkPool(const ParticleChunkPool&) = delete;
    ParticleChunkPool& operator=(const ParticleChunkPool&) = delete;
    ~ParticleChunkPool() {
        destroyRecords();
        for (Block& block : blocks) freeBlock(block);
    }

    // An empty chunk, unlinked.
    Chunk* acquire() {
        Chunk* chunk = freeList;
        if (chunk) {
            freeList = chunk->next;
        } else {
            if (blocks.back().used == kBlockSize) openBlock();
            Block& block = blocks.back();
            chunk = new (block.records + block.used) Chunk;
            ++block.used;
        }
        chunk->reset();
        return chunk;
    }

    void release(Chunk* chunk) {
        chunk->next = freeList;
        freeList = chunk;
    }

    // Destroys every record; one empty block is kept.
    void reset() {
        destroyRecords();
        while (blocks.size() > 1) {
            freeBlock(blocks.back());
            blocks.pop_back();
        }
        blocks[0].used = 0;
        freeList = nullptr;
    }

private:
    static constexpr uint32_t kBlockSize = 4;

    struct Block {
        Chunk* records = nullptr;
        uint32_t used = 0;
    };

    void openBlock() {
        Block block;
        block.records = static_cast<Chunk*>(::operator new(sizeof(Chunk) * kBlockSize, std::align_val_t(alignof(Chunk))));
        blocks.push_back(block);
    }
    static void freeBlock(Block& block) { ::operator delete(block.records, std::align_val_t(alignof(Chunk))); }

    void destroyRecords() {
        for (Block& block : blocks)
            for (uint32_t i = 0; i < block.used; ++i) block.records[i].~Chunk();
    }

    Array<Block> blocks;
    Chunk* freeList = nullptr;
};

}  // namespace kelvar
