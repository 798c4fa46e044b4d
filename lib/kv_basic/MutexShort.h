#pragma once

#include <mutex>

namespace kelvar {

// A non-recursive mutex for short critical sections, such as taking a cell
// from a pool or appending a particle from a worker thread.
class MutexShort {
public:
    MutexShort() = default;
    MutexShort(const MutexShort&) = delete;
    MutexShort& operator=(const MutexShort&) = delete;

    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

}  // namespace kelvar
