// A decoded picture: 8-bit RGBA pixels, row by row, top row first.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Core/Views/Geometry.hpp"

namespace tandri {

struct Bitmap {
    int width = 0;
    int height = 0;
    /// width × height × 4 bytes.
    std::vector<std::uint8_t> rgba;
    /// The asset name it was loaded under, if any.
    std::string name;

    Size size() const { return {static_cast<double>(width), static_cast<double>(height)}; }
    bool isValid() const {
        return width > 0 && height > 0 &&
               rgba.size() ==
                   static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
    }
};

using BitmapRef = std::shared_ptr<const Bitmap>;

}  // namespace tandri
