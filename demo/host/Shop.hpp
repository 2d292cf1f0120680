#pragma once

// The demo merchant's own application: a GTK window with a header bar, its product list and the
// checkout. It uses only what a merchant includes (<tandri/tandri.hpp>, <tandri/gtk.hpp>); the
// build gives this file no other include path. It builds for GTK 3 and for GTK 4, as the GTK it
// is compiled with says.

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <string>

#include <tandri/gtk.hpp>
#include <tandri/tandri.hpp>

#include "ShopSettings.hpp"

namespace shop {

class Shop {
  public:
    explicit Shop(Settings settings);
    ~Shop();

    /// False when the checkout could not be set up (the system log says why).
    bool ready() const { return checkout_ != nullptr; }
    GtkWindow* window() const { return window_; }
    /// What the person taps to pay: the checkout button, or the shop's own button.
    GtkWidget* payControl() const;
    /// The shop's own web page in the hybrid flow; none otherwise.
    WebKitWebView* merchantPage() const { return page_; }
    /// Told of every checkout's end, after the shop has shown it.
    std::function<void(const tandri::TandriCheckoutResult&)> onResult;

  private:
    void showResult(const tandri::TandriCheckoutResult& result);

    GtkWindow* window_ = nullptr;
    GtkWidget* resultLabel_ = nullptr;
    GtkWidget* ownPay_ = nullptr;
    WebKitWebView* page_ = nullptr;
    std::shared_ptr<tandri::gtk::Installation> checkout_;
    std::unique_ptr<tandri::gtk::CheckoutButton> button_;
    std::function<void()> startCheckout_;
    std::function<void()> goOn_;
};

}  // namespace shop
