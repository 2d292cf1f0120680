#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "Core/Utils/Translator.hpp"
#include "tandri/Json.hpp"

using namespace tandri;

TEST(Translator, TablesAndValuesOutsideThem) {
    EXPECT_EQ(Translator::stringForCountry(0), "AR");
    EXPECT_EQ(Translator::stringForCountry(18), "ES");
    EXPECT_EQ(Translator::stringForCountry(21), "US");
    EXPECT_EQ(Translator::stringForCountry(22), "UA");
    EXPECT_EQ(Translator::stringForCountry(25), "QA");
    EXPECT_EQ(Translator::stringForBrand(2), "FLUX");
    EXPECT_EQ(Translator::stringForBrand(5), "TANDRI");
    EXPECT_EQ(Translator::stringForBrand(6), "INVALID");
    EXPECT_EQ(Translator::stringForCurrency(0), "AED");
    EXPECT_EQ(Translator::stringForCurrency(22), "USD");
    EXPECT_EQ(Translator::stringForCurrency(23), "ZAR");
    EXPECT_EQ(Translator::stringForReviewAction(0), "Continue");
    EXPECT_EQ(Translator::stringForReviewAction(1), "Continue");
    EXPECT_EQ(Translator::stringForReviewAction(2), "Pay");
    EXPECT_EQ(Translator::stringForDataLevel(1), "NONE");
    EXPECT_EQ(Translator::stringForDataLevel(2), "SUMMARY");

    for (std::int64_t outside : {std::int64_t{-1}, std::int64_t{1} << 40}) {
        EXPECT_FALSE(Translator::stringForCountry(outside));
        EXPECT_FALSE(Translator::stringForCurrency(outside));
    }
    EXPECT_FALSE(Translator::stringForCountry(26));
    EXPECT_FALSE(Translator::stringForBrand(7));
    EXPECT_FALSE(Translator::stringForCurrency(24));
    EXPECT_FALSE(Translator::stringForReviewAction(3));
    EXPECT_FALSE(Translator::stringForDataLevel(3));
}

TEST(Translator, MixedCountryAndBrandArrays) {
    Array countries{"gb", "XX", 3, 21, "ca", "de", "Us", "us", 99, Value(), Array{"US"}, "usa"};
    EXPECT_EQ(Translator::stringCountries(countries),
              (Array{"GB", "CA", "US", "CA", "DE", "US", "US"}));
    EXPECT_TRUE(Translator::stringCountries(std::nullopt).empty());
    EXPECT_TRUE(Translator::stringCountries(Array{}).empty());

    Array brands{"mastercard", 0, "not a brand", 7, 6, Value::date(0)};
    EXPECT_EQ(Translator::stringBrands(brands),
              (Array{"mastercard", "AMEX", "not a brand", "INVALID"}));
    EXPECT_TRUE(Translator::stringBrands(std::nullopt).empty());
}

TEST(Translator, OpaqueHostObjectsAreDetected) {
    EXPECT_FALSE(Translator::containsSwiftValues(std::nullopt));
    EXPECT_FALSE(Translator::containsSwiftValues(Array{}));
    EXPECT_FALSE(Translator::containsSwiftValues(Array{1, "US", Value(), Value::date(1)}));
    EXPECT_FALSE(Translator::containsSwiftValues(Array{Value::closure({}), Value::bytes({1})}));
    EXPECT_TRUE(Translator::containsSwiftValues(Array{21, Value::object("__SwiftValue")}));
}

TEST(Translator, CountryCodesMatchTheSystemIsoData) {
    std::ifstream file("/usr/share/iso-codes/json/iso_3166-1.json");
    if (!file) GTEST_SKIP() << "iso-codes is not installed";
    std::stringstream text;
    text << file.rdbuf();
    auto parsed = json::parse(text.str());
    ASSERT_TRUE(parsed);
    const Value* list = parsed->find("3166-1");
    ASSERT_TRUE(list && list->isArray());
    std::vector<std::string> expected;
    for (const Value& entry : list->asArray())
        expected.push_back(entry.find("alpha_2")->asString());
    std::ranges::sort(expected);

    std::vector<std::string> ours(Translator::isoCountryCodes().begin(),
                                  Translator::isoCountryCodes().end());
    EXPECT_EQ(ours, expected);
    EXPECT_GT(ours.size(), 240u);
    for (std::int64_t i = 0; i < 26; ++i) {
        EXPECT_TRUE(Translator::isISOCountryCode(*Translator::stringForCountry(i)));
    }
}
