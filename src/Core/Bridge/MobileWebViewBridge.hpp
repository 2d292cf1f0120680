// The launching bridge of native hosts: its own web view marked "TDC_SDK", and the handlers
// through which the button page fetches the merchant's options, reports the result and the
// button's state, and asks the host for data on demand.
#pragma once

#include <memory>

#include "Core/Bridge/LaunchingWebViewBridge.hpp"
#include "Core/Bridge/NativeLaunchConfiguration.hpp"

namespace tandri {

class MobileWebViewBridge : public LaunchingWebViewBridge {
  public:
    /// Makes the web view and the bridge; the owner loads the page. A view given as `sameOrigin`
    /// (the caller has checked that it shows the origin of the page to load) may lend the new
    /// one its engine process.
    static std::shared_ptr<MobileWebViewBridge> initWithLaunchConfig(
        std::shared_ptr<NativeLaunchConfiguration> config,
        const std::shared_ptr<WebView>& sameOrigin = nullptr);

    std::string className() const override { return "MobileWebViewBridge"; }
    std::optional<std::string> userAgentSuffix() const override { return "TDC_SDK"; }

    void setupNativeHandlers(const std::shared_ptr<NativeLaunchConfiguration>& config);
    MessageHandler onTinitReady(std::shared_ptr<NativeLaunchConfiguration> config);
    MessageHandler onResult(std::shared_ptr<NativeLaunchConfiguration> config);
    MessageHandler buttonClickEnabled(std::shared_ptr<NativeLaunchConfiguration> config);
    static MessageHandler dataRequestHandler(const Value& hostClosure);

  protected:
    using LaunchingWebViewBridge::LaunchingWebViewBridge;
    /// A fresh web view with default settings (none without a platform that makes them).
    static std::shared_ptr<WebView> makeDefaultWebView(
        const std::shared_ptr<WebView>& sameOrigin = nullptr);
    /// The construction steps on an owned bridge made with such a view.
    static void initializeMobile(const std::shared_ptr<MobileWebViewBridge>& bridge,
                                 const std::shared_ptr<NativeLaunchConfiguration>& config);
};

}  // namespace tandri
