#include "Core/Storage/Storage.hpp"

#include <cstdio>
#include <cstdlib>

#include "Core/Storage/BiometricGate.hpp"
#include "Core/Storage/KeychainUtils.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Platform.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"
#include "tandri/Constants.hpp"
#include "tandri/Json.hpp"

namespace tandri {

namespace {

bool isAbsentOrNull(const std::optional<Value>& value) {
    return !value || value->isNull();
}

// Compares dotted version texts numerically: whether `version` is below major.minor.
bool versionBelow(const std::string& version, long major, long minor) {
    char* end = nullptr;
    long first = std::strtol(version.c_str(), &end, 10);
    long second = 0;
    if (end && *end == '.') second = std::strtol(end + 1, nullptr, 10);
    return first < major || (first == major && second < minor);
}

}  // namespace

std::string Storage::prefixKeychainKey(const std::string& key) {
    if (key == "userInfo" || key == "refresh_token") {
        return std::string(kStorageKeysNamespace) + "." + key;
    }
    return key;
}

bool Storage::isReservedKey(const std::string& key) {
    const std::string name = prefixKeychainKey(key);
    for (const char* own : {kCachedButtonKey, kButtonAccessibilityTextKey,
                            kGtmStorageKeyAbandonment, kGtmStorageKeySpinnerLoad, kSDKVersionKey}) {
        if (name == own) return true;
    }
    // Another key's record: writing it would lift that key's biometric check.
    return name.ends_with(MetaStore::kSuffix);
}

bool Storage::setValue(const std::optional<Value>& value, const std::string& key,
                       std::int64_t options, const std::optional<Value>& prompt) {
    const std::string name = prefixKeychainKey(key);
    // A name the keychain would shorten could land on another key's items.
    if (!KeychainUtils::canStoreKey(name)) return false;
    Dictionary record{{"options", Value::integer(options)},
                      {"prompt", prompt ? *prompt : Value::null()}};
    const bool recorded = MetaStore::storeMetadata(Value(std::move(record)), name);
    const bool stored = options & (kStorageOptionSecure | kStorageOptionRequireAuth)
                            ? KeychainUtils::setValue(value, Value(name))
                            : UserDefaultsUtils::setValue(value, Value(name));
    return recorded && stored;
}

bool Storage::setValue(const std::optional<Value>& value, const std::string& key) {
    return setValue(value, key, 0, std::nullopt);
}

void Storage::getValueForKey(const std::string& key, Callback callback) {
    const std::string name = prefixKeychainKey(key);
    if (name == kDeviceInfoKey) {
        callback(deviceInfo());
        return;
    }
    auto record = MetaStore::getMedatadaForKey(name);
    if (!record) {
        callback(Value::null());
        return;
    }
    const Value* optionsValue = record->find("options");
    const std::int64_t options = optionsValue ? optionsValue->asInt() : 0;
    if (options & kStorageOptionRequireAuth) {
        auto value = KeychainUtils::getValueForKey(name);
        if (isAbsentOrNull(value)) {
            callback(value);
            return;
        }
        const Value* prompt = record->find("prompt");
        std::string reason = prompt && prompt->isString() && !prompt->asString().empty()
                                 ? promptText(prompt->asString())
                                 : std::string(kDefaultBiometricPrompt);
        auto biometrics = Platform::current().biometrics;
        if (!biometrics) {
            callback(Value::null());
            return;
        }
        BiometricGate::shared().check({HandlerTableContentController::deliveringView(), name,
                                       std::move(reason), std::move(value), std::move(callback)},
                                      biometrics);
    } else if (options & kStorageOptionSecure) {
        callback(KeychainUtils::getValueForKey(name));
    } else if (options == 0) {
        callback(UserDefaultsUtils::getValueForKey(name));
    } else {
        callback(Value::null());
    }
}

void Storage::persistToken(const std::optional<Value>& token) {
    if (isAbsentOrNull(token)) return;
    setValue(token, "refresh_token", kStorageOptionRequireAuth, std::nullopt);
}

void Storage::persistUserInfo(const Dictionary& userInfo) {
    if (userInfo.empty()) return;
    setValue(Value(userInfo), "userInfo");
}

void Storage::setSDKVersionNumber() {
    auto& defaults = Platform::current().userDefaults;
    if (!defaults) return;
    if (auto version = TandriCheckoutPlugin::SDK_VERSION()) {
        defaults->setObject(kSDKVersionKey, Value(*version));
    } else {
        defaults->removeObject(kSDKVersionKey);
    }
}

bool Storage::isHybridMigration() {
    return !isAbsentOrNull(KeychainUtils::getValueForKey(kHybridStateKey));
}

bool Storage::isNativeMigration() {
    return UserDefaultsUtils::getValueForKey(kNativeUsernameKey).has_value();
}

void Storage::migrateHybridData() {
    Dictionary userInfo;
    auto state = KeychainUtils::getValueForKey(kHybridStateKey);
    if (state && state->isString()) {
        if (auto parsed = json::parse(state->asString())) {
            for (const char* field : {"fingerprint", "rememberMe", "username"}) {
                if (const Value* item = parsed->find(field)) userInfo.set(field, *item);
            }
        }
    }
    auto token = KeychainUtils::getValueForKey(kHybridTokenKey);
    persistToken(token);
    if (!isAbsentOrNull(token)) userInfo.set("fingerprint", Value::integer(1));
    persistUserInfo(userInfo);
    clearHybridData();
}

void Storage::migrateNativeData() {
    Dictionary userInfo;
    if (auto username = UserDefaultsUtils::getValueForKey(kNativeUsernameKey)) {
        userInfo.set("username", *username);
        userInfo.set("rememberMe", Value::integer(1));
    }
    auto token = KeychainUtils::getNativeValueForKey(kNativeTokenKey);
    persistToken(token);
    if (!isAbsentOrNull(token)) userInfo.set("fingerprint", Value::integer(1));
    persistUserInfo(userInfo);
    clearNativeData();
}

void Storage::clearHybridData() {
    KeychainUtils::clearValueForKey(Value(kHybridStateKey));
    KeychainUtils::clearValueForKey(Value(kHybridTokenKey));
}

void Storage::clearNativeData() {
    UserDefaultsUtils::clearValueForKey(Value(kNativeUsernameKey));
    KeychainUtils::clearNativeValueForKey(Value(kNativeTokenKey));
}

void Storage::handleStorageMigration() {
    setSDKVersionNumber();
    if (isHybridMigration()) {
        migrateHybridData();
    } else if (isNativeMigration()) {
        migrateNativeData();
    }
}

Value Storage::biometryType() {
    auto& ports = Platform::current();
    if (!ports.biometrics || !ports.biometrics->canEvaluate()) return Value::null();
    if (ports.device && versionBelow(ports.device->systemVersion(), 11, 0)) {
        return Value::integer(0);
    }
    const BiometryKind kind = ports.biometrics->biometryType();
    if (kind == BiometryKind::Face) {
        const bool described =
            ports.bundle && ports.bundle->hostInfoValue("NSFaceIDUsageDescription").has_value();
        return described ? Value::integer(2) : Value::null();
    }
    return Value::integer(static_cast<int>(kind));
}

Value Storage::deviceInfo() {
    auto& ports = Platform::current();
    auto text = [](const std::optional<std::string>& s) { return s ? Value(*s) : Value::null(); };
    const Value biometry = biometryType();
    Dictionary vendor{
        {"key", "vendorID"},
        {"value", ports.device ? Value(ports.device->identifierForVendor()) : Value::null()}};
    Dictionary record{
        {"appHost", "IOS"},
        {"appHostName", "IOS"},
        {"appHostVersion", ports.device ? Value(ports.device->systemVersion()) : Value::null()},
        {"appHostManufacturer", "Apple"},
        {"deviceNameModel", ports.device ? Value(ports.device->model()) : Value::null()},
        {"appName", "TandriCheckout"},
        {"appVersion", text(ports.bundle ? ports.bundle->hostShortVersion() : std::nullopt)},
        {"tandriSdkVersion", text(TandriCheckoutPlugin::SDK_VERSION())},
        {"attributes", Array{Value(std::move(vendor))}},
        {"canUseBiometrics", Value(!biometry.isNull())},
        {"biometryType", biometry},
    };
    return Value(std::move(record));
}

const MessageHandler& Storage::getHandler() {
    static const MessageHandler handler = [](const JSTandriMessage& message,
                                             JSCompletion completion) {
        const auto& data = message.data();
        if (!data || !data->isString() || data->asString().empty()) {
            completion(JSResult::error("No valid key was found on the message"));
            return;
        }
        if (isReservedKey(data->asString())) {
            completion(JSResult::error(kReservedKeyError));
            return;
        }
        getValueForKey(data->asString(), [completion](std::optional<Value> value) {
            completion(JSResult::success(value ? std::move(*value) : Value::null()));
        });
    };
    return handler;
}

const MessageHandler& Storage::setHandler() {
    static const MessageHandler handler = [](const JSTandriMessage& message,
                                             JSCompletion completion) {
        const auto& data = message.data();
        if (!data || !data->isDictionary()) {
            completion(JSResult::error("Data is not a valid dictionary"));
            return;
        }
        // A key that is not text is refused like a missing one.
        const Value* key = data->find("key");
        if (!key || !key->isString()) {
            completion(JSResult::error("Cannot store value, key is nil"));
            return;
        }
        if (isReservedKey(key->asString())) {
            completion(JSResult::error(kReservedKeyError));
            return;
        }
        if (!KeychainUtils::canStoreKey(prefixKeychainKey(key->asString()))) {
            completion(JSResult::error(kKeyRefusedError));
            return;
        }
        std::optional<Value> value;
        if (const Value* v = data->find("value")) value = *v;
        const Value* options = message["options"];
        bool kept = false;
        if (options && options->isDictionary() && !options->asDictionary().empty()) {
            const Value* requireAuth = options->find("requireAuth");
            const Value* secure = options->find("secure");
            // Flags are read as pages send them: "true" and "1" count as well as true and 1.
            const std::int64_t bits =
                (secure && boolValue(*secure) ? kStorageOptionSecure : 0) +
                (requireAuth && boolValue(*requireAuth) ? kStorageOptionRequireAuth : 0);
            std::optional<Value> prompt;
            if (const Value* p = options->find("prompt")) prompt = *p;
            kept = setValue(value, key->asString(), bits, prompt);
        } else {
            kept = setValue(value, key->asString());
        }
        // Success promises that "get" reads the value back, after a restart too. (The empty key
        // keeps nothing and is answered as ever: "get" refuses it, so nothing reads it back.)
        if (!kept && !key->asString().empty()) {
            completion(JSResult::error(kNotKeptError));
            return;
        }
        completion(JSResult::success());
    };
    return handler;
}

}  // namespace tandri
