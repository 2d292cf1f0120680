#include "Public/Hybrid/TandriCheckoutPlugin.hpp"

#include "Platform/Platform.hpp"
#include "tandri/Version.hpp"

namespace tandri {

std::optional<std::string> TandriCheckoutPlugin::SDK_VERSION() {
    auto& bundle = Platform::current().bundle;
    if (!bundle) return std::string(kSDKVersion);
    return bundle->libraryShortVersion();
}

}  // namespace tandri
