#include "Public/Native/TandriCheckoutButton.hpp"

#include <cstdio>

#include "Core/Bridge/CheckoutWebViewBridge.hpp"
#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Bridge/WebViewUtil.hpp"
#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Storage/Storage.hpp"
#include "Core/Utils/DispatchHelper.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/URL.hpp"
#include "Core/Views/ImageAssets.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"

namespace tandri {

namespace {

/// Pins the four edges of `view` to `container`.
void pinEdges(const std::shared_ptr<View>& view, const std::shared_ptr<View>& container) {
    using A = LayoutAttribute;
    view->setTranslatesAutoresizingMaskIntoConstraints(false);
    container->addConstraints({constrain(view, A::Leading, container, A::Leading),
                               constrain(view, A::Trailing, container, A::Trailing),
                               constrain(view, A::Top, container, A::Top),
                               constrain(view, A::Bottom, container, A::Bottom)});
}

}  // namespace

std::shared_ptr<TandriCheckoutButton> TandriCheckoutButton::initWithFrame(Rect frame) {
    std::shared_ptr<TandriCheckoutButton> button(new TandriCheckoutButton(frame));
    button->setup();
    return button;
}

TandriCheckoutButton::~TandriCheckoutButton() {
    if (bridge && bridge->webView) bridge->webView->setNavigationDelegate({});
}

void TandriCheckoutButton::setup() {
    setBackgroundColor(Color::clear());
    setStyle(1);
    setIsAccessibilityElement(true);
    setAccessibilityTraits(AccessibilityTraits::Button);
    std::weak_ptr<View> weak = shared_from_this();
    Storage::getValueForKey(
        Storage::kButtonAccessibilityTextKey, [weak](std::optional<Value> value) {
            // The answer may come from another thread; the label is the main thread's.
            DispatchHelper::runOnMainNow([weak, value] {
                auto self = weak.lock();
                if (!self) return;
                if (value && !value->isNull()) {
                    self->setAccessibilityLabel(value->isString() ? value->asString()
                                                                  : descriptionOf(*value));
                } else {
                    self->setAccessibilityLabel(std::string(kDefaultAccessibilityLabel));
                }
            });
        });
}

void TandriCheckoutButton::onCheckoutWithProfile(
    TandriProfile profile, TandriPurchaseInfo purchaseInfo,
    std::shared_ptr<ViewController> presentingViewController, ReadyHandler onReady,
    std::function<void()> onButtonTapped, Completion completion) {
    std::weak_ptr<TandriCheckoutButton> weak =
        std::static_pointer_cast<TandriCheckoutButton>(shared_from_this());
    auto finishedLoad = [weak](const std::optional<Value>& html, const std::optional<Value>& alt) {
        if (auto self = weak.lock()) {
            self->cacheCheckoutButton(html);
            self->setButtonAccessibility(alt);
        }
    };
    auto clickEnabled = [weak](bool enabled, const std::optional<Value>& reason) {
        auto self = weak.lock();
        if (!self) return;
        if (self->containerView) self->containerView->setUserInteractionEnabled(enabled);
        if (reason && reason->isString() && !isNilOrBlank(reason->asString())) {
            logInProduction(reason->asString());
        }
    };
    buttonTappedHandler = onButtonTapped;
    std::weak_ptr<ViewController> weakPresenter = presentingViewController;
    auto result = [weak, weakPresenter, profile, purchaseInfo, onReady, onButtonTapped,
                   completion](const TandriCheckoutResult& outcome) {
        auto presenter = weakPresenter.lock();
        settleCheckout(
            outcome, presenter,
            [&] {
                if (auto self = weak.lock()) {
                    self->onCheckoutWithProfile(profile, purchaseInfo, presenter, onReady,
                                                onButtonTapped, completion);
                }
            },
            completion);
    };
    auto config = NativeLaunchConfiguration::initWithProfile(
        std::move(profile), std::move(purchaseInfo), std::move(presentingViewController),
        finishedLoad, clickEnabled, result);
    setupBridge(config);
    ManualWebViewBridge::configureExistingBridge(config, std::move(onReady), bridge);
}

void TandriCheckoutButton::onCheckoutWithTotal(const TandriCurrencyAmount&, Currency, Completion) {}

void TandriCheckoutButton::onCheckoutWithPurchaseInfo(const TandriPurchaseInfo&, Completion) {}

BitmapRef TandriCheckoutButton::miniButtonImage() {
    if (auto card = CheckoutWebViewBridge::miniButtonImage()) return card;
    return imageNamed("mini_tandri_checkout");
}

void TandriCheckoutButton::setupBridge(std::shared_ptr<NativeLaunchConfiguration> config) {
    launchConfig = config;
    if (liveWebViewHost) liveWebViewHost->removeFromSuperview();
    if (containerView && containerView->superview().get() == this) {
        containerView->removeFromSuperview();
    }
    // A button made again (after each checkout) starts in the engine process its page had, when
    // it shows the same origin: the checkout pages that start beside it find that process warm.
    std::shared_ptr<WebView> sameOrigin;
    if (bridge && bridge->webView) {
        bridge->webView->setNavigationDelegate({});
        if (auto url = buttonUrlString()) sameOrigin = viewShowingOriginOf(bridge->webView, *url);
    }
    bridge = MobileWebViewBridge::initWithLaunchConfig(config, sameOrigin);

    liveWebViewHost = std::make_shared<WebViewHost>();
    liveWebViewHost->setWebView(bridge->webView);
    liveWebViewHost->setBackgroundColor(Color::clear());
    if (bridge->webView) {
        bridge->webView->setNavigationDelegate(std::shared_ptr<NavigationDelegate>(
            shared_from_this(), static_cast<NavigationDelegate*>(this)));
        bridge->webView->setScrollEnabled(false);
        bridge->webView->setZoomEnabled(false);
    }

    containerView = View::make();
    containerView->setBackgroundColor(Color::clear());
    addSubview(containerView);
    containerView->addSubview(liveWebViewHost);
    std::weak_ptr<View> weak = shared_from_this();
    containerView->addGestureRecognizer(
        {GestureRecognizer::Kind::Tap, 1, true, [weak] {
             if (auto self = std::static_pointer_cast<TandriCheckoutButton>(weak.lock())) {
                 self->buttonTapped();
             }
         }});
    auto cached = SDKSettings::cachedWebviewHost();
    if (cached) containerView->addSubview(cached);  // over the live page

    pinEdges(containerView, shared_from_this());
    pinEdges(liveWebViewHost, containerView);
    if (cached) pinEdges(cached, containerView);
    loadButtonWebview();
    // Every touch goes to the container's recogniser.
    if (cached) cached->setUserInteractionEnabled(false);
    liveWebViewHost->setUserInteractionEnabled(false);
}

std::optional<std::string> TandriCheckoutButton::buttonUrlString() const {
    if (!launchConfig) return std::nullopt;
    const char* color = style_ != 0 ? "standard" : "neutral";
    auto text = appendMobileButtonWithColor(launchConfig->profile.buildHostURLString(), color);
    if (!URL::parse(text)) return std::nullopt;
    return text;
}

void TandriCheckoutButton::loadButtonWebview() {
    if (!bridge || !bridge->webView) return;
    auto text = buttonUrlString();
    if (!text) return;
    URLRequest request;
    request.url = *text;
    bridge->webView->loadRequest(request);
    resolvedButtonUrl = text;
}

void TandriCheckoutButton::setStyle(std::int64_t style) {
    style_ = style;
    loadButtonWebview();
}

void TandriCheckoutButton::setStandardStyle(bool standard) {
    style_ = standard ? 1 : 0;
    loadButtonWebview();
}

void TandriCheckoutButton::cacheCheckoutButton(const std::optional<Value>& html) {
    auto cached = SDKSettings::cachedWebviewHost();
    if (cached) cached->removeFromSuperview();
    if (!html) return;
    Storage::setValue(*html, Storage::kCachedButtonKey, 1, std::nullopt);
    if (auto view = SDKSettings::cachedWebview(); view && html->isString()) {
        view->loadHTMLString(html->asString(), std::nullopt);
    }
}

void TandriCheckoutButton::setButtonAccessibility(const std::optional<Value>& text) {
    if (!text || !text->isString() || text->asString().empty()) return;
    setAccessibilityLabel(text->asString());
    Storage::setValue(*text, Storage::kButtonAccessibilityTextKey, 1, std::nullopt);
}

void TandriCheckoutButton::buttonTapped() {
    if (buttonTappedHandler) buttonTappedHandler();
}

void TandriCheckoutButton::failed(const std::string& error) {
    logLines({"Failed navigation: ", error});
    // The cached copy stays visible.
    if (liveWebViewHost) liveWebViewHost->setHidden(true);
}

void TandriCheckoutButton::webViewDidFailNavigation(WebView&, const NavigationHandle&,
                                                    const std::string& error) {
    failed(error);
}

void TandriCheckoutButton::webViewDidFailProvisionalNavigation(WebView&, const NavigationHandle&,
                                                               const std::string& error) {
    failed(error);
}

void TandriCheckoutButton::webViewDidFinishNavigation(WebView&, const NavigationHandle&) {
    if (liveWebViewHost) liveWebViewHost->setHidden(false);
}

void TandriCheckoutButton::webViewDecidePolicyForNavigationResponse(
    WebView&, const NavigationResponse& response,
    std::function<void(NavigationResponsePolicy)> decisionHandler) {
    if (response.forMainFrame && response.statusCode > 0) {
        char status[32];
        std::snprintf(status, sizeof status, "Status code: %d", response.statusCode);
        logLines({response.url, status});
        decisionHandler(response.statusCode >= 400 ? NavigationResponsePolicy::Cancel
                                                   : NavigationResponsePolicy::Allow);
        return;
    }
    decisionHandler(NavigationResponsePolicy::Allow);
}

}  // namespace tandri
