#pragma once

// The web-view port on Qt WebEngine. Every view of a factory lives in one profile (its cookie
// store, storage and caches) and carries the frame-labelling script channel; views made from one
// configuration share its content controller. Requests go out exactly as built: method, headers
// and body, through the engine itself.

#include <QPointer>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Qt/ScriptChannel.hpp"
#include "Platform/WebView.hpp"

class QWebEngineProfile;
class QWebEngineNewWindowRequest;
class QWebEngineLoadingInfo;

namespace tandri::qt {

class QtWebViewFactory;
class QtWebView;
class UserAgentInterceptor;

// How this process reaches the network: one proxy and one extra trusted certificate (for a
// local test server). The proxy is the application's (Qt WebEngine has no other): it applies to
// every profile of the process.
struct NetworkSettings {
    std::string proxyUri;                   // http://host:port; empty: the system's settings
    std::string trustedCertificateFile;     // PEM; empty: the system's trust only
    std::vector<std::string> trustedHosts;  // hosts the certificate is trusted for
};

// Which certificate the engine may accept beyond the system's trust, and for which hosts.
struct CertificateTrust {
    QByteArray leafDer;
    std::vector<std::string> hosts;
    bool trusts(const QUrl& url, const QByteArray& leafCertificateDer) const;
};

// Which view a page's channel delivers to: none once the view has gone (the page may outlive it
// a little, or, a merchant's, for good).
struct ViewSlot {
    QtWebView* view = nullptr;
};

// A page of ours: knows its view, answers the engine's questions through it.
class Page : public QWebEnginePage {
  public:
    Page(QWebEngineProfile* profile, std::shared_ptr<const CertificateTrust> trust);
    QtWebView* view() const { return slot->view; }
    std::shared_ptr<ViewSlot> slot = std::make_shared<ViewSlot>();
    /// Set on a page made for a window another page asked for, until its first navigation says
    /// how the window was opened.
    struct Opening {
        std::weak_ptr<WebView> opener;
        bool scriptOpened = false;
    };
    std::optional<Opening> opening;

  protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;
};

class QtWebView : public WebView {
  public:
    /// `page` is a page the engine already opened a window in (see QtWebViewFactory); null for
    /// a new one.
    QtWebView(QtWebViewFactory& factory, std::shared_ptr<WebViewConfiguration> configuration,
              Page* page);
    /// Wraps a view the merchant made (see QtWebViewFactory::adopt).
    struct Adopted {};
    QtWebView(QtWebViewFactory& factory, std::shared_ptr<WebViewConfiguration> configuration,
              QWebEngineView* merchantView, Adopted);
    ~QtWebView() override;

    const std::shared_ptr<WebViewConfiguration>& configuration() const override {
        return configuration_;
    }
    void evaluateJavaScript(const std::string& script, EvaluationCompletion completion) override;
    void evaluateJavaScriptInDocument(const std::string& script, const std::string& document,
                                      EvaluationCompletion completion) override;
    std::optional<std::string> url() const override;
    std::optional<std::string> customUserAgent() const override { return customUserAgent_; }
    void setCustomUserAgent(std::optional<std::string> userAgent) override;
    void setJavaScriptCanOpenWindowsAutomatically(bool on) override;
    NavigationHandle loadRequest(const URLRequest& request) override;
    NavigationHandle loadHTMLString(const std::string& html,
                                    const std::optional<std::string>& baseURL) override;
    NavigationHandle reload() override;

    /// The widget, for placing it in a window. It belongs to this view (unless adopted): it goes
    /// when the view goes, wherever the host put it.
    QWebEngineView* widget() const { return widget_; }
    QWebEnginePage* page() const { return page_; }

    /// Hands a post of the page's channel to the configuration's content controller.
    void deliver(const ChannelPost& post);

  private:
    friend class Page;
    NavigationHandle begin();
    void follow(QWebEnginePage* page);
    void onLoadingChanged(const QWebEngineLoadingInfo& info);
    void onNewWindow(QWebEngineNewWindowRequest& request);
    /// Asks the UI delegate for a view for the window `page` was opened in; false when it gives
    /// none (the page is then dropped).
    bool adoptWindow(Page* page, const QUrl& url, QWebEnginePage::NavigationType type);
    void respond(const NavigationHandle& navigation, const std::string& url, int status);
    void failLater(const NavigationHandle& navigation, const std::string& error);

    QtWebViewFactory& factory_;
    std::shared_ptr<QWebEngineProfile> profile_;  // outlives the page
    std::shared_ptr<WebViewConfiguration> configuration_;
    QPointer<QWebEngineView> widget_;
    QPointer<QWebEnginePage> page_;
    bool adopted_ = false;  // the merchant's view and page: only followed, never destroyed
    std::shared_ptr<ViewSlot> slot_;
    std::vector<QMetaObject::Connection> connections_;
    UserAgentInterceptor* interceptor_ = nullptr;  // owned by the page
    QPointer<QObject> inputFilter_;                // owned by the widget
    std::optional<std::string> customUserAgent_;
    std::optional<std::string> htmlBaseURL_;  // the URL a loaded HTML string is shown at
    NavigationHandle current_;                // the load under way or last ended
    NavigationHandle pending_;                // a load of ours the engine has not started yet
};

class QtWebViewFactory : public WebViewFactory {
  public:
    /// With a `dataDirectory` the pages' cookies, local storage and caches are kept there and
    /// survive a restart; without one nothing is written to disk.
    explicit QtWebViewFactory(NetworkSettings settings = {}, std::string dataDirectory = {});
    ~QtWebViewFactory() override;

    std::shared_ptr<WebViewConfiguration> makeConfiguration() override;
    std::shared_ptr<WebView> makeWebView(
        std::shared_ptr<WebViewConfiguration> configuration) override;
    using WebViewFactory::makeWebView;

    /// Wraps a view the merchant made itself, for the hybrid plugin: a configuration of its own
    /// whose content controller hears the view's pages on the script channel, each post labelled
    /// with its frame; its new windows go to the wrapper's UI delegate. Adopt before the view
    /// loads its page (the channel's scripts start with the next document). The merchant's page
    /// gets the factory's certificate trust, and its web channel is the library's from then on
    /// (a page has one). Dropping the wrapper takes the library's scripts, channel and signals
    /// off the page and leaves the view to the merchant.
    std::shared_ptr<QtWebView> adopt(QWebEngineView* merchantView);

    QWebEngineProfile* profile() const { return profile_.get(); }
    const std::shared_ptr<QWebEngineProfile>& sharedProfile() const { return profile_; }
    const NetworkSettings& networkSettings() const { return settings_; }

  private:
    friend class QtWebView;
    friend class Page;
    std::shared_ptr<QWebEngineProfile> profile_;
    NetworkSettings settings_;
    std::shared_ptr<const CertificateTrust> trust_;
    Page* windowPage_ = nullptr;  // set while a view is made for a window the engine opened
    std::uint64_t nextNavigation_ = 1;
};

}  // namespace tandri::qt
