// Parsing a page's message and encoding a response, against nlohmann::json doing the same work
// on the same text, so the ratio is read off one run.
#include <benchmark/benchmark.h>

#include <nlohmann/json.hpp>
#include <string>

#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Javascript/JSResult.hpp"
#include "Core/Javascript/JSTandriMessage.hpp"
#include "tandri/Json.hpp"

using namespace tandri;

namespace {

// A "set" message of about 1 KiB, shaped like what a checkout page stores.
std::string messageBody() {
    std::string body =
        R"({"name":"set","id":"42","data":{"key":"cart.v2","value":{"currency":"USD",)"
        R"("total":71.94,"items":[)";
    for (int i = 0; i < 9; ++i) {
        if (i) body.append(",");
        body.append(R"({"sku":"SKU-)").append(std::to_string(1000 + i));
        body.append(R"(","name":"Item number )").append(std::to_string(i));
        body.append(R"(","qty":)").append(std::to_string(i + 1));
        body.append(R"(,"price":)").append(std::to_string(9.5 + i));
        body.append(R"(,"gift":)").append(i % 2 ? "true" : "false").append("}");
    }
    body.append(R"(],"shipping":{"name":"Ada Lovelace","line1":"12 Example Road","city":"London",)"
                R"("country":"GB"},"note":null}},"options":{"secure":true,"biometric":false}})");
    return body;
}

// A response object of about 1 KiB: the stored value coming back to the page.
Value responseDictionary() {
    auto body = json::parse(messageBody());
    Value stored = *body->find("data")->find("value");
    return *JSResult::success(stored).jsEncodableWithIdentifier("42");
}

void BM_ParseBody_Ours(benchmark::State& state) {
    std::string text = messageBody();
    for (auto _ : state) {
        auto v = json::parse(text);
        benchmark::DoNotOptimize(v);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_ParseBody_Nlohmann(benchmark::State& state) {
    std::string text = messageBody();
    for (auto _ : state) {
        auto v = nlohmann::json::parse(text);
        benchmark::DoNotOptimize(v);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_MessageFromParsedBody(benchmark::State& state) {
    Value body = *json::parse(messageBody());
    for (auto _ : state) {
        auto m = JSTandriMessage::initWithDictionary(body);
        benchmark::DoNotOptimize(m);
    }
}

void BM_MessageFromText(benchmark::State& state) {
    std::string text = messageBody();
    for (auto _ : state) {
        auto m = JSTandriMessage::initWithDictionary(*json::parse(text));
        benchmark::DoNotOptimize(m);
    }
}

void BM_EncodeResponse_Ours(benchmark::State& state) {
    Value response = responseDictionary();
    std::size_t size = jsEncoded(response).size();
    for (auto _ : state) {
        auto text = jsEncoded(response);
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
    state.counters["bytes"] = static_cast<double>(size);
}

void BM_EncodeResponse_Nlohmann(benchmark::State& state) {
    auto response = nlohmann::ordered_json::parse(jsEncoded(responseDictionary()));
    std::size_t size = response.dump().size();
    for (auto _ : state) {
        auto text = response.dump();
        benchmark::DoNotOptimize(text);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
    state.counters["bytes"] = static_cast<double>(size);
}

}  // namespace

BENCHMARK(BM_ParseBody_Ours);
BENCHMARK(BM_ParseBody_Nlohmann);
BENCHMARK(BM_MessageFromParsedBody);
BENCHMARK(BM_MessageFromText);
BENCHMARK(BM_EncodeResponse_Ours);
BENCHMARK(BM_EncodeResponse_Nlohmann);

BENCHMARK_MAIN();
