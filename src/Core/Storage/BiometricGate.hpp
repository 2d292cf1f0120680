// The line of "get"s waiting for a biometric check.
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Core/Storage/Storage.hpp"
#include "Platform/Biometrics.hpp"
#include "Platform/WebView.hpp"

namespace tandri {

// One biometric prompt on screen at a time. A "get" that needs a check while one is up waits
// behind it, at most 32 from each view (a page flooding "get"s has the rest answered null at
// once, as a failed check). When the person answers, the waiting "get"s of the same view for the
// same key and prompt share that answer; the next other one then gets its own prompt. Replies
// may come on any thread, hence the lock; answers are given outside it.
class BiometricGate {
  public:
    struct Request {
        std::weak_ptr<WebView> view;  // the view whose page asked (null outside a delivery)
        std::string key;
        std::string reason;
        std::optional<Value> value;  // read before the prompt, released only on a pass
        Storage::Callback callback;
    };

    static BiometricGate& shared();
    /// Prompts with `biometrics` now, queues the request behind the prompt on screen, or answers
    /// it null at once when its view already has its share waiting.
    void check(Request request, const std::shared_ptr<Biometrics>& biometrics);

  private:
    static constexpr std::size_t kWaitingPerView = 32;
    static bool sameView(const Request& a, const Request& b);
    void prompt(std::shared_ptr<Request> shown, const std::shared_ptr<Biometrics>& biometrics);
    void answered(Request& shown, bool passed, const std::shared_ptr<Biometrics>& biometrics);

    std::mutex mutex_;
    bool prompting_ = false;
    std::weak_ptr<Biometrics> shownOn_;  // the sensor showing the prompt
    std::deque<Request> waiting_;
};

/// The prompt text a page chose, cut to 200 characters (never inside one).
std::string promptText(const std::string& text);

}  // namespace tandri
