#include "Platform/Simulated/SimulatedMainQueue.hpp"

namespace tandri::sim {

SimulatedMainQueue::SimulatedMainQueue() : mainThread_(std::this_thread::get_id()) {}

bool SimulatedMainQueue::isMainThread() const {
    return std::this_thread::get_id() == mainThread_;
}

void SimulatedMainQueue::post(std::function<void()> work) {
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(work));
    }
    arrived_.notify_all();
}

void SimulatedMainQueue::runSync(std::function<void()> work) {
    if (isMainThread()) {
        work();
        return;
    }
    std::mutex doneMutex;
    std::condition_variable doneSignal;
    bool done = false;
    post([&] {
        work();
        // Signalled under the lock: once the waiter sees `done` it returns and destroys the
        // condition variable, which must not still be in use here.
        std::lock_guard lock(doneMutex);
        done = true;
        doneSignal.notify_all();
    });
    std::unique_lock lock(doneMutex);
    doneSignal.wait(lock, [&] { return done; });
}

bool SimulatedMainQueue::runOne() {
    std::function<void()> work;
    {
        std::lock_guard lock(mutex_);
        if (queue_.empty()) return false;
        work = std::move(queue_.front());
        queue_.pop_front();
    }
    work();
    return true;
}

std::size_t SimulatedMainQueue::drain() {
    std::size_t count = 0;
    while (runOne()) ++count;
    return count;
}

std::size_t SimulatedMainQueue::pending() const {
    std::lock_guard lock(mutex_);
    return queue_.size();
}

bool SimulatedMainQueue::waitForWork(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    return arrived_.wait_for(lock, timeout, [&] { return !queue_.empty(); });
}

bool SimulatedMainQueue::drainUntil(const std::function<bool()>& done,
                                    std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        drain();
        if (done()) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        // Wake on new work, or look at `done` again shortly: it may turn true without new work.
        std::unique_lock lock(mutex_);
        arrived_.wait_for(lock, std::chrono::milliseconds(1), [&] { return !queue_.empty(); });
    }
}

}  // namespace tandri::sim
