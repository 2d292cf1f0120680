#include "Platform/Linux/LinuxDevice.hpp"

#include <glib.h>
#include <sys/utsname.h>

#include <fstream>
#include <sstream>

#include "tandri/Version.hpp"

namespace tandri::linux_platform {

namespace {

std::optional<std::string> firstLine(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    if (!in || !std::getline(in, line)) return std::nullopt;
    while (!line.empty() && (line.back() == '\n' || line.back() == ' ')) line.pop_back();
    if (line.empty()) return std::nullopt;
    return line;
}

/// The value of `key` in an os-release file, without its quotes.
std::optional<std::string> osReleaseValue(const std::string& path, const std::string& key) {
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind(key + "=", 0) != 0) continue;
        std::string value = line.substr(key.size() + 1);
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
            value.back() == value.front()) {
            value = value.substr(1, value.size() - 2);
        }
        if (!value.empty()) return value;
    }
    return std::nullopt;
}

}  // namespace

LinuxDevice::LinuxDevice(std::string vendor, std::string osReleasePath, std::string machineIdPath)
    : vendor_(std::move(vendor)),
      osReleasePath_(std::move(osReleasePath)),
      machineIdPath_(std::move(machineIdPath)) {}

std::string LinuxDevice::systemVersion() {
    if (auto version = osReleaseValue(osReleasePath_, "VERSION_ID")) return *version;
    utsname name{};
    return uname(&name) == 0 ? name.release : "";
}

std::string LinuxDevice::model() {
    if (auto product = firstLine("/sys/class/dmi/id/product_name")) return *product;
    utsname name{};
    return std::string("Linux ") + (uname(&name) == 0 ? name.machine : "");
}

std::string LinuxDevice::identifierForVendor() {
    std::string machine =
        firstLine(machineIdPath_).value_or(firstLine("/var/lib/dbus/machine-id").value_or(""));
    std::string input = "tandri-vendor-id\n" + machine + "\n" + vendor_;
    guint8 digest[32];
    gsize length = sizeof digest;
    GChecksum* sha = g_checksum_new(G_CHECKSUM_SHA256);
    g_checksum_update(sha, reinterpret_cast<const guchar*>(input.data()),
                      static_cast<gssize>(input.size()));
    g_checksum_get_digest(sha, digest, &length);
    g_checksum_free(sha);
    // Shaped as a version-4 UUID, the form such identifiers take.
    digest[6] = static_cast<guint8>((digest[6] & 0x0f) | 0x40);
    digest[8] = static_cast<guint8>((digest[8] & 0x3f) | 0x80);
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) out.push_back('-');
        out.push_back(hex[digest[i] >> 4]);
        out.push_back(hex[digest[i] & 0x0f]);
    }
    return out;
}

std::optional<std::string> HostInfoBundle::libraryShortVersion() {
    return kSDKVersion;
}

std::optional<std::string> HostInfoBundle::hostShortVersion() {
    const Value* version = hostInfo_.find("CFBundleShortVersionString");
    if (version == nullptr || !version->isString()) return std::nullopt;
    return version->asString();
}

std::optional<Value> HostInfoBundle::hostInfoValue(const std::string& key) {
    const Value* value = hostInfo_.find(key);
    if (value == nullptr) return std::nullopt;
    return *value;
}

bool HostInfoBundle::isPlainResourceName(const std::string& name) {
    return !name.empty() && name.front() != '.' && name.find('/') == std::string::npos;
}

std::optional<std::vector<std::uint8_t>> DirectoryBundle::resource(const std::string& name) {
    if (!isPlainResourceName(name)) return std::nullopt;
    std::ifstream in(resourceDirectory_ + "/" + name, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream bytes;
    bytes << in.rdbuf();
    const std::string data = bytes.str();
    return std::vector<std::uint8_t>(data.begin(), data.end());
}

}  // namespace tandri::linux_platform
