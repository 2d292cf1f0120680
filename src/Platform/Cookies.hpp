// The shared HTTP cookie store the web views use.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tandri {

struct Cookie {
    std::string name;
    std::string value;
    /// A leading '.' or not, the cookie goes to the domain and its subdomains.
    std::string domain;
    std::string path = "/";
    bool secure = false;
    bool httpOnly = false;
    /// Seconds since 1970; absent for a session cookie.
    std::optional<double> expires;

    bool operator==(const Cookie&) const = default;
};

enum class CookieAcceptPolicy { Always = 0, Never = 1, OnlyFromMainDocumentDomain = 2 };

class Cookies {
  public:
    virtual ~Cookies() = default;
    /// Every stored cookie, in the order stored.
    virtual std::vector<Cookie> cookies() const = 0;
    /// The cookies a request to `url` would carry.
    virtual std::vector<Cookie> cookiesForURL(const std::string& url) const = 0;
    /// Stores a cookie, replacing one with the same name, domain and path; refused under the
    /// Never policy.
    virtual void setCookie(const Cookie& cookie) = 0;
    virtual void deleteCookie(const Cookie& cookie) = 0;
    virtual CookieAcceptPolicy acceptPolicy() const = 0;
    virtual void setAcceptPolicy(CookieAcceptPolicy policy) = 0;
};

/// Whether a request to `url` carries `cookie`: host within the cookie's domain, path under the
/// cookie's path, and https when the cookie is secure.
bool cookieMatchesURL(const Cookie& cookie, const std::string& url);

}  // namespace tandri
