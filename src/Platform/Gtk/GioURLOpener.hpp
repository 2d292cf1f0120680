#pragma once

// Opening a URL outside the application with the desktop's handler for it
// (the default browser for https). A URL nothing handles is logged.

#include "Platform/URLOpener.hpp"

namespace tandri::gtk {

class GioURLOpener final : public URLOpener {
  public:
    void openURL(const std::string& url) override;
};

}  // namespace tandri::gtk
