#pragma once

// The object a web view's content controller keeps for a channel. It holds
// only a closure, and bridges give it one that refers to them weakly, so a
// page's channel never keeps a bridge alive.

#include <functional>

#include "Platform/WebView.hpp"

namespace tandri {

class TWKScriptHandler : public ScriptMessageHandler {
  public:
    using Handler = std::function<void(UserContentController&, const ScriptMessage&)>;

    TWKScriptHandler() = default;
    explicit TWKScriptHandler(Handler handler) : handler_(std::move(handler)) {}

    const Handler& handler() const { return handler_; }
    void setHandler(Handler handler) { handler_ = std::move(handler); }

    void userContentControllerDidReceiveScriptMessage(UserContentController& controller,
                                                      const ScriptMessage& message) override {
        if (handler_) handler_(controller, message);
    }

  private:
    Handler handler_;
};

}  // namespace tandri
