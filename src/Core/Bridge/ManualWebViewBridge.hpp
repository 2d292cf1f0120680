// Manual checkout sessions: the host starts checkout from its own control. Its ready callback
// receives a launch closure when the session opens (calling it shows the spinner and tells the
// page the native button was clicked), and an answer closure when the page is ready (calling it
// releases the page).
#pragma once

#include <functional>
#include <memory>

#include "Core/Bridge/MobileWebViewBridge.hpp"

namespace tandri {

class ManualWebViewBridge : public MobileWebViewBridge {
  public:
    /// Called with the launch closure, then later with the answer closure.
    using ReadyHandler = std::function<void(std::function<void()>)>;

    /// Opens a session on a bridge of its own that loads the manual page; a session opened
    /// earlier this way loses every handler.
    static void configureNewBridge(std::shared_ptr<NativeLaunchConfiguration> config,
                                   ReadyHandler onReady);
    /// Opens a session on an existing bridge (the checkout button's).
    static void configureExistingBridge(std::shared_ptr<NativeLaunchConfiguration> config,
                                        ReadyHandler onReady,
                                        std::shared_ptr<MobileWebViewBridge> bridge);
    static std::shared_ptr<ManualWebViewBridge> initWithLaunchConfig(
        std::shared_ptr<NativeLaunchConfiguration> config, ReadyHandler onReady,
        std::shared_ptr<MobileWebViewBridge> existing);

    std::string className() const override { return "ManualWebViewBridge"; }

    /// The sessions' own bridges that are waiting for their page.
    static std::size_t registeredBridgeCount();
    static bool isRegistered(const ManualWebViewBridge* bridge);
    /// The waiting bridge, if any (at most one waits at a time).
    static std::shared_ptr<ManualWebViewBridge> registeredBridge();
    /// Forgets the waiting bridge (a fresh process, for tests and tools).
    static void resetRegistryForTesting();

  private:
    using MobileWebViewBridge::MobileWebViewBridge;
    void setupManualHandlersWithReadyHandler(ReadyHandler onReady,
                                             const std::shared_ptr<MobileWebViewBridge>& target);
    std::function<void()> makeLaunchClosure(std::shared_ptr<NativeLaunchConfiguration> config,
                                            std::shared_ptr<MobileWebViewBridge> existing);
};

}  // namespace tandri
