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

/// Whether `path` may name the page function that answers and forwarded messages call: a
/// dotted chain of JavaScript identifiers ("rx", "page.rx", "$a._b.c") made of ASCII letters,
/// digits, "_" and "$", each segment non-empty and not starting with a digit.
bool isMessagePath(std::string_view path);
/// The message path a page sent under some key: the string when it is one (isMessagePath);
/// absent for a missing value, a non-string and any other text alike, so that no text from a
/// page ever becomes script.
std::optional<std::string> messagePathValue(const Value* value);

/// Rewrites, in the script text from `from` on (compact JSON written by the library), every key
/// "__proto__" into its computed form ["__proto__"]: in an object literal the plain key would set
/// the prototype of the object the page receives instead of making an own property.
void makeProtoKeysOwn(std::string& script, std::size_t from);

/// The text form of a value as the platform's description gives it: a string is itself, a number
/// its decimal text (true is "1"), null is "<null>", a container its compact JSON text.
std::string descriptionOf(const Value& value);

}  // namespace tandri
