#include <gtest/gtest.h>

#include <atomic>

#include "kv_fluids_dyn/solver/Thread.h"

namespace {

using kelvar::Thread;

struct Probe {
    std::atomic<bool> release{false};
    std::atomic<unsigned int> seenState{99};
    Thread* self = nullptr;
};

unsigned int probeMain(void* argument) {
    Probe& probe = *static_cast<Probe*>(argument);
    probe.seenState.store(probe.self->getState());
    while (!probe.release.load()) std::this_thread::yield();
    return 7;
}

TEST(Thread, StateGoesCreatedRunningFinishedJoined) {
    Thread thread;
    Probe probe;
    probe.self = &thread;
    EXPECT_EQ(thread.getState(), Thread::Created);
    thread.start(&probeMain, &probe);
    while (probe.seenState.load() == 99) std::this_thread::yield();
    EXPECT_EQ(probe.seenState.load(), Thread::Running);
    EXPECT_EQ(thread.getState(), Thread::Running);
    probe.release.store(true);
    while (thread.getState() != Thread::Finished) std::this_thread::yield();
    thread.join();
    EXPECT_EQ(thread.getState(), Thread::Joined);
}

TEST(Thread, DestructorJoinsAStartedThread) {
    std::atomic<int> ran{0};
    {
        Thread thread;
        thread.start(
            [](void* argument) -> unsigned int {
                static_cast<std::atomic<int>*>(argument)->fetch_add(1);
                return 0;
            },
            &ran);
    }
    EXPECT_EQ(ran.load(), 1);
}

}  // namespace
