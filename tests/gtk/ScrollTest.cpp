// A web view with scrolling turned off takes no wheel, swipe or drag gestures, one with zooming
// turned off no ctrl+wheel or pinch; the others scroll. All are sent the same wheel turns
// through GTK, in a real window.

#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include "EngineFixture.hpp"
#include "Platform/Gtk/GtkWebView.hpp"

namespace tandri::gtk {
namespace {

using testing::evaluate;
using testing::spinUntil;
using namespace std::chrono_literals;

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

TEST(GtkWebViewScroll, ViewsWithScrollingOrZoomingOffDoNotMoveUnderTheirGestures) {
    gtk_init(nullptr, nullptr);
    GtkWebViewFactory factory;
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_default_size(GTK_WINDOW(window), 400, 200);
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_container_add(GTK_CONTAINER(window), box);
    auto fixed = factory.makeWebView();
    auto free = factory.makeWebView();
    fixed->setScrollEnabled(false);
    for (auto* view :
         {static_cast<GtkWebView*>(fixed.get()), static_cast<GtkWebView*>(free.get())}) {
        gtk_widget_set_size_request(GTK_WIDGET(view->widget()), 200, 200);
        gtk_box_pack_start(GTK_BOX(box), GTK_WIDGET(view->widget()), FALSE, FALSE, 0);
        view->loadHTMLString(
            "<html><body style='margin:0'><div style='height:5000px'>tall</div>"
            "</body></html>",
            std::string("https://shop.test/tall"));
    }
    gtk_widget_show_all(window);
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
    gtk_widget_destroy(window);
}

}  // namespace
}  // namespace tandri::gtk
