#include "Platform/Qt/QtWebView.hpp"

#include <sys/stat.h>

#include <QChildEvent>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QNetworkProxy>
#include <QSslCertificate>
#include <QTimer>
#include <QWebEngineCertificateError>
#include <QWebEngineHttpRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEngineNewWindowRequest>
#include <QWebEngineProfile>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineSettings>
#include <QWebEngineUrlRequestInterceptor>
#include <QWebEngineView>
#include <QWheelEvent>

#include "tandri/Json.hpp"

namespace tandri::qt {

namespace {

constexpr const char* kChannel = "tandriMessage";
constexpr const char* kUserAgentScript = "tandri-user-agent";

NavigationType navigationTypeOf(QWebEnginePage::NavigationType type) {
    switch (type) {
        case QWebEnginePage::NavigationTypeLinkClicked:
            return NavigationType::LinkActivated;
        case QWebEnginePage::NavigationTypeFormSubmitted:
            return NavigationType::FormSubmitted;
        case QWebEnginePage::NavigationTypeBackForward:
            return NavigationType::BackForward;
        case QWebEnginePage::NavigationTypeReload:
            return NavigationType::Reload;
        default:
            return NavigationType::Other;
    }
}

// A script's value as the core's Value: through JSON, as the engine hands it over as a QVariant.
std::optional<Value> valueOf(const QVariant& variant) {
    if (!variant.isValid()) return std::nullopt;
    const QJsonValue json = QJsonValue::fromVariant(variant);
    if (json.isUndefined()) return std::nullopt;
    const QByteArray text = QJsonDocument(QJsonArray{json}).toJson(QJsonDocument::Compact);
    auto array = json::parse(std::string_view(text.constData(), static_cast<size_t>(text.size())));
    if (!array || !array->isArray() || array->asArray().empty()) return std::nullopt;
    return array->asArray()[0];
}

}  // namespace

// Sends this page's requests, sub-resources and frames included, with the view's user agent.
class UserAgentInterceptor : public QWebEngineUrlRequestInterceptor {
  public:
    using QWebEngineUrlRequestInterceptor::QWebEngineUrlRequestInterceptor;
    QByteArray agent;
    void interceptRequest(QWebEngineUrlRequestInfo& info) override {
        if (!agent.isEmpty()) info.setHttpHeader("User-Agent", agent);
    }
};

bool CertificateTrust::trusts(const QUrl& url, const QByteArray& leafCertificateDer) const {
    if (leafDer.isEmpty() || leafCertificateDer != leafDer) return false;
    return std::find(hosts.begin(), hosts.end(), url.host().toStdString()) != hosts.end();
}

// Keeps the person's wheel and pinch from a view whose scrolling or zooming is off. The engine's
// widget takes input in a child it makes when first shown, so the filter follows the children.
class InputFilter : public QObject {
  public:
    InputFilter(QObject* parent, QtWebView* view) : QObject(parent), view_(view) {}
    QtWebView* view_;
    bool eventFilter(QObject* watched, QEvent* event) override {
        switch (event->type()) {
            case QEvent::ChildAdded:
                if (auto* child = static_cast<QChildEvent*>(event)->child();
                    child && child->isWidgetType()) {
                    child->installEventFilter(this);
                }
                return false;
            case QEvent::Wheel: {
                if (view_ == nullptr) return false;
                const bool zoom =
                    (static_cast<QWheelEvent*>(event)->modifiers() & Qt::ControlModifier) != 0;
                return zoom ? !view_->zoomEnabled() : !view_->scrollEnabled();
            }
            case QEvent::NativeGesture:
                return view_ != nullptr && !view_->zoomEnabled();
            default:
                (void)watched;
                return false;
        }
    }
};

namespace {

QMetaObject::Connection followTrust(QWebEnginePage* page,
                                    std::shared_ptr<const CertificateTrust> trust) {
    return QObject::connect(
        page, &QWebEnginePage::certificateError,
        [trust = std::move(trust)](const QWebEngineCertificateError& error) {
            QWebEngineCertificateError decision = error;
            const auto chain = decision.certificateChain();
            if (trust && !chain.isEmpty() && trust->trusts(decision.url(), chain.front().toDer())) {
                decision.acceptCertificate();
            } else {
                decision.rejectCertificate();
            }
        });
}

void installChannel(QWebEnginePage* page, const std::shared_ptr<ViewSlot>& slot) {
    ScriptChannel::install(page, kChannel, [slot](const ChannelPost& post) {
        if (slot->view != nullptr) slot->view->deliver(post);
    });
}

}  // namespace

Page::Page(QWebEngineProfile* profile, std::shared_ptr<const CertificateTrust> trust)
    : QWebEnginePage(profile) {
    installChannel(this, slot);
    followTrust(this, std::move(trust));
}

bool Page::acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) {
    if (!opening || !isMainFrame) return true;  // navigation actions have no policy of their own
    // The first navigation of a window a page opened: now the window's kind is known, and the
    // opener's UI delegate decides whether it opens at all.
    const Opening asked = *opening;
    opening.reset();
    QPointer<Page> self(this);
    auto opener = std::static_pointer_cast<QtWebView>(asked.opener.lock());
    const bool adopted =
        opener && opener->adoptWindow(this, url, asked.scriptOpened ? NavigationTypeOther : type);
    if (!adopted && self && self->view() == nullptr) deleteLater();
    return adopted;
}

