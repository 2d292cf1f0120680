#pragma once

// The web view as the core sees it. Web views belong to the platform (a
// WebKitGTK view, a mobile view, or the simulated one); the core holds them
// through shared pointers and never looks inside. Delegates are held weakly by
// the web view, as platforms do, so a delegate's owner decides its lifetime.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tandri/Value.hpp"

namespace tandri {

class WebView;
class UserContentController;

struct URLRequest {
    std::string url;
    std::string method = "GET";
    std::vector<std::pair<std::string, std::string>> headers;  // in order; repeats allowed
    std::optional<std::string> body;

    /// Appends a field; a field already present gets ", " and the new value, as on the
    /// platforms' requests.
    void addValue(const std::string& value, const std::string& field);
    /// The value of a field (names compared without case), if present.
    std::optional<std::string> valueForField(const std::string& field) const;
};

/// One load. Handles are compared by identity: each load makes a new one.
struct Navigation {
    std::uint64_t id = 0;
};
using NavigationHandle = std::shared_ptr<const Navigation>;

/// What a page posted on a named channel, with the frame that posted it.
struct ScriptMessage {
    std::string name;
    std::optional<Value> body;       // absent when the body could not be read
    std::weak_ptr<WebView> webView;  // the view whose page posted
    std::string frameURL;            // the URL of the sending frame's request
    bool mainFrame = true;
    /// The URL of the view's top document when the frame posted (the frame's own for a
    /// main-frame post).
    std::string topFrameURL;
    /// Which top document the view showed when the frame posted: an answer meant for it is
    /// evaluated only while the view still shows that very document (see
    /// `WebView::evaluateJavaScriptInDocument`). Empty where the platform cannot tell.
    std::string document;
};

class ScriptMessageHandler {
  public:
    virtual ~ScriptMessageHandler() = default;
    virtual void userContentControllerDidReceiveScriptMessage(UserContentController& controller,
                                                              const ScriptMessage& message) = 0;
};

/// Named channels shared by every web view made with the same configuration.
class UserContentController {
  public:
    virtual ~UserContentController() = default;
    /// Keeps the handler strongly until removed. A second add under a name replaces the first.
    virtual void addScriptMessageHandler(std::shared_ptr<ScriptMessageHandler> handler,
                                         const std::string& name) = 0;
    virtual void removeScriptMessageHandlerForName(const std::string& name) = 0;
    virtual bool hasScriptMessageHandler(const std::string& name) const = 0;
};

/// A content controller that keeps its handlers in a table, for platforms whose engine does
/// not keep them itself (the simulated one, and ours on WebKitGTK, where one engine-level
/// channel serves every name).
class HandlerTableContentController : public UserContentController {
  public:
    void addScriptMessageHandler(std::shared_ptr<ScriptMessageHandler> handler,
                                 const std::string& name) override;
    void removeScriptMessageHandlerForName(const std::string& name) override;
    bool hasScriptMessageHandler(const std::string& name) const override;
    std::shared_ptr<ScriptMessageHandler> handlerFor(const std::string& name) const;
    /// Hands a message to the handler registered under its name; false when there is none.
    bool deliver(const ScriptMessage& message);
    /// The view whose page posted the message this thread is delivering right now (a message's
    /// handler runs inside its delivery), or null outside a delivery. Lets work that is shared
    /// by every bridge keep one page's share apart from another's.
    static std::shared_ptr<WebView> deliveringView();

  private:
    std::map<std::string, std::shared_ptr<ScriptMessageHandler>> handlers_;
};

struct Preferences {
    bool javaScriptCanOpenWindowsAutomatically = false;
};

struct WebViewConfiguration {
    std::shared_ptr<UserContentController> userContentController;
    Preferences preferences;
};

enum class NavigationType {
    LinkActivated,
    FormSubmitted,
    BackForward,
    Reload,
    FormResubmitted,
    Other
};

struct NavigationAction {
    URLRequest request;
    NavigationType navigationType = NavigationType::Other;
    bool targetsMainFrame = false;  // false for a new window
};

struct NavigationResponse {
    std::string url;
    int statusCode = 0;
    bool forMainFrame = true;
};

enum class NavigationResponsePolicy { Cancel, Allow };

class NavigationDelegate {
  public:
    virtual ~NavigationDelegate() = default;
    virtual void webViewDidStartProvisionalNavigation(WebView&, const NavigationHandle&) {}
    virtual void webViewDidFinishNavigation(WebView&, const NavigationHandle&) {}
    virtual void webViewDidFailNavigation(WebView&, const NavigationHandle&,
                                          const std::string& /*error*/) {}
    virtual void webViewDidFailProvisionalNavigation(WebView&, const NavigationHandle&,
                                                     const std::string& /*error*/) {}
    virtual void webViewDecidePolicyForNavigationResponse(
        WebView&, const NavigationResponse&,
        std::function<void(NavigationResponsePolicy)> decisionHandler) {
        decisionHandler(NavigationResponsePolicy::Allow);
    }
};

class UIDelegate {
  public:
    virtual ~UIDelegate() = default;
    /// A page asks for a new window; answer a web view made with `configuration`, or none.
    virtual std::shared_ptr<WebView> webViewCreateWebView(
        WebView&, const std::shared_ptr<WebViewConfiguration>& /*configuration*/,
        const NavigationAction&) {
        return nullptr;
    }
    virtual void webViewDidClose(WebView&) {}
};

using EvaluationCompletion = std::function<void(const std::optional<Value>& result,
                                                const std::optional<std::string>& error)>;

class WebView : public std::enable_shared_from_this<WebView> {
  public:
    virtual ~WebView() = default;

