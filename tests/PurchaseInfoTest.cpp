#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tandri/Constants.hpp"
#include "tandri/Json.hpp"
#include "tandri/TandriPurchaseInfo.hpp"

using namespace tandri;

TEST(CurrencyAmount, TextFormsOfEveryInitialiser) {
    const std::string digits50 = "12345678901234567890123456789012345678901234567890";
    const std::string first38 = digits50.substr(0, 38);
    const struct {
        std::string in, out;
    } texts[] = {
        {"12.50", "12.5"},
        {"abc", "NaN"},
        {"10", "10"},
        {"-0.99", "-0.99"},
        {"1e3", "1000"},
        {"1E+2", "100"},
        {"2.5e-3", "0.0025"},
        {"  7.5xyz", "7.5"},
        {"12 34", "12"},
        {"1e", "1"},
        {"1e+", "1"},
        {"+3", "3"},
        {".5", "0.5"},
        {"5.", "5"},
        {"007.0100", "7.01"},
        {"-0", "0"},
        {"0.000", "0"},
        {"", "NaN"},
        {"-", "NaN"},
        {".", "NaN"},
        {"x12", "NaN"},
        {"1,5", "1"},
        {digits50, first38 + "000000000000"},
        {"0." + digits50, "0." + first38},
        {"-" + digits50 + ".999", "-" + first38 + "000000000000"},
        {"1e127", "1" + std::string(127, '0')},
        {"1e164", "1" + std::string(164, '0')},
        {"1e165", "NaN"},
        {"11e163", "11" + std::string(163, '0')},
        {"11e164", "NaN"},
        {"1e-128", "0." + std::string(127, '0') + "1"},
        {"1e-129", "0"},
        {"1e99999999999999999999", "NaN"},
    };
    for (const auto& [in, out] : texts) {
        EXPECT_EQ(TandriCurrencyAmount(in).description(), out) << "from text " << in;
    }

    EXPECT_EQ(TandriCurrencyAmount(10).description(), "10");
    EXPECT_EQ(TandriCurrencyAmount(0).description(), "0");
    EXPECT_EQ(TandriCurrencyAmount(std::numeric_limits<std::int64_t>::min()).description(),
              "-9223372036854775808");
    EXPECT_EQ(TandriCurrencyAmount(0.1).description(), "0.1");
    EXPECT_EQ(TandriCurrencyAmount(-0.99).description(), "-0.99");
    EXPECT_EQ(TandriCurrencyAmount(1.0 / 3).description(), "0.3333333333333333");
    EXPECT_EQ(TandriCurrencyAmount(1e21).description(), "1000000000000000000000");
    EXPECT_EQ(TandriCurrencyAmount(1.5e-7).description(), "0.00000015");
    EXPECT_EQ(TandriCurrencyAmount(-0.0).description(), "0");
    EXPECT_EQ(TandriCurrencyAmount(std::nan("")).description(), "NaN");
    EXPECT_EQ(TandriCurrencyAmount(INFINITY).description(), "NaN");
    EXPECT_EQ(TandriCurrencyAmount(1e300).description(), "NaN");
    EXPECT_EQ(TandriCurrencyAmount(5e-324).description(), "0");
    EXPECT_EQ(TandriCurrencyAmount(0.1f).description(), "0.10000000149011612");

    Decimal kept = Decimal::fromString("2.50");
    EXPECT_EQ(TandriCurrencyAmount(kept).decimalNumber(), kept);
    EXPECT_EQ(kept.digits(), "25");
    EXPECT_EQ(kept.exponent(), -1);
}

TEST(PurchaseInfo, InitialiserSendsExactlySevenKeys) {
    auto info = std::make_shared<TandriPurchaseInfo>("12.50", Currency::USD);
    EXPECT_EQ(Value(info->data()), *json::parse(R"({"total":"12.5","currency":"USD",
        "reviewAction":"Continue","shippingRequired":false,"threeDSActive":false,
        "threeDSSuppressChallenge":true,"enableUserDataPrefill":false})"));
    EXPECT_EQ(info->rawObjects().size(), 3u);
    EXPECT_EQ(info->total(), TandriCurrencyAmount("12.5"));
    EXPECT_EQ(info->currency(), Currency::USD);
    EXPECT_EQ(info->reviewAction(), ReviewAction::Continue);
    EXPECT_TRUE(info->threeDSSuppressChallenge());
    EXPECT_FALSE(info->shippingRequired());
    EXPECT_FALSE(info->subtotal());

    TandriPurchaseInfo noTotal(std::nullopt, Currency::EUR);
    EXPECT_FALSE(noTotal.data().contains(kTotal));
    EXPECT_EQ(noTotal.data().size(), 6u);
}

TEST(PurchaseInfo, AmountsEnumerationsAndFreeForm) {
    TandriPurchaseInfo info(10, Currency::GBP);
    info.setTax(1.25);
    info.setDiscount("abc");
    EXPECT_EQ(info[kTax], Value("1.25"));
    EXPECT_EQ(info[kDiscount], Value("NaN"));
    EXPECT_EQ(info[kTotal], Value("10"));
    EXPECT_EQ(info.tax(), TandriCurrencyAmount(1.25));

    // Forgetting an amount: the page still receives the last text.
    info.setTax(std::nullopt);
    EXPECT_FALSE(info.tax());
    EXPECT_EQ(info[kTax], Value("1.25"));

    info.setReviewAction(ReviewAction::ContinueLegacy);
    EXPECT_EQ(info[kReviewAction], Value("Continue"));
    EXPECT_EQ(info.reviewAction(), ReviewAction::ContinueLegacy);
    info.setReviewAction(ReviewAction::Pay);
    EXPECT_EQ(info[kReviewAction], Value("Pay"));
    info.setCurrency(static_cast<Currency>(22));
    EXPECT_EQ(info[kCurrency], Value("USD"));
    info.setCurrency(static_cast<Currency>(40));
    EXPECT_EQ(info[kCurrency], Value("USD"));
    EXPECT_EQ(rawValue(info.currency()), 40);

    info.setCustomData(Value(Dictionary{{"sku", "A1"}, {"qty", 2}}));
    info.setCustomData(Value(Dictionary{{"when", Value::date(0)}}));
    info.setOrderId("A-1001");
    info.setShippingRequired(true);
    EXPECT_EQ(info.customData(), Value(Dictionary{{"sku", "A1"}, {"qty", 2}}));
    EXPECT_EQ(info.orderId(), "A-1001");
    EXPECT_EQ(info[kShippingRequired], Value(true));
}

TEST(PurchaseInfo, PrefillCallbackIsReachableOnlyThroughTheSubscript) {
    TandriPurchaseInfo info(1, Currency::USD);
    std::optional<Value> received;
    info.setOnPrefillRequest([&](const std::optional<Value>& data, AnswerClosure answer) {
        received = data;
        answer(Value("prefilled"));
    });
    EXPECT_FALSE(info.onPrefillRequest());
    EXPECT_FALSE(info.data().contains(kPrefill));
    auto stored = info[kPrefill];
    ASSERT_TRUE(stored && stored->isClosure());

    std::optional<Value> answered;
    (*stored->asForeign().closure)(Value("q"), [&](std::optional<Value> v) { answered = v; });
    EXPECT_EQ(received, Value("q"));
    EXPECT_EQ(answered, Value("prefilled"));

    info.setOnPrefillRequest({});
    EXPECT_TRUE(info.dataRequests().contains(kPrefill));
}
