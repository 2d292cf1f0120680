#include <gtest/gtest.h>

#include <limits>

#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "tandri/Constants.hpp"
#include "tandri/Json.hpp"
#include "tandri/TandriProfile.hpp"

using namespace tandri;

namespace {
Value parsed(std::string_view text) {
    auto v = json::parse(text);
    EXPECT_TRUE(v) << text;
    return v.value_or(Value());
}
}  // namespace

TEST(Profile, OptionsSentByTheInitialiserAndByAPlainProfile) {
    auto profile = std::make_shared<TandriProfile>(Environment::Sandbox, "key-1", "default");
    EXPECT_EQ(Value(profile->data()),
              parsed(R"({"environment":1,"apiKey":"key-1","profileName":"default",
                         "acceptCanadianDebitCards":true})"));
    EXPECT_TRUE(profile->rawObjects().empty());
    EXPECT_EQ(profile->environment(), Environment::Sandbox);
    EXPECT_TRUE(profile->acceptCanadianDebitCards());

    TandriProfile plain;
    EXPECT_TRUE(plain.data().empty());
    EXPECT_FALSE(plain.acceptCanadianDebitCards());
    EXPECT_FALSE(plain.enableTokenization());
    EXPECT_EQ(plain.environment(), Environment::Production);
    EXPECT_EQ(plain.datalevel(), DataLevel::Full);
    EXPECT_TRUE(plain.acceptedBillingCountries().empty());
    EXPECT_FALSE(plain.apiKey());

    // Properties set later, plain fields that are never sent, and none never clearing.
    profile->setDisplayName("Shop");
    profile->setEnableTokenization(true);
    profile->setLocale("en_US");
    profile->setLocale(std::nullopt);
    profile->setFacebookAppID("fb");
    profile->setLogo("logo.png");
    profile->setApplyChildDirectedTreatmentForGoogleAds(true);
    profile->setObject(Value("https://m.example/c"), kCampaignUrl);
    EXPECT_EQ(Value(profile->data()),
              parsed(R"({"environment":1,"apiKey":"key-1","profileName":"default",
                         "acceptCanadianDebitCards":true,"displayName":"Shop",
                         "enableTokenization":true,"locale":"en_US",
                         "campaignUrl":"https://m.example/c"})"));
    EXPECT_EQ(profile->locale(), "en_US");
    EXPECT_EQ(profile->facebookAppID(), "fb");

    // A string property holding something else through the subscript reads as none.
    profile->setObject(Value(5), kApiKey);
    EXPECT_FALSE(profile->apiKey());
    EXPECT_EQ((*profile)[kApiKey], Value(5));
}

TEST(Profile, KeyedSubscriptOrderAndWhatItDrops) {
    TandriProfile profile;
    profile.rawObjects().set("k", Value("raw"));
    profile.dataRequests().set("k", Value::closure({}));
    EXPECT_EQ(profile["k"], Value("raw"));
    profile.setObject(Value("sent"), "k");
    EXPECT_EQ(profile["k"], Value("sent"));
    EXPECT_FALSE(profile["missing"]);

    int calls = 0;
    profile.setObject(Value::closure([&](const std::optional<Value>&, AnswerClosure) { ++calls; }),
                      "ask");
    EXPECT_FALSE(profile.data().contains("ask"));
    ASSERT_TRUE(profile.dataRequests().find("ask"));
    (*profile["ask"]->asForeign().closure)(std::nullopt, {});
    EXPECT_EQ(calls, 1);

    const Dictionary before = profile.data();
    profile.setObject(std::nullopt, "k");
    profile.setObject(Value::object("Widget"), "k");
    profile.setObject(Value::date(3), "k");
    profile.setObject(Value(Dictionary{{"n", Value(std::numeric_limits<double>::quiet_NaN())}}),
                      "k");
    profile.setObject(Value(Array{Value::bytes({1})}), "k");
    EXPECT_EQ(profile.data(), before);
    EXPECT_EQ(profile["k"], Value("sent"));
    profile.setObject(Value(), "k");  // null is a value, and it replaces
    EXPECT_EQ(profile["k"], Value());
}

