#include "Platform/Simulated/SimulatedPorts.hpp"

#include <algorithm>

namespace tandri::sim {

bool SimulatedFiles::createDirectories(const std::string& path) {
    if (path.empty() || path.front() != '/') return false;
    std::string current;
    std::size_t start = 1;
    while (start <= path.size()) {
        auto slash = path.find('/', start);
        auto part =
            path.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (!part.empty()) {
            current += "/" + part;
            if (files_.count(current)) return false;  // a file is in the way
            directories_.insert(current);
        }
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    return true;
}

bool SimulatedFiles::writeAtomically(const std::string& path, const ByteBuffer& data) {
    if (failWrites_ || directories_.count(path)) return false;
    if (!directories_.count(parentPath(path))) return false;
    files_[path] = data;
    return true;
}

std::optional<ByteBuffer> SimulatedFiles::read(const std::string& path) const {
    auto it = files_.find(path);
    if (it == files_.end()) return std::nullopt;
    return it->second;
}

bool SimulatedFiles::remove(const std::string& path) {
    return files_.erase(path) > 0;
}

bool SimulatedFiles::exists(const std::string& path) const {
    return files_.count(path) > 0 || directories_.count(path) > 0;
}

namespace {
constexpr std::uint8_t kMagic[4] = {'S', 'I', 'M', 'G'};

void putU32(ByteBuffer& out, std::uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>(v >> shift));
}
std::uint32_t getU32(const ByteBuffer& in, std::size_t at) {
    std::uint32_t v = 0;
    for (std::size_t i = 0; i < 4; ++i) v = (v << 8) | in[at + i];
    return v;
}
}  // namespace

std::optional<Bitmap> SimulatedImageCodec::decode(const ByteBuffer& data) const {
    if (data.size() < 12 || !std::equal(kMagic, kMagic + 4, data.begin())) return std::nullopt;
    auto width = getU32(data, 4);
    auto height = getU32(data, 8);
    if (!imageWithinBudget(width, height)) return std::nullopt;
    std::size_t size = static_cast<std::size_t>(width) * height * 4;
    if (data.size() != 12 + size) return std::nullopt;
    Bitmap image;
    image.width = static_cast<int>(width);
    image.height = static_cast<int>(height);
    image.rgba.assign(data.begin() + 12, data.end());
    return image;
}

std::optional<ByteBuffer> SimulatedImageCodec::encodePNG(const Bitmap& image) const {
    if (!image.isValid()) return std::nullopt;
    ByteBuffer out(kMagic, kMagic + 4);
    putU32(out, static_cast<std::uint32_t>(image.width));
    putU32(out, static_cast<std::uint32_t>(image.height));
    out.insert(out.end(), image.rgba.begin(), image.rgba.end());
    return out;
}

std::vector<Cookie> SimulatedCookies::cookiesForURL(const std::string& url) const {
    std::vector<Cookie> out;
    for (const auto& c : cookies_) {
        if (cookieMatchesURL(c, url)) out.push_back(c);
    }
    return out;
}

void SimulatedCookies::setCookie(const Cookie& cookie) {
    if (policy_ == CookieAcceptPolicy::Never) return;
    deleteCookie(cookie);
    cookies_.push_back(cookie);
}

void SimulatedCookies::deleteCookie(const Cookie& cookie) {
    std::erase_if(cookies_, [&](const Cookie& c) {
        return c.name == cookie.name && c.domain == cookie.domain && c.path == cookie.path;
    });
}

}  // namespace tandri::sim
