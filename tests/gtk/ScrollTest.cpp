// A web view with scrolling turned off takes no wheel, swipe or drag gestures, one with zooming
// turned off no ctrl+wheel or pinch; the others scroll. All are sent the same wheel turns, in a
// shown window: made through GTK 3, or on GTK 4 (which cannot make events) by the X server.

#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include "EngineFixture.hpp"
#include "Platform/Gtk/GtkWebView.hpp"

#if TANDRI_GTK_MAJOR == 4
#include <X11/extensions/XTest.h>
#include <gdk/x11/gdkx.h>
#endif

namespace tandri::gtk {
namespace {

using testing::evaluate;
using testing::spinUntil;
using namespace std::chrono_literals;

#if TANDRI_GTK_MAJOR == 4
// GTK 4 makes no input events for a program: the turns are real ones, made by the X server's test
// device with the pointer over the widget. A turn is done once GTK has handed it to the window
// (and, in the same dispatch, to the view), which a counter in the window's capture phase sees.
unsigned& scrollsSeen(GtkWidget* window) {
    static const GQuark key = g_quark_from_static_string("tandri-test-scrolls");
    if (auto* count = static_cast<unsigned*>(g_object_get_qdata(G_OBJECT(window), key))) {
        return *count;
    }
    auto* count = new unsigned(0);
    g_object_set_qdata_full(G_OBJECT(window), key, count,
                            [](gpointer data) { delete static_cast<unsigned*>(data); });
    GtkEventController* counter = gtk_event_controller_legacy_new();
    gtk_event_controller_set_propagation_phase(counter, GTK_PHASE_CAPTURE);
    g_signal_connect(counter, "event",
                     G_CALLBACK(+[](GtkEventControllerLegacy*, GdkEvent* event, gpointer data) {
                         if (gdk_event_get_event_type(event) == GDK_SCROLL) {
                             ++*static_cast<unsigned*>(data);
                         }
                         return FALSE;
                     }),
                     count);
    gtk_widget_add_controller(window, counter);
    return *count;
}

void turnWheel(GtkWidget* widget, bool withControl = false) {
    GtkNative* native = gtk_widget_get_native(widget);
    unsigned& seen = scrollsSeen(GTK_WIDGET(native));
    const unsigned before = seen;
    GdkSurface* surface = gtk_native_get_surface(native);
    ASSERT_TRUE(GDK_IS_X11_SURFACE(surface)) << "the turns need GTK on X11 (GDK_BACKEND=x11)";
    Display* display = GDK_SURFACE_XDISPLAY(surface);
    double dx = 0, dy = 0;
    gtk_native_get_surface_transform(native, &dx, &dy);
    graphene_point_t at;
    const graphene_point_t inWidget = GRAPHENE_POINT_INIT(40, 40);
    ASSERT_TRUE(gtk_widget_compute_point(widget, GTK_WIDGET(native), &inWidget, &at));
    int x = 0, y = 0;
    ::Window under = 0;
    XTranslateCoordinates(display, GDK_SURFACE_XID(surface), DefaultRootWindow(display),
                          static_cast<int>(at.x + dx), static_cast<int>(at.y + dy), &x, &y, &under);
    const KeyCode control = XKeysymToKeycode(display, XK_Control_L);
    XTestFakeMotionEvent(display, -1, x, y, CurrentTime);
    if (withControl) XTestFakeKeyEvent(display, control, True, CurrentTime);
    XTestFakeButtonEvent(display, 5, True, CurrentTime);  // the wheel turned down
    XTestFakeButtonEvent(display, 5, False, CurrentTime);
    if (withControl) XTestFakeKeyEvent(display, control, False, CurrentTime);
    XFlush(display);
    ASSERT_TRUE(spinUntil([&] { return seen > before; }, 20s)) << "the turn never came back";
}
#else
void turnWheel(GtkWidget* widget, bool withControl = false) {
    GdkEvent* event = gdk_event_new(GDK_SCROLL);
    if (withControl) event->scroll.state = GDK_CONTROL_MASK;
    event->scroll.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(widget)));
    event->scroll.direction = GDK_SCROLL_DOWN;
    event->scroll.x = 40;
    event->scroll.y = 40;
    event->scroll.time = GDK_CURRENT_TIME;
    gdk_event_set_device(
        event, gdk_seat_get_pointer(gdk_display_get_default_seat(gdk_display_get_default())));
    gtk_widget_event(widget, event);
    gdk_event_free(event);
}
#endif

