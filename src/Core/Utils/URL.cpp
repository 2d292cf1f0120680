#include "Core/Utils/URL.hpp"

#include <uriparser/Uri.h>

#include <cctype>

#ifndef TANDRI_MAKER_DOMAIN
#define TANDRI_MAKER_DOMAIN "tandri.com"
#endif

namespace tandri {

namespace {
std::string rangeText(const UriTextRangeA& range) {
    if (!range.first || !range.afterLast) return {};
    return std::string(range.first, range.afterLast);
}

std::string& makerDomainSlot() {
    static std::string domain = TANDRI_MAKER_DOMAIN;
    return domain;
}
}  // namespace

std::optional<URL> URL::parse(std::string_view text) {
    std::string owned(text);
    UriUriA uri;
    const char* errorPos = nullptr;
    if (uriParseSingleUriExA(&uri, owned.data(), owned.data() + owned.size(), &errorPos) !=
        URI_SUCCESS) {
        return std::nullopt;
    }
    URL url;
    url.scheme_ = rangeText(uri.scheme);
    // A URI with an authority has a host, possibly empty ("file:///x").
    if (uri.hostText.first) url.host_ = rangeText(uri.hostText);
    if (uri.portText.first && uri.portText.first != uri.portText.afterLast) {
        url.port_ = rangeText(uri.portText);
    }
    uriFreeUriMembersA(&uri);
    url.text_ = std::move(owned);
    return url;
}

bool URL::isTandriDomain() const {
    if (!host_) return false;
    const std::string& host = *host_;
    auto last = host.rfind('.');
    if (last == std::string::npos) return false;
    // The last two labels: everything after the second-to-last dot.
    auto before = last == 0 ? std::string::npos : host.rfind('.', last - 1);
    std::string_view lastTwo(host);
    if (before != std::string::npos) lastTwo = lastTwo.substr(before + 1);
    return lastTwo == makerDomain();
}

std::string URL::getTargetOrigin() const {
    std::string out = scheme_;
    out.append("://");
    out.append(host_ ? *host_ : "(null)");
    out.append(":");
    out.append(port_ ? *port_ : "(null)");
    return out;
}

std::optional<std::string> URL::origin() const {
    if (scheme_.empty() || !host_ || host_->empty()) return std::nullopt;
    auto lower = [](std::string text) {
        for (auto& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return text;
    };
    std::string out = lower(scheme_) + "://";
    const bool literal = host_->find(':') != std::string::npos;  // an IPv6 address
    out.append(literal ? "[" + lower(*host_) + "]" : lower(*host_));
    const bool defaultPort = port_ && ((out.starts_with("https:") && *port_ == "443") ||
                                       (out.starts_with("http:") && *port_ == "80"));
    if (port_ && !defaultPort) out.append(":" + *port_);
    return out;
}

const std::string& makerDomain() {
    return makerDomainSlot();
}
void setMakerDomain(std::string domain) {
    makerDomainSlot() = std::move(domain);
}

std::string appendManualCheckoutURLString(std::string_view base) {
    std::string out(base);
    out.append("/checkout-widget/mobile-button?manualCheckout");
    return out;
}

std::string appendMobileButtonWithColor(std::string_view base, std::string_view color) {
    std::string out(base);
    out.append("/checkout-widget/mobile-button?color=");
    out.append(color);
    return out;
}

bool boolValue(const Value& value) {
    if (value.isNumber()) return value.asBool();
    if (!value.isString()) return false;
    const std::string& text = value.asString();
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n')) ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    while (i < text.size() && text[i] == '0') ++i;
    if (i == text.size()) return false;
    const char c = text[i];
    return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

bool isHTTPToken(std::string_view text) {
    if (text.empty()) return false;
    for (unsigned char c : text) {
        const bool alnum =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!alnum && std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) ==
                          std::string_view::npos) {
            return false;
        }
    }
    return true;
}

bool isNilOrBlank(const std::optional<std::string>& text) {
    return !text || text->empty();
}

}  // namespace tandri
