#pragma once

#include <atomic>
#include <thread>

#include "kv_basic/Export.h"

namespace kelvar {

// One operating-system thread that runs a plain worker function with one
// argument. The state word records how far the thread has come:
// Created -> Running (function entered) -> Finished (function returned) ->
// Joined (the owner has waited for it). The state is only changed through
// atomic operations, so any thread may read it at any time.
//
// A Thread is started at most once and must be joined by its owner; the
// destructor joins a thread that was started and not yet joined.
class KV_EXPORT Thread {
public:
    using Function = unsigned int (*)(void* argument);

    enum State : unsigned int { Created = 0, Running = 1, Finished = 2, Joined = 3 };

    Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    virtual ~Thread();

    // Starts the thread at once; it calls function(argument).
    void start(Function function, void* argument);

    // Waits without time limit for the function to return.
    void join();

    unsigned int getState() const { return state_.load(std::memory_order_acquire); }

private:
    static void trampoline(Thread* self);

    std::atomic<unsigned int> state_{Created};
    Function function_ = nullptr;
    void* argument_ = nullptr;
    std::thread handle_;
};

}  // namespace kelvar
