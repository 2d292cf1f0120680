// A page that posts message bodies to the storage handlers and keeps the response scripts.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Storage/Storage.hpp"
#include "tandri/Json.hpp"

namespace tandri::test {

class Page {
  public:
    std::string send(const std::string& body) {
        auto message = JSTandriMessage::initWithDictionary(*json::parse(body));
        const MessageHandler& handler =
            message->name() == "get" ? Storage::getHandler() : Storage::setHandler();
        handler(*message, [this, id = message->identifier()](std::optional<JSResult> result) {
            std::lock_guard lock(mutex_);
            scripts_.push_back(rawJavaScriptForMethod("P", result->jsEncodableWithIdentifier(id)));
            changed_.notify_all();
        });
        return waitForScript();
    }
    std::string waitForScript() {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(5), [&] { return !scripts_.empty(); });
        if (scripts_.empty()) return "<no answer>";
        std::string out = scripts_.front();
        scripts_.erase(scripts_.begin());
        return out;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> scripts_;
};

}  // namespace tandri::test
