#include "Public/Native/TandriCheckoutSDK.hpp"

namespace tandri {

namespace {
std::optional<URL>& marketingUrlStorage() {
    static std::optional<URL> url;
    return url;
}
}  // namespace

const std::optional<URL>& TandriCheckoutSDK::marketingUrl() {
    return marketingUrlStorage();
}

void TandriCheckoutSDK::setMarketingUrl(std::optional<URL> url) {
    marketingUrlStorage() = std::move(url);
}

}  // namespace tandri
