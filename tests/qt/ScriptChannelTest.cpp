// Which frame a post came from is exactly what the origin check rests on. Here the channel's
// messages are recorded raw, as the core would receive them, from pages that try to pass for
// someone else.

#include "EngineFixture.hpp"
#include "Platform/Qt/ScriptChannel.hpp"

namespace tandri::qt {
namespace {

using namespace testing;

const std::string kKey = std::string("'") + ScriptChannel::kEnvelopeKey + "'";

struct ScriptChannelTest : EngineFixture, UIDelegate {
    std::shared_ptr<QtWebView> recordedView() {
        auto configuration = factory->makeConfiguration();
        configuration->userContentController->addScriptMessageHandler(recorder, "tandriMessage");
        auto view = shownView(configuration);
        view->setUIDelegate(std::shared_ptr<UIDelegate>(shared_from_this_, this));
        view->setJavaScriptCanOpenWindowsAutomatically(true);
        return view;
    }
    // Windows pages open: a shown view of their own, with the opener's channels.
    std::shared_ptr<WebView> webViewCreateWebView(
        WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
        const NavigationAction& action) override {
        actions.push_back(action);
        // As the checkout does: links and forms into new windows are not opened here.
        if (action.navigationType != NavigationType::Other) return nullptr;
        auto view = std::static_pointer_cast<QtWebView>(factory->makeWebView(configuration));
        show(*view);
        views.push_back(view);
        return view;
    }
    std::shared_ptr<void> shared_from_this_ = std::make_shared<int>();
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    std::vector<NavigationAction> actions;
};

TEST_F(ScriptChannelTest, PostsAreLabelledByTheBrowserAndForgeriesNeverArrive) {
    auto view = recordedView();
    view->loadHTMLString(R"(<html><body><script>
        window.leaked = [];
        window.framesPosted = [];
        addEventListener('message', (e) => {
          if (e.data && e.data.frame) framesPosted.push(e.data.frame); else leaked.push(e.data);
        }, true);
        const KEY = )" + kKey +
                             R"(;
        const ch = window.webkit.messageHandlers.tandriMessage;
        ch.postMessage({id: 'own'});
        function forge() {
          // An event the page makes itself, claiming a maker's frame as its sender.
          const forged = {}; forged[KEY] = {id: 'forged'};
          dispatchEvent(new MessageEvent('message',
              {data: forged, origin: 'https://checkout.tandri.test', source: frames[0]}));
          // The page's own built-ins lie about every message from now on.
          Object.defineProperty(MessageEvent.prototype, 'origin',
              {get() { return 'https://checkout.tandri.test'; }});
          Object.defineProperty(MessageEvent.prototype, 'source', {get() { return frames[0]; }});
          Object.defineProperty(Event.prototype, 'isTrusted', {get() { return true; }});
          ch.postMessage({id: 'after-override'});
          // The envelope posted by hand is the page's own post, labelled as such.
          const direct = {}; direct[KEY] = {id: 'direct'};
          postMessage(direct, '*');
          ch.postMessage({id: 'last'});
          return 'forged';
        }
        </script>
        <iframe src="https://pay.tandri.test/hostile/frame?label=maker"></iframe>
        <iframe sandbox="allow-scripts" src="https://pay.tandri.test/hostile/frame?label=sandboxed"></iframe>
        <iframe src="data:text/html,<script>window.webkit.messageHandlers.tandriMessage.postMessage({id:'data'});parent.postMessage({frame:'data'},'*')</script>"></iframe>
        </body></html>)",
                         std::string("https://evil.test/forge"));
    ASSERT_TRUE(spinUntil([&] {
        return evaluate(
                   *view,
                   "String(['maker','sandboxed','data'].every(f => framesPosted.includes(f)))") ==
               "\"true\"";
    })) << evaluate(*view, "JSON.stringify(framesPosted)");
    EXPECT_EQ(evaluate(*view, "forge()"), "\"forged\"");
    ASSERT_TRUE(spinUntil([&] {
        return !recorder->messages.empty() && recorder->messages.back().body &&
               json::write(*recorder->messages.back().body) == R"({"id":"last"})";
    })) << ::testing::PrintToString(recorder->lines());

