#pragma once

// The application life-cycle notifications of a desktop window: losing and
// regaining focus is resigning and becoming active, being minimised and
// restored is entering the background and the foreground.

#include <gtk/gtk.h>

namespace tandri::gtk {

class GtkLifecycle {
  public:
    /// Posts, on the default notification centre, the life-cycle notifications of `window`
    /// for as long as it lives.
    static void follow(GtkWindow* window);
};

}  // namespace tandri::gtk
