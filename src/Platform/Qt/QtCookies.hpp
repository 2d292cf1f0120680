#pragma once

// The cookies port over Qt WebEngine's cookie store. The store answers only asynchronously, by
// signals, the port synchronously: the port keeps a copy of the engine's cookies, filled by the
// store's report of everything it holds at start and kept by its signals of each cookie added or
// removed since, and applies its own changes to the copy at once (they reach the engine a moment
// later). A read therefore sees what the engine last reported plus everything set through the
// port. Qt WebEngine 6.4 reports no cookie it loaded from a profile's disk store to the store's
// listeners (not even when asked to list them all), so the copy holds only the cookies pages and
// the port set since the process started. The accept policy governs the pages' access both ways:
// under Never a page neither stores nor reads a cookie (the engine's filter decides on both).

#include <atomic>
#include <memory>

#include "Platform/Cookies.hpp"

class QWebEngineProfile;

namespace tandri::qt {

class QtCookies final : public Cookies {
  public:
    /// The cookies of `profile`'s pages; the port keeps the profile until it goes.
    explicit QtCookies(std::shared_ptr<QWebEngineProfile> profile);
    ~QtCookies() override;
    QtCookies(const QtCookies&) = delete;
    QtCookies& operator=(const QtCookies&) = delete;

    std::vector<Cookie> cookies() const override;
    std::vector<Cookie> cookiesForURL(const std::string& url) const override;
    void setCookie(const Cookie& cookie) override;
    void deleteCookie(const Cookie& cookie) override;
    CookieAcceptPolicy acceptPolicy() const override;
    void setAcceptPolicy(CookieAcceptPolicy policy) override;

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace tandri::qt