    const auto arrived = recorder->lines();
    std::multiset<std::string> lines(arrived.begin(), arrived.end());
    const std::string sub = " (sub) top=https://evil.test/forge";
    EXPECT_EQ(
        lines,
        (std::multiset<std::string>{
            R"({"id":"own"} @ https://evil.test/forge (main))",
            R"({"name":"set","id":"maker-set","data":{"key":"sandbox.hostile","value":"maker"}} @ https://pay.tandri.test/)" +
                sub,
            R"({"name":"get","id":"maker-get","data":"sandbox.hostile"} @ https://pay.tandri.test/)" +
                sub,
            R"({"name":"set","id":"sandboxed-set","data":{"key":"sandbox.hostile","value":"sandboxed"}} @ )" +
                sub,
            R"({"name":"get","id":"sandboxed-get","data":"sandbox.hostile"} @ )" + sub,
            R"({"id":"data"} @ )" + sub,
            R"({"id":"after-override"} @ https://evil.test/forge (main))",
            R"({"id":"direct"} @ https://evil.test/forge (main))",
            R"({"id":"last"} @ https://evil.test/forge (main))"}));
    for (const auto& message : recorder->messages) {
        EXPECT_EQ(message.webView.lock(), view);
        EXPECT_FALSE(message.document.empty());
        EXPECT_EQ(message.document, recorder->messages.front().document);
    }
    // No listener of the page saw a post on its way to native code.
    EXPECT_EQ(evaluate(*view, "JSON.stringify(leaked)"), "\"[]\"");
}

TEST_F(ScriptChannelTest, AKeptFunctionSpeaksForNoLaterDocumentAndAPopupNotForItsOpener) {
    memory.pages = {
        {"/opener",
         "<script>var w = null; function openIt() { w = window.open('" + std::string(kTestScheme) +
             "://maker.example/popup'); return 'opened'; }"
             "function handOver() { w.kept = window.webkit.messageHandlers.tandriMessage;"
             " return 'handed'; }</script><p>opener</p>"},
        {"/popup",
         "<script>const KEY = " + kKey +
             ";"
             "function own() { window.webkit.messageHandlers.tandriMessage.postMessage({id: "
             "'popup-own'}); return 'said'; }"
             "function toOpener() { const e = {}; e[KEY] = {id: 'to-opener'};"
             " opener.postMessage(e, '*'); return 'posted'; }"
             "function stale() { kept.postMessage({id: 'stale'}); return 'sent'; }"
             "</script><p>popup</p>"},
        {"/next",
         "<script>document.title = 'next'; function last() {"
         " window.webkit.messageHandlers.tandriMessage.postMessage({id: 'last'}); return 'last'; }"
         "</script>"},
        {"/frames",
         "<iframe id='f' src='/child'></iframe><script>var kept = null;"
         "function keep() { kept = document.getElementById('f').contentWindow.webkit"
         ".messageHandlers.tandriMessage; kept.postMessage({id: 'child-kept'}); return 'kept'; }"
         "function away() { document.getElementById('f').src = '/static'; return 'away'; }"
         "function replay() { try { kept.postMessage({id: 'child-stale'}); return 'sent'; }"
         " catch (e) { return 'threw ' + e; } }"
         "function last() { window.webkit.messageHandlers.tandriMessage.postMessage({id: 'last'});"
         " return 'last'; }</script>"},
        {"/child", "<p>child</p>"},
        {"/static", "<p>static</p>"},
    };
    const std::string host = std::string(kTestScheme) + "://maker.example";
    auto view = recordedView();

    // A parent keeps its child's function; once the child shows another document the function
    // speaks for nobody.
    view->loadRequest(get(host + "/frames"));
    ASSERT_TRUE(waitFor(*view, "typeof keep === 'function' && document.readyState === 'complete'"));
    EXPECT_EQ(evaluate(*view, "keep()"), "\"kept\"");
    EXPECT_EQ(evaluate(*view, "away()"), "\"away\"");
    ASSERT_TRUE(spinUntil([&] {
        return evaluate(*view, "document.getElementById('f').contentDocument.body.innerText") ==
               "\"static\"";
    }));
    EXPECT_EQ(evaluate(*view, "replay()"), "\"sent\"");
    EXPECT_EQ(evaluate(*view, "last()"), "\"last\"");
    ASSERT_TRUE(spinUntil([&] { return recorder->messages.size() >= 2; }));
    EXPECT_EQ(
        recorder->lines(),
        (std::vector<std::string>{
            R"({"id":"child-kept"} @ tandri-test://maker.example/ (sub) top=)" + host + "/frames",
            R"({"id":"last"} @ )" + host + "/frames (main)"}));
    recorder->messages.clear();

    // A pop-up is its own page: its posts come from its own view, and what it posts to its
    // opener directly is refused. The opener's function it was handed, kept after the opener
    // has moved on, speaks for nobody.
    view->loadRequest(get(host + "/opener"));
    ASSERT_TRUE(
        waitFor(*view, "typeof openIt === 'function' && document.readyState === 'complete'"));
    EXPECT_EQ(evaluate(*view, "openIt()"), "\"opened\"");
    ASSERT_TRUE(spinUntil([&] { return views.size() == 2; }));
    auto popup = views.back();
    ASSERT_EQ(actions.size(), 1u);
    EXPECT_EQ(actions[0].navigationType, NavigationType::Other);
    EXPECT_EQ(actions[0].request.url, host + "/popup");
    ASSERT_TRUE(waitFor(*popup, "typeof own === 'function' && document.readyState === 'complete'"));
    EXPECT_EQ(evaluate(*view, "handOver()"), "\"handed\"");
    EXPECT_EQ(evaluate(*popup, "own()"), "\"said\"");
    EXPECT_EQ(evaluate(*popup, "toOpener()"), "\"posted\"");
    view->loadRequest(get(host + "/next"));
    ASSERT_TRUE(showing(*view, "next complete"));
    EXPECT_EQ(evaluate(*popup, "stale()"), "\"sent\"");
    EXPECT_EQ(evaluate(*view, "last()"), "\"last\"");
    ASSERT_TRUE(spinUntil([&] { return recorder->messages.size() >= 2; }))
        << ::testing::PrintToString(recorder->lines());
    EXPECT_EQ(recorder->lines(),
              (std::vector<std::string>{R"({"id":"popup-own"} @ )" + host + "/popup (main)",
                                        R"({"id":"last"} @ )" + host + "/next (main)"}));
    ASSERT_EQ(recorder->messages.size(), 2u);
    EXPECT_EQ(recorder->messages[0].webView.lock(), popup);
    EXPECT_EQ(recorder->messages[1].webView.lock(), view);
}

