#include "Core/Views/ImageAssets.hpp"

#include <map>
#include <mutex>

#include "Platform/Platform.hpp"

namespace tandri {

BitmapRef imageNamed(const std::string& name) {
    static std::mutex mutex;
    static std::map<std::string, BitmapRef> cache;
    static const Bundle* cachedFrom = nullptr;

    const auto& ports = Platform::current();
    if (!ports.bundle || !ports.imageCodec) return nullptr;
    std::lock_guard lock(mutex);
    if (cachedFrom != ports.bundle.get()) {  // another bundle, another set of images
        cache.clear();
        cachedFrom = ports.bundle.get();
    }
    if (auto it = cache.find(name); it != cache.end()) return it->second;
    auto bytes = ports.bundle->resource(name + ".png");
    if (!bytes) return nullptr;
    auto bitmap = ports.imageCodec->decode(*bytes);
    if (!bitmap) return nullptr;
    bitmap->name = name;
    auto image = std::make_shared<const Bitmap>(std::move(*bitmap));
    cache.emplace(name, image);
    return image;
}

}  // namespace tandri
