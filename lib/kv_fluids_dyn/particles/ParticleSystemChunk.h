#pragma once

#include <cstdint>

#include "kv_basic/Array.h"

namespace kelvar {

// One slot of a chunk: a particle and whether the slot is free again.
template <class T>
struct ParticleSlot {
    bool released = true;
    T particle{};
};

// A block of 8192 particle slots, one node of a ParticleSystem's circular
// chunk list. Slots are never moved by removals (they are only marked
// released); they are reordered by id when a lookup finds the chunk
// unsorted. `minId`/`maxId` bound the ids of the live particles (possibly
// wider than needed, never narrower); `freeSlots` counts slots without a
// live particle, so an empty chunk has freeSlots == entries.capacity().
template <class T>
struct ParticleSystemChunk {
    static constexpr uint32_t kSlots = 8192;
    static constexpr uint32_t kNoId = 0xFFFFFFFFu;
    static constexpr uint32_t kNoIndexSlot = 0xFFFFFFFFu;

    ParticleSystemChunk() { entries.reserve(kSlots); }

    // Back to the state of a fresh chunk; the slot storage is kept.
    void reset() {
        prev = next = nullptr;
        sequence = 0;
        indexSlot = kNoIndexSlot;
        entries.clear();
        minId = kNoId;
        maxId = 0;
        freeSlots = entries.capacity();
        sorted = false;
        scanFrom = 0;
    }

    bool hasRoom() const { return entries.size() < entries.capacity() || freeSlots != 0; }
    bool isEmpty() const { return freeSlots == entries.capacity(); }

    ParticleSystemChunk* prev = nullptr;
    ParticleSystemChunk* next = nullptr;
    Array<ParticleSlot<T>> entries;
    uint32_t minId = kNoId;
    uint32_t maxId = 0;
    uint32_t freeSlots = kSlots;
    bool sorted = false;
    // Every slot below this index is live: where the search for a released
    // slot to reuse starts.
    uint32_t scanFrom = 0;
    // Position in the list: grows with every chunk linked at the tail, so
    // list order is sequence order; 0 while unlinked.
    uint64_t sequence = 0;
    // Entry of this chunk in the system's ParticleChunkIndex, if any.
    uint32_t indexSlot = kNoIndexSlot;
};

}  // namespace kelvar
