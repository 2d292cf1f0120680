#include "Core/Bridge/CheckoutWebViewBridge.hpp"

#include <algorithm>
#include <mutex>

#include "Core/Bridge/WebViewUtil.hpp"
#include "Core/Utils/Base64.hpp"
#include "Core/Utils/DispatchHelper.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/NotificationCenter.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Platform.hpp"

namespace tandri {

namespace {

struct CardImage {
    std::mutex mutex;
    bool loaded = false;  // read from disk once per process
    BitmapRef image;
};

CardImage& cardImage() {
    static CardImage card;
    return card;
}

/// Reads the cookie store and drops the answer: the platform's cookie handling is kept warm at
/// the moments the checkout relies on it, exactly as the checkout expects.
void touchCookies() {
    if (auto& cookies = Platform::current().cookies) (void)cookies->cookies();
}

}  // namespace

CheckoutWebViewBridge::CheckoutWebViewBridge(std::shared_ptr<WebView> view)
    : JSBridge(std::move(view)) {}

CheckoutWebViewBridge::~CheckoutWebViewBridge() {
    // The web view may outlive the bridge (its screen holds it): it must not call back here.
    if (webView) {
        webView->setNavigationDelegate({});
        webView->setUIDelegate({});
    }
}

namespace {
std::vector<std::weak_ptr<WebView>>& madeWebViews() {
    static std::vector<std::weak_ptr<WebView>> views;
    return views;
}
}  // namespace

std::shared_ptr<WebView> CheckoutWebViewBridge::makeWebView(
    std::shared_ptr<WebViewConfiguration> configuration,
    const std::shared_ptr<WebView>& sameOrigin) {
    auto& factory = Platform::current().webViews;
    if (!factory) return nullptr;
    if (!configuration) configuration = factory->makeConfiguration();
    auto view = sameOrigin ? factory->makeWebViewBeside(std::move(configuration), sameOrigin)
                           : factory->makeWebView(std::move(configuration));
    auto& made = madeWebViews();
    std::erase_if(made, [](const auto& weak) { return weak.expired(); });
    if (view) made.push_back(view);
    return view;
}

bool CheckoutWebViewBridge::madeWebView(const std::shared_ptr<WebView>& view) {
    if (!view) return false;
    const auto& made = madeWebViews();
    return std::any_of(made.begin(), made.end(),
                       [&view](const auto& weak) { return weak.lock() == view; });
}

void CheckoutWebViewBridge::becomeDelegates() {
    if (!webView) return;
    auto self = std::static_pointer_cast<CheckoutWebViewBridge>(shared_from_this());
    webView->setNavigationDelegate(std::static_pointer_cast<NavigationDelegate>(self));
    webView->setUIDelegate(std::static_pointer_cast<UIDelegate>(self));
    webView->setZoomEnabled(false);  // the checkout page scrolls but never zooms
}

void CheckoutWebViewBridge::loadAfterUserAgent(const URLRequest& request,
                                               const std::string& userAgentSuffix) {
    std::weak_ptr<JSBridge> weak = shared_from_this();
    auto slot = firstLoad_;
    // The load never starts before the user agent carries the suffix.
    appendToUserAgent(webView, userAgentSuffix, [weak, slot, request] {
        if (auto self = weak.lock(); self && self->webView) {
            *slot = self->webView->loadRequest(request);
        }
    });
}

std::shared_ptr<CheckoutWebViewBridge> CheckoutWebViewBridge::initWithUrlString(
    const std::optional<std::string>& urlString, const std::optional<std::string>& method,
    const Headers& headers, const std::optional<std::string>& body,
    const std::optional<std::string>& messageHandlerPath,
    std::shared_ptr<ViewController> presentingViewController, const std::string& userAgentSuffix,
    Completion completion, const std::shared_ptr<WebView>& launchingView) {
    // A method that is not a token would be written into the request line as it stands.
    if (method && !isHTTPToken(*method)) return nullptr;
    // Only a page of the very origin the checkout loads may lend it its engine process.
    const auto sameOrigin = urlString ? viewShowingOriginOf(launchingView, *urlString) : nullptr;
    std::shared_ptr<CheckoutWebViewBridge> bridge(
        new CheckoutWebViewBridge(makeWebView(nullptr, sameOrigin)));
    if (!bridge->webView) return nullptr;
    bridge->messageHandlerPath = messageHandlerPath;
    bridge->presentingViewController = std::move(presentingViewController);
    bridge->becomeDelegates();
    setupHandlers(bridge);
    bridge->setupRXOMessageHandlers();

    const std::string text = urlString.value_or("");
    if (text.empty() || !URL::parse(text)) return nullptr;
    URLRequest request;
    request.url = text;
    if (method) {
        request.method = *method;
        if (*method == "POST") request.body = body;
    }
    for (const auto& [field, value] : headers) request.addValue(value, field);

    bridge->loadAfterUserAgent(request, userAgentSuffix);
    std::weak_ptr<JSBridge> weak = bridge;
    auto slot = bridge->firstLoad_;
    bridge->loadComplete = [weak, slot, completion = std::move(completion)](
                               const NavigationHandle& navigation,
                               const std::optional<std::string>& error) {
        auto self = std::static_pointer_cast<CheckoutWebViewBridge>(weak.lock());
        // Only the load this bridge started reports: not a redirect's, not one before it began.
        if (!self || !*slot || navigation != *slot) return;
        touchCookies();
        auto presented = self->presentingViewController
                             ? self->presentingViewController->presentedViewController()
                             : nullptr;
        const bool spinnerUp = presented && presented->isLoadingSpinner();
        if (completion) {
            completion(error ? JSResult::error(*error) : JSResult::success(Value(spinnerUp)));
        }
        self->loadComplete = nullptr;
    };
    bridge->generateViewController();
    return bridge;
}

std::shared_ptr<CheckoutWebViewBridge> CheckoutWebViewBridge::initWithUrlRequest(
    const URLRequest& request, std::shared_ptr<WebViewConfiguration> configuration,
    const std::optional<std::string>& messageHandlerPath,
    std::shared_ptr<ViewController> presentingViewController, const std::string& userAgentSuffix,
    bool transitionSpinnerEnabled) {
    auto& factory = Platform::current().webViews;
    if (!factory) return nullptr;
    if (!configuration) configuration = factory->makeConfiguration();
    // Set before the view is made: platforms read it when they make the view.
    configuration->preferences.javaScriptCanOpenWindowsAutomatically = true;
    std::shared_ptr<CheckoutWebViewBridge> bridge(
        new CheckoutWebViewBridge(makeWebView(configuration)));
    if (!bridge->webView) return nullptr;
    bridge->isLinkedCheckoutBridge = true;
    bridge->messageHandlerPath = messageHandlerPath;
    bridge->presentingViewController = std::move(presentingViewController);
    bridge->transitionSpinnerEnabled = transitionSpinnerEnabled;
    bridge->becomeDelegates();
    // No channel of its own: the shared configuration carries the launching bridge's.
    bridge->messageHandlers = MessageHandlers{};
    bridge->setupRXOMessageHandlers();
    if (request.url.empty()) return nullptr;

    bridge->loadAfterUserAgent(request, userAgentSuffix);
    std::weak_ptr<JSBridge> weak = bridge;
    auto slot = bridge->firstLoad_;
    bridge->loadComplete = [weak, slot](const NavigationHandle& navigation,
                                        const std::optional<std::string>&) {
        auto self = std::static_pointer_cast<CheckoutWebViewBridge>(weak.lock());
        if (self && *slot && navigation == *slot) self->loadComplete = nullptr;
    };
    bridge->generateViewController();
    return bridge;
}

void CheckoutWebViewBridge::generateViewController() {
    DispatchHelper::setRunOnMain([this] {
        using A = LayoutAttribute;
        const auto& platform = Platform::current();
        viewController = std::make_shared<CheckoutWebViewController>();
        auto root = viewController->view();
        root->setBackgroundColor(Color::white());
        webViewHost = std::make_shared<WebViewHost>(platform.mainScreenBounds.value_or(Rect{}));
        webViewHost->setWebView(webView);
        webViewHost->setBackgroundColor(Color::white());
        root->addSubview(webViewHost);
        webViewHost->setTranslatesAutoresizingMaskIntoConstraints(false);
        const bool safe = platform.osVersion.isAtLeast(11);
        root->addConstraints({constrainToEdge(safe, webViewHost, A::Leading, root, A::Leading),
                              constrainToEdge(safe, webViewHost, A::Trailing, root, A::Trailing),
                              constrainToEdge(safe, webViewHost, A::Top, root, A::Top,
                                              safe ? 0 : platform.statusBarHeight),
                              constrainToEdge(safe, webViewHost, A::Bottom, root, A::Bottom)});
        viewController->setModalTransitionStyle(ModalTransitionStyle::CrossDissolve);
        viewController->setModalPresentationStyle(ModalPresentationStyle::FullScreen);
        viewController->modalPresentationCapturesStatusBarAppearance = true;

        loadingIndicator = std::make_shared<ActivityIndicator>();
        loadingIndicator->setStyle(ActivityIndicator::Style::Gray);
        loadingIndicator->setHidesWhenStopped(true);
        loadingIndicator->setHidden(true);
        const Rect r = root->frame();
        loadingIndicator->setFrame({r.width / 2 - 10, r.height / 2 - 10, 20, 20});
        root->addSubview(loadingIndicator);  // last: in front of the page
    });
}

void CheckoutWebViewBridge::setupRXOMessageHandlers() {
    messageHandlers["get"] = JSBridge::onGet();
    messageHandlers["set"] = JSBridge::onSet();
    messageHandlers["newCardArt"] = onNewCardArt();
}

MessageHandler CheckoutWebViewBridge::onNewCardArt() {
    std::weak_ptr<JSBridge> weak = shared_from_this();
    return [weak](const JSTandriMessage& message, JSCompletion completion) {
        const auto& data = message.data();
        if (data && data->isString()) {
            BitmapRef image;
            auto bytes = base64DecodeIgnoringUnknown(data->asString());
            if (auto& codec = Platform::current().imageCodec) {
                if (auto decoded = codec->decode(bytes)) {
                    image = std::make_shared<const Bitmap>(std::move(*decoded));
                }
            }
            // Data that is no picture clears the card: no stale image survives.
            setMiniButtonImage(std::move(image));
        }
        if (completion) completion(JSResult::success());
    };
}

void CheckoutWebViewBridge::manualReset() {
    loadComplete = nullptr;
    messageHandlers = MessageHandlers{};
}

void CheckoutWebViewBridge::webViewDidStartProvisionalNavigation(WebView&,
                                                                 const NavigationHandle&) {
    if (!loadComplete && transitionSpinnerEnabled && loadingIndicator) {
        loadingIndicator->startAnimating();
    }
}

void CheckoutWebViewBridge::webViewDidFinishNavigation(WebView&,
                                                       const NavigationHandle& navigation) {
    if (loadComplete) {
        auto observer = loadComplete;  // it may clear itself
        observer(navigation, std::nullopt);
    } else if (transitionSpinnerEnabled && loadingIndicator) {
        loadingIndicator->stopAnimating();
    }
}

void CheckoutWebViewBridge::failed(const NavigationHandle& navigation, const std::string& error) {
    logLines({"Failed navigation: ", error});
    if (loadComplete) {
        auto observer = loadComplete;
        observer(navigation, error);
    } else if (transitionSpinnerEnabled && loadingIndicator) {
        loadingIndicator->stopAnimating();
    }
}

void CheckoutWebViewBridge::webViewDidFailNavigation(WebView&, const NavigationHandle& navigation,
                                                     const std::string& error) {
    failed(navigation, error);
}

void CheckoutWebViewBridge::webViewDidFailProvisionalNavigation(WebView&,
                                                                const NavigationHandle& navigation,
                                                                const std::string& error) {
    failed(navigation, error);
}

void CheckoutWebViewBridge::webViewDecidePolicyForNavigationResponse(
    WebView&, const NavigationResponse& response,
    std::function<void(NavigationResponsePolicy)> decisionHandler) {
    if (response.forMainFrame) {
        // An HTTP error page never shows as the checkout: the load fails instead.
        if (response.statusCode >= 400) {
            decisionHandler(NavigationResponsePolicy::Cancel);
            return;
        }
    } else if (!response.url.empty()) {
        auto url = URL::parse(response.url);
        const std::string host = url ? url->host().value_or("") : std::string();
        if (host.find(makerDomain()) == std::string::npos) touchCookies();
    }
    decisionHandler(NavigationResponsePolicy::Allow);
}

std::shared_ptr<WebView> CheckoutWebViewBridge::webViewCreateWebView(
    WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
    const NavigationAction& action) {
    if (action.targetsMainFrame) return nullptr;
    switch (action.navigationType) {
        case NavigationType::Other: {  // a window opened by script
            auto window = makeWebView(configuration);
            if (!window || !viewController) return nullptr;
            auto popup = std::make_shared<PopupViewController>();
            popup->setWebView(window);
            viewController->presentViewController(popup, true);
            return window;
        }
        case NavigationType::LinkActivated:
            if (auto& opener = Platform::current().urlOpener) opener->openURL(action.request.url);
            return nullptr;
        default:
            return nullptr;
    }
}

std::optional<std::string> CheckoutWebViewBridge::miniButtonFileURL() {
    auto& files = Platform::current().files;
    if (!files) return std::nullopt;
    const std::string directory =
        joinPath(joinPath(files->applicationSupportDirectory(), "tandri"), "cache");
    if (!files->createDirectories(directory)) return std::nullopt;
    return joinPath(directory, "minibuttonimage.png");
}

BitmapRef CheckoutWebViewBridge::miniButtonImage() {
    auto& card = cardImage();
    std::lock_guard lock(card.mutex);
    if (!card.loaded) {
        card.loaded = true;
        const auto& platform = Platform::current();
        if (auto path = miniButtonFileURL(); path && platform.imageCodec) {
            if (auto bytes = platform.files->read(*path)) {
                if (auto decoded = platform.imageCodec->decode(*bytes)) {
                    card.image = std::make_shared<const Bitmap>(std::move(*decoded));
                }
            }
        }
    }
    return card.image;
}

void CheckoutWebViewBridge::setMiniButtonImage(BitmapRef image) {
    auto& card = cardImage();
    {
        std::lock_guard lock(card.mutex);
        card.image = image;
        card.loaded = true;  // what is set now wins over what the disk holds
    }
    const auto& platform = Platform::current();
    if (auto path = miniButtonFileURL()) {
        std::optional<ByteBuffer> png;
        if (image && platform.imageCodec) png = platform.imageCodec->encodePNG(*image);
        if (!png || !platform.files->writeAtomically(*path, *png)) platform.files->remove(*path);
    }
    NotificationCenter::defaultCenter().post(NotificationName::MiniButtonImageChanged, {}, image);
}

void CheckoutWebViewBridge::resetMiniButtonImageForTesting() {
    auto& card = cardImage();
    std::lock_guard lock(card.mutex);
    card.loaded = false;
    card.image.reset();
}

}  // namespace tandri
