// What the library costs a host at start-up, on the simulated platform: the start-up call
// (without making its web views: the platform's web views are made once, outside the timing),
// arming a button, and the first options answer to the button page. Also the heap a launching
// bridge takes.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include "Core/Bridge/JSBridge.hpp"
#include "Core/Bridge/MobileWebViewBridge.hpp"
#include "Core/Bridge/WebViewUtil.hpp"
#include "Core/Storage/KeychainUtils.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "tandri/Json.hpp"

using namespace tandri;

namespace {

TandriProfile profile() {
    return TandriProfile(Environment::Production, std::string("key-1"), std::string("shop"));
}

TandriPurchaseInfo purchase() {
    TandriPurchaseInfo info;
    info.setObject(Value("12.50"), "total");
    info.setObject(Value("USD"), "currency");
    return info;
}

void BM_StartupConfigure(benchmark::State& state) {
    sim::SimulatedPlatform platform;
    // A saved button page from an earlier run, as on a returning user's device.
    KeychainUtils::setValue(Value("<b>Pay</b>"), Value("cachedButton"));
    for (auto _ : state) {
        state.PauseTiming();
        SDKSettings::resetCachedWebviewForTesting();
        TinyDelegate::resetForTesting();
        SDKSettings::cachedWebview();  // the view itself is the platform's cost
        state.ResumeTiming();
        TandriCheckoutSDK::configure();
        platform.mainQueue().drain();
    }
    SDKSettings::resetCachedWebviewForTesting();
    TinyDelegate::resetForTesting();
}
BENCHMARK(BM_StartupConfigure);

void BM_StartupArmButton(benchmark::State& state) {
    sim::SimulatedPlatform platform;
    auto host = std::make_shared<ViewController>();
    host->view();
    TandriCheckoutSDK::configure();
    for (auto _ : state) {
        auto button = TandriCheckoutButton::initWithFrame({0, 0, 320, 50});
        button->onCheckoutWithProfile(
            profile(), purchase(), host, [](std::function<void()>) {}, [] {},
            [](const TandriCheckoutResult&) {});
        platform.mainQueue().drain();
        benchmark::DoNotOptimize(button->bridge);
        if (platform.webViews().loads().size() > 1024) platform.webViews().clearLoads();
        platform.webViews().clearEvaluations();
    }
    SDKSettings::resetCachedWebviewForTesting();
}
BENCHMARK(BM_StartupArmButton);

void BM_StartupFirstOptionsAnswer(benchmark::State& state) {
    sim::SimulatedPlatform platform;
    auto host = std::make_shared<ViewController>();
    host->view();
    TandriCheckoutSDK::configure();
    const std::string frame =
        "https://checkout." + makerDomain() + "/checkout-widget/mobile-button";
    const Value ask = *json::parse(R"({"name":"onTinitReady","id":"1","messagePath":"b.rx"})");
    for (auto _ : state) {
        state.PauseTiming();
        auto button = TandriCheckoutButton::initWithFrame({0, 0, 320, 50});
        button->onCheckoutWithProfile(
            profile(), purchase(), host, [](std::function<void()>) {}, [] {},
            [](const TandriCheckoutResult&) {});
        platform.mainQueue().drain();
        platform.webViews().clearEvaluations();
        auto& page = static_cast<sim::SimulatedWebView&>(*button->bridge->webView);
        state.ResumeTiming();
        page.post(JSBridge::kChannelName, ask, frame);
        platform.mainQueue().drain();
        state.PauseTiming();
        if (platform.webViews().evaluations().empty()) state.SkipWithError("no answer");
        button.reset();
        platform.webViews().clearLoads();
        state.ResumeTiming();
    }
    SDKSettings::resetCachedWebviewForTesting();
}
BENCHMARK(BM_StartupFirstOptionsAnswer);

/// Heap taken by one launching bridge of the button with its web view (the simulated view is a
/// few hundred bytes), measured over 100 bridges.
void BM_HeapPerBridge(benchmark::State& state) {
    sim::SimulatedPlatform platform;
    auto host = std::make_shared<ViewController>();
    host->view();
    auto config = NativeLaunchConfiguration::initWithProfile(profile(), purchase(), host, nullptr,
                                                             nullptr, nullptr);
    double perBridge = 0;
    for (auto _ : state) {
        std::vector<std::shared_ptr<MobileWebViewBridge>> bridges;
        bridges.reserve(100);
        platform.mainQueue().drain();
        const auto before = mallinfo2().uordblks;
        for (int k = 0; k < 100; ++k)
            bridges.push_back(MobileWebViewBridge::initWithLaunchConfig(config));
        platform.mainQueue().drain();
        const auto after = mallinfo2().uordblks;
        perBridge = static_cast<double>(after - before) / 100.0;
        platform.webViews().clearEvaluations();
        platform.webViews().clearLoads();
    }
    state.counters["bytes_per_bridge"] = perBridge;
}
BENCHMARK(BM_HeapPerBridge)->Iterations(20);

}  // namespace
