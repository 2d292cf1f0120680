// What the device says about itself, and the bundles of the library and of the host.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tandri/Value.hpp"

namespace tandri {

enum class DeviceIdiom : int { Unspecified = -1, Phone = 0, Pad = 1, Desktop = 5 };

class Device {
  public:
    virtual ~Device() = default;
    virtual std::string systemVersion() = 0;
    virtual std::string model() = 0;
    /// The vendor identifier as UUID text.
    virtual std::string identifierForVendor() = 0;
    virtual DeviceIdiom idiom() = 0;
};

class Bundle {
  public:
    virtual ~Bundle() = default;
    /// "CFBundleShortVersionString" of the library's own bundle.
    virtual std::optional<std::string> libraryShortVersion() = 0;
    /// "CFBundleShortVersionString" of the host application.
    virtual std::optional<std::string> hostShortVersion() = 0;
    /// An entry of the host application's information dictionary.
    virtual std::optional<Value> hostInfoValue(const std::string& key) = 0;
    /// The bytes of a resource of the library's bundle.
    virtual std::optional<std::vector<std::uint8_t>> resource(const std::string& name) = 0;
};

}  // namespace tandri
