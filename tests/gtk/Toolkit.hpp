#pragma once

// Where the tests touch the toolkit itself, the same for GTK 3 and GTK 4.

#include <gtk/gtk.h>

#include "Platform/Gtk/Widgets.hpp"

namespace tandri::gtk::testing {

using tandri::gtk::initToolkit;

// A shown top-level window holding `child`, drawn off screen where the toolkit can.
inline GtkWidget* showInWindow(GtkWidget* child) {
#if TANDRI_GTK_MAJOR == 4
    GtkWidget* window = gtk_window_new();
    gtk_window_set_child(GTK_WINDOW(window), child);
    gtk_window_present(GTK_WINDOW(window));
#else
    GtkWidget* window = gtk_offscreen_window_new();
    gtk_container_add(GTK_CONTAINER(window), child);
    gtk_widget_show_all(window);
#endif
    return window;
}

inline GtkWidget* windowChild(GtkWidget* window) {
#if TANDRI_GTK_MAJOR == 4
    return gtk_window_get_child(GTK_WINDOW(window));
#else
    return gtk_bin_get_child(GTK_BIN(window));
#endif
}

// Puts `child` in the shown window in place of the one it held.
inline void replaceWindowChild(GtkWidget* window, GtkWidget* child) {
#if TANDRI_GTK_MAJOR == 4
    gtk_window_set_child(GTK_WINDOW(window), child);
#else
    if (GtkWidget* old = gtk_bin_get_child(GTK_BIN(window))) {
        gtk_container_remove(GTK_CONTAINER(window), old);
    }
    gtk_container_add(GTK_CONTAINER(window), child);
    gtk_widget_show_all(window);
#endif
}

// `child` after the box's others, at its requested size, or taking what room is left.
inline void appendToBox(GtkWidget* box, GtkWidget* child, bool expand = false) {
#if TANDRI_GTK_MAJOR == 4
    gtk_widget_set_vexpand(child, expand);
    gtk_box_append(GTK_BOX(box), child);
#else
    gtk_box_pack_start(GTK_BOX(box), child, expand, expand, 0);
#endif
}

// How many hear the widget's input events besides its own class: handlers of its "event" signal
// on GTK 3 (1 for any), its event controllers on GTK 4.
inline unsigned inputListeners(GtkWidget* widget) {
#if TANDRI_GTK_MAJOR == 4
    GListModel* controllers = gtk_widget_observe_controllers(widget);
    const unsigned count = g_list_model_get_n_items(controllers);
    g_object_unref(controllers);
    return count;
#else
    const guint event = g_signal_lookup("event", GTK_TYPE_WIDGET);
    return g_signal_has_handler_pending(widget, event, 0, FALSE) ? 1 : 0;
#endif
}

inline void destroyWindow(GtkWidget* window) {
    tandri::gtk::destroyWindow(GTK_WINDOW(window));
}

}  // namespace tandri::gtk::testing
