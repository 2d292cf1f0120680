#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Core/Javascript/JSTandriMessage.hpp"
#include "Core/Utils/DispatchHelper.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "tandri/Json.hpp"

using namespace tandri;

namespace {
const std::string kStars(43, '*');
const std::string kZwnj = "\xe2\x80\x8c";

struct CapturedLogs {
    std::vector<std::string> texts;
    CapturedLogs() {
        Logging::setSink([this](std::string_view t) { texts.emplace_back(t); });
    }
    ~CapturedLogs() { Logging::setSink({}); }
};
}  // namespace

TEST(Logging, BannersByteForByte) {
    auto message =
        JSTandriMessage::initWithDictionary(*json::parse(R"({"name":"get","id":7,"data":"k"})"));
    ASSERT_TRUE(message);
    std::string expectedBody = "{\n  \"data\" : \"k\",\n  \"id\" : 7,\n  \"name\" : \"get\"\n}";
    EXPECT_EQ(incomingBanner(*message, "CheckoutWebViewBridge"),
              "\n\n" + kStars + "\n<---\nCheckoutWebViewBridge.get\n" + kStars + "\n" +
                  expectedBody + "\n" + kZwnj + kZwnj + kZwnj + kZwnj + " ");
    Value response(
        Dictionary{{"id", "7"}, {"name", "result"}, {"data", Value()}, {"error", Value()}});
    EXPECT_EQ(outgoingBanner("get", response, "JSBridge"),
              "\n\n" + kStars + "\n--->\nJSBridge.get\n" + kStars +
                  "\n{\n  \"data\" : null,\n  \"error\" : null,\n  \"id\" : \"7\",\n  \"name\" : "
                  "\"result\"\n}\n");
    EXPECT_EQ(joinedLines({"t"}), "\n\nt\n" + kZwnj + kZwnj + " ");
    EXPECT_EQ(joinedLines({"t", "u"}), "\n\nt\nu\n" + kZwnj + kZwnj + " ");
}

TEST(Logging, PrettyEncodedAndTheSink) {
    EXPECT_EQ(Logging::prettyEncoded(Value(Dictionary{{"b", 1}, {"a", 2}})),
              "{\n  \"a\" : 2,\n  \"b\" : 1\n}");
    EXPECT_EQ(Logging::prettyEncoded(Value("x")), "\"x\"");
    EXPECT_EQ(Logging::prettyEncoded(Value()), "null");
    EXPECT_EQ(Logging::prettyEncoded(Value(Dictionary{{"d", Value::date(0)}})), "null");

    // By default nothing receives the developer logs; a sink sees them exactly.
    EXPECT_FALSE(Logging::enabled());
    {
        CapturedLogs logs;
        EXPECT_TRUE(Logging::enabled());
        logLines({"Error evaluating JavaScript: boom"});
        logOutgoingMessage("set", std::nullopt, "JSBridge");
        ASSERT_EQ(logs.texts.size(), 2u);
        EXPECT_EQ(logs.texts[0], "\n\nError evaluating JavaScript: boom\n" + kZwnj + kZwnj + " ");
        EXPECT_NE(logs.texts[1].find("JSBridge.set\n" + kStars + "\nnull\n"), std::string::npos);
    }
    EXPECT_FALSE(Logging::enabled());
}

TEST(Logging, ProductionLineGoesToTheSystemLog) {
    sim::SimulatedPlatform platform;
    logInProduction("Hello");
    logLines({"not for the system log"});
    ASSERT_EQ(platform.systemLog().lines().size(), 1u);
    EXPECT_EQ(platform.systemLog().lines()[0], "TDC_SDK: Hello");
}

TEST(URLUtils, SecureAndDomainTests) {
    auto url = [](const std::string& s) { return *URL::parse(s); };
    const std::string d = makerDomain();
    EXPECT_TRUE(url("https://" + d + "/x").isSecure());
    EXPECT_FALSE(url("http://" + d).isSecure());
    EXPECT_FALSE(url("HTTPS://" + d).isSecure());
    EXPECT_FALSE(url("//" + d + "/x").isSecure());

    EXPECT_TRUE(url("https://" + d).isTandriDomain());
    EXPECT_TRUE(url("https://a.b." + d + "/path?q").isTandriDomain());
    EXPECT_FALSE(url("https://localhost/").isTandriDomain());
    std::string label = d.substr(0, d.find('.'));
    EXPECT_FALSE(url("https://" + label + ".evil").isTandriDomain());
    EXPECT_FALSE(url("https://x." + d + ".evil.org").isTandriDomain());
    EXPECT_FALSE(url("https://evil" + d).isTandriDomain());
    EXPECT_FALSE(url("https://" + d + ".").isTandriDomain());
    EXPECT_FALSE(url("about:blank").isTandriDomain());
    EXPECT_FALSE(url("https://[::1]/").isTandriDomain());
    EXPECT_FALSE(url("https://127.0.0.1/").isTandriDomain());
    EXPECT_FALSE(URL::parse("https://exa mple.com/"));

    EXPECT_EQ(url("https://h:8443/x").getTargetOrigin(), "https://h:8443");
    EXPECT_EQ(url("https://h/x").getTargetOrigin(), "https://h:(null)");
}

TEST(URLUtils, ButtonAddressesAndBlankTest) {
    EXPECT_EQ(appendMobileButtonWithColor("https://c.example", "standard"),
              "https://c.example/checkout-widget/mobile-button?color=standard");
    EXPECT_EQ(appendMobileButtonWithColor("B", "a b&c"),
              "B/checkout-widget/mobile-button?color=a b&c");
    EXPECT_EQ(appendManualCheckoutURLString("https://c.example"),
              "https://c.example/checkout-widget/mobile-button?manualCheckout");
    EXPECT_TRUE(isNilOrBlank(std::optional<std::string>()));
    EXPECT_TRUE(isNilOrBlank(std::optional<std::string>("")));
    EXPECT_FALSE(isNilOrBlank(std::optional<std::string>(" ")));
    EXPECT_TRUE(
        BlockUtil::isBlock(Value::closure([](const std::optional<Value>&, AnswerClosure) {})));
    EXPECT_FALSE(BlockUtil::isBlock(Value("f")));
    EXPECT_FALSE(BlockUtil::isBlock(std::nullopt));
}

TEST(DispatchHelper, RunsOnMainAtOnceOrMakesTheCallerWait) {
    sim::SimulatedPlatform platform;
    int ranOnMain = 0;
    DispatchHelper::setRunOnMain([&] { ranOnMain += platform.mainQueue().isMainThread(); });
    EXPECT_EQ(ranOnMain, 1);  // at once, not queued
    EXPECT_EQ(platform.mainQueue().pending(), 0u);
    EXPECT_FALSE(DispatchHelper::runOnMain());

    std::atomic<bool> workerReturned{false};
    std::atomic<bool> ranBeforeReturn{false};
    std::thread worker([&] {
        DispatchHelper::setRunOnMain(
            [&] { ranBeforeReturn = !workerReturned && platform.mainQueue().isMainThread(); });
        workerReturned = true;
    });
    // The worker waits until the main thread drains its work.
    EXPECT_TRUE(platform.mainQueue().drainUntil([&] { return workerReturned.load(); }));
    worker.join();
    EXPECT_TRUE(ranBeforeReturn);
}
