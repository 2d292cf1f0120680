// A launch driven by the button page on the simulated platform: configuring or registering
// paths, the spinner and its endings, launching and dismissing the checkout, the analytics that
// reach the page or are parked, and the native handlers of the mobile bridge.

#include <gtest/gtest.h>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Bridge/MobileWebViewBridge.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "tandri/Json.hpp"

namespace tandri {
namespace {

using sim::SimulatedWebView;

struct LaunchTest : ::testing::Test {
    void SetUp() override {
        host = std::make_shared<ViewController>();
        host->view();
        config = NativeLaunchConfiguration::initWithProfile(
            TandriProfile(), TandriPurchaseInfo(), host,
            [this](const std::optional<Value>& html, const std::optional<Value>& alt) {
                journal.push_back("rendered " + (html ? html->asString() : "-") + " " +
                                  (alt ? alt->asString() : "-"));
            },
            [this](bool enabled, const std::optional<Value>& reason) {
                journal.push_back(std::string("click ") + (enabled ? "on " : "off ") +
                                  (reason ? *json::write(*reason) : "-"));
            },
            [this](const TandriCheckoutResult& result) {
                journal.push_back("result " + result.statusName());
            });
        bridge = MobileWebViewBridge::initWithLaunchConfig(config);
        page = "https://checkout." + makerDomain() + "/checkout-widget/mobile-button";
    }

    SimulatedWebView& view(const std::shared_ptr<JSBridge>& b) {
        return static_cast<SimulatedWebView&>(*b->webView);
    }
    /// Posts a message from the button page and answers what the page received for it since
    /// the last call.
    std::vector<std::string> post(const std::string& json) {
        view(bridge).postJSON(JSBridge::kChannelName, json, page);
        return received(bridge);
    }
    std::vector<std::string> received(const std::shared_ptr<JSBridge>& b) {
        platform.mainQueue().drain();
        auto all = platform.webViews().scriptsIn(*b->webView);
        std::vector<std::string> fresh(all.begin() + static_cast<long>(seen[b.get()]), all.end());
        seen[b.get()] = all.size();
        // The user-agent probe is not the page's business.
        std::erase_if(fresh, [](const std::string& s) { return s == "navigator.userAgent"; });
        return fresh;
    }
    void cancelSpinner() {
        auto spinner = std::dynamic_pointer_cast<LoadingSpinnerViewController>(
            host->presentedViewController());
        ASSERT_TRUE(spinner);
        spinner->closeButton->sendActions(ControlEvent::TouchUpInside);
    }

    sim::SimulatedPlatform platform;
    std::shared_ptr<ViewController> host;
    std::shared_ptr<NativeLaunchConfiguration> config;
    std::shared_ptr<MobileWebViewBridge> bridge;
    std::vector<std::string> journal;
    std::map<const JSBridge*, std::size_t> seen;
    std::string page;
};

const char* kAnswerPath = "window.button.receive";

std::string answer(const std::string& id, const std::string& data, const char* error = "null",
                   const char* path = kAnswerPath) {
    return std::string(path) + R"(({"id":")" + id + R"(","name":"result","data":)" + data +
           R"(,"error":)" + error + "})";
}

TEST_F(LaunchTest, ConfigureBuildsTheCheckoutRequestAndAnswersWhenItsPageHasLoaded) {
    // No string path: no answer, no change.
    EXPECT_TRUE(post(R"({"name":"configure","id":"1","messagePath":7,"data":{}})").empty());
    EXPECT_FALSE(bridge->messageHandlerPath);
    EXPECT_EQ(post(R"({"name":"configure","id":"2","messagePath":"window.button.receive",)"
                   R"("data":[1]})"),
              std::vector<std::string>{answer("2", "null", R"("Invalid configuration")")});
    EXPECT_EQ(
        post(R"({"name":"configure","id":"3","messagePath":"window.button.receive",)"
             R"("data":{"messagePath":"rxo.receive"}})"),
        std::vector<std::string>{answer(
            "3", "null", R"("An unknown error occurred when trying to configure Tandri SRC")")});
    EXPECT_EQ(bridge->messageHandlerPath, kAnswerPath);
    EXPECT_FALSE(bridge->supportsSRC);

    EXPECT_TRUE(post(R"({"name":"configure","id":"4","messagePath":"window.button.receive",)"
                     R"("data":{"url":"https://checkout.)" +
                     makerDomain() +
                     R"(/pay","method":"POST","messagePath":"rxo.receive",)"
                     R"("headers":{"client-key":"page's own","X-Session":"s1"},)"
                     R"("body":{"cart":[1,2]}}})")
                    .empty());
    ASSERT_TRUE(bridge->rxoBridge);
    const auto& load = platform.webViews().loads().back();
    ASSERT_TRUE(load.request);
    EXPECT_EQ(load.request->method, "POST");
    EXPECT_EQ(load.request->body, R"({"cart":[1,2]})");
    EXPECT_EQ(load.request->valueForField("client-key"), "4c7a2e91-d05f8b36e2a7");
    EXPECT_EQ(load.request->valueForField("X-Session"), "s1");
    EXPECT_NE(bridge->rxoBridge->webView->customUserAgent()->find("TDC_SDK/"), std::string::npos);

