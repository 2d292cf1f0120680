#pragma once

// The demo merchant's own Qt Widgets application: a window with its product list and the
// checkout. It uses only what a merchant includes (<tandri/tandri.hpp>, <tandri/qt.hpp>); the
// build gives this file no other include path.

#include <QLabel>
#include <QPushButton>
#include <QWebEngineView>
#include <QWidget>
#include <functional>
#include <memory>
#include <string>

#include <tandri/qt.hpp>
#include <tandri/tandri.hpp>

#include "../host/ShopSettings.hpp"

namespace shop {

class Shop {
  public:
    explicit Shop(Settings settings);
    ~Shop();

    /// False when the checkout could not be set up (the system log says why).
    bool ready() const { return checkout_ != nullptr; }
    QWidget* window() const { return window_.get(); }
    /// What the person taps to pay: the checkout button, or the shop's own button.
    QWidget* payControl() const;
    QLabel* resultLabel() const { return resultLabel_; }
    /// The shop's own web view in the hybrid flow; none otherwise.
    QWebEngineView* merchantPage() const { return page_; }
    const std::shared_ptr<tandri::qt::Installation>& checkout() const { return checkout_; }
    /// Told of every checkout's end, after the shop has shown it.
    std::function<void(const tandri::TandriCheckoutResult&)> onResult;

  private:
    void showResult(const tandri::TandriCheckoutResult& result);

    std::unique_ptr<QWidget> window_;
    QLabel* resultLabel_ = nullptr;
    QPushButton* ownPay_ = nullptr;
    QWebEngineView* page_ = nullptr;
    std::shared_ptr<tandri::qt::Installation> checkout_;
    std::unique_ptr<tandri::qt::CheckoutButton> button_;
    std::function<void()> startCheckout_;
    std::function<void()> goOn_;
};

}  // namespace shop
