// The path from a page's message to the script that answers it, on the
// simulated web view: what is evaluated, what is logged, what is refused.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Core/Bridge/JSBridge.hpp"
#include "Core/Bridge/WebViewUtil.hpp"
#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "tandri/Json.hpp"

namespace tandri {
namespace {

using sim::SimulatedWebView;

struct BridgeTest : ::testing::Test {
    void SetUp() override {
        Logging::setSink([this](std::string_view text) { logged.emplace_back(text); });
        view = std::static_pointer_cast<SimulatedWebView>(platform.webViews().makeWebView());
        bridge = JSBridge::create(view);
        bridge->messageHandlerPath = "window.tandri.receive";
        page = "https://checkout." + makerDomain() + "/pay";
    }
    void TearDown() override { Logging::setSink(nullptr); }

    bool post(const std::string& json, const std::string& frame) {
        return view->postJSON(JSBridge::kChannelName, json, frame);
    }
    std::vector<std::string> scripts() {
        platform.mainQueue().drain();
        return platform.webViews().scriptsIn(*view);
    }

    sim::SimulatedPlatform platform;
    std::vector<std::string> logged;
    std::shared_ptr<SimulatedWebView> view;
    std::shared_ptr<JSBridge> bridge;
    std::string page;
};

const char* kGetBody = R"({"name":"get","id":"1","data":"k"})";

TEST_F(BridgeTest, AnAllowedFrameIsAnsweredThroughThePageFunctionAfterTheQueueRuns) {
    std::vector<std::string> seen;
    bridge->messageHandlers["get"] = [&](const JSTandriMessage& message, JSCompletion done) {
        seen.push_back(message.identifier() + ":" + message.data()->asString());
        done(JSResult::success(Value("v")));
    };
    ASSERT_TRUE(post(kGetBody, page));
    EXPECT_EQ(seen, std::vector<std::string>{"1:k"});
    // Evaluations always wait for the main queue, even when answered on it.
    EXPECT_TRUE(platform.webViews().evaluations().empty());
    EXPECT_EQ(scripts(),
              std::vector<std::string>{
                  R"(window.tandri.receive({"id":"1","name":"result","data":"v","error":null}))"});
    ASSERT_EQ(logged.size(), 2u);
    EXPECT_EQ(
        logged[0],
        incomingBanner(*JSTandriMessage::initWithDictionary(*json::parse(kGetBody)), "JSBridge"));
    EXPECT_NE(logged[1].find("JSBridge"), std::string::npos);

    // Errors, any subdomain depth, a handler answering twice.
    platform.webViews().clearEvaluations();
    bridge->messageHandlers["set"] = [](const JSTandriMessage&, JSCompletion done) {
        done(JSResult::error("nope"));
        done(JSResult::success());
    };
    post(R"({"name":"set","id":7})", "https://a.b." + makerDomain() + "/");
    EXPECT_EQ(
        scripts(),
        (std::vector<std::string>{
            R"(window.tandri.receive({"id":"7","name":"result","data":null,"error":"nope"}))",
            R"(window.tandri.receive({"id":"7","name":"result","data":null,"error":null}))"}));
}

TEST_F(BridgeTest, RefusedMessagesAreNeitherAnsweredNorLogged) {
    int calls = 0;
    bridge->messageHandlers["get"] = [&](const JSTandriMessage&, JSCompletion done) {
        ++calls;
        done(JSResult::success());
    };
    const std::string domain = makerDomain();
    for (const std::string& frame : std::vector<std::string>{
             "http://checkout." + domain + "/", "HTTPS://checkout." + domain + "/",
             "https://checkout." + domain + ".evil.test/", "https://evil.test/?" + domain,
             "https://" + domain.substr(0, domain.find('.')) + ".org/", "data:text/html,hi",
             "about:srcdoc", std::string(), "https://127.0.0.1/"}) {
        post(kGetBody, frame);
    }
    // Bodies that are not messages, from an allowed frame.
    for (const char* body :
         {R"({"name":"get"})", R"({"id":"1"})", R"([1,2])", R"("get")", "null", "{not json"}) {
        post(body, page);
    }
    // Another channel name never reaches the bridge's logic.
    ScriptMessage other{"otherChannel", json::parse(kGetBody), view, page, true, page, ""};
    bridge->userContentControllerDidReceiveScriptMessage(
        *view->configuration()->userContentController, other);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(scripts().empty());
    EXPECT_TRUE(logged.empty());

    // An unknown name is logged but never answered; names match case-sensitively.
    post(R"({"name":"GET","id":"2"})", page);
    EXPECT_EQ(logged.size(), 1u);
    EXPECT_TRUE(scripts().empty());

    // The merchant's own pages may come from anywhere.
    bridge->allowSecurityCheckBypass = true;
    post(kGetBody, "http://shop.example/");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(scripts().size(), 1u);
}

TEST_F(BridgeTest, ACompletionFromAnotherThreadIsAnsweredOnTheMainThreadWhileTheCallerWaits) {
    std::thread worker;
    std::atomic<bool> returned{false};
    bridge->messageHandlers["get"] = [&](const JSTandriMessage&, JSCompletion done) {
        worker = std::thread([&returned, done] {
            done(JSResult::success(Value(42)));
            returned = true;
        });
    };
    post(kGetBody, page);
    // The worker is blocked in its completion until the main thread runs the response.
    ASSERT_TRUE(platform.mainQueue().waitForWork());
    ASSERT_GT(platform.mainQueue().pending(), 0u);
    EXPECT_FALSE(returned.load());
    EXPECT_TRUE(platform.webViews().evaluations().empty());
    platform.mainQueue().drainUntil([&] { return returned.load(); }, std::chrono::seconds(5));
    worker.join();
    EXPECT_EQ(scripts(),
              std::vector<std::string>{
                  R"(window.tandri.receive({"id":"1","name":"result","data":42,"error":null}))"});
}

TEST_F(BridgeTest, TeardownUnregistersTheChannelUnlessLinkedAndLateAnswersGoNowhere) {
    JSCompletion parked;
    bridge->messageHandlers["get"] = [&](const JSTandriMessage&, JSCompletion done) {
        parked = std::move(done);
    };
    post(kGetBody, page);
    auto controller = view->configuration()->userContentController;
    EXPECT_TRUE(controller->hasScriptMessageHandler("tandriMessage"));
    std::weak_ptr<JSBridge> weak = bridge;
    bridge.reset();
    EXPECT_TRUE(weak.expired());  // the channel does not keep it alive
    EXPECT_FALSE(controller->hasScriptMessageHandler("tandriMessage"));
    EXPECT_FALSE(post(kGetBody, page));
    parked(JSResult::success(Value("late")));
    EXPECT_TRUE(scripts().empty());

    // A linked bridge leaves the shared channel to its partner.
    auto partner = JSBridge::create(view);
    auto linked = JSBridge::create(view);
    linked->isLinkedCheckoutBridge = true;
    linked.reset();
    EXPECT_TRUE(controller->hasScriptMessageHandler("tandriMessage"));

    // A completion whose sending view has gone answers nothing.
    partner->messageHandlers["get"] = [&](const JSTandriMessage&, JSCompletion done) {
        parked = std::move(done);
    };
    post(kGetBody, page);
    partner->webView.reset();
    view.reset();
    parked(JSResult::success());
    platform.mainQueue().drain();
    EXPECT_TRUE(platform.webViews().evaluations().empty());

    // Setting up again starts an empty table.
    auto fresh = std::static_pointer_cast<SimulatedWebView>(platform.webViews().makeWebView());
    auto again = JSBridge::create(fresh);
    again->messageHandlers["get"] = [](const JSTandriMessage&, JSCompletion) {};
    JSBridge::setupHandlers(again);
    EXPECT_TRUE(again->messageHandlers.empty());
}

TEST_F(BridgeTest, ForwardingHandsTheWholeBodyToTheOtherPageAndPushesArePostMessages) {
    auto otherView = std::static_pointer_cast<SimulatedWebView>(platform.webViews().makeWebView());
    auto other = JSBridge::create(otherView);
    other->messageHandlerPath = "window.other.receive";
    JSBridge::observeForwardMessagesFor(bridge, other);

    post(R"({"name":"forward","id":"9","data":{"a":1},"extra":true})", page);
    platform.mainQueue().drain();
    EXPECT_TRUE(platform.webViews().scriptsIn(*view).empty());  // the sender gets no answer
    EXPECT_EQ(
        platform.webViews().scriptsIn(*otherView),
        std::vector<std::string>{
            R"(window.other.receive({"name":"forward","id":"9","data":{"a":1},"extra":true}))"});
    otherView->postJSON("tandriMessage", R"({"name":"forward","id":"3"})", page);
    EXPECT_EQ(scripts(),
              std::vector<std::string>{R"(window.tandri.receive({"name":"forward","id":"3"}))"});

    // Nothing is pushed to a view that has loaded nothing, and nothing is logged.
    platform.webViews().clearEvaluations();
    logged.clear();
    JSBridge::forwardDataFromNative("pushGtmData", Value(Array{Value("x")}), bridge);
    EXPECT_TRUE(scripts().empty());
    EXPECT_TRUE(logged.empty());

    URLRequest request;
    request.url = "https://checkout." + makerDomain() + ":8443/app";
    view->loadRequest(request);
    JSBridge::forwardDataFromNative("tandri.sdklite.native-keyboard-open", std::nullopt, bridge);
    const std::string push = "window.postMessage('tandri.sdklite.native-keyboard-open--{}', '*');";
    EXPECT_EQ(scripts(), std::vector<std::string>{push});
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_EQ(logged[0], joinedLines({"JSBridge.evaluateJavaScript:\n" + push}));

    // A failed push is logged with the engine's error.
    logged.clear();
    platform.webViews().evaluationError = "A JavaScript exception occurred";
    JSBridge::forwardDataFromNative("pushGtmData", Value(Array{}), bridge);
    platform.mainQueue().drain();
    ASSERT_EQ(logged.size(), 2u);
    EXPECT_EQ(logged[1],
              joinedLines({"Error evaluating JavaScript: A JavaScript exception occurred"}));
}

TEST_F(BridgeTest, StorageMessagesRoundTripThroughTheBridge) {
    bridge->messageHandlers["get"] = JSBridge::onGet();
    bridge->messageHandlers["set"] = JSBridge::onSet();
    EXPECT_EQ(&JSBridge::onGet(), &JSBridge::onGet());
    post(R"({"name":"set","id":"1","data":{"key":"userInfo","value":{"username":"ann"}}})", page);
    post(R"({"name":"get","id":"2","data":"userInfo"})", page);
    post(R"({"name":"get","id":"3","data":""})", page);
    EXPECT_EQ(
        scripts(),
        (std::vector<std::string>{
            R"(window.tandri.receive({"id":"1","name":"result","data":null,"error":null}))",
            R"(window.tandri.receive({"id":"2","name":"result","data":{"username":"ann"},"error":null}))",
            R"(window.tandri.receive({"id":"3","name":"result","data":null,"error":"No valid key was found on the message"}))"}));
    // A foreign frame can neither write nor read.
    post(R"({"name":"set","id":"4","data":{"key":"userInfo","value":"evil"}})",
         "https://evil.test/");
    post(R"({"name":"get","id":"5","data":"userInfo"})", "https://evil.test/");
    EXPECT_EQ(scripts().size(), 3u);
    post(R"({"name":"get","id":"6","data":"userInfo"})", page);
    EXPECT_EQ(
        scripts().back(),
        R"(window.tandri.receive({"id":"6","name":"result","data":{"username":"ann"},"error":null}))");
}

TEST_F(BridgeTest, UserAgentSuffixWaitsForThePageUntilTheProbeHasLearntTheDefault) {
    TinyDelegate::resetForTesting();
    bool done = false;
    appendToUserAgent(view, "TDC_SDK/1.0.0", [&] { done = true; });
    EXPECT_FALSE(done);
    platform.mainQueue().drain();
    EXPECT_TRUE(done);
    EXPECT_EQ(view->customUserAgent(),
              std::string(sim::SimulatedWebViewFactory::kDefaultUserAgent) + " TDC_SDK/1.0.0");
    EXPECT_FALSE(cachedDefaultUserAgent());  // a view's own answer is not cached

    TinyDelegate::initializeUserAgent();
    auto probe = std::static_pointer_cast<SimulatedWebView>(TinyDelegate::currentProbeWebView());
    ASSERT_TRUE(probe);
    ASSERT_FALSE(platform.webViews().loads().empty());
    EXPECT_EQ(platform.webViews().loads().back().html, "<HTML><BODY>TEST</BODY></HTML>");
    EXPECT_FALSE(platform.webViews().loads().back().baseURL);
    probe->finishNavigation(probe->lastNavigation());
    platform.mainQueue().drain();
    ASSERT_TRUE(cachedDefaultUserAgent());
    EXPECT_FALSE(TinyDelegate::currentProbeWebView());
    EXPECT_FALSE(TinyDelegate::currentDelegate());

    // With the default learnt, the suffix is set before the call returns.
    auto other = platform.webViews().makeWebView();
    done = false;
    appendToUserAgent(other, "TDC_HSDK/1.0.0", [&] { done = true; });
    EXPECT_TRUE(done);
    EXPECT_EQ(other->customUserAgent(),
              std::string(sim::SimulatedWebViewFactory::kDefaultUserAgent) + " TDC_HSDK/1.0.0");
    TinyDelegate::resetForTesting();
}

}  // namespace
}  // namespace tandri

namespace tandri {
namespace {

TEST(ResponseScript, IsExactlyTheEncodedResponseObject) {
    Dictionary nested{{"a", Value(Array{Value(1), Value(2.5), Value(true), Value()})},
                      {"quote", Value("say \"hi\"\n\u00e9")}};
    const std::vector<JSResult> results = {
        JSResult::success(),
        JSResult::success(Value("v")),
        JSResult::success(Value(nested)),
        JSResult::success(Value(Array{Value::date(0)})),  // not encodable: the whole object is null
        JSResult::success(Value::bytes({1, 2})),
        JSResult::error("No valid key was found on the message"),
        JSResult::error("with \"quotes\" and \\ backslash"),
    };
    for (const auto& path :
         {std::optional<std::string>("window.t.receive"), std::optional<std::string>()}) {
        for (const auto& id : {std::string("7"), std::string("a\"b"), std::string()}) {
            for (const auto& result : results) {
                EXPECT_EQ(result.responseScript(path, id),
                          rawJavaScriptForMethod(path, result.jsEncodableWithIdentifier(id)));
            }
        }
    }
}

}  // namespace
}  // namespace tandri