    view(bridge->rxoBridge).finishNavigation(load.navigation);
    EXPECT_EQ(received(bridge), std::vector<std::string>{answer("4", "false")});

    // The two pages forward to each other, whole.
    view(bridge->rxoBridge)
        .postJSON(JSBridge::kChannelName, R"({"name":"forward","id":"9","data":{"step":2}})",
                  "https://checkout." + makerDomain() + "/pay");
    EXPECT_EQ(received(bridge),
              std::vector<std::string>{
                  R"(window.button.receive({"name":"forward","id":"9","data":{"step":2}}))"});
}

TEST_F(LaunchTest, OnlyACheckoutOfTheButtonPagesOwnOriginStartsBesideIt) {
    view(bridge).setURL(page);
    auto configure = [&](const std::string& url) {
        post(R"({"name":"configure","id":"1","messagePath":"window.button.receive",)"
             R"("data":{"url":")" +
             url + R"(","messagePath":"rxo.receive"}})");
        EXPECT_TRUE(bridge->rxoBridge) << url;
        return bridge->rxoBridge ? view(bridge->rxoBridge).madeBeside.lock() : nullptr;
    };
    const std::string checkoutHost = "checkout." + makerDomain();
    // Same origin: case and the default port do not make another one.
    EXPECT_EQ(configure("https://" + checkoutHost + "/pay?session=1"), bridge->webView);
    EXPECT_EQ(configure("HTTPS://CHECKOUT." + makerDomain() + ":443/pay"), bridge->webView);
    // Another checkoutHost of the same site, another port, another scheme: a process of its own.
    for (const std::string& url :
         {"https://pay." + makerDomain() + "/pay", "https://" + checkoutHost + ":8443/pay",
          "http://" + checkoutHost + "/pay", "https://" + checkoutHost + ".evil.test/pay"}) {
        EXPECT_EQ(configure(url), nullptr) << url;
    }
    // A button view that shows nothing yet has no origin to share.
    view(bridge).setURL(std::nullopt);
    EXPECT_EQ(configure("https://" + checkoutHost + "/pay"), nullptr);
}

TEST_F(LaunchTest, ACancelledSpinnerRefusesOneLaunchWhenThePageOpensTheCheckoutItself) {
    EXPECT_EQ(post(R"({"name":"launch","id":"0"})"),
              std::vector<std::string>{
                  answer("0", "null", R"("Tandri SRC is not configured properly")", "(null)")});
    EXPECT_EQ(post(R"({"name":"registerMessagePaths","id":"1","merchantMessagePath":)"
                   R"("window.button.receive","checkoutMessagePath":"rxo.receive",)"
                   R"("data":{"enableTransitionSpinner":"yes"}})"),
              std::vector<std::string>{answer("1", "null")});
    EXPECT_TRUE(bridge->supportsSRC);
    EXPECT_TRUE(bridge->transitionSpinnerEnabled);
    post(R"({"name":"onGtmReady","id":"2","data":{"correlationId":"c-1","visitId":"v-1"}})");

    NavigationAction open;
    open.request.url = "https://checkout." + makerDomain() + "/pay";
    auto checkoutView = view(bridge).openWindow(open);
    ASSERT_TRUE(checkoutView);
    EXPECT_EQ(bridge->rxoBridge->webView, checkoutView);
    EXPECT_EQ(bridge->rxoBridge->messageHandlerPath, "rxo.receive");
    EXPECT_TRUE(bridge->rxoBridge->transitionSpinnerEnabled);

    EXPECT_TRUE(post(R"({"name":"showLoading","id":"3","data":"x"})").empty());
    platform.clock().advance(2);
    cancelSpinner();
    EXPECT_EQ(received(bridge), std::vector<std::string>{answer("3", "true")});
    EXPECT_EQ(post(R"({"name":"launch","id":"4"})"),
              std::vector<std::string>{answer(
                  "4", "null", R"("Transaction was cancelled through the loading screen")")});
    EXPECT_EQ(post(R"({"name":"launch","id":"5"})"), std::vector<std::string>{answer("5", "null")});
    EXPECT_EQ(host->presentedViewController(), bridge->rxoBridge->viewController);
    EXPECT_TRUE(platform.presenter().requests().back().animated);

    // The native app's spinner parks both records: the page that would take them is gone.
    auto gtm = post(R"({"name":"onGtmReady","id":"6","data":[]})");
    ASSERT_EQ(gtm.size(), 1u);
    EXPECT_NE(gtm[0].find(R"(\"abandonment_type\":\"intentional\"},\"correlationId\":\"c-1\")"),
              std::string::npos)
        << gtm[0];
    EXPECT_NE(gtm[0].find(R"(\"screen_load_time\":\"2.000\")"), std::string::npos) << gtm[0];
    EXPECT_LT(gtm[0].find("abandonment"), gtm[0].find("Spinner Screen Load"));

    EXPECT_EQ(post(R"({"name":"dismiss","id":"7"})"),
              std::vector<std::string>{answer("7", "null")});
    EXPECT_EQ(host->presentedViewController(), nullptr);
}

