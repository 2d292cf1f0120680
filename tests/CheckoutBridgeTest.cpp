// The checkout web view's bridge and its screens on the simulated platform: the request it
// builds, the first load it reports, the responses and windows it polices, and the card image
// it keeps across runs.

#include <gtest/gtest.h>

#include "Core/Bridge/CheckoutWebViewBridge.hpp"
#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/NotificationCenter.hpp"
#include "Core/Utils/URL.hpp"
#include "Core/Views/Layout.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "tandri/Json.hpp"

namespace tandri {
namespace {

using sim::SimulatedWebView;

struct CheckoutBridgeTest : ::testing::Test {
    void SetUp() override {
        Logging::setSink([this](std::string_view text) { logged.emplace_back(text); });
        host = std::make_shared<ViewController>();
        page = "https://checkout." + makerDomain() + "/pay";
        CheckoutWebViewBridge::resetMiniButtonImageForTesting();
    }
    void TearDown() override {
        Logging::setSink(nullptr);
        NotificationCenter::defaultCenter().removeAllObservers();
        CheckoutWebViewBridge::resetMiniButtonImageForTesting();
    }

    std::shared_ptr<CheckoutWebViewBridge> make(std::optional<std::string> method,
                                                CheckoutWebViewBridge::Headers headers = {}) {
        return CheckoutWebViewBridge::initWithUrlString(
            page, method, headers, std::string(R"({"cart":1})"), std::string("rxo.receive"), host,
            "TDC_SDK/1.0.0", [this](const JSResult& result) { results.push_back(result); });
    }
    SimulatedWebView& viewOf(const std::shared_ptr<CheckoutWebViewBridge>& bridge) {
        return static_cast<SimulatedWebView&>(*bridge->webView);
    }
    const sim::Load& lastLoad() { return platform.webViews().loads().back(); }

    sim::SimulatedPlatform platform;
    std::vector<std::string> logged;
    std::vector<JSResult> results;
    std::shared_ptr<ViewController> host;
    std::string page;
};

TEST_F(CheckoutBridgeTest, TheRequestCarriesItsMethodHeadersAndBodyAfterTheUserAgent) {
    auto post = make("POST", {{"Accept", "text/html"}, {"X-Trace", "a"}, {"x-trace", "b"}});
    ASSERT_TRUE(post);
    // The load waits until the user agent carries the suffix.
    EXPECT_TRUE(platform.webViews().loads().empty());
    platform.mainQueue().drain();
    ASSERT_EQ(platform.webViews().loads().size(), 1u);
    ASSERT_TRUE(lastLoad().request);
    const URLRequest& request = *lastLoad().request;
    EXPECT_EQ(request.url, page);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.body, R"({"cart":1})");
    EXPECT_EQ(request.valueForField("X-Trace"), "a, b");
    EXPECT_EQ(request.valueForField("accept"), "text/html");
    EXPECT_NE(post->webView->customUserAgent().value_or("").find(" TDC_SDK/1.0.0"),
              std::string::npos);
    EXPECT_TRUE(post->webView->configuration()->userContentController->hasScriptMessageHandler(
        JSBridge::kChannelName));
    EXPECT_EQ(post->messageHandlers.size(), 3u);
    EXPECT_TRUE(post->messageHandlers.count("newCardArt"));
    // The checkout page scrolls but never zooms.
    EXPECT_TRUE(post->webView->scrollEnabled());
    EXPECT_FALSE(post->webView->zoomEnabled());

    // Only exactly "POST" sends the body; without a method the request stays a GET.
    auto lower = make("post");
    platform.mainQueue().drain();
    EXPECT_EQ(lastLoad().request->method, "post");
    EXPECT_FALSE(lastLoad().request->body);
    auto none = make(std::nullopt);
    platform.mainQueue().drain();
    EXPECT_EQ(lastLoad().request->method, "GET");
    EXPECT_FALSE(lastLoad().request->body);

