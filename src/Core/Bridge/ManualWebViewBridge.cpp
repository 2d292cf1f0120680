#include "Core/Bridge/ManualWebViewBridge.hpp"

#include <mutex>
#include <set>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Platform.hpp"

namespace tandri {

namespace {

std::set<std::shared_ptr<ManualWebViewBridge>>& manualBridges() {
    static std::once_flag once;
    static std::set<std::shared_ptr<ManualWebViewBridge>>* bridges = nullptr;
    std::call_once(once, [] { bridges = new std::set<std::shared_ptr<ManualWebViewBridge>>(); });
    return *bridges;
}

/// The session whose page asked for the manual checkout and has not said "ready" yet. Its own
/// handlers hold it for that answer; a new session drops the question, so it can go.
std::weak_ptr<ManualWebViewBridge>& awaitingReady() {
    static std::weak_ptr<ManualWebViewBridge> session;
    return session;
}

void dropAwaitingSession() {
    if (auto waiting = awaitingReady().lock()) {
        waiting->messageHandlers.erase("ready");
        waiting->messageHandlers.erase("onManualCheckout");
    }
    awaitingReady().reset();
}

}  // namespace

void ManualWebViewBridge::configureNewBridge(std::shared_ptr<NativeLaunchConfiguration> config,
                                             ReadyHandler onReady) {
    auto& registry = manualBridges();
    if (!registry.empty()) {
        auto old = *registry.begin();
        registry.clear();
        old->messageHandlers.clear();  // its page can no longer reach native code
    }
    dropAwaitingSession();
    registry.insert(initWithLaunchConfig(std::move(config), std::move(onReady), nullptr));
}

void ManualWebViewBridge::configureExistingBridge(std::shared_ptr<NativeLaunchConfiguration> config,
                                                  ReadyHandler onReady,
                                                  std::shared_ptr<MobileWebViewBridge> bridge) {
    initWithLaunchConfig(std::move(config), std::move(onReady), std::move(bridge));
}

std::shared_ptr<ManualWebViewBridge> ManualWebViewBridge::registeredBridge() {
    auto& registry = manualBridges();
    return registry.empty() ? nullptr : *registry.begin();
}

void ManualWebViewBridge::resetRegistryForTesting() {
    auto& registry = manualBridges();
    // A waiting session's own handlers hold it (its page may still ask for the checkout): empty
    // them, as a new session does, so it can go.
    for (const auto& bridge : registry) bridge->messageHandlers.clear();
    registry.clear();
    dropAwaitingSession();
}

std::shared_ptr<ManualWebViewBridge> ManualWebViewBridge::initWithLaunchConfig(
    std::shared_ptr<NativeLaunchConfiguration> config, ReadyHandler onReady,
    std::shared_ptr<MobileWebViewBridge> existing) {
    std::shared_ptr<ManualWebViewBridge> session;
    if (existing) {
        // Not a bridge of its own: it only installs the session on the existing one.
        session.reset(new ManualWebViewBridge(nullptr));
    } else {
        session.reset(new ManualWebViewBridge(makeDefaultWebView()));
        initializeMobile(session, config);
    }
    if (onReady) onReady(session->makeLaunchClosure(config, existing));
    session->setupManualHandlersWithReadyHandler(
        onReady, existing ? existing : std::static_pointer_cast<MobileWebViewBridge>(session));
    if (!existing && session->webView) {
        auto text = appendManualCheckoutURLString(config->profile.buildHostURLString());
        if (URL::parse(text)) {
            URLRequest request;
            request.url = text;
            session->webView->loadRequest(request);
        }
    }
    return session;
}

std::function<void()> ManualWebViewBridge::makeLaunchClosure(
    std::shared_ptr<NativeLaunchConfiguration> config,
    std::shared_ptr<MobileWebViewBridge> existing) {
    std::weak_ptr<ManualWebViewBridge> weak =
        std::static_pointer_cast<ManualWebViewBridge>(shared_from_this());
    return [weak, config, existing] {
        auto session = weak.lock();
        std::shared_ptr<MobileWebViewBridge> target =
            existing ? existing : std::static_pointer_cast<MobileWebViewBridge>(session);
        if (!target) return;
        auto spinner = LoadingSpinnerViewController::initWithResultHandler(config->resultHandler);
        spinner->setModalPresentationStyle(ModalPresentationStyle::FullScreen);
        spinner->delegate = target;
        if (config->viewController) target->presentSpinner(config->viewController, spinner);
        target->didClickImmediately = true;
        if (target->onClickCompletion) target->onClickCompletion(JSResult::success(Value(true)));
        // The manual page keeps running under the spinner.
        if (Platform::current().osVersion.isAtLeast(12) && session && !session->rxoBridge &&
            !existing && session->webView) {
            auto host = std::make_shared<WebViewHost>();
            host->setWebView(session->webView);
            spinner->view()->addSubview(host);
            session->webView->reload();
        }
    };
}

void ManualWebViewBridge::setupManualHandlersWithReadyHandler(
    ReadyHandler onReady, const std::shared_ptr<MobileWebViewBridge>& target) {
    auto session = std::static_pointer_cast<ManualWebViewBridge>(shared_from_this());
    std::weak_ptr<MobileWebViewBridge> weakTarget = target;
    target->messageHandlers["onManualCheckout"] = [session, onReady, weakTarget](
                                                      const JSTandriMessage&,
                                                      JSCompletion completion) {
        auto strongTarget = weakTarget.lock();
        if (!strongTarget) return;
        // The page waits until the host releases it; this closure keeps the session alive.
        std::function<void()> answer = [session, completion] { completion(JSResult::success()); };
        manualBridges().erase(session);
        if (session->webView) awaitingReady() = session;
        strongTarget->messageHandlers["ready"] = [onReady, answer, weakTarget](
                                                     const JSTandriMessage&, JSCompletion ready) {
            auto t = weakTarget.lock();
            if (onReady) onReady(answer);
            if (t && t->onClickCompletion) t->onClickCompletion(JSResult::success(Value(false)));
            // A session runs once.
            if (t) {
                t->messageHandlers.erase("ready");
                t->messageHandlers.erase("onManualCheckout");
            }
            ready(JSResult::success());
        };
    };
}

std::size_t ManualWebViewBridge::registeredBridgeCount() {
    return manualBridges().size();
}

bool ManualWebViewBridge::isRegistered(const ManualWebViewBridge* bridge) {
    for (const auto& b : manualBridges()) {
        if (b.get() == bridge) return true;
    }
    return false;
}

}  // namespace tandri
