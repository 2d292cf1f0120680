// Every port, simulated: deterministic, in memory, recording. Creating one installs it as the
// platform in force; destroying it puts the defaults back.
#pragma once

#include <memory>

#include "Platform/Platform.hpp"
#include "Platform/Simulated/SimulatedMainQueue.hpp"
#include "Platform/Simulated/SimulatedSystemLog.hpp"

namespace tandri::sim {

class SimulatedPlatform {
  public:
    SimulatedPlatform();
    ~SimulatedPlatform();
    SimulatedPlatform(const SimulatedPlatform&) = delete;
    SimulatedPlatform& operator=(const SimulatedPlatform&) = delete;

    SimulatedMainQueue& mainQueue() { return *mainQueue_; }
    SimulatedSystemLog& systemLog() { return *systemLog_; }

  private:
    std::shared_ptr<SimulatedMainQueue> mainQueue_;
    std::shared_ptr<SimulatedSystemLog> systemLog_;
};

}  // namespace tandri::sim