QtWebView::QtWebView(QtWebViewFactory& factory, std::shared_ptr<WebViewConfiguration> configuration,
                     Page* page)
    : factory_(factory),
      profile_(factory.sharedProfile()),
      configuration_(std::move(configuration)) {
    if (page == nullptr) page = new Page(profile_.get(), factory.trust_);
    page_ = page;
    slot_ = page->slot;
    slot_->view = this;
    widget_ = new QWebEngineView;
    inputFilter_ = new InputFilter(widget_, this);
    widget_->installEventFilter(inputFilter_);
    page->setParent(widget_);
    widget_->setPage(page);
    interceptor_ = new UserAgentInterceptor(page);
    page->setUrlRequestInterceptor(interceptor_);
    page->settings()->setAttribute(
        QWebEngineSettings::JavascriptCanOpenWindows,
        configuration_->preferences.javaScriptCanOpenWindowsAutomatically);
    follow(page);
}

QtWebView::QtWebView(QtWebViewFactory& factory, std::shared_ptr<WebViewConfiguration> configuration,
                     QWebEngineView* merchantView, Adopted)
    : factory_(factory),
      profile_(factory.sharedProfile()),
      configuration_(std::move(configuration)),
      adopted_(true) {
    // References, not ownership: the merchant's view stays where the merchant put it.
    widget_ = merchantView;
    page_ = merchantView->page();
    slot_ = std::make_shared<ViewSlot>();
    slot_->view = this;
    installChannel(page_, slot_);
    connections_.push_back(followTrust(page_, factory.trust_));
    configuration_->preferences.javaScriptCanOpenWindowsAutomatically =
        page_->settings()->testAttribute(QWebEngineSettings::JavascriptCanOpenWindows);
    follow(page_);
}

void QtWebView::follow(QWebEnginePage* page) {
    connections_.push_back(
        QObject::connect(page, &QWebEnginePage::loadingChanged, page,
                         [this](const QWebEngineLoadingInfo& info) { onLoadingChanged(info); }));
    connections_.push_back(
        QObject::connect(page, &QWebEnginePage::newWindowRequested, page,
                         [this](QWebEngineNewWindowRequest& request) { onNewWindow(request); }));
    connections_.push_back(
        QObject::connect(page, &QWebEnginePage::windowCloseRequested, page, [this] {
            if (auto delegate = uiDelegate()) delegate->webViewDidClose(*this);
        }));
}

QtWebView::~QtWebView() {
    // A view kept by a process-wide holder goes after the application: Qt's objects are gone
    // with it, and the process is ending.
    if (QCoreApplication::instance() == nullptr) return;
    // The engine may be inside one of the page's own calls (a window being adopted): the page
    // and its widget go once it has returned, and hear nothing of this view meanwhile.
    if (inputFilter_) static_cast<InputFilter*>(inputFilter_.data())->view_ = nullptr;
    slot_->view = nullptr;
    for (const auto& connection : connections_) QObject::disconnect(connection);
    if (adopted_) {
        // The merchant's page goes on without the library: its scripts and channel come off.
        if (page_) {
            ScriptChannel::uninstall(page_);
            if (interceptor_ != nullptr) page_->setUrlRequestInterceptor(nullptr);
            delete interceptor_;
        }
        return;
    }
    if (widget_) {
        widget_->hide();
        if (widget_->parentWidget() != nullptr) widget_->setParent(nullptr);
        widget_->deleteLater();
    }
}

void QtWebView::deliver(const ChannelPost& post) {
    auto* controller =
        dynamic_cast<HandlerTableContentController*>(configuration_->userContentController.get());
    // A post that cannot say which top document it came from is not heard.
    if (controller == nullptr || post.topDocument.empty()) return;
    controller->deliver({kChannel, json::parse(post.bodyJson),
                         std::static_pointer_cast<WebView>(shared_from_this()), post.frameUrl,
                         post.mainFrame, post.topUrl, post.topDocument});
}

