// A bridge on a real WebKit view, talking to the sandbox checkout server over
// real https (through its own proxy, trusting its throw-away certificate).
// Frames from other origins post the same messages as the page; only the
// page and frames on the maker's domain are answered or stored.

#include <gio/gio.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "Core/Bridge/JSBridge.hpp"
#include "Core/Utils/URL.hpp"
#include "EngineFixture.hpp"
#include "Platform/Gtk/GtkMainQueue.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Platform.hpp"
#include "Platform/Simulated/SimulatedStorage.hpp"
#include "SandboxServer.hpp"
#include "tandri/Json.hpp"

namespace tandri {
namespace {

using namespace tandri::gtk;
using namespace tandri::gtk::testing;

struct BridgeEngineTest : ::testing::Test {
    static void SetUpTestSuite() { initToolkit(); }
    void SetUp() override {
        char pattern[] = "/tmp/tandri-engine-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        ASSERT_TRUE(sandbox.start(TANDRI_SOURCE_DIR, dir)) << "the sandbox server did not start";
        saved = Platform::current();
        Platform ports;
        ports.mainQueue = std::make_shared<GtkMainQueue>();
        factory = std::make_shared<GtkWebViewFactory>(NetworkSettings{
            sandbox.proxy,
            sandbox.leaf,
            {"checkout.tandri.test", "pay.tandri.test", "evil.test", "tandri.test"}});
        ports.webViews = factory;
        ports.keychain = keychain = std::make_shared<sim::SimulatedKeychain>();
        ports.userDefaults = defaults = std::make_shared<sim::SimulatedUserDefaults>();
        Platform::install(ports);
        savedDomain = makerDomain();
        setMakerDomain("tandri.test");
    }
    void TearDown() override {
        if (window != nullptr) destroyWindow(window);
        setMakerDomain(savedDomain);
        Platform::install(saved);
        std::system(("rm -rf " + dir).c_str());
    }

    std::string evaluate(const std::shared_ptr<WebView>& view, const std::string& script) {
        std::optional<std::string> out;
        view->evaluateJavaScript(script, [&](const std::optional<Value>& value,
                                             const std::optional<std::string>& error) {
            out = error ? "error: " + *error : (value ? json::write(*value) : "undefined");
        });
        spinUntil([&] { return out.has_value(); }, std::chrono::seconds(10));
        return out.value_or("timeout");
    }

    /// A view in a window of its own with a bridge that answers at "receive" and keeps values.
    std::pair<std::shared_ptr<WebView>, std::shared_ptr<JSBridge>> storageBridge() {
        auto view = factory->makeWebView();
        window = showInWindow(GTK_WIDGET(static_cast<GtkWebView&>(*view).widget()));
        auto bridge = JSBridge::create(view);
        bridge->messageHandlerPath = "receive";
        bridge->messageHandlers["get"] = JSBridge::onGet();
        bridge->messageHandlers["set"] = JSBridge::onSet();
        return {view, bridge};
    }

    std::string dir;
    std::string savedDomain;
    demo::SandboxServer sandbox;
    Platform saved;
    std::shared_ptr<GtkWebViewFactory> factory;
    std::shared_ptr<sim::SimulatedKeychain> keychain;
    std::shared_ptr<sim::SimulatedUserDefaults> defaults;
    GtkWidget* window = nullptr;
};

TEST_F(BridgeEngineTest, OnlyThePageAndFramesOnTheMakersDomainAreAnsweredOrStored) {
    auto [view, bridge] = storageBridge();

    const char* page = R"(<html><body><script>
        window.answers = [];
        window.framesPosted = [];
        function receive(r) { answers.push(r); }
        window.addEventListener('message', (e) => { if (e.data && e.data.frame) framesPosted.push(e.data.frame); });
        const ch = window.webkit.messageHandlers.tandriMessage;
        ch.postMessage({name:'set', id:'own-set', data:{key:'own', value:'mine'}});
        ch.postMessage({name:'get', id:'own-get', data:'own'});
        </script>
        <iframe src="https://evil.test/hostile/frame?label=evil"></iframe>
        <iframe src="https://pay.tandri.test/hostile/frame?label=sub"></iframe>
        <iframe src="http://checkout.tandri.test/hostile/frame?label=plain"></iframe>
        <iframe src="data:text/html,<script>window.webkit.messageHandlers.tandriMessage.postMessage({name:'set',id:'data-set',data:{key:'sandbox.hostile',value:'data'}});parent.postMessage({frame:'data'},'*')</script>"></iframe>
        </body></html>)";
    view->loadHTMLString(page, std::string("https://checkout.tandri.test/own"));

