#include "tandri/TandriProfile.hpp"

#include "Core/Utils/Logging.hpp"
#include "Core/Utils/Translator.hpp"
#include "tandri/Constants.hpp"

#ifndef TANDRI_CHECKOUT_HOST
#define TANDRI_CHECKOUT_HOST "checkout.tandri.com"
#endif

namespace tandri {

namespace {

std::string& checkoutHostSlot() {
    static std::string host = TANDRI_CHECKOUT_HOST;
    return host;
}

constexpr const char* kBillingWarning =
    "Warning -- Objective-C cannot bridge the array values being set on acceptedBillingCountries, "
    "please use the .rawValue property on the Country enum.";
constexpr const char* kShippingWarning =
    "Warning -- Objective-C cannot bridge the array values being set on "
    "acceptedShippingCountries, please use the .rawValue property on the Country enum.";
constexpr const char* kBrandsWarning =
    "Warning -- Objective-C cannot bridge the array values being set on acceptedCardBrands, "
    "please use the .rawValue property on the CardBrand enum.";

template <typename E>
Array rawValues(const std::vector<E>& values) {
    Array out;
    out.reserve(values.size());
    for (E v : values) out.push_back(Value::integer(rawValue(v)));
    return out;
}

}  // namespace

TandriProfile::TandriProfile(Environment environment, std::optional<std::string> apiKey,
                             std::optional<std::string> profileName) {
    setEnvironment(environment);
    setApiKey(apiKey);
    setProfileName(profileName);
    setAcceptCanadianDebitCards(true);
}

#define TANDRI_STRING_PROPERTY(getter, setter, key)                       \
    std::optional<std::string> TandriProfile::getter() const {            \
        return stringFor(key);                                            \
    }                                                                     \
    void TandriProfile::setter(const std::optional<std::string>& value) { \
        setString(value, key);                                            \
    }

TANDRI_STRING_PROPERTY(apiKey, setApiKey, kApiKey)
TANDRI_STRING_PROPERTY(clientId, setClientId, kClientId)
TANDRI_STRING_PROPERTY(externalClientId, setExternalClientId, kExternalClientId)
TANDRI_STRING_PROPERTY(displayName, setDisplayName, kDisplayName)
TANDRI_STRING_PROPERTY(websiteUrl, setWebsiteUrl, kWebsiteUrl)
TANDRI_STRING_PROPERTY(customerSupportUrl, setCustomerSupportUrl, kCustomerSupportUrl)
TANDRI_STRING_PROPERTY(encryptionKey, setEncryptionKey, kEncryptionKey)
TANDRI_STRING_PROPERTY(profileName, setProfileName, kProfileName)
TANDRI_STRING_PROPERTY(locale, setLocale, kLocale)
TANDRI_STRING_PROPERTY(countryCode, setCountryCode, kCountryCode)
TANDRI_STRING_PROPERTY(welcomeMessage, setWelcomeMessage, kWelcomeMessage)
TANDRI_STRING_PROPERTY(welcomeMessageDescription, setWelcomeMessageDescription,
                       kWelcomeMessageDescription)
TANDRI_STRING_PROPERTY(returningUserWelcomeMessage, setReturningUserWelcomeMessage,
                       kReturningUserWelcomeMessage)

#undef TANDRI_STRING_PROPERTY

bool TandriProfile::acceptCanadianDebitCards() const {
    return boolFor(kAcceptCanadianDebitCards);
}
void TandriProfile::setAcceptCanadianDebitCards(bool value) {
    setObject(Value::boolean(value), kAcceptCanadianDebitCards);
}
bool TandriProfile::enableTokenization() const {
    return boolFor(kEnableTokenization);
}
void TandriProfile::setEnableTokenization(bool value) {
    setObject(Value::boolean(value), kEnableTokenization);
}

Environment TandriProfile::environment() const {
    auto v = (*this)[kEnvironment];
    return static_cast<Environment>(v ? v->asInt() : 0);
}
void TandriProfile::setEnvironment(Environment value) {
    setObject(Value::integer(rawValue(value)), kEnvironment);
}

DataLevel TandriProfile::datalevel() const {
    return static_cast<DataLevel>(rawIntFor(kDatalevel));
}
void TandriProfile::setDatalevel(DataLevel value) {
    rawObjects().erase(kDatalevel);
    if (auto text = Translator::stringForDataLevel(rawValue(value))) {
        setObject(Value(*text), kDatalevel);
    }
    rawObjects().set(kDatalevel, Value::integer(rawValue(value)));
}

void TandriProfile::storeCountries(const Array& countries, const char* key) {
    rawObjects().erase(key);
    setObject(Value(Translator::stringCountries(countries)), key);
    if (!countries.empty() && countries[0].isNumber()) rawObjects().set(key, Value(countries));
}

void TandriProfile::storeBrands(const Array& brands) {
    rawObjects().erase(kAcceptedCardBrands);
    setObject(Value(Translator::stringBrands(brands)), kAcceptedCardBrands);
    if (!brands.empty() && brands[0].isNumber()) {
        rawObjects().set(kAcceptedCardBrands, Value(brands));
    }
}

Array TandriProfile::arrayFor(const char* key) const {
    if (const Value* raw = rawObjects().find(key);
        raw && raw->isArray() && !raw->asArray().empty()) {
        return raw->asArray();
    }
    auto sent = (*this)[key];
    return sent ? sent->asArray() : Array();
}

Array TandriProfile::acceptedBillingCountries() const {
    return arrayFor(kAcceptedBillingCountries);
}
void TandriProfile::setAcceptedBillingCountries(const Array& countries) {
    if (Translator::containsSwiftValues(countries)) {
        logInProduction(kBillingWarning);
        return;
    }
    storeCountries(countries, kAcceptedBillingCountries);
}
void TandriProfile::setAcceptedBillingCountries(const std::vector<Country>& countries) {
    setAcceptedBillingCountries(rawValues(countries));
}
void TandriProfile::acceptedBillingCountries(const Array& countries) {
    storeCountries(countries, kAcceptedBillingCountries);
}

Array TandriProfile::acceptedShippingCountries() const {
    return arrayFor(kAcceptedShippingCountries);
}
void TandriProfile::setAcceptedShippingCountries(const Array& countries) {
    if (Translator::containsSwiftValues(countries)) {
        logInProduction(kShippingWarning);
        return;
    }
    storeCountries(countries, kAcceptedShippingCountries);
}
void TandriProfile::setAcceptedShippingCountries(const std::vector<Country>& countries) {
    setAcceptedShippingCountries(rawValues(countries));
}
void TandriProfile::acceptedShippingCountries(const Array& countries) {
    storeCountries(countries, kAcceptedShippingCountries);
}

Array TandriProfile::acceptedCardBrands() const {
    return arrayFor(kAcceptedCardBrands);
}
void TandriProfile::setAcceptedCardBrands(const Array& brands) {
    if (Translator::containsSwiftValues(brands)) {
        logInProduction(kBrandsWarning);
        return;
    }
    storeBrands(brands);
}
void TandriProfile::setAcceptedCardBrands(const std::vector<CardBrand>& brands) {
    setAcceptedCardBrands(rawValues(brands));
}
void TandriProfile::acceptedCardBrands(const Array& brands) {
    storeBrands(brands);
}

std::string TandriProfile::buildHostURLString() const {
    return std::string("https://") + (environment() == Environment::Sandbox ? "sandbox." : "") +
           checkoutHost();
}

std::string TandriProfile::checkoutHost() {
    return checkoutHostSlot();
}
void TandriProfile::setCheckoutHost(std::string host) {
    checkoutHostSlot() = host.empty() ? std::string(TANDRI_CHECKOUT_HOST) : std::move(host);
}

}  // namespace tandri
