#pragma once
// A mutex that a forked child can start afresh, since another thread of the parent may have held it.

#include <mutex>
#include <new>

namespace shim {

class process_lock
{
public:
    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }
    std::mutex& native() { return mutex_; }

    /// Only in a forked child, before it has started a second thread.
    void revive() { new (&mutex_) std::mutex; }

private:
    std::mutex mutex_;
};

} // namespace shim
