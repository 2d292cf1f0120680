#include "Core/Javascript/JSEncodable.hpp"

#include "tandri/Json.hpp"

namespace tandri {

bool JSEncodable::isEncodable(const std::optional<Value>& value) {
    if (!value) return false;
    switch (value->type()) {
        case Value::Type::Array:
        case Value::Type::Dictionary:
            return json::isValidJSONObject(*value);
        case Value::Type::String:
        case Value::Type::Number:
        case Value::Type::Null:
            return true;
        case Value::Type::Foreign:
            return false;
    }
    return false;
}

void appendJsEncoded(std::string& out, const Value& value) {
    switch (value.type()) {
        case Value::Type::String:
            // Deliberately unescaped.
            out.push_back('"');
            out.append(value.asString());
            out.push_back('"');
            return;
        case Value::Type::Number:
            if (value.isBoolean()) {
                out.append(value.asBool() ? "true" : "false");
            } else {
                out.append(json::numberText(value));
            }
            return;
        case Value::Type::Array:
        case Value::Type::Dictionary:
            // Never a partial container: all of it or null.
            if (!json::appendCompact(out, value)) out.append("null");
            return;
        case Value::Type::Null:
        case Value::Type::Foreign:
            out.append("null");
            return;
    }
}

std::string jsEncoded(const Value& value) {
    std::string out;
    appendJsEncoded(out, value);
    return out;
}

std::string rawJavaScriptForMethod(const std::optional<std::string>& method,
                                   const std::optional<Value>& param) {
    std::string out;
    const std::string& path = method ? *method : std::string();
    out.reserve(path.size() + 64);
    out.append(method ? path : std::string("(null)"));
    out.push_back('(');
    const std::size_t start = out.size();
    appendJsEncoded(out, param ? *param : Value());
    if (param && (param->isDictionary() || param->isArray())) makeProtoKeysOwn(out, start);
    out.push_back(')');
    return out;
}

bool isMessagePath(std::string_view path) {
    bool segmentStart = true;
    for (char c : path) {
        const bool letter =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '$';
        const bool digit = c >= '0' && c <= '9';
        if (c == '.') {
            if (segmentStart) return false;  // an empty segment
            segmentStart = true;
        } else if (letter || (digit && !segmentStart)) {
            segmentStart = false;
        } else {
            return false;
        }
    }
    return !segmentStart;  // neither empty nor ending with a dot
}

std::optional<std::string> messagePathValue(const Value* value) {
    if (value == nullptr || !value->isString() || !isMessagePath(value->asString())) {
        return std::nullopt;
    }
    return value->asString();
}

void makeProtoKeysOwn(std::string& script, std::size_t from) {
    // In compact JSON these twelve characters occur only as the key itself: a quote inside a
    // string is always escaped, and a string value is never followed by a colon.
    static constexpr std::string_view kKey = "\"__proto__\":";
    for (auto at = script.find(kKey, from); at != std::string::npos;
         at = script.find(kKey, at + kKey.size() + 2)) {
        script.insert(at + kKey.size() - 1, 1, ']');
        script.insert(at, 1, '[');
    }
}

std::string rawJavaScriptPostmessageForReceiver(std::string_view receiver,
                                                const std::optional<Value>& data,
                                                std::string_view /*targetOrigin*/) {
    std::string out = "window.postMessage('";
    out.append(receiver);
    out.append("--");
    appendJsEncoded(out, data ? *data : Value(Dictionary()));
    out.append("', '*');");
    return out;
}

std::string descriptionOf(const Value& value) {
    switch (value.type()) {
        case Value::Type::String:
            return value.asString();
        case Value::Type::Number:
            return json::numberText(value);
        case Value::Type::Null:
            return "<null>";
        case Value::Type::Array:
        case Value::Type::Dictionary: {
            auto text = json::write(value);
            return text ? *text
                        : "<" + std::string(value.isArray() ? "NSArray" : "NSDictionary") + ">";
        }
        case Value::Type::Foreign:
            return "<" + value.asForeign().typeName + ">";
    }
    return {};
}

}  // namespace tandri
