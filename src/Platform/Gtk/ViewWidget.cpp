#include "Platform/Gtk/ViewWidget.hpp"

#include <webkit2/webkit2.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Core/Views/Layout.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Gtk/ViewPainter.hpp"

namespace tandri::gtk {

namespace {

double nowSeconds() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

const double kStartSeconds = nowSeconds();

/// A cheap fingerprint of what a tree looks like, to redraw only on change.
void fingerprint(const View& view, std::uint64_t& h) {
    auto mix = [&h](double v) {
        std::uint64_t bits = 0;
        static_assert(sizeof bits == sizeof v);
        std::memcpy(&bits, &v, sizeof bits);
        h = (h ^ bits) * 1099511628211ULL;
    };
    const Rect f = view.frame();
    mix(f.x), mix(f.y), mix(f.width), mix(f.height);
    mix(view.isHidden() ? 1 : 0), mix(view.alpha());
    if (const auto& c = view.backgroundColor())
        mix(c->red), mix(c->green), mix(c->blue), mix(c->alpha);
    mix(static_cast<double>(reinterpret_cast<std::uintptr_t>(&view)));
    if (auto* image = dynamic_cast<const ImageView*>(&view)) {
        mix(static_cast<double>(reinterpret_cast<std::uintptr_t>(image->image().get())));
    } else if (auto* button = dynamic_cast<const Button*>(&view)) {
        mix(static_cast<double>(reinterpret_cast<std::uintptr_t>(button->image().get())));
    } else if (auto* bar = dynamic_cast<const NavigationBar*>(&view)) {
        mix(static_cast<double>(bar->items().size()));
    }
    mix(static_cast<double>(view.subviews().size()));
    for (const auto& sub : view.subviews()) fingerprint(*sub, h);
}

/// The web views the tree hosts, with where they go (root coordinates) and whether they show.
struct HostedWebView {
    std::shared_ptr<WebView> webView;
    Rect frame;
    bool visible;
    bool interactive;  // false when it or a view above it takes no touches
};

void collectWebViews(const View& view, bool visible, bool interactive,
                     std::vector<HostedWebView>& out) {
    visible = visible && !view.isHidden() && view.alpha() > 0;
    interactive = interactive && view.isUserInteractionEnabled();
    if (auto* host = dynamic_cast<const WebViewHost*>(&view); host && host->webView()) {
        out.push_back({host->webView(), frameInRoot(view), visible, interactive});
    }
    for (const auto& sub : view.subviews()) collectWebViews(*sub, visible, interactive, out);
}

/// What a widget keeps beside GTK's own state: its tree and the layers it is drawn in
/// (under the web views, the web views themselves, over them).
struct State {
    std::shared_ptr<View> root;
    int naturalWidth = 0;
    int naturalHeight = 0;
    GtkWidget* under = nullptr;
    GtkWidget* fixed = nullptr;
    GtkWidget* over = nullptr;
    struct Placed {
        std::weak_ptr<WebView> webView;
        GtkWidget* widget;
        bool interactive;
        gulong press;
        gulong release;
    };
    std::vector<Placed> placed;
    std::uint64_t drawn = 0;
    guint timer = 0;
};

struct TandriViewWidget {
    GtkOverlay parent;
    State* state;
};

struct TandriViewWidgetClass {
    GtkOverlayClass parentClass;
};

G_DEFINE_TYPE(TandriViewWidget, tandri_view_widget, GTK_TYPE_OVERLAY)

State* stateOf(GtkWidget* widget) {
    if (widget == nullptr || !G_TYPE_CHECK_INSTANCE_TYPE(widget, tandri_view_widget_get_type())) {
        return nullptr;
    }
    return reinterpret_cast<TandriViewWidget*>(widget)->state;
}

void tandri_view_widget_init(TandriViewWidget* self) {
    self->state = new State;
}

// Its tree's web views belong to their owners, not to the widget: they leave before the
// widget's children are destroyed.
void letGo(State& state, const State::Placed& placed) {
    if (placed.webView.expired()) return;
    g_signal_handler_disconnect(placed.widget, placed.press);
    g_signal_handler_disconnect(placed.widget, placed.release);
    if (gtk_widget_get_parent(placed.widget) == state.fixed) {
        gtk_container_remove(GTK_CONTAINER(state.fixed), placed.widget);
    }
}

void releaseWebViews(State& state) {
    for (auto& placed : state.placed) letGo(state, placed);
    state.placed.clear();
}

void tandriViewWidgetDestroy(GtkWidget* widget) {
    State& state = *reinterpret_cast<TandriViewWidget*>(widget)->state;
    if (state.timer != 0) g_source_remove(state.timer);
    state.timer = 0;
    releaseWebViews(state);
    GTK_WIDGET_CLASS(tandri_view_widget_parent_class)->destroy(widget);
}

void tandriViewWidgetFinalize(GObject* object) {
    delete reinterpret_cast<TandriViewWidget*>(object)->state;
    G_OBJECT_CLASS(tandri_view_widget_parent_class)->finalize(object);
}

// It asks for its natural size and takes whatever it gets: a host may squeeze it or stretch it.
void preferredWidth(GtkWidget* widget, int* minimum, int* natural) {
    *minimum = 1;
    *natural = std::max(1, reinterpret_cast<TandriViewWidget*>(widget)->state->naturalWidth);
}

void preferredHeight(GtkWidget* widget, int* minimum, int* natural) {
    *minimum = 1;
    *natural = std::max(1, reinterpret_cast<TandriViewWidget*>(widget)->state->naturalHeight);
}

void tandri_view_widget_class_init(TandriViewWidgetClass* klass) {
    G_OBJECT_CLASS(klass)->finalize = tandriViewWidgetFinalize;
    GTK_WIDGET_CLASS(klass)->destroy = tandriViewWidgetDestroy;
    GTK_WIDGET_CLASS(klass)->get_preferred_width = preferredWidth;
    GTK_WIDGET_CLASS(klass)->get_preferred_height = preferredHeight;
}

gboolean onDraw(GtkWidget* area, cairo_t* cr, gpointer data) {
    auto* state = static_cast<State*>(data);
    paintViewTree(cr, *state->root, ViewWidget::animationSeconds(),
                  area == state->under ? PaintLayer::UnderWebView : PaintLayer::OverWebView);
    return FALSE;
}

gboolean onRelease(GtkWidget* area, GdkEventButton* event, gpointer) {
    return ViewWidget::tap(gtk_widget_get_parent(area), event->x, event->y) ? TRUE : FALSE;
}

// A page whose host takes no touches (the checkout button's) does not get the person's clicks:
// they are taps on the tree, as anywhere else in the widget.
gboolean onPageButton(GtkWidget* page, GdkEventButton* event, gpointer widget) {
    auto* self = static_cast<GtkWidget*>(widget);
    State* state = reinterpret_cast<TandriViewWidget*>(self)->state;
    const auto placed = std::find_if(state->placed.begin(), state->placed.end(),
                                     [page](const auto& p) { return p.widget == page; });
    if (placed == state->placed.end() || placed->interactive) return FALSE;
    if (event->type != GDK_BUTTON_RELEASE) return TRUE;
    int originX = 0, originY = 0;
    gdk_window_get_origin(gtk_widget_get_window(self), &originX, &originY);
    if (!gtk_widget_get_has_window(self)) {
        GtkAllocation allocation;
        gtk_widget_get_allocation(self, &allocation);
        originX += allocation.x;
        originY += allocation.y;
    }
    ViewWidget::tap(self, event->x_root - originX, event->y_root - originY);
    return TRUE;
}

gboolean onFrame(gpointer widget) {
    ViewWidget::sync(static_cast<GtkWidget*>(widget));
    return G_SOURCE_CONTINUE;
}

/// A picture in the making: the tree under the pages, each page as the engine hands it back,
/// then the tree over the pages.
struct Shot {
    std::string path;
    std::function<void(bool)> done;
    std::shared_ptr<View> root;  // none for a host's own widgets
    double seconds;
    cairo_surface_t* surface;
    cairo_t* cr;
    struct Page {
        WebKitWebView* view;  // held until its picture is in
        Rect frame;
    };
    std::vector<Page> pages;
    std::size_t next = 0;
};

void continueShot(Shot* shot);

void onPagePicture(GObject* source, GAsyncResult* result, gpointer data) {
    auto* shot = static_cast<Shot*>(data);
    GError* error = nullptr;
    cairo_surface_t* picture =
        webkit_web_view_get_snapshot_finish(WEBKIT_WEB_VIEW(source), result, &error);
    const Rect f = shot->pages[shot->next].frame;
    g_object_unref(shot->pages[shot->next++].view);
    if (picture != nullptr) {
        cairo_save(shot->cr);
        cairo_rectangle(shot->cr, f.x, f.y, f.width, f.height);
        cairo_clip(shot->cr);
        cairo_set_source_surface(shot->cr, picture, f.x, f.y);
        cairo_paint(shot->cr);
        cairo_restore(shot->cr);
        cairo_surface_destroy(picture);
    }
    if (error != nullptr) g_error_free(error);
    continueShot(shot);
}

void continueShot(Shot* shot) {
    if (shot->next < shot->pages.size()) {
        webkit_web_view_get_snapshot(shot->pages[shot->next].view, WEBKIT_SNAPSHOT_REGION_VISIBLE,
                                     WEBKIT_SNAPSHOT_OPTIONS_NONE, nullptr, &onPagePicture, shot);
        return;
    }
    if (shot->root) paintViewTree(shot->cr, *shot->root, shot->seconds, PaintLayer::OverWebView);
    cairo_destroy(shot->cr);
    const bool ok =
        cairo_surface_write_to_png(shot->surface, shot->path.c_str()) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(shot->surface);
    if (shot->done) shot->done(ok);
    delete shot;
}

}  // namespace

GtkWidget* ViewWidget::create(std::shared_ptr<View> root, int naturalWidth, int naturalHeight) {
    auto* self =
        static_cast<TandriViewWidget*>(g_object_new(tandri_view_widget_get_type(), nullptr));
    GtkWidget* widget = GTK_WIDGET(self);
    State& state = *self->state;
    state.root = std::move(root);
    state.naturalWidth = naturalWidth;
    state.naturalHeight = naturalHeight;
    state.under = gtk_drawing_area_new();
    state.fixed = gtk_fixed_new();
    state.over = gtk_drawing_area_new();
    // Drawn straight into the overlay's pass-through layer: a window of its own would take the
    // clicks meant for what lies under it.
    gtk_widget_set_has_window(state.over, FALSE);
    gtk_widget_add_events(state.under, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK);
    g_signal_connect(state.under, "draw", G_CALLBACK(onDraw), &state);
    g_signal_connect(state.over, "draw", G_CALLBACK(onDraw), &state);
    g_signal_connect(state.under, "button-release-event", G_CALLBACK(onRelease), nullptr);
    gtk_container_add(GTK_CONTAINER(widget), state.under);
    gtk_overlay_add_overlay(GTK_OVERLAY(widget), state.fixed);
    gtk_overlay_add_overlay(GTK_OVERLAY(widget), state.over);
    gtk_overlay_set_overlay_pass_through(GTK_OVERLAY(widget), state.fixed, TRUE);
    gtk_overlay_set_overlay_pass_through(GTK_OVERLAY(widget), state.over, TRUE);
    gtk_widget_show(state.under);
    gtk_widget_show(state.fixed);
    gtk_widget_show(state.over);
    gtk_widget_show(widget);
    state.timer = g_timeout_add(16, onFrame, widget);
    sync(widget);
    return widget;
}

std::shared_ptr<View> ViewWidget::root(GtkWidget* widget) {
    State* state = stateOf(widget);
    return state != nullptr ? state->root : nullptr;
}

double ViewWidget::animationSeconds() {
    return nowSeconds() - kStartSeconds;
}

void ViewWidget::sync(GtkWidget* widget) {
    State* state = stateOf(widget);
    if (state == nullptr) return;
    int width = gtk_widget_get_allocated_width(widget);
    int height = gtk_widget_get_allocated_height(widget);
    if (!gtk_widget_get_realized(widget) || width <= 1 || height <= 1) {
        width = state->naturalWidth;
        height = state->naturalHeight;
    }
    sync(widget, width, height);
}

void ViewWidget::sync(GtkWidget* widget, int width, int height) {
    State* state = stateOf(widget);
    if (state == nullptr || !state->root) return;
    auto& root = *state->root;
    layoutViewTree(root, {0, 0, static_cast<double>(width), static_cast<double>(height)});

    std::vector<HostedWebView> hosted;
    collectWebViews(root, true, true, hosted);
    std::vector<State::Placed> placed;
    for (const auto& h : hosted) {
        auto* gtkView = dynamic_cast<GtkWebView*>(h.webView.get());
        if (gtkView == nullptr) continue;
        GtkWidget* page = GTK_WIDGET(gtkView->widget());
        const int x = static_cast<int>(h.frame.x);
        const int y = static_cast<int>(h.frame.y);
        if (GtkWidget* parent = gtk_widget_get_parent(page); parent != state->fixed) {
            g_object_ref(page);
            if (parent != nullptr) gtk_container_remove(GTK_CONTAINER(parent), page);
            gtk_fixed_put(GTK_FIXED(state->fixed), page, x, y);
            g_object_unref(page);
        } else {
            // Moving to where it already is would still ask the window for a new layout.
            int atX = 0, atY = 0;
            gtk_container_child_get(GTK_CONTAINER(state->fixed), page, "x", &atX, "y", &atY,
                                    nullptr);
            if (atX != x || atY != y) gtk_fixed_move(GTK_FIXED(state->fixed), page, x, y);
        }
        gtk_widget_set_size_request(page, std::max(1, static_cast<int>(h.frame.width)),
                                    std::max(1, static_cast<int>(h.frame.height)));
        gtk_widget_set_visible(page, h.visible);
        const auto was = std::find_if(state->placed.begin(), state->placed.end(),
                                      [page](const auto& p) { return p.widget == page; });
        if (was != state->placed.end()) {
            placed.push_back({h.webView, page, h.interactive, was->press, was->release});
            state->placed.erase(was);
        } else {
            placed.push_back(
                {h.webView, page, h.interactive,
                 g_signal_connect_object(page, "button-press-event", G_CALLBACK(onPageButton),
                                         widget, GConnectFlags{}),
                 g_signal_connect_object(page, "button-release-event", G_CALLBACK(onPageButton),
                                         widget, GConnectFlags{})});
        }
    }
    // Web views no longer in the tree leave the widget (their owners still hold them).
    releaseWebViews(*state);
    state->placed = std::move(placed);

    std::uint64_t print = 14695981039346656037ULL;
    fingerprint(root, print);
    if (print != state->drawn || isAnimating(root)) {
        state->drawn = print;
        gtk_widget_queue_draw(state->under);
        gtk_widget_queue_draw(state->over);
    }
}

bool ViewWidget::tap(GtkWidget* widget, double x, double y) {
    State* state = stateOf(widget);
    if (state == nullptr) return false;
    sync(widget);
    // Held: the tap may take the tree's screen away, and the widget with it.
    auto root = state->root;
    return performTap(root, x, y);
}

void ViewWidget::writeSnapshot(GtkWidget* widget, const std::string& path,
                               std::function<void(bool)> done) {
    State* state = stateOf(widget);
    if (state == nullptr || !state->root) {
        if (done) done(false);
        return;
    }
    sync(widget);
    auto root = state->root;
    const Rect bounds = root->frame();
    auto* shot = new Shot{
        path,
        std::move(done),
        root,
        animationSeconds(),
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, std::max(1, static_cast<int>(bounds.width)),
                                   std::max(1, static_cast<int>(bounds.height))),
        nullptr,
        {}};
    shot->cr = cairo_create(shot->surface);
    paintViewTree(shot->cr, *root, shot->seconds, PaintLayer::UnderWebView);
    std::vector<HostedWebView> hosted;
    collectWebViews(*root, true, true, hosted);
    for (const auto& page : hosted) {
        auto* gtkView = dynamic_cast<GtkWebView*>(page.webView.get());
        if (gtkView == nullptr || !page.visible) continue;
        shot->pages.push_back({WEBKIT_WEB_VIEW(g_object_ref(gtkView->widget())), page.frame});
    }
    continueShot(shot);
}

