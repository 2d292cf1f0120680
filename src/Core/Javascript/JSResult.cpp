#include "Core/Javascript/JSResult.hpp"

namespace tandri {

JSResult JSResult::success(std::optional<Value> data) {
    JSResult result;
    result.data_ = std::move(data);
    return result;
}

JSResult JSResult::error(std::string message) {
    JSResult result;
    result.errorMessage_ = std::move(message);
    return result;
}

std::optional<Value> JSResult::jsEncodableWithIdentifier(
    const std::optional<std::string>& identifier) const {
    if (!identifier) return std::nullopt;
    Dictionary response;
    response.reserve(4);
    response.set("id", Value(*identifier));
    response.set("name", Value("result"));
    response.set("data", data_ ? *data_ : Value());
    response.set("error", errorMessage_ ? Value(*errorMessage_) : Value());
    return Value(std::move(response));
}

}  // namespace tandri
