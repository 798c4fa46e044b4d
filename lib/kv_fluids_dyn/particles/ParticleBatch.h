#pragma once

#include <cstdint>
#include <new>

#include "kv_basic/Array.h"
#include "kv_fluids_dyn/particles/ParticleSystemChunk.h"

namespace kelvar {

template <class T>
class ParticleSystem;

// Particles reserved in one call of ParticleSystem::addParticles(): ids
// firstId() .. firstId() + size() - 1, in the slots that as many calls of
// addParticle() would have taken, held as runs of consecutive slots.
//
// The system already counts these particles as live, but their slots are
// written only through writers, so that several threads can fill disjoint
// parts of one batch at the same time. Requirement: every particle of the
// batch is written exactly once, before the system is used again. A batch
// refers to the system's chunks and is void once the system changes.
template <class T>
class ParticleBatch {
public:
    // Hands out the batch's particles in id order, from a given one on.
    class Writer {
    public:
        // The next particle: live, with its id set and every other field
        // value-initialised, for the caller to fill.
        T& next() {
            if (offset == runs->data()[run].count) {
                ++run;
                offset = 0;
            }
            ParticleSlot<T>* slot = new (runs->data()[run].slots + offset) ParticleSlot<T>{false, T{}};
            ++offset;
            slot->particle.id = id++;
            return slot->particle;
        }

    private:
        friend class ParticleBatch;
        const Array<typename ParticleBatch::Run>* runs = nullptr;
        uint32_t run = 0;
        uint32_t offset = 0;
        uint32_t id = 0;
    };

    uint32_t size() const { return count; }
    uint32_t firstId() const { return first; }

    // A writer whose first particle is the k-th of the batch (k < size()).
    Writer writerAt(uint32_t k) const {
        Writer writer;
        writer.runs = &runs;
        writer.id = first + k;
        while (k >= runs[writer.run].count) {
            k -= runs[writer.run].count;
            ++writer.run;
        }
        writer.offset = k;
        return writer;
    }

private:
    friend class ParticleSystem<T>;

    struct Run {
        ParticleSlot<T>* slots;
        uint32_t count;
    };

    // Appends `n` slots that follow the previous run's, or starts a run.
    void addSlots(ParticleSlot<T>* slots, const uint32_t& n) {
        if (!runs.empty()) {
            Run& last = runs[runs.size() - 1];
            if (last.slots + last.count == slots) {
                last.count += n;
                count += n;
                return;
            }
        }
        runs.push_back(Run{slots, n});
        count += n;
    }

    Array<Run> runs;
    uint32_t first = 0;
    uint32_t count = 0;
};

}  // namespace kelvar
