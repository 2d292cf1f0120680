#pragma once

// The library's entry points for a native host: set-up at start, manual checkout sessions, the
// marketing URL, and the older entry points kept so that existing host code still builds.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tandri/Enums.hpp"
#include "tandri/TandriCheckoutResult.hpp"
#include "tandri/TandriCurrencyAmount.hpp"
#include "tandri/TandriProfile.hpp"
#include "tandri/TandriPurchaseInfo.hpp"
#include "tandri/Value.hpp"

namespace tandri {

/// A screen of the host's that checkout screens are presented over. Hosts never make one: the
/// platform's set-up hands it out (for GTK, `tandri::gtk::Installation::screen()`), and the
/// library only presents over it and holds it weakly.
class ViewController;

/// Called when a checkout can be started, with a closure to call to start it. After the start,
/// called again with a closure that lets the checkout page go on; call it at once unless the host
/// has something to do first.
using ReadyHandler = std::function<void(std::function<void()>)>;
/// Receives how a checkout ended.
using CheckoutCompletion = std::function<void(const TandriCheckoutResult&)>;

/// Process-wide; every operation runs on the main thread (for GTK, the GTK main loop).
class TandriCheckoutSDK {
  public:
    /// Set-up at start: prepares the button page kept ready between runs, the browser's user
    /// agent, the stored values' migration and the cookie policy. Call once, after the platform's
    /// set-up; calling again repeats it.
    static void configure();
    /// Whether `configure` has run.
    static bool configured();

    /// Opens a manual checkout session: the host shows its own control and calls the closure
    /// `onReady` hands it to start the checkout over `presentingViewController`. The session
    /// re-arms itself after a success or a cancel (`onReady` is called again); an error ends it.
    static void configureManualCheckoutSessionWithProfile(
        TandriProfile profile, TandriPurchaseInfo purchaseInfo,
        std::shared_ptr<ViewController> presentingViewController, ReadyHandler onReady,
        CheckoutCompletion result);

    /// The campaign the merchant's launching page is told about ("campaignUrl"), or none. A text
    /// that is not an absolute URL (with a scheme and a host) is refused (returns false) and
    /// leaves the one set before.
    static std::optional<std::string> marketingUrl();
    static bool setMarketingUrl(std::optional<std::string> url);

    // Kept so that existing host code still builds; a checkout is started by the button or by a
    // manual session, never by these. They do nothing and never call their callbacks.
    static void configureWithEnvironment(Environment environment, const std::string& apiKey,
                                         const std::string& profileName, CheckoutCompletion result);
    static void configureWithProfile(const TandriProfile& profile, CheckoutCompletion result);
    static void checkoutWithTotal(const TandriCurrencyAmount& total, Currency currency,
                                  CheckoutCompletion completion);
    static void checkoutWithPurchaseInfo(const TandriPurchaseInfo& purchaseInfo,
                                         CheckoutCompletion completion);
    static void updatePaymentInfoWithParameters(const Dictionary& parameters);
    /// Always false.
    static bool isReady() { return false; }
};

/// The library's build version, as text ("1.0.0") and as a number (1.0).
extern const char* const TandriCheckoutSDKVersionString;
extern const double TandriCheckoutSDKVersionNumber;

}  // namespace tandri
