#include "Platform/Sqlite/SqliteStore.hpp"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Core/Storage/KeyedArchive.hpp"

namespace tandri::sqlite {

namespace {

constexpr int kBusyTimeoutMs = 30000;

// Items without a service are kept under the empty service.
const std::string kNoService;

bool makeDirectory(const std::string& dir) {
    if (dir.empty()) return false;
    struct stat st {};
    if (::stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
    auto slash = dir.find_last_of('/');
    if (slash != std::string::npos && slash > 0 && !makeDirectory(dir.substr(0, slash))) {
        return false;
    }
    return ::mkdir(dir.c_str(), 0700) == 0 || errno == EEXIST;
}

class Statement {
  public:
    explicit Statement(sqlite3_stmt* stmt) : stmt_(stmt) {}
    ~Statement() {
        sqlite3_reset(stmt_);
        sqlite3_clear_bindings(stmt_);
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    Statement& text(int index, const std::string& value) {
        sqlite3_bind_text(stmt_, index, value.data(), static_cast<int>(value.size()),
                          SQLITE_STATIC);
        return *this;
    }
    Statement& blob(int index, const std::string& value) {
        sqlite3_bind_blob(stmt_, index, value.data(), static_cast<int>(value.size()),
                          SQLITE_STATIC);
        return *this;
    }
    int step() { return sqlite3_step(stmt_); }
    std::string column(int index) {
        const void* data = sqlite3_column_blob(stmt_, index);
        int size = sqlite3_column_bytes(stmt_, index);
        return data ? std::string(static_cast<const char*>(data), static_cast<std::size_t>(size))
                    : std::string();
    }

  private:
    sqlite3_stmt* stmt_;
};

class SqliteKeychain final : public Keychain {
  public:
    explicit SqliteKeychain(std::shared_ptr<SqliteStore> store) : store_(std::move(store)) {}
    bool add(const std::optional<std::string>& service, const std::string& account,
             const std::vector<std::uint8_t>& data) override {
        return store_->putItem(service, account, std::string(data.begin(), data.end()));
    }
    std::optional<std::vector<std::uint8_t>> copyMatching(const std::optional<std::string>& service,
                                                          const std::string& account) override {
        auto data = store_->getItem(service, account);
        if (!data) return std::nullopt;
        return std::vector<std::uint8_t>(data->begin(), data->end());
    }
    void remove(const std::optional<std::string>& service, const std::string& account) override {
        store_->deleteItems(service, account);
    }

  private:
    std::shared_ptr<SqliteStore> store_;
};

class SqliteUserDefaults final : public UserDefaults {
  public:
    explicit SqliteUserDefaults(std::shared_ptr<SqliteStore> store) : store_(std::move(store)) {}
    std::optional<Value> objectForKey(const std::string& key) override {
        auto data = store_->getDefault(key);
        if (!data) return std::nullopt;
        return KeyedArchive::unarchive(std::vector<std::uint8_t>(data->begin(), data->end()));
    }
    bool setObject(const std::string& key, const Value& value) override {
        auto archive = KeyedArchive::archive(value);
        return archive && store_->putDefault(key, std::string(archive->begin(), archive->end()));
    }
    void removeObject(const std::string& key) override { store_->deleteDefault(key); }

  private:
    std::shared_ptr<SqliteStore> store_;
};

}  // namespace

std::optional<std::string> SqliteStore::defaultPath(const std::string& application) {
    std::string base;
    const char* xdg = std::getenv("XDG_DATA_HOME");
    if (xdg && xdg[0] == '/') {
        base = xdg;
    } else {
        const char* home = std::getenv("HOME");
        if (!home || home[0] != '/') return std::nullopt;
        base = std::string(home) + "/.local/share";
    }
    return base + "/" + application + "/storage.db";
}

std::shared_ptr<SqliteStore> SqliteStore::open(const std::string& path, std::string* error) {
    auto fail = [&](std::string why) -> std::shared_ptr<SqliteStore> {
        if (error) *error = std::move(why);
        return nullptr;
    };
    auto slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0) {
        const std::string dir = path.substr(0, slash);
        if (!makeDirectory(dir)) return fail("cannot create " + dir + ": " + std::strerror(errno));
        ::chmod(dir.c_str(), 0700);
    }
    // Create the file with the user-only mode before SQLite sees it; its journal files take
    // the same mode.
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) return fail("cannot open " + path + ": " + std::strerror(errno));
    ::fchmod(fd, 0600);
    ::close(fd);

