#include "Platform/Gtk/GtkWebView.hpp"

#include <libsoup/soup.h>

#include <utility>

#include "Platform/Gtk/ScriptChannel.hpp"
#include "Platform/Gtk/Widgets.hpp"
#include "tandri/Json.hpp"

namespace tandri::gtk {

namespace {

constexpr const char* kChannel = "tandriMessage";
// Where the library's own scripts that page script must not see or change run.
constexpr const char* kLoaderWorld = "tandri-loader";

NavigationType navigationTypeOf(WebKitNavigationAction* action) {
    switch (webkit_navigation_action_get_navigation_type(action)) {
        case WEBKIT_NAVIGATION_TYPE_LINK_CLICKED:
            return NavigationType::LinkActivated;
        case WEBKIT_NAVIGATION_TYPE_FORM_SUBMITTED:
            return NavigationType::FormSubmitted;
        case WEBKIT_NAVIGATION_TYPE_BACK_FORWARD:
            return NavigationType::BackForward;
        case WEBKIT_NAVIGATION_TYPE_RELOAD:
            return NavigationType::Reload;
        case WEBKIT_NAVIGATION_TYPE_FORM_RESUBMITTED:
            return NavigationType::FormResubmitted;
        default:
            return NavigationType::Other;
    }
}

struct Evaluation {
    EvaluationCompletion completion;
};

void evaluated(GObject* source, GAsyncResult* result, gpointer data) {
    std::unique_ptr<Evaluation> evaluation(static_cast<Evaluation*>(data));
    GError* error = nullptr;
    JSCValue* value =
        webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source), result, &error);
    if (value == nullptr) {
        std::string message = error != nullptr ? error->message : "JavaScript evaluation failed";
        g_clear_error(&error);
        evaluation->completion(std::nullopt, message);
        return;
    }
    std::optional<Value> out;
    if (!jsc_value_is_undefined(value)) {
        if (char* text = jsc_value_to_json(value, 0)) {
            out = json::parse(text);
            g_free(text);
        }
    }
    g_object_unref(value);
    evaluation->completion(out, std::nullopt);
}

}  // namespace

