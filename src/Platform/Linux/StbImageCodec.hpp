// The image codec on Linux, over the stb image libraries.
#pragma once

#include "Platform/ImageCodec.hpp"

namespace tandri::linux_platform {

class StbImageCodec final : public ImageCodec {
  public:
    std::optional<Image> decode(const Bytes& data) const override;
    std::optional<Bytes> encodePNG(const Image& image) const override;
};

}  // namespace tandri::linux_platform
