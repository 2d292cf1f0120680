#include "Platform/Simulated/SimulatedWebView.hpp"

#include "Core/Utils/DispatchHelper.hpp"
#include "tandri/Json.hpp"

namespace tandri::sim {

SimulatedWebView::SimulatedWebView(SimulatedWebViewFactory& factory,
                                   std::shared_ptr<WebViewConfiguration> configuration)
    : factory_(factory), configuration_(std::move(configuration)) {}

void SimulatedWebView::evaluateJavaScript(const std::string& script,
                                          EvaluationCompletion completion) {
    factory_.evaluations_.push_back({this, script});
    if (factory_.onEvaluate) factory_.onEvaluate(factory_.evaluations_.back());
    if (!completion || !factory_.evaluationsComplete) return;
    std::optional<Value> result;
    std::optional<std::string> error = factory_.evaluationError;
    if (!error && script == "navigator.userAgent") {
        result = Value(customUserAgent_.value_or(factory_.defaultUserAgent));
    }
    // Completions of the platform arrive later, on the main thread.
    DispatchHelper::postToMain([completion = std::move(completion), result = std::move(result),
                                error = std::move(error)] { completion(result, error); });
}

void SimulatedWebView::evaluateJavaScriptInDocument(const std::string& script,
                                                    const std::string& document,
                                                    EvaluationCompletion completion) {
    if (document.empty() || document == this->document()) {
        evaluateJavaScript(script, std::move(completion));
        return;
    }
    if (factory_.onDropped) factory_.onDropped({this, script});
    if (!completion) return;
    DispatchHelper::postToMain([completion = std::move(completion)] {
        completion(std::nullopt, std::string(kDocumentGone));
    });
}

void SimulatedWebView::setCustomUserAgent(std::optional<std::string> userAgent) {
    customUserAgent_ = std::move(userAgent);
    if (factory_.onUserAgent) factory_.onUserAgent(*this);
}

NavigationHandle SimulatedWebView::newNavigation() {
    auto navigation = std::make_shared<Navigation>();
    navigation->id = factory_.nextNavigation_++;
    lastNavigation_ = navigation;
    return navigation;
}

NavigationHandle SimulatedWebView::loadRequest(const URLRequest& request) {
    url_ = request.url;
    lastRequest_ = request;
    lastHTML_.clear();
    auto navigation = newNavigation();
    factory_.loads_.push_back({this, request, {}, std::nullopt, navigation});
    if (factory_.onLoad) factory_.onLoad(factory_.loads_.back());
    return navigation;
}

NavigationHandle SimulatedWebView::loadHTMLString(const std::string& html,
                                                  const std::optional<std::string>& baseURL) {
    url_ = baseURL.value_or("about:blank");
    lastRequest_.reset();
    lastHTML_ = html;
    lastBaseURL_ = baseURL;
    auto navigation = newNavigation();
    factory_.loads_.push_back({this, std::nullopt, html, baseURL, navigation});
    if (factory_.onLoad) factory_.onLoad(factory_.loads_.back());
    return navigation;
}

NavigationHandle SimulatedWebView::reload() {
    if (lastRequest_) return loadRequest(*lastRequest_);
    return loadHTMLString(lastHTML_, lastBaseURL_);
}

bool SimulatedWebView::post(const std::string& name, std::optional<Value> body,
                            const std::string& frameURL, bool mainFrame,
                            std::optional<std::string> topFrameURL) {
    auto* controller =
        dynamic_cast<HandlerTableContentController*>(configuration_->userContentController.get());
    if (controller == nullptr) return false;
    std::string top = mainFrame ? frameURL : topFrameURL.value_or(url_.value_or(""));
    return controller->deliver({name, std::move(body),
                                std::static_pointer_cast<WebView>(shared_from_this()), frameURL,
                                mainFrame, std::move(top), document()});
}

bool SimulatedWebView::postJSON(const std::string& name, const std::string& json,
                                const std::string& frameURL, bool mainFrame,
                                std::optional<std::string> topFrameURL) {
    return post(name, json::parse(json), frameURL, mainFrame, std::move(topFrameURL));
}

NavigationHandle SimulatedWebView::startProvisionalNavigation(NavigationHandle navigation) {
    if (!navigation) navigation = newNavigation();
    if (auto delegate = navigationDelegate()) {
        delegate->webViewDidStartProvisionalNavigation(*this, navigation);
    }
    return navigation;
}

void SimulatedWebView::finishNavigation(const NavigationHandle& navigation) {
    if (auto delegate = navigationDelegate())
        delegate->webViewDidFinishNavigation(*this, navigation);
}

void SimulatedWebView::failNavigation(const NavigationHandle& navigation,
                                      const std::string& error) {
    if (auto delegate = navigationDelegate()) {
        delegate->webViewDidFailNavigation(*this, navigation, error);
    }
}

void SimulatedWebView::failProvisionalNavigation(const NavigationHandle& navigation,
                                                 const std::string& error) {
    if (auto delegate = navigationDelegate()) {
        delegate->webViewDidFailProvisionalNavigation(*this, navigation, error);
    }
}

std::optional<NavigationResponsePolicy> SimulatedWebView::respond(
    const NavigationResponse& response) {
    auto delegate = navigationDelegate();
    if (!delegate) return NavigationResponsePolicy::Allow;
    std::optional<NavigationResponsePolicy> decision;
    delegate->webViewDecidePolicyForNavigationResponse(
        *this, response, [&decision](NavigationResponsePolicy policy) { decision = policy; });
    return decision;
}

std::shared_ptr<WebView> SimulatedWebView::openWindow(const NavigationAction& action) {
    auto delegate = uiDelegate();
    if (!delegate) return nullptr;
    // A window opened by a page shares its opener's channels.
    auto configuration = std::make_shared<WebViewConfiguration>(*configuration_);
    return delegate->webViewCreateWebView(*this, configuration, action);
}

void SimulatedWebView::closeWindow() {
    if (auto delegate = uiDelegate()) delegate->webViewDidClose(*this);
}

std::shared_ptr<WebViewConfiguration> SimulatedWebViewFactory::makeConfiguration() {
    auto configuration = std::make_shared<WebViewConfiguration>();
    configuration->userContentController = std::make_shared<HandlerTableContentController>();
    return configuration;
}

std::shared_ptr<WebView> SimulatedWebViewFactory::makeWebView(
    std::shared_ptr<WebViewConfiguration> configuration) {
    if (!configuration) configuration = makeConfiguration();
    auto view = std::make_shared<SimulatedWebView>(*this, std::move(configuration));
    webViews_.push_back(view);
    if (onMade) onMade(*view);
    return view;
}

std::shared_ptr<WebView> SimulatedWebViewFactory::makeWebViewBeside(
    std::shared_ptr<WebViewConfiguration> configuration,
    const std::shared_ptr<WebView>& sameOrigin) {
    auto view = makeWebView(std::move(configuration));
    std::static_pointer_cast<SimulatedWebView>(view)->madeBeside = sameOrigin;
    return view;
}

std::vector<std::string> SimulatedWebViewFactory::scriptsIn(const WebView& view) const {
    std::vector<std::string> scripts;
    for (const auto& evaluation : evaluations_) {
        if (evaluation.webView == &view) scripts.push_back(evaluation.script);
    }
    return scripts;
}

}  // namespace tandri::sim
