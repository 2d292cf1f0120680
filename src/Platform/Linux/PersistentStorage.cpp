#include "Platform/Linux/PersistentStorage.hpp"

#include <cstdlib>
#include <cstring>

#include "Core/Utils/Logging.hpp"
#include "Platform/SecretService/SecretServiceKeychain.hpp"
#include "Platform/Sqlite/SqliteStore.hpp"

namespace tandri::linux_storage {

KeychainBackend backendFromEnvironment() {
    const char* name = std::getenv("TANDRI_KEYCHAIN_BACKEND");
    if (name && std::strcmp(name, "secret-service") == 0) return KeychainBackend::SecretService;
    return KeychainBackend::Sqlite;
}

bool installStoragePorts(Platform& ports, const std::string& application, KeychainBackend backend,
                         const std::optional<std::string>& databasePath, KeychainBackend* chosen) {
    auto path = databasePath ? databasePath : sqlite::SqliteStore::defaultPath(application);
    if (!path) return false;
    std::string error;
    auto store = sqlite::SqliteStore::open(*path, &error);
    if (!store) {
        logInProduction("storage unavailable: " + error);
        return false;
    }
    ports.userDefaults = store->userDefaults();
    ports.keychain = store->keychain();
    if (chosen) *chosen = KeychainBackend::Sqlite;
    if (backend == KeychainBackend::SecretService) {
        if (auto keyring = secretservice::SecretServiceKeychain::connect(&error)) {
            ports.keychain = keyring;
            if (chosen) *chosen = KeychainBackend::SecretService;
        } else {
            logInProduction("keyring unavailable, keeping items in " + *path + ": " + error);
        }
    }
    return true;
}

}  // namespace tandri::linux_storage
