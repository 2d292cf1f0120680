// Every exported key, country code, card brand and result key, as string constants. Merchant code
// may use them instead of literal texts (a country or brand string in place of its enumeration).
#pragma once

namespace tandri {

// ---- Option keys of the profile and the purchase info (each constant holds its own key) ----
inline constexpr const char* kAcceptCanadianDebitCards = "acceptCanadianDebitCards";
inline constexpr const char* kAcceptedBillingCountries = "acceptedBillingCountries";
inline constexpr const char* kAcceptedCardBrands = "acceptedCardBrands";
inline constexpr const char* kAcceptedShippingCountries = "acceptedShippingCountries";
inline constexpr const char* kApiKey = "apiKey";
inline constexpr const char* kClientId = "clientId";
inline constexpr const char* kExternalClientId = "externalClientId";
/// All lower case: the checkout web application expects the key so.
inline constexpr const char* kDatalevel = "datalevel";
inline constexpr const char* kDisplayName = "displayName";
inline constexpr const char* kWebsiteUrl = "websiteUrl";
inline constexpr const char* kCustomerSupportUrl = "customerSupportUrl";
inline constexpr const char* kEnvironment = "environment";
inline constexpr const char* kEncryptionKey = "encryptionKey";
inline constexpr const char* kProfileName = "profileName";
inline constexpr const char* kLocale = "locale";
inline constexpr const char* kCountryCode = "countryCode";
inline constexpr const char* kWelcomeMessage = "welcomeMessage";
inline constexpr const char* kWelcomeMessageDescription = "welcomeMessageDescription";
inline constexpr const char* kReturningUserWelcomeMessage = "returningUserWelcomeMessage";
inline constexpr const char* kEnableTokenization = "enableTokenization";
/// Written into the profile by the library just before the options are sent.
inline constexpr const char* kCampaignUrl = "campaignUrl";

// ---- Purchase info keys ----
inline constexpr const char* kTotal = "total";
inline constexpr const char* kSubtotal = "subtotal";
inline constexpr const char* kTax = "tax";
inline constexpr const char* kDiscount = "discount";
inline constexpr const char* kGiftWrapCharges = "giftWrapCharges";
inline constexpr const char* kMiscellaneousCharges = "miscellaneousCharges";
inline constexpr const char* kShippingAndHandlingCharges = "shippingAndHandlingCharges";
inline constexpr const char* kCurrency = "currency";
inline constexpr const char* kReviewAction = "reviewAction";
inline constexpr const char* kReviewMessage = "reviewMessage";
inline constexpr const char* kCustomData = "customData";
inline constexpr const char* kCustomDescription = "customDescription";
inline constexpr const char* kOrderId = "orderId";
inline constexpr const char* kPromoCode = "promoCode";
inline constexpr const char* kReferenceCallId = "referenceCallId";
inline constexpr const char* kRequestId = "requestId";
inline constexpr const char* kSourceId = "sourceId";
inline constexpr const char* kCurrencyFormat = "currencyFormat";
inline constexpr const char* kShippingRequired = "shippingRequired";
inline constexpr const char* kThreeDSActive = "threeDSActive";
inline constexpr const char* kThreeDSSuppressChallenge = "threeDSSuppressChallenge";
inline constexpr const char* kEnableUserDataPrefill = "enableUserDataPrefill";
/// The data request through which the page asks the app for prefill data.
inline constexpr const char* kPrefill = "prefill";

// ---- Country codes (the strings of Country) ----
inline constexpr const char* kTandriCountryCodeArgentina = "AR";
inline constexpr const char* kTandriCountryCodeAustralia = "AU";
inline constexpr const char* kTandriCountryCodeBrazil = "BR";
inline constexpr const char* kTandriCountryCodeCanada = "CA";
inline constexpr const char* kTandriCountryCodeChile = "CL";
inline constexpr const char* kTandriCountryCodeChina = "CN";
inline constexpr const char* kTandriCountryCodeColombia = "CO";
inline constexpr const char* kTandriCountryCodeFrance = "FR";
inline constexpr const char* kTandriCountryCodeHongKong = "HK";
inline constexpr const char* kTandriCountryCodeIndia = "IN";
inline constexpr const char* kTandriCountryCodeIreland = "IE";
inline constexpr const char* kTandriCountryCodeMalaysia = "MY";
inline constexpr const char* kTandriCountryCodeMexico = "MX";
inline constexpr const char* kTandriCountryCodeNewZealand = "NZ";
inline constexpr const char* kTandriCountryCodePeru = "PE";
inline constexpr const char* kTandriCountryCodePoland = "PL";
inline constexpr const char* kTandriCountryCodeSingapore = "SG";
inline constexpr const char* kTandriCountryCodeSouthAfrica = "ZA";
inline constexpr const char* kTandriCountryCodeSpain = "ES";
inline constexpr const char* kTandriCountryCodeUnitedArabEmirates = "AE";
inline constexpr const char* kTandriCountryCodeUnitedKingdom = "GB";
inline constexpr const char* kTandriCountryCodeUnitedStates = "US";
inline constexpr const char* kTandriCountryCodeUkraine = "UA";
inline constexpr const char* kTandriCountryCodeKuwait = "KW";
inline constexpr const char* kTandriCountryCodeSaudiArabia = "SA";
inline constexpr const char* kTandriCountryCodeQatar = "QA";

// ---- Card brands (the strings of CardBrand) ----
inline constexpr const char* kTandriCardBrandTandri = "TANDRI";
inline constexpr const char* kTandriCardBrandElo = "ELO";
inline constexpr const char* kTandriCardBrandAmex = "AMEX";
inline constexpr const char* kTandriCardBrandDiscover = "DISCOVER";
inline constexpr const char* kTandriCardBrandFlux = "FLUX";
inline constexpr const char* kTandriCardBrandMastercard = "MASTERCARD";

// ---- Checkout result: payload keys and status names ----
inline constexpr const char* kTandriCheckoutResultResult = "result";
inline constexpr const char* kTandriCheckoutResultCallID = "callid";
inline constexpr const char* kTandriCheckoutResultCardBrand = "cardBrand";
inline constexpr const char* kTandriCheckoutResultEncryptionKey = "encKey";
inline constexpr const char* kTandriCheckoutResultEncryptedPaymentData = "encPaymentData";
inline constexpr const char* kTandriCheckoutResultLastFourDigits = "lastFourDigits";
inline constexpr const char* kTandriCheckoutResultPartialShippingAddress = "partialShippingAddress";
inline constexpr const char* kTandriCheckoutResultPartialPaymentInstrument =
    "partialPaymentInstrument";
inline constexpr const char* kTandriCheckoutResultPaymentType = "paymentType";
inline constexpr const char* kTandriCheckoutResultPaymentMethodType = "paymentMethodType";
inline constexpr const char* kTandriCheckoutResultPostalCode = "postalCode";
inline constexpr const char* kTandriCheckoutResultCountryCode = "countryCode";
inline constexpr const char* kTandriCheckoutResultStatusCode = "statusCode";
inline constexpr const char* kTandriCheckoutResultStatusName = "statusName";
inline constexpr const char* kTandriCheckoutResultType = "type";
inline constexpr const char* kTandriCheckoutResultPaymentSuccess = "payment.success";
inline constexpr const char* kTandriCheckoutResultPaymentCancel = "payment.cancel";
inline constexpr const char* kTandriCheckoutResultPaymentError = "payment.error";

// ---- Analytics: keys of the records handed to the checkout pages, and where they are parked ----
inline constexpr const char* kGtmEvent = "event";
inline constexpr const char* kGtmEventCategory = "event_category";
inline constexpr const char* kGtmEventAction = "event_action";
inline constexpr const char* kGtmEventLabel = "event_label";
inline constexpr const char* kGtmScreenName = "screen_name";
inline constexpr const char* kGtmScreenLoadTime = "screen_load_time";
inline constexpr const char* kGtmScreenStartTime = "screen_start_time";
inline constexpr const char* kGtmScreenEndTime = "screen_end_time";
inline constexpr const char* kGtmAbandonmentType = "abandonment_type";
inline constexpr const char* kGtmStorageKeyAbandonment = "com.tandri.gtm.abandonment";
inline constexpr const char* kGtmStorageKeySpinnerLoad = "com.tandri.gtm.spinnerload";
/// The name under which records are pushed to a page.
inline constexpr const char* kTandriPostMessageGTMData = "pushGtmData";

}  // namespace tandri