TEST(Profile, CountryAndBrandArrays) {
    TandriProfile profile;
    profile.setAcceptedBillingCountries(Array{21, 3});
    EXPECT_EQ(*profile.data().find(kAcceptedBillingCountries), Value(Array{"US", "CA"}));
    EXPECT_EQ(profile.acceptedBillingCountries(), (Array{21, 3}));

    profile.setAcceptedBillingCountries(Array{"us", "xx"});
    EXPECT_EQ(*profile.data().find(kAcceptedBillingCountries), Value(Array{"US"}));
    EXPECT_FALSE(profile.rawObjects().contains(kAcceptedBillingCountries));
    EXPECT_EQ(profile.acceptedBillingCountries(), (Array{"US"}));

    // Mixed, led by a number: the caller's array comes back as given.
    profile.setAcceptedShippingCountries({Country::Ukraine, Country::Qatar});
    EXPECT_EQ(*profile.data().find(kAcceptedShippingCountries), Value(Array{"UA", "QA"}));
    profile.acceptedShippingCountries(Array{12, "de", 40});
    EXPECT_EQ(*profile.data().find(kAcceptedShippingCountries), Value(Array{"MX", "DE"}));
    EXPECT_EQ(profile.acceptedShippingCountries(), (Array{12, "de", 40}));
    profile.setAcceptedShippingCountries(Array{});
    EXPECT_EQ(*profile.data().find(kAcceptedShippingCountries), Value(Array{}));
    EXPECT_TRUE(profile.acceptedShippingCountries().empty());

    profile.setAcceptedCardBrands(Array{"mastercard", "Whatever"});
    EXPECT_EQ(profile.acceptedCardBrands(), (Array{"mastercard", "Whatever"}));
    profile.setAcceptedCardBrands({CardBrand::Tandri, CardBrand::Amex});
    EXPECT_EQ(*profile.data().find(kAcceptedCardBrands), Value(Array{"TANDRI", "AMEX"}));
    EXPECT_EQ(profile.acceptedCardBrands(), (Array{5, 0}));
}

TEST(Profile, OpaqueArraysAreRefusedWithTheirWarning) {
    sim::SimulatedPlatform platform;
    TandriProfile profile;
    profile.setAcceptedBillingCountries(Array{"US"});
    profile.setAcceptedCardBrands(Array{1});
    const Dictionary data = profile.data();
    const Dictionary raw = profile.rawObjects();

    const Array opaque{Value::object("__SwiftValue"), "ca"};
    profile.setAcceptedBillingCountries(opaque);
    profile.setAcceptedCardBrands(opaque);
    profile.setAcceptedShippingCountries(opaque);
    EXPECT_EQ(profile.data(), data);
    EXPECT_EQ(profile.rawObjects(), raw);
    const std::string head =
        "TDC_SDK: Warning -- Objective-C cannot bridge the array values being "
        "set on ";
    EXPECT_EQ(platform.systemLog().lines(),
              (std::vector<std::string>{
                  head + "acceptedBillingCountries, please use the .rawValue property on the "
                         "Country enum.",
                  head + "acceptedCardBrands, please use the .rawValue property on the CardBrand "
                         "enum.",
                  head + "acceptedShippingCountries, please use the .rawValue property on the "
                         "Country enum."}));

    // The unchecked form stores what it can and says nothing.
    platform.systemLog().clear();
    profile.acceptedBillingCountries(opaque);
    profile.acceptedCardBrands(opaque);
    EXPECT_EQ(profile.acceptedBillingCountries(), (Array{"CA"}));
    EXPECT_EQ(profile.acceptedCardBrands(), (Array{"ca"}));
    EXPECT_TRUE(platform.systemLog().lines().empty());
}

TEST(Profile, DataLevelIsSentAsTextAndReadFromTheNumber) {
    TandriProfile profile;
    profile.setDatalevel(DataLevel::Summary);
    EXPECT_EQ(profile[kDatalevel], Value("SUMMARY"));
    EXPECT_EQ(profile.rawObjects().get(kDatalevel), Value(2));
    EXPECT_EQ(profile.datalevel(), DataLevel::Summary);

    profile.setDatalevel(static_cast<DataLevel>(9));
    EXPECT_EQ(profile[kDatalevel], Value("SUMMARY"));
    EXPECT_EQ(rawValue(profile.datalevel()), 9);

    profile.setObject(Value("NONE"), kDatalevel);
    EXPECT_EQ(rawValue(profile.datalevel()), 9);
}

TEST(Profile, HostURLFollowsEnvironmentAndSetting) {
    const std::string buildHost = TandriProfile::checkoutHost();
    EXPECT_FALSE(buildHost.empty());
    TandriProfile profile(Environment::Production, "k", "p");
    EXPECT_EQ(profile.buildHostURLString(), "https://" + buildHost);

    TandriProfile::setCheckoutHost("checkout.example.test");
    EXPECT_EQ(profile.buildHostURLString(), "https://checkout.example.test");
    profile.setEnvironment(Environment::Sandbox);
    EXPECT_EQ(profile.buildHostURLString(), "https://sandbox.checkout.example.test");
    profile.setEnvironment(static_cast<Environment>(2));
    EXPECT_EQ(profile.buildHostURLString(), "https://checkout.example.test");
    EXPECT_EQ(profile[kEnvironment], Value(2));

    TandriProfile::setCheckoutHost("");
    EXPECT_EQ(TandriProfile::checkoutHost(), buildHost);
}
