#pragma once

#include <algorithm>
#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_fluids_dyn/particles/ParticleSystemChunk.h"

namespace kelvar {

// Finds, in list order, the chunks of a ParticleSystem whose id range may
// hold a given id, in O(log C) for the usual disjoint ranges instead of a
// walk over all C chunks.
//
// Entries are sorted by minId and carry the running maximum of maxId, so a
// lookup bisects to the last entry starting at or below the id and steps
// back only while some earlier range still reaches it. An entry's range may
// be wider than its chunk's current one (narrowing is not reported); the
// caller's own range check rejects such chunks, so the candidates are the
// walk's chunks exactly. Widening is patched in place when the order allows
// (the common case: ids appended in ascending order); anything else, and
// every unlink, invalidates the index, which is rebuilt on the next lookup.
template <class T>
class ParticleChunkIndex {
public:
    using Chunk = ParticleSystemChunk<T>;

    void invalidate() { valid = false; }

    // `chunk`'s [minId, maxId] has grown (or the chunk is new in the list).
    void noteWidened(Chunk& chunk) {
        if (!valid) return;
        uint32_t slot = chunk.indexSlot;
        if (slot != Chunk::kNoIndexSlot && (slot >= entries.size() || entries[slot].chunk != &chunk)) {
            return invalidate();  // the slot was given by another system's index (a view)
        }
        if (slot == Chunk::kNoIndexSlot) {
            if (!entries.empty() && entries.back().minId > chunk.minId) return invalidate();
            slot = entries.size();
            entries.push_back(Entry{chunk.minId, chunk.maxId, 0, &chunk});
            chunk.indexSlot = slot;
        } else if (chunk.minId < entries[slot].minId) {
            if (slot != 0 && entries[slot - 1].minId > chunk.minId) return invalidate();
            entries[slot].minId = chunk.minId;
        }
        entries[slot].maxId = std::max(entries[slot].maxId, chunk.maxId);
        updateReach(slot);
    }

    // The chunks whose range may hold `id`, in list order; valid until the
    // next call. `head`/`tail` are the list, used when a rebuild is due.
    const Array<Chunk*>& candidates(const uint32_t& id, Chunk* head, const Chunk* tail) {
        if (!valid) rebuild(head, tail);
        found.clear();
        const Entry* end = std::upper_bound(entries.begin(), entries.end(), id,
                                            [](uint32_t value, const Entry& e) { return value < e.minId; });
        for (const Entry* e = end; e != entries.begin() && (e - 1)->reach >= id; --e)
            if ((e - 1)->maxId >= id) found.push_back((e - 1)->chunk);
        std::sort(found.begin(), found.end(), [](const Chunk* a, const Chunk* b) { return a->sequence < b->sequence; });
        return found;
    }

private:
    struct Entry {
        uint32_t minId;
        uint32_t maxId;
        uint32_t reach;  // largest maxId of this and every earlier entry
        Chunk* chunk;
    };

    void rebuild(Chunk* head, const Chunk* tail) {
        entries.clear();
        for (Chunk* chunk = head; chunk; chunk = chunk == tail ? nullptr : chunk->next) {
            chunk->indexSlot = Chunk::kNoIndexSlot;
            if (chunk->minId <= chunk->maxId) entries.push_back(Entry{chunk->minId, chunk->maxId, 0, chunk});
        }
        std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.minId < b.minId; });
        uint32_t reach = 0;
        for (uint32_t slot = 0; slot < entries.size(); ++slot) {
            reach = std::max(reach, entries[slot].maxId);
            entries[slot].reach = reach;
            entries[slot].chunk->indexSlot = slot;
        }
        valid = true;
    }

    // Recomputes `reach` from `slot` on, after entry `slot` grew; stops
    // where it no longer changes.
    void updateReach(uint32_t slot) {
        for (; slot < entries.size(); ++slot) {
            const uint32_t before = slot == 0 ? 0 : entries[slot - 1].reach;
            const uint32_t reach = std::max(before, entries[slot].maxId);
            if (reach == entries[slot].reach) return;
            entries[slot].reach = reach;
        }
    }

    Array<Entry> entries;
    Array<Chunk*> found;
    bool valid = false;
};

}  // namespace kelvar
