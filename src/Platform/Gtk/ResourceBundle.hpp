#pragma once

// The images bundle is shared with the other desktop platforms (Platform/Desktop).

#include "Platform/Desktop/ResourceBundle.hpp"

namespace tandri::gtk {
using desktop::ResourceBundle;
}  // namespace tandri::gtk
