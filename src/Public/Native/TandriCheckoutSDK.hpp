// Process-wide settings of the native entry point.
#pragma once

#include <memory>
#include <optional>

#include "Core/Utils/URL.hpp"
#include "Platform/WebView.hpp"

namespace tandri {

class TandriCheckoutSDK {
  public:
    /// The merchant's marketing URL; none until set, replaced on each set.
    static const std::optional<URL>& marketingUrl();
    static void setMarketingUrl(std::optional<URL> url);
    /// The web view every button shows its cached page in: made with default settings on first
    /// use (none while no platform makes web views) and kept for the life of the process.
    static std::shared_ptr<WebView> cachedWebview();
    /// Forgets the cached web view (a new process, for tests).
    static void resetCachedWebviewForTesting();
};

/// The build's version, as text and as a number (major.minor); nothing inside the library reads
/// them.
extern const char* const TandriCheckoutSDKVersionString;
extern const double TandriCheckoutSDKVersionNumber;

}  // namespace tandri
