// Every port, simulated: deterministic, in memory, recording. Creating one installs it as the
// platform in force; destroying it puts the defaults back.
#pragma once

#include <memory>

#include "Platform/Platform.hpp"
#include "Platform/Simulated/SimulatedMainQueue.hpp"
#include "Platform/Simulated/SimulatedStorage.hpp"
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
    SimulatedKeychain& keychain() { return *keychain_; }
    SimulatedUserDefaults& userDefaults() { return *userDefaults_; }
    SimulatedBiometrics& biometrics() { return *biometrics_; }
    SimulatedDevice& device() { return *device_; }
    SimulatedBundle& bundle() { return *bundle_; }

  private:
    std::shared_ptr<SimulatedMainQueue> mainQueue_;
    std::shared_ptr<SimulatedSystemLog> systemLog_;
    std::shared_ptr<SimulatedKeychain> keychain_;
    std::shared_ptr<SimulatedUserDefaults> userDefaults_;
    std::shared_ptr<SimulatedBiometrics> biometrics_;
    std::shared_ptr<SimulatedDevice> device_;
    std::shared_ptr<SimulatedBundle> bundle_;
};

}  // namespace tandri::sim
