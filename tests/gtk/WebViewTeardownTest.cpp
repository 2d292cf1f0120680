// A web view whose wrapper goes takes the engine's view with it, wherever the host placed it:
// out of its window or stack, and gone, not kept alive by the parent it was in.

#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include "EngineFixture.hpp"
#include "Platform/Gtk/GtkWebView.hpp"

namespace tandri::gtk {
namespace {

using namespace std::chrono_literals;

TEST(GtkWebViewTeardown, ADroppedViewLeavesItsParentAndIsFinalized) {
    testing::initToolkit();
    GtkWebViewFactory factory;
    enum class Place { None, Window, Stack };
    for (Place place : {Place::None, Place::Window, Place::Stack}) {
        SCOPED_TRACE(static_cast<int>(place));
        auto view = factory.makeWebView();
        GtkWidget* widget = GTK_WIDGET(static_cast<GtkWebView&>(*view).widget());
        GtkWidget* stack = nullptr;
        GtkWidget* window = nullptr;
        if (place == Place::Window) window = testing::showInWindow(widget);
        if (place == Place::Stack) {
            stack = gtk_stack_new();
            gtk_stack_add_named(GTK_STACK(stack), widget, "view");
            window = testing::showInWindow(stack);
        }
        if (window != nullptr) {  // a page shown, its web process running
            view->loadHTMLString("<p>shop</p>", std::string("https://shop.test/"));
            ASSERT_TRUE(testing::spinUntil(
                [&] { return testing::evaluate(*view, "document.readyState") == "complete"; },
                10s));
        }

        gpointer alive = widget;
        g_object_add_weak_pointer(G_OBJECT(widget), &alive);
        view.reset();
        EXPECT_EQ(alive, nullptr) << "the engine's view outlives its wrapper";
        if (alive != nullptr) g_object_remove_weak_pointer(G_OBJECT(alive), &alive);
        if (stack != nullptr) {
            EXPECT_EQ(gtk_stack_get_child_by_name(GTK_STACK(stack), "view"), nullptr);
            EXPECT_EQ(testing::windowChild(window), stack);
        } else if (window != nullptr) {
            EXPECT_EQ(testing::windowChild(window), nullptr);
        }
        if (window != nullptr) testing::destroyWindow(window);
    }
}

}  // namespace
}  // namespace tandri::gtk
