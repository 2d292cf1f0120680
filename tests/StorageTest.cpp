#include <gtest/gtest.h>

#include "Core/Storage/KeychainUtils.hpp"
#include "Core/Storage/KeyedArchive.hpp"
#include "Core/Storage/Storage.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "StoragePage.hpp"
#include "tandri/Json.hpp"
#include "tandri/Version.hpp"

using namespace tandri;
using tandri::test::Page;

namespace {

std::vector<std::uint8_t> bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

std::string metadataJson(const std::string& key) {
    auto record = MetaStore::getMedatadaForKey(key);
    return record ? *json::write(*record) : "<none>";
}

}  // namespace

TEST(KeyedArchive, RoundTripsEveryStoredTypeAndRefusesOtherData) {
    Value value(Dictionary{
        {"s", "h\xc3\xa9llo"},
        {"nul", std::string("a\0b", 3)},
        {"t", true},
        {"f", false},
        {"one", 1},
        {"neg", Value::integer(-9007199254740993LL)},
        {"min", Value::integer(INT64_MIN)},
        {"pi", 3.25},
        {"whole", 2.0},
        {"nil", Value()},
        {"list", Array{Value(), 1, "x", Array{}, Dictionary{}}},
        {"z-first-then-a", Dictionary{{"z", 1}, {"a", 2}, {"$entries", "kept"}}},
        {"bytes", Value::bytes({0, 1, 0xff})},
        {"date", Value::date(1700000000.25)},
    });
    auto archive = KeyedArchive::archive(value);
    ASSERT_TRUE(archive);
    EXPECT_EQ(std::string(archive->begin(), archive->begin() + 8), "bplist00");
    auto back = KeyedArchive::unarchive(*archive);
    ASSERT_TRUE(back);
    EXPECT_EQ(*back, Value(Dictionary(value.asDictionary())).asDictionary());
    // Types and order survive, not just equality under loose comparison.
    EXPECT_TRUE(back->find("t")->isBoolean());
    EXPECT_EQ(back->find("one")->numberType(), NumberType::Integer);
    EXPECT_EQ(back->find("whole")->numberType(), NumberType::Float);
    EXPECT_EQ(back->find("neg")->asInt(), -9007199254740993LL);
    EXPECT_EQ(back->find("min")->asInt(), INT64_MIN);
    EXPECT_EQ(back->find("nul")->asString(), std::string("a\0b", 3));
    EXPECT_EQ(back->find("z-first-then-a")->asDictionary().entries().front().first, "z");
    EXPECT_EQ(*back->find("bytes")->asForeign().bytes, (std::vector<std::uint8_t>{0, 1, 0xff}));
    EXPECT_DOUBLE_EQ(back->find("date")->asForeign().date, 1700000000.25);
    EXPECT_TRUE(KeyedArchive::unarchive(*KeyedArchive::archive(Value()))->isNull());

    EXPECT_FALSE(KeyedArchive::archive(Value::closure([](auto&, auto) {})));
    EXPECT_FALSE(KeyedArchive::unarchive(bytesOf("abc")));
    EXPECT_FALSE(KeyedArchive::unarchive(bytesOf("bplist00garbage")));
    auto truncated = *archive;
    truncated.resize(truncated.size() / 2);
    EXPECT_FALSE(KeyedArchive::unarchive(truncated));
    EXPECT_TRUE(isValidUTF8("h\xc3\xa9"));
    EXPECT_FALSE(isValidUTF8("\xc3"));
    EXPECT_FALSE(isValidUTF8("\xed\xa0\x80"));  // a lone surrogate
}

