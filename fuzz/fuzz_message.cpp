// Arbitrary bytes as a page's message body: JSON text → Value → JSTandriMessage → response script.
// Besides crashes and sanitizer reports, it checks that every response the page would receive is
// a single call whose argument is valid JSON carrying the message's own identifier and data.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Javascript/JSResult.hpp"
#include "Core/Javascript/JSTandriMessage.hpp"
#include "Core/Utils/Logging.hpp"
#include "tandri/Json.hpp"

using namespace tandri;

namespace {
void check(bool condition) {
    if (!condition) std::abort();
}

void checkResponse(const std::string& identifier, const JSResult& result) {
    constexpr std::string_view kPath = "window.tandri.receive";
    auto response = result.jsEncodableWithIdentifier(identifier);
    check(response.has_value());
    std::string script = rawJavaScriptForMethod(std::string(kPath), response);
    check(script.size() > kPath.size() + 2);
    check(script.compare(0, kPath.size(), kPath) == 0);
    check(script[kPath.size()] == '(' && script.back() == ')');
    std::string_view argument(script);
    argument = argument.substr(kPath.size() + 1, argument.size() - kPath.size() - 2);
    auto back = json::parse(argument);
    check(back.has_value());
    check(*back == *response);
    check(back->find("id")->asString() == identifier);
    check(back->find("name")->asString() == "result");
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    auto body = json::parse(text);
    if (!body) return 0;
    // Whatever parsed writes back and reads again as the same value.
    auto written = json::write(*body);
    check(written.has_value());
    check(json::parse(*written) == body);

    auto message = JSTandriMessage::initWithDictionary(*body);
    if (!message) {
        check(!body->isDictionary() || !body->find("id") || !body->find("name"));
        return 0;
    }
    // The banners are built in full, exactly as a sink would receive them.
    (void)incomingBanner(*message, "JSBridge");
    checkResponse(message->identifier(), JSResult::success(message->data()));
    checkResponse(message->identifier(), JSResult::error(message->name()));
    (void)rawJavaScriptPostmessageForReceiver(message->name(), message->data(), "*");
    (void)Logging::prettyEncoded(Value(message->raw()));
    return 0;
}
