#include "Core/Javascript/JSResult.hpp"

#include "Core/Javascript/JSEncodable.hpp"
#include "tandri/Json.hpp"

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

std::string JSResult::responseScript(const std::optional<std::string>& method,
                                     const std::string& identifier) const {
    // The same text as encoding jsEncodableWithIdentifier() as the call's argument, written
    // member by member instead of building the object first.
    std::string out;
    out.reserve(96 + identifier.size());
    out.append(method ? *method : std::string("(null)"));
    out.push_back('(');
    const std::size_t start = out.size();
    bool whole = true;
    out.append("{\"id\":");
    whole = json::appendCompact(out, Value(identifier));
    out.append(",\"name\":\"result\",\"data\":");
    if (whole) whole = data_ ? json::appendCompact(out, *data_) : (out.append("null"), true);
    out.append(",\"error\":");
    if (whole) {
        whole = errorMessage_ ? json::appendCompact(out, Value(*errorMessage_))
                              : (out.append("null"), true);
    }
    // Never a partial object: all of it or null, like any container.
    if (!whole) {
        out.resize(start);
        out.append("null");
    } else {
        out.push_back('}');
        makeProtoKeysOwn(out, start);
    }
    out.push_back(')');
    return out;
}

}  // namespace tandri
