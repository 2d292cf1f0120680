// Files on a POSIX file system, rooted at a given application-support directory.
#pragma once

#include "Platform/Files.hpp"

namespace tandri::linux_platform {

class PosixFiles final : public Files {
  public:
    /// `applicationSupport` is typically $XDG_DATA_HOME/<application>.
    explicit PosixFiles(std::string applicationSupport)
        : applicationSupport_(std::move(applicationSupport)) {}

    std::string applicationSupportDirectory() const override { return applicationSupport_; }
    bool createDirectories(const std::string& path) override;
    /// Writes a temporary file beside the target, flushes it to disk, renames it over the
    /// target and flushes the directory.
    bool writeAtomically(const std::string& path, const ByteBuffer& data) override;
    std::optional<ByteBuffer> read(const std::string& path) const override;
    bool remove(const std::string& path) override;
    bool exists(const std::string& path) const override;

  private:
    std::string applicationSupport_;
};

}  // namespace tandri::linux_platform
