// An exact decimal number: a sign, up to 38 significant decimal digits and a power-of-ten
// exponent from -128 to 127, or not-a-number. It is what a TandriCurrencyAmount holds; its text
// form is what the checkout web application receives.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tandri {

class Decimal {
  public:
    static constexpr std::size_t kMaxDigits = 38;
    static constexpr int kMinExponent = -128;
    static constexpr int kMaxExponent = 127;

    /// Zero.
    Decimal() = default;

    static Decimal fromInt(std::int64_t value);
    /// The shortest decimal that reads back as the same double. NaN and infinities give NaN; a
    /// magnitude too small for the exponent range gives 0.
    static Decimal fromDouble(double value);
    /// Parses text with "." as the separator, the way the platform's decimal parser does:
    /// leading white space is skipped, an optional sign, digits with an optional ".", and an
    /// optional exponent ("e" or "E", optional sign, digits) are read, and whatever follows is
    /// ignored ("12abc" is 12, "1e" is 1). Text with no digit where the number should start is
    /// NaN ("abc", "", "-", "."). Digits beyond the 38th are cut off (the integer ones still count
    /// toward the magnitude), and a value whose exponent cannot be brought into range is NaN
    /// when too large and 0 when too small.
    static Decimal fromString(std::string_view text);
    static Decimal notANumber();

    bool isNaN() const { return nan_; }
    bool isZero() const { return !nan_ && digits_.empty(); }
    bool isNegative() const { return negative_; }
    /// The significant digits without leading or trailing zeros ("" for zero and NaN).
    const std::string& digits() const { return digits_; }
    /// The power of ten that the digits are multiplied by.
    int exponent() const { return exponent_; }

    /// The canonical text: "." as separator, no grouping, "-" in front of negative values, no
    /// trailing zeros and no separator for whole numbers ("10", "12.5", "-0.99", "0"), and "NaN".
    std::string toString() const;

    bool operator==(const Decimal& other) const = default;

  private:
    // Builds from a digit string and exponent: strips zeros, cuts to 38 digits, checks range.
    static Decimal make(bool negative, std::string digits, std::int64_t exponent);

    std::string digits_;
    int exponent_ = 0;
    bool negative_ = false;
    bool nan_ = false;
};

}  // namespace tandri