TEST(StorageStores, ValueStoresAreExclusiveAndKeysMustBeText) {
    sim::SimulatedPlatform platform;
    UserDefaultsUtils::setValue(Value("d"), Value("k"));
    KeychainUtils::setValue(Value("c"), Value("k"));
    EXPECT_FALSE(UserDefaultsUtils::getValueForKey("k"));
    EXPECT_EQ(KeychainUtils::getValueForKey("k"), Value("c"));
    UserDefaultsUtils::setValue(Value(Array{1, 2}), Value("k"));
    EXPECT_FALSE(KeychainUtils::getValueForKey("k"));
    EXPECT_EQ(UserDefaultsUtils::getValueForKey("k"), Value(Array{1, 2}));

    KeychainUtils::setValue(Value("c"), Value("k"));
    KeychainUtils::setValue(Value(), Value("k"));
    UserDefaultsUtils::setValue(Value("d"), Value("j"));
    UserDefaultsUtils::setValue(std::nullopt, Value("j"));
    EXPECT_TRUE(platform.keychain().items().empty());
    EXPECT_TRUE(platform.userDefaults().keys().empty());

    // Empty and non-text keys: every write and clear does nothing.
    UserDefaultsUtils::setValue(Value("d"), Value("keep"));
    KeychainUtils::setValue(Value("x"), Value(""));
    KeychainUtils::setValue(Value("x"), Value(5));
    UserDefaultsUtils::setValue(Value("x"), Value(""));
    KeychainUtils::clearValueForKey(Value(""));
    UserDefaultsUtils::clearValueForKey(Value());
    EXPECT_TRUE(platform.keychain().items().empty());
    EXPECT_EQ(platform.userDefaults().keys(), std::vector<std::string>{"keep"});

    // Plain UTF-8 items read as text; anything else unreadable reads as nothing.
    platform.keychain().add("tandriCheckout", "plain", bytesOf("abc"));
    platform.keychain().add("tandriCheckout", "binary", {0xff, 0xfe});
    EXPECT_EQ(KeychainUtils::getValueForKey("plain"), Value("abc"));
    EXPECT_FALSE(KeychainUtils::getValueForKey("binary"));

    // Service-less items are found only by the native lookup, and cleared whatever the service.
    platform.keychain().add(std::nullopt, "legacy", bytesOf("tok"));
    EXPECT_FALSE(KeychainUtils::getValueForKey("legacy"));
    EXPECT_EQ(KeychainUtils::getNativeValueForKey("legacy"), Value("tok"));
    EXPECT_EQ(KeychainUtils::getNativeValueForKey("plain"), Value("abc"));
    KeychainUtils::clearNativeValueForKey(Value("plain"));
    EXPECT_FALSE(KeychainUtils::getValueForKey("plain"));

    // Metadata lives in the keychain under key + suffix and leaves user defaults alone.
    UserDefaultsUtils::setValue(Value("page value"), Value("mtandriMetadata"));
    MetaStore::storeMetadata(Value(Dictionary{{"options", 1}}), "m");
    EXPECT_EQ(UserDefaultsUtils::getValueForKey("mtandriMetadata"), Value("page value"));
    EXPECT_EQ(metadataJson("m"), R"({"options":1})");
    EXPECT_TRUE(platform.keychain().copyMatching("tandriCheckout", "mtandriMetadata"));
    MetaStore::clearValueForKey("m");
    EXPECT_FALSE(MetaStore::getMedatadaForKey("m"));
}