GtkWebView::GtkWebView(GtkWebViewFactory& factory,
                       std::shared_ptr<WebViewConfiguration> configuration, WebKitWebView* related)
    : factory_(factory), configuration_(std::move(configuration)) {
    GtkWidget* widget = nullptr;
    if (related != nullptr) {
        widget = newRelatedWebView(related);
        freshWindow_ = true;
    } else if (factory.processPeer_ != nullptr) {
        // Its peer's process and network session only: the settings and content manager are the
        // new view's own.
        widget = GTK_WIDGET(
            g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", factory.processPeer_, nullptr));
    } else {
        widget = newWebView(factory.context_);
    }
    view_ = WEBKIT_WEB_VIEW(g_object_ref_sink(widget));
    webkit_settings_set_javascript_can_open_windows_automatically(
        webkit_web_view_get_settings(view_),
        configuration_->preferences.javaScriptCanOpenWindowsAutomatically);
    attach();
}

GtkWebView::GtkWebView(GtkWebViewFactory& factory,
                       std::shared_ptr<WebViewConfiguration> configuration,
                       WebKitWebView* merchantView, Adopted)
    : factory_(factory), configuration_(std::move(configuration)), adopted_(true) {
    // A reference, not ownership: the merchant's view stays where the merchant put it, with its
    // settings, and outlives the wrapper if the merchant holds it.
    view_ = WEBKIT_WEB_VIEW(g_object_ref(merchantView));
    configuration_->preferences.javaScriptCanOpenWindowsAutomatically =
        webkit_settings_get_javascript_can_open_windows_automatically(
            webkit_web_view_get_settings(view_)) != FALSE;
    attach();
}

void GtkWebView::attach() {
    g_signal_connect(view_, "load-changed", G_CALLBACK(onLoadChanged), this);
    g_signal_connect(view_, "load-failed", G_CALLBACK(onLoadFailed), this);
    g_signal_connect(view_, "decide-policy", G_CALLBACK(onDecidePolicy), this);
    g_signal_connect(view_, "create", G_CALLBACK(onCreate), this);
    g_signal_connect(view_, "close", G_CALLBACK(onClose), this);
    // Before the engine's own handlers, so a view with scrolling off never sees the gestures.
#if TANDRI_GTK_MAJOR == 4
    // A controller in the capture phase takes each event on its way down to the view, before
    // the engine's own handlers there, and stops the refused ones.
    inputFilter_ = gtk_event_controller_legacy_new();
    gtk_event_controller_set_propagation_phase(inputFilter_, GTK_PHASE_CAPTURE);
    g_signal_connect(inputFilter_, "event", G_CALLBACK(onInputEvent), this);
    gtk_widget_add_controller(GTK_WIDGET(view_), inputFilter_);
#else
    g_signal_connect(view_, "event", G_CALLBACK(onInputEvent), this);
#endif
    channel_ = ScriptChannel::connect(view_, [this](WebKitWebView*, const ChannelPost& post) {
        auto* controller = dynamic_cast<HandlerTableContentController*>(
            configuration_->userContentController.get());
        // A post that cannot say which top document it came from is not heard.
        if (controller == nullptr || post.topDocument.empty()) return;
        controller->deliver({post.channel, json::parse(post.bodyJson),
                             std::static_pointer_cast<WebView>(shared_from_this()), post.frameUri,
                             post.mainFrame, post.topUri, post.topDocument});
    });
}

GtkWebView::~GtkWebView() {
    g_signal_handlers_disconnect_matched(view_, G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, this);
#if TANDRI_GTK_MAJOR == 4
    gtk_widget_remove_controller(GTK_WIDGET(view_), inputFilter_);
#endif
    ScriptChannel::disconnect(view_, channel_);
    if (!adopted_) {
        g_signal_handlers_disconnect_matched(
            view_, G_SIGNAL_MATCH_ID,
            g_signal_lookup("user-message-received", WEBKIT_TYPE_WEB_VIEW), 0, nullptr, nullptr,
            nullptr);
        destroyWidget(GTK_WIDGET(view_));
    }
    g_object_unref(view_);
}

void GtkWebView::evaluateJavaScript(const std::string& script, EvaluationCompletion completion) {
    auto* evaluation = new Evaluation{completion ? std::move(completion)
                                                 : EvaluationCompletion([](auto&, auto&) {})};
    webkit_web_view_evaluate_javascript(view_, script.data(), static_cast<gssize>(script.size()),
                                        nullptr, nullptr, nullptr, evaluated, evaluation);
}

void GtkWebView::evaluateJavaScriptInDocument(const std::string& script,
                                              const std::string& document,
                                              EvaluationCompletion completion) {
    if (document.empty()) {
        evaluateJavaScript(script, std::move(completion));
        return;
    }
    ScriptChannel::Evaluated evaluated;
    if (completion) {
        evaluated = [completion = std::move(completion)](bool ran, const std::string& json) {
            if (!ran) {
                completion(std::nullopt, std::string(kDocumentGone));
                return;
            }
            completion(json.empty() ? std::nullopt : json::parse(json), std::nullopt);
        };
    }
    ScriptChannel::evaluateInDocument(view_, document, script, std::move(evaluated));
}

std::optional<std::string> GtkWebView::url() const {
    const char* uri = webkit_web_view_get_uri(view_);
    if (uri == nullptr || *uri == '\0') return std::nullopt;
    return std::string(uri);
}

void GtkWebView::setCustomUserAgent(std::optional<std::string> userAgent) {
    customUserAgent_ = std::move(userAgent);
    webkit_settings_set_user_agent(webkit_web_view_get_settings(view_),
                                   customUserAgent_ ? customUserAgent_->c_str() : nullptr);
}

void GtkWebView::setJavaScriptCanOpenWindowsAutomatically(bool on) {
    WebView::setJavaScriptCanOpenWindowsAutomatically(on);
    webkit_settings_set_javascript_can_open_windows_automatically(
        webkit_web_view_get_settings(view_), on ? TRUE : FALSE);
}

NavigationHandle GtkWebView::begin() {
    auto navigation = std::make_shared<Navigation>();
    navigation->id = factory_.nextNavigation_++;
    current_ = navigation;
    committed_ = false;
    failed_ = false;
    ownLoadPending_ = true;
    return navigation;
}

NavigationHandle GtkWebView::loadRequest(const URLRequest& request) {
    NavigationHandle navigation = begin();
    const bool window = std::exchange(freshWindow_, false);
    if (window && request.method == "GET" && !request.body && request.headers.empty()) {
        loadFromInside(request.url, navigation);
        return navigation;
    }
    if (request.method == "GET" && !request.body) {
        WebKitURIRequest* uriRequest = webkit_uri_request_new(request.url.c_str());
        SoupMessageHeaders* headers = webkit_uri_request_get_http_headers(uriRequest);
        for (const auto& [name, value] : request.headers) {
            if (headers != nullptr)
                soup_message_headers_append(headers, name.c_str(), value.c_str());
        }
        webkit_web_view_load_request(view_, uriRequest);
        g_object_unref(uriRequest);
        return navigation;
    }
    HttpRequest native{request.url, request.method, request.headers, request.body};
    std::weak_ptr<WebView> weak = weak_from_this();
    HttpLoader::fetchForView(
        view_, native, factory_.settings_, [weak, navigation](const HttpResponse& response) {
            auto strong = std::static_pointer_cast<GtkWebView>(weak.lock());
            if (!strong || strong->current_ != navigation) return;  // superseded
            auto delegate = strong->navigationDelegate();
            if (response.status == 0) {
                if (delegate) {
                    delegate->webViewDidFailProvisionalNavigation(*strong, navigation,
                                                                  response.error);
                }
                return;
            }
            auto show = [weak, navigation, response](NavigationResponsePolicy policy) {
                auto view = std::static_pointer_cast<GtkWebView>(weak.lock());
                if (!view || view->current_ != navigation) return;
                if (policy == NavigationResponsePolicy::Allow) {
                    HttpLoader::show(view->view_, response);
                } else if (auto d = view->navigationDelegate()) {
                    d->webViewDidFailProvisionalNavigation(*view, navigation,
                                                           "Frame load interrupted");
                }
            };
            if (delegate) {
                delegate->webViewDecidePolicyForNavigationResponse(
                    *strong, NavigationResponse{response.url, response.status, true}, show);
            } else {
                show(NavigationResponsePolicy::Allow);
            }
        });
    return navigation;
}

// A window a page opened keeps its opener only through navigations of its own: the engine takes a
// load from outside for a new browsing context and, where it moves cross-site pages into a process
// of their own (always on WebKitGTK 6.0), cuts the window from its opener, whose page then never
// hears from it (`window.opener` is null). So a window's first load is the window navigating
// itself, from a world of ours where the page's script cannot have replaced `location`; the
// history stays one entry long.
void GtkWebView::loadFromInside(const std::string& url, const NavigationHandle& navigation) {
    struct Pending {
        std::weak_ptr<WebView> view;
        NavigationHandle navigation;
        std::string url;
    };
    const std::string script = "location.replace(" + *json::write(Value(url)) + ")";
    webkit_web_view_evaluate_javascript(
        view_, script.data(), static_cast<gssize>(script.size()), kLoaderWorld, nullptr, nullptr,
        +[](GObject* source, GAsyncResult* result, gpointer data) {
            std::unique_ptr<Pending> pending(static_cast<Pending*>(data));
            GError* error = nullptr;
            JSCValue* value =
                webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source), result, &error);
            if (value != nullptr) g_object_unref(value);
            if (error == nullptr) return;
            g_error_free(error);
            // No document to navigate (the window was closed or is going): loaded from outside.
            auto view = std::static_pointer_cast<GtkWebView>(pending->view.lock());
            if (!view || view->current_ != pending->navigation) return;
            webkit_web_view_load_uri(view->view_, pending->url.c_str());
        },
        new Pending{weak_from_this(), navigation, url});
}

