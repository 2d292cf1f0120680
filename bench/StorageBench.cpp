// A "set" then a "get" through the storage handlers on the SQLite store, against raw SQLite
// inserting and selecting the same bytes with the same durability settings.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "Core/Storage/Storage.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Platform/Sqlite/SqliteStore.hpp"

using namespace tandri;

namespace {

std::string benchDir(const char* name) {
    char pattern[] = "/tmp/tandri-bench-XXXXXX";
    return std::string(::mkdtemp(pattern)) + "/" + name;
}

std::string payload(std::int64_t i) {
    return "refresh-token-" + std::to_string(i) + std::string(48, 'x');
}

void BM_HandlersSetGet_Sqlite(benchmark::State& state) {
    const std::string path = benchDir("handlers") + "/storage.db";
    sim::SimulatedPlatform platform;
    auto store = sqlite::SqliteStore::open(path);
    if (!store) {
        state.SkipWithError("cannot open the store");
        return;
    }
    Platform ports = Platform::current();
    ports.keychain = store->keychain();
    ports.userDefaults = store->userDefaults();
    Platform::install(ports);

    const MessageHandler& set = Storage::setHandler();
    const MessageHandler& get = Storage::getHandler();
    JSTandriMessage getMessage;
    getMessage.setName("get");
    getMessage.setIdentifier("2");
    getMessage.setData(Value("bench"));
    std::int64_t i = 0;
    std::size_t answers = 0;
    for (auto _ : state) {
        JSTandriMessage setMessage;
        setMessage.setName("set");
        setMessage.setIdentifier("1");
        setMessage.setData(Value(Dictionary{{"key", "bench"}, {"value", payload(i++)}}));
        set(setMessage, [&](std::optional<JSResult> r) { answers += r.has_value(); });
        get(getMessage, [&](std::optional<JSResult> r) {
            benchmark::DoNotOptimize(r);
            answers += r && r->data() && r->data()->isString();
        });
    }
    if (answers != 2 * static_cast<std::size_t>(state.iterations())) {
        state.SkipWithError("a handler did not answer");
    }
    state.SetItemsProcessed(state.iterations());
    store.reset();
    Platform::install(Platform{});
    std::filesystem::remove_all(std::filesystem::path(path).parent_path().parent_path());
}

void BM_RawSqliteInsertSelect(benchmark::State& state) {
    const std::string dir = benchDir("raw");
    std::filesystem::create_directories(dir);
    sqlite3* db = nullptr;
    sqlite3_open((dir + "/raw.db").c_str(), &db);
    sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    sqlite3_exec(db, "PRAGMA synchronous=FULL", nullptr, nullptr, nullptr);
    sqlite3_exec(db, "CREATE TABLE kv (key TEXT PRIMARY KEY, value BLOB) WITHOUT ROWID", nullptr,
                 nullptr, nullptr);
    sqlite3_stmt* insert = nullptr;
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(db, "INSERT OR REPLACE INTO kv (key, value) VALUES (?1, ?2)", -1, &insert,
                       nullptr);
    sqlite3_prepare_v2(db, "SELECT value FROM kv WHERE key = ?1", -1, &select, nullptr);
    std::int64_t i = 0;
    for (auto _ : state) {
        const std::string value = payload(i++);
        sqlite3_bind_text(insert, 1, "bench", -1, SQLITE_STATIC);
        sqlite3_bind_blob(insert, 2, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
        if (sqlite3_step(insert) != SQLITE_DONE) state.SkipWithError("insert failed");
        sqlite3_reset(insert);
        sqlite3_bind_text(select, 1, "bench", -1, SQLITE_STATIC);
        if (sqlite3_step(select) != SQLITE_ROW) state.SkipWithError("select failed");
        std::string back(static_cast<const char*>(sqlite3_column_blob(select, 0)),
                         static_cast<std::size_t>(sqlite3_column_bytes(select, 0)));
        benchmark::DoNotOptimize(back);
        sqlite3_reset(select);
    }
    state.SetItemsProcessed(state.iterations());
    sqlite3_finalize(insert);
    sqlite3_finalize(select);
    sqlite3_close(db);
    std::filesystem::remove_all(std::filesystem::path(dir).parent_path());
}

}  // namespace

BENCHMARK(BM_HandlersSetGet_Sqlite)->MinTime(2.0)->UseRealTime();
BENCHMARK(BM_RawSqliteInsertSelect)->MinTime(2.0)->UseRealTime();