TEST(StorageHandlers, SetAndGetThroughTheMessagesWithOptions) {
    sim::SimulatedPlatform platform;
    Page page;
    EXPECT_EQ(page.send(R"({"name":"set","id":"1","data":{"key":"k","value":{"a":[1,true]}}})"),
              R"(P({"id":"1","name":"result","data":null,"error":null}))");
    EXPECT_EQ(page.send(R"({"name":"get","id":"2","data":"k"})"),
              R"(P({"id":"2","name":"result","data":{"a":[1,true]},"error":null}))");
    EXPECT_EQ(metadataJson("k"), R"({"options":0,"prompt":null})");
    EXPECT_TRUE(platform.userDefaults().objectForKey("k"));

    // secure: keychain, no prompt; empty options behave as none; a prompt alone stays options 0.
    page.send(
        R"({"name":"set","id":"3","data":{"key":"s","value":"v"},"options":{"secure":true}})");
    EXPECT_EQ(page.send(R"({"name":"get","id":"4","data":"s"})"),
              R"(P({"id":"4","name":"result","data":"v","error":null}))");
    EXPECT_TRUE(platform.keychain().copyMatching("tandriCheckout", "s"));
    EXPECT_FALSE(platform.userDefaults().objectForKey("s"));
    page.send(R"({"name":"set","id":"5","data":{"key":"s","value":"w"},"options":{}})");
    EXPECT_EQ(metadataJson("s"), R"({"options":0,"prompt":null})");
    EXPECT_FALSE(platform.keychain().copyMatching("tandriCheckout", "s"));
    page.send(R"({"name":"set","id":"6","data":{"key":"p","value":"q"},"options":{"prompt":"x"}})");
    EXPECT_EQ(metadataJson("p"), R"({"options":0,"prompt":"x"})");
    EXPECT_EQ(page.send(R"({"name":"get","id":"7","data":"p"})"),
              R"(P({"id":"7","name":"result","data":"q","error":null}))");
    EXPECT_TRUE(platform.biometrics().prompts().empty());

    // Namespaced keys, read back under either name.
    page.send(R"({"name":"set","id":"8","data":{"key":"userInfo","value":{"username":"ann"}}})");
    EXPECT_TRUE(platform.userDefaults().objectForKey("com.tandri.storageKeys.userInfo"));
    EXPECT_EQ(page.send(R"({"name":"get","id":"9","data":"userInfo"})"),
              R"(P({"id":"9","name":"result","data":{"username":"ann"},"error":null}))");
    EXPECT_EQ(page.send(R"({"name":"get","id":"10","data":"com.tandri.storageKeys.userInfo"})"),
              R"(P({"id":"10","name":"result","data":{"username":"ann"},"error":null}))");

    // A null value erases the value and overwrites the metadata; unknown keys and values stored
    // without metadata read as null.
    page.send(R"({"name":"set","id":"11","data":{"key":"s","value":null},"options":{"secure":1}})");
    EXPECT_EQ(metadataJson("s"), R"({"options":1,"prompt":null})");
    EXPECT_EQ(page.send(R"({"name":"get","id":"12","data":"s"})"),
              R"(P({"id":"12","name":"result","data":null,"error":null}))");
    UserDefaultsUtils::setValue(Value("raw"), Value("nometa"));
    EXPECT_EQ(page.send(R"({"name":"get","id":"13","data":"nometa"})"),
              R"(P({"id":"13","name":"result","data":null,"error":null}))");
    // Flags sent as text count as the page meant them: a token marked "true" is not left
    // readable without the check.
    page.send(R"({"name":"set","id":"15","data":{"key":"t","value":"tok"},)"
              R"("options":{"requireAuth":"true","secure":"0"}})");
    EXPECT_EQ(metadataJson("t"), R"({"options":2,"prompt":null})");
    EXPECT_EQ(page.send(R"({"name":"get","id":"16","data":"t"})"),
              R"(P({"id":"16","name":"result","data":null,"error":null}))");
    EXPECT_EQ(platform.biometrics().prompts().size(), 1u);
    // Options with only bits this library does not know read as null.
    MetaStore::storeMetadata(Value(Dictionary{{"options", 4}}), "k");
    EXPECT_EQ(page.send(R"({"name":"get","id":"14","data":"k"})"),
              R"(P({"id":"14","name":"result","data":null,"error":null}))");
}

