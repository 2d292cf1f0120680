// The view a native host places in its layout: the checkout button page in a live web view,
// over a cached copy of the button's HTML, passing taps to the host and re-arming itself after
// each finished checkout.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Core/Bridge/ManualWebViewBridge.hpp"
#include "Core/Views/View.hpp"
#include "Platform/WebView.hpp"

namespace tandri {

class TandriCheckoutButton : public View, public NavigationDelegate {
  public:
    using ReadyHandler = ManualWebViewBridge::ReadyHandler;
    using Completion = std::function<void(const TandriCheckoutResult&)>;

    static std::shared_ptr<TandriCheckoutButton> initWithFrame(Rect frame);
    ~TandriCheckoutButton() override;

    /// Arms the button for one checkout; a success or a cancellation arms it again with the
    /// same arguments before the host hears the result.
    void onCheckoutWithProfile(TandriProfile profile, TandriPurchaseInfo purchaseInfo,
                               std::shared_ptr<ViewController> presentingViewController,
                               ReadyHandler onReady, std::function<void()> onButtonTapped,
                               Completion completion);
    /// Kept for existing merchant code: they do nothing, and never call their completion.
    void onCheckoutWithTotal(const TandriCurrencyAmount& total, Currency currency,
                             Completion completion);
    void onCheckoutWithPurchaseInfo(const TandriPurchaseInfo& purchaseInfo, Completion completion);

    /// The card image for a mini button: the one the checkout page sent, else the library's own.
    static BitmapRef miniButtonImage();

    std::int64_t style() const { return style_; }
    /// 0 shows the "neutral" button, anything else the "standard" one; reloads the page.
    void setStyle(std::int64_t style);
    /// Stores YES as style 1 and NO as style 0; `standardStyle` itself keeps reading NO.
    void setStandardStyle(bool standard);
    bool standardStyle() const { return standardStyle_; }

    void setButtonAccessibility(const std::optional<Value>& text);
    void cacheCheckoutButton(const std::optional<Value>& html);
    void loadButtonWebview();
    /// The button page's address for the current configuration and style, if it makes one.
    std::optional<std::string> buttonUrlString() const;
    void setupBridge(std::shared_ptr<NativeLaunchConfiguration> config);
    void buttonTapped();

    void webViewDidFinishNavigation(WebView&, const NavigationHandle&) override;
    void webViewDidFailNavigation(WebView&, const NavigationHandle&,
                                  const std::string& error) override;
    void webViewDidFailProvisionalNavigation(WebView&, const NavigationHandle&,
                                             const std::string& error) override;
    void webViewDecidePolicyForNavigationResponse(
        WebView&, const NavigationResponse& response,
        std::function<void(NavigationResponsePolicy)> decisionHandler) override;

    std::shared_ptr<View> containerView;
    std::shared_ptr<WebViewHost> liveWebViewHost;
    std::shared_ptr<MobileWebViewBridge> bridge;
    std::shared_ptr<NativeLaunchConfiguration> launchConfig;
    std::function<void()> buttonTappedHandler;
    std::optional<std::string> resolvedButtonUrl;
    bool isReady = false;
    bool enableAnimation = false;

    static constexpr const char* kDefaultAccessibilityLabel = "Click to pay with payment icon";

  private:
    using View::View;
    void setup();
    void failed(const std::string& error);
    std::int64_t style_ = 1;
    bool standardStyle_ = false;
};

}  // namespace tandri
