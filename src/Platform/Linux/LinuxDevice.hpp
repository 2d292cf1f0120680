// What a Linux desktop says about itself, and the library's and host's bundles as a resource
// directory and the host's own information record.
#pragma once

#include <string>

#include "Platform/Device.hpp"
#include "tandri/Value.hpp"

namespace tandri::linux_platform {

class LinuxDevice final : public Device {
  public:
    /// `vendor` names the maker of the host application: hosts of one vendor see one identifier.
    explicit LinuxDevice(std::string vendor, std::string osReleasePath = "/etc/os-release",
                         std::string machineIdPath = "/etc/machine-id");

    /// VERSION_ID of the distribution ("12"), else the kernel release.
    std::string systemVersion() override;
    /// The machine's product name from its firmware, else "Linux <architecture>".
    std::string model() override;
    /// A UUID derived from the machine id and the vendor with SHA-256: stable across runs and
    /// reinstalls, different per vendor, and not revealing the machine id itself.
    std::string identifierForVendor() override;
    DeviceIdiom idiom() override { return DeviceIdiom::Desktop; }

  private:
    std::string vendor_;
    std::string osReleasePath_;
    std::string machineIdPath_;
};

/// The library's bundle on Linux without its resources: the library's version and the host's
/// information record ("CFBundleShortVersionString", "NSFaceIDUsageDescription", …).
class HostInfoBundle : public Bundle {
  public:
    explicit HostInfoBundle(Dictionary hostInfo) : hostInfo_(std::move(hostInfo)) {}

    std::optional<std::string> libraryShortVersion() override;
    std::optional<std::string> hostShortVersion() override;
    std::optional<Value> hostInfoValue(const std::string& key) override;

  protected:
    /// A resource's name is one plain file name: empty, a path separator or a leading dot
    /// finds nothing.
    static bool isPlainResourceName(const std::string& name);

  private:
    Dictionary hostInfo_;
};

class DirectoryBundle final : public HostInfoBundle {
  public:
    /// Resources are the files of `resourceDirectory`.
    DirectoryBundle(std::string resourceDirectory, Dictionary hostInfo)
        : HostInfoBundle(std::move(hostInfo)), resourceDirectory_(std::move(resourceDirectory)) {}

    std::optional<std::vector<std::uint8_t>> resource(const std::string& name) override;

  private:
    std::string resourceDirectory_;
};

}  // namespace tandri::linux_platform
