#include "Platform/WebView.hpp"

#include <strings.h>

#include <utility>

namespace tandri {

void URLRequest::addValue(const std::string& value, const std::string& field) {
    for (auto& [name, existing] : headers) {
        if (strcasecmp(name.c_str(), field.c_str()) == 0) {
            existing += ", " + value;
            return;
        }
    }
    headers.emplace_back(field, value);
}

std::optional<std::string> URLRequest::valueForField(const std::string& field) const {
    for (const auto& [name, value] : headers) {
        if (strcasecmp(name.c_str(), field.c_str()) == 0) return value;
    }
    return std::nullopt;
}

void HandlerTableContentController::addScriptMessageHandler(
    std::shared_ptr<ScriptMessageHandler> handler, const std::string& name) {
    handlers_[name] = std::move(handler);
}

void HandlerTableContentController::removeScriptMessageHandlerForName(const std::string& name) {
    handlers_.erase(name);
}

bool HandlerTableContentController::hasScriptMessageHandler(const std::string& name) const {
    return handlers_.count(name) != 0;
}

std::shared_ptr<ScriptMessageHandler> HandlerTableContentController::handlerFor(
    const std::string& name) const {
    auto it = handlers_.find(name);
    return it == handlers_.end() ? nullptr : it->second;
}

namespace {
thread_local const ScriptMessage* delivering = nullptr;
}  // namespace

bool HandlerTableContentController::deliver(const ScriptMessage& message) {
    auto handler = handlerFor(message.name);
    if (!handler) return false;
    struct Delivering {
        const ScriptMessage* outer;
        explicit Delivering(const ScriptMessage& m) : outer(std::exchange(delivering, &m)) {}
        ~Delivering() { delivering = outer; }
    } scope(message);
    handler->userContentControllerDidReceiveScriptMessage(*this, message);
    return true;
}

std::shared_ptr<WebView> HandlerTableContentController::deliveringView() {
    return delivering ? delivering->webView.lock() : nullptr;
}

}  // namespace tandri
