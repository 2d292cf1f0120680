// The host's ways in, on the simulated platform: manual sessions, the checkout button, the
// start-up call and the hybrid plugin, each driven by page messages as a real page would.

#include <gtest/gtest.h>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Bridge/MerchantWebViewBridge.hpp"
#include "Core/Storage/Storage.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/URL.hpp"
#include "Core/Views/Layout.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "tandri/Json.hpp"

namespace tandri {
namespace {

using sim::SimulatedWebView;

struct EntryPointsTest : ::testing::Test {
    void SetUp() override {
        SDKSettings::resetCachedWebviewForTesting();
        host = std::make_shared<ViewController>();
        host->view();
        profile = TandriProfile(Environment::Production, std::string("key"), std::string("shop"));
        frame = "https://checkout." + makerDomain() + "/checkout-widget/mobile-button";
    }
    void TearDown() override {
        Logging::setSink(nullptr);
        SDKSettings::resetCachedWebviewForTesting();
        TandriCheckoutPlugin::main()->setPresentingViewController(nullptr);
        TandriCheckoutPlugin::main()->setTrustedOrigins({});
    }

    /// The page in `view` posts; answers what it received since the last call.
    std::vector<std::string> post(const std::shared_ptr<WebView>& view, const std::string& json,
                                  const std::string& from = "") {
        static_cast<SimulatedWebView&>(*view).postJSON(JSBridge::kChannelName, json,
                                                       from.empty() ? frame : from);
        return received(view);
    }
    std::vector<std::string> received(const std::shared_ptr<WebView>& view) {
        platform.mainQueue().drain();
        auto all = platform.webViews().scriptsIn(*view);
        auto& mark = seen[view.get()];
        std::vector<std::string> fresh(all.begin() + static_cast<long>(mark), all.end());
        mark = all.size();
        std::erase_if(fresh, [](const std::string& s) { return s == "navigator.userAgent"; });
        return fresh;
    }
    static std::string answer(const std::string& id, const std::string& data = "null") {
        return R"(page.receive({"id":")" + id + R"(","name":"result","data":)" + data +
               R"(,"error":null}))";
    }
    std::string lastHTMLIn(const WebView* view) {
        const auto& loads = platform.webViews().loads();
        auto found = std::find_if(loads.rbegin(), loads.rend(),
                                  [view](const sim::Load& load) { return load.webView == view; });
        return found == loads.rend() ? "(nothing loaded)" : found->html;
    }
    std::shared_ptr<WebView> lastLoadedView() {
        for (const auto& weak : platform.webViews().webViews()) {
            auto view = weak.lock();
            if (view && view.get() == platform.webViews().loads().back().webView) return view;
        }
        return nullptr;
    }

