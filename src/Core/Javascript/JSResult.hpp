// What a message handler answers, and the response object the page receives for it.
#pragma once

#include <optional>
#include <string>

#include "tandri/Value.hpp"

namespace tandri {

class JSResult {
  public:
    /// A successful answer carrying `data` (which may be absent).
    static JSResult success(std::optional<Value> data = std::nullopt);
    /// A failed answer carrying the error text.
    static JSResult error(std::string message);

    /// {"id": identifier, "name": "result", "data": data or null, "error": error text or null},
    /// always with those four keys in that order; absent when there is no identifier.
    std::optional<Value> jsEncodableWithIdentifier(
        const std::optional<std::string>& identifier) const;

    /// The script that answers message `identifier` through the page function `method`:
    /// rawJavaScriptForMethod(method, jsEncodableWithIdentifier(identifier)), built directly.
    std::string responseScript(const std::optional<std::string>& method,
                               const std::string& identifier) const;

    const std::optional<std::string>& errorMessage() const { return errorMessage_; }
    const std::optional<Value>& data() const { return data_; }
    void setErrorMessage(std::optional<std::string> message) { errorMessage_ = std::move(message); }
    void setData(std::optional<Value> data) { data_ = std::move(data); }

  private:
    std::optional<std::string> errorMessage_;
    std::optional<Value> data_;
};

}  // namespace tandri
