#include "Core/Bridge/MerchantWebViewBridge.hpp"

#include <algorithm>

#include "Core/Utils/URL.hpp"

namespace tandri {

std::shared_ptr<MerchantWebViewBridge> MerchantWebViewBridge::initWithWebView(
    std::shared_ptr<WebView> webView, std::shared_ptr<ViewController> presentingViewController,
    ButtonFinishedLoad onButtonFinishedLoad) {
    std::shared_ptr<MerchantWebViewBridge> bridge(new MerchantWebViewBridge(std::move(webView)));
    initialize(bridge, std::move(presentingViewController), std::move(onButtonFinishedLoad));
    // The merchant's page is not on the checkout's domain: frameIsAllowed() hears it, and only
    // it, instead of the security check being bypassed for every frame.
    return bridge;
}

void MerchantWebViewBridge::receive(UserContentController& controller,
                                    const ScriptMessage& message) {
    if (!webView) {
        auto sender = message.webView.lock();
        // A window the library made shares the page's channel; it never becomes the host's page.
        if (!CheckoutWebViewBridge::madeWebView(sender)) {
            webView = std::move(sender);
            observeForwardMessagesFor(self(), rxoBridge);
        }
    }
    userContentControllerDidReceiveScriptMessage(controller, message);
}

bool MerchantWebViewBridge::frameIsAllowed(const ScriptMessage& message) {
    // Frames on the maker's domain in a document of the maker's, in any view, as for every
    // bridge.
    if (LaunchingWebViewBridge::frameIsAllowed(message)) return true;
    // Beyond that, only inside the host's own page (its top document is the merchant's, whatever
    // its origin): its main frame, frames on the maker's domain, and frames of the origins its
    // host declared. Other frames (advertisements, analytics) are refused like any refused frame.
    if (!webView || message.webView.lock() != webView) return false;
    if (message.mainFrame || urlIsAllowed(message.frameURL)) return true;
    if (trustedOrigins.empty()) return false;
    auto frame = URL::parse(message.frameURL);
    auto origin = frame ? frame->origin() : std::nullopt;
    return origin &&
           std::find(trustedOrigins.begin(), trustedOrigins.end(), *origin) != trustedOrigins.end();
}

}  // namespace tandri
