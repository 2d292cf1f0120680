// The typed enumerations of the merchant records. Each has fixed integer raw values (the numbers
// merchant code may also pass inside arrays), and each maps to the string the checkout web
// application expects (see Translator).
#pragma once

#include <cstdint>

namespace tandri {

/// Countries a merchant may accept, by raw value. The order is fixed and is not alphabetical
/// by code: the last four were appended after United States.
enum class Country : std::int64_t {
    Argentina = 0,            ///< "AR"
    Australia = 1,            ///< "AU"
    Brazil = 2,               ///< "BR"
    Canada = 3,               ///< "CA"
    Chile = 4,                ///< "CL"
    China = 5,                ///< "CN"
    Colombia = 6,             ///< "CO"
    France = 7,               ///< "FR"
    HongKong = 8,             ///< "HK"
    India = 9,                ///< "IN"
    Ireland = 10,             ///< "IE"
    Malaysia = 11,            ///< "MY"
    Mexico = 12,              ///< "MX"
    NewZealand = 13,          ///< "NZ"
    Peru = 14,                ///< "PE"
    Poland = 15,              ///< "PL"
    Singapore = 16,           ///< "SG"
    SouthAfrica = 17,         ///< "ZA"
    Spain = 18,               ///< "ES"
    UnitedArabEmirates = 19,  ///< "AE"
    UnitedKingdom = 20,       ///< "GB"
    UnitedStates = 21,        ///< "US"
    Ukraine = 22,             ///< "UA"
    Kuwait = 23,              ///< "KW"
    SaudiArabia = 24,         ///< "SA"
    Qatar = 25,               ///< "QA"
};

/// Card brands, by raw value.
enum class CardBrand : std::int64_t {
    Amex = 0,        ///< "AMEX"
    Discover = 1,    ///< "DISCOVER"
    Flux = 2,        ///< "FLUX"
    Elo = 3,         ///< "ELO"
    Mastercard = 4,  ///< "MASTERCARD"
    Tandri = 5,      ///< "TANDRI"
    Invalid = 6,     ///< "INVALID": also what a result reports for an unknown or missing brand
};

/// Currencies of a purchase, by raw value (alphabetical by ISO 4217 code).
enum class Currency : std::int64_t {
    AED = 0,
    ARS = 1,
    AUD = 2,
    BRL = 3,
    CAD = 4,
    CLP = 5,
    CNY = 6,
    COP = 7,
    EUR = 8,
    GBP = 9,
    HKD = 10,
    INR = 11,
    KWD = 12,
    MXN = 13,
    MYR = 14,
    NZD = 15,
    PEN = 16,
    PLN = 17,
    QAR = 18,
    SAR = 19,
    SGD = 20,
    UAH = 21,
    USD = 22,
    ZAR = 23,
};

/// What the review button of the checkout says.
enum class ReviewAction : std::int64_t {
    ContinueLegacy = 0,  ///< "Continue" (kept for older merchant code; same text as Continue)
    Continue = 1,        ///< "Continue", the default
    Pay = 2,             ///< "Pay"
};

/// How much customer data the checkout returns.
enum class DataLevel : std::int64_t {
    Full = 0,     ///< "FULL", what an unset level means
    None = 1,     ///< "NONE"
    Summary = 2,  ///< "SUMMARY"
};

/// Which checkout web application the profile talks to. Only Sandbox is special: any other
/// raw value means production.
enum class Environment : std::int64_t {
    Production = 0,
    Sandbox = 1,
};

/// The outcome of a checkout, from the result's "type". 0 and 2 are never produced.
enum class TandriCheckoutStatus : std::int64_t {
    Error = 1,    ///< "payment.error"
    Success = 3,  ///< "payment.success"
    Cancel = 4,   ///< "payment.cancel"
    Unknown = 5,  ///< anything else, including no type at all
};

/// The integer raw value of any of the enumerations above.
template <typename E>
constexpr std::int64_t rawValue(E value) {
    return static_cast<std::int64_t>(value);
}

}  // namespace tandri