    sim::SimulatedPlatform platform;
    std::shared_ptr<ViewController> host;
    TandriProfile profile;
    std::string frame;
    std::map<const WebView*, std::size_t> seen;
};

TEST_F(EntryPointsTest, AManualSessionLaunchesWaitsForThePageAndRearmsAfterASuccess) {
    std::vector<std::function<void()>> closures;
    std::vector<std::string> results;
    TandriCheckoutSDK::configureManualCheckoutSessionWithProfile(
        profile, TandriPurchaseInfo(), host,
        [&](std::function<void()> closure) { closures.push_back(std::move(closure)); },
        [&](const TandriCheckoutResult& result) {
            results.push_back(result.statusName() + " after " + std::to_string(closures.size()));
        });
    ASSERT_EQ(closures.size(), 1u) << "the launch closure comes at once";
    EXPECT_EQ(ManualWebViewBridge::registeredBridgeCount(), 1u);
    auto page = lastLoadedView();
    ASSERT_TRUE(page);
    EXPECT_EQ(platform.webViews().loads().back().request->url,
              "https://checkout.tandri.com/checkout-widget/mobile-button?manualCheckout");
    EXPECT_TRUE(post(page, R"({"name":"ready","id":"0"})").empty()) << "not before the request";

    post(page, R"({"name":"onGtmReady","id":"g","data":{}})");
    EXPECT_TRUE(post(page, R"({"name":"onNativeButtonClick","id":"1"})").empty());
    closures[0]();  // the host's own control is tapped
    platform.mainQueue().drain();
    auto spinner =
        std::dynamic_pointer_cast<LoadingSpinnerViewController>(host->presentedViewController());
    ASSERT_TRUE(spinner);
    EXPECT_EQ(
        received(page),
        std::vector<std::string>{R"((null)({"id":"1","name":"result","data":true,"error":null}))"});

    post(page, R"({"name":"onTinitReady","id":"2","messagePath":"page.receive"})");
    EXPECT_TRUE(post(page, R"({"name":"onManualCheckout","id":"3"})").empty());
    EXPECT_EQ(ManualWebViewBridge::registeredBridgeCount(), 0u);
    // The parked click question is answered again, now with false.
    EXPECT_EQ(post(page, R"({"name":"ready","id":"4"})"),
              (std::vector<std::string>{answer("1", "false"), answer("4")}));
    ASSERT_EQ(closures.size(), 2u) << "the answer closure";
    EXPECT_TRUE(post(page, R"({"name":"ready","id":"5"})").empty()) << "a session runs once";
    closures[1]();
    EXPECT_EQ(received(page), std::vector<std::string>{answer("3")});

    // A success opens the next session (a new launch closure) before the host hears of it.
    EXPECT_EQ(post(page, R"({"name":"result","id":"6","data":{"type":"payment.success"}})"),
              std::vector<std::string>{answer("6")});
    EXPECT_EQ(results, std::vector<std::string>{"payment.success after 3"});
    EXPECT_EQ(ManualWebViewBridge::registeredBridgeCount(), 1u);

    // A new session silences the one before; an error dismisses the spinner without re-arming.
    auto second = lastLoadedView();
    TandriCheckoutSDK::configureManualCheckoutSessionWithProfile(
        profile, TandriPurchaseInfo(), host,
        [&](std::function<void()> c) { closures.push_back(c); },
        [&](const TandriCheckoutResult& result) { results.push_back(result.statusName()); });
    EXPECT_TRUE(post(second, R"({"name":"onTinitReady","id":"7","messagePath":"p"})").empty());
    EXPECT_EQ(host->presentedViewController(), spinner);
    auto third = lastLoadedView();
    post(third, R"({"name":"onTinitReady","id":"8","messagePath":"page.receive"})");
    post(third, R"({"name":"result","id":"9","data":{"type":"payment.error"}})");
    EXPECT_EQ(results.back(), "payment.error");
    EXPECT_EQ(host->presentedViewController(), nullptr);
    EXPECT_EQ(ManualWebViewBridge::registeredBridgeCount(), 1u);
}

TEST_F(EntryPointsTest, TheButtonLoadsItsPageCachesItsCopyAndRearmsAfterACancel) {
    std::vector<std::string> log;
    Logging::setSink([&](std::string_view text) { log.emplace_back(text); });
    auto button = TandriCheckoutButton::initWithFrame({0, 0, 300, 48});
    EXPECT_EQ(button->accessibilityLabel(), "Click to pay with payment icon");
    const auto loadsBefore = platform.webViews().loads().size();
    button->setStyle(0);
    EXPECT_EQ(platform.webViews().loads().size(), loadsBefore) << "nothing armed yet";

    int taps = 0, readies = 0;
    std::vector<std::string> completions;
    button->onCheckoutWithProfile(
        profile, TandriPurchaseInfo(), host, [&](std::function<void()>) { ++readies; },
        [&] { ++taps; },
        [&](const TandriCheckoutResult& r) {
            completions.push_back(r.statusName() + " with " + std::to_string(readies));
        });
    EXPECT_EQ(readies, 1);
    EXPECT_EQ(button->resolvedButtonUrl,
              "https://checkout.tandri.com/checkout-widget/mobile-button?color=neutral");
    button->setStandardStyle(true);
    EXPECT_FALSE(button->standardStyle());
    EXPECT_EQ(button->style(), 1);
    EXPECT_EQ(button->resolvedButtonUrl,
              "https://checkout.tandri.com/checkout-widget/mobile-button?color=standard");

    // The container takes every tap; both pages fill it, the cached copy on top.
    layoutViewTree(*button, {0, 0, 300, 48});
    EXPECT_EQ(button->containerView->subviews().size(), 2u);
    EXPECT_EQ(button->containerView->subviews()[1], SDKSettings::cachedWebviewHost());
    EXPECT_EQ(SDKSettings::cachedWebviewHost()->frame(), (Rect{0, 0, 300, 48}));
    button->containerView->gestureRecognizers().at(0).fire();
    EXPECT_EQ(taps, 1);

    auto page = button->bridge->webView;
    auto& view = static_cast<SimulatedWebView&>(*page);
    EXPECT_FALSE(page->scrollEnabled() || page->zoomEnabled()) << "the button page stays put";
    EXPECT_EQ(view.respond({*button->resolvedButtonUrl, 404, true}),
              NavigationResponsePolicy::Cancel);
    EXPECT_NE(log.back().find("Status code: 404"), std::string::npos);
    view.failProvisionalNavigation(view.lastNavigation(), "Not Found");
    EXPECT_TRUE(button->liveWebViewHost->isHidden()) << "the cached copy stays visible";
    view.finishNavigation(view.lastNavigation());
    EXPECT_FALSE(button->liveWebViewHost->isHidden());

    post(page, R"({"name":"onTinitReady","id":"1","messagePath":"page.receive"})");
    post(
        page,
        R"({"name":"onButtonFinishedLoad","id":"2","data":{"html":"<b>Pay</b>","altText":"Pay now"}})");
    EXPECT_EQ(button->accessibilityLabel(), "Pay now");
    EXPECT_EQ(lastHTMLIn(SDKSettings::cachedWebview().get()), "<b>Pay</b>");
    button->setButtonAccessibility(Value(""));
    EXPECT_EQ(button->accessibilityLabel(), "Pay now");
    post(page, R"({"name":"buttonClickEnabled","id":"3","data":{"isEnabled":false}})");
    EXPECT_FALSE(button->containerView->isUserInteractionEnabled());

    // A cancel re-arms the button (a new bridge, the ready callback again) before the host hears.
    post(page, R"({"name":"result","id":"4","data":{"type":"payment.cancel"}})");
    EXPECT_EQ(completions, std::vector<std::string>{"payment.cancel with 2"});
    EXPECT_NE(button->bridge->webView, page);
    // The page made again shows the same origin: it may start in the old page's engine process.
    EXPECT_EQ(static_cast<SimulatedWebView&>(*button->bridge->webView).madeBeside.lock(), page);
    // A page showing another origin lends nothing.
    auto again = button->bridge->webView;
    static_cast<SimulatedWebView&>(*again).setURL("https://elsewhere.example/button");
    post(again, R"({"name":"result","id":"5","data":{"type":"payment.cancel"}})");
    ASSERT_NE(button->bridge->webView, again);
    EXPECT_EQ(static_cast<SimulatedWebView&>(*button->bridge->webView).madeBeside.lock(), nullptr);

    // The next run (the same stores, a fresh cached view) shows the cached copy and the label
    // at once.
    SDKSettings::resetCachedWebviewForTesting();
    EXPECT_FALSE(TandriCheckoutSDK::configured());
    TandriCheckoutSDK::configure();
    EXPECT_TRUE(TandriCheckoutSDK::configured());
    EXPECT_FALSE(TandriCheckoutSDK::isReady());
    platform.mainQueue().drain();
    EXPECT_EQ(lastHTMLIn(SDKSettings::cachedWebview().get()), "<b>Pay</b>");
    EXPECT_EQ(TandriCheckoutButton::initWithFrame({})->accessibilityLabel(), "Pay now");
    EXPECT_EQ(TandriCheckoutButton::miniButtonImage()->name, "mini_tandri_checkout");
}

TEST_F(EntryPointsTest, TheHybridPluginAdoptsTheHostPageAndForwardsAbandonmentsToIt) {
    EXPECT_EQ(TandriCheckoutPlugin::main(), TandriCheckoutPlugin::main());
    EXPECT_FALSE(TandriCheckoutPlugin::finishSetupWithRequest({}, nullptr));
    auto hostPage = platform.webViews().makeWebView();
    TandriCheckoutPlugin::configure(*hostPage->configuration()->userContentController, host);
    auto bridge = TandriCheckoutPlugin::main()->merchantBridge;
    ASSERT_TRUE(bridge);
    EXPECT_FALSE(bridge->webView);

    // The merchant's own page is on its own domain: it is answered anyway.
    const std::string shop = "https://shop.example/checkout";
    EXPECT_EQ(
        post(hostPage,
             R"({"name":"registerMessagePaths","id":"1","merchantMessagePath":"page.receive"})",
             shop),
        std::vector<std::string>{answer("1")});
    EXPECT_EQ(bridge->webView, hostPage);
    static_cast<SimulatedWebView&>(*hostPage).post(
        kTandriSupportsSRC, Value(Dictionary{{"name", Value("set")}, {"id", Value("2")}}), shop);
    EXPECT_TRUE(received(hostPage).empty()) << "only the channel's own name is dispatched";

    // The host's new-window callback gets the checkout's web view, marked as hybrid.
    URLRequest request;
    request.url = "https://checkout." + makerDomain() + "/pay";
    auto checkout =
        TandriCheckoutPlugin::finishSetupWithRequest(request, hostPage->configuration());
    ASSERT_TRUE(checkout);
    platform.mainQueue().drain();
    EXPECT_NE(checkout->customUserAgent()->find("TDC_HSDK/"), std::string::npos);

    // The two pages are linked: what the merchant page forwards reaches the checkout page whole.
    EXPECT_TRUE(post(hostPage, R"({"name":"forward","id":"f","data":{"step":1}})", shop).empty());
    EXPECT_EQ(
        received(checkout),
        std::vector<std::string>{R"(page.receive({"name":"forward","id":"f","data":{"step":1}}))"});

    // With the identifiers known, the spinner's abandonment goes straight to the page.
    static_cast<SimulatedWebView&>(*hostPage).setURL(shop);
    post(hostPage, R"({"name":"onGtmReady","id":"3","data":{"correlationId":"c","visitId":"v"}})",
         shop);
    post(hostPage, R"({"name":"showLoading","id":"4","data":"x"})", shop);
    std::dynamic_pointer_cast<LoadingSpinnerViewController>(host->presentedViewController())
        ->exitSpinner();
    auto pushed = received(hostPage);
    ASSERT_EQ(pushed.size(), 2u);
    EXPECT_EQ(pushed[0],
              "window.postMessage('pushGtmData--{\"event\":\"abandonment\",\"event_action\":"
              "\"abandonment\",\"event_label\":\"abandonment\",\"abandonment_type\":"
              "\"intentional\"}', '*');");
    EXPECT_EQ(pushed[1], answer("4", "true"));

    // No presenting screen: no bridge, messages go nowhere.
    TandriCheckoutPlugin::main()->setPresentingViewController(nullptr);
    EXPECT_TRUE(post(hostPage, R"({"name":"onGtmReady","id":"5"})", shop).empty());
    // A bridge that adopted the page leaves the plugin listening when it goes: the next screen's
    // bridge hears the page.
    TandriCheckoutPlugin::main()->setPresentingViewController(host);
    EXPECT_TRUE(
        hostPage->configuration()->userContentController->hasScriptMessageHandler(kTandriMessage));
    EXPECT_EQ(
        post(hostPage,
             R"({"name":"registerMessagePaths","id":"6","merchantMessagePath":"page.receive"})",
             shop),
        std::vector<std::string>{answer("6")});
}

TEST_F(EntryPointsTest, TheHybridPluginKeepsOnlyExactOriginsAndGivesThemToEachScreensBridge) {
    auto plugin = TandriCheckoutPlugin::main();
    plugin->setTrustedOrigins({"https://Pay.EXAMPLE", "https://pay.example:443",
                               "http://a.example:80", "https://b.example:8443",
                               "https://[::1]:9000", "https://c.example/", "https://c.example?x",
                               "https://u@c.example", "c.example", "https://",
                               "javascript:alert(1)"});
    const std::vector<std::string> kept = {"https://pay.example", "http://a.example",
                                           "https://b.example:8443", "https://[::1]:9000"};
    EXPECT_EQ(plugin->trustedOrigins(), kept);
    plugin->setPresentingViewController(host);
    EXPECT_EQ(plugin->merchantBridge->trustedOrigins, kept);
    plugin->setTrustedOrigins({});
    EXPECT_TRUE(plugin->merchantBridge->trustedOrigins.empty());
}

}  // namespace
}  // namespace tandri

