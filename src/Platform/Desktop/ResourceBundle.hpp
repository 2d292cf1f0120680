#pragma once

// The library's bundle on the desktop: its images are compiled into the platform library (a
// GResource bundle made at build time), so an installed library needs no files of its own besides
// itself.

#include "Platform/Linux/LinuxDevice.hpp"

namespace tandri::desktop {

class ResourceBundle final : public linux_platform::HostInfoBundle {
  public:
    /// `hostInfo` is the host's information record ("CFBundleShortVersionString", …).
    explicit ResourceBundle(Dictionary hostInfo) : HostInfoBundle(std::move(hostInfo)) {}

    /// "close.png", "mini_tandri_checkout.png", "square_animation<N>.png".
    std::optional<std::vector<std::uint8_t>> resource(const std::string& name) override;
};

}  // namespace tandri::desktop
