#include "Platform/Gtk/GtkLifecycle.hpp"

#include "Platform/Desktop/Lifecycle.hpp"

namespace tandri::gtk {

namespace {

desktop::WindowState* stateOf(GtkWindow* window) {
    return static_cast<desktop::WindowState*>(g_object_get_data(G_OBJECT(window), "tandri-life"));
}

void onActive(GObject* object, GParamSpec*, gpointer) {
    auto* window = GTK_WINDOW(object);
    desktop::WindowState next = *stateOf(window);
    next.active = gtk_window_is_active(window) != FALSE;
    desktop::transition(*stateOf(window), next);
}

void setMinimised(GtkWindow* window, bool minimised) {
    desktop::WindowState next = *stateOf(window);
    next.minimised = minimised;
    desktop::transition(*stateOf(window), next);
}

#if TANDRI_GTK_MAJOR == 4
// GTK 4 tells a window's state on its surface, which it has once realized.
void onSurfaceState(GObject* surface, GParamSpec*, gpointer window) {
    setMinimised(GTK_WINDOW(window), (gdk_toplevel_get_state(GDK_TOPLEVEL(surface)) &
                                      GDK_TOPLEVEL_STATE_MINIMIZED) != 0);
}

void onRealize(GtkWidget* widget, gpointer) {
    GdkSurface* surface = gtk_native_get_surface(GTK_NATIVE(widget));
    if (surface == nullptr || !GDK_IS_TOPLEVEL(surface)) return;
    g_signal_connect_object(surface, "notify::state", G_CALLBACK(onSurfaceState), widget,
                            GConnectFlags{});
}
#else
gboolean onWindowState(GtkWidget* widget, GdkEventWindowState* event, gpointer) {
    setMinimised(GTK_WINDOW(widget), (event->new_window_state & GDK_WINDOW_STATE_ICONIFIED) != 0);
    return FALSE;
}
#endif

}  // namespace

void GtkLifecycle::follow(GtkWindow* window) {
    if (stateOf(window) != nullptr) return;
    auto* state = new desktop::WindowState{gtk_window_is_active(window) != FALSE, false};
    g_object_set_data_full(G_OBJECT(window), "tandri-life", state,
                           [](gpointer data) { delete static_cast<desktop::WindowState*>(data); });
    g_signal_connect(window, "notify::is-active", G_CALLBACK(onActive), nullptr);
#if TANDRI_GTK_MAJOR == 4
    if (gtk_widget_get_realized(GTK_WIDGET(window))) onRealize(GTK_WIDGET(window), nullptr);
    g_signal_connect(window, "realize", G_CALLBACK(onRealize), nullptr);
#else
    g_signal_connect(window, "window-state-event", G_CALLBACK(onWindowState), nullptr);
#endif
}

}  // namespace tandri::gtk
