#include "Public/Native/TandriCheckoutSDK.hpp"

#include "Core/Bridge/ManualWebViewBridge.hpp"
#include "Core/Bridge/WebViewUtil.hpp"
#include "Core/Storage/Storage.hpp"
#include "Core/Utils/DispatchHelper.hpp"
#include "Platform/Platform.hpp"
#include "tandri/Version.hpp"

namespace tandri {

namespace {

// "major.minor[.patch]" read as the number major.minor.
constexpr double versionNumber(const char* text) {
    double major = 0, minor = 0, scale = 1;
    const char* p = text;
    for (; *p >= '0' && *p <= '9'; ++p) major = major * 10 + (*p - '0');
    if (*p == '.') {
        for (++p; *p >= '0' && *p <= '9'; ++p) {
            scale /= 10;
            minor += (*p - '0') * scale;
        }
    }
    return major + minor;
}

std::optional<URL>& marketingUrlStorage() {
    static std::optional<URL> url;
    return url;
}
std::shared_ptr<WebView>& cachedWebviewSlot() {
    static std::shared_ptr<WebView> view;
    return view;
}
std::shared_ptr<WebViewHost>& cachedWebviewHostSlot() {
    static std::shared_ptr<WebViewHost> host;
    return host;
}
bool& configuredFlag() {
    static bool configured = false;
    return configured;
}
}  // namespace

const char* const TandriCheckoutSDKVersionString = kSDKVersion;
const double TandriCheckoutSDKVersionNumber = versionNumber(kSDKVersion);

const std::optional<URL>& SDKSettings::marketingUrl() {
    return marketingUrlStorage();
}

void SDKSettings::setMarketingUrl(std::optional<URL> url) {
    marketingUrlStorage() = std::move(url);
}

std::shared_ptr<WebView> SDKSettings::cachedWebview() {
    auto& slot = cachedWebviewSlot();
    if (!slot) {
        if (const auto& factory = Platform::current().webViews) slot = factory->makeWebView();
    }
    return slot;
}

std::shared_ptr<WebView> SDKSettings::cachedWebviewIfMade() {
    return cachedWebviewSlot();
}

std::shared_ptr<WebViewHost> SDKSettings::cachedWebviewHost() {
    auto view = cachedWebview();
    if (!view) return nullptr;
    auto& host = cachedWebviewHostSlot();
    if (!host || host->webView() != view) {
        host = std::make_shared<WebViewHost>();
        host->setWebView(view);
        host->setBackgroundColor(Color::clear());
    }
    return host;
}

void SDKSettings::resetCachedWebviewForTesting() {
    cachedWebviewSlot().reset();
    cachedWebviewHostSlot().reset();
    configuredFlag() = false;
}

void TandriCheckoutSDK::configure() {
    configuredFlag() = true;
    SDKSettings::cachedWebview();
    Storage::getValueForKey(Storage::kCachedButtonKey, [](std::optional<Value> html) {
        // The answer may come later or from another thread; the web view is the main thread's.
        DispatchHelper::runOnMainNow([html] {
            if (html && !html->isNull()) {
                if (auto view = SDKSettings::cachedWebview(); view && html->isString()) {
                    view->loadHTMLString(html->asString(), std::nullopt);
                }
            } else if (auto host = cachedWebviewHostSlot()) {
                host->removeFromSuperview();
            }
        });
    });
    TinyDelegate::initializeUserAgent();
    Storage::handleStorageMigration();
    if (auto& cookies = Platform::current().cookies) {
        cookies->setAcceptPolicy(CookieAcceptPolicy::Always);
    }
}

std::optional<std::string> TandriCheckoutSDK::marketingUrl() {
    const auto& url = SDKSettings::marketingUrl();
    return url ? std::optional<std::string>(url->absoluteString()) : std::nullopt;
}

bool TandriCheckoutSDK::setMarketingUrl(std::optional<std::string> url) {
    if (!url) {
        SDKSettings::setMarketingUrl(std::nullopt);
        return true;
    }
    // A campaign is somewhere on the web: a scheme and a host, not a relative reference.
    auto parsed = URL::parse(*url);
    if (!parsed || parsed->scheme().empty() || !parsed->host() || parsed->host()->empty())
        return false;
    SDKSettings::setMarketingUrl(std::move(parsed));
    return true;
}

bool TandriCheckoutSDK::configured() {
    return configuredFlag();
}

void TandriCheckoutSDK::configureManualCheckoutSessionWithProfile(
    TandriProfile profile, TandriPurchaseInfo purchaseInfo,
    std::shared_ptr<ViewController> presentingViewController, ReadyHandler onReady,
    CheckoutCompletion result) {
    std::weak_ptr<ViewController> weakPresenter = presentingViewController;
    auto sessionResult = [profile, purchaseInfo, weakPresenter, onReady,
                          result](const TandriCheckoutResult& outcome) {
        auto presenter = weakPresenter.lock();
        settleCheckout(
            outcome, presenter,
            [&] {
                configureManualCheckoutSessionWithProfile(profile, purchaseInfo, presenter, onReady,
                                                          result);
            },
            result);
    };
    auto config = NativeLaunchConfiguration::initWithProfile(
        std::move(profile), std::move(purchaseInfo), std::move(presentingViewController), {}, {},
        sessionResult);
    ManualWebViewBridge::configureNewBridge(config, std::move(onReady));
}

void TandriCheckoutSDK::configureWithEnvironment(
    Environment environment, const std::string& apiKey, const std::string& profileName,
    std::function<void(const TandriCheckoutResult&)> result) {
    configureWithProfile(TandriProfile(environment, apiKey, profileName), std::move(result));
}

void TandriCheckoutSDK::configureWithProfile(const TandriProfile&,
                                             std::function<void(const TandriCheckoutResult&)>) {}
void TandriCheckoutSDK::checkoutWithTotal(const TandriCurrencyAmount&, Currency,
                                          std::function<void(const TandriCheckoutResult&)>) {}
void TandriCheckoutSDK::checkoutWithPurchaseInfo(const TandriPurchaseInfo&,
                                                 std::function<void(const TandriCheckoutResult&)>) {
}
void TandriCheckoutSDK::updatePaymentInfoWithParameters(const Dictionary&) {}

}  // namespace tandri
