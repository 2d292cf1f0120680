// The image codec on Linux, over the stb image libraries.
#pragma once

#include "Platform/ImageCodec.hpp"

namespace tandri::linux_platform {

class StbImageCodec final : public ImageCodec {
  public:
    std::optional<Bitmap> decode(const ByteBuffer& data) const override;
    std::optional<ByteBuffer> encodePNG(const Bitmap& image) const override;
};

}  // namespace tandri::linux_platform