NavigationHandle GtkWebView::loadHTMLString(const std::string& html,
                                            const std::optional<std::string>& baseURL) {
    NavigationHandle navigation = begin();
    webkit_web_view_load_html(view_, html.c_str(), baseURL ? baseURL->c_str() : nullptr);
    return navigation;
}

NavigationHandle GtkWebView::reload() {
    NavigationHandle navigation = begin();
    webkit_web_view_reload(view_);
    return navigation;
}

void GtkWebView::onLoadChanged(WebKitWebView*, WebKitLoadEvent event, gpointer self) {
    auto* view = static_cast<GtkWebView*>(self);
    if (event == WEBKIT_LOAD_STARTED) {
        // A navigation the page began itself gets a handle of its own.
        if (!view->ownLoadPending_) view->begin();
        view->ownLoadPending_ = false;
        if (auto delegate = view->navigationDelegate()) {
            delegate->webViewDidStartProvisionalNavigation(*view, view->current_);
        }
        return;
    }
    if (event == WEBKIT_LOAD_COMMITTED) view->committed_ = true;
    if (event != WEBKIT_LOAD_FINISHED || view->failed_ || !view->current_) return;
    // A page of ours often sends its next request natively to its own origin (the button page's
    // checkout): that request finds the connection open.
    if (!view->adopted_) {
        if (const char* uri = webkit_web_view_get_uri(view->view_)) {
            HttpLoader::preconnect(view->view_, uri, view->factory_.settings_);
        }
    }
    if (auto delegate = view->navigationDelegate()) {
        delegate->webViewDidFinishNavigation(*view, view->current_);
    }
}

