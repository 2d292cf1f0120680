// The storage rules behind the page's "get" and "set" messages: which store a value goes to,
// which values are released only after a biometric check, the device record, and the one-time
// migration of values left by earlier editions of the library.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "Core/Bridge/MessageHandler.hpp"
#include "tandri/Value.hpp"

namespace tandri {

/// Bits of the storage options kept with every value written through "set".
inline constexpr std::int64_t kStorageOptionSecure = 1;
inline constexpr std::int64_t kStorageOptionRequireAuth = 2;

class Storage {
  public:
    using Callback = std::function<void(std::optional<Value>)>;

    static constexpr const char* kStorageKeysNamespace = "com.tandri.storageKeys";
    static constexpr const char* kDefaultBiometricPrompt = "Confirm your fingerprint now.";
    static constexpr const char* kDeviceInfoKey = "deviceInfo";
    static constexpr const char* kSDKVersionKey = "sdk_version";
    static constexpr const char* kHybridStateKey = "_stateObj";
    static constexpr const char* kHybridTokenKey = "_token";
    static constexpr const char* kNativeUsernameKey =
        "com.tandri.checkout.userDefaults.keys.username";
    static constexpr const char* kNativeTokenKey =
        "com.tandri.checkout.userDefaults.keys.biometryIDToken";
    /// The button page saved for the next start, and its label.
    static constexpr const char* kCachedButtonKey = "cachedButton";
    static constexpr const char* kButtonAccessibilityTextKey = "buttonAccessibilityText";
    /// The answer to a page's "get" or "set" of a key the library keeps for itself.
    static constexpr const char* kReservedKeyError = "This key is reserved by the library";

    /// "userInfo" and "refresh_token" move into the library's namespace; other keys stay.
    static std::string prefixKeychainKey(const std::string& key);
    /// Whether a page's "get" and "set" must leave `key` alone: the entries the library writes
    /// for itself (metadata records, the saved button page and label, parked analytics, the
    /// library version).
    static bool isReservedKey(const std::string& key);

    static constexpr const char* kKeyRefusedError = "Cannot store value under this key";
    static constexpr const char* kNotKeptError = "Cannot store value, it was not kept";

    /// Answers whether the key's value and metadata are now kept as asked: false, with nothing
    /// written, for a key the keychain cannot name faithfully; false when a store refused a
    /// write. The page is told (a "set" answered with success reads back).
    static bool setValue(const std::optional<Value>& value, const std::string& key,
                         std::int64_t options, const std::optional<Value>& prompt);
    static bool setValue(const std::optional<Value>& value, const std::string& key);
    /// Calls `callback` exactly once, possibly later and on another thread (after a biometric
    /// check).
    static void getValueForKey(const std::string& key, Callback callback);

    static void persistToken(const std::optional<Value>& token);
    static void persistUserInfo(const Dictionary& userInfo);
    static void setSDKVersionNumber();

    static bool isHybridMigration();
    static bool isNativeMigration();
    static void migrateHybridData();
    static void migrateNativeData();
    static void clearHybridData();
    static void clearNativeData();
    /// Run at each configuration: the version, then at most one migration (hybrid first).
    static void handleStorageMigration();

    /// The device information record (eleven entries).
    static Value deviceInfo();
    /// The biometry kind as a number, or null when biometrics cannot be used.
    static Value biometryType();

    /// The "get" and "set" message handlers; the same closures on every call.
    static const MessageHandler& getHandler();
    static const MessageHandler& setHandler();
};

}  // namespace tandri