void QtWebView::evaluateJavaScript(const std::string& script, EvaluationCompletion completion) {
    if (!page_) {
        if (completion) completion(std::nullopt, std::string("the page is gone"));
        return;
    }
    page_->runJavaScript(QString::fromStdString(script), QWebEngineScript::MainWorld,
                         [completion = std::move(completion)](const QVariant& value) {
                             if (completion) completion(valueOf(value), std::nullopt);
                         });
}

void QtWebView::evaluateJavaScriptInDocument(const std::string& script, const std::string& document,
                                             EvaluationCompletion completion) {
    if (document.empty()) {
        evaluateJavaScript(script, std::move(completion));
        return;
    }
    if (!page_) {
        if (completion) completion(std::nullopt, std::string(kDocumentGone));
        return;
    }
    ScriptChannel::evaluateInDocument(
        page_, document, script,
        [completion = std::move(completion)](bool ran, const QVariant& value) {
            if (!completion) return;
            if (!ran) {
                completion(std::nullopt, std::string(kDocumentGone));
                return;
            }
            completion(valueOf(value), std::nullopt);
        });
}

std::optional<std::string> QtWebView::url() const {
    if (!page_) return std::nullopt;
    const QUrl shown = page_->url();
    // An HTML string is loaded as data behind the scenes; its document's URL is the base URL.
    if (htmlBaseURL_ && (shown.isEmpty() || shown.scheme() == QLatin1String("data"))) {
        return htmlBaseURL_;
    }
    if (shown.isEmpty()) return std::nullopt;
    return shown.toString(QUrl::FullyEncoded).toStdString();
}

void QtWebView::setCustomUserAgent(std::optional<std::string> userAgent) {
    customUserAgent_ = std::move(userAgent);
    if (!page_) return;
    if (interceptor_ == nullptr) {
        interceptor_ = new UserAgentInterceptor(page_);
        page_->setUrlRequestInterceptor(interceptor_);
    }
    interceptor_->agent =
        customUserAgent_ ? QByteArray::fromStdString(*customUserAgent_) : QByteArray();
    // Requests carry the agent from the interceptor; scripts read it from navigator, which the
    // engine fills from its profile, so each document of this page is told the same, from its
    // next document on.
    QWebEngineScriptCollection& scripts = page_->scripts();
    for (const QWebEngineScript& old : scripts.find(QString::fromLatin1(kUserAgentScript))) {
        scripts.remove(old);
    }
    if (!customUserAgent_) return;
    QWebEngineScript script;
    script.setName(QString::fromLatin1(kUserAgentScript));
    script.setWorldId(QWebEngineScript::MainWorld);
    script.setInjectionPoint(QWebEngineScript::DocumentCreation);
    script.setRunsOnSubFrames(true);
    script.setSourceCode(QString::fromStdString(
        "(function (agent) { Object.defineProperty(Navigator.prototype, 'userAgent',"
        " {get: function userAgent() { return agent; }, configurable: true, enumerable: true});"
        " })(" +
        json::write(Value(*customUserAgent_)).value_or("\"\"") + ");"));
    scripts.insert(script);
}

void QtWebView::setJavaScriptCanOpenWindowsAutomatically(bool on) {
    WebView::setJavaScriptCanOpenWindowsAutomatically(on);
    if (page_) page_->settings()->setAttribute(QWebEngineSettings::JavascriptCanOpenWindows, on);
}

NavigationHandle QtWebView::begin() {
    auto navigation = std::make_shared<Navigation>();
    navigation->id = factory_.nextNavigation_++;
    pending_ = navigation;
    return navigation;
}

void QtWebView::failLater(const NavigationHandle& navigation, const std::string& error) {
    std::weak_ptr<WebView> weak = weak_from_this();
    QTimer::singleShot(0, [weak, navigation, error] {
        auto view = std::static_pointer_cast<QtWebView>(weak.lock());
        if (!view) return;
        if (view->pending_ == navigation) view->pending_.reset();
        if (auto delegate = view->navigationDelegate()) {
            delegate->webViewDidFailProvisionalNavigation(*view, navigation, error);
        }
    });
}

