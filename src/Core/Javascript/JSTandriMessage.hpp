// One message that a page posted to native code.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tandri/Value.hpp"

namespace tandri {

class JSTandriMessage {
  public:
    /// Builds a message from a posted body. The body is kept whole as `raw`; "id" and "name" must
    /// be present (JSON null counts as present) and become their text forms ("7" for 7, "1" for
    /// true, "<null>" for null); "data" is kept as it is, absent when missing. A body without
    /// "id" or "name", or one that is not a dictionary at all, gives no message.
    static std::optional<JSTandriMessage> initWithDictionary(const Value& body);
    static std::optional<JSTandriMessage> initWithDictionary(const Dictionary& body);

    JSTandriMessage() = default;

    /// Top-level keys of the body beyond name, id and data ("options", "messagePath", ...):
    /// the value under `key` in `raw`, or nullptr.
    const Value* operator[](std::string_view key) const { return raw_.find(key); }

    const std::string& name() const { return name_; }
    const Dictionary& raw() const { return raw_; }
    const std::string& identifier() const { return identifier_; }
    const std::optional<Value>& data() const { return data_; }

    void setName(std::string name) { name_ = std::move(name); }
    void setRaw(Dictionary raw) { raw_ = std::move(raw); }
    void setIdentifier(std::string identifier) { identifier_ = std::move(identifier); }
    void setData(std::optional<Value> data) { data_ = std::move(data); }

  private:
    std::string name_;
    Dictionary raw_;
    std::string identifier_;
    std::optional<Value> data_;
};

}  // namespace tandri
