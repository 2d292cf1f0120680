#pragma once

// The web-view port on WebKitGTK. Every view of a factory lives in one
// WebKit context prepared with the frame-labelling script channel and the
// process's network settings; views made from one configuration share its
// content controller. Requests WebKit cannot make itself (a method other than
// GET, or a body) are sent natively and shown as their URL's page.

#include <map>
#include <memory>

#include "Platform/Gtk/HttpLoader.hpp"
#include "Platform/Gtk/WebKit.hpp"
#include "Platform/WebView.hpp"

namespace tandri::gtk {

class GtkWebViewFactory;

class GtkWebView : public WebView {
  public:
    GtkWebView(GtkWebViewFactory& factory, std::shared_ptr<WebViewConfiguration> configuration,
               WebKitWebView* related);
    /// Wraps a view the merchant made (see GtkWebViewFactory::adopt).
    struct Adopted {};
    GtkWebView(GtkWebViewFactory& factory, std::shared_ptr<WebViewConfiguration> configuration,
               WebKitWebView* merchantView, Adopted);
    ~GtkWebView() override;

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

    /// The engine's view, for placing it in a window.
    WebKitWebView* widget() const { return view_; }

  private:
    void attach();
    NavigationHandle begin();
    void loadFromInside(const std::string& url, const NavigationHandle& navigation);
    static void onLoadChanged(WebKitWebView*, WebKitLoadEvent event, gpointer self);
    static gboolean onLoadFailed(WebKitWebView*, WebKitLoadEvent event, char* uri, GError* error,
                                 gpointer self);
    static gboolean onDecidePolicy(WebKitWebView*, WebKitPolicyDecision* decision,
                                   WebKitPolicyDecisionType type, gpointer self);
    static GtkWidget* onCreate(WebKitWebView*, WebKitNavigationAction* action, gpointer self);
    static void onClose(WebKitWebView*, gpointer self);
    // Heard from the view itself on GTK 3, from a capture-phase controller on it on GTK 4.
    static gboolean onInputEvent(gpointer, GdkEvent* event, gpointer self);

    GtkWebViewFactory& factory_;
    std::shared_ptr<WebViewConfiguration> configuration_;
    WebKitWebView* view_ = nullptr;
    bool adopted_ = false;  // the merchant's view: only referenced, never destroyed
    gulong channel_ = 0;
#if TANDRI_GTK_MAJOR == 4
    GtkEventController* inputFilter_ = nullptr;  // owned by the view
#endif
    std::optional<std::string> customUserAgent_;
    NavigationHandle current_;
    bool committed_ = false;
    bool failed_ = false;
    bool ownLoadPending_ = false;  // a load of ours that has not started yet
    // Made for a page's window, and nothing loaded into it by us yet: its first load goes from
    // inside (see loadRequest).
    bool freshWindow_ = false;
};

class GtkWebViewFactory : public WebViewFactory {
  public:
    /// Must be made before any web view exists in the process. With a `dataDirectory` the pages'
    /// cookies, local storage and caches are kept there (cookies in "cookies.sqlite") and
    /// survive a restart; without one nothing is written to disk.
    explicit GtkWebViewFactory(NetworkSettings settings = {}, std::string dataDirectory = {});
    ~GtkWebViewFactory() override;

    std::shared_ptr<WebViewConfiguration> makeConfiguration() override;
    std::shared_ptr<WebView> makeWebView(
        std::shared_ptr<WebViewConfiguration> configuration) override;
    using WebViewFactory::makeWebView;
    /// Related in the engine to `sameOrigin` when it is one of this factory's own views: the new
    /// view starts in its web process but has its own settings and content manager.
    std::shared_ptr<WebView> makeWebViewBeside(std::shared_ptr<WebViewConfiguration> configuration,
                                               const std::shared_ptr<WebView>& sameOrigin) override;

    /// Wraps a view the merchant made itself, in the default context or one of its own, for the
    /// hybrid plugin: a configuration of its own (whose content controller hears the view's
    /// pages on the script channel, each post labelled with its frame), its new-window requests
    /// going to the wrapper's UI delegate, windows made for them related to it. The wrapper holds
    /// a reference to the view and nothing more: dropping it disconnects everything it
    /// connected and leaves the view to the merchant.
    ///
    /// Limits: the frame-labelling module is given to the view's context, so adopt before the
    /// view loads its first page (a web process already running for it has no channel; a later
    /// load in a new process does). It replaces a web-extensions directory the merchant set on
    /// that context. The factory's network settings and cookie store are not applied to the
    /// merchant's context: its pages and the windows they open load through the merchant's own.
    std::shared_ptr<GtkWebView> adopt(WebKitWebView* merchantView);

    WebKitWebContext* context() const { return context_; }
    const NetworkSettings& networkSettings() const { return settings_; }

  private:
    friend class GtkWebView;
    WebKitWebContext* context_ = nullptr;
    NetworkSettings settings_;
    WebKitWebView* opener_ = nullptr;       // set while a page's new window is being made
    WebKitWebView* processPeer_ = nullptr;  // set while a view is made beside another
    std::uint64_t nextNavigation_ = 1;
};

}  // namespace tandri::gtk
