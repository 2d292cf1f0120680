#include "Platform/Simulated/SimulatedStorage.hpp"

#include "Platform/Simulated/SimulatedPorts.hpp"

namespace tandri::sim {

bool SimulatedKeychain::add(const std::optional<std::string>& service, const std::string& account,
                            const std::vector<std::uint8_t>& data) {
    std::lock_guard lock(mutex_);
    std::erase_if(items_, [&](const auto& item) {
        return item.first.second == account && (!service || item.first.first == *service);
    });
    items_[{service.value_or(""), account}] = data;
    return true;
}

std::optional<std::vector<std::uint8_t>> SimulatedKeychain::copyMatching(
    const std::optional<std::string>& service, const std::string& account) {
    std::lock_guard lock(mutex_);
    for (const auto& [id, data] : items_) {
        if (id.second == account && (!service || id.first == *service)) return data;
    }
    return std::nullopt;
}

void SimulatedKeychain::remove(const std::optional<std::string>& service,
                               const std::string& account) {
    std::lock_guard lock(mutex_);
    std::erase_if(items_, [&](const auto& item) {
        return item.first.second == account && (!service || item.first.first == *service);
    });
}

std::vector<std::pair<std::string, std::string>> SimulatedKeychain::items() const {
    std::lock_guard lock(mutex_);
    std::vector<std::pair<std::string, std::string>> out;
    for (const auto& item : items_) out.push_back(item.first);
    return out;
}

std::optional<Value> SimulatedUserDefaults::objectForKey(const std::string& key) {
    std::lock_guard lock(mutex_);
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

bool SimulatedUserDefaults::setObject(const std::string& key, const Value& value) {
    std::lock_guard lock(mutex_);
    values_[key] = value;
    return true;
}

void SimulatedUserDefaults::removeObject(const std::string& key) {
    std::lock_guard lock(mutex_);
    values_.erase(key);
}

std::vector<std::string> SimulatedUserDefaults::keys() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> out;
    for (const auto& entry : values_) out.push_back(entry.first);
    return out;
}

SimulatedBiometrics::~SimulatedBiometrics() {
    joinReplies();
}

bool SimulatedBiometrics::canEvaluate() {
    std::lock_guard lock(mutex_);
    return available_;
}

BiometryKind SimulatedBiometrics::biometryType() {
    std::lock_guard lock(mutex_);
    return available_ ? kind_ : BiometryKind::None;
}

void SimulatedBiometrics::evaluate(const std::string& reason, std::function<void(bool)> reply) {
    if (onPrompt && canEvaluate()) onPrompt(reason);  // nothing is shown without a sensor
    bool passed = false;
    bool other = false;
    {
        std::lock_guard lock(mutex_);
        prompts_.push_back(reason);
        if (available_ && answerLater_) {
            waiting_.push_back(std::move(reply));
            return;
        }
        passed = available_ && passes_;
        other = otherThread_;
        if (other) {
            threads_.emplace_back([reply = std::move(reply), passed] { reply(passed); });
            return;
        }
    }
    reply(passed);
}

void SimulatedBiometrics::setSensor(BiometryKind kind, bool passes) {
    std::lock_guard lock(mutex_);
    available_ = true;
    kind_ = kind;
    passes_ = passes;
}

void SimulatedBiometrics::removeSensor() {
    std::lock_guard lock(mutex_);
    available_ = false;
    kind_ = BiometryKind::None;
}

void SimulatedBiometrics::setReplyOnOtherThread(bool other) {
    std::lock_guard lock(mutex_);
    otherThread_ = other;
}

std::vector<std::string> SimulatedBiometrics::prompts() const {
    std::lock_guard lock(mutex_);
    return prompts_;
}

void SimulatedBiometrics::setAnswerLater(bool later) {
    std::lock_guard lock(mutex_);
    answerLater_ = later;
}

bool SimulatedBiometrics::answer(bool passes) {
    std::function<void(bool)> reply;
    {
        std::lock_guard lock(mutex_);
        if (waiting_.empty()) return false;
        reply = std::move(waiting_.front());
        waiting_.erase(waiting_.begin());
    }
    reply(passes);
    return true;
}

std::size_t SimulatedBiometrics::waitingPrompts() const {
    std::lock_guard lock(mutex_);
    return waiting_.size();
}

void SimulatedBiometrics::joinReplies() {
    std::vector<std::thread> threads;
    {
        std::lock_guard lock(mutex_);
        threads.swap(threads_);
    }
    for (auto& t : threads) t.join();
}

SimulatedBundle::SimulatedBundle() {
    SimulatedImageCodec codec;
    auto picture = [&codec](int side, std::uint8_t r, std::uint8_t g, std::uint8_t b) {
        Bitmap image;
        image.width = image.height = side;
        for (int i = 0; i < side * side; ++i) image.rgba.insert(image.rgba.end(), {r, g, b, 255});
        return *codec.encodePNG(image);
    };
    resources_["close.png"] = picture(4, 90, 90, 90);
    resources_["mini_tandri_checkout.png"] = picture(3, 20, 60, 200);
    for (int i = 0; i < 260; ++i) {
        resources_["square_animation" + std::to_string(i) + ".png"] =
            picture(2, static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i / 2), 200);
    }
}

std::optional<Value> SimulatedBundle::hostInfoValue(const std::string& key) {
    if (key == "CFBundleShortVersionString" && hostVersion_) return Value(*hostVersion_);
    return hostInfo_.get(key);
}

std::optional<std::vector<std::uint8_t>> SimulatedBundle::resource(const std::string& name) {
    auto it = resources_.find(name);
    if (it == resources_.end()) return std::nullopt;
    return it->second;
}

}  // namespace tandri::sim
