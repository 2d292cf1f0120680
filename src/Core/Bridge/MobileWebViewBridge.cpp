#include "Core/Bridge/MobileWebViewBridge.hpp"

#include "Core/Bridge/WebViewUtil.hpp"
#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Utils/DispatchHelper.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Platform.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "tandri/Json.hpp"

namespace tandri {

void settleCheckout(const TandriCheckoutResult& outcome,
                    const std::shared_ptr<ViewController>& presenter,
                    const std::function<void()>& rearm,
                    const std::function<void(const TandriCheckoutResult&)>& host) {
    const auto status = outcome.statusCode();
    if (status == TandriCheckoutStatus::Success || status == TandriCheckoutStatus::Cancel) {
        if (rearm) rearm();
    } else if (status == TandriCheckoutStatus::Error && presenter) {
        auto presented = presenter->presentedViewController();
        if (presented && presented->isLoadingSpinner()) {
            DispatchHelper::setRunOnMain(
                [presenter] { presenter->dismissViewControllerAnimated(true); });
        }
    }
    if (host) host(outcome);
}

std::shared_ptr<WebView> MobileWebViewBridge::makeDefaultWebView(
    const std::shared_ptr<WebView>& sameOrigin) {
    auto& factory = Platform::current().webViews;
    if (!factory) return nullptr;
    return sameOrigin ? factory->makeWebViewBeside(factory->makeConfiguration(), sameOrigin)
                      : factory->makeWebView();
}

std::shared_ptr<MobileWebViewBridge> MobileWebViewBridge::initWithLaunchConfig(
    std::shared_ptr<NativeLaunchConfiguration> config, const std::shared_ptr<WebView>& sameOrigin) {
    std::shared_ptr<MobileWebViewBridge> bridge(
        new MobileWebViewBridge(makeDefaultWebView(sameOrigin)));
    initializeMobile(bridge, config);
    return bridge;
}

void MobileWebViewBridge::initializeMobile(
    const std::shared_ptr<MobileWebViewBridge>& bridge,
    const std::shared_ptr<NativeLaunchConfiguration>& config) {
    initialize(bridge, config->viewController, config->onButtonFinishedLoad);
    bridge->didClickImmediately = false;
    if (bridge->webView) {
        appendToUserAgent(bridge->webView,
                          "TDC_SDK/" + TandriCheckoutPlugin::SDK_VERSION().value_or("(null)"), {});
    }
    bridge->setupNativeHandlers(config);
}

void MobileWebViewBridge::setupNativeHandlers(
    const std::shared_ptr<NativeLaunchConfiguration>& config) {
    messageHandlers["onTinitReady"] = onTinitReady(config);
    messageHandlers["result"] = onResult(config);
    if (config->buttonClickEnabled)
        messageHandlers["buttonClickEnabled"] = buttonClickEnabled(config);
    auto offer = [this](const Dictionary& requests, const std::string& prefix) {
        for (const auto& [key, closure] : requests) {
            messageHandlers[prefix + key] = dataRequestHandler(closure);
        }
    };
    offer(config->purchaseInfo.dataRequests(), "purchaseInfo.");
    offer(config->profile.dataRequests(), "profile.");
}

MessageHandler MobileWebViewBridge::onTinitReady(
    std::shared_ptr<NativeLaunchConfiguration> config) {
    std::weak_ptr<LaunchingWebViewBridge> weak = self();
    return [weak, config](const JSTandriMessage& message, JSCompletion completion) {
        auto bridge = weak.lock();
        auto path = messagePathValue(message["messagePath"]);
        if (!path) {
            completion(JSResult::error("Needs messagePath option to be set"));
            return;
        }
        if (bridge) bridge->messageHandlerPath = std::move(path);
        const auto& marketing = SDKSettings::marketingUrl();
        config->profile.setObject(
            marketing ? std::optional<Value>(Value(marketing->absoluteString())) : std::nullopt,
            "campaignUrl");
        Dictionary options;
        options.set("profile", Value(config->profile.data()));
        options.set("purchaseInfo", Value(config->purchaseInfo.data()));
        completion(JSResult::success(Value(std::move(options))));
    };
}

MessageHandler MobileWebViewBridge::onResult(std::shared_ptr<NativeLaunchConfiguration> config) {
    return [config](const JSTandriMessage& message, JSCompletion completion) {
        const auto& data = message.data();
        if (!data || !data->isDictionary() || !json::isValidJSONObject(*data)) {
            completion(JSResult::error("Data is not a valid dictionary"));
            return;
        }
        // The host hears the outcome before the page is answered.
        if (config->resultHandler)
            config->resultHandler(TandriCheckoutResult(data->asDictionary()));
        completion(JSResult::success());
    };
}

MessageHandler MobileWebViewBridge::buttonClickEnabled(
    std::shared_ptr<NativeLaunchConfiguration> config) {
    return [config](const JSTandriMessage& message, JSCompletion completion) {
        const auto& data = message.data();
        if (!data || !data->isDictionary()) {
            completion(JSResult::error("Data is not a valid dictionary"));
            return;
        }
        const Value* enabled = data->asDictionary().find("isEnabled");
        const Value* reason = data->asDictionary().find("reason");
        config->buttonClickEnabled(enabled != nullptr && boolValue(*enabled),
                                   reason ? std::optional<Value>(*reason) : std::nullopt);
        completion(JSResult::success());
    };
}

MessageHandler MobileWebViewBridge::dataRequestHandler(const Value& hostClosure) {
    std::shared_ptr<const DataRequestClosure> closure;
    if (hostClosure.isClosure()) closure = hostClosure.asForeign().closure;
    return [closure](const JSTandriMessage& message, JSCompletion completion) {
        if (!closure || !*closure) return;  // no host code: no answer
        (*closure)(message.data(), [completion](std::optional<Value> answer) {
            if (JSEncodable::isEncodable(answer)) {
                completion(JSResult::success(std::move(answer)));
            } else {
                completion(JSResult::error("Data passed is not json encodable"));
            }
        });
    };
}

}  // namespace tandri
