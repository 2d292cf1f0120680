// Turning image file bytes into pixels and pixels into PNG.
#pragma once

#include <cstdint>
#include <optional>

#include "Core/Views/Bitmap.hpp"
#include "Platform/Files.hpp"

namespace tandri {

/// The largest picture the library decodes: no side over 4096 pixels, no more than 16
/// megapixels. A page chooses what it sends, and a few hundred kilobytes can declare a picture
/// of gigabytes, so every codec reads the size from the header and refuses a bigger picture as
/// undecodable before it allocates anything.
inline constexpr std::int64_t kMaxImageSide = 4096;
inline constexpr std::int64_t kMaxImagePixels = 16'000'000;

inline bool imageWithinBudget(std::int64_t width, std::int64_t height) {
    return width > 0 && height > 0 && width <= kMaxImageSide && height <= kMaxImageSide &&
           width * height <= kMaxImagePixels;
}

class ImageCodec {
  public:
    virtual ~ImageCodec() = default;
    /// Decodes PNG, JPEG, GIF (first frame) or BMP into RGBA; absent for anything else and for
    /// a picture over the budget above.
    virtual std::optional<Bitmap> decode(const ByteBuffer& data) const = 0;
    /// Encodes as PNG; absent when the image is not valid.
    virtual std::optional<ByteBuffer> encodePNG(const Bitmap& image) const = 0;
};

}  // namespace tandri
