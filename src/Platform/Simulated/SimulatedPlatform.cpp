#include "Platform/Simulated/SimulatedPlatform.hpp"

namespace tandri::sim {

SimulatedPlatform::SimulatedPlatform()
    : mainQueue_(std::make_shared<SimulatedMainQueue>()),
      systemLog_(std::make_shared<SimulatedSystemLog>()) {
    Platform ports;
    ports.mainQueue = mainQueue_;
    ports.systemLog = systemLog_;
    Platform::install(std::move(ports));
}

SimulatedPlatform::~SimulatedPlatform() {
    Platform::install(Platform{});
}

}  // namespace tandri::sim
