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

gboolean onWindowState(GtkWidget* widget, GdkEventWindowState* event, gpointer) {
    auto* window = GTK_WINDOW(widget);
    GtkLifecycle::State next = *stateOf(window);
    next.minimised = (event->new_window_state & GDK_WINDOW_STATE_ICONIFIED) != 0;
    GtkLifecycle::transition(*stateOf(window), next);
    return FALSE;
}

}  // namespace

void GtkLifecycle::follow(GtkWindow* window) {
    if (stateOf(window) != nullptr) return;
    auto* state = new State{gtk_window_is_active(window) != FALSE, false};
    g_object_set_data_full(G_OBJECT(window), "tandri-life", state,
                           [](gpointer data) { delete static_cast<State*>(data); });
    g_signal_connect(window, "notify::is-active", G_CALLBACK(onActive), nullptr);
    g_signal_connect(window, "window-state-event", G_CALLBACK(onWindowState), nullptr);
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