    auto answered = [&] { return evaluate(view, "JSON.stringify(answers.map(a => a.id))"); };
    // Every frame that loads has posted (each tells the page once it has; the plain-http one is
    // mixed content and may be blocked before it runs)...
    ASSERT_TRUE(spinUntil(
        [&] {
            return evaluate(view,
                            "String(['evil','sub','data'].every(f => framesPosted.includes(f)))") ==
                   "\"true\"";
        },
        std::chrono::seconds(30)))
        << evaluate(view, "JSON.stringify(framesPosted)");
    // ...and one more question from the page, answered after everything posted before it: the
    // frames' messages have all been taken or refused by then.
    evaluate(view, "ch.postMessage({name:'get', id:'last', data:'own'}), 'sent'");
    ASSERT_TRUE(spinUntil([&] { return answered().find("last") != std::string::npos; },
                          std::chrono::seconds(30)))
        << answered();
    evaluate(view, "answers = answers.filter(a => a.id !== 'last'), 'done'");
    auto ids = json::parse(json::parse(answered())->asString());
    std::set<std::string> seen;
    for (const auto& id : ids->asArray()) seen.insert(id.asString());
    EXPECT_EQ(seen, (std::set<std::string>{"own-set", "own-get", "sub-set", "sub-get"}));
    EXPECT_EQ(evaluate(view, "JSON.stringify(answers.find(a => a.id === 'own-get'))"),
              json::write(Value(R"({"id":"own-get","name":"result","data":"mine","error":null})")));
    EXPECT_EQ(json::write(*defaults->objectForKey("sandbox.hostile")), R"("sub")");

