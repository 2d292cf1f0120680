#pragma once

// Draws the core's view tree with cairo. Web views are real widgets placed
// over the drawing, so a tree is painted in two layers: what lies under the
// first web-view host, and what lies over it (a transition spinner, a blur).

#include <cairo.h>

#include "Core/Views/View.hpp"

namespace tandri::desktop {

enum class PaintLayer { All, UnderWebView, OverWebView };

/// Paints `root` (at the origin, in its own coordinates) as it looks `seconds`
/// into its animations.
void paintViewTree(cairo_t* cr, const View& root, double seconds, PaintLayer layer);

/// The deepest visible view that takes touches at `point` (root coordinates),
/// or null.
std::shared_ptr<View> hitTest(const std::shared_ptr<View>& root, double x, double y);

/// Performs a tap at `point`: the hit view's button action, the cancel item of
/// a navigation bar, or the first gesture recogniser up the chain. Answers
/// whether anything took the tap.
bool performTap(const std::shared_ptr<View>& root, double x, double y);

/// Whether anything in the tree moves by itself (a frame animation, a spinner).
bool isAnimating(const View& root);

}  // namespace tandri::desktop
