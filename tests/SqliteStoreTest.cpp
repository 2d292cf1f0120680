#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>
#include <thread>

#include "Core/Storage/KeychainUtils.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Platform/Sqlite/SqliteStore.hpp"
#include "StoragePage.hpp"

using namespace tandri;
using tandri::sqlite::SqliteStore;
using tandri::test::Page;

namespace {

// A fresh directory, removed afterwards.
struct TempDir {
    std::string path;
    TempDir() {
        char pattern[] = "/tmp/tandri-sqlite-XXXXXX";
        path = ::mkdtemp(pattern);
    }
    ~TempDir() { std::filesystem::remove_all(path); }
};

// The simulated platform with the keychain and user defaults of a SQLite store.
struct SqlitePlatform {
    sim::SimulatedPlatform platform;
    std::shared_ptr<SqliteStore> store;
    explicit SqlitePlatform(const std::string& path) {
        std::string error;
        store = SqliteStore::open(path, &error);
        if (!store) ADD_FAILURE() << error;
        Platform ports = Platform::current();
        ports.keychain = store->keychain();
        ports.userDefaults = store->userDefaults();
        Platform::install(std::move(ports));
    }
};

// Runs `body` in a child process; answers its exit status (or 128 + signal).
template <typename Body>
pid_t spawn(Body body) {
    pid_t pid = ::fork();
    if (pid == 0) {
        int code = 1;
        try {
            code = body();
        } catch (...) {
        }
        ::_exit(code);
    }
    return pid;
}

int waitFor(pid_t pid) {
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string setBody(const std::string& key, const std::string& value, bool secure) {
    return R"({"name":"set","id":"1","data":{"key":")" + key + R"(","value":")" + value + R"("})" +
           (secure ? R"(,"options":{"secure":true}})" : "}");
}

std::string answer(const std::string& id, const std::string& data) {
    return R"(P({"id":")" + id + R"(","name":"result","data":)" + data + R"(,"error":null}))";
}

}  // namespace

TEST(SqliteStore, HandlerWritesSurviveARestartInANewProcessWithUserOnlyFiles) {
    TempDir tmp;
    ::setenv("XDG_DATA_HOME", tmp.path.c_str(), 1);
    const auto path = SqliteStore::defaultPath("com.example.shop");
    ::unsetenv("XDG_DATA_HOME");
    ASSERT_TRUE(path);
    EXPECT_EQ(*path, tmp.path + "/com.example.shop/storage.db");

    pid_t writer = spawn([&] {
        SqlitePlatform ports(*path);
        Page page;
        page.send(setBody("plain", "one", false));
        page.send(setBody("secret", "two", true));
        page.send(
            R"({"name":"set","id":"1","data":{"key":"refresh_token","value":"tok"},"options":{"requireAuth":true,"prompt":"Unlock"}})");
        page.send(
            R"({"name":"set","id":"1","data":{"key":"userInfo","value":{"username":"ann","rememberMe":1,"n":2.5,"ok":true}}})");
        page.send(setBody("gone", "x", false));
        page.send(R"({"name":"set","id":"1","data":{"key":"gone","value":null}})");
        return 0;
    });
    ASSERT_EQ(waitFor(writer), 0);

    struct stat st {};
    ASSERT_EQ(::stat((tmp.path + "/com.example.shop").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    ASSERT_EQ(::stat(path->c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    SqlitePlatform ports(*path);
    EXPECT_TRUE(ports.store->integrityCheck());
    Page page;
    EXPECT_EQ(page.send(R"({"name":"get","id":"a","data":"plain"})"), answer("a", R"("one")"));
    EXPECT_EQ(page.send(R"({"name":"get","id":"b","data":"secret"})"), answer("b", R"("two")"));
    EXPECT_EQ(page.send(R"({"name":"get","id":"c","data":"userInfo"})"),
              answer("c", R"({"username":"ann","rememberMe":1,"n":2.5,"ok":true})"));
    EXPECT_EQ(page.send(R"({"name":"get","id":"d","data":"gone"})"), answer("d", "null"));
    ports.platform.biometrics().setSensor(BiometryKind::Fingerprint, true);
    EXPECT_EQ(page.send(R"({"name":"get","id":"e","data":"refresh_token"})"),
              answer("e", R"("tok")"));
    EXPECT_EQ(ports.platform.biometrics().prompts(), std::vector<std::string>{"Unlock"});
    // The stores stay exclusive on disk too.
    EXPECT_FALSE(ports.store->getDefault("secret"));
    EXPECT_FALSE(ports.store->getItem("tandriCheckout", "plain"));
}

TEST(SqliteStore, KeychainPortSemanticsAndUnopenablePaths) {
    TempDir tmp;
    SqlitePlatform ports(tmp.path + "/a/b/storage.db");
    auto keychain = ports.store->keychain();
    keychain->add("svc1", "acct", {'1'});
    keychain->add("svc2", "acct", {'2'});
    keychain->add("svc1", "acct", {'3'});
    EXPECT_EQ(keychain->copyMatching("svc1", "acct"), (std::vector<std::uint8_t>{'3'}));
    EXPECT_EQ(keychain->copyMatching("svc2", "acct"), (std::vector<std::uint8_t>{'2'}));
    EXPECT_TRUE(keychain->copyMatching(std::nullopt, "acct"));
    keychain->add(std::nullopt, "acct", {'4'});  // replaces the item under every service
    EXPECT_FALSE(keychain->copyMatching("svc1", "acct"));
    EXPECT_EQ(KeychainUtils::getNativeValueForKey("acct"), Value("4"));
    keychain->remove(std::nullopt, "acct");
    EXPECT_FALSE(keychain->copyMatching(std::nullopt, "acct"));

    std::string error;
    EXPECT_FALSE(SqliteStore::open(tmp.path + "/a/b/storage.db/inside.db", &error));
    EXPECT_FALSE(error.empty());
}

TEST(SqliteStore, NothingAcknowledgedIsLostWhenTheWriterIsKilled) {
    TempDir tmp;
    const std::string path = tmp.path + "/crash/storage.db";
    std::mt19937 random(std::random_device{}());
    std::set<int> acknowledged;
    int next = 0;
    for (int round = 0; round < 3; ++round) {
        int fds[2];
        ASSERT_EQ(::pipe(fds), 0);
        const int first = next;
        pid_t child = spawn([&] {
            ::close(fds[0]);
            SqlitePlatform ports(path);
            Page page;
            for (int i = first;; ++i) {
                const std::string k = "k" + std::to_string(i);
                if (page.send(setBody(k, "value-" + k, i % 2 == 1)) != answer("1", "null")) {
                    return 2;
                }
                if (::write(fds[1], &i, sizeof i) != sizeof i) return 3;
            }
        });
        ::close(fds[1]);
        // The kill comes at a random point after the first acknowledged write, however slow the
        // machine (or a sanitizer) makes the writer's start.
        int i = 0;
        ASSERT_EQ(::read(fds[0], &i, sizeof i), static_cast<ssize_t>(sizeof i))
            << "the writer did not get going in round " << round;
        acknowledged.insert(i);
        next = i + 2;
        std::this_thread::sleep_for(
            std::chrono::milliseconds(std::uniform_int_distribution<int>(0, 270)(random)));
        ::kill(child, SIGKILL);
        EXPECT_EQ(waitFor(child), 128 + SIGKILL);
        while (::read(fds[0], &i, sizeof i) == sizeof i) {
            acknowledged.insert(i);
            next = i + 2;  // the write after the last acknowledged one may have landed
        }
        ::close(fds[0]);
    }
    ASSERT_FALSE(acknowledged.empty());
    RecordProperty("acknowledged", static_cast<int>(acknowledged.size()));

    SqlitePlatform ports(path);
    EXPECT_TRUE(ports.store->integrityCheck());
    Page page;
    std::size_t missing = 0;
    for (int i : acknowledged) {
        const std::string k = "k" + std::to_string(i);
        if (page.send(R"({"name":"get","id":"1","data":")" + k + R"("})") !=
            answer("1", "\"value-" + k + "\"")) {
            ++missing;
        }
    }
    EXPECT_EQ(missing, 0u) << "of " << acknowledged.size() << " acknowledged writes";
}

TEST(SqliteStore, TwoProcessesShareOneStoreWithoutCorruptingIt) {
    TempDir tmp;
    const std::string path = tmp.path + "/shared/storage.db";
    { SqlitePlatform create(path); }
    constexpr int kWrites = 60;
    auto worker = [&](int me) {
        return spawn([&, me] {
            SqlitePlatform ports(path);
            Page page;
            int bad = 0;
            for (int i = 0; i < kWrites; ++i) {
                const std::string k = "p" + std::to_string(me) + "-" + std::to_string(i);
                page.send(setBody(k, "v" + k, i % 3 == 0));
                page.send(setBody("shared", "from" + std::to_string(me), false));
                // Whatever the other process wrote last must read back whole.
                const std::string other = "p" + std::to_string(1 - me) + "-" + std::to_string(i);
                const std::string got =
                    page.send(R"({"name":"get","id":"1","data":")" + other + R"("})");
                if (got != answer("1", "null") && got != answer("1", "\"v" + other + "\"")) ++bad;
            }
            return bad == 0 ? 0 : 4;
        });
    };
    pid_t a = worker(0);
    pid_t b = worker(1);
    EXPECT_EQ(waitFor(a), 0);
    EXPECT_EQ(waitFor(b), 0);

    SqlitePlatform ports(path);
    EXPECT_TRUE(ports.store->integrityCheck());
    Page page;
    for (int me = 0; me < 2; ++me) {
        for (int i = 0; i < kWrites; ++i) {
            const std::string k = "p" + std::to_string(me) + "-" + std::to_string(i);
            ASSERT_EQ(page.send(R"({"name":"get","id":"1","data":")" + k + R"("})"),
                      answer("1", "\"v" + k + "\""));
        }
    }
    const std::string shared = page.send(R"({"name":"get","id":"1","data":"shared"})");
    EXPECT_TRUE(shared == answer("1", R"("from0")") || shared == answer("1", R"("from1")"))
        << shared;
}