namespace {

void collectHostPages(GtkWidget* widget, GtkWidget* content, std::vector<Shot::Page>& out) {
    if (!gtk_widget_get_mapped(widget)) return;
    if (WEBKIT_IS_WEB_VIEW(widget)) {
        int x = 0, y = 0;
        gtk_widget_translate_coordinates(widget, content, 0, 0, &x, &y);
        out.push_back({WEBKIT_WEB_VIEW(g_object_ref(widget)),
                       {static_cast<double>(x), static_cast<double>(y),
                        static_cast<double>(gtk_widget_get_allocated_width(widget)),
                        static_cast<double>(gtk_widget_get_allocated_height(widget))}});
        return;
    }
    if (!GTK_IS_CONTAINER(widget)) return;
    GList* children = gtk_container_get_children(GTK_CONTAINER(widget));
    for (GList* c = children; c != nullptr; c = c->next)
        collectHostPages(GTK_WIDGET(c->data), content, out);
    g_list_free(children);
}

}  // namespace

void ViewWidget::writeContentSnapshot(GtkWidget* content, GtkWidget* background,
                                      const std::string& path, std::function<void(bool)> done) {
    if (content == nullptr || !gtk_widget_get_realized(content)) {
        if (done) done(false);
        return;
    }
    const int width = std::max(1, gtk_widget_get_allocated_width(content));
    const int height = std::max(1, gtk_widget_get_allocated_height(content));
    auto* shot = new Shot{path,
                          std::move(done),
                          nullptr,
                          animationSeconds(),
                          cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height),
                          nullptr,
                          {}};
    shot->cr = cairo_create(shot->surface);
    // The background the content lies on, the widgets as GTK draws them, then each page as its
    // engine hands it back (drawing a page into a picture shows whatever it last had on screen).
    if (background != nullptr)
        gtk_render_background(gtk_widget_get_style_context(background), shot->cr, 0, 0, width,
                              height);
    gtk_widget_draw(content, shot->cr);
    collectHostPages(content, content, shot->pages);
    continueShot(shot);
}

}  // namespace tandri::gtk
