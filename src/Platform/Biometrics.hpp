// Local authentication with the biometrics-only policy.
#pragma once

#include <functional>
#include <string>

namespace tandri {

/// The kind of biometric sensor a device reports.
enum class BiometryKind : int { None = 0, Fingerprint = 1, Face = 2 };

class Biometrics {
  public:
    virtual ~Biometrics() = default;
    /// Whether the biometrics-only policy can be evaluated at all.
    virtual bool canEvaluate() = 0;
    virtual BiometryKind biometryType() = 0;
    /// Asks the user with `reason`; `reply` is called once with whether the user passed, on a
    /// thread of the platform's choosing.
    virtual void evaluate(const std::string& reason, std::function<void(bool passed)> reply) = 0;
};

/// A platform without any biometric device: nothing can be evaluated and every check fails.
class NoBiometrics final : public Biometrics {
  public:
    bool canEvaluate() override { return false; }
    BiometryKind biometryType() override { return BiometryKind::None; }
    void evaluate(const std::string&, std::function<void(bool)> reply) override { reply(false); }
};

}  // namespace tandri
