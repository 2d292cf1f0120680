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

bool KeychainUtils::setValue(const std::optional<Value>& value, const Value& key) {
    if (!usableKey(key)) return false;
    UserDefaultsUtils::clearValueForKey(key);
    if (!value || value->isNull()) {
        clearValueForKey(key);
        return true;
    }
    auto& keychain = Platform::current().keychain;
    if (!keychain) return false;
    auto archive = KeyedArchive::archive(*value);
    return archive && keychain->add(accessGroup(), key.asString(), *archive);
}

bool KeychainUtils::canStoreKey(const std::string& key) {
    auto& keychain = Platform::current().keychain;
    return !keychain || (keychain->canName(key) && keychain->canName(MetaStore::metadataKey(key)));
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

bool UserDefaultsUtils::setValue(const std::optional<Value>& value, const Value& key) {
    if (!usableKey(key)) return false;
    KeychainUtils::clearValueForKey(key);
    auto& defaults = Platform::current().userDefaults;
    if (!defaults) return false;
    if (!value || value->isNull()) {
        defaults->removeObject(key.asString());
        return true;
    }
    return defaults->setObject(key.asString(), *value);
}

void UserDefaultsUtils::clearValueForKey(const Value& key) {
    auto& defaults = Platform::current().userDefaults;
    if (!usableKey(key) || !defaults) return;
    defaults->removeObject(key.asString());
}

std::optional<Value> MetaStore::getMedatadaForKey(const std::string& key) {
    return KeychainUtils::getValueForKey(metadataKey(key));
}

bool MetaStore::storeMetadata(const Value& record, const std::string& key) {
    // Straight to the keychain: a metadata write leaves user defaults alone.
    auto& keychain = Platform::current().keychain;
    if (key.empty() || !keychain) return false;
    if (record.isNull()) {
        clearValueForKey(key);
        return true;
    }
    auto archive = KeyedArchive::archive(record);
    return archive && keychain->add(KeychainUtils::accessGroup(), metadataKey(key), *archive);
}

void MetaStore::clearValueForKey(const std::string& key) {
    KeychainUtils::clearValueForKey(Value(metadataKey(key)));
}

}  // namespace tandri