TEST(StorageHandlers, RefusesBadMessagesWithFixedTexts) {
    sim::SimulatedPlatform platform;
    Page page;
    const std::string noKey =
        R"(","name":"result","data":null,"error":"No valid key was found on the message"}))";
    EXPECT_EQ(page.send(R"({"name":"get","id":"1","data":""})"), R"(P({"id":"1)" + noKey);
    EXPECT_EQ(page.send(R"({"name":"get","id":"2","data":7})"), R"(P({"id":"2)" + noKey);
    EXPECT_EQ(page.send(R"({"name":"get","id":"3"})"), R"(P({"id":"3)" + noKey);
    EXPECT_EQ(
        page.send(R"({"name":"set","id":"4","data":"k"})"),
        R"(P({"id":"4","name":"result","data":null,"error":"Data is not a valid dictionary"}))");
    EXPECT_EQ(
        page.send(R"({"name":"set","id":"5","data":{"value":"v"}})"),
        R"(P({"id":"5","name":"result","data":null,"error":"Cannot store value, key is nil"}))");
    EXPECT_EQ(
        page.send(R"({"name":"set","id":"6","data":{"key":3,"value":"v"}})"),
        R"(P({"id":"6","name":"result","data":null,"error":"Cannot store value, key is nil"}))");
    EXPECT_TRUE(platform.keychain().items().empty());
    EXPECT_TRUE(platform.userDefaults().keys().empty());
    // A set without "value" is an erase and succeeds.
    EXPECT_EQ(page.send(R"({"name":"set","id":"7","data":{"key":"k"}})"),
              R"(P({"id":"7","name":"result","data":null,"error":null}))");
    EXPECT_EQ(&Storage::getHandler(), &Storage::getHandler());
}

TEST(StorageHandlers, BiometricKeysNeedAPassedCheckEvenWhenTheReplyComesFromAnotherThread) {
    sim::SimulatedPlatform platform;
    Page page;
    page.send(
        R"({"name":"set","id":"1","data":{"key":"refresh_token","value":"abc"},"options":{"requireAuth":true}})");
    EXPECT_TRUE(
        platform.keychain().copyMatching("tandriCheckout", "com.tandri.storageKeys.refresh_token"));
    EXPECT_EQ(metadataJson("com.tandri.storageKeys.refresh_token"),
              R"({"options":2,"prompt":null})");
    EXPECT_TRUE(platform.biometrics().prompts().empty());  // set never prompts

    // No sensor: the check fails, so null.
    const std::string get = R"({"name":"get","id":"2","data":"refresh_token"})";
    const std::string denied = R"(P({"id":"2","name":"result","data":null,"error":null}))";
    const std::string granted = R"(P({"id":"2","name":"result","data":"abc","error":null}))";
    EXPECT_EQ(page.send(get), denied);
    platform.biometrics().setSensor(BiometryKind::Fingerprint, false);
    EXPECT_EQ(page.send(get), denied);
    platform.biometrics().setSensor(BiometryKind::Fingerprint, true);
    platform.biometrics().setReplyOnOtherThread(true);
    EXPECT_EQ(page.send(get), granted);
    platform.biometrics().joinReplies();
    EXPECT_EQ(platform.biometrics().prompts(),
              std::vector<std::string>(3, "Confirm your fingerprint now."));

    // The stored prompt is shown when it is non-empty text.
    page.send(
        R"({"name":"set","id":"3","data":{"key":"b","value":1},"options":{"requireAuth":true,"secure":true,"prompt":"Unlock"}})");
    EXPECT_EQ(metadataJson("b"), R"({"options":3,"prompt":"Unlock"})");
    EXPECT_EQ(page.send(R"({"name":"get","id":"4","data":"b"})"),
              R"(P({"id":"4","name":"result","data":1,"error":null}))");
    platform.biometrics().joinReplies();
    EXPECT_EQ(platform.biometrics().prompts().back(), "Unlock");

    // A biometric key whose value is gone answers null without prompting.
    platform.keychain().remove("tandriCheckout", "b");
    EXPECT_EQ(page.send(R"({"name":"get","id":"5","data":"b"})"),
              R"(P({"id":"5","name":"result","data":null,"error":null}))");
    EXPECT_EQ(platform.biometrics().prompts().size(), 4u);
}

