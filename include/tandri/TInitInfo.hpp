// The keyed record underneath TandriProfile and TandriPurchaseInfo: what the checkout web
// application will receive, the caller's own typed values behind translated options, and the
// callbacks the page may call to ask the app for a value.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tandri/Value.hpp"

namespace tandri {

class TInitInfo {
  public:
    /// Three empty dictionaries.
    TInitInfo() = default;
    virtual ~TInitInfo() = default;
    TInitInfo(const TInitInfo&) = default;
    TInitInfo& operator=(const TInitInfo&) = default;
    TInitInfo(TInitInfo&&) = default;
    TInitInfo& operator=(TInitInfo&&) = default;

    /// The value under `key`: the sent form in `data` first, then the caller's own value in
    /// `rawObjects`, then a callback in `dataRequests`; absent when the key is in none of them.
    std::optional<Value> operator[](std::string_view key) const;

    /// Stores `value` under `key`: a closure goes to `dataRequests`, an encodable value (string,
    /// number, null, or a container that is valid JSON) to `data`. Anything else, an absent
    /// value included, is dropped silently and whatever the key held stays.
    void setObject(const std::optional<Value>& value, std::string_view key);

    /// The options sent to the page, one entry per option key.
    const Dictionary& data() const { return data_; }
    Dictionary& data() { return data_; }
    void setData(Dictionary data) { data_ = std::move(data); }

    /// The caller's values behind translated options (enumeration numbers, amounts); never sent.
    const Dictionary& rawObjects() const { return rawObjects_; }
    Dictionary& rawObjects() { return rawObjects_; }
    void setRawObjects(Dictionary rawObjects) { rawObjects_ = std::move(rawObjects); }

    /// Callbacks by option key, offered to the page as native handlers; never sent as values.
    const Dictionary& dataRequests() const { return dataRequests_; }
    Dictionary& dataRequests() { return dataRequests_; }
    void setDataRequests(Dictionary dataRequests) { dataRequests_ = std::move(dataRequests); }

  protected:
    /// The boolean value under `key` (false when absent or not a number).
    bool boolFor(std::string_view key) const;
    /// The integer value of the `rawObjects` entry for `key` (0 when absent).
    std::int64_t rawIntFor(std::string_view key) const;
    /// The string under `key`, or absent when there is none or it is not a string.
    std::optional<std::string> stringFor(std::string_view key) const;
    /// Stores a string through `setObject` (absent is dropped).
    void setString(const std::optional<std::string>& text, std::string_view key);

  private:
    Dictionary data_;
    Dictionary rawObjects_;
    Dictionary dataRequests_;
};

}  // namespace tandri
