#pragma once

// Where the web engine finds the library's web-process module.

#include <string>

namespace tandri::gtk {

/// `tandri-1/web-extensions` beside the file libtandri-gtk was loaded from, which is where both an
/// installation and the build tree put it. A program linked with the static library finds the
/// build tree's directory when it runs from the build tree, else the installed one.
std::string webExtensionsDirectory();

}  // namespace tandri::gtk
