#include "Platform/Simulated/SimulatedPlatform.hpp"

#include "Core/Utils/NotificationCenter.hpp"

namespace tandri::sim {

SimulatedPlatform::SimulatedPlatform() : SimulatedPlatform(std::make_shared<SimulatedFiles>()) {}

SimulatedPlatform::SimulatedPlatform(std::shared_ptr<SimulatedFiles> files)
    : mainQueue_(std::make_shared<SimulatedMainQueue>()),
      systemLog_(std::make_shared<SimulatedSystemLog>()),
      webViews_(std::make_shared<SimulatedWebViewFactory>()),
      keychain_(std::make_shared<SimulatedKeychain>()),
      userDefaults_(std::make_shared<SimulatedUserDefaults>()),
      biometrics_(std::make_shared<SimulatedBiometrics>()),
      device_(std::make_shared<SimulatedDevice>()),
      bundle_(std::make_shared<SimulatedBundle>()),
      presenter_(std::make_shared<SimulatedPresenter>(mainQueue_)),
      clock_(std::make_shared<SimulatedClock>()),
      urlOpener_(std::make_shared<SimulatedURLOpener>()),
      files_(files ? std::move(files) : std::make_shared<SimulatedFiles>()),
      imageCodec_(std::make_shared<SimulatedImageCodec>()),
      cookies_(std::make_shared<SimulatedCookies>()) {
    Platform ports;
    ports.mainQueue = mainQueue_;
    ports.systemLog = systemLog_;
    ports.webViews = webViews_;
    ports.keychain = keychain_;
    ports.userDefaults = userDefaults_;
    ports.biometrics = biometrics_;
    ports.device = device_;
    ports.bundle = bundle_;
    ports.presenter = presenter_;
    ports.clock = clock_;
    ports.urlOpener = urlOpener_;
    ports.files = files_;
    ports.imageCodec = imageCodec_;
    ports.cookies = cookies_;
    ports.statusBarHeight = 20;  // a phone with the classic status bar
    Platform::install(std::move(ports));
    // A new simulated process starts with no one listening.
    NotificationCenter::defaultCenter().removeAllObservers();
}

void SimulatedPlatform::setOSVersion(int major, int minor) {
    Platform::current().osVersion = OSVersion{major, minor};
}

SimulatedPlatform::~SimulatedPlatform() {
    Platform::install(Platform{});
}

}  // namespace tandri::sim