TEST_F(LaunchTest, TheCheckoutReplacesTheSpinnerWithoutAnimationAndTheLoadTimeReachesThePage) {
    post(R"({"name":"configure","id":"1","messagePath":"window.button.receive",)"
         R"("data":{"url":"https://checkout.)" +
         makerDomain() + R"(/pay","messagePath":"rxo.receive"}})");
    auto rxo = bridge->rxoBridge;
    ASSERT_TRUE(rxo);
    view(bridge).setURL(page);
    post(R"({"name":"showLoading","id":"2","data":"x"})");
    platform.clock().advance(1.25);
    auto firstLoad = platform.webViews().loads().back().navigation;
    view(rxo).finishNavigation(firstLoad);
    EXPECT_EQ(received(bridge), std::vector<std::string>{answer("1", "true")}) << "spinner is up";

    auto launched = post(R"({"name":"launch","id":"3"})");
    ASSERT_EQ(launched.size(), 3u);
    EXPECT_EQ(launched[0], answer("2", "false"));
    EXPECT_EQ(
        launched[1].rfind("window.postMessage('pushGtmData--{\"event\":\"Spinner Screen Load\"", 0),
        0u)
        << launched[1];
    EXPECT_NE(launched[1].find(R"("screen_load_time":"1.250")"), std::string::npos);
    EXPECT_EQ(launched[2], answer("3", "null"));
    EXPECT_EQ(host->presentedViewController(), rxo->viewController);
    EXPECT_FALSE(platform.presenter().requests().back().animated);
    EXPECT_EQ(DataReporting::collectStoredGtmData(), "[]") << "nothing parked";

    // With the library's own request, a cancelled spinner resets the prepared checkout instead.
    host->dismissViewControllerAnimated(false);
    post(R"({"name":"showLoading","id":"4","data":"x"})");
    cancelSpinner();
    EXPECT_EQ(received(bridge), std::vector<std::string>{answer("4", "true")});
    EXPECT_TRUE(rxo->messageHandlers.empty());
    EXPECT_EQ(post(R"({"name":"launch","id":"5"})"), std::vector<std::string>{answer("5", "null")});

    // A launcher that goes takes its checkout down with it.
    bridge.reset();
    platform.mainQueue().drain();
    EXPECT_EQ(host->presentedViewController(), nullptr);
}

