// Every port, simulated: deterministic, in memory, recording. Creating one installs it as the
// platform in force (and empties the default notification centre); destroying it puts the
// defaults back.
#pragma once

#include <memory>

#include "Platform/Platform.hpp"
#include "Platform/Simulated/SimulatedMainQueue.hpp"
#include "Platform/Simulated/SimulatedPorts.hpp"
#include "Platform/Simulated/SimulatedPresenter.hpp"
#include "Platform/Simulated/SimulatedStorage.hpp"
#include "Platform/Simulated/SimulatedSystemLog.hpp"
#include "Platform/Simulated/SimulatedWebView.hpp"

namespace tandri::sim {

class SimulatedPlatform {
  public:
    SimulatedPlatform();
    /// A platform over files kept from an earlier one: a restarted process on the same disk.
    explicit SimulatedPlatform(std::shared_ptr<SimulatedFiles> files);
    ~SimulatedPlatform();
    SimulatedPlatform(const SimulatedPlatform&) = delete;
    SimulatedPlatform& operator=(const SimulatedPlatform&) = delete;

    SimulatedMainQueue& mainQueue() { return *mainQueue_; }
    SimulatedSystemLog& systemLog() { return *systemLog_; }
    SimulatedWebViewFactory& webViews() { return *webViews_; }
    SimulatedKeychain& keychain() { return *keychain_; }
    SimulatedUserDefaults& userDefaults() { return *userDefaults_; }
    SimulatedBiometrics& biometrics() { return *biometrics_; }
    SimulatedDevice& device() { return *device_; }
    SimulatedBundle& bundle() { return *bundle_; }
    SimulatedPresenter& presenter() { return *presenter_; }
    SimulatedClock& clock() { return *clock_; }
    SimulatedURLOpener& urlOpener() { return *urlOpener_; }
    SimulatedFiles& files() { return *files_; }
    std::shared_ptr<SimulatedFiles> sharedFiles() { return files_; }
    SimulatedImageCodec& imageCodec() { return *imageCodec_; }
    SimulatedCookies& cookies() { return *cookies_; }
    /// The OS version the core sees from now on.
    void setOSVersion(int major, int minor = 0);

  private:
    std::shared_ptr<SimulatedMainQueue> mainQueue_;
    std::shared_ptr<SimulatedSystemLog> systemLog_;
    std::shared_ptr<SimulatedWebViewFactory> webViews_;
    std::shared_ptr<SimulatedKeychain> keychain_;
    std::shared_ptr<SimulatedUserDefaults> userDefaults_;
    std::shared_ptr<SimulatedBiometrics> biometrics_;
    std::shared_ptr<SimulatedDevice> device_;
    std::shared_ptr<SimulatedBundle> bundle_;
    std::shared_ptr<SimulatedPresenter> presenter_;
    std::shared_ptr<SimulatedClock> clock_;
    std::shared_ptr<SimulatedURLOpener> urlOpener_;
    std::shared_ptr<SimulatedFiles> files_;
    std::shared_ptr<SimulatedImageCodec> imageCodec_;
    std::shared_ptr<SimulatedCookies> cookies_;
};

}  // namespace tandri::sim
