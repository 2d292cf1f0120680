#include "Core/Bridge/LaunchingWebViewBridge.hpp"

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Utils/DispatchHelper.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Platform.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"

namespace tandri {

namespace {

constexpr const char* kUnknownConfigureError =
    "An unknown error occurred when trying to configure Tandri SRC";

std::optional<std::string> stringValue(const Value* value) {
    if (value == nullptr || !value->isString()) return std::nullopt;
    return value->asString();
}

const Value* dataKey(const JSTandriMessage& message, std::string_view key) {
    const auto& data = message.data();
    return data && data->isDictionary() ? data->asDictionary().find(key) : nullptr;
}

}  // namespace

LaunchingWebViewBridge::LaunchingWebViewBridge(std::shared_ptr<WebView> view)
    : JSBridge(std::move(view)) {}

std::shared_ptr<LaunchingWebViewBridge> LaunchingWebViewBridge::create(
    std::shared_ptr<WebView> webView, std::shared_ptr<ViewController> presentingViewController,
    ButtonFinishedLoad onButtonFinishedLoad) {
    std::shared_ptr<LaunchingWebViewBridge> bridge(new LaunchingWebViewBridge(std::move(webView)));
    initialize(bridge, std::move(presentingViewController), std::move(onButtonFinishedLoad));
    return bridge;
}

void LaunchingWebViewBridge::initialize(const std::shared_ptr<LaunchingWebViewBridge>& bridge,
                                        std::shared_ptr<ViewController> presentingViewController,
                                        ButtonFinishedLoad onButtonFinishedLoad) {
    if (bridge->webView) bridge->setupWebviewDelegate();
    bridge->presentingViewController = std::move(presentingViewController);
    setupHandlers(bridge);
    bridge->setupPrelaunchHandlers(std::move(onButtonFinishedLoad));
    bridge->registerKeyboardNotifications();
}

LaunchingWebViewBridge::~LaunchingWebViewBridge() {
    // A checkout still on screen goes with its launcher, at once.
    if (presentingViewController) {
        auto presented = presentingViewController->presentedViewController();
        if (std::dynamic_pointer_cast<CheckoutWebViewController>(presented)) {
            presentingViewController->dismissViewControllerAnimated(false);
        }
    }
    auto& center = NotificationCenter::defaultCenter();
    center.removeObserver(keyboardShown_);
    center.removeObserver(keyboardHidden_);
    // Only a delegate this bridge set itself is taken off: an adopted page (a hybrid host's own)
    // keeps the host's delegate, or its window.open would reach nobody after a screen change.
    if (webView && setUIDelegate_) webView->setUIDelegate({});
}

std::shared_ptr<LaunchingWebViewBridge> LaunchingWebViewBridge::self() {
    return std::static_pointer_cast<LaunchingWebViewBridge>(shared_from_this());
}

void LaunchingWebViewBridge::setupWebviewDelegate() {
    webView->setUIDelegate(std::static_pointer_cast<UIDelegate>(self()));
    setUIDelegate_ = true;
    webView->setJavaScriptCanOpenWindowsAutomatically(true);
}

std::string LaunchingWebViewBridge::generateUserAgentSuffix() const {
    return userAgentSuffix().value_or("TDC_SDK") + "/" +
           TandriCheckoutPlugin::SDK_VERSION().value_or("(null)");
}

void LaunchingWebViewBridge::setupPrelaunchHandlers(ButtonFinishedLoad callback) {
    messageHandlers["configure"] = configure();
    messageHandlers["launch"] = launch();
    messageHandlers["dismiss"] = dismiss();
    messageHandlers["showLoading"] = showLoading();
    messageHandlers["onButtonFinishedLoad"] = onButtonFinishedLoad(std::move(callback));
    messageHandlers["get"] = JSBridge::onGet();
    messageHandlers["set"] = JSBridge::onSet();
    messageHandlers["registerMessagePaths"] = registerMessagePaths();
    messageHandlers["onNativeButtonClick"] = onNativeButtonClick();
    messageHandlers["onGtmReady"] = onGtmReady();
}

MessageHandler LaunchingWebViewBridge::configure() {
    std::weak_ptr<LaunchingWebViewBridge> weak = self();
    return [weak](const JSTandriMessage& message, JSCompletion completion) {
        auto bridge = weak.lock();
        if (!bridge) return;
        // A path that is not a name counts as missing.
        auto path = messagePathValue(message["messagePath"]);
        if (!path) return;  // the page gets no answer here on purpose
        bridge->messageHandlerPath = path;
        const auto& data = message.data();
        if (!data || !data->isDictionary()) {
            completion(JSResult::error("Invalid configuration"));
            return;
        }
        bridge->supportsSRC = false;
        bridge->setUpNewCheckoutBridgeWithConfigInfo(data->asDictionary(), std::move(completion));
    };
}

void LaunchingWebViewBridge::setUpNewCheckoutBridgeWithConfigInfo(const Dictionary& config,
                                                                  JSCompletion completion) {
    const Value* url = config.find("url");
    const Value* method = config.find("method");
    const Value* body = config.find("body");
    const Value* headers = config.find("headers");
    const Value* path = config.find("messagePath");

    std::optional<std::string> bodyBytes;
    if (body != nullptr) bodyBytes = jsEncoded(*body);
    Dictionary fields;
    if (headers != nullptr && headers->isDictionary()) {
        for (const auto& [field, value] : headers->asDictionary()) {
            fields.set(field, value.isString() ? value : Value(descriptionOf(value)));
        }
    }
    // Always ours, whatever the page sent under the same name.
    fields.set("client-key", Value(kClientKey));

    auto unknown = JSResult::error(kUnknownConfigureError);
    const auto checkoutPath = messagePathValue(path);
    if (!checkoutPath || !stringValue(url)) {
        completion(unknown);
        return;
    }
    CheckoutWebViewBridge::Headers requestHeaders;
    for (const auto& [field, value] : fields) requestHeaders.emplace_back(field, value.asString());
    rxoBridge = CheckoutWebViewBridge::initWithUrlString(
        url->asString(), stringValue(method), requestHeaders, bodyBytes, checkoutPath,
        presentingViewController, generateUserAgentSuffix(),
        [completion](const JSResult& result) { completion(result); }, webView);
    if (!adopt(rxoBridge)) completion(unknown);
}

bool LaunchingWebViewBridge::adopt(std::shared_ptr<CheckoutWebViewBridge> bridge) {
    if (!bridge) return false;
    observeForwardMessagesFor(bridge, self());
    return true;
}

MessageHandler LaunchingWebViewBridge::registerMessagePaths() {
    std::weak_ptr<LaunchingWebViewBridge> weak = self();
    return [weak](const JSTandriMessage& message, JSCompletion completion) {
        auto bridge = weak.lock();
        if (!bridge) return;
        auto merchant = messagePathValue(message["merchantMessagePath"]);
        if (!merchant) return;  // no answer, as for "configure"
        bridge->supportsSRC = true;
        bridge->messageHandlerPath = merchant;
        bridge->checkoutMessageHandlerPath = messagePathValue(message["checkoutMessagePath"]);
        const auto& data = message.data();
        if (data && data->isDictionary()) {
            const Value* flag = data->asDictionary().find("enableTransitionSpinner");
            bridge->transitionSpinnerEnabled = flag != nullptr && boolValue(*flag);
        }
        completion(JSResult::success());
    };
}

std::shared_ptr<WebView> LaunchingWebViewBridge::webViewCreateWebView(
    WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
    const NavigationAction& action) {
    if (action.request.url.empty()) return nullptr;
    return setupCheckoutBridge(action.request, configuration);
}

std::shared_ptr<WebView> LaunchingWebViewBridge::setupCheckoutBridge(
    const URLRequest& request, std::shared_ptr<WebViewConfiguration> configuration) {
    const auto path = checkoutMessageHandlerPath ? checkoutMessageHandlerPath : messageHandlerPath;
    rxoBridge = CheckoutWebViewBridge::initWithUrlRequest(
        request, std::move(configuration), path, presentingViewController,
        generateUserAgentSuffix(), transitionSpinnerEnabled);
    return adopt(rxoBridge) ? rxoBridge->webView : nullptr;
}

MessageHandler LaunchingWebViewBridge::showLoading() {
    std::weak_ptr<LaunchingWebViewBridge> weak = self();
    return [weak](const JSTandriMessage& message, JSCompletion completion) {
        auto bridge = weak.lock();
        if (!bridge) return;
        const auto& data = message.data();
        if (!data || !data->isString() || !bridge->presentingViewController) {
            completion(JSResult::error("Invalid configuration, cannot show loading view"));
            return;
        }
        bridge->spinnerCancelled = false;
        auto spinner =
            LoadingSpinnerViewController::initWithExitCallback([weak, completion](bool cancelled) {
                auto strong = weak.lock();
                if (!strong) return;
                if (cancelled && !strong->supportsSRC && strong->rxoBridge) {
                    strong->rxoBridge->manualReset();
                }
                strong->spinnerCancelled = cancelled;
                completion(JSResult::success(Value(cancelled)));
            });
        spinner->setModalPresentationStyle(ModalPresentationStyle::FullScreen);
        spinner->delegate = bridge;
        bridge->presentSpinner(bridge->presentingViewController, spinner);
    };
}

void LaunchingWebViewBridge::presentSpinner(const std::shared_ptr<ViewController>& presenting,
                                            std::shared_ptr<ViewController> spinner) {
    // The spinner comes in animated; a "launch" that arrives meanwhile waits for it.
    spinnerArriving_ = true;
    std::weak_ptr<LaunchingWebViewBridge> weak = self();
    presenting->presentViewController(std::move(spinner), true, [weak] {
        auto strong = weak.lock();
        if (!strong) return;
        strong->spinnerArriving_ = false;
        if (auto next = std::move(strong->afterSpinner_)) next();
    });
}

MessageHandler LaunchingWebViewBridge::launch() {
    std::weak_ptr<LaunchingWebViewBridge> weak = self();
    return [weak](const JSTandriMessage&, JSCompletion completion) {
        auto bridge = weak.lock();
        if (!bridge) return;
        if (!bridge->rxoBridge || !bridge->rxoBridge->viewController ||
            !bridge->presentingViewController) {
            completion(JSResult::error("Tandri SRC is not configured properly"));
            return;
        }
        if (bridge->spinnerCancelled && bridge->supportsSRC) {
            bridge->spinnerCancelled = false;
            completion(JSResult::error("Transaction was cancelled through the loading screen"));
            return;
        }
        if (auto& cookies = Platform::current().cookies) (void)cookies->cookies();
        auto present = [weak, completion](bool animated) {
            auto strong = weak.lock();
            if (!strong || !strong->rxoBridge) return;
            strong->presentingViewController->presentViewController(
                strong->rxoBridge->viewController, animated,
                [completion] { completion(JSResult::success()); });
        };
        // The checkout replaces the spinner without animation; alone it comes in animated.
        auto show = [weak, present] {
            auto strong = weak.lock();
            if (!strong) return;
            if (strong->isPresenting()) {
                strong->presentingViewController->dismissViewControllerAnimated(
                    false, [present] { present(false); });
            } else {
                present(true);
            }
        };
        // A screen still on its way in cannot be replaced yet: the checkout follows it, at once,
        // for a person waits only for the checkout now.
        if (bridge->spinnerArriving_ && !bridge->isPresenting()) {
            bridge->afterSpinner_ = std::move(show);
            if (auto& presenter = Platform::current().presenter) presenter->hurry();
        } else {
            show();
        }
    };
}

MessageHandler LaunchingWebViewBridge::dismiss() {
    std::weak_ptr<LaunchingWebViewBridge> weak = self();
    return [weak](const JSTandriMessage&, JSCompletion completion) {
        if (auto bridge = weak.lock()) {
            bridge->dismissWithCompletion([completion] { completion(JSResult::success()); });
        }
    };
}

void LaunchingWebViewBridge::dismissWithCompletion(std::function<void()> completion) {
    auto presenting = presentingViewController;
    DispatchHelper::runOnMainNow([presenting, completion = std::move(completion)] {
        if (presenting) presenting->dismissViewControllerAnimated(true, completion);
    });
}

bool LaunchingWebViewBridge::isPresenting() const {
    bool presenting = false;
    DispatchHelper::runOnMainNow([this, &presenting] {
        presenting = presentingViewController &&
                     presentingViewController->presentedViewController() != nullptr;
    });
    return presenting;
}

MessageHandler LaunchingWebViewBridge::onButtonFinishedLoad(ButtonFinishedLoad callback) {
    return [callback](const JSTandriMessage& message, JSCompletion completion) {
        if (callback) {
            auto value = [&message](std::string_view key) -> std::optional<Value> {
                const Value* found = dataKey(message, key);
                return found ? std::optional<Value>(*found) : std::nullopt;
            };
            callback(value("html"), value("altText"));
        }
        completion(JSResult::success());
    };
}

MessageHandler LaunchingWebViewBridge::onNativeButtonClick() {
    std::weak_ptr<LaunchingWebViewBridge> weak = self();
    return [weak](const JSTandriMessage&, JSCompletion completion) {
        auto bridge = weak.lock();
        if (!bridge) return;
        if (bridge->didClickImmediately) {
            completion(JSResult::success(Value(true)));
        } else {
            bridge->onClickCompletion = std::move(completion);  // answered by the click
        }
    };
}

MessageHandler LaunchingWebViewBridge::onGtmReady() {
    std::weak_ptr<LaunchingWebViewBridge> weak = self();
    return [weak](const JSTandriMessage& message, JSCompletion completion) {
        auto bridge = weak.lock();
        if (!bridge) return;
        const auto& data = message.data();
        if (data && data->isDictionary()) {
            bridge->correlationId = stringValue(data->asDictionary().find("correlationId"));
            bridge->visitId = stringValue(data->asDictionary().find("visitId"));
        }
        completion(JSResult::success(Value(DataReporting::collectStoredGtmData())));
    };
}

void LaunchingWebViewBridge::registerKeyboardNotifications() {
    auto& center = NotificationCenter::defaultCenter();
    std::weak_ptr<LaunchingWebViewBridge> weak = self();
    keyboardShown_ = center.addObserver(std::string(NotificationName::KeyboardDidShow),
                                        [weak](const Notification&) {
                                            if (auto bridge = weak.lock())
                                                bridge->keyboardDidShow();
                                        });
    keyboardHidden_ = center.addObserver(std::string(NotificationName::KeyboardDidHide),
                                         [weak](const Notification&) {
                                             if (auto bridge = weak.lock())
                                                 bridge->keyboardDidHide();
                                         });
}

void LaunchingWebViewBridge::keyboardDidShow() {
    forwardDataFromNative("tandri.sdklite.native-keyboard-open", std::nullopt, self());
}

void LaunchingWebViewBridge::keyboardDidHide() {
    forwardDataFromNative("tandri.sdklite.native-keyboard-close", std::nullopt, self());
}

void LaunchingWebViewBridge::recordLoadingSpinnerInstrumentationData(double startTime,
                                                                     double endTime,
                                                                     bool afterCancel) {
    auto record = DataReporting::buildLoadingSpinnerInstrumentationData(startTime, endTime);
    if (afterCancel) {
        // The page that would take it is gone: it waits for the next one.
        DataReporting::storeGtmData(record, kGtmStorageKeySpinnerLoad, correlationId, visitId);
    } else {
        forwardDataFromNative(kTandriPostMessageGTMData, Value(std::move(record)), self());
    }
}

void LaunchingWebViewBridge::recordLoadingSpinnerAbandonmentData(bool userCancelled) {
    auto record = DataReporting::buildLoadingSpinnerAbandonmentData(userCancelled);
    const bool hybrid = generateUserAgentSuffix().find("HSDK") != std::string::npos;
    if (hybrid && !isNilOrBlank(correlationId) && !isNilOrBlank(visitId)) {
        forwardDataFromNative(kTandriPostMessageGTMData, Value(std::move(record)), self());
    } else {
        DataReporting::storeGtmData(record, kGtmStorageKeyAbandonment, correlationId, visitId);
    }
}

}  // namespace tandri
