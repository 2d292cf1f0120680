#include "Public/Native/TandriCheckoutSDK.hpp"

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
}  // namespace

const char* const TandriCheckoutSDKVersionString = kSDKVersion;
const double TandriCheckoutSDKVersionNumber = versionNumber(kSDKVersion);

const std::optional<URL>& TandriCheckoutSDK::marketingUrl() {
    return marketingUrlStorage();
}

void TandriCheckoutSDK::setMarketingUrl(std::optional<URL> url) {
    marketingUrlStorage() = std::move(url);
}

std::shared_ptr<WebView> TandriCheckoutSDK::cachedWebview() {
    auto& slot = cachedWebviewSlot();
    if (!slot) {
        if (const auto& factory = Platform::current().webViews) slot = factory->makeWebView();
    }
    return slot;
}

void TandriCheckoutSDK::resetCachedWebviewForTesting() {
    cachedWebviewSlot().reset();
}

}  // namespace tandri
