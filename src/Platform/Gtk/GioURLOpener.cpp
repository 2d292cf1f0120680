#include "Platform/Gtk/GioURLOpener.hpp"

#include <gio/gio.h>

#include "Core/Utils/Logging.hpp"

namespace tandri::gtk {

void GioURLOpener::openURL(const std::string& url) {
    GError* error = nullptr;
    if (!g_app_info_launch_default_for_uri(url.c_str(), nullptr, &error)) {
        logInProduction("Could not open " + url + ": " +
                        (error != nullptr ? error->message : "no application for it"));
    }
    if (error != nullptr) g_error_free(error);
}

}  // namespace tandri::gtk
