#include "Core/Bridge/MerchantWebViewBridge.hpp"

namespace tandri {

std::shared_ptr<MerchantWebViewBridge> MerchantWebViewBridge::initWithWebView(
    std::shared_ptr<WebView> webView, std::shared_ptr<ViewController> presentingViewController,
    ButtonFinishedLoad onButtonFinishedLoad) {
    std::shared_ptr<MerchantWebViewBridge> bridge(new MerchantWebViewBridge(std::move(webView)));
    initialize(bridge, std::move(presentingViewController), std::move(onButtonFinishedLoad));
    // The merchant's page is not on the checkout's domain.
    bridge->allowSecurityCheckBypass = true;
    return bridge;
}

void MerchantWebViewBridge::receive(UserContentController& controller,
                                    const ScriptMessage& message) {
    if (!webView) {
        webView = message.webView.lock();
        observeForwardMessagesFor(self(), rxoBridge);
    }
    userContentControllerDidReceiveScriptMessage(controller, message);
}

}  // namespace tandri
