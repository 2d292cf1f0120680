// Turning image file bytes into pixels and pixels into PNG.
#pragma once

#include <optional>

#include "Core/Views/Bitmap.hpp"
#include "Platform/Files.hpp"

namespace tandri {

class ImageCodec {
  public:
    virtual ~ImageCodec() = default;
    /// Decodes PNG, JPEG, GIF (first frame) or BMP into RGBA; absent for anything else.
    virtual std::optional<Bitmap> decode(const ByteBuffer& data) const = 0;
    /// Encodes as PNG; absent when the image is not valid.
    virtual std::optional<ByteBuffer> encodePNG(const Bitmap& image) const = 0;
};

}  // namespace tandri
