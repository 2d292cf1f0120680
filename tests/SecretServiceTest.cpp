#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "Core/Storage/KeychainUtils.hpp"
#include "Platform/Linux/PersistentStorage.hpp"
#include "Platform/SecretService/SecretServiceKeychain.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "StoragePage.hpp"

using namespace tandri;
using tandri::test::Page;

namespace {

// Runs only under scripts/test-secret-service.sh, which starts a throw-away keyring and sets
// TANDRI_REQUIRE_SECRET_SERVICE (a developer's own keyring is never touched); there a missing
// keyring is a failure.
std::shared_ptr<secretservice::SecretServiceKeychain> keyringOrSkip(bool& skip) {
    skip = std::getenv("TANDRI_REQUIRE_SECRET_SERVICE") == nullptr;
    if (skip) return nullptr;
    std::string error;
    auto keyring = secretservice::SecretServiceKeychain::connect(&error);
    if (!keyring) ADD_FAILURE() << "no Secret Service: " << error;
    return keyring;
}

}  // namespace

TEST(SecretServiceKeychain, ItemsByServiceAndAccountInARealKeyring) {
    bool skip = false;
    auto keyring = keyringOrSkip(skip);
    if (skip) GTEST_SKIP() << "needs the keyring started by scripts/test-secret-service.sh";
    ASSERT_TRUE(keyring);
    const std::string account = "acct-" + std::to_string(::getpid());
    keyring->add("svc1", account, {0, 1, 2, 0xff});
    keyring->add("svc2", account, {'b'});
    keyring->add("svc1", account, {'c'});  // replaces
    EXPECT_EQ(keyring->copyMatching("svc1", account), (std::vector<std::uint8_t>{'c'}));
    EXPECT_EQ(keyring->copyMatching("svc2", account), (std::vector<std::uint8_t>{'b'}));
    EXPECT_TRUE(keyring->copyMatching(std::nullopt, account));
    keyring->remove(std::nullopt, account);
    EXPECT_FALSE(keyring->copyMatching("svc1", account));
    EXPECT_FALSE(keyring->copyMatching("svc2", account));
    keyring->add(std::nullopt, account, {'n'});
    EXPECT_FALSE(keyring->copyMatching("svc1", account));
    EXPECT_EQ(keyring->copyMatching(std::nullopt, account), (std::vector<std::uint8_t>{'n'}));
    keyring->remove(std::nullopt, account);
}

TEST(SecretServiceKeychain, HandlersStoreSecureValuesInTheKeyringAndPreferencesInSqlite) {
    bool skip = false;
    auto keyring = keyringOrSkip(skip);
    if (skip) GTEST_SKIP() << "needs the keyring started by scripts/test-secret-service.sh";
    char pattern[] = "/tmp/tandri-keyring-XXXXXX";
    const std::string dir = ::mkdtemp(pattern);
    const std::string db = dir + "/storage.db";
    {
        sim::SimulatedPlatform platform;
        ::setenv("TANDRI_KEYCHAIN_BACKEND", "secret-service", 1);
        Platform ports = Platform::current();
        ASSERT_TRUE(linux_storage::installStoragePorts(
            ports, "test", linux_storage::backendFromEnvironment(), db));
        ::unsetenv("TANDRI_KEYCHAIN_BACKEND");
        Platform::install(ports);
        Page page;
        page.send(
            R"({"name":"set","id":"1","data":{"key":"card","value":{"last4":"4242"}},"options":{"secure":true}})");
        page.send(R"({"name":"set","id":"2","data":{"key":"theme","value":"dark"}})");
        EXPECT_EQ(page.send(R"({"name":"get","id":"3","data":"card"})"),
                  R"(P({"id":"3","name":"result","data":{"last4":"4242"},"error":null}))");
        EXPECT_TRUE(keyring->copyMatching("tandriCheckout", "card"));
        EXPECT_TRUE(keyring->copyMatching("tandriCheckout", "cardtandriMetadata"));
        EXPECT_FALSE(keyring->copyMatching("tandriCheckout", "theme"));
    }
    {
        // A fresh set of ports over the same keyring and database reads both back.
        sim::SimulatedPlatform platform;
        Platform ports = Platform::current();
        ASSERT_TRUE(linux_storage::installStoragePorts(
            ports, "test", linux_storage::KeychainBackend::SecretService, db));
        Platform::install(ports);
        Page page;
        EXPECT_EQ(page.send(R"({"name":"get","id":"4","data":"card"})"),
                  R"(P({"id":"4","name":"result","data":{"last4":"4242"},"error":null}))");
        EXPECT_EQ(page.send(R"({"name":"get","id":"5","data":"theme"})"),
                  R"(P({"id":"5","name":"result","data":"dark","error":null}))");
        page.send(R"({"name":"set","id":"6","data":{"key":"card","value":null}})");
        EXPECT_FALSE(keyring->copyMatching("tandriCheckout", "card"));
        KeychainUtils::clearValueForKey(Value("cardtandriMetadata"));
        KeychainUtils::clearValueForKey(Value("themetandriMetadata"));
    }
    std::filesystem::remove_all(dir);
}

