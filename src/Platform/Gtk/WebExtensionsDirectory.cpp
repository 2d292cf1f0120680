#include "Platform/Gtk/WebExtensionsDirectory.hpp"

#include <dlfcn.h>

#include <climits>
#include <cstdlib>
#include <string_view>

namespace tandri::gtk {

namespace {

// The file holding this code (the shared library, or the program the static library went into)
// as an absolute path without links: the loader may name it relatively or through a link.
std::string ownFile() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&webExtensionsDirectory), &info) == 0 ||
        info.dli_fname == nullptr) {
        return {};
    }
    char resolved[PATH_MAX];
    if (realpath(info.dli_fname, resolved) == nullptr) return {};
    return resolved;
}

}  // namespace

std::string webExtensionsDirectory() {
    const std::string file = ownFile();
    const std::string_view buildTree = TANDRI_BUILD_TREE "/";
    if (std::string_view(file).starts_with(buildTree)) return TANDRI_BUILD_WEB_EXTENSIONS_DIR;
#ifdef TANDRI_SHARED_LIBRARY
    if (const auto slash = file.rfind('/'); slash != std::string::npos) {
        return file.substr(0, slash + 1) + TANDRI_WEB_EXTENSIONS_SUBDIR;
    }
#endif
    return TANDRI_INSTALLED_WEB_EXTENSIONS_DIR;
}

}  // namespace tandri::gtk
