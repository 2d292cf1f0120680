#include "Platform/Linux/StbImageCodec.hpp"

#include <stb/stb_image.h>
#include <stb/stb_image_write.h>

#include <climits>

namespace tandri::linux_platform {

std::optional<Bitmap> StbImageCodec::decode(const ByteBuffer& data) const {
    if (data.empty() || data.size() > static_cast<std::size_t>(INT_MAX)) return std::nullopt;
    int width = 0, height = 0, channels = 0;
    // The header first: a picture over the budget is refused before stb allocates for it.
    if (!stbi_info_from_memory(data.data(), static_cast<int>(data.size()), &width, &height,
                               &channels) ||
        !imageWithinBudget(width, height)) {
        return std::nullopt;
    }
    stbi_uc* pixels = stbi_load_from_memory(data.data(), static_cast<int>(data.size()), &width,
                                            &height, &channels, 4);
    if (!pixels) return std::nullopt;
    if (!imageWithinBudget(width, height)) {  // never, unless the two readings disagree
        stbi_image_free(pixels);
        return std::nullopt;
    }
    Bitmap image;
    image.width = width;
    image.height = height;
    image.rgba.assign(pixels, pixels + static_cast<std::size_t>(width) * height * 4);
    stbi_image_free(pixels);
    return image;
}

namespace {
void appendTo(void* context, void* data, int size) {
    auto* out = static_cast<ByteBuffer*>(context);
    auto* bytes = static_cast<const std::uint8_t*>(data);
    out->insert(out->end(), bytes, bytes + size);
}
}  // namespace

std::optional<ByteBuffer> StbImageCodec::encodePNG(const Bitmap& image) const {
    if (!image.isValid()) return std::nullopt;
    ByteBuffer out;
    int ok = stbi_write_png_to_func(appendTo, &out, image.width, image.height, 4, image.rgba.data(),
                                    image.width * 4);
    if (!ok) return std::nullopt;
    return out;
}

}  // namespace tandri::linux_platform
