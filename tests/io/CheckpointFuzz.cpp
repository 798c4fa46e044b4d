// A long fuzz run of the checkpoint and proxy readers, outside the default
// test run: mutated copies of a valid checkpoint (plain and exact, in turn)
// and proxy restored into a fresh domain. A crash, a sanitizer report or a
// refused file that changed the domain fails it. Build it sanitized:
//
//   cmake --build build-asan --target kv_io_checkpoint_fuzz
//   build-asan/tests/io/kv_io_checkpoint_fuzz 100000 [seed]

#include <cstdio>
#include <cstdlib>
#include <random>

#include "CheckpointFiles.h"

using namespace kelvar::fluid;
using namespace kelvar::fluid::test;

namespace {

std::string mutate(const std::string& original, std::mt19937& random) {
    std::string bytes = original;
    const unsigned edits = 1 + random() % 8;
    for (unsigned e = 0; e < edits && !bytes.empty(); ++e) {
        const std::size_t at = random() % bytes.size();
        switch (random() % 4) {
            case 0: bytes[at] = char(random()); break;
            case 1: bytes.insert(at, 1, char(random())); break;
            case 2: bytes.erase(at, 1 + random() % 16); break;
            default: bytes.resize(at); break;
        }
    }
    return bytes;
}

}  // namespace

int main(int argc, char** argv) {
    const unsigned long runs = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100000;
    std::mt19937 random(argc > 2 ? unsigned(std::strtoul(argv[2], nullptr, 10)) : 1u);

    TempFile checkpoint("fuzz.kvc");
    TempFile proxy("fuzz.kvp");
    RunScene saved(6 * 6 * 6, 2);
    if (!saved.fluid.createCheckPoint(checkpoint.path()) ||
        !saved.fluid.createProxy(proxy.path(), MAC_LBM_Fluid3::PROXY_ALL))
        return 2;
    const std::string plainCheckpoint = checkpoint.bytes();
    saved.fluid.setExactCheckpoints(true);
    if (!saved.fluid.createCheckPoint(checkpoint.path())) return 2;
    const std::string exactCheckpoint = checkpoint.bytes();
    const std::string validProxy = proxy.bytes();

    unsigned long restored = 0, refused = 0, changedWhenRefused = 0;
    for (unsigned long run = 0; run < runs; ++run) {
        checkpoint.write(mutate(run % 2 == 0 ? plainCheckpoint : exactCheckpoint, random));
        proxy.write(mutate(validProxy, random));
        WalledScene<> target(6 * 6 * 6, 1);
        const uint64_t before = hashState(target.fluid);
        if (target.fluid.restoreFromCheckPoint(checkpoint.path()) == MAC_LBM_Fluid3::RESTORE_DONE) {
            ++restored;
        } else {
            ++refused;
            if (hashState(target.fluid) != before) ++changedWhenRefused;
        }
        target.fluid.load_MAC_ParticlesFromCheckPoint(checkpoint.path());
        MAC_LBM_Fluid3 created;
        created.createFromCheckPoint(checkpoint.path());
        target.fluid.restoreFromProxy(proxy.path());
    }
    std::printf("%lu mutated checkpoints and proxies: %lu restored, %lu refused, %lu refused but changed\n", runs,
                restored, refused, changedWhenRefused);
    return changedWhenRefused == 0 ? 0 : 1;
}