gboolean GtkWebView::onLoadFailed(WebKitWebView*, WebKitLoadEvent, char*, GError* error,
                                  gpointer self) {
    auto* view = static_cast<GtkWebView*>(self);
    view->failed_ = true;
    std::string message = error != nullptr ? error->message : "load failed";
    if (auto delegate = view->navigationDelegate()) {
        if (view->committed_) {
            delegate->webViewDidFailNavigation(*view, view->current_, message);
        } else {
            delegate->webViewDidFailProvisionalNavigation(*view, view->current_, message);
        }
    }
    return TRUE;  // no error page: the delegate decides what the user sees
}

gboolean GtkWebView::onDecidePolicy(WebKitWebView*, WebKitPolicyDecision* decision,
                                    WebKitPolicyDecisionType type, gpointer self) {
    auto* view = static_cast<GtkWebView*>(self);
    if (type != WEBKIT_POLICY_DECISION_TYPE_RESPONSE) return FALSE;
    auto delegate = view->navigationDelegate();
    if (!delegate) return FALSE;
    auto* responseDecision = WEBKIT_RESPONSE_POLICY_DECISION(decision);
    WebKitURIResponse* response = webkit_response_policy_decision_get_response(responseDecision);
    NavigationResponse navigationResponse{
        webkit_uri_response_get_uri(response),
        static_cast<int>(webkit_uri_response_get_status_code(response)),
        webkit_response_policy_decision_is_main_frame_main_resource(responseDecision) != FALSE};
    g_object_ref(decision);
    delegate->webViewDecidePolicyForNavigationResponse(
        *view, navigationResponse, [decision](NavigationResponsePolicy policy) {
            if (policy == NavigationResponsePolicy::Allow) {
                webkit_policy_decision_use(decision);
            } else {
                webkit_policy_decision_ignore(decision);
            }
            g_object_unref(decision);
        });
    return TRUE;
}

GtkWidget* GtkWebView::onCreate(WebKitWebView* opener, WebKitNavigationAction* action,
                                gpointer self) {
    auto* view = static_cast<GtkWebView*>(self);
    auto delegate = view->uiDelegate();
    if (!delegate) return nullptr;
    NavigationAction navigationAction;
    if (WebKitURIRequest* request = webkit_navigation_action_get_request(action)) {
        const char* uri = webkit_uri_request_get_uri(request);
        navigationAction.request.url = uri != nullptr ? uri : "";
        const char* method = webkit_uri_request_get_http_method(request);
        if (method != nullptr) navigationAction.request.method = method;
    }
    navigationAction.navigationType = navigationTypeOf(action);
    navigationAction.targetsMainFrame = false;
    // Windows a page opens share its channels and must be related to it in the engine.
    auto configuration = std::make_shared<WebViewConfiguration>(*view->configuration_);
    view->factory_.opener_ = opener;
    auto created = delegate->webViewCreateWebView(*view, configuration, navigationAction);
    view->factory_.opener_ = nullptr;
    auto* gtkView = dynamic_cast<GtkWebView*>(created.get());
    return gtkView != nullptr ? GTK_WIDGET(gtkView->view_) : nullptr;
}

