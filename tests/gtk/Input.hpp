#pragma once

// A person's clicks and keys, for tests of widgets in shown windows. Clicks go through the X
// server's test device on both toolkits; keys are events GTK 3 makes itself, and on GTK 4 (which
// makes no input events for a program) keys of the test device too, each waited for until the
// window has been handed it.

#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <string>

#include "EngineFixture.hpp"
#include "Platform/Gtk/Widgets.hpp"

// The X server's calls, declared here rather than through Xlib's headers, whose macros (None,
// Status, ...) would clash with the library's names.
extern "C" {
using XDisplay = void;
using XWindow = unsigned long;
void* gdk_x11_display_get_xdisplay(GdkDisplay* display);
#if TANDRI_GTK_MAJOR == 4
XWindow gdk_x11_surface_get_xid(GdkSurface* surface);
#endif
XWindow XDefaultRootWindow(XDisplay* display);
int XTranslateCoordinates(XDisplay* display, XWindow from, XWindow to, int x, int y, int* toX,
                          int* toY, XWindow* child);
unsigned char XKeysymToKeycode(XDisplay* display, unsigned long keysym);
int XFlush(XDisplay* display);
int XSetInputFocus(XDisplay* display, XWindow focus, int revertTo, unsigned long time);
int XTestFakeMotionEvent(XDisplay* display, int screen, int x, int y, unsigned long delay);
int XTestFakeButtonEvent(XDisplay* display, unsigned button, int press, unsigned long delay);
int XTestFakeKeyEvent(XDisplay* display, unsigned keycode, int press, unsigned long delay);
}

namespace tandri::gtk::testing {

/// Whether `object` is an instance of the named type (GDK's X11 types, by name).
inline bool isA(gpointer object, const char* typeName) {
    const GType type = g_type_from_name(typeName);
    return object != nullptr && type != 0 && G_TYPE_CHECK_INSTANCE_TYPE(object, type);
}

/// Where a widget lies in its window, and how large it is.
struct Box {
    int x = 0, y = 0, width = 0, height = 0;
    bool operator==(const Box&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Box& b) {
    return out << b.x << "," << b.y << " " << b.width << "x" << b.height;
}

inline Box boxOf(GtkWidget* widget) {
    Box b{0, 0, widgetWidth(widget), widgetHeight(widget)};
    positionInWindow(widget, b.x, b.y);
    return b;
}

/// The X display and the screen position of window coordinates (x, y); false off X11.
inline bool onScreen(GtkWidget* window, int x, int y, XDisplay*& display, int& rootX, int& rootY) {
    GdkDisplay* gdkDisplay = gtk_widget_get_display(window);
    if (!isA(gdkDisplay, "GdkX11Display")) return false;
    display = gdk_x11_display_get_xdisplay(gdkDisplay);
#if TANDRI_GTK_MAJOR == 4
    GtkNative* native = gtk_widget_get_native(window);
    GdkSurface* surface = native != nullptr ? gtk_native_get_surface(native) : nullptr;
    if (surface == nullptr) return false;
    double dx = 0, dy = 0;  // the surface's own margin around the window (its shadow)
    gtk_native_get_surface_transform(native, &dx, &dy);
    XWindow under = 0;
    XTranslateCoordinates(display, gdk_x11_surface_get_xid(surface), XDefaultRootWindow(display),
                          static_cast<int>(x + dx), static_cast<int>(y + dy), &rootX, &rootY,
                          &under);
#else
    GdkWindow* gdkWindow = gtk_widget_get_window(window);
    if (gdkWindow == nullptr) return false;
    int originX = 0, originY = 0;
    gdk_window_get_origin(gdkWindow, &originX, &originY);
    rootX = originX + x;
    rootY = originY + y;
#endif
    return true;
}

/// A click at window coordinates: the pointer moves there, its first button goes down and up.
inline bool click(GtkWidget* window, int x, int y) {
    XDisplay* display = nullptr;
    int rootX = 0, rootY = 0;
    if (!onScreen(window, x, y, display, rootX, rootY)) return false;
    XTestFakeMotionEvent(display, -1, rootX, rootY, 0);
    XTestFakeButtonEvent(display, 1, 1, 0);
    XTestFakeButtonEvent(display, 1, 0, 0);
    XFlush(display);
    return true;
}

#if TANDRI_GTK_MAJOR == 4
/// How many key events the window system has handed the program's surfaces, heard before GTK
/// hands them on (whatever its widgets then do with them).
inline unsigned& keysSeen() {
    static unsigned count = 0;
    static const bool hooked = [] {
        g_signal_add_emission_hook(
            g_signal_lookup("event", GDK_TYPE_SURFACE), 0,
            +[](GSignalInvocationHint*, guint, const GValue* values, gpointer) -> gboolean {
                auto* event = static_cast<GdkEvent*>(g_value_get_pointer(&values[1]));
                const GdkEventType type = gdk_event_get_event_type(event);
                if (type == GDK_KEY_PRESS || type == GDK_KEY_RELEASE) ++count;
                return TRUE;  // stays
            },
            nullptr, nullptr);
        return true;
    }();
    (void)hooked;
    return count;
}

/// A key typed into the window (which has the X server's focus), as the window system delivers
/// it; done once the window has been handed both its press and its release.
inline void type(GtkWidget* window, guint keyval) {
    XDisplay* display = nullptr;
    int rootX = 0, rootY = 0;
    ASSERT_TRUE(onScreen(window, 1, 1, display, rootX, rootY)) << "keys need GTK on X11";
    unsigned& seen = keysSeen();
    const unsigned before = seen;
    // The keyboard's focus on the window, as a window manager gives it to the one clicked.
    constexpr int kRevertToParent = 2;
    XSetInputFocus(display, gdk_x11_surface_get_xid(gtk_native_get_surface(GTK_NATIVE(window))),
                   kRevertToParent, 0);
    XFlush(display);
    ASSERT_TRUE(spinUntil([&] { return gtk_window_is_active(GTK_WINDOW(window)) != FALSE; },
                          std::chrono::seconds(20)))
        << "the window never had the keyboard";
    const unsigned code = XKeysymToKeycode(display, keyval);
    XTestFakeKeyEvent(display, code, 1, 0);
    XTestFakeKeyEvent(display, code, 0, 0);
    XFlush(display);
    ASSERT_TRUE(spinUntil([&] { return seen >= before + 2; }, std::chrono::seconds(20)))
        << "the key never came back";
}
#else
/// A key typed into the window, as the window system delivers it.
inline void type(GtkWidget* window, guint keyval) {
    for (GdkEventType kind : {GDK_KEY_PRESS, GDK_KEY_RELEASE}) {
        GdkEvent* event = gdk_event_new(kind);
        event->key.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(window)));
        event->key.send_event = TRUE;
        event->key.time = GDK_CURRENT_TIME;
        event->key.keyval = keyval;
        GdkKeymapKey* keys = nullptr;
        gint count = 0;
        if (gdk_keymap_get_entries_for_keyval(gdk_keymap_get_for_display(gdk_display_get_default()),
                                              keyval, &keys, &count) &&
            count > 0) {
            event->key.hardware_keycode = static_cast<guint16>(keys[0].keycode);
        }
        g_free(keys);
        gdk_event_set_device(
            event, gdk_seat_get_keyboard(gdk_display_get_default_seat(gdk_display_get_default())));
        gtk_main_do_event(event);
        gdk_event_free(event);
    }
}
#endif

