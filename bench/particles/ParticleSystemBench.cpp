#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>

#include "kv_fluids_dyn/particles/MAC_ParticleSystem3.h"

namespace {

using kelvar::Array;
using kelvar::fluid::MAC_Particle3;
using kelvar::fluid::MAC_ParticleSystem3;

constexpr uint32_t kTenMillion = 10'000'000;

std::unique_ptr<MAC_ParticleSystem3> filledSystem(uint32_t count) {
    auto particles = std::make_unique<MAC_ParticleSystem3>();
    for (uint32_t i = 0; i < count; ++i) particles->createParticle({float(i), 0, 0}, {0, 1, 0}, 0, {});
    return particles;
}

Array<unsigned int> shuffledIds(uint32_t count, uint32_t seed) {
    Array<unsigned int> ids;
    ids.reserve(count);
    for (uint32_t i = 0; i < count; ++i) ids.push_back(i);
    std::shuffle(ids.begin(), ids.end(), std::mt19937(seed));
    return ids;
}

void BM_AddParticles(benchmark::State& state) {
    const uint32_t count = uint32_t(state.range(0));
    for (auto _ : state) {
        auto particles = filledSystem(count);
        benchmark::DoNotOptimize(particles->getParticlesCount());
        state.PauseTiming();
        particles.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * count);
}
BENCHMARK(BM_AddParticles)->Arg(kTenMillion)->Unit(benchmark::kMillisecond)->Iterations(1);

// One million lookups of random ids among ten million particles.
void BM_FindParticles(benchmark::State& state) {
    const uint32_t count = uint32_t(state.range(0));
    auto particles = filledSystem(count);
    const Array<unsigned int> ids = shuffledIds(count, 7);
    const uint32_t lookups = 1'000'000;
    for (auto _ : state) {
        uint64_t sum = 0;
        for (uint32_t k = 0; k < lookups; ++k) sum += particles->find(ids[k]).id;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * lookups);
}
BENCHMARK(BM_FindParticles)->Arg(kTenMillion)->Unit(benchmark::kMillisecond)->Iterations(3);

// Every particle removed in one batch, ids in random order.
void BM_BatchRemoveParticles(benchmark::State& state) {
    const uint32_t count = uint32_t(state.range(0));
    const Array<unsigned int> ids = shuffledIds(count, 11);
    for (auto _ : state) {
        state.PauseTiming();
        auto particles = filledSystem(count);
        state.ResumeTiming();
        const bool removed = particles->remove(ids);
        benchmark::DoNotOptimize(removed);
        state.PauseTiming();
        particles.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * count);
}
BENCHMARK(BM_BatchRemoveParticles)->Arg(kTenMillion)->Unit(benchmark::kMillisecond)->Iterations(1);

// One million single removals of random ids among ten million particles.
void BM_RemoveParticlesOneByOne(benchmark::State& state) {
    const uint32_t count = uint32_t(state.range(0));
    const Array<unsigned int> ids = shuffledIds(count, 13);
    const uint32_t removals = 1'000'000;
    for (auto _ : state) {
        state.PauseTiming();
        auto particles = filledSystem(count);
        state.ResumeTiming();
        for (uint32_t k = 0; k < removals; ++k) benchmark::DoNotOptimize(particles->remove(ids[k]));
        state.PauseTiming();
        particles.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * removals);
}
BENCHMARK(BM_RemoveParticlesOneByOne)->Arg(kTenMillion)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
