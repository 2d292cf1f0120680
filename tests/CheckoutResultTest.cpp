#include <gtest/gtest.h>

#include "tandri/Json.hpp"
#include "tandri/TandriCheckoutResult.hpp"

using namespace tandri;

namespace {
TandriCheckoutResult resultOf(std::string_view text) {
    auto v = json::parse(text);
    EXPECT_TRUE(v && v->isDictionary()) << text;
    return TandriCheckoutResult(v ? std::optional<Dictionary>(v->asDictionary()) : std::nullopt);
}
}  // namespace

TEST(CheckoutResult, ReadsEveryPathOfASuccess) {
    auto result = resultOf(R"({"type":"payment.success","extra":[1],"result":{
        "callid":"c-1","encKey":"ek","encPaymentData":"epd","paymentMethodType":"CARD",
        "partialPaymentInstrument":{"lastFourDigits":"4242",
                                    "paymentType":{"cardBrand":"mastercard"}},
        "partialShippingAddress":{"countryCode":"US","postalCode":"94016"}}})");
    EXPECT_EQ(result.statusCode(), TandriCheckoutStatus::Success);
    EXPECT_EQ(rawValue(result.statusCode()), 3);
    EXPECT_EQ(result.statusName(), "payment.success");
    EXPECT_EQ(result.callId(), Value("c-1"));
    EXPECT_EQ(result.encryptedKey(), Value("ek"));
    EXPECT_EQ(result.encryptedPaymentData(), Value("epd"));
    EXPECT_EQ(result.paymentMethodType(), Value("CARD"));
    EXPECT_EQ(result.lastFourDigits(), Value("4242"));
    EXPECT_EQ(result.paymentType(), Value(Dictionary{{"cardBrand", "mastercard"}}));
    EXPECT_EQ(result.cardBrand(), CardBrand::Mastercard);
    EXPECT_EQ(result.countryCode(), Value("US"));
    EXPECT_EQ(result.postalCode(), Value("94016"));
    EXPECT_EQ(result.country(), Country::UnitedStates);
    EXPECT_EQ(result["extra"], Value(Array{1}));
    EXPECT_EQ(result.valueInResultForKey("callid"), Value("c-1"));
    EXPECT_TRUE(result.partialShippingAddress()->isDictionary());

    // The setters keep their values to themselves.
    result.setCardBrand(CardBrand::Amex);
    result.setCountry(Country::Qatar);
    result.setCountryCode("QA");
    EXPECT_EQ(result.cardBrand(), CardBrand::Mastercard);
    EXPECT_EQ(result.country(), Country::UnitedStates);
    EXPECT_EQ(result.countryCode(), Value("US"));
}

TEST(CheckoutResult, StatusCodesAndFallbacks) {
    auto cancel = resultOf(R"({"type":"payment.cancel"})");
    EXPECT_EQ(rawValue(cancel.statusCode()), 4);
    EXPECT_FALSE(cancel.callId());
    EXPECT_EQ(cancel.cardBrand(), CardBrand::Invalid);
    EXPECT_EQ(rawValue(cancel.country()), 0);

    EXPECT_EQ(rawValue(resultOf(R"({"type":"payment.error"})").statusCode()), 1);
    for (auto text : {R"({"type":"PAYMENT.SUCCESS"})", R"({"type":""})", R"({"type":3})", "{}",
                      R"({"type":"payment.success "})"}) {
        EXPECT_EQ(rawValue(resultOf(text).statusCode()), 5) << text;
    }
    EXPECT_EQ(resultOf(R"({"type":7})").statusName(), "");

    TandriCheckoutResult none(std::nullopt);
    EXPECT_EQ(none.statusName(), "");
    EXPECT_EQ(none.statusCode(), TandriCheckoutStatus::Unknown);
    EXPECT_FALSE(none["type"]);
    EXPECT_FALSE(none.description());
    EXPECT_EQ(none.cardBrand(), CardBrand::Invalid);

    // A wrongly shaped payload yields none along every path through it.
    auto odd = resultOf(R"({"result":"text"})");
    EXPECT_FALSE(odd.callId());
    EXPECT_FALSE(odd.lastFourDigits());
    EXPECT_EQ(odd.cardBrand(), CardBrand::Invalid);
    auto oddBrand =
        resultOf(R"({"result":{"partialPaymentInstrument":{"paymentType":{"cardBrand":4}}}})");
    EXPECT_EQ(oddBrand.cardBrand(), CardBrand::Invalid);
}

TEST(CheckoutResult, BrandAndCountryRules) {
    EXPECT_EQ(TandriCheckoutResult::cardBrandFromString("mastercard"), CardBrand::Mastercard);
    EXPECT_EQ(TandriCheckoutResult::cardBrandFromString("Discover"), CardBrand::Discover);
    EXPECT_EQ(TandriCheckoutResult::cardBrandFromString("tandri"), CardBrand::Tandri);
    EXPECT_EQ(TandriCheckoutResult::cardBrandFromString("ELO"), CardBrand::Elo);
    EXPECT_EQ(TandriCheckoutResult::cardBrandFromString(""), CardBrand::Invalid);
    EXPECT_EQ(TandriCheckoutResult::cardBrandFromString("visa"), CardBrand::Invalid);
    EXPECT_EQ(TandriCheckoutResult::cardBrandFromString("invalid"), CardBrand::Invalid);
    EXPECT_EQ(TandriCheckoutResult::cardBrandFromString(std::nullopt), CardBrand::Invalid);

    EXPECT_EQ(rawValue(TandriCheckoutResult::countryForCode("US")), 21);
    EXPECT_EQ(rawValue(TandriCheckoutResult::countryForCode("QA")), 25);
    EXPECT_EQ(rawValue(TandriCheckoutResult::countryForCode("AU")), 1);
    EXPECT_EQ(rawValue(TandriCheckoutResult::countryForCode("us")), 0);
    EXPECT_EQ(rawValue(TandriCheckoutResult::countryForCode("DE")), 0);
    EXPECT_EQ(rawValue(TandriCheckoutResult::countryForCode(std::nullopt)), 0);
}

TEST(CheckoutResult, DescriptionAndCopiedPayload) {
    Dictionary payload{{"type", "payment.cancel"}, {"a", Array{1, true}}};
    TandriCheckoutResult result(payload);
    payload.set("type", Value("payment.success"));
    EXPECT_EQ(result.statusCode(), TandriCheckoutStatus::Cancel);
    EXPECT_EQ(result.description(),
              "{\n  \"a\" : [\n    1,\n    true\n  ],\n  \"type\" : \"payment.cancel\"\n}");

    TandriCheckoutResult foreign(Dictionary{{"type", "payment.success"}, {"d", Value::date(0)}});
    EXPECT_FALSE(foreign.description());
    EXPECT_EQ(foreign.statusCode(), TandriCheckoutStatus::Success);
}
