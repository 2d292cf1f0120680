// The three stores behind the storage handlers. Class operations only, over the platform's
// keychain and user defaults. The two value stores are exclusive: a write to one erases the
// key from the other first. Keys that are not non-empty strings make writes and clears no-ops.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tandri/Value.hpp"

namespace tandri {

class KeychainUtils {
  public:
    /// The service attribute of every item the library writes.
    static std::string accessGroup() { return "tandriCheckout"; }
    /// The item under the library's service: its archived value, or its data as text when it is
    /// plain UTF-8; absent otherwise.
    static std::optional<Value> getValueForKey(const std::string& key);
    /// The same for an item under any service.
    static std::optional<Value> getNativeValueForKey(const std::string& key);
    /// Answers whether the store now holds the value (or, for an absent or null value, whether
    /// the write was made at all); callers that keep no promise may ignore it.
    static bool setValue(const std::optional<Value>& value, const Value& key);
    /// Whether the keychain can keep `key` and its metadata record under exactly their names.
    static bool canStoreKey(const std::string& key);
    static void clearValueForKey(const Value& key);
    static void clearNativeValueForKey(const Value& key);
};

class UserDefaultsUtils {
  public:
    static std::optional<Value> getValueForKey(const std::string& key);
    /// Answers as `KeychainUtils::setValue` does.
    static bool setValue(const std::optional<Value>& value, const Value& key);
    static void clearValueForKey(const Value& key);
};

/// The metadata record of a key, kept as a keychain item under key + "tandriMetadata".
class MetaStore {
  public:
    static constexpr std::string_view kSuffix = "tandriMetadata";
    static std::string metadataKey(const std::string& key) { return key + std::string(kSuffix); }
    static std::optional<Value> getMedatadaForKey(const std::string& key);
    /// Answers whether the record was stored.
    static bool storeMetadata(const Value& record, const std::string& key);
    static void clearValueForKey(const std::string& key);
};

}  // namespace tandri