    // Text that makes no URL makes no bridge.
    page = "";
    EXPECT_FALSE(make("GET"));
    page = "https://bad host/";
    EXPECT_FALSE(make("GET"));
}

TEST_F(CheckoutBridgeTest, TheFirstLoadReportsOnceForItsOwnNavigationWithTheSpinnerState) {
    auto bridge = make("GET");
    auto& view = viewOf(bridge);
    // A navigation finishing before the load has begun, or another one, reports nothing.
    view.finishNavigation(view.startProvisionalNavigation());
    platform.mainQueue().drain();
    auto own = lastLoad().navigation;
    view.finishNavigation(view.startProvisionalNavigation());
    EXPECT_TRUE(results.empty());
    ASSERT_TRUE(bridge->loadComplete);

    // The spinner is up when the load ends: success with true, once.
    auto spinner = LoadingSpinnerViewController::initWithExitCallback([](bool) {});
    host->presentViewController(spinner, false);
    platform.mainQueue().drain();
    view.finishNavigation(own);
    view.finishNavigation(own);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_FALSE(results[0].errorMessage());
    EXPECT_EQ(results[0].data(), Value(true));
    EXPECT_FALSE(bridge->loadComplete);

    // Nothing presented: success with false. A failure: its text, and a log line.
    host->dismissViewControllerAnimated(false);
    platform.mainQueue().drain();
    auto second = make("GET");
    platform.mainQueue().drain();
    viewOf(second).finishNavigation(lastLoad().navigation);
    EXPECT_EQ(results.back().data(), Value(false));
    auto third = make("GET");
    platform.mainQueue().drain();
    logged.clear();
    viewOf(third).failProvisionalNavigation(lastLoad().navigation, "The Internet is offline.");
    EXPECT_EQ(results.back().errorMessage(), "The Internet is offline.");
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_NE(logged[0].find("Failed navigation: \nThe Internet is offline."), std::string::npos);

    // A reset bridge neither reports nor answers.
    auto reset = make("GET");
    platform.mainQueue().drain();
    reset->manualReset();
    viewOf(reset).finishNavigation(lastLoad().navigation);
    EXPECT_EQ(results.size(), 3u);
    EXPECT_TRUE(reset->messageHandlers.empty());
}

TEST_F(CheckoutBridgeTest, ResponsesWindowsAndTheTransitionSpinnerOfALinkedBridge) {
    auto launcherConfig = platform.webViews().makeConfiguration();
    URLRequest request;
    request.url = page;
    auto linked = CheckoutWebViewBridge::initWithUrlRequest(request, launcherConfig, "rxo.receive",
                                                            host, "TDC_SDK/1.0.0", true);
    ASSERT_TRUE(linked);
    EXPECT_TRUE(linked->isLinkedCheckoutBridge);
    EXPECT_TRUE(launcherConfig->preferences.javaScriptCanOpenWindowsAutomatically);
    EXPECT_FALSE(
        launcherConfig->userContentController->hasScriptMessageHandler(JSBridge::kChannelName));
    platform.mainQueue().drain();
    auto& view = viewOf(linked);
    auto own = lastLoad().navigation;
    EXPECT_EQ(lastLoad().request->url, page);

    // Before the first load ends the transition spinner stays still; afterwards it turns with
    // every navigation.
    view.startProvisionalNavigation(own);
    EXPECT_FALSE(linked->loadingIndicator->isAnimating());
    view.finishNavigation(own);
    EXPECT_FALSE(linked->loadComplete);
    view.startProvisionalNavigation();
    EXPECT_TRUE(linked->loadingIndicator->isAnimating());
    view.failNavigation(view.startProvisionalNavigation(), "cancelled");
    EXPECT_FALSE(linked->loadingIndicator->isAnimating());

    // Main-frame HTTP errors are cancelled; sub-frames and good pages are allowed.
    EXPECT_EQ(view.respond({page, 404, true}), NavigationResponsePolicy::Cancel);
    EXPECT_EQ(view.respond({page, 200, true}), NavigationResponsePolicy::Allow);
    EXPECT_EQ(view.respond({"https://cdn.example/x.js", 500, false}),
              NavigationResponsePolicy::Allow);

    // Windows: by script a pop-up over the checkout, by link the system browser, else nothing.
    NavigationAction action;
    action.request.url = "https://help.example/terms";
    action.navigationType = NavigationType::LinkActivated;
    EXPECT_FALSE(view.openWindow(action));
    EXPECT_EQ(platform.urlOpener().opened(), std::vector<std::string>{action.request.url});
    action.navigationType = NavigationType::FormSubmitted;
    EXPECT_FALSE(view.openWindow(action));
    action.navigationType = NavigationType::Other;
    action.targetsMainFrame = true;
    EXPECT_FALSE(view.openWindow(action));
    action.targetsMainFrame = false;
    auto window = view.openWindow(action);
    ASSERT_TRUE(window);
    platform.mainQueue().drain();
    auto popup = std::dynamic_pointer_cast<PopupViewController>(
        linked->viewController->presentedViewController());
    ASSERT_TRUE(popup);
    EXPECT_EQ(popup->webView(), window);

    // The pop-up opens nothing itself, sends links out, and closes with its page.
    auto& popupView = static_cast<SimulatedWebView&>(*window);
    EXPECT_FALSE(popupView.openWindow(action));
    action.navigationType = NavigationType::LinkActivated;
    action.request.url = "https://help.example/privacy";
    EXPECT_FALSE(popupView.openWindow(action));
    EXPECT_EQ(platform.urlOpener().opened().back(), action.request.url);
    popupView.closeWindow();
    platform.mainQueue().drain();
    EXPECT_FALSE(linked->viewController->presentedViewController());

    // The linked bridge leaves the launcher's channel where it is.
    launcherConfig->userContentController->addScriptMessageHandler(nullptr, JSBridge::kChannelName);
    linked.reset();
    EXPECT_TRUE(
        launcherConfig->userContentController->hasScriptMessageHandler(JSBridge::kChannelName));
}

TEST_F(CheckoutBridgeTest, ScreensByOSVersionAndTheBlurWhileInTheBackground) {
    for (int os : {10, 17}) {
        platform.setOSVersion(os);
        auto bridge = make("GET");
        auto controller = bridge->viewController;
        EXPECT_EQ(controller->modalPresentationStyle(), ModalPresentationStyle::FullScreen);
        EXPECT_EQ(controller->modalTransitionStyle(), ModalTransitionStyle::CrossDissolve);
        EXPECT_EQ(controller->preferredStatusBarStyle(),
                  os >= 13 ? StatusBarStyle::DarkContent : StatusBarStyle::Default);
        auto root = controller->view();
        layoutViewTree(*root, {0, 0, 375, 812}, {44, 0, 34, 0});
        EXPECT_EQ(bridge->webViewHost->frame(),
                  os >= 11 ? (Rect{0, 44, 375, 734}) : (Rect{0, 20, 375, 792}));
        EXPECT_EQ(bridge->webViewHost->webView(), bridge->webView);
        EXPECT_EQ(root->subviews().back(), bridge->loadingIndicator);
        EXPECT_TRUE(bridge->loadingIndicator->isHidden());
    }

    auto bridge = make("GET");
    auto root = bridge->viewController->view();
    auto& center = NotificationCenter::defaultCenter();
    center.post(NotificationName::ApplicationWillResignActive);
    EXPECT_EQ(root->subviews().size(), 2u) << "resigning active alone leaves the page visible";
    center.post(NotificationName::ApplicationDidEnterBackground);
    center.post(NotificationName::ApplicationDidEnterBackground);
    ASSERT_EQ(root->subviews().size(), 4u);
    auto blur = std::dynamic_pointer_cast<BlurView>(root->subviews()[2]->subviews().at(0));
    ASSERT_TRUE(blur);
    EXPECT_EQ(blur->style(), BlurView::Style::Regular);
    EXPECT_EQ(blur->frame(), root->bounds());
    center.post(NotificationName::ApplicationWillEnterForeground);
    EXPECT_EQ(root->subviews().size(), 3u) << "only the latest overlay goes";
    EXPECT_FALSE(bridge->viewController->overlayView);
}

TEST_F(CheckoutBridgeTest, PopupBarByOSVersionAndItsCancelButton) {
    for (int os : {12, 13}) {
        platform.setOSVersion(os);
        auto popup = std::make_shared<PopupViewController>();
        popup->setWebView(platform.webViews().makeWebView());
        host->presentViewController(popup, false);
        platform.mainQueue().drain();
        auto bar = popup->navigationBar;
        EXPECT_FALSE(bar->isTranslucent());
        auto cancel = bar->rightBarButtonItem();
        ASSERT_TRUE(cancel);
        EXPECT_EQ(cancel->systemItem, BarButtonItem::SystemItem::Cancel);
        if (os >= 13) {
            EXPECT_EQ(popup->view()->backgroundColor(), Color::systemBackground());
            EXPECT_EQ(bar->barTintColor(), Color::systemGray6());
            EXPECT_EQ(cancel->tintColor, Color::systemBlue());
        } else {
            const Color light{0.9490196078431372, 0.9490196078431372, 0.9686274509803922, 1, {}};
            EXPECT_EQ(popup->view()->backgroundColor(), light);
            EXPECT_EQ(bar->barTintColor(), light);
            EXPECT_FALSE(cancel->tintColor);
        }
        layoutViewTree(*popup->view(), {0, 0, 375, 812}, {44, 0, 34, 0});
        EXPECT_EQ(popup->webViewHost->frame(), (Rect{0, 88, 375, 690}));
        cancel->trigger();
        platform.mainQueue().drain();
        EXPECT_FALSE(host->presentedViewController());
    }
}

TEST_F(CheckoutBridgeTest, CardArtIsKeptOnDiskSharedInMemoryAndAnnounced) {
    std::vector<BitmapRef> announced;
    NotificationCenter::defaultCenter().addObserver(
        std::string(NotificationName::MiniButtonImageChanged), [&](const Notification& n) {
            announced.push_back(std::static_pointer_cast<const Bitmap>(n.object));
        });
    auto bridge = make("GET");
    auto send = [&](const std::string& dataJson, sim::SimulatedPlatform& in) {
        viewOf(bridge).postJSON(JSBridge::kChannelName,
                                R"({"name":"newCardArt","id":"7","data":)" + dataJson + "}", page);
        in.mainQueue().drain();
        return in.webViews().scriptsIn(*bridge->webView).back();
    };

    // A 2×1 picture in the codec's bytes, Base64 with line breaks and stray characters in it.
    Bitmap card;
    card.width = 2;
    card.height = 1;
    card.rgba = {255, 0, 0, 255, 0, 0, 255, 255};
    auto bytes = *platform.imageCodec().encodePNG(card);
    static const char* alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string base64;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t n = bytes[i] << 16;
        if (i + 1 < bytes.size()) n |= bytes[i + 1] << 8;
        if (i + 2 < bytes.size()) n |= bytes[i + 2];
        base64 += alphabet[(n >> 18) & 63];
        base64 += alphabet[(n >> 12) & 63];
        base64 += i + 1 < bytes.size() ? alphabet[(n >> 6) & 63] : '=';
        base64 += i + 2 < bytes.size() ? alphabet[n & 63] : '=';
        if (i % 12 == 9) base64 += "\\n*";
    }
    EXPECT_EQ(send("\"" + base64 + "\"", platform),
              R"(rxo.receive({"id":"7","name":"result","data":null,"error":null}))");
    auto shown = CheckoutWebViewBridge::miniButtonImage();
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->rgba, card.rgba);
    ASSERT_EQ(announced.size(), 1u);
    EXPECT_EQ(announced[0], shown);
    auto file = CheckoutWebViewBridge::miniButtonFileURL();
    ASSERT_TRUE(file);
    EXPECT_NE(file->find("/tandri/cache/minibuttonimage.png"), std::string::npos);

    // Data that is not a string changes nothing.
    send("42", platform);
    EXPECT_EQ(announced.size(), 1u);
    EXPECT_TRUE(CheckoutWebViewBridge::miniButtonImage());
    bridge.reset();

    // The next process shows the same picture, read back from the disk; there, data that is no
    // picture clears it, file and all.
    sim::SimulatedPlatform next(platform.sharedFiles());
    CheckoutWebViewBridge::resetMiniButtonImageForTesting();
    auto again = CheckoutWebViewBridge::miniButtonImage();
    ASSERT_TRUE(again);
    EXPECT_EQ(again->rgba, card.rgba);
    announced.clear();
    NotificationCenter::defaultCenter().addObserver(
        std::string(NotificationName::MiniButtonImageChanged), [&](const Notification& n) {
            announced.push_back(std::static_pointer_cast<const Bitmap>(n.object));
        });
    bridge = make("GET");
    send("\"%%% not base64 %%%\"", next);
    EXPECT_FALSE(CheckoutWebViewBridge::miniButtonImage());
    EXPECT_FALSE(next.files().exists(*file));
    ASSERT_EQ(announced.size(), 1u);
    EXPECT_EQ(announced[0], nullptr);
}

}  // namespace
}  // namespace tandri
