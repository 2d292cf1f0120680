// An amount of money as an exact decimal. Its text form (description) is what the checkout web
// application receives: "10", "12.5", "-0.99", or "NaN" for text that is not a number.
//
// The constructors are implicit so that an amount can be written as a bare literal:
//     info.setTotal(10);       // "10"
//     info.setTotal(0.1);      // "0.1", the shortest decimal that reads back as the double
//     info.setTotal("12.50");  // "12.5"
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

#include "tandri/Decimal.hpp"

namespace tandri {

class TandriCurrencyAmount {
  public:
    /// Zero.
    TandriCurrencyAmount() = default;
    /// A whole amount.
    template <std::integral I>
    requires(!std::same_as<I, bool>) TandriCurrencyAmount(I value)
        : decimal_(initWithInt(static_cast<std::int64_t>(value))) {}
    /// The shortest decimal that reads back as the same double.
    template <std::floating_point F>
    TandriCurrencyAmount(F value) : decimal_(initWithDouble(static_cast<double>(value))) {}
    /// Decimal text with "." as separator; text that is not a number gives NaN.
    TandriCurrencyAmount(std::string_view text) : decimal_(Decimal::fromString(text)) {}
    TandriCurrencyAmount(const char* text) : TandriCurrencyAmount(std::string_view(text)) {}
    TandriCurrencyAmount(const std::string& text) : TandriCurrencyAmount(std::string_view(text)) {}
    /// An existing decimal, kept as it is.
    TandriCurrencyAmount(Decimal decimal) : decimal_(std::move(decimal)) {}

    /// The text form sent to the page.
    std::string description() const { return decimal_.toString(); }

    const Decimal& decimalNumber() const { return decimal_; }
    void setDecimalNumber(Decimal decimal) { decimal_ = std::move(decimal); }

    bool operator==(const TandriCurrencyAmount& other) const = default;

  private:
    static Decimal initWithInt(std::int64_t value) { return Decimal::fromInt(value); }
    static Decimal initWithDouble(double value) { return Decimal::fromDouble(value); }

    Decimal decimal_;
};

}  // namespace tandri
