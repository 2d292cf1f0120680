// Process-wide settings of the native entry point.
#pragma once

#include <optional>

#include "Core/Utils/URL.hpp"

namespace tandri {

class TandriCheckoutSDK {
  public:
    /// The merchant's marketing URL; none until set, replaced on each set.
    static const std::optional<URL>& marketingUrl();
    static void setMarketingUrl(std::optional<URL> url);
};

}  // namespace tandri
