// In-memory keychain and user defaults, and a device, bundle and biometric sensor whose answers
// a test sets.
#pragma once

#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Biometrics.hpp"
#include "Platform/Device.hpp"
#include "Platform/Keychain.hpp"
#include "Platform/UserDefaults.hpp"
#include "tandri/Version.hpp"

namespace tandri::sim {

class SimulatedKeychain final : public Keychain {
  public:
    bool add(const std::optional<std::string>& service, const std::string& account,
             const std::vector<std::uint8_t>& data) override;
    std::optional<std::vector<std::uint8_t>> copyMatching(const std::optional<std::string>& service,
                                                          const std::string& account) override;
    void remove(const std::optional<std::string>& service, const std::string& account) override;

    /// Every (service, account) pair held, in order.
    std::vector<std::pair<std::string, std::string>> items() const;

  private:
    mutable std::mutex mutex_;
    std::map<std::pair<std::string, std::string>, std::vector<std::uint8_t>> items_;
};

class SimulatedUserDefaults final : public UserDefaults {
  public:
    std::optional<Value> objectForKey(const std::string& key) override;
    bool setObject(const std::string& key, const Value& value) override;
    void removeObject(const std::string& key) override;
    std::vector<std::string> keys() const;

  private:
    mutable std::mutex mutex_;
    std::map<std::string, Value> values_;
};

/// A biometric sensor with a set answer. By default there is none (nothing can be evaluated,
/// every check fails). The reply comes at once on the caller's thread, or, when set so, from a
/// new thread; `prompts` records every reason shown.
class SimulatedBiometrics final : public Biometrics {
  public:
    ~SimulatedBiometrics() override;
    bool canEvaluate() override;
    BiometryKind biometryType() override;
    void evaluate(const std::string& reason, std::function<void(bool)> reply) override;

    /// A device with a sensor of `kind` that answers `passes` to every check.
    void setSensor(BiometryKind kind, bool passes);
    void removeSensor();
    void setReplyOnOtherThread(bool other);
    std::vector<std::string> prompts() const;
    /// Waits for replies sent from other threads.
    void joinReplies();
    /// When set, a prompt on a device with a sensor waits for `answer` (a person looking at it)
    /// instead of replying with the set answer.
    void setAnswerLater(bool later);
    /// Answers the oldest waiting prompt; false when none waits.
    bool answer(bool passes);
    std::size_t waitingPrompts() const;
    /// Told of each prompt's reason as it is shown (never without a sensor).
    std::function<void(const std::string&)> onPrompt;

  private:
    mutable std::mutex mutex_;
    bool available_ = false;
    BiometryKind kind_ = BiometryKind::None;
    bool passes_ = false;
    bool otherThread_ = false;
    bool answerLater_ = false;
    std::vector<std::function<void(bool)>> waiting_;
    std::vector<std::string> prompts_;
    std::vector<std::thread> threads_;
};

class SimulatedDevice final : public Device {
  public:
    std::string systemVersion() override { return systemVersion_; }
    std::string model() override { return model_; }
    std::string identifierForVendor() override { return vendorId_; }
    DeviceIdiom idiom() override { return idiom_; }

    std::string systemVersion_ = "17.0";
    std::string model_ = "iPhone";
    std::string vendorId_ = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
    DeviceIdiom idiom_ = DeviceIdiom::Phone;
};

class SimulatedBundle final : public Bundle {
  public:
    /// Holds the library's own images: "close.png", "mini_tandri_checkout.png" and the spinner's
    /// 260 frames "square_animation<N>.png", each a small picture of its own colour in the
    /// simulated codec's format.
    SimulatedBundle();

    std::optional<std::string> libraryShortVersion() override { return libraryVersion_; }
    std::optional<std::string> hostShortVersion() override { return hostVersion_; }
    std::optional<Value> hostInfoValue(const std::string& key) override;
    std::optional<std::vector<std::uint8_t>> resource(const std::string& name) override;

    std::optional<std::string> libraryVersion_ = std::string(kSDKVersion);
    std::optional<std::string> hostVersion_ = std::string("2.4.1");
    Dictionary hostInfo_;
    std::map<std::string, std::vector<std::uint8_t>> resources_;
};

}  // namespace tandri::sim
