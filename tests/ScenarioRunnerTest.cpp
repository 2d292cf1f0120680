// The scenario runner behind tandri-sim: the same scenario gives the same bytes, the stores it
// carries between runs keep every stored type, and the banners come out only when asked.

#include <gtest/gtest.h>

#include <malloc.h>

#include <algorithm>

#include "Scenario.hpp"

namespace tandri::simtool {
namespace {

std::vector<std::string> play(const std::vector<std::string>& events, bool trace = false,
                              const std::string& stores = "", std::string* saved = nullptr) {
    std::vector<std::string> out;
    ScenarioRunner runner([&](const std::string& line) { out.push_back(line); }, {.trace = trace});
    if (!stores.empty()) runner.loadStores(stores);
    for (const auto& event : events) runner.play(event);
    if (saved) *saved = runner.saveStores();
    return out;
}

const std::vector<std::string> kCheckout = {
    R"({"event":"configure"})",
    R"({"event":"button.arm","profile":{"apiKey":"k"},"purchaseInfo":{"total":"1.00"}})",
    R"({"event":"message","view":"button","body":{"name":"registerMessagePaths","id":"1",)"
    R"("merchantMessagePath":"p.rx","checkoutMessagePath":"rxo.rx"}})",
    R"({"event":"message","view":"button","body":{"name":"showLoading","id":"2","data":"x"}})",
    R"({"event":"time.advance","seconds":0.5})",
    R"({"event":"spinner.close"})",
    R"({"event":"message","view":"button","body":{"name":"result","id":"3",)"
    R"("data":{"type":"payment.cancel"}}})",
};

TEST(ScenarioRunner, SameScenarioSameBytesAndBannersOnlyWhenAsked) {
    auto first = play(kCheckout);
    EXPECT_EQ(first, play(kCheckout));
    ASSERT_FALSE(first.empty());
    EXPECT_NE(
        std::find(first.begin(), first.end(),
                  R"x({"effect":"evaluate","view":"w3","script":"p.rx({\"id\":\"3\",\"name\":)x"
                  R"x(\"result\",\"data\":null,\"error\":null})"})x"),
        first.end());
    for (const auto& line : first) EXPECT_EQ(line.find(R"("trace")"), std::string::npos);

    auto traced = play(kCheckout, true);
    const auto banners = std::count_if(traced.begin(), traced.end(), [](const std::string& l) {
        return l.rfind(R"({"effect":"trace")", 0) == 0;
    });
    EXPECT_GE(banners, 6) << "each message in and each answer out";
    std::erase_if(traced,
                  [](const std::string& l) { return l.rfind(R"({"effect":"trace")", 0) == 0; });
    EXPECT_EQ(traced, first) << "tracing adds lines and changes none";
}

TEST(ScenarioRunner, StoresCarriedToTheNextRunKeepEveryTypeAndBadStoresAreRefused) {
    std::string saved;
    play({R"({"event":"keychain.set","account":"a","value":{"n":1,"f":2.5,"b":true,)"
          R"("d":{"$date":1700000000.5},"x":{"$bytes":"AAEC"}}})",
          R"({"event":"keychain.set","service":null,"account":"legacy","text":"plain"})",
          R"({"event":"defaults.set","key":"p","value":[null,"s",{"$bytes":"/w=="}]})"},
         false, "", &saved);
    auto out = play({R"({"event":"dump"})"}, false, saved);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0],
              R"({"effect":"dump","keychain":[{"service":null,"account":"legacy","value":)"
              R"("plain"},{"service":"tandriCheckout","account":"a","value":{"n":1,"f":2.5,)"
              R"("b":true,"d":{"$date":1700000000.5},"x":{"$bytes":"AAEC"}}}],)"
              R"("preferences":{"p":[null,"s",{"$bytes":"/w=="}]},"metadata":{},"files":[]})");

    EXPECT_THROW(play({}, false, "[]"), ScenarioError);
    EXPECT_THROW(play({}, false, R"({"keychain":[{"account":"a"}]})"), ScenarioError);
    EXPECT_THROW(play({}, false, R"({"preferences":[{"key":"k","archive":"bm90IGEgcGxpc3Q="}]})"),
                 ScenarioError);
}

TEST(ScenarioRunner, ALongRunKeepsNothingPerMessage) {
    std::size_t lines = 0;
    ScenarioRunner runner([&](const std::string&) { ++lines; }, {});
    runner.play(R"({"event":"button.arm","profile":{"apiKey":"k"}})");
    runner.play(R"({"event":"message","view":"button","body":{"name":"registerMessagePaths",)"
                R"("id":"0","merchantMessagePath":"p.rx","checkoutMessagePath":"c.rx"}})");
    auto messages = [&](int from, int to) {
        for (int i = from; i < to; ++i) {
            const std::string id = std::to_string(i), key = "k" + std::to_string(i % 10);
            runner.play(i % 2
                            ? R"({"event":"message","view":"button","body":{"name":"set","id":")" +
                                  id + R"(","data":{"key":")" + key + R"(","value":)" + id + "}}}"
                            : R"({"event":"message","view":"button","body":{"name":"get","id":")" +
                                  id + R"(","data":")" + key + R"("}})");
        }
    };
    messages(1, 2001);
    const std::size_t linesBefore = lines;
    const auto before = mallinfo2().uordblks;
    messages(2001, 10001);
    const auto after = mallinfo2().uordblks;
    EXPECT_EQ(lines - linesBefore, 8000u) << "one answer per message";
    EXPECT_LT(static_cast<long>(after) - static_cast<long>(before), 16 * 1024)
        << "heap in use grew by " << (static_cast<long>(after) - static_cast<long>(before))
        << " bytes over 8,000 messages";
}

}  // namespace
}  // namespace tandri::simtool
