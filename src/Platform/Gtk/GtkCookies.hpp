#pragma once

// The cookies port over WebKit's cookie manager. The manager answers only
// asynchronously, the port synchronously: the port keeps a copy of the
// engine's cookies, read at start, whenever the engine says they changed and
// after each read of the copy, and applies its own changes to the copy at once
// (they reach the engine a moment later). A read therefore sees what the engine
// last reported plus everything set through the port.

#include <memory>

#include "Platform/Cookies.hpp"
#include "Platform/Gtk/WebKit.hpp"

namespace tandri::gtk {

class GtkCookies final : public Cookies {
  public:
    explicit GtkCookies(WebKitWebContext* context);
    ~GtkCookies() override;
    GtkCookies(const GtkCookies&) = delete;
    GtkCookies& operator=(const GtkCookies&) = delete;

    std::vector<Cookie> cookies() const override;
    std::vector<Cookie> cookiesForURL(const std::string& url) const override;
    void setCookie(const Cookie& cookie) override;
    void deleteCookie(const Cookie& cookie) override;
    CookieAcceptPolicy acceptPolicy() const override;
    void setAcceptPolicy(CookieAcceptPolicy policy) override;

    /// Whether the copy has caught up with every change the engine announced so far.
    bool upToDate() const;

    struct State;

  private:
    std::shared_ptr<State> state_;
};

}  // namespace tandri::gtk
