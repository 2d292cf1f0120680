// A system log that keeps every line for tests to read.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "Platform/SystemLog.hpp"

namespace tandri::sim {

class SimulatedSystemLog final : public SystemLog {
  public:
    void write(std::string_view line) override {
        std::lock_guard lock(mutex_);
        lines_.emplace_back(line);
    }
    std::vector<std::string> lines() const {
        std::lock_guard lock(mutex_);
        return lines_;
    }
    void clear() {
        std::lock_guard lock(mutex_);
        lines_.clear();
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace tandri::sim
