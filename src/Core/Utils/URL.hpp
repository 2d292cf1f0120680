// URLs as the bridge needs them: the parts of an absolute URL, the origin tests and the button
// page addresses.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tandri/Value.hpp"

namespace tandri {

class URL {
  public:
    /// Parses an RFC 3986 URI reference; absent when it is not one.
    static std::optional<URL> parse(std::string_view text);

    const std::string& absoluteString() const { return text_; }
    /// The scheme as written (no case folding); empty when there is none.
    const std::string& scheme() const { return scheme_; }
    /// The host as written, without the brackets of an address literal; absent when none.
    const std::optional<std::string>& host() const { return host_; }
    /// The explicit port text; absent when the URL names none.
    const std::optional<std::string>& port() const { return port_; }

    /// True exactly when the scheme is "https" (case-sensitive).
    bool isSecure() const { return scheme_ == "https"; }
    /// True exactly when the last two labels of the host are the maker's registrable domain.
    bool isTandriDomain() const;
    /// "<scheme>://<host>:<port>", with "(null)" for a missing host or port.
    std::string getTargetOrigin() const;
    /// The origin as browsers write it: "<scheme>://<host>[:<port>]" with scheme and host in
    /// lower case and the scheme's default port left out; absent without a scheme or a host.
    std::optional<std::string> origin() const;

    bool operator==(const URL& other) const { return text_ == other.text_; }

  private:
    std::string text_;
    std::string scheme_;
    std::optional<std::string> host_;
    std::optional<std::string> port_;
};

/// The maker's two-label registrable domain (a build setting, "tandri.com" unless configured);
/// tests and the demo point it at their own test domain.
const std::string& makerDomain();
void setMakerDomain(std::string domain);

/// The button page in manual-checkout mode under a base address.
std::string appendManualCheckoutURLString(std::string_view base);
/// The button page in a given colour under a base address (the colour is not escaped).
std::string appendMobileButtonWithColor(std::string_view base, std::string_view color);

/// The boolean reading of a value the way pages' flags are read: a number is true when not
/// zero; a text is true when, after leading blanks, a sign and zeros, it starts with 'Y', 'y',
/// 'T', 't' or a digit from 1 to 9 ("1", "yes", "true", "007"); anything else is false.
bool boolValue(const Value& value);

/// Whether the text is an HTTP token (a method or header name): one or more of the letters,
/// digits and !#$%&'*+-.^_`|~.
bool isHTTPToken(std::string_view text);

/// True for an absent string or the empty string (a string of blanks is not blank here).
bool isNilOrBlank(const std::optional<std::string>& text);
inline bool isNilOrBlank(const std::string* text) {
    return !text || text->empty();
}

}  // namespace tandri