TEST(GtkWebViewScroll, ViewsWithScrollingOrZoomingOffDoNotMoveUnderTheirGestures) {
    testing::initToolkit();
    GtkWebViewFactory factory;
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    auto fixed = factory.makeWebView();
    auto free = factory.makeWebView();
    fixed->setScrollEnabled(false);
    for (auto* view :
         {static_cast<GtkWebView*>(fixed.get()), static_cast<GtkWebView*>(free.get())}) {
        gtk_widget_set_size_request(GTK_WIDGET(view->widget()), 200, 200);
        testing::appendToBox(box, GTK_WIDGET(view->widget()));
        view->loadHTMLString(
            "<html><body style='margin:0'><div style='height:5000px'>tall</div>"
            "</body></html>",
            std::string("https://shop.test/tall"));
    }
    GtkWidget* window = testing::showInWindow(box);
    for (auto* view : {fixed.get(), free.get()}) {
        // One wheel turn moves a fixed distance, whatever the machine's speed.
        webkit_settings_set_enable_smooth_scrolling(
            webkit_web_view_get_settings(static_cast<GtkWebView*>(view)->widget()), FALSE);
        ASSERT_TRUE(spinUntil(
            [&] {
                return evaluate(*view, "location.href+' '+document.readyState") ==
                       "https://shop.test/tall complete";
            },
            10s));
        // Drawn at least once, so the engine takes wheel turns; and from then on the page counts
        // the frames its scroll position has stayed where it is (a turn may be animated).
        evaluate(*view,
                 "window.still = 0; (function tick(last) { requestAnimationFrame(() => {"
                 " window.still = scrollY === last ? window.still + 1 : 0; tick(scrollY); }); })"
                 "(-1), ''");
        ASSERT_TRUE(
            spinUntil([&] { return evaluate(*view, "String(window.still > 1)") == "true"; }, 20s));
    }
    auto widget = [](WebView& view) { return GTK_WIDGET(static_cast<GtkWebView&>(view).widget()); };
    auto scrolled = [](WebView& view) {
        return std::atoi(evaluate(view, "String(window.scrollY)").c_str());
    };
    // Waits until the view's scroll position is exactly `y`: every turn sent before has been taken.
    auto reaches = [&](WebView& view, int y) {
        return spinUntil([&] { return scrolled(view) == y; }, 20s);
    };

    // The same turns to both: the free view moves by one turn's distance each time, the fixed
    // one not at all.
    turnWheel(widget(*free));
    turnWheel(widget(*fixed));
    // One turn's distance: where the view comes to rest after it.
    ASSERT_TRUE(spinUntil(
        [&] { return evaluate(*free, "String(scrollY > 0 && window.still >= 10)") == "true"; },
        20s))
        << "the wheel reaches a view that scrolls";
    const int turn = scrolled(*free);
    for (int i = 0; i < 4; ++i) {
        turnWheel(widget(*free));
        turnWheel(widget(*fixed));
    }
    ASSERT_TRUE(reaches(*free, 5 * turn)) << "one turn: " << turn << ", now " << scrolled(*free);
    EXPECT_EQ(scrolled(*fixed), 0);

    // Turned back on, the same view scrolls.
    fixed->setScrollEnabled(true);
    turnWheel(widget(*fixed));
    EXPECT_TRUE(reaches(*fixed, turn));

    // A checkout-like view scrolls but does not zoom: ctrl+wheel (the desktop's zoom) is not
    // taken, a plain wheel is. The plain turn after the ctrl+wheel turns is taken after them, so
    // once it shows, any of theirs would have too.
    free->setZoomEnabled(false);
    const double zoom = webkit_web_view_get_zoom_level(static_cast<GtkWebView&>(*free).widget());
    for (int i = 0; i < 5; ++i) turnWheel(widget(*free), true);
    turnWheel(widget(*free));
    EXPECT_TRUE(reaches(*free, 6 * turn)) << "now " << scrolled(*free);
    EXPECT_EQ(webkit_web_view_get_zoom_level(static_cast<GtkWebView&>(*free).widget()), zoom);
    testing::destroyWindow(window);
}

}  // namespace
}  // namespace tandri::gtk
