#include "tandri/Decimal.hpp"

#include <charconv>
#include <cmath>

namespace tandri {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

}  // namespace

Decimal Decimal::notANumber() {
    Decimal d;
    d.nan_ = true;
    return d;
}

Decimal Decimal::make(bool negative, std::string digits, std::int64_t exponent) {
    std::size_t first = digits.find_first_not_of('0');
    if (first == std::string::npos) return Decimal();
    digits.erase(0, first);
    if (digits.size() > kMaxDigits) {
        exponent += static_cast<std::int64_t>(digits.size() - kMaxDigits);
        digits.resize(kMaxDigits);
    }
    // Too small for the exponent range: the lowest digits fall off, possibly all of them.
    if (exponent < kMinExponent) {
        std::int64_t cut = kMinExponent - exponent;
        if (cut >= static_cast<std::int64_t>(digits.size())) return Decimal();
        digits.resize(digits.size() - static_cast<std::size_t>(cut));
        exponent = kMinExponent;
    }
    while (!digits.empty() && digits.back() == '0') {
        digits.pop_back();
        ++exponent;
    }
    if (digits.empty()) return Decimal();
    // Too large: even with the mantissa padded to its 38 digits the exponent stays out of range.
    if (exponent - static_cast<std::int64_t>(kMaxDigits - digits.size()) > kMaxExponent) {
        return notANumber();
    }
    Decimal d;
    d.digits_ = std::move(digits);
    d.exponent_ = static_cast<int>(exponent);
    d.negative_ = negative;
    return d;
}

Decimal Decimal::fromInt(std::int64_t value) {
    return fromString(std::to_string(value));
}

Decimal Decimal::fromDouble(double value) {
    if (!std::isfinite(value)) return notANumber();
    char buffer[64];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    if (ec != std::errc()) return notANumber();
    return fromString(std::string_view(buffer, static_cast<std::size_t>(end - buffer)));
}

Decimal Decimal::fromString(std::string_view text) {
    std::size_t i = 0;
    const std::size_t n = text.size();
    while (i < n && isSpace(text[i])) ++i;
    bool negative = false;
    if (i < n && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    std::string digits;
    std::int64_t exponent = 0;
    bool sawDigit = false;
    for (; i < n && isDigit(text[i]); ++i) {
        sawDigit = true;
        if (digits.empty() && text[i] == '0') continue;
        if (digits.size() < kMaxDigits) {
            digits.push_back(text[i]);
        } else {
            ++exponent;  // an integer digit that does not fit still scales the value
        }
    }
    if (i < n && text[i] == '.') {
        for (++i; i < n && isDigit(text[i]); ++i) {
            sawDigit = true;
            if (digits.size() >= kMaxDigits) continue;  // fraction digits beyond 38 fall off
            if (!(digits.empty() && text[i] == '0')) digits.push_back(text[i]);
            --exponent;
        }
    }
    if (!sawDigit) return notANumber();
    if (i < n && (text[i] == 'e' || text[i] == 'E')) {
        std::size_t j = i + 1;
        bool negativeExponent = false;
        if (j < n && (text[j] == '+' || text[j] == '-')) {
            negativeExponent = text[j] == '-';
            ++j;
        }
        if (j < n && isDigit(text[j])) {
            std::int64_t e = 0;
            for (; j < n && isDigit(text[j]); ++j) {
                if (e < 1'000'000) e = e * 10 + (text[j] - '0');
            }
            exponent += negativeExponent ? -e : e;
        }
    }
    return make(negative, std::move(digits), exponent);
}

std::string Decimal::toString() const {
    if (nan_) return "NaN";
    if (digits_.empty()) return "0";
    std::string out = negative_ ? "-" : "";
    const auto count = static_cast<std::int64_t>(digits_.size());
    if (exponent_ >= 0) {
        out += digits_;
        out.append(static_cast<std::size_t>(exponent_), '0');
    } else if (count + exponent_ > 0) {
        auto integerDigits = static_cast<std::size_t>(count + exponent_);
        out.append(digits_, 0, integerDigits);
        out += '.';
        out.append(digits_, integerDigits);
    } else {
        out += "0.";
        out.append(static_cast<std::size_t>(-(count + exponent_)), '0');
        out += digits_;
    }
    return out;
}

}  // namespace tandri
