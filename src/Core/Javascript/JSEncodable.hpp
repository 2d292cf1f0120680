// Native values written as JavaScript literals, and the two kinds of script line the bridge ever
// evaluates: a call of a page function with one argument, and a window.postMessage call.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tandri/Value.hpp"

namespace tandri {

class JSEncodable {
  public:
    /// Whether a value may cross the bridge: strings, numbers and null always; arrays and
    /// dictionaries when valid JSON as a whole; never an absent or a foreign value.
    static bool isEncodable(const std::optional<Value>& value);
};

/// The literal text of a value. Strings are put between double quotes with no escaping at all
/// (pages receive bare identifiers and messages in exactly that form); booleans are true/false by
/// their stored type, other numbers their decimal text; arrays and dictionaries their compact JSON
/// text, or null as a whole when they are not valid JSON. A foreign value writes null.
std::string jsEncoded(const Value& value);
/// Appends the literal text of `value` to `out`.
void appendJsEncoded(std::string& out, const Value& value);

/// "<method>(<param literal>)" with no trailing semicolon. An absent parameter is the null value;
/// an absent method is written as "(null)".
std::string rawJavaScriptForMethod(const std::optional<std::string>& method,
                                   const std::optional<Value>& param);

/// "window.postMessage('<receiver>--<data literal>', '*');". Absent data is an empty dictionary.
/// The target origin is accepted and not used: pages rely on the wildcard.
std::string rawJavaScriptPostmessageForReceiver(std::string_view receiver,
                                                const std::optional<Value>& data,
                                                std::string_view targetOrigin);

/// The text form of a value as the platform's description gives it: a string is itself, a number
/// its decimal text (true is "1"), null is "<null>", a container its compact JSON text.
std::string descriptionOf(const Value& value);

}  // namespace tandri
