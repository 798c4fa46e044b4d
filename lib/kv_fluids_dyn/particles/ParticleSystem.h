#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/ArrayOfPtr.h"
#include "kv_basic/Export.h"
#include "kv_fluids_dyn/particles/MAC_Particle3.h"
#include "kv_fluids_dyn/particles/ParticleBatch.h"
#include "kv_fluids_dyn/particles/ParticleChunkIndex.h"
#include "kv_fluids_dyn/particles/ParticleSystemChunk.h"
#include "kv_fluids_dyn/particles/ParticleSystemIterator.h"

namespace kelvar {

template <class Chunk>
class ParticleChunkPool;

// The container of every marker particle of a fluid domain.
//
// Particles live in chunks of 8192 slots kept in a circular list; removing a
// particle only marks its slot released, so it never moves another particle.
// Ids come from a counter (addParticle()) and are unique per system until
// clear(). A chunk is sorted by id lazily, on the first lookup after an add,
// and searched by bisection. Lookups visit, in list order, only the chunks
// whose id range can hold the id: find and remove(id) ask a range index for
// them, the batch remove buckets ids by id >> 13. New particles go to the
// first chunk in list order with a free slot.
//
// Pointers to particles stay valid until the particle is removed or a lookup
// re-sorts its chunk (the first find/remove after an add that broke the
// chunk's id order, e.g. a reused slot or a given smaller id). Every change,
// such a re-sort included, marks the cached pointer array stale, so
// getParticlesArray() always holds current addresses. Not thread-safe: concurrent reads are fine only
// while nobody adds, removes, finds or rebuilds the cached array.
//
// A copy made by the copy constructor is a view of the source's chunks: it
// shares them and the chunk pool, and releases neither (its clear() only
// detaches it). Assignment copies only the counters and the cached array;
// the target keeps its own chunks.
template <class T>
class KV_EXPORT ParticleSystem {
public:
    using Chunk = ParticleSystemChunk<T>;
    using iterator = ParticleSystemIterator<T>;
    using const_iterator = ParticleSystemConstIterator<T>;

    static constexpr uint32_t kNoId = 0xFFFFFFFFu;

    ParticleSystem();
    ParticleSystem(const ParticleSystem& other);
    ParticleSystem& operator=(const ParticleSystem& other);
    ~ParticleSystem();

    // A new particle with the next id; its other fields are whatever the
    // slot held (the caller fills them).
    T& addParticle();
    // A copy of `p`, id included; the id counter is not touched.
    T& addParticle(const T& p);
    // Reserves `count` new particles with the next ids, in the slots that
    // `count` calls of addParticle() would take, leaving the system as those
    // calls would; the caller writes the particles through the batch.
    ParticleBatch<T> addParticles(const uint32_t& count);
    // Overwrites the live particle with p.id if there is one, else adds p.
    T& addParticleSafe(const T& p);

    // True if the particle was found and removed.
    bool remove(const unsigned int& id);
    // True only if every id was found and removed. Every id must be below
    // the id counter (getLastUsedId of the marker system).
    bool remove(const Array<unsigned int>& ids);
    // Removes everything; ids start again at 0.
    void clear();

    // The live particle with that id, or a shared sentinel whose id is
    // 0xFFFFFFFF.
    T& find(const unsigned int& id);

    const unsigned int& getParticlesCount() const { return particlesCount; }
    // The id counter: addParticle() gives out this id next. Restoring a
    // saved system sets it back to what it was.
    const uint32_t& getLastUsedId() const { return lastUsedId; }
    void setLastUsedId(const uint32_t& id) { lastUsedId = id; }
    // Pointers to the live particles in iteration order.
    const ArrayOfPtr<T, KV_NO>& getParticlesArray() const;

    iterator begin() { return iterator(this, head, 0); }
    iterator end() { return iterator(this, nullptr, kNoId); }
    const_iterator begin() const { return const_iterator(this, head, 0); }
    const_iterator end() const { return const_iterator(this, nullptr, kNoId); }

    // Fingerprint of the particle set: the IEEE-754 bits of
    // sum over particles of (double)((pos.y+pos.x+pos.z + vel.y+vel.x+vel.z) / (float)(id+1)).
    int64_t computeSignature_v1() const;

protected:
    bool ownsChunkPool;
    ParticleChunkPool<Chunk>* chunkPool;
    uint32_t chunkCount = 0;
    Chunk* head = nullptr;
    Chunk* tail = nullptr;
    uint32_t lastUsedId = 0;
    uint32_t particlesCount = 0;
    mutable ArrayOfPtr<T, KV_NO> particlesArray;
    mutable bool particlesArrayDirty = true;

private:
    friend class ParticleSystemIterator<T>;
    friend class ParticleSystemConstIterator<T>;

    static constexpr uint32_t kNoSlot = 0xFFFFFFFFu;

    T& takeSlot(const uint32_t& id);
    Chunk* chunkWithRoom();
    template <class Take>
    uint32_t reserveInChunk(Chunk& chunk, const uint32_t& firstId, const uint32_t& wanted, const Take& take);
    void widenIdRange(Chunk& chunk, const uint32_t& low, const uint32_t& high);
    uint32_t findSlot(Chunk& chunk, const uint32_t& id);
    void sortById(Chunk& chunk);
    void recomputeIdRange(Chunk& chunk);
    void releaseSlot(Chunk& chunk, const uint32_t& slot);
    void appendChunk(Chunk* chunk);
    void unlinkChunk(Chunk* chunk);
    Chunk* nextChunk(const Chunk* chunk) const { return chunk == tail ? nullptr : chunk->next; }

    // Every chunk before this one in list order is full; null means no
    // chunk is known to have room, so the search starts at the head.
    Chunk* firstChunkWithRoom = nullptr;
    uint64_t lastChunkSequence = 0;
    ParticleChunkIndex<T> chunkIndex;
};

extern template class KV_EXPORT ParticleSystem<fluid::MAC_Particle3>;

}  // namespace kelvar
