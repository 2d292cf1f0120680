#include "tandri/TandriCheckoutResult.hpp"

#include <array>
#include <utility>

#include "Core/Utils/Translator.hpp"
#include "tandri/Constants.hpp"
#include "tandri/Json.hpp"

namespace tandri {

namespace {

std::optional<Value> copyOf(const Value* v) {
    if (!v) return std::nullopt;
    return *v;
}

// Follows `path` down from `start`; nullptr at the first missing level or non-dictionary.
const Value* follow(const Value* start, std::initializer_list<std::string_view> path) {
    const Value* v = start;
    for (std::string_view key : path) {
        if (!v) return nullptr;
        v = v->find(key);
    }
    return v;
}

}  // namespace

TandriCheckoutResult::TandriCheckoutResult(std::optional<Dictionary> payload)
    : data_(std::move(payload)) {}

std::optional<Value> TandriCheckoutResult::operator[](std::string_view key) const {
    if (!data_) return std::nullopt;
    return data_->get(key);
}

const Value* TandriCheckoutResult::resultEntry(std::string_view key) const {
    if (!data_) return nullptr;
    return follow(data_->find(kTandriCheckoutResultResult), {key});
}

std::optional<Value> TandriCheckoutResult::valueInResultForKey(std::string_view key) const {
    return copyOf(resultEntry(key));
}

std::string TandriCheckoutResult::statusName() const {
    const Value* type = data_ ? data_->find(kTandriCheckoutResultType) : nullptr;
    return type && type->isString() ? type->asString() : std::string();
}

TandriCheckoutStatus TandriCheckoutResult::statusCode() const {
    const std::string name = statusName();
    if (name == kTandriCheckoutResultPaymentSuccess) return TandriCheckoutStatus::Success;
    if (name == kTandriCheckoutResultPaymentCancel) return TandriCheckoutStatus::Cancel;
    if (name == kTandriCheckoutResultPaymentError) return TandriCheckoutStatus::Error;
    return TandriCheckoutStatus::Unknown;
}

std::optional<Value> TandriCheckoutResult::callId() const {
    return valueInResultForKey(kTandriCheckoutResultCallID);
}
std::optional<Value> TandriCheckoutResult::encryptedKey() const {
    return valueInResultForKey(kTandriCheckoutResultEncryptionKey);
}
std::optional<Value> TandriCheckoutResult::encryptedPaymentData() const {
    return valueInResultForKey(kTandriCheckoutResultEncryptedPaymentData);
}
std::optional<Value> TandriCheckoutResult::paymentMethodType() const {
    return valueInResultForKey(kTandriCheckoutResultPaymentMethodType);
}
std::optional<Value> TandriCheckoutResult::partialShippingAddress() const {
    return valueInResultForKey(kTandriCheckoutResultPartialShippingAddress);
}
std::optional<Value> TandriCheckoutResult::partialPaymentInstrument() const {
    return valueInResultForKey(kTandriCheckoutResultPartialPaymentInstrument);
}
std::optional<Value> TandriCheckoutResult::paymentType() const {
    return copyOf(follow(resultEntry(kTandriCheckoutResultPartialPaymentInstrument),
                         {kTandriCheckoutResultPaymentType}));
}
std::optional<Value> TandriCheckoutResult::lastFourDigits() const {
    return copyOf(follow(resultEntry(kTandriCheckoutResultPartialPaymentInstrument),
                         {kTandriCheckoutResultLastFourDigits}));
}
std::optional<Value> TandriCheckoutResult::countryCode() const {
    return copyOf(follow(resultEntry(kTandriCheckoutResultPartialShippingAddress),
                         {kTandriCheckoutResultCountryCode}));
}
std::optional<Value> TandriCheckoutResult::postalCode() const {
    return copyOf(follow(resultEntry(kTandriCheckoutResultPartialShippingAddress),
                         {kTandriCheckoutResultPostalCode}));
}

CardBrand TandriCheckoutResult::cardBrand() const {
    const Value* brand = follow(resultEntry(kTandriCheckoutResultPartialPaymentInstrument),
                                {kTandriCheckoutResultPaymentType, kTandriCheckoutResultCardBrand});
    if (!brand || !brand->isString()) return cardBrandFromString(std::nullopt);
    return cardBrandFromString(brand->asString());
}

Country TandriCheckoutResult::country() const {
    auto code = countryCode();
    if (!code || !code->isString()) return countryForCode(std::nullopt);
    return countryForCode(code->asString());
}

std::optional<std::string> TandriCheckoutResult::description() const {
    if (!data_) return std::nullopt;
    return json::write(Value(*data_), json::Style::PrettySorted);
}

CardBrand TandriCheckoutResult::cardBrandFromString(const std::optional<std::string_view>& text) {
    static constexpr std::array<std::pair<std::string_view, CardBrand>, 7> kTable = {{
        {"AMEX", CardBrand::Amex},
        {"DISCOVER", CardBrand::Discover},
        {"FLUX", CardBrand::Flux},
        {"ELO", CardBrand::Elo},
        {"MASTERCARD", CardBrand::Mastercard},
        {"TANDRI", CardBrand::Tandri},
        {"", CardBrand::Invalid},
    }};
    if (!text) return CardBrand::Invalid;
    std::string upper(*text);
    for (char& c : upper) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    for (const auto& [name, brand] : kTable) {
        if (upper == name) return brand;
    }
    return CardBrand::Invalid;
}

Country TandriCheckoutResult::countryForCode(const std::optional<std::string_view>& code) {
    if (!code) return Country::Argentina;
    for (std::int64_t i = 0; auto text = Translator::stringForCountry(i); ++i) {
        if (*code == *text) return static_cast<Country>(i);
    }
    return Country::Argentina;
}

}  // namespace tandri
