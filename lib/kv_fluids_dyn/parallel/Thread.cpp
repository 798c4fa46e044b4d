#include "kv_fluids_dyn/parallel/Thread.h"

namespace kelvar {

Thread::~Thread() {
    if (handle_.joinable()) join();
}

void Thread::start(Function function, void* argument) {
    function_ = function;
    argument_ = argument;
    handle_ = std::thread(&Thread::trampoline, this);
}

void Thread::join() {
    handle_.join();
    state_.store(Joined, std::memory_order_release);
}

void Thread::trampoline(Thread* self) {
    self->state_.store(Running, std::memory_order_release);
    self->function_(self->argument_);
    self->state_.store(Finished, std::memory_order_release);
}

}  // namespace kelvar
