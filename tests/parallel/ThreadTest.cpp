#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "kv_fluids_dyn/parallel/Thread.h"

namespace {

using kelvar::Thread;

struct Probe {
    Thread* self = nullptr;
    std::atomic<unsigned int> seenInside{99};
    std::atomic<bool> release{false};
};

TEST(Thread, StateGoesCreatedRunningFinishedJoined) {
    Thread thread;
    Probe probe;
    probe.self = &thread;
    EXPECT_EQ(thread.getState(), Thread::Created);
    thread.start(
        [](void* argument) -> unsigned int {
            Probe& p = *static_cast<Probe*>(argument);
            p.seenInside.store(p.self->getState());
            while (!p.release.load()) std::this_thread::yield();
            return 0;
        },
        &probe);
    while (probe.seenInside.load() == 99) std::this_thread::yield();
    EXPECT_EQ(probe.seenInside.load(), Thread::Running);
    probe.release.store(true);
    while (thread.getState() != Thread::Finished) std::this_thread::yield();
    thread.join();
    EXPECT_EQ(thread.getState(), Thread::Joined);
}

}  // namespace
