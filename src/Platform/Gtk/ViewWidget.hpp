#pragma once

// A GTK widget that shows a core view tree: the tree drawn with cairo, the web
// views it hosts placed over the drawing as real widgets. The tree's root takes
// the widget's allocation as its frame, so a host lays the widget out like any
// other (the checkout button packed into a box, say); clicks become taps on the
// tree. The widget keeps its tree alive while it exists and redraws only when
// the tree looks different or something in it moves by itself.

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <string>

#include "Core/Views/View.hpp"

namespace tandri::gtk {

class ViewWidget {
  public:
    /// A new widget showing `root` (a floating reference, as GTK widgets are), asking for
    /// `naturalWidth` × `naturalHeight` and taking whatever it is given.
    static GtkWidget* create(std::shared_ptr<View> root, int naturalWidth, int naturalHeight);
    /// The tree a widget shows; null for any other widget.
    static std::shared_ptr<View> root(GtkWidget* widget);

    /// Brings the widget in line with its tree now: layout to its allocation (to its natural
    /// size before it has one), web-view placement, redraw if anything changed. Runs by itself
    /// every frame.
    static void sync(GtkWidget* widget);
    /// The same, laid out to `width` × `height`.
    static void sync(GtkWidget* widget, int width, int height);
    /// A tap at widget coordinates, as a click there does; answers whether anything took it.
    static bool tap(GtkWidget* widget, double x, double y);
    /// Writes what the widget shows, its web views included, as a PNG at `path`; `done` learns
    /// whether it was written.
    static void writeSnapshot(GtkWidget* widget, const std::string& path,
                              std::function<void(bool)> done);
    /// The same for widgets that are not a view tree (a host's own content): `background`'s
    /// style paints first, then the widgets, then each web view among them as its engine shows it.
    static void writeContentSnapshot(GtkWidget* content, GtkWidget* background,
                                     const std::string& path, std::function<void(bool)> done);

    /// How far into their animations trees are drawn now, in seconds.
    static double animationSeconds();
};

}  // namespace tandri::gtk
