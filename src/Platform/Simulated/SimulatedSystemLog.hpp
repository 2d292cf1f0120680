// A system log that keeps every line for tests to read.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "Platform/SystemLog.hpp"

namespace tandri::sim {

class SimulatedSystemLog final : public SystemLog {
  public:
    void write(std::string_view line) override {
        std::function<void(std::string_view)> listener;
        {
            std::lock_guard lock(mutex_);
            lines_.emplace_back(line);
            listener = onLine;
        }
        if (listener) listener(line);
    }
    std::vector<std::string> lines() const {
        std::lock_guard lock(mutex_);
        return lines_;
    }
    void clear() {
        std::lock_guard lock(mutex_);
        lines_.clear();
    }

    /// Told of each line as it is written (set before any line can arrive).
    std::function<void(std::string_view)> onLine;

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace tandri::sim