NavigationHandle QtWebView::loadRequest(const URLRequest& request) {
    NavigationHandle navigation = begin();
    htmlBaseURL_.reset();
    if (!page_) {
        failLater(navigation, "the page is gone");
        return navigation;
    }
    // The engine sends GET without a body and POST with one; any other method (a lower-case
    // "post" included) cannot go out as built, so it does not go out at all.
    const bool get = request.method == "GET" && !request.body;
    const bool post = request.method == "POST";
    if (!get && !post) {
        failLater(navigation, "The request method \"" + request.method +
                                  "\" cannot be sent by this web engine");
        return navigation;
    }
    QWebEngineHttpRequest http(QUrl(QString::fromStdString(request.url)),
                               post ? QWebEngineHttpRequest::Post : QWebEngineHttpRequest::Get);
    for (const auto& [name, value] : request.headers) {
        const QByteArray field = QByteArray::fromStdString(name);
        // Repeated fields are joined as the platforms' requests join them.
        const QByteArray joined = http.hasHeader(field)
                                      ? http.header(field) + ", " + QByteArray::fromStdString(value)
                                      : QByteArray::fromStdString(value);
        http.setHeader(field, joined);
    }
    if (post && request.body) http.setPostData(QByteArray::fromStdString(*request.body));
    page_->load(http);
    return navigation;
}

NavigationHandle QtWebView::loadHTMLString(const std::string& html,
                                           const std::optional<std::string>& baseURL) {
    NavigationHandle navigation = begin();
    if (!page_) {
        failLater(navigation, "the page is gone");
        return navigation;
    }
    htmlBaseURL_ = baseURL;
    page_->setHtml(QString::fromStdString(html),
                   baseURL ? QUrl(QString::fromStdString(*baseURL)) : QUrl());
    return navigation;
}

NavigationHandle QtWebView::reload() {
    NavigationHandle navigation = begin();
    if (page_) {
        page_->triggerAction(QWebEnginePage::Reload);
    } else {
        failLater(navigation, "the page is gone");
    }
    return navigation;
}

void QtWebView::respond(const NavigationHandle& navigation, const std::string& url, int status) {
    auto delegate = navigationDelegate();
    if (!delegate) return;
    std::weak_ptr<WebView> weak = weak_from_this();
    // The engine has no say before a response is shown: it is asked once the main resource has
    // come, and a refusal makes the load a failed one.
    delegate->webViewDecidePolicyForNavigationResponse(
        *this, NavigationResponse{url, status, true},
        [weak, navigation](NavigationResponsePolicy policy) {
            auto view = std::static_pointer_cast<QtWebView>(weak.lock());
            if (!view || view->current_ != navigation) return;  // superseded meanwhile
            auto d = view->navigationDelegate();
            if (!d) return;
            if (policy == NavigationResponsePolicy::Allow) {
                d->webViewDidFinishNavigation(*view, navigation);
            } else {
                view->page_->triggerAction(QWebEnginePage::Stop);
                d->webViewDidFailProvisionalNavigation(*view, navigation, "Frame load interrupted");
            }
        });
}

void QtWebView::onLoadingChanged(const QWebEngineLoadingInfo& info) {
    if (info.status() == QWebEngineLoadingInfo::LoadStartedStatus) {
        if (pending_) {
            current_ = std::exchange(pending_, nullptr);
        } else {
            // A navigation the page began itself gets a handle of its own.
            auto navigation = std::make_shared<Navigation>();
            navigation->id = factory_.nextNavigation_++;
            current_ = navigation;
            htmlBaseURL_.reset();
        }
        if (auto delegate = navigationDelegate()) {
            delegate->webViewDidStartProvisionalNavigation(*this, current_);
        }
        return;
    }
    if (!current_) return;
    const NavigationHandle navigation = current_;
    const bool httpStatus = info.errorDomain() == QWebEngineLoadingInfo::HttpStatusCodeDomain;
    const std::string url = info.url().toString(QUrl::FullyEncoded).toStdString();
    switch (info.status()) {
        case QWebEngineLoadingInfo::LoadSucceededStatus:
            respond(navigation, htmlBaseURL_.value_or(url), httpStatus ? info.errorCode() : 0);
            return;
        case QWebEngineLoadingInfo::LoadFailedStatus:
            if (httpStatus) {
                // An HTTP error status: the engine shows the response; the delegate decides
                // whether it counts.
                respond(navigation, url, info.errorCode());
                return;
            }
            break;
        default:
            break;
    }
    if (auto delegate = navigationDelegate()) {
        const std::string error = info.status() == QWebEngineLoadingInfo::LoadStoppedStatus
                                      ? std::string("Load request cancelled")
                                      : info.errorString().toStdString();
        delegate->webViewDidFailProvisionalNavigation(*this, navigation, error);
    }
}

