#include "Platform/Platform.hpp"

#include <iostream>

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
    current() = std::move(ports);
}

}  // namespace tandri
