#pragma once

// Opening a URL outside the application with the desktop's handler for it (the default browser
// for https). A URL nothing handles is logged.

#include "Platform/URLOpener.hpp"

namespace tandri::qt {

class QtURLOpener final : public URLOpener {
  public:
    void openURL(const std::string& url) override;
};

}  // namespace tandri::qt