TEST(SecretServiceKeychain, KeysTheKeyringCannotNameAreRefusedNeverTruncatedIntoAnother) {
    bool skip = false;
    auto keyring = keyringOrSkip(skip);
    if (skip) GTEST_SKIP() << "needs the keyring started by scripts/test-secret-service.sh";
    ASSERT_TRUE(keyring);
    char pattern[] = "/tmp/tandri-keyring-XXXXXX";
    const std::string dir = ::mkdtemp(pattern);
    {
        sim::SimulatedPlatform platform;
        Platform ports = Platform::current();
        ASSERT_TRUE(linux_storage::installStoragePorts(
            ports, "test", linux_storage::KeychainBackend::SecretService, dir + "/storage.db"));
        Platform::install(ports);
        Page page;
        const std::string refused =
            R"(","name":"result","data":null,"error":"Cannot store value under this key"}))";
        page.send(
            R"({"name":"set","id":"1","data":{"key":"a","value":"kept"},"options":{"secure":true}})");
        const auto item = keyring->copyMatching("tandriCheckout", "a");
        const auto metadata = keyring->copyMatching("tandriCheckout", "atandriMetadata");
        ASSERT_TRUE(item && metadata);

        // "a\0b" would reach the keyring as "a" (its metadata as "a" too): refused, in either
        // store, with nothing written or erased.
        EXPECT_EQ(
            page.send(
                R"({"name":"set","id":"3","data":{"key":"a\u0000b","value":"x"},"options":{"secure":true}})"),
            "P({\"id\":\"3" + refused);
        EXPECT_EQ(page.send(R"({"name":"set","id":"4","data":{"key":"a\u0000b","value":"x"}})"),
                  "P({\"id\":\"4" + refused);
        EXPECT_EQ(page.send(R"({"name":"set","id":"5","data":{"key":"a\u0000b","value":null}})"),
                  "P({\"id\":\"5" + refused);
        EXPECT_EQ(page.send(R"({"name":"get","id":"6","data":"a\u0000b"})"),
                  R"(P({"id":"6","name":"result","data":null,"error":null}))");
        EXPECT_EQ(keyring->copyMatching("tandriCheckout", "a"), item);
        EXPECT_EQ(keyring->copyMatching("tandriCheckout", "atandriMetadata"), metadata);
        EXPECT_EQ(page.send(R"({"name":"get","id":"7","data":"a"})"),
                  R"(P({"id":"7","name":"result","data":"kept","error":null}))");

        // Over 1024 bytes, for the key or its metadata item: refused the same way.
        const std::string longest(1024 - std::string("tandriMetadata").size(), 'k');
        EXPECT_EQ(page.send(R"({"name":"set","id":"8","data":{"key":")" + longest +
                            R"(","value":"v"},"options":{"secure":true}})"),
                  R"(P({"id":"8","name":"result","data":null,"error":null}))");
        EXPECT_EQ(page.send(R"({"name":"set","id":"9","data":{"key":")" + longest +
                            R"(k","value":"v"},"options":{"secure":true}})"),
                  "P({\"id\":\"9" + refused);

        // The port itself never names an item it cannot name faithfully.
        for (const std::string& bad :
             {std::string("a\0b", 3), std::string(1025, 'k'), std::string("\xff\xfe")}) {
            EXPECT_FALSE(keyring->canName(bad));
            EXPECT_FALSE(keyring->add("tandriCheckout", bad, {'x'}));
            EXPECT_FALSE(keyring->copyMatching("tandriCheckout", bad));
            keyring->remove("tandriCheckout", bad);
        }
        EXPECT_EQ(keyring->copyMatching("tandriCheckout", "a"), item);
        EXPECT_TRUE(keyring->canName(std::string(1024, 'k')));

        for (const std::string& key : {std::string("a"), longest}) {
            KeychainUtils::clearValueForKey(Value(key));
            MetaStore::clearValueForKey(key);
        }
    }
    std::filesystem::remove_all(dir);
}
