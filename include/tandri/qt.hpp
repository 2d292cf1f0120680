#pragma once

// The checkout in a Qt 6 Widgets application on Qt WebEngine: one call to set it up over the
// application's window, and the checkout button as a widget the application lays out wherever it
// likes. Everything runs on the application's event loop (the GUI thread): call from it, and
// every callback comes on it.
//
//   auto checkout = tandri::qt::install(&window, "com.example.shop");
//   tandri::qt::CheckoutButton button;
//   layout->addWidget(button.widget());
//   button.onCheckout(*checkout, profile, purchase, [](const tandri::TandriCheckoutResult& r) {
//       /* r.statusName() is "payment.success", "payment.cancel" or "payment.error" */
//   });

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tandri/desktop.hpp"
#include "tandri/tandri.hpp"

class QWidget;
class QWebEngineProfile;
class QWebEngineView;

namespace tandri::qt {

// The set-up's options: see <tandri/desktop.hpp>.
using KeychainStore = desktop::KeychainStore;
using Network = desktop::Network;
using Options = desktop::Options;

/// The checkout set up over one window. Keep it for as long as the window shows checkouts;
/// letting it go takes the library's screens down.
class Installation {
  public:
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    /// Stands for the window's content: the screen checkouts are presented over. Give it to
    /// TandriCheckoutSDK::configureManualCheckoutSessionWithProfile.
    std::shared_ptr<ViewController> screen() const;
    /// The profile the library's web views use (cookies, local storage, caches).
    QWebEngineProfile* webProfile() const;
    /// Where the application's checkout data is kept.
    const std::string& dataDirectory() const;
    /// Whether keychain items went to the desktop keyring (else to the application's store).
    bool keychainInKeyring() const;
    /// Writes the window as it shows now, the checkout's screens and pages included, as a PNG.
    bool writeSnapshot(const std::string& path) const;

    struct Impl;
    explicit Installation(std::unique_ptr<Impl> impl);

  private:
    friend void installPlugin(const Installation&, QWebEngineView*, std::vector<std::string>);
    std::unique_ptr<Impl> impl_;
};

/// Sets the checkout up over `window` (a top-level widget): the application's web profile and
/// stores, the window's life cycle, the screens presented over its content, and
/// TandriCheckoutSDK::configure. The window may hold anything; its widgets stay the host's and
/// are given back untouched when a checkout ends. One installation per process. None, with the
/// reason in the system log, when the options are unusable or the store cannot be opened.
std::shared_ptr<Installation> install(QWidget* window, Options options);
/// The same with every option at its default but the application id.
std::shared_ptr<Installation> install(QWidget* window, std::string applicationId);

/// The checkout button: a widget the host lays out anywhere among its own. It shows the button
/// page (or the copy saved by an earlier run while the live page loads) in whatever geometry it
/// is given; its size hint is 380 × 56 pixels.
class CheckoutButton {
  public:
    CheckoutButton();
    ~CheckoutButton();
    CheckoutButton(const CheckoutButton&) = delete;
    CheckoutButton& operator=(const CheckoutButton&) = delete;

    /// The widget; a layout that takes it becomes its parent. It lives as long as its parent
    /// holds it or this object lives.
    QWidget* widget() const;

    /// Arms the button for a checkout of `purchaseInfo`: a tap starts it at once, over the
    /// installation's window, and `completion` hears how it ended. The button re-arms itself
    /// after each checkout.
    void onCheckout(const Installation& installation, TandriProfile profile,
                    TandriPurchaseInfo purchaseInfo, CheckoutCompletion completion);
    /// The same with the host in control of the start: `onReady` receives the closure that
    /// starts the checkout (and, once started, the one that lets the page go on), and
    /// `onButtonTapped` hears each tap.
    void onCheckout(const Installation& installation, TandriProfile profile,
                    TandriPurchaseInfo purchaseInfo, ReadyHandler onReady,
                    std::function<void()> onButtonTapped, CheckoutCompletion completion);

    /// The page's style number and whether it draws the standard style.
    void setStyle(std::int64_t style);
    void setStandardStyle(bool standard);
    /// What assistive technologies read for the button; none: the library's own label.
    void setAccessibilityLabel(std::optional<std::string> label);
    std::optional<std::string> accessibilityLabel() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// The hybrid plugin on the host's own web view: its page talks to the library through
/// window.webkit.messageHandlers.tandriMessage, and the checkout window the page opens becomes
/// the checkout screen over the installation's window. Call before the view loads its page. The
/// library takes the page's web channel (a page has one) and gives the page the installation's
/// certificate trust. `trustedOrigins` ("https://pay.example") are frames inside the page,
/// besides its main frame and the checkout's own, that may use the channel.
void installPlugin(const Installation& installation, QWebEngineView* view,
                   std::vector<std::string> trustedOrigins = {});

}  // namespace tandri::qt
