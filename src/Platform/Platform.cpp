#include "Platform/Platform.hpp"

#include <chrono>
#include <iostream>

#include "Core/Utils/URL.hpp"

namespace tandri {

void StandardErrorLog::write(std::string_view line) {
    std::string out(line);
    out.push_back('\n');
    std::cerr << out << std::flush;
}

namespace {
Platform defaults() {
    Platform p;
    p.systemLog = std::make_shared<StandardErrorLog>();
    p.biometrics = std::make_shared<NoBiometrics>();
    p.clock = std::make_shared<SystemClock>();
    return p;
}
}  // namespace

Platform& Platform::current() {
    static Platform ports = defaults();
    return ports;
}

void Platform::install(Platform ports) {
    if (!ports.systemLog) ports.systemLog = std::make_shared<StandardErrorLog>();
    if (!ports.biometrics) ports.biometrics = std::make_shared<NoBiometrics>();
    if (!ports.clock) ports.clock = std::make_shared<SystemClock>();
    current() = std::move(ports);
}

double SystemClock::now() const {
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count();
}

namespace {
std::string lowered(std::string text) {
    for (auto& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

// The path of an absolute URL: from the first '/' after the authority up to '?' or '#'.
std::string pathOf(const std::string& url) {
    auto scheme = url.find("://");
    auto start = scheme == std::string::npos ? 0 : scheme + 3;
    auto slash = url.find_first_of("/?#", start);
    if (slash == std::string::npos || url[slash] != '/') return "/";
    auto end = url.find_first_of("?#", slash);
    return url.substr(slash, end == std::string::npos ? std::string::npos : end - slash);
}
}  // namespace

bool cookieMatchesURL(const Cookie& cookie, const std::string& url) {
    auto parsed = URL::parse(url);
    if (!parsed || !parsed->host() || parsed->host()->empty()) return false;
    if (cookie.secure && lowered(parsed->scheme()) != "https") return false;
    auto host = lowered(*parsed->host());
    auto domain = lowered(cookie.domain);
    if (!domain.empty() && domain.front() == '.') domain.erase(0, 1);
    if (domain.empty()) return false;
    bool domainOK = host == domain || (host.size() > domain.size() && host.ends_with(domain) &&
                                       host[host.size() - domain.size() - 1] == '.');
    if (!domainOK) return false;
    auto path = pathOf(url);
    const auto& cp = cookie.path.empty() ? std::string("/") : cookie.path;
    if (!path.starts_with(cp)) return false;
    return path.size() == cp.size() || cp.back() == '/' || path[cp.size()] == '/';
}

}  // namespace tandri
