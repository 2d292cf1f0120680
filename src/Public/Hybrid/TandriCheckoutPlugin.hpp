// The hybrid plugin's class-level version.
#pragma once

#include <optional>
#include <string>

namespace tandri {

class TandriCheckoutPlugin {
  public:
    /// The library's own short version ("CFBundleShortVersionString" of its bundle, which is the
    /// build's version), never the host application's; read on each call.
    static std::optional<std::string> SDK_VERSION();
};

}  // namespace tandri
