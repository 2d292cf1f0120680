// How a merchant describes itself to the checkout web application. Every property is stored
// under an option key equal to its name (see Constants.hpp); the page receives `data()`.
//
// A profile is shared with the library, which reads it again each time a page asks for its
// options, so hold it as std::make_shared<TandriProfile>(...) and later changes are seen.
//
//     auto profile = std::make_shared<TandriProfile>(Environment::Sandbox, "key", "default");
//     profile->setAcceptedCardBrands({CardBrand::Mastercard, CardBrand::Amex});
//     profile->setAcceptedBillingCountries({"us", "ca"});
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tandri/Enums.hpp"
#include "tandri/TInitInfo.hpp"

namespace tandri {

class TandriProfile : public TInitInfo {
  public:
    /// An empty profile: no key is sent until its property is set.
    TandriProfile() = default;
    /// Sets, in this order, environment, apiKey, profileName and acceptCanadianDebitCards = true.
    TandriProfile(Environment environment, std::optional<std::string> apiKey,
                  std::optional<std::string> profileName);

    // ---- Strings, sent unchanged. Setting none leaves the earlier value in place. ----
    // A getter answers none when nothing is set or the key holds something that is not a
    // string (set through setObject).

    std::optional<std::string> apiKey() const;
    void setApiKey(const std::optional<std::string>& value);
    std::optional<std::string> clientId() const;
    void setClientId(const std::optional<std::string>& value);
    std::optional<std::string> externalClientId() const;
    void setExternalClientId(const std::optional<std::string>& value);
    /// The merchant's name as shown in checkout.
    std::optional<std::string> displayName() const;
    void setDisplayName(const std::optional<std::string>& value);
    std::optional<std::string> websiteUrl() const;
    void setWebsiteUrl(const std::optional<std::string>& value);
    std::optional<std::string> customerSupportUrl() const;
    void setCustomerSupportUrl(const std::optional<std::string>& value);
    std::optional<std::string> encryptionKey() const;
    void setEncryptionKey(const std::optional<std::string>& value);
    std::optional<std::string> profileName() const;
    void setProfileName(const std::optional<std::string>& value);
    std::optional<std::string> locale() const;
    void setLocale(const std::optional<std::string>& value);
    /// Free text, not checked against any list (unlike the accepted countries).
    std::optional<std::string> countryCode() const;
    void setCountryCode(const std::optional<std::string>& value);
    std::optional<std::string> welcomeMessage() const;
    void setWelcomeMessage(const std::optional<std::string>& value);
    std::optional<std::string> welcomeMessageDescription() const;
    void setWelcomeMessageDescription(const std::optional<std::string>& value);
    std::optional<std::string> returningUserWelcomeMessage() const;
    void setReturningUserWelcomeMessage(const std::optional<std::string>& value);

    // ---- Switches, sent as booleans; false while unset ----

    bool acceptCanadianDebitCards() const;
    void setAcceptCanadianDebitCards(bool value);
    bool enableTokenization() const;
    void setEnableTokenization(bool value);

    /// Sent as its number; Production while unset.
    Environment environment() const;
    void setEnvironment(Environment value);

    /// Sent as "FULL", "NONE" or "SUMMARY"; the getter reads back the number that was set
    /// (Full while unset). A value outside the enumeration sends nothing new.
    DataLevel datalevel() const;
    void setDatalevel(DataLevel value);

    // ---- Accepted countries and card brands ----
    // An array may mix enumeration numbers and strings. Countries are sent as upper-case ISO
    // 3166-1 alpha-2 codes (strings that are not such a code are dropped); brand strings are
    // sent unchanged. When the first element is a number, the array is also kept as given and
    // the getter returns it; otherwise the getter returns what is sent (empty while unset).
    //
    // The set... form refuses an array holding opaque host objects with a warning in the
    // system log and changes nothing; the other form skips that check.

    Array acceptedBillingCountries() const;
    void setAcceptedBillingCountries(const Array& countries);
    void setAcceptedBillingCountries(const std::vector<Country>& countries);
    void acceptedBillingCountries(const Array& countries);

    Array acceptedShippingCountries() const;
    void setAcceptedShippingCountries(const Array& countries);
    void setAcceptedShippingCountries(const std::vector<Country>& countries);
    void acceptedShippingCountries(const Array& countries);

    Array acceptedCardBrands() const;
    void setAcceptedCardBrands(const Array& brands);
    void setAcceptedCardBrands(const std::vector<CardBrand>& brands);
    void acceptedCardBrands(const Array& brands);

    /// "https://" + the checkout host, with "sandbox." in front of the host for Sandbox only.
    std::string buildHostURLString() const;

    /// The production host of the checkout web application (a build setting, by default the
    /// maker's checkout host). An empty host restores the build setting.
    static std::string checkoutHost();
    static void setCheckoutHost(std::string host);

    // ---- Plain fields, kept on the record and never sent ----

    bool applyChildDirectedTreatmentForGoogleAds() const { return childDirected_; }
    void setApplyChildDirectedTreatmentForGoogleAds(bool v) { childDirected_ = v; }
    const std::optional<std::string>& facebookAppID() const { return facebookAppID_; }
    void setFacebookAppID(std::optional<std::string> v) { facebookAppID_ = std::move(v); }
    const std::optional<std::string>& facebookAdvertisingID() const { return facebookAdID_; }
    void setFacebookAdvertisingID(std::optional<std::string> v) { facebookAdID_ = std::move(v); }
    const std::optional<std::string>& logo() const { return logo_; }
    void setLogo(std::optional<std::string> v) { logo_ = std::move(v); }

  private:
    void storeCountries(const Array& countries, const char* key);
    void storeBrands(const Array& brands);
    Array arrayFor(const char* key) const;

    bool childDirected_ = false;
    std::optional<std::string> facebookAppID_;
    std::optional<std::string> facebookAdID_;
    std::optional<std::string> logo_;
};

}  // namespace tandri
