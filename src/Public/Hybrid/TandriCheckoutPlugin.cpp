#include "Public/Hybrid/TandriCheckoutPlugin.hpp"

#include <algorithm>
#include <mutex>

#include "Core/Bridge/MerchantWebViewBridge.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Platform.hpp"
#include "tandri/Version.hpp"

namespace tandri {

std::optional<std::string> TandriCheckoutPlugin::SDK_VERSION() {
    auto& bundle = Platform::current().bundle;
    if (!bundle) return std::string(kSDKVersion);
    return bundle->libraryShortVersion();
}

std::shared_ptr<TandriCheckoutPlugin> TandriCheckoutPlugin::main() {
    static std::once_flag once;
    static std::shared_ptr<TandriCheckoutPlugin> plugin;
    std::call_once(once, [] { plugin = std::make_shared<TandriCheckoutPlugin>(); });
    return plugin;
}

void TandriCheckoutPlugin::configure(UserContentController& controller,
                                     std::shared_ptr<ViewController> viewController) {
    auto plugin = main();
    controller.addScriptMessageHandler(plugin, kTandriMessage);
    controller.addScriptMessageHandler(plugin, kTandriSupportsSRC);
    plugin->setPresentingViewController(std::move(viewController));
}

void TandriCheckoutPlugin::setPresentingViewController(
    std::shared_ptr<ViewController> viewController) {
    presenting_ = viewController;
    merchantBridge =
        viewController ? MerchantWebViewBridge::initWithWebView(nullptr, viewController) : nullptr;
    if (merchantBridge) merchantBridge->trustedOrigins = trustedOrigins_;
}

void TandriCheckoutPlugin::setTrustedOrigins(const std::vector<std::string>& origins) {
    trustedOrigins_.clear();
    for (const auto& text : origins) {
        // Only an origin as it stands: nothing after the host and port.
        auto scheme = text.find("://");
        if (scheme == std::string::npos ||
            text.find_first_of("/?#@", scheme + 3) != std::string::npos) {
            continue;
        }
        auto url = URL::parse(text);
        auto origin = url ? url->origin() : std::nullopt;
        if (origin && std::find(trustedOrigins_.begin(), trustedOrigins_.end(), *origin) ==
                          trustedOrigins_.end()) {
            trustedOrigins_.push_back(*origin);
        }
    }
    if (merchantBridge) merchantBridge->trustedOrigins = trustedOrigins_;
}

void TandriCheckoutPlugin::userContentControllerDidReceiveScriptMessage(
    UserContentController& controller, const ScriptMessage& message) {
    if (merchantBridge) merchantBridge->receive(controller, message);
}

std::shared_ptr<WebView> TandriCheckoutPlugin::finishSetupWithRequest(
    const URLRequest& request, std::shared_ptr<WebViewConfiguration> configuration) {
    auto bridge = main()->merchantBridge;
    return bridge ? bridge->setupCheckoutBridge(request, std::move(configuration)) : nullptr;
}

}  // namespace tandri
