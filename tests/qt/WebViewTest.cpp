// What a view sends and what it reports: the request exactly as the core built it, the main
// resource's status deciding whether a load counts, and each view's own user agent.

#include "EngineFixture.hpp"

namespace tandri::qt {
namespace {

using namespace testing;

// Records the view's navigation events; refuses responses of 400 and more, as the checkout
// button and the checkout bridge do.
struct Navigations : NavigationDelegate {
    std::vector<std::string> events;
    bool refuseErrors = true;
    std::string tag(const NavigationHandle& navigation) {
        return "#" + std::to_string(navigation ? navigation->id : 0);
    }
    void webViewDidStartProvisionalNavigation(WebView&, const NavigationHandle& n) override {
        events.push_back("start " + tag(n));
    }
    void webViewDidFinishNavigation(WebView&, const NavigationHandle& n) override {
        events.push_back("finish " + tag(n));
    }
    void webViewDidFailProvisionalNavigation(WebView&, const NavigationHandle& n,
                                             const std::string& error) override {
        events.push_back("fail " + tag(n) + ": " + error);
    }
    void webViewDecidePolicyForNavigationResponse(
        WebView&, const NavigationResponse& response,
        std::function<void(NavigationResponsePolicy)> decide) override {
        events.push_back("response " + std::to_string(response.statusCode) + " " + response.url +
                         (response.forMainFrame ? "" : " (sub)"));
        decide(refuseErrors && response.statusCode >= 400 ? NavigationResponsePolicy::Cancel
                                                          : NavigationResponsePolicy::Allow);
    }
    bool ended() const {
        return !events.empty() &&
               (events.back().starts_with("finish") || events.back().starts_with("fail"));
    }
};

// The recorded requests for `path`, each as "METHOD path | header=value... | body".
std::vector<const Value*> requestsFor(const Value& log, const std::string& path) {
    std::vector<const Value*> out;
    if (!log.isArray()) return out;
    for (const auto& entry : log.asArray()) {
        const Value* p = entry.asDictionary().find("path");
        if (p != nullptr && p->isString() && p->asString() == path) out.push_back(&entry);
    }
    return out;
}

std::string field(const Value& entry, const std::string& name) {
    std::string out;
    for (const auto& pair : entry.asDictionary().find("headers")->asArray()) {
        std::string key = pair.asArray()[0].asString();
        std::transform(key.begin(), key.end(), key.begin(), ::tolower);
        if (key == name) out += (out.empty() ? "" : " | ") + pair.asArray()[1].asString();
    }
    return out;
}

std::string text(const Value& entry, const char* key) {
    const Value* v = entry.asDictionary().find(key);
    return v != nullptr && v->isString() ? v->asString() : "<none>";
}

TEST_F(EngineFixture, TheRequestGoesOutExactlyAsBuiltAndOtherMethodsNotAtAll) {
    auto view = shownView();
    auto navigations = std::make_shared<Navigations>();
    view->setNavigationDelegate(navigations);

    URLRequest post;
    post.url = "https://checkout.tandri.test/checkout?session=1";
    post.method = "POST";
    post.headers = {{"client-key", "KEY-123"}, {"Content-Type", "application/json"}};
    post.addValue("first", "X-Twice");
    post.addValue("second", "x-twice");
    post.body = R"({"session":"s-1","total":"12.50","note":"caf\u00e9 \u20ac"})";
    auto posted = view->loadRequest(post);
    ASSERT_TRUE(spinUntil([&] { return navigations->ended(); }));
    EXPECT_EQ(
        navigations->events,
        (std::vector<std::string>{"start #" + std::to_string(posted->id),
                                  "response 200 https://checkout.tandri.test/checkout?session=1",
                                  "finish #" + std::to_string(posted->id)}));
    EXPECT_EQ(view->url(), post.url);

    URLRequest plain;
    plain.url = "https://checkout.tandri.test/checkout?session=2";
    plain.headers = {{"client-key", "KEY-456"}};
    view->loadRequest(plain);
    navigations->events.clear();
    ASSERT_TRUE(spinUntil([&] { return navigations->ended(); }));

    // A method the engine cannot send as written fails before anything goes out.
    for (const char* method : {"post", "PUT"}) {
        URLRequest other = post;
        other.method = method;
        other.url = std::string("https://checkout.tandri.test/checkout?method=") + method;
        navigations->events.clear();
        auto refused = view->loadRequest(other);
        ASSERT_TRUE(spinUntil([&] { return navigations->ended(); }));
        EXPECT_EQ(navigations->events,
                  std::vector<std::string>{"fail #" + std::to_string(refused->id) +
                                           ": The request method \"" + method +
                                           "\" cannot be sent by this web engine"});
    }

    const Value log = serverRequests();
    auto posts = requestsFor(log, "/checkout?session=1");
    ASSERT_EQ(posts.size(), 1u);
    EXPECT_EQ(text(*posts[0], "method"), "POST");
    EXPECT_EQ(text(*posts[0], "body"), *post.body);
    EXPECT_EQ(field(*posts[0], "client-key"), "KEY-123");
    EXPECT_EQ(field(*posts[0], "content-type"), "application/json");
    EXPECT_EQ(field(*posts[0], "x-twice"), "first, second");
    auto gets = requestsFor(log, "/checkout?session=2");
    ASSERT_EQ(gets.size(), 1u);
    EXPECT_EQ(text(*gets[0], "method"), "GET");
    EXPECT_EQ(text(*gets[0], "body"), "");
    EXPECT_EQ(field(*gets[0], "client-key"), "KEY-456");
    EXPECT_TRUE(requestsFor(log, "/checkout?method=post").empty());
    EXPECT_TRUE(requestsFor(log, "/checkout?method=PUT").empty());
}

TEST_F(EngineFixture, EachViewSendsAndShowsItsOwnUserAgent) {
    auto button = shownView();
    auto checkout = shownView();
    const std::string base = evaluate(*button, "navigator.userAgent");
    button->setCustomUserAgent("Base TDC_SDK/1.0.0");
    checkout->setCustomUserAgent("Base TDC_HSDK/1.0.0");
    button->loadRequest(get("https://checkout.tandri.test/hostile/frame?label=ua-button"));
    checkout->loadRequest(get("https://checkout.tandri.test/hostile/frame?label=ua-checkout"));
    ASSERT_TRUE(showing(*button, "Frame complete"));
    ASSERT_TRUE(showing(*checkout, "Frame complete"));
    EXPECT_EQ(evaluate(*button, "navigator.userAgent"), "\"Base TDC_SDK/1.0.0\"");
    EXPECT_EQ(evaluate(*checkout, "navigator.userAgent"), "\"Base TDC_HSDK/1.0.0\"");
    const Value log = serverRequests();
    auto buttons = requestsFor(log, "/hostile/frame?label=ua-button");
    auto checkouts = requestsFor(log, "/hostile/frame?label=ua-checkout");
    ASSERT_EQ(buttons.size(), 1u);
    ASSERT_EQ(checkouts.size(), 1u);
    EXPECT_EQ(field(*buttons[0], "user-agent"), "Base TDC_SDK/1.0.0");
    EXPECT_EQ(field(*checkouts[0], "user-agent"), "Base TDC_HSDK/1.0.0");

    // Back to the engine's own agent.
    button->setCustomUserAgent(std::nullopt);
    button->reload();
    ASSERT_TRUE(spinUntil([&] { return evaluate(*button, "navigator.userAgent") == base; }));
}

struct NotFoundTest : EngineFixture {
    int buttonStatus() const override { return 404; }
};

TEST_F(NotFoundTest, AButtonPageAnsweredWith404IsAFailedLoad) {
    auto view = shownView();
    auto navigations = std::make_shared<Navigations>();
    view->setNavigationDelegate(navigations);
    const std::string url =
        "https://checkout.tandri.test/checkout-widget/mobile-button?color=standard";
    auto load = view->loadRequest(get(url));
    ASSERT_TRUE(spinUntil([&] { return navigations->ended(); }));
    const std::string tag = "#" + std::to_string(load->id);
    EXPECT_EQ(navigations->events,
              (std::vector<std::string>{"start " + tag, "response 404 " + url,
                                        "fail " + tag + ": Frame load interrupted"}));

    // Allowed, the same answer is a page like any other.
    navigations->refuseErrors = false;
    navigations->events.clear();
    load = view->loadRequest(get(url));
    ASSERT_TRUE(spinUntil([&] { return navigations->ended(); }));
    EXPECT_EQ(navigations->events.back(), "finish #" + std::to_string(load->id));
}

}  // namespace
}  // namespace tandri::qt
