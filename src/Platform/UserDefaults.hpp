// The application's preferences: property-list values by key.
#pragma once

#include <optional>
#include <string>

#include "tandri/Value.hpp"

namespace tandri {

class UserDefaults {
  public:
    virtual ~UserDefaults() = default;
    virtual std::optional<Value> objectForKey(const std::string& key) = 0;
    /// Answers whether the value was stored.
    virtual bool setObject(const std::string& key, const Value& value) = 0;
    virtual void removeObject(const std::string& key) = 0;
};

}  // namespace tandri