TEST_F(ScriptChannelTest, WindowsComeWithHowThePageOpenedThem) {
    const std::string host = std::string(kTestScheme) + "://maker.example";
    memory.pages = {
        {"/page",
         "<a id='link' target='_blank' href='/linked'>link</a>"
         "<form id='form' target='_blank' action='/submitted'><input name='q' value='1'></form>"
         "<script>var opened = null;</script>"},
        {"/scripted", "<p>scripted</p>"},
    };
    auto view = recordedView();
    view->loadRequest(get(host + "/page"));
    ASSERT_TRUE(
        waitFor(*view, "document.getElementById('form') && document.readyState === 'complete'"));
    evaluate(*view, "document.getElementById('link').click(), 'clicked'");
    ASSERT_TRUE(spinUntil([&] { return actions.size() == 1; }));
    evaluate(*view, "document.getElementById('form').submit(), 'submitted'");
    ASSERT_TRUE(spinUntil([&] { return actions.size() == 2; }));
    evaluate(*view, "opened = window.open('/scripted', 'named', 'width=300'), 'opened'");
    ASSERT_TRUE(spinUntil([&] { return actions.size() == 3; }));
    EXPECT_EQ(actions[0].navigationType, NavigationType::LinkActivated);
    EXPECT_EQ(actions[0].request.url, host + "/linked");
    EXPECT_EQ(actions[1].navigationType, NavigationType::FormSubmitted);
    EXPECT_EQ(actions[1].request.url, host + "/submitted?q=1");
    EXPECT_EQ(actions[2].navigationType, NavigationType::Other);
    for (const auto& action : actions) EXPECT_FALSE(action.targetsMainFrame);
    // Only the script's window opened, in the view made for it; the refused ones are gone.
    ASSERT_EQ(views.size(), 2u);
    ASSERT_TRUE(spinUntil([&] { return views[1]->url() == host + "/scripted"; }));
    EXPECT_EQ(evaluate(*view, "String(opened.closed)"), "\"false\"");
}

