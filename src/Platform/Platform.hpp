// The ports through which the core reaches everything it touches. A platform (simulated for
// tests, GTK on the desktop) fills them in once at start-up with `install`.
#pragma once

#include <memory>
#include <optional>

#include "Core/Views/Geometry.hpp"

#include "Platform/Biometrics.hpp"
#include "Platform/Clock.hpp"
#include "Platform/Cookies.hpp"
#include "Platform/Device.hpp"
#include "Platform/Files.hpp"
#include "Platform/ImageCodec.hpp"
#include "Platform/Keychain.hpp"
#include "Platform/MainQueue.hpp"
#include "Platform/OSVersion.hpp"
#include "Platform/Presenter.hpp"
#include "Platform/SystemLog.hpp"
#include "Platform/URLOpener.hpp"
#include "Platform/UserDefaults.hpp"
#include "Platform/WebView.hpp"

namespace tandri {

struct Platform {
    std::shared_ptr<MainQueue> mainQueue;
    std::shared_ptr<SystemLog> systemLog;
    /// Makes web views; without it the core makes none.
    std::shared_ptr<WebViewFactory> webViews;
    /// Storage ports; without a keychain or user defaults, reads find nothing and writes do
    /// nothing. Biometrics fall back to a platform without a biometric device.
    std::shared_ptr<Keychain> keychain;
    std::shared_ptr<UserDefaults> userDefaults;
    std::shared_ptr<Biometrics> biometrics;
    std::shared_ptr<Device> device;
    std::shared_ptr<Bundle> bundle;
    // Screens and the things around them. Missing: no presentation, nothing opened, no files,
    // no codec, no cookies; the clock defaults to the system's.
    std::shared_ptr<Presenter> presenter;
    std::shared_ptr<Clock> clock;
    OSVersion osVersion;
    std::shared_ptr<URLOpener> urlOpener;
    std::shared_ptr<Files> files;
    std::shared_ptr<ImageCodec> imageCodec;
    std::shared_ptr<Cookies> cookies;
    /// The main screen's bounds (the host window's on the desktop); none without a screen.
    std::optional<Rect> mainScreenBounds = Rect{0, 0, 375, 812};
    /// The height of the application's status bar; 0 where there is none.
    double statusBarHeight = 0;

    /// The ports in force. Before any install: no main queue (work runs where it is called)
    /// and a system log on standard error.
    static Platform& current();
    /// Replaces the ports in force; missing ones fall back to the defaults above.
    static void install(Platform ports);
};

}  // namespace tandri