TEST(StorageDeviceInfo, ElevenEntriesAndTheBiometryRules) {
    sim::SimulatedPlatform platform;
    platform.bundle().hostVersion_ = "9.9";
    Page page;
    page.send(R"({"name":"set","id":"1","data":{"key":"deviceInfo","value":"shadow"}})");
    const std::string common =
        std::string(R"({"appHost":"IOS","appHostName":"IOS","appHostVersion":"17.0",)") +
        R"("appHostManufacturer":"Apple","deviceNameModel":"iPhone","appName":"TandriCheckout",)" +
        R"("appVersion":"9.9","tandriSdkVersion":")" + kSDKVersion +
        R"(","attributes":[{"key":"vendorID","value":"6F9619FF-8B86-D011-B42D-00C04FC964FF"}],)";
    EXPECT_EQ(page.send(R"({"name":"get","id":"2","data":"deviceInfo"})"),
              R"(P({"id":"2","name":"result","data":)" + common +
                  R"("canUseBiometrics":false,"biometryType":null},"error":null}))");

    platform.biometrics().setSensor(BiometryKind::Face, true);
    EXPECT_TRUE(Storage::deviceInfo().find("biometryType")->isNull());
    EXPECT_EQ(*Storage::deviceInfo().find("canUseBiometrics"), Value(false));
    platform.bundle().hostInfo_.set("NSFaceIDUsageDescription", "Sign in faster");
    EXPECT_EQ(*json::write(Storage::deviceInfo()),
              common + R"("canUseBiometrics":true,"biometryType":2})");
    EXPECT_EQ(Storage::deviceInfo().asDictionary().size(), 11u);

    platform.biometrics().setSensor(BiometryKind::Fingerprint, true);
    EXPECT_EQ(Storage::biometryType(), Value::integer(1));
    platform.device().systemVersion_ = "10.3.1";
    EXPECT_EQ(Storage::biometryType(), Value::integer(0));
    EXPECT_EQ(*Storage::deviceInfo().find("canUseBiometrics"), Value(true));
}

TEST(StorageMigration, HybridFirstThenNativeOnALaterRun) {
    sim::SimulatedPlatform platform;
    auto& keychain = platform.keychain();
    // Leftovers of both earlier editions.
    keychain.add("tandriCheckout", "_stateObj",
                 bytesOf(R"({"username":"ann","rememberMe":true,"fingerprint":0,"x":1})"));
    keychain.add("tandriCheckout", "_token", bytesOf("hybrid-token"));
    platform.userDefaults().setObject("com.tandri.checkout.userDefaults.keys.username",
                                      Value("bob"));
    keychain.add(std::nullopt, "com.tandri.checkout.userDefaults.keys.biometryIDToken",
                 bytesOf("native-token"));
    platform.bundle().libraryVersion_ = "3.1.4";

    Storage::handleStorageMigration();
    EXPECT_EQ(platform.userDefaults().objectForKey("sdk_version"), Value("3.1.4"));
    EXPECT_FALSE(keychain.copyMatching("tandriCheckout", "_stateObj"));
    EXPECT_FALSE(keychain.copyMatching("tandriCheckout", "_token"));
    EXPECT_EQ(*json::write(*UserDefaultsUtils::getValueForKey("com.tandri.storageKeys.userInfo")),
              R"({"fingerprint":1,"rememberMe":true,"username":"ann"})");
    EXPECT_TRUE(Storage::isNativeMigration());  // left for a later run

    Page page;
    platform.biometrics().setSensor(BiometryKind::Fingerprint, true);
    EXPECT_EQ(page.send(R"({"name":"get","id":"1","data":"refresh_token"})"),
              R"(P({"id":"1","name":"result","data":"hybrid-token","error":null}))");
    EXPECT_EQ(platform.biometrics().prompts(),
              std::vector<std::string>{"Confirm your fingerprint now."});

    Storage::handleStorageMigration();
    EXPECT_FALSE(Storage::isNativeMigration());
    EXPECT_FALSE(keychain.copyMatching(std::nullopt,
                                       "com.tandri.checkout.userDefaults.keys.biometryIDToken"));
    EXPECT_EQ(
        page.send(R"({"name":"get","id":"2","data":"userInfo"})"),
        R"(P({"id":"2","name":"result","data":{"username":"bob","rememberMe":1,"fingerprint":1},"error":null}))");
    EXPECT_EQ(page.send(R"({"name":"get","id":"3","data":"refresh_token"})"),
              R"(P({"id":"3","name":"result","data":"native-token","error":null}))");

    // Nothing left: a third run only writes the version.
    auto before = keychain.items();
    Storage::handleStorageMigration();
    EXPECT_EQ(keychain.items(), before);
}