void QtWebView::onNewWindow(QWebEngineNewWindowRequest& request) {
    if (!uiDelegate()) return;  // no window
    auto* page = new Page(profile_.get(), factory_.trust_);
    // A window with features is one a script opened (the channel's `window.open` always asks
    // for one); a link into a new window or tab opens a tab.
    const auto destination = request.destination();
    page->opening =
        Page::Opening{weak_from_this(), destination == QWebEngineNewWindowRequest::InNewDialog ||
                                            destination == QWebEngineNewWindowRequest::InNewWindow};
    request.openIn(page);
    const QUrl url = request.requestedUrl();
    if (url.isEmpty() || url.toString() == QLatin1String("about:blank")) {
        // No navigation follows: the window is the script's, decided now.
        page->opening.reset();
        if (!adoptWindow(page, url, QWebEnginePage::NavigationTypeOther) &&
            page->view() == nullptr) {
            page->deleteLater();
        }
    }
}

bool QtWebView::adoptWindow(Page* page, const QUrl& url, QWebEnginePage::NavigationType type) {
    auto delegate = uiDelegate();
    if (!delegate) return false;
    NavigationAction action;
    action.request.url = url.toString(QUrl::FullyEncoded).toStdString();
    action.navigationType = navigationTypeOf(type);
    action.targetsMainFrame = false;
    // Windows a page opens share its channels.
    auto configuration = std::make_shared<WebViewConfiguration>(*configuration_);
    factory_.windowPage_ = page;
    auto created = delegate->webViewCreateWebView(*this, configuration, action);
    factory_.windowPage_ = nullptr;
    auto* view = dynamic_cast<QtWebView*>(created.get());
    return view != nullptr && view->page_ == page;
}

QtWebViewFactory::QtWebViewFactory(NetworkSettings settings, std::string dataDirectory)
    : settings_(std::move(settings)) {
    if (!settings_.proxyUri.empty()) {
        const QUrl proxy(QString::fromStdString(settings_.proxyUri));
        QNetworkProxy::setApplicationProxy(
            QNetworkProxy(QNetworkProxy::HttpProxy, proxy.host(), proxy.port(8080)));
    }
    auto trust = std::make_shared<CertificateTrust>();
    trust->hosts = settings_.trustedHosts;
    if (!settings_.trustedCertificateFile.empty()) {
        const auto certificates = QSslCertificate::fromPath(
            QString::fromStdString(settings_.trustedCertificateFile), QSsl::Pem);
        if (!certificates.isEmpty()) trust->leafDer = certificates.front().toDer();
    }
    trust_ = std::move(trust);
    QWebEngineProfile* profile = nullptr;
    if (dataDirectory.empty()) {
        profile = new QWebEngineProfile;  // off the record: nothing on disk
    } else {
        // Private to the user, like the library's own store.
        QDir().mkpath(QString::fromStdString(dataDirectory));
        ::chmod(dataDirectory.c_str(), 0700);
        const QString directory = QString::fromStdString(dataDirectory);
        // One name per directory: two factories on two directories never share a store.
        const QString name = QStringLiteral("tandri-") +
                             QString::fromLatin1(QCryptographicHash::hash(directory.toUtf8(),
                                                                          QCryptographicHash::Sha1)
                                                     .toHex()
                                                     .left(16));
        profile = new QWebEngineProfile(name);
        profile->setPersistentStoragePath(directory + QStringLiteral("/data"));
        profile->setCachePath(directory + QStringLiteral("/cache"));
        profile->setPersistentCookiesPolicy(QWebEngineProfile::ForcePersistentCookies);
    }
    // Pages must go before their profile: every view keeps it until its page has gone.
    profile_ =
        std::shared_ptr<QWebEngineProfile>(profile, [](QWebEngineProfile* p) { p->deleteLater(); });
}

QtWebViewFactory::~QtWebViewFactory() = default;

std::shared_ptr<QtWebView> QtWebViewFactory::adopt(QWebEngineView* merchantView) {
    if (merchantView == nullptr) return nullptr;
    return std::make_shared<QtWebView>(*this, makeConfiguration(), merchantView,
                                       QtWebView::Adopted{});
}

std::shared_ptr<WebViewConfiguration> QtWebViewFactory::makeConfiguration() {
    auto configuration = std::make_shared<WebViewConfiguration>();
    configuration->userContentController = std::make_shared<HandlerTableContentController>();
    return configuration;
}

std::shared_ptr<WebView> QtWebViewFactory::makeWebView(
    std::shared_ptr<WebViewConfiguration> configuration) {
    if (!configuration) configuration = makeConfiguration();
    Page* page = std::exchange(windowPage_, nullptr);
    return std::make_shared<QtWebView>(*this, std::move(configuration), page);
}

}  // namespace tandri::qt
