#include "Platform/WebView.hpp"

#include <strings.h>

namespace tandri {

void URLRequest::addValue(const std::string& value, const std::string& field) {
    for (auto& [name, existing] : headers) {
        if (strcasecmp(name.c_str(), field.c_str()) == 0) {
            existing += ", " + value;
            return;
        }
    }
    headers.emplace_back(field, value);
}

std::optional<std::string> URLRequest::valueForField(const std::string& field) const {
    for (const auto& [name, value] : headers) {
        if (strcasecmp(name.c_str(), field.c_str()) == 0) return value;
    }
    return std::nullopt;
}

}  // namespace tandri
