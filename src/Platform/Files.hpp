// The files the library keeps for itself, under the application-support directory. Paths are
// absolute, '/'-separated.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tandri {

using ByteBuffer = std::vector<std::uint8_t>;

class Files {
  public:
    virtual ~Files() = default;
    /// The per-application directory for data the application keeps; it need not exist yet.
    virtual std::string applicationSupportDirectory() const = 0;
    /// Creates `path` and any missing parents; answers whether it exists as a directory after.
    virtual bool createDirectories(const std::string& path) = 0;
    /// Replaces the file at `path` with `data` so that a reader sees the old or the new contents,
    /// never a part. The directory must exist. Answers whether the write succeeded.
    virtual bool writeAtomically(const std::string& path, const ByteBuffer& data) = 0;
    /// The file's contents; absent when it does not exist or cannot be read.
    virtual std::optional<ByteBuffer> read(const std::string& path) const = 0;
    /// Removes a file; answers whether one was there and is gone.
    virtual bool remove(const std::string& path) = 0;
    virtual bool exists(const std::string& path) const = 0;
};

/// `directory` and `name` joined with one '/'.
inline std::string joinPath(const std::string& directory, const std::string& name) {
    if (directory.empty()) return name;
    if (directory.back() == '/') return directory + name;
    return directory + "/" + name;
}

/// Everything before the last '/', or empty.
inline std::string parentPath(const std::string& path) {
    auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return {};
    return slash == 0 ? std::string("/") : path.substr(0, slash);
}

}  // namespace tandri
