// The main thread's queue: everything the library does runs there.
#pragma once

#include <functional>

namespace tandri {

class MainQueue {
  public:
    virtual ~MainQueue() = default;
    /// Runs `work` on the main thread later, after the caller returns (even on the main thread).
    virtual void post(std::function<void()> work) = 0;
    /// Runs `work` on the main thread and returns once it has run; called from another thread,
    /// the caller waits. On the main thread it runs at once.
    virtual void runSync(std::function<void()> work) = 0;
    /// Whether the calling thread is the main thread.
    virtual bool isMainThread() const = 0;
};

}  // namespace tandri
