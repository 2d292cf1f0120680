#include "Core/Bridge/JSBridge.hpp"

#include "Core/Bridge/TWKScriptHandler.hpp"
#include "Core/Bridge/WebViewUtil.hpp"
#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Storage/Storage.hpp"
#include "Core/Utils/DispatchHelper.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Platform.hpp"

namespace tandri {

JSBridge::JSBridge(std::shared_ptr<WebView> view) : webView(std::move(view)) {}

std::shared_ptr<JSBridge> JSBridge::create(std::shared_ptr<WebView> webView) {
    std::shared_ptr<JSBridge> bridge(new JSBridge(std::move(webView)));
    setupHandlers(bridge);
    return bridge;
}

JSBridge::~JSBridge() {
    messageHandlers.clear();
    if (isLinkedCheckoutBridge || !webView || !registeredChannel_) return;
    if (const auto& configuration = webView->configuration()) {
        if (const auto& controller = configuration->userContentController) {
            controller->removeScriptMessageHandlerForName(kChannelName);
        }
    }
}

void JSBridge::setupHandlers(const std::shared_ptr<JSBridge>& bridge) {
    if (!bridge) return;
    std::weak_ptr<JSBridge> weakBridge = bridge;
    auto proxy = std::make_shared<TWKScriptHandler>(
        [weakBridge](UserContentController& controller, const ScriptMessage& message) {
            if (auto strong = weakBridge.lock()) {
                strong->userContentControllerDidReceiveScriptMessage(controller, message);
            }
        });
    if (bridge->webView && bridge->webView->configuration() &&
        bridge->webView->configuration()->userContentController) {
        bridge->webView->configuration()->userContentController->addScriptMessageHandler(
            proxy, kChannelName);
        bridge->registeredChannel_ = true;
    }
    bridge->messageHandlers = MessageHandlers{};
}

bool JSBridge::frameIsAllowed(const ScriptMessage& message) {
    return urlIsAllowed(message.frameURL) &&
           (message.mainFrame || urlIsAllowed(message.topFrameURL));
}

bool JSBridge::urlIsAllowed(const std::string& url) {
    const std::string& domain = makerDomain();
    for (const auto& verdict : lastVerdicts_) {
        if (verdict.url == url && verdict.domain == domain && !verdict.url.empty())
            return verdict.allowed;
    }
    auto parsed = URL::parse(url);
    Verdict& verdict = lastVerdicts_[nextVerdict_++ % 2];
    verdict = {url, domain, parsed && parsed->isSecure() && parsed->isTandriDomain()};
    return verdict.allowed;
}

void JSBridge::userContentControllerDidReceiveScriptMessage(UserContentController&,
                                                            const ScriptMessage& scriptMessage) {
    if (scriptMessage.name != kChannelName) return;
    if (!allowSecurityCheckBypass) {
        // Refused frames get no answer and leave no trace: a refused message looks lost.
        if (!frameIsAllowed(scriptMessage)) return;
    }
    if (!scriptMessage.body) return;
    auto message = JSTandriMessage::initWithDictionary(*scriptMessage.body);
    if (!message) return;
    logIncomingMessage(*message, className());

    auto found = messageHandlers.find(message->name());
    if (found == messageHandlers.end()) return;
    // The table may change while the handler runs (a handler may replace itself).
    MessageHandler handler = found->second;
    // One allocation holds what the completion needs: the bridge and the sending view weakly
    // (an answer after either is gone goes nowhere), the message strongly.
    // The answer goes only to the document that asked: one that has gone meanwhile (navigated,
    // reloaded) gets nothing, nor does whatever replaced it.
    struct Pending {
        std::weak_ptr<JSBridge> bridge;
        std::weak_ptr<WebView> sender;
        JSTandriMessage message;
        std::string document;
    };
    auto pending = std::make_shared<const Pending>(Pending{
        weak_from_this(), scriptMessage.webView, std::move(*message), scriptMessage.document});
    handler(pending->message, [pending](std::optional<JSResult> result) {
        DispatchHelper::runOnMainNow([&] {
            sendMessageResponse(pending->bridge.lock(), pending->message, result,
                                pending->sender.lock(), pending->document);
        });
    });
}

void JSBridge::sendMessageResponse(const std::shared_ptr<JSBridge>& bridge,
                                   const JSTandriMessage& message,
                                   const std::optional<JSResult>& result,
                                   const std::shared_ptr<WebView>& webView,
                                   const std::string& document) {
    if (!bridge || !result || !webView) return;
    if (Logging::enabled()) {
        logOutgoingMessage(message.name(), result->jsEncodableWithIdentifier(message.identifier()),
                           bridge->className());
    }
    evaluateLater(webView, result->responseScript(bridge->messageHandlerPath, message.identifier()),
                  {}, document);
}

void JSBridge::observeForwardMessagesFor(const std::shared_ptr<JSBridge>& a,
                                         const std::shared_ptr<JSBridge>& b) {
    forwarding(a, b);
    forwarding(b, a);
}

void JSBridge::forwarding(const std::shared_ptr<JSBridge>& source,
                          const std::shared_ptr<JSBridge>& target) {
    if (!source || !target) return;
    std::weak_ptr<JSBridge> weakTarget = target;
    // The sender never gets an answer to "forward".
    source->messageHandlers["forward"] = [weakTarget](const JSTandriMessage& message,
                                                      JSCompletion) {
        auto strong = weakTarget.lock();
        if (!strong) return;
        Value body{message.raw()};
        logOutgoingMessage(message.name(), body, strong->className());
        invokeJavascriptMethod(strong->webView, strong->messageHandlerPath, body, {});
    };
}

void JSBridge::forwardDataFromNative(const std::string& receiver, const std::optional<Value>& data,
                                     const std::shared_ptr<JSBridge>& target) {
    if (!target || !target->webView) return;
    auto current = target->webView->url();
    if (!current) return;
    auto url = URL::parse(*current);
    std::string origin = url ? url->getTargetOrigin() : std::string("(null)");
    std::string script = rawJavaScriptPostmessageForReceiver(receiver, data, origin);
    if (Logging::enabled()) {
        std::string text = target->className() + ".evaluateJavaScript:\n" + script;
        logLines({text});
    }
    auto view = target->webView;
    auto evaluate = [view, script] {
        view->evaluateJavaScript(
            script, [](const std::optional<Value>&, const std::optional<std::string>& error) {
                if (!error) return;
                std::string text = "Error evaluating JavaScript: " + *error;
                logLines({text});
            });
    };
    DispatchHelper::postToMain(evaluate);
}

const MessageHandler& JSBridge::onGet() {
    return Storage::getHandler();
}
const MessageHandler& JSBridge::onSet() {
    return Storage::setHandler();
}

}  // namespace tandri
