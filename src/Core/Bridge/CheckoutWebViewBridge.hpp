// The bridge of the checkout web view: it loads the checkout request itself, owns the screen
// that hosts the page, reports the first load once, polices responses and new windows, and
// keeps the card image the page sends for the mini button.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Core/Bridge/CheckoutWebViewController.hpp"
#include "Core/Bridge/JSBridge.hpp"
#include "Core/Views/Bitmap.hpp"

namespace tandri {

class CheckoutWebViewBridge : public JSBridge, public NavigationDelegate, public UIDelegate {
  public:
    using Headers = std::vector<std::pair<std::string, std::string>>;
    using Completion = std::function<void(const JSResult&)>;
    /// Observes the first load: its navigation, and the error text when it failed.
    using LoadComplete =
        std::function<void(const NavigationHandle&, const std::optional<std::string>& error)>;

    /// A bridge that loads `urlString` itself. `method` is set as given; `body` is sent only
    /// with exactly "POST"; headers are added in order. `completion` learns, once, how the first
    /// load ended: success with whether the loading spinner is up, or the load's error. Null
    /// when no URL can be made from the text. A `launchingView` showing a page of the URL's own
    /// origin lends the new view its engine process where the platform can (a quicker start).
    static std::shared_ptr<CheckoutWebViewBridge> initWithUrlString(
        const std::optional<std::string>& urlString, const std::optional<std::string>& method,
        const Headers& headers, const std::optional<std::string>& body,
        const std::optional<std::string>& messageHandlerPath,
        std::shared_ptr<ViewController> presentingViewController,
        const std::string& userAgentSuffix, Completion completion,
        const std::shared_ptr<WebView>& launchingView = nullptr);
    /// A bridge for a window the launching page opens: it shares that page's configuration (and
    /// so its channel) and loads `request` unchanged. Null when the request has no URL.
    static std::shared_ptr<CheckoutWebViewBridge> initWithUrlRequest(
        const URLRequest& request, std::shared_ptr<WebViewConfiguration> configuration,
        const std::optional<std::string>& messageHandlerPath,
        std::shared_ptr<ViewController> presentingViewController,
        const std::string& userAgentSuffix, bool transitionSpinnerEnabled);
    ~CheckoutWebViewBridge() override;

    std::string className() const override { return "CheckoutWebViewBridge"; }

    void generateViewController();
    void setupRXOMessageHandlers();
    /// The "newCardArt" handler.
    MessageHandler onNewCardArt();
    /// No first-load report and no handlers from now on.
    void manualReset();

    // The card image shared by every bridge of the process, kept on disk for the next run.
    static BitmapRef miniButtonImage();
    static void setMiniButtonImage(BitmapRef image);
    /// "<application support>/tandri/cache/minibuttonimage.png", its directory made; none when
    /// the directory cannot be made.
    static std::optional<std::string> miniButtonFileURL();
    /// Forgets the image held in memory, as a new process would.
    static void resetMiniButtonImageForTesting();

    /// Whether the library made `view` for a checkout page or for a window a checkout page
    /// opened: such a view shares its opener's channel but is never a host's own page.
    static bool madeWebView(const std::shared_ptr<WebView>& view);

    // Navigation delegate.
    void webViewDidStartProvisionalNavigation(WebView&, const NavigationHandle&) override;
    void webViewDidFinishNavigation(WebView&, const NavigationHandle&) override;
    void webViewDidFailNavigation(WebView&, const NavigationHandle&,
                                  const std::string& error) override;
    void webViewDidFailProvisionalNavigation(WebView&, const NavigationHandle&,
                                             const std::string& error) override;
    void webViewDecidePolicyForNavigationResponse(
        WebView&, const NavigationResponse& response,
        std::function<void(NavigationResponsePolicy)> decisionHandler) override;
    // UI delegate.
    std::shared_ptr<WebView> webViewCreateWebView(
        WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
        const NavigationAction& action) override;

    std::shared_ptr<CheckoutWebViewController> viewController;
    std::shared_ptr<ViewController> presentingViewController;
    LoadComplete loadComplete;
    std::shared_ptr<ActivityIndicator> loadingIndicator;
    bool transitionSpinnerEnabled = false;
    /// Where the web view sits in the controller's view.
    std::shared_ptr<WebViewHost> webViewHost;

  private:
    explicit CheckoutWebViewBridge(std::shared_ptr<WebView> view);
    static std::shared_ptr<WebView> makeWebView(
        std::shared_ptr<WebViewConfiguration> configuration,
        const std::shared_ptr<WebView>& sameOrigin = nullptr);
    void becomeDelegates();
    /// Appends the suffix to the user agent, then loads `request`, keeping its handle.
    void loadAfterUserAgent(const URLRequest& request, const std::string& userAgentSuffix);
    void failed(const NavigationHandle& navigation, const std::string& error);

    /// The first load's navigation; empty until the load has begun.
    std::shared_ptr<NavigationHandle> firstLoad_ = std::make_shared<NavigationHandle>();
};

}  // namespace tandri
