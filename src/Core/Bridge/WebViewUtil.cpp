#include "Core/Bridge/WebViewUtil.hpp"

#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Utils/DispatchHelper.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Platform.hpp"

namespace tandri {

namespace {

struct ProbeSlots {
    std::optional<Value> userAgent;
    std::shared_ptr<TinyDelegate> delegate;
    std::shared_ptr<WebView> webView;
};

ProbeSlots& probe() {
    static ProbeSlots slots;
    return slots;
}

}  // namespace

void invokeJavascriptMethod(const std::shared_ptr<WebView>& webView,
                            const std::optional<std::string>& method,
                            const std::optional<Value>& param, EvaluationCompletion completion) {
    evaluateLater(webView, rawJavaScriptForMethod(method, param), std::move(completion));
}

void evaluateLater(const std::shared_ptr<WebView>& webView, std::string script,
                   EvaluationCompletion completion, std::string document) {
    if (!webView) return;
    DispatchHelper::postToMain([webView, script = std::move(script),
                                completion = std::move(completion),
                                document = std::move(document)]() mutable {
        if (document.empty()) {
            webView->evaluateJavaScript(script, std::move(completion));
        } else {
            webView->evaluateJavaScriptInDocument(script, document, std::move(completion));
        }
    });
}

void getCurrentUserAgent(const std::shared_ptr<WebView>& webView,
                         std::function<void(const std::optional<Value>&)> completion) {
    if (!webView) return;
    DispatchHelper::setRunOnMain([&] {
        webView->evaluateJavaScript(
            "navigator.userAgent",
            [completion](const std::optional<Value>& result, const std::optional<std::string>&) {
                if (completion) completion(result);
            });
    });
}

namespace {

std::string userAgentText(const std::optional<Value>& base, const std::string& suffix) {
    // The platform formats an absent agent as "(null)".
    std::string text = base && base->isString() ? base->asString() : std::string("(null)");
    return text + " " + suffix;
}

}  // namespace

void appendToUserAgent(const std::shared_ptr<WebView>& webView, const std::string& suffix,
                       std::function<void()> completion) {
    if (!webView) return;
    if (const auto& cached = probe().userAgent) {
        webView->setCustomUserAgent(userAgentText(cached, suffix));
        if (completion) completion();
        return;
    }
    std::weak_ptr<WebView> weakView = webView;
    getCurrentUserAgent(webView, [weakView, suffix, completion](const std::optional<Value>& agent) {
        if (auto view = weakView.lock()) view->setCustomUserAgent(userAgentText(agent, suffix));
        if (completion) completion();
    });
}

std::shared_ptr<WebView> viewShowingOriginOf(const std::shared_ptr<WebView>& view,
                                             const std::string& url) {
    if (!view) return nullptr;
    auto target = URL::parse(url);
    auto showing = view->url();
    auto shown = showing ? URL::parse(*showing) : std::nullopt;
    if (target && shown && target->origin() && target->origin() == shown->origin()) return view;
    return nullptr;
}

const std::optional<Value>& cachedDefaultUserAgent() {
    return probe().userAgent;
}

void TinyDelegate::initializeUserAgent() {
    auto& slots = probe();
    slots.delegate = std::make_shared<TinyDelegate>();
    const auto& factory = Platform::current().webViews;
    if (!factory) return;
    slots.webView = factory->makeWebView();
    slots.webView->setNavigationDelegate(slots.delegate);
    slots.webView->loadHTMLString("<HTML><BODY>TEST</BODY></HTML>", std::nullopt);
}

void TinyDelegate::webViewDidFinishNavigation(WebView& webView, const NavigationHandle&) {
    getCurrentUserAgent(webView.shared_from_this(), [](const std::optional<Value>& agent) {
        auto& slots = probe();
        slots.userAgent = agent;
        if (slots.webView) slots.webView->setNavigationDelegate({});
        slots.webView.reset();
        slots.delegate.reset();
    });
}

std::shared_ptr<TinyDelegate> TinyDelegate::currentDelegate() {
    return probe().delegate;
}
std::shared_ptr<WebView> TinyDelegate::currentProbeWebView() {
    return probe().webView;
}
void TinyDelegate::resetForTesting() {
    probe() = ProbeSlots{};
}

}  // namespace tandri