TEST_F(LaunchTest, NativeHandlersOptionsResultsButtonStateAndDataRequests) {
    SDKSettings::setMarketingUrl(URL::parse("https://shop.example/spring"));
    config->profile.setObject(Value("key-1"), "apiKey");
    config->purchaseInfo.dataRequests().set(
        "shipping", Value::closure([](const std::optional<Value>& data, AnswerClosure answerWith) {
            answerWith(Value(Dictionary{{"asked", data.value_or(Value())}}));
        }));
    config->profile.dataRequests().set(
        "shipping", Value::closure([](const std::optional<Value>&, AnswerClosure answerWith) {
            Foreign date;
            date.kind = ForeignKind::Date;
            answerWith(Value(date));
        }));
    bridge = MobileWebViewBridge::initWithLaunchConfig(config);
    platform.mainQueue().drain();
    EXPECT_NE(bridge->webView->customUserAgent().value_or("").find("TDC_SDK/"), std::string::npos);

    EXPECT_EQ(post(R"({"name":"onTinitReady","id":"1"})"),
              std::vector<std::string>{
                  answer("1", "null", R"("Needs messagePath option to be set")", "(null)")});
    EXPECT_EQ(
        post(R"({"name":"onTinitReady","id":"2","messagePath":"window.button.receive"})"),
        std::vector<std::string>{answer(
            "2", R"({"profile":{"apiKey":"key-1","campaignUrl":"https://shop.example/spring"},)"
                 R"("purchaseInfo":{}})")});
    EXPECT_EQ(post(R"({"name":"purchaseInfo.shipping","id":"3","data":"zip"})"),
              std::vector<std::string>{answer("3", R"({"asked":"zip"})")});
    EXPECT_EQ(
        post(R"({"name":"profile.shipping","id":"4"})"),
        std::vector<std::string>{answer("4", "null", R"("Data passed is not json encodable")")});

    EXPECT_EQ(
        post(R"({"name":"buttonClickEnabled","id":"5","data":{"isEnabled":"1","reason":"ok"}})"),
        std::vector<std::string>{answer("5", "null")});
    EXPECT_EQ(post(R"({"name":"result","id":"6","data":"done"})"),
              std::vector<std::string>{answer("6", "null", R"("Data is not a valid dictionary")")});
    EXPECT_EQ(post(R"({"name":"result","id":"7","data":{"type":"payment.success"}})"),
              std::vector<std::string>{answer("7", "null")});
    EXPECT_EQ(post(R"({"name":"onButtonFinishedLoad","id":"8","data":{"html":"<b>Pay</b>"}})"),
              std::vector<std::string>{answer("8", "null")});
    EXPECT_EQ(journal, (std::vector<std::string>{R"(click on "ok")", "result payment.success",
                                                 "rendered <b>Pay</b> -"}));

    // The click question waits for the click; the keyboard is told to the page.
    EXPECT_TRUE(post(R"({"name":"onNativeButtonClick","id":"9"})").empty());
    ASSERT_TRUE(bridge->onClickCompletion);
    bridge->onClickCompletion(JSResult::success(Value(true)));
    EXPECT_EQ(received(bridge), std::vector<std::string>{answer("9", "true")});
    view(bridge).setURL(page);
    NotificationCenter::defaultCenter().post(NotificationName::KeyboardDidShow);
    EXPECT_EQ(received(bridge),
              std::vector<std::string>{
                  "window.postMessage('tandri.sdklite.native-keyboard-open--{}', '*');"});
    SDKSettings::setMarketingUrl(std::nullopt);
}

}  // namespace
}  // namespace tandri

