// A bridge on a real Qt WebEngine view, talking to the sandbox checkout server. Frames from
// other origins post the same messages as the page; only the page and frames on the maker's
// domain are answered or stored.

#include <set>

#include "Core/Bridge/JSBridge.hpp"
#include "EngineFixture.hpp"

namespace tandri::qt {
namespace {

using namespace testing;

struct BridgeEngineTest : EngineFixture {
    /// A shown view with a bridge that answers at "receive" and keeps values.
    std::pair<std::shared_ptr<QtWebView>, std::shared_ptr<JSBridge>> storageBridge() {
        auto view = shownView();
        auto bridge = JSBridge::create(view);
        bridge->messageHandlerPath = "receive";
        bridge->messageHandlers["get"] = JSBridge::onGet();
        bridge->messageHandlers["set"] = JSBridge::onSet();
        return {view, bridge};
    }
};

TEST_F(BridgeEngineTest, OnlyThePageAndFramesOnTheMakersDomainAreAnsweredOrStored) {
    auto [view, bridge] = storageBridge();
    view->loadHTMLString(R"(<html><body><script>
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
        <iframe sandbox="allow-scripts" src="https://pay.tandri.test/hostile/frame?label=sandboxed"></iframe>
        <iframe src="http://checkout.tandri.test/hostile/frame?label=plain"></iframe>
        <iframe src="data:text/html,<script>window.webkit.messageHandlers.tandriMessage.postMessage({name:'set',id:'data-set',data:{key:'sandbox.hostile',value:'data'}});parent.postMessage({frame:'data'},'*')</script>"></iframe>
        </body></html>)",
                         std::string("https://checkout.tandri.test/own"));
    auto answered = [&] { return evaluate(*view, "JSON.stringify(answers.map(a => a.id))"); };
    // Every frame that loads has posted (each tells the page once it has; the plain-http one is
    // mixed content and blocked before it runs)...
    ASSERT_TRUE(spinUntil([&] {
        return evaluate(*view,
                        "String(['evil','sub','sandboxed','data'].every(f => "
                        "framesPosted.includes(f)))") == "\"true\"";
    })) << evaluate(*view, "JSON.stringify(framesPosted)");
    // ...and one more question from the page, answered after everything posted before it.
    evaluate(*view, "ch.postMessage({name:'get', id:'last', data:'own'}), 'sent'");
    ASSERT_TRUE(spinUntil([&] { return answered().find("last") != std::string::npos; }))
        << answered();
    evaluate(*view, "answers = answers.filter(a => a.id !== 'last'), 'done'");
    auto ids = json::parse(json::parse(answered())->asString());
    std::set<std::string> seen;
    for (const auto& id : ids->asArray()) seen.insert(id.asString());
    EXPECT_EQ(seen, (std::set<std::string>{"own-set", "own-get", "sub-set", "sub-get"}));
    EXPECT_EQ(evaluate(*view, "JSON.stringify(answers.find(a => a.id === 'own-get'))"),
              json::write(Value(R"({"id":"own-get","name":"result","data":"mine","error":null})")));
    EXPECT_EQ(json::write(*defaults->objectForKey("sandbox.hostile")), R"("sub")");

    // The refused frames really loaded: the server saw them asked for.
    const std::string requests = json::write(serverRequests()).value_or("");
    EXPECT_NE(requests.find("/hostile/frame?label=evil"), std::string::npos);
    EXPECT_NE(requests.find("/hostile/frame?label=sandboxed"), std::string::npos);
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
    ASSERT_TRUE(spinUntil(
        [&] { return evaluate(*view, "String(framesPosted.includes('sub'))") == "\"true\""; }));
    // Had the frame's posts been taken, their answers would be queued before this evaluation.
    QCoreApplication::processEvents();
    EXPECT_EQ(evaluate(*view, "JSON.stringify(answers)"), "\"[]\"");
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
    auto answers = [&] { return evaluate(*view, "answers.join(',')"); };

    view->loadHTMLString(page("first"), std::string("https://checkout.tandri.test/first"));
    ASSERT_TRUE(showing(*view, "first complete"));
    evaluate(*view, "ch.postMessage({name: 'slow', id: 'secret'}), 'sent'");
    ASSERT_TRUE(spinUntil([&] { return parked.size() == 1; }));
    view->loadHTMLString(page("second"), std::string("https://checkout.tandri.test/second"));
    ASSERT_TRUE(showing(*view, "second complete"));
    evaluate(*view, "ch.postMessage({name: 'slow', id: 'again'}), 'sent'");
    ASSERT_TRUE(spinUntil([&] { return parked.size() == 2; }));
    // The same page again, at the same address: a new document all the same.
    evaluate(*view, "window.before = 'again', 'marked'");
    view->loadHTMLString(page("second"), std::string("https://checkout.tandri.test/second"));
    ASSERT_TRUE(spinUntil([&] {
        return evaluate(
                   *view,
                   "String(window.before) + ' ' + document.title + ' ' + document.readyState") ==
               "\"undefined second complete\"";
    }));
    parked[0](JSResult::success(Value("the token")));
    parked[1](JSResult::success(Value("the token")));

    // The page's own question after those answers is answered, and is all it ever got.
    evaluate(*view, "ch.postMessage({name: 'fast', id: 'own'}), 'sent'");
    ASSERT_TRUE(spinUntil([&] { return answers() != "\"\""; }));
    EXPECT_EQ(answers(), "\"own:fast own\"");
}

}  // namespace
}  // namespace tandri::qt
