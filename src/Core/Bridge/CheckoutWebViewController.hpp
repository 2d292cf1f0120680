// The screen that hosts the checkout web view, and the one that hosts a window the checkout
// page opens by script.
#pragma once

#include <memory>

#include "Core/Views/ViewController.hpp"
#include "Platform/WebView.hpp"

namespace tandri {

/// Hosts the checkout page full screen, portrait, and hides it under a blur while the app is in
/// the background.
class CheckoutWebViewController : public ViewController {
  public:
    ~CheckoutWebViewController() override;

    void initializeLifecycleListeners();
    /// Bound to entering the background, whatever its name says: resigning active alone (a
    /// pulled-down control centre, a call) leaves the page visible.
    void appWillResignActive();
    void appWillEnterForeground();

    bool prefersStatusBarHidden() const override { return false; }
    StatusBarStyle preferredStatusBarStyle() const override;
    unsigned supportedInterfaceOrientations() const override {
        return InterfaceOrientationMask::Portrait;
    }

    /// Present only while the app is in the background.
    std::shared_ptr<View> overlayView;

  protected:
    void viewDidLoad() override;
};

/// Hosts a window opened by the checkout page, under a bar with a cancel button. It opens no
/// further windows: links meant for one leave the app.
class PopupViewController : public ViewController, public UIDelegate {
  public:
    const std::shared_ptr<WebView>& webView() const { return webView_; }
    void setWebView(std::shared_ptr<WebView> webView) { webView_ = std::move(webView); }

    std::shared_ptr<WebView> webViewCreateWebView(
        WebView& webView, const std::shared_ptr<WebViewConfiguration>& configuration,
        const NavigationAction& action) override;
    /// The page called window.close().
    void webViewDidClose(WebView& webView) override;
    /// The cancel button's action.
    void dismissView();

    std::shared_ptr<NavigationBar> navigationBar;
    std::shared_ptr<WebViewHost> webViewHost;

  protected:
    void viewDidLoad() override;

  private:
    std::shared_ptr<WebView> webView_;
};

}  // namespace tandri
