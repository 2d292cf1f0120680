// The launching bridge of a hybrid host: the merchant's own page plays the launcher page. It
// makes no web view; it adopts the one whose first message it receives, and answers any frame.
#pragma once

#include "Core/Bridge/LaunchingWebViewBridge.hpp"

namespace tandri {

class MerchantWebViewBridge : public LaunchingWebViewBridge {
  public:
    static std::shared_ptr<MerchantWebViewBridge> initWithWebView(
        std::shared_ptr<WebView> webView, std::shared_ptr<ViewController> presentingViewController,
        ButtonFinishedLoad onButtonFinishedLoad = {});

    std::string className() const override { return "MerchantWebViewBridge"; }
    std::optional<std::string> userAgentSuffix() const override { return "TDC_HSDK"; }

    /// A message from the merchant's page: the first one's web view becomes the bridge's.
    void receive(UserContentController& controller, const ScriptMessage& message);

  private:
    using LaunchingWebViewBridge::LaunchingWebViewBridge;
};

}  // namespace tandri
