#pragma once

// What the core does with a web view beyond messages: calling a page
// function, reading and extending the user agent, and the probe that learns
// the default user agent once so later views can be given theirs at once.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/WebView.hpp"
#include "tandri/Value.hpp"

namespace tandri {

/// Evaluates `method(param)` in the view, always later on the main queue, even from the main
/// thread. The completion may be empty.
void invokeJavascriptMethod(const std::shared_ptr<WebView>& webView,
                            const std::optional<std::string>& method,
                            const std::optional<Value>& param, EvaluationCompletion completion);

/// Evaluates a script in the view later on the main queue, like invokeJavascriptMethod; with a
/// `document`, only if the view still shows that document then.
void evaluateLater(const std::shared_ptr<WebView>& webView, std::string script,
                   EvaluationCompletion completion, std::string document = {});

/// Asks the page for navigator.userAgent on the main thread; the completion gets the answer, or
/// none when the evaluation failed.
void getCurrentUserAgent(const std::shared_ptr<WebView>& webView,
                         std::function<void(const std::optional<Value>&)> completion);

/// Sets the view's user agent to the default one, a space and `suffix`: at once when the probe
/// has learnt the default, otherwise after the view has told its own.
void appendToUserAgent(const std::shared_ptr<WebView>& webView, const std::string& suffix,
                       std::function<void()> completion);

/// `view` when the page it shows has the origin of `url` (scheme, host and port), else none: the
/// only view whose engine process a new view for `url` may start in.
std::shared_ptr<WebView> viewShowingOriginOf(const std::shared_ptr<WebView>& view,
                                             const std::string& url);

/// The default user agent learnt by the probe, if it has finished.
const std::optional<Value>& cachedDefaultUserAgent();

/// Loads a tiny page in a fresh view and remembers its user agent.
class TinyDelegate : public NavigationDelegate {
  public:
    static void initializeUserAgent();
    void webViewDidFinishNavigation(WebView& webView, const NavigationHandle&) override;

    /// The probe's process-wide slots, for tests: both are empty once a probe has finished.
    static std::shared_ptr<TinyDelegate> currentDelegate();
    static std::shared_ptr<WebView> currentProbeWebView();
    /// Forgets the learnt user agent (a new process, for tests).
    static void resetForTesting();
};

}  // namespace tandri
