// The strings of the public enumerations, and the arrays of countries and card brands normalised
// into what the checkout web application expects. Stateless.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "tandri/Value.hpp"

namespace tandri {

class Translator {
  public:
    // Each answers none for a value outside its enumeration.
    static std::optional<std::string_view> stringForCountry(std::int64_t value);
    static std::optional<std::string_view> stringForBrand(std::int64_t value);
    static std::optional<std::string_view> stringForCurrency(std::int64_t value);
    /// 0 and 1 are both "Continue"; 2 is "Pay".
    static std::optional<std::string_view> stringForReviewAction(std::int64_t value);
    static std::optional<std::string_view> stringForDataLevel(std::int64_t value);

    /// In order, duplicates kept: a string is upper-cased and kept when it is an ISO 3166-1
    /// alpha-2 code; a number becomes its Country string; anything else (and any number with
    /// no Country) is dropped. No input gives an empty array.
    static Array stringCountries(const std::optional<Array>& values);
    /// As stringCountries, except that strings are kept unchanged and unchecked, and numbers
    /// become their CardBrand string.
    static Array stringBrands(const std::optional<Array>& values);

    /// Whether some element is an opaque host object: a foreign value of the Object kind, which a
    /// binding hands over when a host-language value has no Value form (an enumeration case of
    /// the host language, say). Dates, bytes, images and closures are not counted: they have a
    /// form of their own and are simply dropped later. No input or an empty array gives false.
    static bool containsSwiftValues(const std::optional<Array>& values);

    /// Whether `code` (exactly as given: two upper-case letters) is a current ISO 3166-1 alpha-2
    /// country code.
    static bool isISOCountryCode(std::string_view code);
    /// Every current ISO 3166-1 alpha-2 code, sorted.
    static std::span<const std::string_view> isoCountryCodes();
};

}  // namespace tandri