TEST(StorageMigration, SingleEditionLeftovers) {
    {
        // Hybrid state without a token: no token written, fingerprint copied unchanged.
        sim::SimulatedPlatform platform;
        platform.keychain().add("tandriCheckout", "_stateObj",
                                bytesOf(R"({"fingerprint":0,"username":"cy"})"));
        EXPECT_TRUE(Storage::isHybridMigration());
        Storage::handleStorageMigration();
        EXPECT_EQ(
            *json::write(*UserDefaultsUtils::getValueForKey("com.tandri.storageKeys.userInfo")),
            R"({"fingerprint":0,"username":"cy"})");
        EXPECT_FALSE(KeychainUtils::getValueForKey("com.tandri.storageKeys.refresh_token"));
        EXPECT_FALSE(Storage::isHybridMigration());
    }
    {
        // Native token only: no user name, so only "fingerprint".
        sim::SimulatedPlatform platform;
        platform.keychain().add(
            "legacyService", "com.tandri.checkout.userDefaults.keys.biometryIDToken", bytesOf("t"));
        platform.userDefaults().setObject("com.tandri.checkout.userDefaults.keys.username",
                                          Value("dee"));
        Storage::migrateNativeData();
        EXPECT_EQ(
            *json::write(*UserDefaultsUtils::getValueForKey("com.tandri.storageKeys.userInfo")),
            R"({"username":"dee","rememberMe":1,"fingerprint":1})");
        EXPECT_EQ(KeychainUtils::getValueForKey("com.tandri.storageKeys.refresh_token"),
                  Value("t"));
        EXPECT_TRUE(platform.keychain().items().size() == 3u);  // token, its metadata, userInfo's
    }
}

TEST(SharedSettings, VersionFromTheLibraryBundleAndMarketingUrl) {
    sim::SimulatedPlatform platform;
    platform.bundle().hostVersion_ = "7.0";
    EXPECT_EQ(TandriCheckoutPlugin::SDK_VERSION(), std::string(kSDKVersion));
    EXPECT_STREQ(TandriCheckoutSDKVersionString, kSDKVersion);
    EXPECT_DOUBLE_EQ(TandriCheckoutSDKVersionNumber,
                     std::stod(std::string(kSDKVersion)));  // "1.0.0" reads as 1.0
    platform.bundle().libraryVersion_ = std::nullopt;
    EXPECT_FALSE(TandriCheckoutPlugin::SDK_VERSION());
    Storage::setSDKVersionNumber();
    EXPECT_FALSE(platform.userDefaults().objectForKey("sdk_version"));

    // The host sets it as text; what is not a URL is refused and the URL set before stays.
    EXPECT_FALSE(TandriCheckoutSDK::marketingUrl());
    EXPECT_TRUE(TandriCheckoutSDK::setMarketingUrl("https://shop.example/spring"));
    EXPECT_EQ(SDKSettings::marketingUrl()->absoluteString(), "https://shop.example/spring");
    EXPECT_FALSE(TandriCheckoutSDK::setMarketingUrl("https://shop example/"));
    EXPECT_FALSE(TandriCheckoutSDK::setMarketingUrl(""));
    EXPECT_EQ(TandriCheckoutSDK::marketingUrl(), "https://shop.example/spring");
    EXPECT_TRUE(TandriCheckoutSDK::setMarketingUrl(std::nullopt));
    EXPECT_FALSE(SDKSettings::marketingUrl());

    // One cached web view for every button, made once with default settings.
    SDKSettings::resetCachedWebviewForTesting();
    auto cached = SDKSettings::cachedWebview();
    ASSERT_TRUE(cached);
    EXPECT_EQ(SDKSettings::cachedWebview(), cached);
    EXPECT_EQ(platform.webViews().webViews().size(), 1u);
    EXPECT_FALSE(
        cached->configuration()->userContentController->hasScriptMessageHandler("tandriMessage"));
    SDKSettings::resetCachedWebviewForTesting();
}
