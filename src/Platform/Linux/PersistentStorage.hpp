// Chooses, at run time, where keychain items and preferences live on Linux: the embedded SQLite
// database (the default), or keychain items in the desktop keyring through the Secret Service
// with preferences still in SQLite.
#pragma once

#include <optional>
#include <string>

#include "Platform/Platform.hpp"

namespace tandri::linux_storage {

enum class KeychainBackend { Sqlite, SecretService };

/// The backend named by TANDRI_KEYCHAIN_BACKEND ("sqlite" or "secret-service"); SQLite when
/// unset or unknown.
KeychainBackend backendFromEnvironment();

/// Fills the keychain and user-defaults ports of `ports` for `application`. A keyring that does
/// not answer falls back to SQLite with a system-log line. False when the database cannot be
/// opened (the ports are then left as they were). `chosen` learns where keychain items went.
bool installStoragePorts(Platform& ports, const std::string& application, KeychainBackend backend,
                         const std::optional<std::string>& databasePath = std::nullopt,
                         KeychainBackend* chosen = nullptr);

}  // namespace tandri::linux_storage
