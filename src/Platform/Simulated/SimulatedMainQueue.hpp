// A main queue that runs posted work only when a test drains it. The thread that creates it is
// the main thread. Other threads may post or wait (runSync) on it; their work runs at the next
// drain on the main thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "Platform/MainQueue.hpp"

namespace tandri::sim {

class SimulatedMainQueue final : public MainQueue {
  public:
    SimulatedMainQueue();

    void post(std::function<void()> work) override;
    void runSync(std::function<void()> work) override;
    bool isMainThread() const override;

    /// Runs queued work, including work queued while draining, until the queue is empty.
    /// Answers how many items ran. Must be called on the main thread.
    std::size_t drain();
    /// Runs the oldest queued item, if any; answers whether one ran.
    bool runOne();
    /// How many items wait.
    std::size_t pending() const;
    /// Waits until some work is queued (posted from any thread) or `timeout` passes; answers
    /// whether work waits.
    bool waitForWork(std::chrono::milliseconds timeout = std::chrono::seconds(5));
    /// Drains repeatedly until `done` answers true or `timeout` passes (for work arriving from
    /// other threads); answers `done()`.
    bool drainUntil(const std::function<bool()>& done,
                    std::chrono::milliseconds timeout = std::chrono::seconds(5));

  private:
    std::thread::id mainThread_;
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<std::function<void()>> queue_;
};

}  // namespace tandri::sim
