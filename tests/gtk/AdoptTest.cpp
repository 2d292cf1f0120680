// The hybrid plugin on a web view the merchant made itself, in the engine's default context: its
// page is heard and answered, a foreign frame inside it is not, the window it opens is the
// plugin's checkout view related to it, and letting the wrapper go leaves the merchant's view as
// it was.

#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <map>
#include <set>
#include <string>

#include "Core/Views/ViewController.hpp"
#include "EngineFixture.hpp"
#include "Platform/Gtk/GtkMainQueue.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Platform.hpp"
#include "Platform/Simulated/SimulatedStorage.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"
#include "tandri/Json.hpp"

namespace tandri {
namespace {

using namespace tandri::gtk;
using namespace tandri::gtk::testing;

const std::map<std::string, std::string>& pages() {
    static const std::map<std::string, std::string> all = {
        {"/shop",
         "<script>window.answers = []; window.framesPosted = [];"
         "window.page = {rx: function(r) { answers.push(r); }};"
         "addEventListener('message', function(e) { framesPosted.push(e.data); });"
         "var ch = window.webkit.messageHandlers.tandriMessage;"
         "ch.postMessage({name: 'registerMessagePaths', id: '1', merchantMessagePath: 'page.rx'});"
         "ch.postMessage({name: 'set', id: '2', data: {key: 'k', value: 'mine'}});"
         "</script><iframe src='tandri-adopt://ads.example/frame'></iframe>"},
        {"/frame",
         "<script>var ch = window.webkit.messageHandlers.tandriMessage;"
         "ch.postMessage({name: 'set', id: 'ad-set', data: {key: 'k', value: 'planted'}});"
         "ch.postMessage({name: 'get', id: 'ad-get', data: 'k'});"
         "ch.postMessage({name: 'registerMessagePaths', id: 'ad-paths',"
         " merchantMessagePath: 'ad.rx'});"
         "parent.postMessage('ad', '*');</script>"},
        {"/checkout", "<p>checkout</p>"},
    };
    return all;
}

void serve(WebKitURISchemeRequest* request, gpointer) {
    const auto found = pages().find(webkit_uri_scheme_request_get_path(request));
    finishWithHTML(request, found != pages().end() ? found->second : "<p>none</p>");
}

/// The merchant's new-window callback, as a hybrid host writes it.
struct MerchantWindows : UIDelegate {
    std::shared_ptr<WebView> opened;
    std::shared_ptr<WebView> webViewCreateWebView(
        WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
        const NavigationAction& action) override {
        opened = TandriCheckoutPlugin::finishSetupWithRequest(action.request, configuration);
        return opened;
    }
};

TEST(GtkWebViewAdopt, TheMerchantsOwnViewCarriesThePluginAndIsLeftAsItWas) {
    initToolkit();
    Platform saved = Platform::current();
    Platform ports;
    ports.mainQueue = std::make_shared<GtkMainQueue>();
    auto factory = std::make_shared<GtkWebViewFactory>();
    ports.webViews = factory;
    auto defaults = std::make_shared<sim::SimulatedUserDefaults>();
    ports.userDefaults = defaults;
    ports.keychain = std::make_shared<sim::SimulatedKeychain>();
    Platform::install(ports);

    // The merchant's view, made the plain way, in the engine's default context.
    WebKitWebContext* own = webkit_web_context_get_default();
    webkit_web_context_register_uri_scheme(own, "tandri-adopt", serve, nullptr, nullptr);
    webkit_security_manager_register_uri_scheme_as_secure(
        webkit_web_context_get_security_manager(own), "tandri-adopt");
    GtkWidget* merchant = webkit_web_view_new();
    auto* merchantView = WEBKIT_WEB_VIEW(merchant);
    webkit_settings_set_javascript_can_open_windows_automatically(
        webkit_web_view_get_settings(merchantView), TRUE);
    GtkWidget* window = showInWindow(merchant);
    const unsigned listeners = inputListeners(merchant);

    auto wrapper = factory->adopt(merchantView);
    ASSERT_NE(wrapper, nullptr);
    EXPECT_EQ(wrapper->widget(), merchantView);
    EXPECT_GT(inputListeners(merchant), listeners) << "the scroll and zoom filter";
    auto windows = std::make_shared<MerchantWindows>();
    wrapper->setUIDelegate(windows);
    auto screen = std::make_shared<ViewController>();
    TandriCheckoutPlugin::configure(*wrapper->configuration()->userContentController, screen);

    webkit_web_view_load_uri(merchantView, "tandri-adopt://shop.example/shop");
    auto run = [&](WebView& view, const std::string& script) { return evaluate(view, script); };
    ASSERT_TRUE(spinUntil(
        [&] { return run(*wrapper, "String(window.framesPosted.indexOf('ad') >= 0)") == "true"; },
        std::chrono::seconds(20)));
    // One more question from the page, answered after everything posted before it.
    run(*wrapper, "ch.postMessage({name: 'get', id: 'last', data: 'k'}), 'sent'");
    ASSERT_TRUE(spinUntil(
        [&] {
            return run(*wrapper, "String(answers.some(function(a) { return a.id === 'last'; }))") ==
                   "true";
        },
        std::chrono::seconds(20)));
    EXPECT_EQ(run(*wrapper, "JSON.stringify(answers)"),
              R"([{"id":"1","name":"result","data":null,"error":null},)"
              R"({"id":"2","name":"result","data":null,"error":null},)"
              R"({"id":"last","name":"result","data":"mine","error":null}])");
    EXPECT_EQ(json::write(*defaults->objectForKey("k")), R"("mine")");

    // The page opens its checkout window: the plugin's view, related to the merchant's.
    run(*wrapper, "window.open('tandri-adopt://pay.example/checkout'), 'opened'");
    ASSERT_TRUE(spinUntil([&] { return windows->opened != nullptr; }, std::chrono::seconds(10)));
    auto* checkout = dynamic_cast<GtkWebView*>(windows->opened.get());
    ASSERT_NE(checkout, nullptr);
    EXPECT_EQ(webkit_web_view_get_context(checkout->widget()), own);
    // Related as the engine relates a page's windows: the opener's cookies and settings.
    EXPECT_EQ(cookieManagerOf(checkout->widget()), cookieManagerOf(merchantView));
    EXPECT_EQ(webkit_web_view_get_settings(checkout->widget()),
              webkit_web_view_get_settings(merchantView));
    EXPECT_EQ(run(*windows->opened, "String(window.opener !== null)"), "true");

    // Let go: nothing of the wrapper's stays connected, the view and its page are the merchant's.
    const guint message = g_signal_lookup("user-message-received", WEBKIT_TYPE_WEB_VIEW);
    const guint create = g_signal_lookup("create", WEBKIT_TYPE_WEB_VIEW);
    EXPECT_TRUE(g_signal_has_handler_pending(merchantView, message, 0, FALSE));
    windows->opened.reset();
    TandriCheckoutPlugin::main()->setPresentingViewController(nullptr);  // its bridge held it
    std::weak_ptr<GtkWebView> gone = wrapper;
    wrapper.reset();
    ASSERT_TRUE(gone.expired());
    EXPECT_FALSE(g_signal_has_handler_pending(merchantView, message, 0, FALSE));
    EXPECT_FALSE(g_signal_has_handler_pending(merchantView, create, 0, FALSE));
    EXPECT_EQ(inputListeners(merchant), listeners);
    EXPECT_EQ(gtk_widget_get_parent(merchant), window);
    EXPECT_STREQ(webkit_web_view_get_uri(merchantView), "tandri-adopt://shop.example/shop");

    destroyWindow(window);
    Platform::install(saved);
}

}  // namespace
}  // namespace tandri