namespace tandri {
namespace {

std::size_t liveViews(sim::SimulatedPlatform& platform) {
    std::size_t live = 0;
    for (const auto& weak : platform.webViews().webViews()) live += weak.expired() ? 0 : 1;
    return live;
}

TEST_F(EntryPointsTest, BridgesViewsAndScreensGoWhenTheirCheckoutEnds) {
    // A manual session whose page asked for the checkout and never said "ready" is let go when
    // the next session opens, with its web view and handlers.
    std::vector<std::function<void()>> closures;
    auto keep = [&](std::function<void()> c) { closures.push_back(std::move(c)); };
    TandriCheckoutSDK::configureManualCheckoutSessionWithProfile(profile, TandriPurchaseInfo(),
                                                                 host, keep, nullptr);
    std::weak_ptr<WebView> abandoned = lastLoadedView();
    post(abandoned.lock(), R"({"name":"onManualCheckout","id":"1"})");
    closures.clear();
    platform.mainQueue().drain();
    EXPECT_FALSE(abandoned.expired()) << "still waiting for its page";
    TandriCheckoutSDK::configureManualCheckoutSessionWithProfile(profile, TandriPurchaseInfo(),
                                                                 host, keep, nullptr);
    platform.mainQueue().drain();
    EXPECT_TRUE(abandoned.expired());

    // A whole button checkout: afterwards only the re-armed button's page, the cached copy and
    // the new session's page are alive; the spinner, the checkout screen and its page are gone.
    auto button = TandriCheckoutButton::initWithFrame({0, 0, 300, 48});
    button->onCheckoutWithProfile(
        profile, TandriPurchaseInfo(), host, keep, [] {}, [](const TandriCheckoutResult&) {});
    auto page = button->bridge->webView;
    post(page, R"({"name":"registerMessagePaths","id":"1","merchantMessagePath":"p",)"
               R"("checkoutMessagePath":"c"})");
    post(page, R"({"name":"showLoading","id":"2","data":"x"})");
    NavigationAction open;
    open.request.url = "https://checkout." + makerDomain() + "/pay";
    std::weak_ptr<WebView> checkout = static_cast<SimulatedWebView&>(*page).openWindow(open);
    std::weak_ptr<ViewController> spinner = host->presentedViewController();
    ASSERT_FALSE(spinner.expired());
    post(page, R"({"name":"launch","id":"3"})");
    std::weak_ptr<ViewController> screen = host->presentedViewController();
    std::weak_ptr<LaunchingWebViewBridge> launcher = button->bridge;
    post(checkout.lock(), R"({"name":"result","id":"4","data":{"type":"payment.success"}})");
    post(page, R"({"name":"dismiss","id":"5"})");
    page.reset();
    closures.clear();
    platform.mainQueue().drain();
    EXPECT_TRUE(spinner.expired());
    EXPECT_TRUE(screen.expired());
    EXPECT_TRUE(checkout.expired());
    EXPECT_TRUE(launcher.expired());
    EXPECT_EQ(host->presentedViewController(), nullptr);
    EXPECT_EQ(liveViews(platform), 3u) << "the new button page, the cached copy, the session page";
}

}  // namespace
}  // namespace tandri
