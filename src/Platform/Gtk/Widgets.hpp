#pragma once

// Where the platform changes the toolkit's widget tree, the same for GTK 3 and GTK 4.

#include <gtk/gtk.h>

namespace tandri::gtk {

#if TANDRI_GTK_MAJOR == 4
// Takes `widget` out of whatever holds it. GTK 4 has no common container: a parent that keeps its
// child apart from the widget tree (a window, a stack's page) must be told by its own call; a
// box, a fixed or a widget of our own holds its children only as the tree's, and unparenting is
// all their removal does. (A view placed in another kind of parent needs its call here.)
inline void removeFromParent(GtkWidget* widget) {
    GtkWidget* parent = gtk_widget_get_parent(widget);
    if (parent == nullptr) return;
    if (GTK_IS_WINDOW(parent)) {
        gtk_window_set_child(GTK_WINDOW(parent), nullptr);
    } else if (GTK_IS_STACK(parent)) {
        gtk_stack_remove(GTK_STACK(parent), widget);
    } else {
        gtk_widget_unparent(widget);
    }
}
#endif

// Takes `widget` out of its parent and disposes of it now, whoever else still holds a reference,
// as GTK 3's destroy does. The caller's own reference stays the caller's to drop.
inline void destroyWidget(GtkWidget* widget) {
#if TANDRI_GTK_MAJOR == 4
    removeFromParent(widget);
    g_object_run_dispose(G_OBJECT(widget));
#else
    gtk_widget_destroy(widget);
#endif
}

}  // namespace tandri::gtk
