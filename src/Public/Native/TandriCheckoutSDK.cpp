#include "Public/Native/TandriCheckoutSDK.hpp"

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
}  // namespace

const char* const TandriCheckoutSDKVersionString = kSDKVersion;
const double TandriCheckoutSDKVersionNumber = versionNumber(kSDKVersion);

const std::optional<URL>& TandriCheckoutSDK::marketingUrl() {
    return marketingUrlStorage();
}

void TandriCheckoutSDK::setMarketingUrl(std::optional<URL> url) {
    marketingUrlStorage() = std::move(url);
}

}  // namespace tandri
