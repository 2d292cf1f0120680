// The whole path of a small "get"-like message (posted body → message → handler → response
// script evaluated in the view), against JSON-encoding the same response object alone.
#include <benchmark/benchmark.h>

#include "Core/Bridge/JSBridge.hpp"
#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "tandri/Json.hpp"

using namespace tandri;

namespace {

const char* kBody = R"({"name":"get","id":"17","data":"userInfo"})";
Value storedValue() {
    return *json::parse(R"({"username":"ann@example.com","remember":true,"visits":12})");
}

void BM_BridgeWholePath(benchmark::State& state) {
    sim::SimulatedPlatform platform;
    auto view = std::static_pointer_cast<sim::SimulatedWebView>(platform.webViews().makeWebView());
    auto bridge = JSBridge::create(view);
    bridge->messageHandlerPath = "window.tandri.receive";
    const Value value = storedValue();
    bridge->messageHandlers["get"] = [&value](const JSTandriMessage&, JSCompletion done) {
        done(JSResult::success(value));
    };
    const std::string frame = "https://checkout." + makerDomain() + "/";
    const Value body = *json::parse(kBody);
    for (auto _ : state) {
        view->post(JSBridge::kChannelName, body, frame);
        platform.mainQueue().drain();
        if (platform.webViews().evaluations().size() > 4096) platform.webViews().clearEvaluations();
    }
    benchmark::DoNotOptimize(platform.webViews().evaluations().size());
}
BENCHMARK(BM_BridgeWholePath);

void BM_BridgeEncodeResponseOnly(benchmark::State& state) {
    const Value response = *JSResult::success(storedValue()).jsEncodableWithIdentifier("17");
    for (auto _ : state) {
        std::string text = jsEncoded(response);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(BM_BridgeEncodeResponseOnly);

}  // namespace
