// The plugin a hybrid host installs on its own web view: it listens on the system's message
// names, keeps one merchant bridge for the current presenting screen and hands it every message.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/WebView.hpp"
#include "tandri/TandriMessageHandler.hpp"

namespace tandri {

class MerchantWebViewBridge;
class ViewController;

class TandriCheckoutPlugin : public ScriptMessageHandler {
  public:
    /// The one plugin of the process.
    static std::shared_ptr<TandriCheckoutPlugin> main();
    /// Registers the plugin on the host web view's content controller under "tandriMessage"
    /// and "supportsSRC" (the controller keeps it), and makes a bridge for `viewController`.
    static void configure(UserContentController& controller,
                          std::shared_ptr<ViewController> viewController);
    /// The web view for a window the host page opens (from the host's new-window callback);
    /// none without a bridge.
    static std::shared_ptr<WebView> finishSetupWithRequest(
        const URLRequest& request, std::shared_ptr<WebViewConfiguration> configuration);
    /// The library's own short version ("CFBundleShortVersionString" of its bundle, which is the
    /// build's version), never the host application's; read on each call.
    static std::optional<std::string> SDK_VERSION();

    /// Held weakly. Each screen given starts a fresh bridge; none drops it.
    void setPresentingViewController(std::shared_ptr<ViewController> viewController);
    std::shared_ptr<ViewController> presentingViewController() const { return presenting_.lock(); }
    void userContentControllerDidReceiveScriptMessage(UserContentController& controller,
                                                      const ScriptMessage& message) override;

    /// Origins, exactly "scheme://host" or "scheme://host:port" (for example
    /// "https://pay.example"), whose frames inside the host's page may use the checkout channel,
    /// besides the page's main frame and frames on the maker's domain: a payment provider's
    /// frame the host embeds, say. Entries that are not exactly an origin (a path, a query,
    /// user information, no host) are left out. Kept for every later screen's bridge.
    void setTrustedOrigins(const std::vector<std::string>& origins);
    /// The origins kept, as browsers write them (lower case, no default port).
    const std::vector<std::string>& trustedOrigins() const { return trustedOrigins_; }

    std::shared_ptr<MerchantWebViewBridge> merchantBridge;

  private:
    std::weak_ptr<ViewController> presenting_;
    std::vector<std::string> trustedOrigins_;
};

}  // namespace tandri