/// Counts the button presses that reach `widget` itself, in `count`.
inline void countPresses(GtkWidget* widget, int* count) {
#if TANDRI_GTK_MAJOR == 4
    GtkEventController* counter = gtk_event_controller_legacy_new();
    gtk_event_controller_set_propagation_phase(counter, GTK_PHASE_CAPTURE);
    g_signal_connect(counter, "event",
                     G_CALLBACK(+[](GtkEventControllerLegacy*, GdkEvent* event, gpointer n) {
                         if (gdk_event_get_event_type(event) == GDK_BUTTON_PRESS) {
                             ++*static_cast<int*>(n);
                         }
                         return FALSE;
                     }),
                     count);
    gtk_widget_add_controller(widget, counter);
#else
    g_signal_connect(widget, "button-press-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEvent*, gpointer n) {
                         ++*static_cast<int*>(n);
                         return FALSE;
                     }),
                     count);
#endif
}

inline std::string entryText(GtkWidget* entry) {
#if TANDRI_GTK_MAJOR == 4
    return gtk_editable_get_text(GTK_EDITABLE(entry));
#else
    return gtk_entry_get_text(GTK_ENTRY(entry));
#endif
}

inline void setEntryText(GtkWidget* entry, const char* text) {
#if TANDRI_GTK_MAJOR == 4
    gtk_editable_set_text(GTK_EDITABLE(entry), text);
#else
    gtk_entry_set_text(GTK_ENTRY(entry), text);
#endif
}

/// Whether the keyboard focus is in `widget` (on GTK 4 an entry's focus is its text's).
inline bool hasFocus(GtkWidget* widget) {
#if TANDRI_GTK_MAJOR == 4
    GtkWidget* focus = gtk_root_get_focus(gtk_widget_get_root(widget));
    return focus != nullptr && (focus == widget || gtk_widget_is_ancestor(focus, widget));
#else
    return gtk_widget_is_focus(widget);
#endif
}

}  // namespace tandri::gtk::testing
