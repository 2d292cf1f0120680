// Keychain items in a desktop keyring through the Secret Service (libsecret). Each item carries
// the attributes "service" (omitted for items without one) and "account"; its secret is the
// item data, base64-encoded. Lookups without a service match items under any service.
#pragma once

#include <memory>
#include <string>

#include "Platform/Keychain.hpp"

namespace tandri::secretservice {

class SecretServiceKeychain final : public Keychain {
  public:
    /// Null when no Secret Service answers on the session bus; `error` receives the reason.
    static std::shared_ptr<SecretServiceKeychain> connect(std::string* error = nullptr);

    bool add(const std::optional<std::string>& service, const std::string& account,
             const std::vector<std::uint8_t>& data) override;
    std::optional<std::vector<std::uint8_t>> copyMatching(const std::optional<std::string>& service,
                                                          const std::string& account) override;
    void remove(const std::optional<std::string>& service, const std::string& account) override;
    /// Attribute values are NUL-terminated UTF-8 text: an account holding a NUL, one that is not
    /// UTF-8, or one over 1024 bytes cannot be named faithfully.
    bool canName(const std::string& account) const override;

  private:
    SecretServiceKeychain() = default;
};

}  // namespace tandri::secretservice
