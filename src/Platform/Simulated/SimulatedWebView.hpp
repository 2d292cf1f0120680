#pragma once

// Web views for tests: every evaluated script is recorded in order with the
// view it ran in; a test plays the page (posts on a channel from any frame
// URL), the network (finishes or fails loads, answers with a status) and the
// user (opens and closes windows). Script results come back through the main
// queue, so a test sees them after draining it, as on a device.

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/WebView.hpp"

namespace tandri::sim {

class SimulatedWebViewFactory;

struct Load {
    const WebView* webView = nullptr;
    std::optional<URLRequest> request;  // a request load
    std::string html;                   // an HTML load
    std::optional<std::string> baseURL;
    NavigationHandle navigation;
};

struct Evaluation {
    const WebView* webView = nullptr;
    std::string script;
};

class SimulatedWebView : public WebView {
  public:
    SimulatedWebView(SimulatedWebViewFactory& factory,
                     std::shared_ptr<WebViewConfiguration> configuration);

    const std::shared_ptr<WebViewConfiguration>& configuration() const override {
        return configuration_;
    }
    void evaluateJavaScript(const std::string& script, EvaluationCompletion completion) override;
    void evaluateJavaScriptInDocument(const std::string& script, const std::string& document,
                                      EvaluationCompletion completion) override;
    std::optional<std::string> url() const override { return url_; }
    std::optional<std::string> customUserAgent() const override { return customUserAgent_; }
    void setCustomUserAgent(std::optional<std::string> userAgent) override;
    NavigationHandle loadRequest(const URLRequest& request) override;
    NavigationHandle loadHTMLString(const std::string& html,
                                    const std::optional<std::string>& baseURL) override;
    NavigationHandle reload() override;

    // ---- the test's side ----

    /// The view this one was made beside, to share its engine process (null for most views).
    std::weak_ptr<WebView> madeBeside;

    /// The page (or a frame of it) posts `body` on channel `name`. Answers whether a handler
    /// was registered under that name.
    /// A sub-frame's post is inside the top document at `topFrameURL` (by default the view's
    /// URL).
    bool post(const std::string& name, std::optional<Value> body, const std::string& frameURL,
              bool mainFrame = true, std::optional<std::string> topFrameURL = std::nullopt);
    /// The same with a JSON text body (text that is not JSON posts an absent body).
    bool postJSON(const std::string& name, const std::string& json, const std::string& frameURL,
                  bool mainFrame = true, std::optional<std::string> topFrameURL = std::nullopt);
    /// A new top document replaces the one shown (a load committed, a reload, a history step):
    /// answers meant for the old one are dropped from now on.
    void commitDocument() { ++document_; }
    /// The top document shown now, as posts name it.
    std::string document() const { return "doc" + std::to_string(document_); }
    /// A navigation starts: one of the view's own loads, or (without a handle) one the page
    /// begins itself, which gets a new handle. Answers the handle.
    NavigationHandle startProvisionalNavigation(NavigationHandle navigation = nullptr);
    void finishNavigation(const NavigationHandle& navigation);
    void failNavigation(const NavigationHandle& navigation, const std::string& error);
    void failProvisionalNavigation(const NavigationHandle& navigation, const std::string& error);
    /// A response arrives; answers the delegate's decision (Allow without a delegate).
    std::optional<NavigationResponsePolicy> respond(const NavigationResponse& response);
    /// The page opens a window; answers what the UI delegate made, if anything.
    std::shared_ptr<WebView> openWindow(const NavigationAction& action);
    /// The page closes its window.
    void closeWindow();
    void setURL(std::optional<std::string> url) { url_ = std::move(url); }
    NavigationHandle lastNavigation() const { return lastNavigation_; }

  private:
    NavigationHandle newNavigation();

    SimulatedWebViewFactory& factory_;
    std::shared_ptr<WebViewConfiguration> configuration_;
    std::optional<std::string> url_;
    std::optional<std::string> customUserAgent_;
    NavigationHandle lastNavigation_;
    std::optional<URLRequest> lastRequest_;
    std::string lastHTML_;
    std::optional<std::string> lastBaseURL_;
    std::uint64_t document_ = 1;
};

class SimulatedWebViewFactory : public WebViewFactory {
  public:
    static constexpr const char* kDefaultUserAgent =
        "Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/605.1.15 (KHTML, like Gecko)";

    using WebViewFactory::makeWebView;
    std::shared_ptr<WebViewConfiguration> makeConfiguration() override;
    std::shared_ptr<WebView> makeWebView(
        std::shared_ptr<WebViewConfiguration> configuration) override;
    std::shared_ptr<WebView> makeWebViewBeside(std::shared_ptr<WebViewConfiguration> configuration,
                                               const std::shared_ptr<WebView>& sameOrigin) override;

    /// Every script evaluated in any view, in order.
    const std::vector<Evaluation>& evaluations() const { return evaluations_; }
    /// Scripts evaluated in one view, in order.
    std::vector<std::string> scriptsIn(const WebView& view) const;
    void clearEvaluations() { evaluations_.clear(); }
    const std::vector<Load>& loads() const { return loads_; }
    void clearLoads() { loads_.clear(); }
    /// Every web view made so far (weakly: tests can check they went away).
    const std::vector<std::weak_ptr<SimulatedWebView>>& webViews() const { return webViews_; }

    /// What "navigator.userAgent" answers in a view without a custom agent.
    std::string defaultUserAgent = kDefaultUserAgent;
    /// When set, evaluations report this error instead of a result.
    std::optional<std::string> evaluationError;
    /// When false, evaluations never complete (a hung page).
    bool evaluationsComplete = true;

    /// Told as it happens (for a tool that reports every effect in order): a view made, a
    /// script evaluated, a load started, a user agent set.
    std::function<void(const SimulatedWebView&)> onMade;
    std::function<void(const Evaluation&)> onEvaluate;
    std::function<void(const Load&)> onLoad;
    std::function<void(const SimulatedWebView&)> onUserAgent;
    /// A script meant for a document that has gone, dropped.
    std::function<void(const Evaluation&)> onDropped;

  private:
    friend class SimulatedWebView;
    std::vector<Evaluation> evaluations_;
    std::vector<Load> loads_;
    std::vector<std::weak_ptr<SimulatedWebView>> webViews_;
    std::uint64_t nextNavigation_ = 1;
};

}  // namespace tandri::sim