    virtual const std::shared_ptr<WebViewConfiguration>& configuration() const = 0;

    /// Runs the script in the main frame; the completion (may be empty) gets the result or an
    /// error text, on the main thread.
    virtual void evaluateJavaScript(const std::string& script, EvaluationCompletion completion) = 0;

    /// Runs the script in the main frame only if it still shows `document` (a `ScriptMessage`'s
    /// document); once that document is gone (navigated, reloaded, closed) the script is dropped
    /// and the completion gets an error. An empty `document` runs the script as
    /// `evaluateJavaScript` does.
    virtual void evaluateJavaScriptInDocument(const std::string& script,
                                              const std::string& document,
                                              EvaluationCompletion completion) {
        if (!document.empty()) {
            if (completion) completion(std::nullopt, std::string(kDocumentGone));
            return;
        }
        evaluateJavaScript(script, std::move(completion));
    }
    static constexpr const char* kDocumentGone = "the document is gone";

    /// The URL of the page shown or being loaded; none before the first load.
    virtual std::optional<std::string> url() const = 0;

    virtual std::optional<std::string> customUserAgent() const = 0;
    virtual void setCustomUserAgent(std::optional<std::string> userAgent) = 0;

    virtual NavigationHandle loadRequest(const URLRequest& request) = 0;
    virtual NavigationHandle loadHTMLString(const std::string& html,
                                            const std::optional<std::string>& baseURL) = 0;
    virtual NavigationHandle reload() = 0;

    void setNavigationDelegate(std::weak_ptr<NavigationDelegate> delegate) {
        navigationDelegate_ = std::move(delegate);
    }
    std::shared_ptr<NavigationDelegate> navigationDelegate() const {
        return navigationDelegate_.lock();
    }
    void setUIDelegate(std::weak_ptr<UIDelegate> delegate) { uiDelegate_ = std::move(delegate); }
    std::shared_ptr<UIDelegate> uiDelegate() const { return uiDelegate_.lock(); }

    /// Lets page script open windows without a user gesture (the configuration's preference,
    /// applied to a view that already exists).
    virtual void setJavaScriptCanOpenWindowsAutomatically(bool on) {
        configuration()->preferences.javaScriptCanOpenWindowsAutomatically = on;
    }

    /// Scrolling by the user; the button's view turns it off.
    virtual void setScrollEnabled(bool enabled) { scrollEnabled_ = enabled; }
    bool scrollEnabled() const { return scrollEnabled_; }
    /// Zooming by the user (pinch, ctrl+wheel); the button's and the checkout's views turn it off.
    virtual void setZoomEnabled(bool enabled) { zoomEnabled_ = enabled; }
    bool zoomEnabled() const { return zoomEnabled_; }

  private:
    std::weak_ptr<NavigationDelegate> navigationDelegate_;
    std::weak_ptr<UIDelegate> uiDelegate_;
    bool scrollEnabled_ = true;
    bool zoomEnabled_ = true;
};

/// Makes web views: with a fresh default configuration, or sharing one.
class WebViewFactory {
  public:
    virtual ~WebViewFactory() = default;
    virtual std::shared_ptr<WebViewConfiguration> makeConfiguration() = 0;
    virtual std::shared_ptr<WebView> makeWebView(
        std::shared_ptr<WebViewConfiguration> configuration) = 0;
    std::shared_ptr<WebView> makeWebView() { return makeWebView(makeConfiguration()); }
    /// A view for a page of the origin `sameOrigin` shows (the caller has checked it): a platform
    /// may start it in `sameOrigin`'s engine process, already running, instead of a new one, as
    /// long as the two share nothing their pages can see. By default, a view like any other.
    virtual std::shared_ptr<WebView> makeWebViewBeside(
        std::shared_ptr<WebViewConfiguration> configuration,
        const std::shared_ptr<WebView>& sameOrigin) {
        (void)sameOrigin;
        return makeWebView(std::move(configuration));
    }
};

}  // namespace tandri
