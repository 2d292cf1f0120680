#include "Platform/Desktop/ResourceBundle.hpp"

#include <gio/gio.h>

#include <memory>

// Made by glib-compile-resources from the images the build drew (cmake/CompileImages.cmake).
extern "C" GResource* tandri_images_get_resource(void);

namespace tandri::desktop {

std::optional<std::vector<std::uint8_t>> ResourceBundle::resource(const std::string& name) {
    if (!isPlainResourceName(name)) return std::nullopt;
    // Looked up in our own bundle, never in the process's registry, where anyone could add a
    // resource under the same path.
    const std::string path = "/tandri/images/" + name;
    std::unique_ptr<GBytes, decltype(&g_bytes_unref)> bytes(
        g_resource_lookup_data(tandri_images_get_resource(), path.c_str(),
                               G_RESOURCE_LOOKUP_FLAGS_NONE, nullptr),
        g_bytes_unref);
    if (!bytes) return std::nullopt;
    gsize size = 0;
    const auto* data = static_cast<const std::uint8_t*>(g_bytes_get_data(bytes.get(), &size));
    return std::vector<std::uint8_t>(data, data + size);
}

}  // namespace tandri::desktop
