// One purchase as the checkout web application receives it. Every property is stored under an
// option key equal to its name (see Constants.hpp); the page receives `data()`.
//
//     auto info = std::make_shared<TandriPurchaseInfo>("12.50", Currency::USD);
//     info->setTax(1.25);
//     info->setOrderId("A-1001");
#pragma once

#include <optional>
#include <string>

#include "tandri/Enums.hpp"
#include "tandri/TInitInfo.hpp"
#include "tandri/TandriCurrencyAmount.hpp"

namespace tandri {

class TandriPurchaseInfo : public TInitInfo {
  public:
    /// An empty purchase: no key is sent until its property is set.
    TandriPurchaseInfo() = default;
    /// Sets total and currency, then the defaults: reviewAction Continue, shippingRequired
    /// false, threeDSActive false, threeDSSuppressChallenge true, enableUserDataPrefill false.
    TandriPurchaseInfo(const std::optional<TandriCurrencyAmount>& total, Currency currency);

    // ---- Amounts, sent as their text form ----
    // The getter returns the amount last set. Setting none forgets the amount but the page
    // keeps receiving the last text that was sent.

    std::optional<TandriCurrencyAmount> total() const;
    void setTotal(const std::optional<TandriCurrencyAmount>& amount);
    std::optional<TandriCurrencyAmount> subtotal() const;
    void setSubtotal(const std::optional<TandriCurrencyAmount>& amount);
    std::optional<TandriCurrencyAmount> tax() const;
    void setTax(const std::optional<TandriCurrencyAmount>& amount);
    std::optional<TandriCurrencyAmount> discount() const;
    void setDiscount(const std::optional<TandriCurrencyAmount>& amount);
    std::optional<TandriCurrencyAmount> giftWrapCharges() const;
    void setGiftWrapCharges(const std::optional<TandriCurrencyAmount>& amount);
    std::optional<TandriCurrencyAmount> miscellaneousCharges() const;
    void setMiscellaneousCharges(const std::optional<TandriCurrencyAmount>& amount);
    std::optional<TandriCurrencyAmount> shippingAndHandlingCharges() const;
    void setShippingAndHandlingCharges(const std::optional<TandriCurrencyAmount>& amount);

    // ---- Enumerations, sent as their strings; the getters read back the number set ----

    /// Sent as the three-letter code ("USD").
    Currency currency() const;
    void setCurrency(Currency value);
    /// Sent as "Continue" or "Pay".
    ReviewAction reviewAction() const;
    void setReviewAction(ReviewAction value);

    // ---- Free texts, sent unchanged ----

    /// The text shown beside the review button.
    std::optional<std::string> reviewMessage() const;
    void setReviewMessage(const std::optional<std::string>& value);
    std::optional<std::string> customDescription() const;
    void setCustomDescription(const std::optional<std::string>& value);
    std::optional<std::string> orderId() const;
    void setOrderId(const std::optional<std::string>& value);
    std::optional<std::string> promoCode() const;
    void setPromoCode(const std::optional<std::string>& value);
    std::optional<std::string> referenceCallId() const;
    void setReferenceCallId(const std::optional<std::string>& value);
    std::optional<std::string> requestId() const;
    void setRequestId(const std::optional<std::string>& value);
    std::optional<std::string> sourceId() const;
    void setSourceId(const std::optional<std::string>& value);
    std::optional<std::string> currencyFormat() const;
    void setCurrencyFormat(const std::optional<std::string>& value);
    /// Any encodable value, typically a dictionary; anything else is dropped.
    std::optional<Value> customData() const;
    void setCustomData(const std::optional<Value>& value);

    // ---- Switches, sent as booleans; false while unset ----

    bool shippingRequired() const;
    void setShippingRequired(bool value);
    bool threeDSActive() const;
    void setThreeDSActive(bool value);
    bool threeDSSuppressChallenge() const;
    void setThreeDSSuppressChallenge(bool value);
    bool enableUserDataPrefill() const;
    void setEnableUserDataPrefill(bool value);

    /// The callback the page calls (as the handler "purchaseInfo.prefill") to ask the app for
    /// prefill data. It is kept under the key "prefill" and is reachable as (*this)["prefill"];
    /// onPrefillRequest() itself always answers an empty function, by long-standing behaviour.
    void setOnPrefillRequest(DataRequestClosure callback);
    DataRequestClosure onPrefillRequest() const { return onPrefillRequest_; }

  private:
    std::optional<TandriCurrencyAmount> amountFor(const char* key) const;
    void setAmount(const std::optional<TandriCurrencyAmount>& amount, const char* key);
    void setBool(bool value, const char* key);

    DataRequestClosure onPrefillRequest_;  // never written: see onPrefillRequest()
};

}  // namespace tandri
