#pragma once

// What a toolkit's widget needs to know of the core's view tree it shows, the same on every
// toolkit: whether it looks different since the last look, and which web views it hosts where.

#include <cstdint>
#include <memory>
#include <vector>

#include "Core/Views/View.hpp"
#include "Platform/WebView.hpp"

namespace tandri::desktop {

/// A cheap fingerprint of what a tree looks like, to redraw only on change.
std::uint64_t fingerprintOf(const View& root);

/// A web view the tree hosts, with where it goes (root coordinates) and whether it shows.
struct HostedWebView {
    std::shared_ptr<WebView> webView;
    Rect frame;
    bool visible;
    bool interactive;  // false when it or a view above it takes no touches
};

/// The tree's web views, in drawing order.
std::vector<HostedWebView> hostedWebViews(const View& root);

/// How far into their animations trees are drawn now, in seconds (one clock for every widget).
double animationSeconds();

}  // namespace tandri::desktop
