// Opening a URL outside the application (the system browser or the app that handles it).
#pragma once

#include <string>

namespace tandri {

class URLOpener {
  public:
    virtual ~URLOpener() = default;
    virtual void openURL(const std::string& url) = 0;
};

}  // namespace tandri
