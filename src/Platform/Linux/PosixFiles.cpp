#include "Platform/Linux/PosixFiles.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <vector>

namespace tandri::linux_platform {

namespace {
bool writeAll(int fd, const ByteBuffer& data) {
    std::size_t done = 0;
    while (done < data.size()) {
        ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

void syncDirectory(const std::string& directory) {
    int fd = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY);
    if (fd < 0) return;
    ::fsync(fd);
    ::close(fd);
}
}  // namespace

bool PosixFiles::createDirectories(const std::string& path) {
    if (path.empty()) return false;
    std::string current;
    std::size_t start = 0;
    while (true) {
        auto slash = path.find('/', start);
        current = path.substr(0, slash);
        if (!current.empty() && ::mkdir(current.c_str(), 0700) != 0 && errno != EEXIST) {
            return false;
        }
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool PosixFiles::writeAtomically(const std::string& path, const ByteBuffer& data) {
    std::string pattern = path + ".tmp-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    int fd = ::mkstemp(name.data());
    if (fd < 0) return false;
    bool ok = writeAll(fd, data) && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (ok) ok = ::rename(name.data(), path.c_str()) == 0;
    if (!ok) {
        ::unlink(name.data());
        return false;
    }
    syncDirectory(parentPath(path));
    return true;
}

std::optional<ByteBuffer> PosixFiles::read(const std::string& path) const {
    int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0) return std::nullopt;
    ByteBuffer out;
    std::uint8_t buffer[65536];
    while (true) {
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) continue;
            ::close(fd);
            return std::nullopt;
        }
        if (n == 0) break;
        out.insert(out.end(), buffer, buffer + n);
    }
    ::close(fd);
    return out;
}

bool PosixFiles::remove(const std::string& path) {
    return ::unlink(path.c_str()) == 0;
}

bool PosixFiles::exists(const std::string& path) const {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

}  // namespace tandri::linux_platform
