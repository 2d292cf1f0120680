// Running work on the main thread, and telling closures from other values.
#pragma once

#include <functional>
#include <utility>

#include "tandri/Value.hpp"

namespace tandri {

class DispatchHelper {
  public:
    /// Runs `work` on the main thread at once: directly when already there, otherwise the caller
    /// waits until the main thread has run it. The closure is not kept. Without a main queue
    /// installed it runs where it is called.
    static void setRunOnMain(const std::function<void()>& work);
    /// The same for any callable, without wrapping it when already on the main thread.
    template <class Work>
    static void runOnMainNow(Work&& work) {
        if (onMainThread()) {
            work();
        } else {
            setRunOnMain(std::function<void()>(std::forward<Work>(work)));
        }
    }
    /// Whether the caller is on the main thread (always, without a main queue installed).
    static bool onMainThread();
    /// Always nothing: the property only runs what it is given.
    static std::function<void()> runOnMain() { return {}; }
    /// Queues `work` for the main thread, even when called there: it runs after the caller
    /// returns. Without a main queue installed it runs at once.
    static void postToMain(std::function<void()> work);
};

class BlockUtil {
  public:
    /// Whether a value is a closure. Values know their kind, so no type walk is needed.
    static bool isBlock(const std::optional<Value>& value) { return value && value->isClosure(); }
};

}  // namespace tandri
