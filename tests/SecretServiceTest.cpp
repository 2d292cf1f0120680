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