    // The refused frames really loaded: the server saw them asked for.
    std::optional<HttpResponse> requests;
    HttpRequest request;
    request.url = "https://checkout.tandri.test/__requests";
    HttpLoader::fetchForView(static_cast<GtkWebView&>(*view).widget(), request,
                             factory->networkSettings(),
                             [&](const HttpResponse& response) { requests = response; });
    ASSERT_TRUE(spinUntil([&] { return requests.has_value(); }, std::chrono::seconds(10)));
    EXPECT_EQ(requests->status, 200) << requests->error;
    EXPECT_NE(requests->body.find("/hostile/frame?label=evil"), std::string::npos);
    EXPECT_NE(requests->body.find("/hostile/frame?label=sub"), std::string::npos);
}

// An allowed frame inside a foreign page is refused: answers are evaluated in the top document,
// which here is the foreign page's.
TEST_F(BridgeEngineTest, AMakersFrameInsideAForeignPageIsRefused) {
    auto [view, bridge] = storageBridge();
    defaults->setObject("sandbox.hostile", Value("the person's token"));

    view->loadHTMLString(R"(<html><body><script>
        window.answers = []; window.framesPosted = [];
        function receive(r) { answers.push(r); }
        window.addEventListener('message', (e) => { if (e.data && e.data.frame) framesPosted.push(e.data.frame); });
        </script>
        <iframe src="https://pay.tandri.test/hostile/frame?label=sub"></iframe>
        </body></html>)",
                         std::string("https://evil.test/shop"));
    // The frame has posted once it tells its parent; an answer, had there been one, would be
    // evaluated in the page before a script asked for after it.
    ASSERT_TRUE(spinUntil(
        [&] { return evaluate(view, "String(framesPosted.includes('sub'))") == "\"true\""; },
        std::chrono::seconds(30)));
    while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
    EXPECT_EQ(evaluate(view, "JSON.stringify(answers)"), "\"[]\"");
    EXPECT_EQ(json::write(*defaults->objectForKey("sandbox.hostile")), R"("the person's token")");
}

// An answer that comes after its page has gone (a slow biometric check, say) is dropped: the
// next document in the view never reads it.
TEST_F(BridgeEngineTest, AnAnswerForADocumentThatHasGoneIsDropped) {
    auto [view, bridge] = storageBridge();
    std::vector<JSCompletion> parked;
    bridge->messageHandlers["slow"] = [&](const JSTandriMessage&, JSCompletion done) {
        parked.push_back(std::move(done));
    };
    bridge->messageHandlers["fast"] = [](const JSTandriMessage& message, JSCompletion done) {
        done(JSResult::success(Value("fast " + message.identifier())));
    };
    auto page = [](const std::string& name) {
        return "<html><body><script>window.answers = []; function receive(r) { answers.push(r.id"
               " + ':' + r.data); } var ch = window.webkit.messageHandlers.tandriMessage;"
               " document.title = '" +
               name + "';</script></body></html>";
    };
    auto showing = [&](const std::string& name) {
        return spinUntil(
            [&] {
                return evaluate(view, "document.title + ' ' + document.readyState") ==
                       "\"" + name + " complete\"";
            },
            std::chrono::seconds(20));
    };
    auto answers = [&] { return evaluate(view, "answers.join(',')"); };

    // Asked by the first page, answered once a second page shows: dropped. The same when the
    // page is loaded again.
    view->loadHTMLString(page("first"), std::string("https://checkout.tandri.test/first"));
    ASSERT_TRUE(showing("first"));
    evaluate(view, "ch.postMessage({name: 'slow', id: 'secret'}), 'sent'");
    ASSERT_TRUE(spinUntil([&] { return parked.size() == 1; }, std::chrono::seconds(20)));
    view->loadHTMLString(page("second"), std::string("https://checkout.tandri.test/second"));
    ASSERT_TRUE(showing("second"));
    evaluate(view, "ch.postMessage({name: 'slow', id: 'again'}), 'sent'");
    ASSERT_TRUE(spinUntil([&] { return parked.size() == 2; }, std::chrono::seconds(20)));
    // The same page again, at the same address: a new document all the same.
    evaluate(view, "window.before = 'again', 'marked'");
    view->loadHTMLString(page("second"), std::string("https://checkout.tandri.test/second"));
    ASSERT_TRUE(spinUntil(
        [&] {
            return evaluate(view,
                            "String(window.before) + ' ' + document.title + ' ' +"
                            " document.readyState") == "\"undefined second complete\"";
        },
        std::chrono::seconds(20)));
    parked[0](JSResult::success(Value("the token")));
    parked[1](JSResult::success(Value("the token")));

    // The page's own question after those answers is answered, and is all it ever got.
    evaluate(view, "ch.postMessage({name: 'fast', id: 'own'}), 'sent'");
    ASSERT_TRUE(spinUntil([&] { return answers() != "\"\""; }, std::chrono::seconds(20)));
    EXPECT_EQ(answers(), "\"own:fast own\"");
}

/// The engine's web processes this process has started and that are still running: its
/// descendants, as a sandboxed web process is started through the sandbox's launcher.
int webProcesses() {
    struct Process {
        long parent = 0;
        bool webProcess = false;
    };
    std::map<long, Process> processes;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream stat(entry.path() / "stat");
        std::string line;
        if (!std::getline(stat, line)) continue;
        // "pid (comm) state ppid ...": the name may hold blanks, the last ')' ends it.
        auto close = line.rfind(')');
        auto open = line.find('(');
        if (open == std::string::npos || close == std::string::npos) continue;
        std::istringstream rest(line.substr(close + 2));
        char state = 0;
        long parent = 0;
        rest >> state >> parent;
        processes[std::atol(line.c_str())] = {
            parent,
            state != 'Z' && line.substr(open + 1, close - open - 1).starts_with("WebKitWebProc")};
    }
    int count = 0;
    for (const auto& [pid, process] : processes) {
        if (!process.webProcess) continue;
        for (long up = process.parent; up > 1;) {
            if (up == getpid()) {
                ++count;
                break;
            }
            auto next = processes.find(up);
            up = next != processes.end() ? next->second.parent : 0;
        }
    }
    return count;
}

