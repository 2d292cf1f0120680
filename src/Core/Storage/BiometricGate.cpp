#include "Core/Storage/BiometricGate.hpp"

#include <algorithm>

namespace tandri {

BiometricGate& BiometricGate::shared() {
    static auto* gate = new BiometricGate();  // never destroyed: replies may come late
    return *gate;
}

void BiometricGate::check(Request request, const std::shared_ptr<Biometrics>& biometrics) {
    bool show = false;
    {
        std::lock_guard lock(mutex_);
        // A prompt whose sensor has gone (a new platform) is gone with it.
        if (prompting_ && shownOn_.expired()) {
            prompting_ = false;
            waiting_.clear();
        }
        if (prompting_) {
            const auto queued =
                std::count_if(waiting_.begin(), waiting_.end(),
                              [&](const Request& r) { return sameView(r, request); });
            if (static_cast<std::size_t>(queued) < kWaitingPerView) {
                waiting_.push_back(std::move(request));
                return;
            }
        } else {
            prompting_ = true;
            shownOn_ = biometrics;
            show = true;
        }
    }
    if (!show) {
        request.callback(Value::null());  // beyond the view's share: a failed check
        return;
    }
    prompt(std::make_shared<Request>(std::move(request)), biometrics);
}

bool BiometricGate::sameView(const Request& a, const Request& b) {
    return !a.view.owner_before(b.view) && !b.view.owner_before(a.view);
}

void BiometricGate::prompt(std::shared_ptr<Request> shown,
                           const std::shared_ptr<Biometrics>& biometrics) {
    const std::string reason = shown->reason;
    biometrics->evaluate(reason, [this, shown, weak = std::weak_ptr<Biometrics>(biometrics)](
                                     bool passed) { answered(*shown, passed, weak.lock()); });
}

void BiometricGate::answered(Request& shown, bool passed,
                             const std::shared_ptr<Biometrics>& biometrics) {
    std::vector<Request> sharing, failed;
    std::shared_ptr<Request> next;
    {
        std::lock_guard lock(mutex_);
        for (auto it = waiting_.begin(); it != waiting_.end();) {
            if (sameView(*it, shown) && it->key == shown.key && it->reason == shown.reason) {
                sharing.push_back(std::move(*it));
                it = waiting_.erase(it);
            } else {
                ++it;
            }
        }
        if (!biometrics) {  // the sensor went while it asked: no one can answer the rest
            for (auto& r : waiting_) failed.push_back(std::move(r));
            waiting_.clear();
        }
        if (waiting_.empty()) {
            prompting_ = false;
        } else {
            next = std::make_shared<Request>(std::move(waiting_.front()));
            waiting_.pop_front();
        }
    }
    auto answer = [passed](Request& r) {
        r.callback(passed ? r.value : std::optional<Value>(Value::null()));
    };
    answer(shown);
    for (auto& r : sharing) answer(r);
    for (auto& r : failed) r.callback(Value::null());
    if (next) prompt(std::move(next), biometrics);
}

std::string promptText(const std::string& text) {
    constexpr std::size_t kLongestPrompt = 200;
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool starts = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
        if (starts && characters++ == kLongestPrompt) return text.substr(0, i);
    }
    return text;
}

}  // namespace tandri