// The hybrid host's own view: heard, frame by frame, while the library wraps it; once the
// wrapper goes, the view is the merchant's alone again, its next documents without the channel.
TEST_F(ScriptChannelTest, AMerchantsViewIsHeardWhileWrappedAndLeftAsItWasAfter) {
    const std::string host = std::string(kTestScheme) + "://shop.example";
    memory.pages = {{"/page",
                     "<script>function say(id) { const c = window.webkit &&"
                     " window.webkit.messageHandlers.tandriMessage;"
                     " if (!c) return 'no channel'; c.postMessage({id: id}); return 'said'; }"
                     "</script>"}};
    QWebEngineView merchant;
    merchant.setPage(new QWebEnginePage(factory->profile(), &merchant));
    merchant.resize(320, 240);
    merchant.show();
    auto wrapper = factory->adopt(&merchant);
    wrapper->configuration()->userContentController->addScriptMessageHandler(recorder,
                                                                             "tandriMessage");
    merchant.load(QUrl(QString::fromStdString(host + "/page")));
    ASSERT_TRUE(
        waitFor(*wrapper, "typeof say === 'function' && document.readyState === 'complete'"));
    EXPECT_EQ(evaluate(*wrapper, "say('merchant')"), "\"said\"");
    ASSERT_TRUE(spinUntil([&] { return recorder->messages.size() == 1; }));
    EXPECT_EQ(recorder->lines(),
              std::vector<std::string>{R"({"id":"merchant"} @ )" + host + "/page (main)"});
    EXPECT_EQ(recorder->messages[0].webView.lock(), wrapper);

    wrapper.reset();
    EXPECT_EQ(merchant.page()->webChannel(), nullptr) << "the library's web channel came off";
    merchant.load(QUrl(QString::fromStdString(host + "/page?again")));
    auto run = [&](const QString& script) {
        auto out = std::make_shared<std::optional<QString>>();
        merchant.page()->runJavaScript(script, [out](const QVariant& v) { *out = v.toString(); });
        spinUntil([&] { return out->has_value(); });
        return out->value_or(QStringLiteral("timeout"));
    };
    ASSERT_TRUE(spinUntil(
        [&] { return run("location.search + ' ' + document.readyState") == "?again complete"; }));
    EXPECT_EQ(run("say('after')"), "no channel");
    EXPECT_EQ(recorder->messages.size(), 1u);
}

// A foreign frame inside a maker's page cannot reach the page's channel function, and what it
// posts to the page in the channel's form is labelled with its own origin.
TEST_F(ScriptChannelTest, AForeignFrameCannotSpeakThroughItsParent) {
    memory.pages = {
        {"/top", "<iframe src='" + std::string(kTestScheme) + "://evil.example/frame'></iframe>"},
        {"/frame",
         "<script>const KEY = " + kKey +
             ";"
             "let tried;"
             "try { parent.webkit.messageHandlers.tandriMessage.postMessage({id: 'as-parent'});"
             "  tried = 'reached'; } catch (e) { tried = e.name; }"
             "const e = {}; e[KEY] = {id: 'by-hand'}; parent.postMessage(e, '*');"
             "window.webkit.messageHandlers.tandriMessage.postMessage({id: tried});"
             "</script>"},
    };
    const std::string host = std::string(kTestScheme) + "://maker.example";
    auto view = recordedView();
    view->loadRequest(get(host + "/top"));
    ASSERT_TRUE(spinUntil([&] { return recorder->messages.size() >= 2; }));
    ASSERT_TRUE(waitFor(*view, "document.readyState === 'complete'"));
    evaluate(*view, "window.webkit.messageHandlers.tandriMessage.postMessage({id: 'last'}), 1");
    ASSERT_TRUE(spinUntil([&] { return recorder->messages.size() >= 3; }));
    const std::string sub = " (sub) top=" + host + "/top";
    EXPECT_EQ(
        recorder->lines(),
        (std::vector<std::string>{R"({"id":"by-hand"} @ tandri-test://evil.example/)" + sub,
                                  R"({"id":"SecurityError"} @ tandri-test://evil.example/)" + sub,
                                  R"({"id":"last"} @ )" + host + "/top (main)"}));
}

}  // namespace
}  // namespace tandri::qt