// A page's window into which the library loads a page of another site, as the hybrid checkout
// opens: the window still has its opener (an engine that moves cross-site pages into processes of
// their own cuts it on a load from outside), one history entry, and the opener hears it. The load
// comes while the window still shows its first empty document (of the opener's site), once the
// engine's own navigation has an answer, as the library's comes after its user agent is set.
TEST_F(BridgeEngineTest, AWindowThePageOpensKeepsItsOpenerWhenTheLibraryLoadsAnotherSite) {
    struct Windows : UIDelegate, NavigationDelegate {
        std::shared_ptr<GtkWebViewFactory> factory;
        std::weak_ptr<NavigationDelegate> self;
        std::shared_ptr<WebView> opened;
        URLRequest request;
        bool loaded = false;
        std::shared_ptr<WebView> webViewCreateWebView(
            WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
            const NavigationAction& action) override {
            opened = factory->makeWebView(configuration);
            opened->setNavigationDelegate(self);
            request = action.request;
            return opened;
        }
        void webViewDecidePolicyForNavigationResponse(
            WebView& view, const NavigationResponse&,
            std::function<void(NavigationResponsePolicy)> decision) override {
            if (loaded) return decision(NavigationResponsePolicy::Allow);
            loaded = true;
            decision(NavigationResponsePolicy::Cancel);
            view.loadRequest(request);
        }
    };
    auto windows = std::make_shared<Windows>();
    windows->factory = factory;
    windows->self = windows;
    auto [shop, bridge] = storageBridge();
    shop->setJavaScriptCanOpenWindowsAutomatically(true);
    shop->setUIDelegate(windows);
    shop->loadHTMLString(
        "<html><body><script>window.heard = [];"
        " addEventListener('message', function(e) { heard.push(e.origin + ' ' + e.data); });"
        " document.title = 'shop';</script></body></html>",
        std::string("https://evil.test/shop"));
    ASSERT_TRUE(spinUntil([&] { return evaluate(shop, "document.title") == "\"shop\""; },
                          std::chrono::seconds(20)));
    evaluate(shop, "window.open('https://checkout.tandri.test/hostile/frame'), ''");
    ASSERT_TRUE(spinUntil([&] { return windows->opened != nullptr; }, std::chrono::seconds(20)));
    auto opened = windows->opened;
    ASSERT_TRUE(spinUntil(
        [&] {
            return evaluate(opened, "location.host + ' ' + document.readyState") ==
                   "\"checkout.tandri.test complete\"";
        },
        std::chrono::seconds(30)));
    EXPECT_EQ(evaluate(opened, "[String(window.opener !== null), history.length].join()"),
              "\"true,1\"");
    evaluate(opened, "window.opener && window.opener.postMessage('paid', '*'), ''");
    ASSERT_TRUE(spinUntil([&] { return evaluate(shop, "heard.join()") != "\"\""; },
                          std::chrono::seconds(20)));
    EXPECT_EQ(evaluate(shop, "heard.join()"), "\"https://checkout.tandri.test paid\"");
}

