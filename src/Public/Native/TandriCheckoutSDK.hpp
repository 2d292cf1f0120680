// Process-wide settings of the native entry point.
#pragma once

#include <memory>
#include <optional>

#include <functional>

#include "Core/Bridge/ManualWebViewBridge.hpp"
#include "Core/Utils/URL.hpp"
#include "Core/Views/View.hpp"
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
    /// The cached web view if it has been made; never makes it.
    static std::shared_ptr<WebView> cachedWebviewIfMade();
    /// Where the cached web view sits in a view tree; one for the process, so adding it to a
    /// button takes it from the one before.
    static std::shared_ptr<WebViewHost> cachedWebviewHost();
    /// Forgets the cached web view and the configured flag (a new process, for tests).
    static void resetCachedWebviewForTesting();

    /// Set-up at app start: the cached button page from the last run, the user-agent probe,
    /// the storage migration, cookies always accepted.
    static void configure();
    static bool configured();
    /// Opens a manual checkout session; it opens itself again after a success or a
    /// cancellation, before `result` hears of it.
    static void configureManualCheckoutSessionWithProfile(
        TandriProfile profile, TandriPurchaseInfo purchaseInfo,
        std::shared_ptr<ViewController> presentingViewController,
        ManualWebViewBridge::ReadyHandler onReady,
        std::function<void(const TandriCheckoutResult&)> result);

    // Kept so that existing merchant code builds: checkout starts from the button or a manual
    // session, never from these. They do nothing, and never call their callbacks.
    static void configureWithEnvironment(Environment environment, const std::string& apiKey,
                                         const std::string& profileName,
                                         std::function<void(const TandriCheckoutResult&)> result);
    static void configureWithProfile(const TandriProfile& profile,
                                     std::function<void(const TandriCheckoutResult&)> result);
    static void checkoutWithTotal(const TandriCurrencyAmount& total, Currency currency,
                                  std::function<void(const TandriCheckoutResult&)> completion);
    static void checkoutWithPurchaseInfo(
        const TandriPurchaseInfo& purchaseInfo,
        std::function<void(const TandriCheckoutResult&)> completion);
    static void updatePaymentInfoWithParameters(const Dictionary& parameters);
    static bool isReady() { return false; }
};

/// The build's version, as text and as a number (major.minor); nothing inside the library reads
/// them.
extern const char* const TandriCheckoutSDKVersionString;
extern const double TandriCheckoutSDKVersionNumber;

}  // namespace tandri
