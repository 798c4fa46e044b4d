// Writing and restoring a checkpoint of the reference tank dam break
// (about 170,000 liquid cells and 1.4 million particles), and the file size.
//
//   bench/bin/io_checkpoint_bench

#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>

#include "TankDamBreak.h"

namespace {

using namespace kelvar;
using namespace kelvar::bench;

const std::string& checkpointPath() {
    static const std::string path = (std::filesystem::temp_directory_path() / "kv_bench_tank.kvc").string();
    return path;
}

TankDamBreak& tank() {
    static std::unique_ptr<TankDamBreak> scene = std::make_unique<TankDamBreak>(2);
    return *scene;
}

void BM_WriteCheckpoint(benchmark::State& state) {
    TankDamBreak& dam = tank();
    for (auto _ : state)
        if (!dam.fluid.createCheckPoint(checkpointPath())) state.SkipWithError("cannot write the checkpoint");
    state.counters["MB"] = double(std::filesystem::file_size(checkpointPath())) * 1e-6;
    state.counters["liquid_cells"] = dam.fluid.getLiquidCellCount();
    state.counters["particles"] = dam.fluid.get_MAC_ParticleSystem().getParticlesCount();
}
BENCHMARK(BM_WriteCheckpoint)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_RestoreCheckpoint(benchmark::State& state) {
    TankDamBreak& dam = tank();
    if (!dam.fluid.createCheckPoint(checkpointPath())) state.SkipWithError("cannot write the checkpoint");
    for (auto _ : state)
        if (dam.fluid.restoreFromCheckPoint(checkpointPath()) != MAC_LBM_Fluid3::RESTORE_DONE)
            state.SkipWithError("the checkpoint was refused");
}
BENCHMARK(BM_RestoreCheckpoint)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

}  // namespace
