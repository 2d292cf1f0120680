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

/// The build's version, as text and as a number (major.minor); nothing inside the library reads
/// them.
extern const char* const TandriCheckoutSDKVersionString;
extern const double TandriCheckoutSDKVersionNumber;

}  // namespace tandri