    std::shared_ptr<SqliteStore> store(new SqliteStore());
    store->path_ = path;
    int rc = sqlite3_open_v2(path.c_str(), &store->db_,
                             SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        return fail(store->db_ ? sqlite3_errmsg(store->db_) : sqlite3_errstr(rc));
    }
    sqlite3_busy_timeout(store->db_, kBusyTimeoutMs);
    if (!store->exec("PRAGMA journal_mode=WAL") || !store->exec("PRAGMA synchronous=FULL") ||
        !store->exec("CREATE TABLE IF NOT EXISTS keychain (service TEXT NOT NULL, account TEXT "
                     "NOT NULL, data BLOB NOT NULL, PRIMARY KEY (service, account)) "
                     "WITHOUT ROWID") ||
        !store->exec("CREATE TABLE IF NOT EXISTS defaults (key TEXT NOT NULL PRIMARY KEY, "
                     "value BLOB NOT NULL) WITHOUT ROWID") ||
        !store->prepare()) {
        return fail(sqlite3_errmsg(store->db_));
    }
    return store;
}

SqliteStore::~SqliteStore() {
    for (sqlite3_stmt* stmt : {putItem_, getItem_, getAnyItem_, deleteItem_, deleteAnyItem_,
                               putDefault_, getDefault_, deleteDefault_}) {
        sqlite3_finalize(stmt);
    }
    sqlite3_close_v2(db_);
}

bool SqliteStore::exec(const char* sql) {
    return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool SqliteStore::prepare() {
    struct {
        sqlite3_stmt** stmt;
        const char* sql;
    } const statements[] = {
        // An unchanged item or preference is left untouched, so rewriting the same bytes costs
        // no disk write.
        {&putItem_,
         "INSERT INTO keychain (service, account, data) VALUES (?1, ?2, ?3) "
         "ON CONFLICT (service, account) DO UPDATE SET data = excluded.data "
         "WHERE data IS NOT excluded.data"},
        {&getItem_, "SELECT data FROM keychain WHERE service = ?1 AND account = ?2"},
        {&getAnyItem_, "SELECT data FROM keychain WHERE account = ?1 ORDER BY service LIMIT 1"},
        {&deleteItem_, "DELETE FROM keychain WHERE service = ?1 AND account = ?2"},
        {&deleteAnyItem_, "DELETE FROM keychain WHERE account = ?1"},
        {&putDefault_,
         "INSERT INTO defaults (key, value) VALUES (?1, ?2) ON CONFLICT (key) DO UPDATE "
         "SET value = excluded.value WHERE value IS NOT excluded.value"},
        {&getDefault_, "SELECT value FROM defaults WHERE key = ?1"},
        {&deleteDefault_, "DELETE FROM defaults WHERE key = ?1"},
    };
    for (const auto& s : statements) {
        if (sqlite3_prepare_v3(db_, s.sql, -1, SQLITE_PREPARE_PERSISTENT, s.stmt, nullptr) !=
            SQLITE_OK) {
            return false;
        }
    }
    return true;
}

bool SqliteStore::putItem(const std::optional<std::string>& service, const std::string& account,
                          const std::string& data) {
    std::lock_guard lock(mutex_);
    if (!service) {
        // Added without a service: it replaces the account's items under every service.
        if (!exec("BEGIN IMMEDIATE")) return false;
        bool ok = Statement(deleteAnyItem_).text(1, account).step() == SQLITE_DONE &&
                  Statement(putItem_).text(1, kNoService).text(2, account).blob(3, data).step() ==
                      SQLITE_DONE;
        if (!ok) {
            exec("ROLLBACK");
            return false;
        }
        return exec("COMMIT");
    }
    {
        // Rewriting the same bytes would still take the write lock; a read answers first.
        Statement current(getItem_);
        current.text(1, *service).text(2, account);
        if (current.step() == SQLITE_ROW && current.column(0) == data) return true;
    }
    return Statement(putItem_).text(1, *service).text(2, account).blob(3, data).step() ==
           SQLITE_DONE;
}

std::optional<std::string> SqliteStore::getItem(const std::optional<std::string>& service,
                                                const std::string& account) {
    std::lock_guard lock(mutex_);
    Statement stmt(service ? getItem_ : getAnyItem_);
    if (service) {
        stmt.text(1, *service).text(2, account);
    } else {
        stmt.text(1, account);
    }
    if (stmt.step() != SQLITE_ROW) return std::nullopt;
    return stmt.column(0);
}

bool SqliteStore::deleteItems(const std::optional<std::string>& service,
                              const std::string& account) {
    std::lock_guard lock(mutex_);
    if (service)
        return Statement(deleteItem_).text(1, *service).text(2, account).step() == SQLITE_DONE;
    return Statement(deleteAnyItem_).text(1, account).step() == SQLITE_DONE;
}

bool SqliteStore::putDefault(const std::string& key, const std::string& archive) {
    std::lock_guard lock(mutex_);
    return Statement(putDefault_).text(1, key).blob(2, archive).step() == SQLITE_DONE;
}

std::optional<std::string> SqliteStore::getDefault(const std::string& key) {
    std::lock_guard lock(mutex_);
    Statement stmt(getDefault_);
    stmt.text(1, key);
    if (stmt.step() != SQLITE_ROW) return std::nullopt;
    return stmt.column(0);
}

bool SqliteStore::deleteDefault(const std::string& key) {
    std::lock_guard lock(mutex_);
    {
        Statement current(getDefault_);
        current.text(1, key);
        if (current.step() != SQLITE_ROW) return true;
    }
    return Statement(deleteDefault_).text(1, key).step() == SQLITE_DONE;
}

bool SqliteStore::integrityCheck() {
    std::lock_guard lock(mutex_);
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, "PRAGMA integrity_check", -1, &stmt, nullptr) != SQLITE_OK) {
        return false;
    }
    bool ok = sqlite3_step(stmt) == SQLITE_ROW &&
              std::strcmp(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)), "ok") == 0;
    sqlite3_finalize(stmt);
    return ok;
}

std::shared_ptr<Keychain> SqliteStore::keychain() {
    return std::make_shared<SqliteKeychain>(shared_from_this());
}

std::shared_ptr<UserDefaults> SqliteStore::userDefaults() {
    return std::make_shared<SqliteUserDefaults>(shared_from_this());
}

}  // namespace tandri::sqlite
