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
    appendJsEncoded(out, param ? *param : Value());
    out.push_back(')');
    return out;
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
