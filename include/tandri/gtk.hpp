#pragma once

// The checkout in a GTK application on WebKitGTK: one call to set it up over the application's
// window, the checkout button as a widget the application packs wherever it likes, and the
// hybrid plugin on the application's own web view. Everything runs on the GTK main loop: call
// from it, and every callback comes on it.
//
// The same header serves GTK 3 with WebKitGTK 4.1 (libtandri-gtk, pkg-config tandri-gtk) and GTK 4
// with WebKitGTK 6.0 (libtandri-gtk4, pkg-config tandri-gtk4, or <tandri/gtk4.hpp>): the GTK the
// application is built with chooses.
//
//   auto checkout = tandri::gtk::install(window, "com.example.shop");
//   tandri::gtk::CheckoutButton button;
//   gtk_box_append(GTK_BOX(box), button.widget());   // GTK 3: gtk_box_pack_end(...)
//   button.onCheckout(*checkout, profile, purchase, [](const tandri::TandriCheckoutResult& r) {
//       /* r.statusName() is "payment.success", "payment.cancel" or "payment.error" */
//   });

#include <gtk/gtk.h>
#if GTK_MAJOR_VERSION >= 4
#include <webkit/webkit.h>
#else
#include <webkit2/webkit2.h>
#endif

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tandri/desktop.hpp"
#include "tandri/tandri.hpp"

namespace tandri::gtk {

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
    /// The web context the library's web views use (network settings, cookies, local storage).
    WebKitWebContext* webContext() const;
#if GTK_MAJOR_VERSION >= 4
    /// On WebKitGTK 6.0 cookies, local storage and network settings live in a network session
    /// beside the context: the one the library's web views use.
    WebKitNetworkSession* networkSession() const;
#endif
    /// A new web view (floating, as GTK's widgets are) sharing the library's network settings,
    /// cookies and local storage, with settings of its own: what a hybrid host shows its page in.
    WebKitWebView* newWebView() const;
    /// Where the application's checkout data is kept.
    const std::string& dataDirectory() const;
    /// Whether keychain items went to the desktop keyring (else to the application's store).
    bool keychainInKeyring() const;

    struct Impl;
    explicit Installation(std::unique_ptr<Impl> impl);

  private:
    friend void installPlugin(const Installation&, WebKitWebView*, std::vector<std::string>);
    std::unique_ptr<Impl> impl_;
};

/// Sets the checkout up over `window`: the application's web context and stores, the window's
/// life cycle, the screens presented over its content, and TandriCheckoutSDK::configure. The
/// window may hold anything; its widgets stay the host's and are given back untouched when a
/// checkout ends. One installation per process. None, with the reason in the system log, when the
/// options are unusable or the store cannot be opened.
std::shared_ptr<Installation> install(GtkWindow* window, Options options);
/// The same with every option at its default but the application id.
std::shared_ptr<Installation> install(GtkWindow* window, std::string applicationId);

/// The checkout button: a widget the host packs anywhere in its own widget tree. It shows the
/// button page (or the copy saved by an earlier run while the live page loads) in whatever
/// allocation it is given; its natural height is 56 pixels.
class CheckoutButton {
  public:
    CheckoutButton();
    ~CheckoutButton();
    CheckoutButton(const CheckoutButton&) = delete;
    CheckoutButton& operator=(const CheckoutButton&) = delete;

    /// The widget; it lives as long as the host's widget tree holds it or this object lives.
    GtkWidget* widget() const;

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
/// the checkout screen over the installation's window. Call before the view loads its page.
/// `trustedOrigins` ("https://pay.example") are frames inside the page, besides its main frame
/// and the checkout's own, that may use the channel.
void installPlugin(const Installation& installation, WebKitWebView* view,
                   std::vector<std::string> trustedOrigins = {});

}  // namespace tandri::gtk
