#include "Core/Storage/KeychainUtils.hpp"

#include "Core/Storage/KeyedArchive.hpp"
#include "Platform/Platform.hpp"

namespace tandri {

namespace {

bool usableKey(const Value& key) {
    return key.isString() && !key.asString().empty();
}

std::optional<Value> readItem(const std::optional<std::string>& service, const std::string& key) {
    auto& keychain = Platform::current().keychain;
    if (!keychain || key.empty()) return std::nullopt;
    auto data = keychain->copyMatching(service, key);
    if (!data) return std::nullopt;
    return KeyedArchive::unarchiveOrText(*data);
}

}  // namespace

std::optional<Value> KeychainUtils::getValueForKey(const std::string& key) {
    return readItem(accessGroup(), key);
}

std::optional<Value> KeychainUtils::getNativeValueForKey(const std::string& key) {
    return readItem(std::nullopt, key);
}

void KeychainUtils::setValue(const std::optional<Value>& value, const Value& key) {
    if (!usableKey(key)) return;
    UserDefaultsUtils::clearValueForKey(key);
    if (!value || value->isNull()) {
        clearValueForKey(key);
        return;
    }
    auto& keychain = Platform::current().keychain;
    if (!keychain) return;
    auto archive = KeyedArchive::archive(*value);
    if (!archive) return;
    keychain->add(accessGroup(), key.asString(), *archive);
}

void KeychainUtils::clearValueForKey(const Value& key) {
    auto& keychain = Platform::current().keychain;
    if (!usableKey(key) || !keychain) return;
    keychain->remove(accessGroup(), key.asString());
}

void KeychainUtils::clearNativeValueForKey(const Value& key) {
    auto& keychain = Platform::current().keychain;
    if (!usableKey(key) || !keychain) return;
    keychain->remove(std::nullopt, key.asString());
}

std::optional<Value> UserDefaultsUtils::getValueForKey(const std::string& key) {
    auto& defaults = Platform::current().userDefaults;
    if (!defaults) return std::nullopt;
    return defaults->objectForKey(key);
}

void UserDefaultsUtils::setValue(const std::optional<Value>& value, const Value& key) {
    if (!usableKey(key)) return;
    KeychainUtils::clearValueForKey(key);
    auto& defaults = Platform::current().userDefaults;
    if (!defaults) return;
    if (!value || value->isNull()) {
        defaults->removeObject(key.asString());
    } else {
        defaults->setObject(key.asString(), *value);
    }
}

void UserDefaultsUtils::clearValueForKey(const Value& key) {
    auto& defaults = Platform::current().userDefaults;
    if (!usableKey(key) || !defaults) return;
    defaults->removeObject(key.asString());
}

std::optional<Value> MetaStore::getMedatadaForKey(const std::string& key) {
    return KeychainUtils::getValueForKey(metadataKey(key));
}

void MetaStore::storeMetadata(const Value& record, const std::string& key) {
    // Straight to the keychain: a metadata write leaves user defaults alone.
    auto& keychain = Platform::current().keychain;
    if (key.empty() || !keychain) return;
    if (record.isNull()) {
        clearValueForKey(key);
        return;
    }
    if (auto archive = KeyedArchive::archive(record)) {
        keychain->add(KeychainUtils::accessGroup(), metadataKey(key), *archive);
    }
}

void MetaStore::clearValueForKey(const std::string& key) {
    KeychainUtils::clearValueForKey(Value(metadataKey(key)));
}

}  // namespace tandri
