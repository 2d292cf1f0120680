#pragma once

// What the one-call set-up does the same on every desktop toolkit: checking what the application
// asks for, the ports that are not the toolkit's (stores, files, images, the bundle, the device),
// the loading screen's frames decoded ahead, the hybrid host's view and the button's tap-to-start.

#include <functional>
#include <memory>
#include <string>

#include "Platform/Platform.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "tandri/TandriCheckoutSDK.hpp"
#include "tandri/desktop.hpp"

namespace tandri::desktop {

/// "com.example.shop": letters, digits, '_' and '-' in dot-separated elements, at least two, none
/// starting with a digit, 255 characters at most (GLib's application ids, Qt's desktop file
/// names); it becomes a directory name, so nothing else gets through.
bool usableApplicationId(const std::string& id);

/// Whether a set-up may go ahead; when not, the system log says why. Fills in the options'
/// defaults (the data directory) and applies a staging checkout's host and domain.
bool acceptSetup(bool hasWindow, bool alreadySetUp, Options& options);

/// The ports every desktop toolkit fills the same way, for `options` (whose data directory is
/// set) and the application's `vendor`: keychain and preferences (and biometrics), files, image
/// codec, bundle, device. False when the store cannot be opened (the store says why). `keyring`
/// learns whether keychain items went to the desktop keyring.
bool installCommonPorts(Platform& ports, const Options& options, const std::string& vendor,
                        bool& keyring);

/// Decodes the loading screen's frame `next` into the images every spinner shares and moves on;
/// false once all are decoded. Run from the toolkit's idle time after the set-up, one frame a
/// turn, so that the first tap shows its spinner at once.
bool decodeNextLoadingFrame(int& next);

/// A web view the hybrid host made, wrapped: the windows its page opens become the checkout's.
struct AdoptedView : UIDelegate {
    std::shared_ptr<WebView> wrapper;
    std::shared_ptr<WebView> webViewCreateWebView(
        WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
        const NavigationAction& action) override;
};

/// A checkout that starts at the person's tap: the button hands the closure that starts it once
/// it can, a tap runs it once, and once started the page goes on at once and the button is armed
/// again. The closures hold this weakly: it lives as long as the host's button object.
class TapToStart {
  public:
    void arm(TandriCheckoutButton& button, TandriProfile profile, TandriPurchaseInfo purchaseInfo,
             std::shared_ptr<ViewController> presenting, CheckoutCompletion completion);

  private:
    struct Start {
        std::function<void()> launch;
        std::function<void()> goOn;
        bool launched = false;
    };
    std::shared_ptr<Start> start_ = std::make_shared<Start>();
};

}  // namespace tandri::desktop
