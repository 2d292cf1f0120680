#pragma once

// The view-tree painter is shared with the other desktop platforms (Platform/Desktop).

#include "Platform/Desktop/ViewPainter.hpp"

namespace tandri::gtk {
using desktop::hitTest;
using desktop::isAnimating;
using desktop::PaintLayer;
using desktop::paintViewTree;
using desktop::performTap;
}  // namespace tandri::gtk