namespace tandri {
namespace {

// A whole native-button checkout, every script the two pages receive and every host call, in
// order: paths registered, options fetched, analytics ready, spinner, the checkout window
// opened by the button page, launch, the checkout page's result, dismissal.
TEST(NativeButtonFlow, FromRegisteredPathsToDismissalInOrder) {
    sim::SimulatedPlatform platform;
    auto host = std::make_shared<ViewController>();
    host->view();
    std::vector<std::string> calls;
    auto button = TandriCheckoutButton::initWithFrame({0, 0, 320, 50});
    TandriProfile profile(Environment::Production, std::string("key-9"), std::string("shop"));
    TandriPurchaseInfo purchase;
    purchase.setObject(Value("12.50"), "total");
    button->onCheckoutWithProfile(
        profile, purchase, host, [&](std::function<void()>) { calls.push_back("ready"); },
        [&] { calls.push_back("tapped"); },
        [&](const TandriCheckoutResult& r) {
            calls.push_back("completion " + r.statusName() + " " +
                            r.valueInResultForKey("last4").value_or(Value("-")).asString());
        });
    auto launcher = button->bridge;
    auto& page = static_cast<SimulatedWebView&>(*launcher->webView);
    const std::string buttonURL = *button->resolvedButtonUrl;
    page.setURL(buttonURL);
    std::size_t seenButton = 0, seenCheckout = 0;
    auto fresh = [&](const WebView& view, std::size_t& mark) {
        platform.mainQueue().drain();
        auto all = platform.webViews().scriptsIn(view);
        std::vector<std::string> out(all.begin() + static_cast<long>(mark), all.end());
        mark = all.size();
        std::erase_if(out, [](const std::string& s) { return s == "navigator.userAgent"; });
        return out;
    };
    auto send = [&](const std::string& json) {
        page.postJSON(JSBridge::kChannelName, json, buttonURL);
        return fresh(page, seenButton);
    };
    auto reply = [](const std::string& path, const std::string& id, const std::string& data) {
        return path + R"(({"id":")" + id + R"(","name":"result","data":)" + data +
               R"(,"error":null}))";
    };

    EXPECT_EQ(send(R"({"name":"registerMessagePaths","id":"1","merchantMessagePath":"btn.rx",)"
                   R"("checkoutMessagePath":"rxo.rx"})"),
              std::vector<std::string>{reply("btn.rx", "1", "null")});
    EXPECT_EQ(send(R"({"name":"onTinitReady","id":"2","messagePath":"btn.rx"})"),
              std::vector<std::string>{
                  reply("btn.rx", "2",
                        R"({"profile":{"environment":0,"apiKey":"key-9","profileName":"shop",)"
                        R"("acceptCanadianDebitCards":true},"purchaseInfo":{"total":"12.50"}})")});
    EXPECT_EQ(send(R"({"name":"onGtmReady","id":"3","data":{"correlationId":"c","visitId":"v"}})"),
              std::vector<std::string>{reply("btn.rx", "3", R"("[]")")});
    EXPECT_TRUE(send(R"({"name":"showLoading","id":"4","data":"x"})").empty());
    ASSERT_TRUE(host->presentedViewController() &&
                host->presentedViewController()->isLoadingSpinner());

    NavigationAction open;
    open.request.url = "https://checkout." + makerDomain() + "/pay";
    auto checkoutView = std::static_pointer_cast<SimulatedWebView>(page.openWindow(open));
    ASSERT_TRUE(checkoutView);
    platform.clock().advance(0.75);
    EXPECT_EQ(send(R"({"name":"launch","id":"5"})"),
              (std::vector<std::string>{
                  reply("btn.rx", "4", "false"),
                  R"(window.postMessage('pushGtmData--{"event":"Spinner Screen Load",)"
                  R"("event_category":"Spinner Screen Load","event_action":"Spinner Screen Load",)"
                  R"("event_label":"Spinner Screen Load - Foreground","screen_name":)"
                  R"("Spinner Screen Load","screen_load_time":"0.750","screen_start_time":)"
                  R"("1700000000000","screen_end_time":"1700000000750"}', '*');)",
                  reply("btn.rx", "5", "null")}));
    EXPECT_EQ(host->presentedViewController(), launcher->rxoBridge->viewController);
    EXPECT_FALSE(platform.presenter().requests().back().animated);

    // The checkout page shares the button page's channel: its result reaches the host (the
    // button re-armed first) and the answer goes back to the checkout page.
    checkoutView->setURL(open.request.url);
    checkoutView->postJSON(
        JSBridge::kChannelName,
        R"({"name":"result","id":"6","data":{"type":"payment.success","result":{"last4":"4242"}}})",
        open.request.url);
    EXPECT_EQ(fresh(*checkoutView, seenCheckout),
              std::vector<std::string>{reply("btn.rx", "6", "null")});
    EXPECT_EQ(calls,
              (std::vector<std::string>{"ready", "ready", "completion payment.success 4242"}));
    EXPECT_NE(button->bridge, launcher);

    // The old launcher still takes the checkout down.
    page.postJSON(JSBridge::kChannelName, R"({"name":"dismiss","id":"7"})", buttonURL);
    EXPECT_EQ(fresh(page, seenButton), std::vector<std::string>{reply("btn.rx", "7", "null")});
    EXPECT_EQ(host->presentedViewController(), nullptr);

    // Foreign frames, malformed bodies and unknown names get nothing from either page's bridge.
    for (auto* view : {&page, checkoutView.get()}) {
        view->postJSON(JSBridge::kChannelName, R"({"name":"get","id":"8","data":"userInfo"})",
                       "https://evil.example/frame");
        view->postJSON(JSBridge::kChannelName, R"({"name":"get","data":"userInfo"})", buttonURL);
        view->postJSON(JSBridge::kChannelName, R"({"name":"nope","id":"9"})", buttonURL);
        view->postJSON(JSBridge::kChannelName, "[1,2", buttonURL);
    }
    EXPECT_TRUE(fresh(page, seenButton).empty());
    EXPECT_TRUE(fresh(*checkoutView, seenCheckout).empty());
}

}  // namespace
}  // namespace tandri
