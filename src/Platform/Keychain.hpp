// Generic-password items addressed by service and account. A query without a service matches
// items under any service; an item added without a service has none (stored as the empty
// service).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tandri {

class Keychain {
  public:
    virtual ~Keychain() = default;
    /// Deletes every item matching service (any when absent) and account, then adds the item;
    /// one atomic step. Answers whether the item was stored.
    virtual bool add(const std::optional<std::string>& service, const std::string& account,
                     const std::vector<std::uint8_t>& data) = 0;
    /// The data of the first item matching service (any when absent) and account, or absent.
    virtual std::optional<std::vector<std::uint8_t>> copyMatching(
        const std::optional<std::string>& service, const std::string& account) = 0;
    /// Deletes every item matching service (any when absent) and account.
    virtual void remove(const std::optional<std::string>& service, const std::string& account) = 0;
    /// Whether an item can be kept under exactly this account. A keyring whose names are
    /// C strings would make "a\0b" the item "a"; such a keychain refuses the name instead (its
    /// add fails, its lookups find nothing, its deletes delete nothing).
    virtual bool canName(const std::string& /*account*/) const { return true; }
};

}  // namespace tandri
