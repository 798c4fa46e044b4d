#pragma once

#include <cstdint>

#include "kv_fluids_dyn/particles/ParticleSystemChunk.h"

namespace kelvar {

template <class T>
class ParticleSystem;

// Moves (chunk, index) forward to the first live slot at or after it,
// following the chunk list up to the tail; past the tail it becomes the end
// position (null chunk, index 0xFFFFFFFF).
template <class T>
void settleOnLiveSlot(const ParticleSystemChunk<T>* tail, ParticleSystemChunk<T>*& chunk, uint32_t& index) {
    while (chunk) {
        const uint32_t count = chunk->entries.size();
        for (; index < count; ++index)
            if (!chunk->entries[index].released) return;
        chunk = chunk == tail ? nullptr : chunk->next;
        index = 0;
    }
    index = 0xFFFFFFFFu;
}

// Walks the live particles of a ParticleSystem: chunks from head to tail,
// slots in index order, released slots skipped. Valid while the system is
// not changed (adds, removes and lookups may reorder slots).
template <class T>
class ParticleSystemIterator {
public:
    ParticleSystemIterator(const ParticleSystem<T>* system, ParticleSystemChunk<T>* chunk, uint32_t index)
        : system_(system), chunk_(chunk), index_(index) {
        settleOnLiveSlot(system_->tail, chunk_, index_);
    }

    T& operator*() const { return chunk_->entries[index_].particle; }
    T* operator->() const { return &chunk_->entries[index_].particle; }
    ParticleSystemIterator& operator++() {
        ++index_;
        settleOnLiveSlot(system_->tail, chunk_, index_);
        return *this;
    }
    bool operator==(const ParticleSystemIterator&) const = default;

private:
    const ParticleSystem<T>* system_;
    ParticleSystemChunk<T>* chunk_;
    uint32_t index_;
};

// The read-only counterpart of ParticleSystemIterator, same order.
template <class T>
class ParticleSystemConstIterator {
public:
    ParticleSystemConstIterator(const ParticleSystem<T>* system, ParticleSystemChunk<T>* chunk, uint32_t index)
        : system_(system), chunk_(chunk), index_(index) {
        settleOnLiveSlot(system_->tail, chunk_, index_);
    }

    const T& operator*() const { return chunk_->entries[index_].particle; }
    const T* operator->() const { return &chunk_->entries[index_].particle; }
    ParticleSystemConstIterator& operator++() {
        ++index_;
        settleOnLiveSlot(system_->tail, chunk_, index_);
        return *this;
    }
    bool operator==(const ParticleSystemConstIterator&) const = default;

private:
    const ParticleSystem<T>* system_;
    ParticleSystemChunk<T>* chunk_;
    uint32_t index_;
};

}  // namespace kelvar
