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
using testing::settle;
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
        ASSERT_TRUE(spinUntil(
            [&] {
                return evaluate(*view, "location.href+' '+document.readyState") ==
                       "https://shop.test/tall complete";
            },
            10s));
    }

    // A view may not take wheel turns yet right after its load: turn both wheels until the free
    // view has scrolled, so the fixed one got at least as many turns as moved the free one.
    auto scrolled = [](WebView& view) { return evaluate(view, "String(window.scrollY)"); };
    EXPECT_TRUE(spinUntil(
        [&] {
            turnWheel(GTK_WIDGET(static_cast<GtkWebView&>(*free).widget()));
            turnWheel(GTK_WIDGET(static_cast<GtkWebView&>(*fixed).widget()));
            return scrolled(*free) != "0";
        },
        20s))
        << "the wheel reaches a view that scrolls";
    settle(500ms);
    EXPECT_EQ(scrolled(*fixed), "0");

    // Turned back on, the same view scrolls.
    fixed->setScrollEnabled(true);
    EXPECT_TRUE(spinUntil(
        [&] {
            turnWheel(GTK_WIDGET(static_cast<GtkWebView&>(*fixed).widget()));
            return scrolled(*fixed) != "0";
        },
        20s));

    // A checkout-like view scrolls but does not zoom: ctrl+wheel (the desktop's zoom) is not
    // taken, a plain wheel is.
    free->setZoomEnabled(false);
    const std::string before = scrolled(*free);
    const double zoom = webkit_web_view_get_zoom_level(static_cast<GtkWebView&>(*free).widget());
    for (int i = 0; i < 5; ++i)
        turnWheel(GTK_WIDGET(static_cast<GtkWebView&>(*free).widget()), true);
    settle(500ms);
    EXPECT_EQ(scrolled(*free), before);
    EXPECT_EQ(webkit_web_view_get_zoom_level(static_cast<GtkWebView&>(*free).widget()), zoom);
    EXPECT_TRUE(spinUntil(
        [&] {
            turnWheel(GTK_WIDGET(static_cast<GtkWebView&>(*free).widget()));
            return scrolled(*free) != before;
        },
        20s));
    gtk_widget_destroy(window);
}

}  // namespace
}  // namespace tandri::gtk
