#include "Platform/Simulated/SimulatedPlatform.hpp"

namespace tandri::sim {

SimulatedPlatform::SimulatedPlatform()
    : mainQueue_(std::make_shared<SimulatedMainQueue>()),
      systemLog_(std::make_shared<SimulatedSystemLog>()),
      keychain_(std::make_shared<SimulatedKeychain>()),
      userDefaults_(std::make_shared<SimulatedUserDefaults>()),
      biometrics_(std::make_shared<SimulatedBiometrics>()),
      device_(std::make_shared<SimulatedDevice>()),
      bundle_(std::make_shared<SimulatedBundle>()) {
    Platform ports;
    ports.mainQueue = mainQueue_;
    ports.systemLog = systemLog_;
    ports.keychain = keychain_;
    ports.userDefaults = userDefaults_;
    ports.biometrics = biometrics_;
    ports.device = device_;
    ports.bundle = bundle_;
    Platform::install(std::move(ports));
}

SimulatedPlatform::~SimulatedPlatform() {
    Platform::install(Platform{});
}

}  // namespace tandri::sim
