// Turns the constraints stored in a view tree into frames, so that a platform without a layout
// engine of its own can draw the tree and hit-test it.
#pragma once

#include <optional>

#include "Core/Views/Geometry.hpp"
#include "Core/Views/View.hpp"

namespace tandri {

/// The natural size of a view that has one: an image view's image (or first animation frame), a
/// button's image plus its content insets, an activity indicator's spinner, a navigation bar's
/// height. Components without a natural value are absent.
struct IntrinsicSize {
    std::optional<double> width;
    std::optional<double> height;
};
IntrinsicSize intrinsicSizeOf(const View& view);

/// Lays out the tree under `root`, which takes `bounds` as its new frame.
///
/// Views that translate their autoresizing mask keep their frames, grown with their superview
/// where the mask says flexible width or height. The others are placed by the active equality
/// constraints that name them as first item (constraints may be held by any view of the tree),
/// falling back to their intrinsic size and then to their old frame for what no constraint
/// fixes. `safeArea` insets the root's safe-area guide; a deeper view's guide is its own rectangle
/// clipped to the root's guide. Inequalities are not solved: they are left to the platforms
/// that have a real solver.
void layoutViewTree(View& root, Rect bounds, EdgeInsets safeArea = {});

/// A rectangle of `view` in the coordinates of the tree's root.
Rect frameInRoot(const View& view);

}  // namespace tandri
