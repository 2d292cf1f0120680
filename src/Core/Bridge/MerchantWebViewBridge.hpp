// The launching bridge of a hybrid host: the merchant's own page plays the launcher page. It
// makes no web view; it adopts the one whose first message it receives. Besides frames on the
// maker's domain it hears that page's main frame, whatever its origin, and frames of origins the
// host declared; nothing else, not even the checkout window that shares the page's channel.
#pragma once

#include <string>
#include <vector>

#include "Core/Bridge/LaunchingWebViewBridge.hpp"

namespace tandri {

class MerchantWebViewBridge : public LaunchingWebViewBridge {
  public:
    static std::shared_ptr<MerchantWebViewBridge> initWithWebView(
        std::shared_ptr<WebView> webView, std::shared_ptr<ViewController> presentingViewController,
        ButtonFinishedLoad onButtonFinishedLoad = {});

    std::string className() const override { return "MerchantWebViewBridge"; }
    std::optional<std::string> userAgentSuffix() const override { return "TDC_HSDK"; }

    /// A message from the merchant's page: the first one's web view becomes the bridge's,
    /// unless the library made that view itself (a checkout window or one it opened).
    void receive(UserContentController& controller, const ScriptMessage& message);

    /// Origins (as URL::origin() writes them) whose frames inside the host's page are heard.
    std::vector<std::string> trustedOrigins;

  protected:
    bool frameIsAllowed(const ScriptMessage& message) override;

  private:
    using LaunchingWebViewBridge::LaunchingWebViewBridge;
};

}  // namespace tandri
