#pragma once

// The entry points' process-wide values that the library itself reads: the marketing URL as a
// URL, and the one web view in which the checkout button page is kept ready, shared by all
// buttons. Hosts reach the marketing URL through TandriCheckoutSDK.

#include <memory>
#include <optional>

#include "Core/Utils/URL.hpp"
#include "Core/Views/View.hpp"
#include "Platform/WebView.hpp"
#include "tandri/TandriCheckoutSDK.hpp"

namespace tandri {

class SDKSettings {
  public:
    static const std::optional<URL>& marketingUrl();
    static void setMarketingUrl(std::optional<URL> url);
    /// Made empty on first use and kept for the life of the process.
    static std::shared_ptr<WebView> cachedWebview();
    static std::shared_ptr<WebView> cachedWebviewIfMade();
    /// The host that places the cached web view in a button.
    static std::shared_ptr<WebViewHost> cachedWebviewHost();
    static void resetCachedWebviewForTesting();
};

}  // namespace tandri
