// Images of the library's own bundle by name: the resource "<name>.png", decoded once per
// process and shared.
#pragma once

#include <string>

#include "Core/Views/Bitmap.hpp"

namespace tandri {

/// The named image, or null when the bundle has no such resource or it does not decode.
BitmapRef imageNamed(const std::string& name);

}  // namespace tandri
