#include "tandri/TandriPurchaseInfo.hpp"

#include "Core/Utils/Translator.hpp"
#include "tandri/Constants.hpp"

namespace tandri {

namespace {
// The type name under which an amount is kept in rawObjects.
constexpr const char* kAmountTypeName = "TandriCurrencyAmount";
}  // namespace

TandriPurchaseInfo::TandriPurchaseInfo(const std::optional<TandriCurrencyAmount>& total,
                                       Currency currency) {
    setTotal(total);
    setCurrency(currency);
    setReviewAction(ReviewAction::Continue);
    setShippingRequired(false);
    setThreeDSActive(false);
    setThreeDSSuppressChallenge(true);
    setEnableUserDataPrefill(false);
}

std::optional<TandriCurrencyAmount> TandriPurchaseInfo::amountFor(const char* key) const {
    const Value* raw = rawObjects().find(key);
    if (!raw || !raw->isForeign(ForeignKind::Object)) return std::nullopt;
    const Foreign& foreign = raw->asForeign();
    if (foreign.typeName != kAmountTypeName || !foreign.object) return std::nullopt;
    return *static_cast<const TandriCurrencyAmount*>(foreign.object.get());
}

void TandriPurchaseInfo::setAmount(const std::optional<TandriCurrencyAmount>& amount,
                                   const char* key) {
    if (!amount) {
        // Nothing to send, so the page keeps the last text; only the amount itself is forgotten.
        rawObjects().erase(key);
        return;
    }
    setObject(Value(amount->description()), key);
    rawObjects().set(
        key, Value::object(kAmountTypeName, std::make_shared<const TandriCurrencyAmount>(*amount)));
}

#define TANDRI_AMOUNT_PROPERTY(getter, setter, key)                                      \
    std::optional<TandriCurrencyAmount> TandriPurchaseInfo::getter() const {             \
        return amountFor(key);                                                           \
    }                                                                                    \
    void TandriPurchaseInfo::setter(const std::optional<TandriCurrencyAmount>& amount) { \
        setAmount(amount, key);                                                          \
    }

TANDRI_AMOUNT_PROPERTY(total, setTotal, kTotal)
TANDRI_AMOUNT_PROPERTY(subtotal, setSubtotal, kSubtotal)
TANDRI_AMOUNT_PROPERTY(tax, setTax, kTax)
TANDRI_AMOUNT_PROPERTY(discount, setDiscount, kDiscount)
TANDRI_AMOUNT_PROPERTY(giftWrapCharges, setGiftWrapCharges, kGiftWrapCharges)
TANDRI_AMOUNT_PROPERTY(miscellaneousCharges, setMiscellaneousCharges, kMiscellaneousCharges)
TANDRI_AMOUNT_PROPERTY(shippingAndHandlingCharges, setShippingAndHandlingCharges,
                       kShippingAndHandlingCharges)

#undef TANDRI_AMOUNT_PROPERTY

Currency TandriPurchaseInfo::currency() const {
    return static_cast<Currency>(rawIntFor(kCurrency));
}
void TandriPurchaseInfo::setCurrency(Currency value) {
    rawObjects().erase(kCurrency);
    if (auto text = Translator::stringForCurrency(rawValue(value)))
        setObject(Value(*text), kCurrency);
    rawObjects().set(kCurrency, Value::integer(rawValue(value)));
}

ReviewAction TandriPurchaseInfo::reviewAction() const {
    return static_cast<ReviewAction>(rawIntFor(kReviewAction));
}
void TandriPurchaseInfo::setReviewAction(ReviewAction value) {
    rawObjects().erase(kReviewAction);
    if (auto text = Translator::stringForReviewAction(rawValue(value))) {
        setObject(Value(*text), kReviewAction);
    }
    rawObjects().set(kReviewAction, Value::integer(rawValue(value)));
}

#define TANDRI_STRING_PROPERTY(getter, setter, key)                            \
    std::optional<std::string> TandriPurchaseInfo::getter() const {            \
        return stringFor(key);                                                 \
    }                                                                          \
    void TandriPurchaseInfo::setter(const std::optional<std::string>& value) { \
        setString(value, key);                                                 \
    }

TANDRI_STRING_PROPERTY(reviewMessage, setReviewMessage, kReviewMessage)
TANDRI_STRING_PROPERTY(customDescription, setCustomDescription, kCustomDescription)
TANDRI_STRING_PROPERTY(orderId, setOrderId, kOrderId)
TANDRI_STRING_PROPERTY(promoCode, setPromoCode, kPromoCode)
TANDRI_STRING_PROPERTY(referenceCallId, setReferenceCallId, kReferenceCallId)
TANDRI_STRING_PROPERTY(requestId, setRequestId, kRequestId)
TANDRI_STRING_PROPERTY(sourceId, setSourceId, kSourceId)
TANDRI_STRING_PROPERTY(currencyFormat, setCurrencyFormat, kCurrencyFormat)

#undef TANDRI_STRING_PROPERTY

std::optional<Value> TandriPurchaseInfo::customData() const {
    return (*this)[kCustomData];
}
void TandriPurchaseInfo::setCustomData(const std::optional<Value>& value) {
    setObject(value, kCustomData);
}

void TandriPurchaseInfo::setBool(bool value, const char* key) {
    setObject(Value::boolean(value), key);
}

bool TandriPurchaseInfo::shippingRequired() const {
    return boolFor(kShippingRequired);
}
void TandriPurchaseInfo::setShippingRequired(bool value) {
    setBool(value, kShippingRequired);
}
bool TandriPurchaseInfo::threeDSActive() const {
    return boolFor(kThreeDSActive);
}
void TandriPurchaseInfo::setThreeDSActive(bool value) {
    setBool(value, kThreeDSActive);
}
bool TandriPurchaseInfo::threeDSSuppressChallenge() const {
    return boolFor(kThreeDSSuppressChallenge);
}
void TandriPurchaseInfo::setThreeDSSuppressChallenge(bool value) {
    setBool(value, kThreeDSSuppressChallenge);
}
bool TandriPurchaseInfo::enableUserDataPrefill() const {
    return boolFor(kEnableUserDataPrefill);
}
void TandriPurchaseInfo::setEnableUserDataPrefill(bool value) {
    setBool(value, kEnableUserDataPrefill);
}

void TandriPurchaseInfo::setOnPrefillRequest(DataRequestClosure callback) {
    if (!callback) return;  // no callback is an absent value, which never clears
    setObject(Value::closure(std::move(callback)), kPrefill);
}

}  // namespace tandri