gboolean GtkWebView::onInputEvent(gpointer, GdkEvent* event, gpointer self) {
    auto* view = static_cast<GtkWebView*>(self);
#if TANDRI_GTK_MAJOR == 4
    const GdkModifierType state = gdk_event_get_modifier_state(event);
#else
    GdkModifierType state{};
    gdk_event_get_state(event, &state);
#endif
    // ctrl+wheel is the desktop's zoom; the wheel, the touchpad's swipe and touch-screen drags
    // scroll.
    switch (gdk_event_get_event_type(event)) {
        case GDK_SCROLL:
            if ((state & GDK_CONTROL_MASK) != 0) return !view->zoomEnabled();
            return !view->scrollEnabled();
        case GDK_TOUCHPAD_PINCH:
            return !view->zoomEnabled();
        case GDK_TOUCHPAD_SWIPE:
        case GDK_TOUCH_UPDATE:
            return !view->scrollEnabled();
        default:
            return FALSE;
    }
}

void GtkWebView::onClose(WebKitWebView*, gpointer self) {
    auto* view = static_cast<GtkWebView*>(self);
    if (auto delegate = view->uiDelegate()) delegate->webViewDidClose(*view);
}

GtkWebViewFactory::GtkWebViewFactory(NetworkSettings settings, std::string dataDirectory)
    : settings_(std::move(settings)) {
    if (dataDirectory.empty()) {
        context_ = newEphemeralContext();
    } else {
        // Private to the user, like the library's own store.
        g_mkdir_with_parents(dataDirectory.c_str(), 0700);
        const std::string data = dataDirectory + "/data";
        const std::string cache = dataDirectory + "/cache";
        context_ = newPersistentContext(data.c_str(), cache.c_str());
        const std::string cookies = dataDirectory + "/cookies.sqlite";
        webkit_cookie_manager_set_persistent_storage(cookieManagerOf(context_), cookies.c_str(),
                                                     WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
    }
    ScriptChannel::prepareContext(context_, kChannel);
    settings_.applyTo(context_);
}

GtkWebViewFactory::~GtkWebViewFactory() {
    g_object_unref(context_);
}

std::shared_ptr<WebViewConfiguration> GtkWebViewFactory::makeConfiguration() {
    auto configuration = std::make_shared<WebViewConfiguration>();
    configuration->userContentController = std::make_shared<HandlerTableContentController>();
    return configuration;
}

std::shared_ptr<GtkWebView> GtkWebViewFactory::adopt(WebKitWebView* merchantView) {
    if (merchantView == nullptr) return nullptr;
    // The frame-labelling module goes into the web processes the merchant's context starts from
    // now on; a process already running for the view has none (see the header).
    if (WebKitWebContext* context = webkit_web_view_get_context(merchantView);
        context != context_) {
        ScriptChannel::prepareContext(context, kChannel);
    }
    return std::make_shared<GtkWebView>(*this, makeConfiguration(), merchantView,
                                        GtkWebView::Adopted{});
}

std::shared_ptr<WebView> GtkWebViewFactory::makeWebView(
    std::shared_ptr<WebViewConfiguration> configuration) {
    if (!configuration) configuration = makeConfiguration();
    return std::make_shared<GtkWebView>(*this, std::move(configuration), opener_);
}

std::shared_ptr<WebView> GtkWebViewFactory::makeWebViewBeside(
    std::shared_ptr<WebViewConfiguration> configuration,
    const std::shared_ptr<WebView>& sameOrigin) {
    auto* peer = dynamic_cast<GtkWebView*>(sameOrigin.get());
    // A merchant's view lives in the merchant's context, with its own network and cookies.
    if (peer == nullptr || webkit_web_view_get_context(peer->widget()) != context_) {
        return makeWebView(std::move(configuration));
    }
    processPeer_ = peer->widget();
    auto view = makeWebView(std::move(configuration));
    processPeer_ = nullptr;
    return view;
}

}  // namespace tandri::gtk