TEST_F(BridgeEngineTest, AViewMadeBesideAnotherSharesItsProcessAndNothingItsPageCanSee) {
    auto [button, buttonBridge] = storageBridge();
    auto page = [](const std::string& name) {
        return "<html><body><script>document.title = '" + name + "';</script></body></html>";
    };
    auto showing = [&](const std::shared_ptr<WebView>& view, const std::string& name) {
        return spinUntil(
            [&] {
                return evaluate(view, "document.title + ' ' + document.readyState") ==
                       "\"" + name + " complete\"";
            },
            std::chrono::seconds(20));
    };
    button->loadHTMLString(page("button"), std::string("https://checkout.tandri.test/button"));
    ASSERT_TRUE(showing(button, "button"));
    evaluate(button, "sessionStorage.setItem('kept', 'by the button'); window.name = 'button'; ''");
    const std::string buttonAgent = evaluate(button, "navigator.userAgent");
    const int before = webProcesses();
    ASSERT_GE(before, 1);

    auto beside = factory->makeWebViewBeside(factory->makeConfiguration(), button);
    GtkWidget* second = showInWindow(GTK_WIDGET(static_cast<GtkWebView&>(*beside).widget()));
    beside->setCustomUserAgent("beside/1");
    auto bridge = JSBridge::create(beside);
    bridge->messageHandlerPath = "receive";
    bridge->messageHandlers["who"] = [](const JSTandriMessage& message, JSCompletion done) {
        done(JSResult::success(Value("beside " + message.identifier())));
    };
    beside->loadHTMLString(
        "<html><body><script>window.answers = []; function receive(r) { answers.push(r.data); }"
        " window.webkit.messageHandlers.tandriMessage.postMessage({name: 'who', id: '1'});"
        " document.title = 'pay';</script></body></html>",
        std::string("https://checkout.tandri.test/pay"));
    ASSERT_TRUE(showing(beside, "pay"));
    EXPECT_EQ(webProcesses(), before);
    // A document of its own: no history, opener, name or session storage from the button's,
    // its own user agent, its own channel.
    EXPECT_EQ(evaluate(beside,
                       "[history.length, String(window.opener), window.name,"
                       " String(sessionStorage.getItem('kept')), navigator.userAgent].join('|')"),
              "\"1|null||null|beside/1\"");
    // The button's next load still goes out with its own agent: the engine settings are apart.
    WebKitWebView* buttonView = static_cast<GtkWebView&>(*button).widget();
    WebKitWebView* besideView = static_cast<GtkWebView&>(*beside).widget();
    EXPECT_NE(webkit_web_view_get_settings(buttonView), webkit_web_view_get_settings(besideView));
    EXPECT_EQ(cookieManagerOf(besideView), cookieManagerOf(buttonView)) << "one cookie store";
    EXPECT_STRNE(webkit_settings_get_user_agent(webkit_web_view_get_settings(buttonView)),
                 "beside/1");
    button->reload();
    ASSERT_TRUE(showing(button, "button"));
    EXPECT_EQ(evaluate(button, "navigator.userAgent"), buttonAgent);
    ASSERT_TRUE(spinUntil([&] { return evaluate(beside, "answers.join()") != "\"\""; },
                          std::chrono::seconds(20)));
    EXPECT_EQ(evaluate(beside, "answers.join()"), "\"beside 1\"");

    // A view made the usual way starts a process of its own (so the count above can tell).
    auto own = factory->makeWebView();
    replaceWindowChild(second, GTK_WIDGET(static_cast<GtkWebView&>(*own).widget()));
    own->loadHTMLString(page("own"), std::string("https://checkout.tandri.test/own"));
    ASSERT_TRUE(showing(own, "own"));
    EXPECT_EQ(webProcesses(), before + 1);

    // A view of another context (a merchant's) lends nothing: the new one is in the library's.
    WebKitWebContext* merchants = newEphemeralContext();
    auto merchantView = factory->adopt(WEBKIT_WEB_VIEW(g_object_ref_sink(newWebView(merchants))));
    auto notBeside = factory->makeWebViewBeside(factory->makeConfiguration(), merchantView);
    EXPECT_EQ(webkit_web_view_get_context(static_cast<GtkWebView&>(*notBeside).widget()),
              factory->context());
    notBeside.reset();
    g_object_unref(merchantView->widget());
    merchantView.reset();
    g_object_unref(merchants);
    own.reset();  // before its window, which would take the engine's view with it
    destroyWindow(second);
}

}  // namespace
}  // namespace tandri
