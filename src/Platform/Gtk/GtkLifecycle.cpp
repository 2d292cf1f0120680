#include "Platform/Gtk/GtkLifecycle.hpp"

#include "Core/Utils/NotificationCenter.hpp"

namespace tandri::gtk {

namespace {

GtkLifecycle::State* stateOf(GtkWindow* window) {
    return static_cast<GtkLifecycle::State*>(g_object_get_data(G_OBJECT(window), "tandri-life"));
}

void onActive(GObject* object, GParamSpec*, gpointer) {
    auto* window = GTK_WINDOW(object);
    GtkLifecycle::State next = *stateOf(window);
    next.active = gtk_window_is_active(window) != FALSE;
    GtkLifecycle::transition(*stateOf(window), next);
}

void setMinimised(GtkWindow* window, bool minimised) {
    GtkLifecycle::State next = *stateOf(window);
    next.minimised = minimised;
    GtkLifecycle::transition(*stateOf(window), next);
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
    auto* state = new State{gtk_window_is_active(window) != FALSE, false};
    g_object_set_data_full(G_OBJECT(window), "tandri-life", state,
                           [](gpointer data) { delete static_cast<State*>(data); });
    g_signal_connect(window, "notify::is-active", G_CALLBACK(onActive), nullptr);
#if TANDRI_GTK_MAJOR == 4
    if (gtk_widget_get_realized(GTK_WIDGET(window))) onRealize(GTK_WIDGET(window), nullptr);
    g_signal_connect(window, "realize", G_CALLBACK(onRealize), nullptr);
#else
    g_signal_connect(window, "window-state-event", G_CALLBACK(onWindowState), nullptr);
#endif
}

void GtkLifecycle::transition(State& state, State next) {
    auto& center = NotificationCenter::defaultCenter();
    if (state.active && !next.active) {
        center.post(NotificationName::ApplicationWillResignActive);
    }
    if (!state.minimised && next.minimised) {
        center.post(NotificationName::ApplicationDidEnterBackground);
    }
    if (state.minimised && !next.minimised) {
        center.post(NotificationName::ApplicationWillEnterForeground);
    }
    if (!state.active && next.active) {
        center.post(NotificationName::ApplicationDidBecomeActive);
    }
    state = next;
}

}  // namespace tandri::gtk
