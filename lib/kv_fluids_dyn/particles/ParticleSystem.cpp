#include "kv_fluids_dyn/particles/ParticleSystem.h"

#include <algorithm>
#include <bit>
#include <new>

#include "kv_fluids_dyn/particles/internal/ParticleChunkPool.h"

namespace kelvar {

namespace {

// Ids per bucket of the batch remove: bucket b holds ids [b << 13, (b+1) << 13).
constexpr uint32_t kBucketShift = 13;

// What find() returns for an id that is not there.
template <class T>
T& missingParticle() {
    static T sentinel = [] {
        T p{};
        p.id = 0xFFFFFFFFu;
        p.sourceId = 0xFFFF;
        return p;
    }();
    return sentinel;
}

}  // namespace

template <class T>
ParticleSystem<T>::ParticleSystem() : ownsChunkPool(true), chunkPool(new ParticleChunkPool<Chunk>) {}

template <class T>
ParticleSystem<T>::ParticleSystem(const ParticleSystem& other)
    : ownsChunkPool(false),
      chunkPool(other.chunkPool),
      chunkCount(other.chunkCount),
      head(other.head),
      tail(other.tail),
      lastUsedId(other.lastUsedId),
      particlesCount(other.particlesCount),
      particlesArray(other.particlesArray),
      particlesArrayDirty(other.particlesArrayDirty),
      lastChunkSequence(other.lastChunkSequence) {}

template <class T>
ParticleSystem<T>& ParticleSystem<T>::operator=(const ParticleSystem& other) {
    if (this == &other) return *this;
    lastUsedId = other.lastUsedId;
    particlesCount = other.particlesCount;
    particlesArray = other.particlesArray;
    particlesArrayDirty = other.particlesArrayDirty;
    return *this;
}

template <class T>
ParticleSystem<T>::~ParticleSystem() {
    if (ownsChunkPool) delete chunkPool;  // destroys every chunk record
}

template <class T>
T& ParticleSystem<T>::addParticle() {
    return takeSlot(lastUsedId++);
}

template <class T>
T& ParticleSystem<T>::addParticle(const T& p) {
    T& particle = takeSlot(p.id);
    particle = p;
    return particle;
}

template <class T>
T& ParticleSystem<T>::addParticleSafe(const T& p) {
    T& existing = find(p.id);
    if (&existing == &missingParticle<T>()) return addParticle(p);
    existing = p;
    return existing;
}

template <class T>
bool ParticleSystem<T>::remove(const unsigned int& id) {
    Chunk* chunk = nullptr;
    uint32_t slot = kNoSlot;
    for (Chunk* candidate : chunkIndex.candidates(id, head, tail)) {
        slot = findSlot(*candidate, id);
        if (slot != kNoSlot) {
            chunk = candidate;
            break;
        }
    }
    if (!chunk) return false;

    releaseSlot(*chunk, slot);
    if (firstChunkWithRoom && chunk->sequence <= firstChunkWithRoom->sequence) firstChunkWithRoom = chunk;
    if (chunk->isEmpty()) {
        if (firstChunkWithRoom == chunk) firstChunkWithRoom = nextChunk(chunk);
        unlinkChunk(chunk);
        chunkPool->release(chunk);
    } else {
        recomputeIdRange(*chunk);
    }
    particlesArrayDirty = true;
    return true;
}

template <class T>
bool ParticleSystem<T>::remove(const Array<unsigned int>& ids) {
    // Bucket table in compressed form: the chunks of bucket b, in list
    // order, are members[start[b] .. start[b+1]).
    const uint32_t bucketCount = (lastUsedId >> kBucketShift) + 1;
    Array<uint32_t> start;
    start.resize(bucketCount + 1, 0);
    auto forEachBucketOf = [&](const Chunk& chunk, auto&& visit) {
        if (chunk.minId > chunk.maxId) return;
        const uint32_t first = chunk.minId >> kBucketShift;
        const uint32_t last = std::min(chunk.maxId >> kBucketShift, bucketCount - 1);
        for (uint32_t b = first; b <= last; ++b) visit(b);
    };
    for (Chunk* chunk = head; chunk; chunk = nextChunk(chunk))
        forEachBucketOf(*chunk, [&](uint32_t b) { ++start[b + 1]; });
    for (uint32_t b = 0; b < bucketCount; ++b) start[b + 1] += start[b];
    Array<Chunk*> members;
    members.resize(start[bucketCount]);
    Array<uint32_t> cursor(start);
    for (Chunk* chunk = head; chunk; chunk = nextChunk(chunk))
        forEachBucketOf(*chunk, [&](uint32_t b) { members[cursor[b]++] = chunk; });

    uint32_t remaining = ids.size();
    for (const unsigned int id : ids) {
        const uint32_t b = id >> kBucketShift;
        if (b >= bucketCount) continue;  // not an id this system handed out
        for (uint32_t k = start[b]; k < start[b + 1]; ++k) {
            const uint32_t slot = findSlot(*members[k], id);
            if (slot == kNoSlot) continue;
            releaseSlot(*members[k], slot);
            --remaining;
            break;
        }
    }
    if (remaining == ids.size()) return ids.size() == 0;

    // Tidy the chunks up to the first one that became empty; that one leaves
    // the list and the walk ends there.
    firstChunkWithRoom = nullptr;
    for (Chunk* chunk = head; chunk;) {
        if (chunk->isEmpty()) {
            unlinkChunk(chunk);
            chunkPool->release(chunk);
            break;
        }
        recomputeIdRange(*chunk);
        chunk = nextChunk(chunk);
    }
    particlesArrayDirty = true;
    return remaining == 0;
}

template <class T>
void ParticleSystem<T>::clear() {
    if (ownsChunkPool) chunkPool->reset();  // a view leaves the shared chunks alone
    head = tail = nullptr;
    chunkCount = 0;
    firstChunkWithRoom = nullptr;
    chunkIndex.invalidate();
    particlesArray.clear();
    lastUsedId = 0;
    particlesCount = 0;
    particlesArrayDirty = true;
}

template <class T>
T& ParticleSystem<T>::find(const unsigned int& id) {
    for (Chunk* chunk : chunkIndex.candidates(id, head, tail)) {
        const uint32_t slot = findSlot(*chunk, id);
        if (slot != kNoSlot) return chunk->entries[slot].particle;
    }
    return missingParticle<T>();
}

template <class T>
const ArrayOfPtr<T, KV_NO>& ParticleSystem<T>::getParticlesArray() const {
    if (!particlesArrayDirty) return particlesArray;
    particlesArray.clear();
    if (particlesArray.capacity() != particlesCount) particlesArray.setCapacity(particlesCount);
    for (const T& particle : *this) particlesArray.push_back(const_cast<T*>(&particle));
    particlesArrayDirty = false;
    return particlesArray;
}

template <class T>
int64_t ParticleSystem<T>::computeSignature_v1() const {
    double sum = 0.0;
    for (const T& p : *this) {
        const float a = (p.position.y + p.position.x) + p.position.z;
        const float b = (p.velocity.y + p.velocity.x) + p.velocity.z;
        const float d = static_cast<float>(static_cast<uint32_t>(p.id + 1u));
        sum += static_cast<double>((a + b) / d);
    }
    return std::bit_cast<int64_t>(sum);
}

template <class T>
ParticleBatch<T> ParticleSystem<T>::addParticles(const uint32_t& count) {
    ParticleBatch<T> batch;
    batch.first = lastUsedId;
    auto addToBatch = [&batch](ParticleSlot<T>* slots, const uint32_t& n, bool) { batch.addSlots(slots, n); };
    while (batch.size() < count) {
        const uint32_t firstId = lastUsedId + batch.size();
        reserveInChunk(*chunkWithRoom(), firstId, count - batch.size(), addToBatch);
    }
    lastUsedId += count;
    particlesCount += count;
    particlesArrayDirty = true;
    return batch;
}

// The first chunk with a free slot in list order, a new one at the tail if
// there is none.
template <class T>
typename ParticleSystem<T>::Chunk* ParticleSystem<T>::chunkWithRoom() {
    Chunk* chunk = firstChunkWithRoom ? firstChunkWithRoom : head;
    while (chunk && !chunk->hasRoom()) chunk = nextChunk(chunk);
    if (!chunk) {
        chunk = chunkPool->acquire();
        appendChunk(chunk);
    }
    firstChunkWithRoom = chunk;
    return chunk;
}

// Takes up to `wanted` slots of `chunk` for ids firstId, firstId + 1, ...:
// slots never used first (appending a larger id than the last slot's keeps
// the chunk sorted), then released ones from the scan position on. Hands
// each run of slots to take(slots, count, fresh); reused slots are marked
// live here, never-used ones (fresh) are left unwritten for the taker.
// Returns the number taken.
template <class T>
template <class Take>
uint32_t ParticleSystem<T>::reserveInChunk(Chunk& chunk, const uint32_t& firstId, const uint32_t& wanted,
                                           const Take& take) {
    Array<ParticleSlot<T>>& entries = chunk.entries;
    uint32_t taken = std::min(wanted, entries.capacity() - entries.size());
    if (taken > 0) {
        chunk.sorted = chunk.sorted && (entries.empty() || entries.back().particle.id < firstId);
        take(entries.appendForOverwrite(taken), taken, true);
    }
    for (; taken < wanted && taken < chunk.freeSlots; ++taken) {
        uint32_t slot = chunk.scanFrom;
        while (!entries[slot].released) ++slot;
        chunk.scanFrom = slot + 1;
        chunk.sorted = false;
        entries[slot].released = false;
        take(&entries[slot], 1u, false);
    }
    chunk.freeSlots -= taken;
    widenIdRange(chunk, firstId, firstId + taken - 1);
    return taken;
}

template <class T>
void ParticleSystem<T>::widenIdRange(Chunk& chunk, const uint32_t& low, const uint32_t& high) {
    if (low < chunk.minId || high > chunk.maxId) {
        chunk.minId = std::min(chunk.minId, low);
        chunk.maxId = std::max(chunk.maxId, high);
        chunkIndex.noteWidened(chunk);
    }
}

// Takes the first slot with room, searching the chunks in list order, and
// gives it the id. A never-used slot starts value-initialised; a reused one
// keeps what it held.
template <class T>
T& ParticleSystem<T>::takeSlot(const uint32_t& id) {
    ParticleSlot<T>* taken = nullptr;
    reserveInChunk(*chunkWithRoom(), id, 1u, [&taken](ParticleSlot<T>* slot, const uint32_t&, const bool& fresh) {
        taken = fresh ? new (slot) ParticleSlot<T>{} : slot;
    });
    taken->released = false;
    taken->particle.id = id;
    ++particlesCount;
    particlesArrayDirty = true;
    return taken->particle;
}

// Slot of the live particle `id` in `chunk`, or kNoSlot. Sorts the chunk
// first if an add may have broken its order.
template <class T>
uint32_t ParticleSystem<T>::findSlot(Chunk& chunk, const uint32_t& id) {
    if (id < chunk.minId || id > chunk.maxId) return kNoSlot;
    if (!chunk.sorted) sortById(chunk);
    const Array<ParticleSlot<T>>& entries = chunk.entries;
    const uint32_t count = entries.size();
    if (count == 0) return kNoSlot;

    uint32_t hit = kNoSlot;
    if (entries[0].particle.id == id) {
        hit = 0;
    } else if (entries[count - 1].particle.id == id) {
        hit = count - 1;
    } else if (id > entries[0].particle.id && id < entries[count - 1].particle.id) {
        uint32_t low = 0;
        uint32_t high = count - 1;
        while (high - low > 1) {
            const uint32_t middle = low + (high - low) / 2;
            const uint32_t middleId = entries[middle].particle.id;
            if (middleId == id) {
                hit = middle;
                break;
            }
            if (middleId < id) low = middle;
            else high = middle;
        }
    }
    if (hit != kNoSlot && entries[hit].released) return kNoSlot;
    return hit;
}

// Reorders the slots (released ones included) by ascending id. Particles
// move only when the order was actually broken; then the cached pointer
// array is stale.
template <class T>
void ParticleSystem<T>::sortById(Chunk& chunk) {
    auto byId = [](const ParticleSlot<T>& a, const ParticleSlot<T>& b) { return a.particle.id < b.particle.id; };
    if (!std::is_sorted(chunk.entries.begin(), chunk.entries.end(), byId)) {
        std::sort(chunk.entries.begin(), chunk.entries.end(), byId);
        chunk.scanFrom = 0;
        particlesArrayDirty = true;
    }
    chunk.sorted = true;
}

// Narrows [minId, maxId] to the live particles of the chunk.
template <class T>
void ParticleSystem<T>::recomputeIdRange(Chunk& chunk) {
    if (!chunk.sorted) sortById(chunk);
    const Array<ParticleSlot<T>>& entries = chunk.entries;
    const uint32_t count = entries.size();
    uint32_t first = 0;
    while (first < count && entries[first].released) ++first;
    uint32_t last = count;
    while (last > first && entries[last - 1].released) --last;
    chunk.minId = first < count ? entries[first].particle.id : Chunk::kNoId;
    chunk.maxId = last > first ? entries[last - 1].particle.id : 0;
}

template <class T>
void ParticleSystem<T>::releaseSlot(Chunk& chunk, const uint32_t& slot) {
    chunk.entries[slot].released = true;
    ++chunk.freeSlots;
    --particlesCount;
    chunk.scanFrom = std::min(chunk.scanFrom, slot);
}

template <class T>
void ParticleSystem<T>::appendChunk(Chunk* chunk) {
    chunk->sequence = ++lastChunkSequence;
    if (!head) {
        head = tail = chunk;
        chunk->prev = chunk->next = chunk;
    } else {
        chunk->prev = tail;
        chunk->next = head;
        tail->next = chunk;
        head->prev = chunk;
        tail = chunk;
    }
    ++chunkCount;
}

template <class T>
void ParticleSystem<T>::unlinkChunk(Chunk* chunk) {
    if (chunkCount == 1) {
        head = tail = nullptr;
    } else {
        chunk->prev->next = chunk->next;
        chunk->next->prev = chunk->prev;
        if (chunk == head) head = chunk->next;
        if (chunk == tail) tail = chunk->prev;
    }
    chunk->prev = chunk->next = nullptr;
    chunk->sequence = 0;
    chunk->indexSlot = Chunk::kNoIndexSlot;
    --chunkCount;
    chunkIndex.invalidate();
}

template class ParticleSystem<fluid::MAC_Particle3>;

}  // namespace kelvar
