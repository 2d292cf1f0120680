// The bridge of the checkout button's page (the launcher page) and the state machine of a
// launch: it learns where messages go, makes the checkout bridge, shows the loading spinner,
// presents and dismisses the checkout over the host's screen, and relays analytics identifiers
// and keyboard events. The mobile, manual and merchant bridges build on it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Core/Bridge/CheckoutWebViewBridge.hpp"
#include "Core/Bridge/JSBridge.hpp"
#include "Core/Utils/DataReporting.hpp"
#include "Core/Utils/NotificationCenter.hpp"
#include "Core/Views/ViewController.hpp"

namespace tandri {

class LaunchingWebViewBridge : public JSBridge, public UIDelegate, public DataReportingDelegate {
  public:
    /// The host's callback for a rendered button: its HTML and alternative text (absent where
    /// the page sent none).
    using ButtonFinishedLoad =
        std::function<void(const std::optional<Value>& html, const std::optional<Value>& altText)>;

    /// The fixed key sent with every checkout request the library makes itself.
    static constexpr const char* kClientKey = "4c7a2e91-d05f8b36e2a7";

    static std::shared_ptr<LaunchingWebViewBridge> create(
        std::shared_ptr<WebView> webView, std::shared_ptr<ViewController> presentingViewController,
        ButtonFinishedLoad onButtonFinishedLoad = {});
    ~LaunchingWebViewBridge() override;

    std::string className() const override { return "LaunchingWebViewBridge"; }
    /// The product token of the user agent; none here, each kind of launcher has its own.
    virtual std::optional<std::string> userAgentSuffix() const { return std::nullopt; }
    /// "<token>/<library version>", the token being "TDC_SDK" when the class has none.
    std::string generateUserAgentSuffix() const;

    // Handler factories; except onButtonFinishedLoad's, the handlers hold the bridge weakly.
    MessageHandler configure();
    MessageHandler launch();
    MessageHandler dismiss();
    MessageHandler showLoading();
    MessageHandler onButtonFinishedLoad(ButtonFinishedLoad callback);
    MessageHandler registerMessagePaths();
    MessageHandler onNativeButtonClick();
    MessageHandler onGtmReady();
    void setupPrelaunchHandlers(ButtonFinishedLoad callback);

    void setUpNewCheckoutBridgeWithConfigInfo(const Dictionary& config, JSCompletion completion);
    /// Makes the checkout bridge for a window the launcher page opens; answers its web view.
    std::shared_ptr<WebView> setupCheckoutBridge(
        const URLRequest& request, std::shared_ptr<WebViewConfiguration> configuration);
    /// Takes down whatever is presented over the host's screen, then calls `completion`.
    void dismissWithCompletion(std::function<void()> completion);
    /// Whether something is presented over the host's screen.
    bool isPresenting() const;

    void registerKeyboardNotifications();
    void keyboardDidShow();
    void keyboardDidHide();

    // The loading spinner's measurements.
    void recordLoadingSpinnerInstrumentationData(double startTime, double endTime,
                                                 bool afterCancel) override;
    void recordLoadingSpinnerAbandonmentData(bool userCancelled) override;

    std::shared_ptr<WebView> webViewCreateWebView(
        WebView& webView, const std::shared_ptr<WebViewConfiguration>& configuration,
        const NavigationAction& action) override;

    std::shared_ptr<ViewController> presentingViewController;
    std::shared_ptr<CheckoutWebViewBridge> rxoBridge;
    std::optional<std::string> checkoutMessageHandlerPath;
    bool transitionSpinnerEnabled = false;
    bool spinnerCancelled = false;
    /// Presents the loading spinner, animated, over `presenting`: a "launch" that arrives while
    /// it comes in is shown once it is up.
    void presentSpinner(const std::shared_ptr<ViewController>& presenting,
                        std::shared_ptr<ViewController> spinner);
    /// The spinner is being presented (its animation runs), and what waits for it to be up.
    bool spinnerArriving_ = false;
    std::function<void()> afterSpinner_;
    bool supportsSRC = false;
    std::optional<std::string> correlationId;
    std::optional<std::string> visitId;
    bool didClickImmediately = false;
    /// The parked answer of an "onNativeButtonClick" message.
    JSCompletion onClickCompletion;

  protected:
    explicit LaunchingWebViewBridge(std::shared_ptr<WebView> webView);
    /// The construction steps once the bridge is owned: delegate, presenting controller,
    /// handlers, keyboard observers.
    static void initialize(const std::shared_ptr<LaunchingWebViewBridge>& bridge,
                           std::shared_ptr<ViewController> presentingViewController,
                           ButtonFinishedLoad onButtonFinishedLoad);
    /// This bridge as a shared pointer of its own type.
    std::shared_ptr<LaunchingWebViewBridge> self();

  private:
    void setupWebviewDelegate();
    /// Links a new checkout bridge for forwarding; false when there is none.
    bool adopt(std::shared_ptr<CheckoutWebViewBridge> bridge);
    NotificationCenter::Token keyboardShown_ = 0;
    NotificationCenter::Token keyboardHidden_ = 0;
    /// Whether this bridge made itself its web view's UI delegate (and so clears it when it goes).
    bool setUIDelegate_ = false;
};

}  // namespace tandri
