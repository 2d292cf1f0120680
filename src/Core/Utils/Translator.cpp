#include "Core/Utils/Translator.hpp"

#include <algorithm>
#include <array>
#include <string>

namespace tandri {

using namespace std::string_view_literals;

namespace {

constexpr std::array kCountries = {
    "AR"sv, "AU"sv, "BR"sv, "CA"sv, "CL"sv, "CN"sv, "CO"sv, "FR"sv, "HK"sv,
    "IN"sv, "IE"sv, "MY"sv, "MX"sv, "NZ"sv, "PE"sv, "PL"sv, "SG"sv, "ZA"sv,
    "ES"sv, "AE"sv, "GB"sv, "US"sv, "UA"sv, "KW"sv, "SA"sv, "QA"sv,
};
constexpr std::array kBrands = {
    "AMEX"sv, "DISCOVER"sv, "FLUX"sv, "ELO"sv, "MASTERCARD"sv, "TANDRI"sv, "INVALID"sv,
};
constexpr std::array kCurrencies = {
    "AED"sv, "ARS"sv, "AUD"sv, "BRL"sv, "CAD"sv, "CLP"sv, "CNY"sv, "COP"sv,
    "EUR"sv, "GBP"sv, "HKD"sv, "INR"sv, "KWD"sv, "MXN"sv, "MYR"sv, "NZD"sv,
    "PEN"sv, "PLN"sv, "QAR"sv, "SAR"sv, "SGD"sv, "UAH"sv, "USD"sv, "ZAR"sv,
};
constexpr std::array kReviewActions = {"Continue"sv, "Continue"sv, "Pay"sv};
constexpr std::array kDataLevels = {"FULL"sv, "NONE"sv, "SUMMARY"sv};

// The current ISO 3166-1 alpha-2 codes, sorted. Kept in step with Debian's iso-codes data by a
// test that compares the two.
constexpr std::array kISOCountryCodes = {
    "AD"sv, "AE"sv, "AF"sv, "AG"sv, "AI"sv, "AL"sv, "AM"sv, "AO"sv, "AQ"sv, "AR"sv, "AS"sv, "AT"sv,
    "AU"sv, "AW"sv, "AX"sv, "AZ"sv, "BA"sv, "BB"sv, "BD"sv, "BE"sv, "BF"sv, "BG"sv, "BH"sv, "BI"sv,
    "BJ"sv, "BL"sv, "BM"sv, "BN"sv, "BO"sv, "BQ"sv, "BR"sv, "BS"sv, "BT"sv, "BV"sv, "BW"sv, "BY"sv,
    "BZ"sv, "CA"sv, "CC"sv, "CD"sv, "CF"sv, "CG"sv, "CH"sv, "CI"sv, "CK"sv, "CL"sv, "CM"sv, "CN"sv,
    "CO"sv, "CR"sv, "CU"sv, "CV"sv, "CW"sv, "CX"sv, "CY"sv, "CZ"sv, "DE"sv, "DJ"sv, "DK"sv, "DM"sv,
    "DO"sv, "DZ"sv, "EC"sv, "EE"sv, "EG"sv, "EH"sv, "ER"sv, "ES"sv, "ET"sv, "FI"sv, "FJ"sv, "FK"sv,
    "FM"sv, "FO"sv, "FR"sv, "GA"sv, "GB"sv, "GD"sv, "GE"sv, "GF"sv, "GG"sv, "GH"sv, "GI"sv, "GL"sv,
    "GM"sv, "GN"sv, "GP"sv, "GQ"sv, "GR"sv, "GS"sv, "GT"sv, "GU"sv, "GW"sv, "GY"sv, "HK"sv, "HM"sv,
    "HN"sv, "HR"sv, "HT"sv, "HU"sv, "ID"sv, "IE"sv, "IL"sv, "IM"sv, "IN"sv, "IO"sv, "IQ"sv, "IR"sv,
    "IS"sv, "IT"sv, "JE"sv, "JM"sv, "JO"sv, "JP"sv, "KE"sv, "KG"sv, "KH"sv, "KI"sv, "KM"sv, "KN"sv,
    "KP"sv, "KR"sv, "KW"sv, "KY"sv, "KZ"sv, "LA"sv, "LB"sv, "LC"sv, "LI"sv, "LK"sv, "LR"sv, "LS"sv,
    "LT"sv, "LU"sv, "LV"sv, "LY"sv, "MA"sv, "MC"sv, "MD"sv, "ME"sv, "MF"sv, "MG"sv, "MH"sv, "MK"sv,
    "ML"sv, "MM"sv, "MN"sv, "MO"sv, "MP"sv, "MQ"sv, "MR"sv, "MS"sv, "MT"sv, "MU"sv, "MV"sv, "MW"sv,
    "MX"sv, "MY"sv, "MZ"sv, "NA"sv, "NC"sv, "NE"sv, "NF"sv, "NG"sv, "NI"sv, "NL"sv, "NO"sv, "NP"sv,
    "NR"sv, "NU"sv, "NZ"sv, "OM"sv, "PA"sv, "PE"sv, "PF"sv, "PG"sv, "PH"sv, "PK"sv, "PL"sv, "PM"sv,
    "PN"sv, "PR"sv, "PS"sv, "PT"sv, "PW"sv, "PY"sv, "QA"sv, "RE"sv, "RO"sv, "RS"sv, "RU"sv, "RW"sv,
    "SA"sv, "SB"sv, "SC"sv, "SD"sv, "SE"sv, "SG"sv, "SH"sv, "SI"sv, "SJ"sv, "SK"sv, "SL"sv, "SM"sv,
    "SN"sv, "SO"sv, "SR"sv, "SS"sv, "ST"sv, "SV"sv, "SX"sv, "SY"sv, "SZ"sv, "TC"sv, "TD"sv, "TF"sv,
    "TG"sv, "TH"sv, "TJ"sv, "TK"sv, "TL"sv, "TM"sv, "TN"sv, "TO"sv, "TR"sv, "TT"sv, "TV"sv, "TW"sv,
    "TZ"sv, "UA"sv, "UG"sv, "UM"sv, "US"sv, "UY"sv, "UZ"sv, "VA"sv, "VC"sv, "VE"sv, "VG"sv, "VI"sv,
    "VN"sv, "VU"sv, "WF"sv, "WS"sv, "YE"sv, "YT"sv, "ZA"sv, "ZM"sv, "ZW"sv,
};
static_assert(std::ranges::is_sorted(kISOCountryCodes));

template <std::size_t N>
std::optional<std::string_view> lookup(const std::array<std::string_view, N>& table,
                                       std::int64_t value) {
    if (value < 0 || value >= static_cast<std::int64_t>(N)) return std::nullopt;
    return table[static_cast<std::size_t>(value)];
}

std::string upperCased(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return out;
}

template <typename StringRule, typename NumberRule>
Array translated(const std::optional<Array>& values, StringRule onString, NumberRule onNumber) {
    Array out;
    if (!values) return out;
    out.reserve(values->size());
    for (const Value& element : *values) {
        std::optional<std::string> text;
        if (element.isString()) {
            text = onString(element.asString());
        } else if (element.isNumber()) {
            if (auto s = onNumber(element.asInt())) text = std::string(*s);
        }
        if (text) out.push_back(Value(std::move(*text)));
    }
    return out;
}

}  // namespace

std::optional<std::string_view> Translator::stringForCountry(std::int64_t value) {
    return lookup(kCountries, value);
}
std::optional<std::string_view> Translator::stringForBrand(std::int64_t value) {
    return lookup(kBrands, value);
}
std::optional<std::string_view> Translator::stringForCurrency(std::int64_t value) {
    return lookup(kCurrencies, value);
}
std::optional<std::string_view> Translator::stringForReviewAction(std::int64_t value) {
    return lookup(kReviewActions, value);
}
std::optional<std::string_view> Translator::stringForDataLevel(std::int64_t value) {
    return lookup(kDataLevels, value);
}

Array Translator::stringCountries(const std::optional<Array>& values) {
    return translated(
        values,
        [](const std::string& text) -> std::optional<std::string> {
            std::string upper = upperCased(text);
            if (!isISOCountryCode(upper)) return std::nullopt;
            return upper;
        },
        stringForCountry);
}

Array Translator::stringBrands(const std::optional<Array>& values) {
    return translated(
        values, [](const std::string& text) -> std::optional<std::string> { return text; },
        stringForBrand);
}

bool Translator::containsSwiftValues(const std::optional<Array>& values) {
    if (!values) return false;
    return std::ranges::any_of(*values,
                               [](const Value& v) { return v.isForeign(ForeignKind::Object); });
}

bool Translator::isISOCountryCode(std::string_view code) {
    return std::ranges::binary_search(kISOCountryCodes, code);
}

std::span<const std::string_view> Translator::isoCountryCodes() {
    return kISOCountryCodes;
}

}  // namespace tandri
