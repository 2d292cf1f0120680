// The embedded persistent store on Linux: one SQLite database per application holding keychain
// items and preferences. Every acknowledged write is durable (write-ahead log, full sync); the
// directory is readable by the user only (0700) and so is the database file (0600). Several
// processes may use the same database at once.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Platform/Keychain.hpp"
#include "Platform/UserDefaults.hpp"

struct sqlite3;
struct sqlite3_stmt;

namespace tandri::sqlite {

class SqliteStore : public std::enable_shared_from_this<SqliteStore> {
  public:
    /// `$XDG_DATA_HOME/<application>/storage.db`, with `~/.local/share` when XDG_DATA_HOME is
    /// unset or not absolute; absent without either.
    static std::optional<std::string> defaultPath(const std::string& application);
    /// Opens (creating when needed) the database at `path`; null when it cannot be opened.
    /// `error` receives the reason.
    static std::shared_ptr<SqliteStore> open(const std::string& path, std::string* error = nullptr);
    ~SqliteStore();
    SqliteStore(const SqliteStore&) = delete;
    SqliteStore& operator=(const SqliteStore&) = delete;

    /// Ports over this database.
    std::shared_ptr<Keychain> keychain();
    std::shared_ptr<UserDefaults> userDefaults();

    const std::string& path() const { return path_; }
    /// Whether SQLite's integrity check reports the database sound.
    bool integrityCheck();

    // Operations of the two ports. Each one is a single durable transaction.
    bool putItem(const std::optional<std::string>& service, const std::string& account,
                 const std::string& data);
    std::optional<std::string> getItem(const std::optional<std::string>& service,
                                       const std::string& account);
    bool deleteItems(const std::optional<std::string>& service, const std::string& account);
    bool putDefault(const std::string& key, const std::string& archive);
    std::optional<std::string> getDefault(const std::string& key);
    bool deleteDefault(const std::string& key);

  private:
    SqliteStore() = default;
    bool prepare();
    bool exec(const char* sql);

    std::string path_;
    sqlite3* db_ = nullptr;
    std::mutex mutex_;
    sqlite3_stmt* putItem_ = nullptr;
    sqlite3_stmt* getItem_ = nullptr;
    sqlite3_stmt* getAnyItem_ = nullptr;
    sqlite3_stmt* deleteItem_ = nullptr;
    sqlite3_stmt* deleteAnyItem_ = nullptr;
    sqlite3_stmt* putDefault_ = nullptr;
    sqlite3_stmt* getDefault_ = nullptr;
    sqlite3_stmt* deleteDefault_ = nullptr;
};

}  // namespace tandri::sqlite
