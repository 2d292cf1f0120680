// What a checkout hands back to the app: the page's result payload, unchanged, with typed views
// of its well-known entries. Missing or wrongly shaped levels of the payload read as none.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tandri/Enums.hpp"
#include "tandri/Value.hpp"

namespace tandri {

class TandriCheckoutResult {
  public:
    /// A copy of the payload; without one every getter gives none, "" or its fallback.
    explicit TandriCheckoutResult(std::optional<Dictionary> payload);

    /// The payload as the page sent it.
    const std::optional<Dictionary>& data() const { return data_; }
    /// A top-level entry of the payload.
    std::optional<Value> operator[](std::string_view key) const;
    /// An entry of the payload's "result" dictionary.
    std::optional<Value> valueInResultForKey(std::string_view key) const;

    /// The payload's "type" ("payment.success", ...), or "" when it has none.
    std::string statusName() const;
    /// Success, Cancel or Error by the exact, case-sensitive statusName; Unknown otherwise.
    TandriCheckoutStatus statusCode() const;

    /// result.callid
    std::optional<Value> callId() const;
    /// result.encKey
    std::optional<Value> encryptedKey() const;
    /// result.encPaymentData
    std::optional<Value> encryptedPaymentData() const;
    /// result.paymentMethodType
    std::optional<Value> paymentMethodType() const;
    /// result.partialShippingAddress
    std::optional<Value> partialShippingAddress() const;
    /// result.partialPaymentInstrument
    std::optional<Value> partialPaymentInstrument() const;
    /// result.partialPaymentInstrument.paymentType
    std::optional<Value> paymentType() const;
    /// result.partialPaymentInstrument.lastFourDigits
    std::optional<Value> lastFourDigits() const;
    /// result.partialShippingAddress.countryCode
    std::optional<Value> countryCode() const;
    /// result.partialShippingAddress.postalCode
    std::optional<Value> postalCode() const;

    /// The brand of result.partialPaymentInstrument.paymentType.cardBrand, by cardBrandFromString.
    CardBrand cardBrand() const;
    /// The country of countryCode(), by countryForCode. Argentina (0) also stands for an
    /// unknown or missing code: check countryCode() to tell them apart.
    Country country() const;

    // These setters keep their values on the record, but the getters above always read the
    // payload: setting them changes nothing that can be seen. Kept for existing merchant code.
    void setCardBrand(CardBrand value) { cardBrand_ = value; }
    void setCountry(Country value) { country_ = value; }
    void setCountryCode(std::optional<std::string> value) { countryCode_ = std::move(value); }

    /// The payload as indented JSON with sorted keys, or none when it is not valid JSON.
    std::optional<std::string> description() const;

    /// The brand for a text, ignoring case; Invalid for unknown text, "" or none.
    static CardBrand cardBrandFromString(const std::optional<std::string_view>& text);
    /// The country for an exact (case-sensitive) code such as "US"; Argentina (0) when the code
    /// is not one of the Country values or is missing.
    static Country countryForCode(const std::optional<std::string_view>& code);

  private:
    const Value* resultEntry(std::string_view key) const;

    std::optional<Dictionary> data_;
    CardBrand cardBrand_ = CardBrand::Amex;
    Country country_ = Country::Argentina;
    std::optional<std::string> countryCode_;
};

}  // namespace tandri
