#include "Platform/Gtk/ViewWidget.hpp"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Core/Views/Layout.hpp"
#include "Platform/Desktop/ViewTree.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Gtk/ViewPainter.hpp"
#include "Platform/Gtk/WebKit.hpp"
#include "Platform/Gtk/Widgets.hpp"

namespace tandri::gtk {

namespace {

using desktop::HostedWebView;

/// What a widget keeps beside GTK's own state: its tree and the layers it is drawn in
/// (under the web views, the web views themselves, over them).
struct State {
    std::shared_ptr<View> root;
    int naturalWidth = 0;
    int naturalHeight = 0;
    GtkWidget* under = nullptr;
#if TANDRI_GTK_MAJOR != 4
    GtkWidget* fixed = nullptr;  // the pages' layer; on GTK 4 the widget holds them itself
#endif
    GtkWidget* over = nullptr;
    struct Placed {
        std::weak_ptr<WebView> webView;
        GtkWidget* widget;
        bool interactive;
        GdkRectangle frame;
#if TANDRI_GTK_MAJOR == 4
        GtkEventController* filter;  // the page holds it
#else
        gulong press;
        gulong release;
#endif
    };
    std::vector<Placed> placed;
    std::uint64_t drawn = 0;
    guint timer = 0;
    bool gone = false;  // destroyed: nothing is placed or drawn any more
};

void paintLayer(State& state, GtkWidget* area, cairo_t* cr) {
    if (!state.root) return;
    paintViewTree(cr, *state.root, ViewWidget::animationSeconds(),
                  area == state.under ? PaintLayer::UnderWebView : PaintLayer::OverWebView);
}

// A page whose host takes no touches (the checkout button's) does not get the person's clicks:
// they are taps on the tree, as anywhere else in the widget. Answers whether the page must not
// see the event.
bool pageClick(GtkWidget* self, State& state, GtkWidget* page, bool release, double x, double y) {
    const auto placed = std::find_if(state.placed.begin(), state.placed.end(),
                                     [page](const auto& p) { return p.widget == page; });
    if (placed == state.placed.end() || placed->interactive) return false;
    if (release) ViewWidget::tap(self, x, y);
    return true;
}

#if TANDRI_GTK_MAJOR == 4

struct TandriViewWidget {
    GtkWidget parent;
    State* state;
};

struct TandriViewWidgetClass {
    GtkWidgetClass parentClass;
};

G_DEFINE_TYPE(TandriViewWidget, tandri_view_widget, GTK_TYPE_WIDGET)

bool placedHere(GtkWidget* self, State&, GtkWidget* page) {
    return gtk_widget_get_parent(page) == self;
}

// Its tree's web views belong to their owners, not to the widget: they leave before the
// widget's children are disposed of.
void letGo(GtkWidget* self, State& state, const State::Placed& placed) {
    if (placed.webView.expired()) return;
    gtk_widget_remove_controller(placed.widget, placed.filter);
    if (placedHere(self, state, placed.widget)) gtk_widget_unparent(placed.widget);
}

// Clicks on their way down to a page, before the engine's own handlers there.
gboolean onPageEvent(GtkEventControllerLegacy* filter, GdkEvent* event, gpointer widget) {
    const GdkEventType type = gdk_event_get_event_type(event);
    if (type != GDK_BUTTON_PRESS && type != GDK_BUTTON_RELEASE) return FALSE;
    auto* self = static_cast<GtkWidget*>(widget);
    GtkWidget* page = gtk_event_controller_get_widget(GTK_EVENT_CONTROLLER(filter));
    // The event's position is the window surface's; the tap's is the widget's.
    double x = 0, y = 0, surfaceX = 0, surfaceY = 0;
    gdk_event_get_position(event, &x, &y);
    GtkNative* native = gtk_widget_get_native(self);
    graphene_point_t at = GRAPHENE_POINT_INIT(0, 0);
    if (native != nullptr) {
        gtk_native_get_surface_transform(native, &surfaceX, &surfaceY);
        const graphene_point_t inNative =
            GRAPHENE_POINT_INIT(static_cast<float>(x - surfaceX), static_cast<float>(y - surfaceY));
        if (!gtk_widget_compute_point(GTK_WIDGET(native), self, &inNative, &at)) return FALSE;
    }
    return pageClick(self, *reinterpret_cast<TandriViewWidget*>(self)->state, page,
                     type == GDK_BUTTON_RELEASE, at.x, at.y)
               ? TRUE
               : FALSE;
}

State::Placed placeNew(GtkWidget* self, const std::shared_ptr<WebView>& webView, GtkWidget* page,
                       bool interactive) {
    GtkEventController* filter = gtk_event_controller_legacy_new();
    gtk_event_controller_set_propagation_phase(filter, GTK_PHASE_CAPTURE);
    g_signal_connect_object(filter, "event", G_CALLBACK(onPageEvent), self, GConnectFlags{});
    gtk_widget_add_controller(page, filter);
    return {webView, page, interactive, {-1, -1, 0, 0}, filter};
}

void movePage(GtkWidget* self, State& state, State::Placed& placed, GdkRectangle frame) {
    if (!placedHere(self, state, placed.widget)) {
        g_object_ref(placed.widget);
        removeFromParent(placed.widget);
        gtk_widget_insert_before(placed.widget, self, state.over);
        g_object_unref(placed.widget);
        placed.frame = {-1, -1, 0, 0};
    }
    if (placed.frame.x == frame.x && placed.frame.y == frame.y &&
        placed.frame.width == frame.width && placed.frame.height == frame.height) {
        return;
    }
    placed.frame = frame;
    gtk_widget_queue_allocate(self);
}

void allocateChild(GtkWidget* child, GdkRectangle frame) {
    if (!gtk_widget_get_visible(child)) return;
    // Measured first, as GTK asks; the child takes what it is given.
    int minimum = 0;
    gtk_widget_measure(child, GTK_ORIENTATION_HORIZONTAL, -1, &minimum, nullptr, nullptr, nullptr);
    gtk_widget_measure(child, GTK_ORIENTATION_VERTICAL, frame.width, &minimum, nullptr, nullptr,
                       nullptr);
    gtk_widget_size_allocate(child, &frame, -1);
}

void tandriViewWidgetSizeAllocate(GtkWidget* widget, int width, int height, int) {
    State& state = *reinterpret_cast<TandriViewWidget*>(widget)->state;
    if (state.gone) return;
    allocateChild(state.under, {0, 0, width, height});
    for (const auto& placed : state.placed) {
        if (placed.webView.expired() || !placedHere(widget, state, placed.widget)) continue;
        allocateChild(placed.widget, placed.frame);
    }
    allocateChild(state.over, {0, 0, width, height});
}

// It asks for its natural size and takes whatever it gets: a host may squeeze it or stretch it.
void tandriViewWidgetMeasure(GtkWidget* widget, GtkOrientation orientation, int, int* minimum,
                             int* natural, int* minimumBaseline, int* naturalBaseline) {
    const State& state = *reinterpret_cast<TandriViewWidget*>(widget)->state;
    *minimum = 1;
    *natural = std::max(
        1, orientation == GTK_ORIENTATION_HORIZONTAL ? state.naturalWidth : state.naturalHeight);
    if (minimumBaseline != nullptr) *minimumBaseline = -1;
    if (naturalBaseline != nullptr) *naturalBaseline = -1;
}

void letEverythingGo(GtkWidget* self, State& state);

void tandriViewWidgetDispose(GObject* object) {
    auto* widget = GTK_WIDGET(object);
    State& state = *reinterpret_cast<TandriViewWidget*>(object)->state;
    letEverythingGo(widget, state);
    for (GtkWidget** layer : {&state.under, &state.over}) {
        if (*layer != nullptr) gtk_widget_unparent(*layer);
        *layer = nullptr;
    }
    G_OBJECT_CLASS(tandri_view_widget_parent_class)->dispose(object);
}

void tandriViewWidgetFinalize(GObject* object) {
    delete reinterpret_cast<TandriViewWidget*>(object)->state;
    G_OBJECT_CLASS(tandri_view_widget_parent_class)->finalize(object);
}

void tandri_view_widget_class_init(TandriViewWidgetClass* klass) {
    G_OBJECT_CLASS(klass)->dispose = tandriViewWidgetDispose;
    G_OBJECT_CLASS(klass)->finalize = tandriViewWidgetFinalize;
    GTK_WIDGET_CLASS(klass)->measure = tandriViewWidgetMeasure;
    GTK_WIDGET_CLASS(klass)->size_allocate = tandriViewWidgetSizeAllocate;
}

void drawLayer(GtkDrawingArea* area, cairo_t* cr, int, int, gpointer data) {
    paintLayer(*static_cast<State*>(data), GTK_WIDGET(area), cr);
}

void onReleased(GtkGestureClick* gesture, int, double x, double y, gpointer) {
    GtkWidget* under = gtk_event_controller_get_widget(GTK_EVENT_CONTROLLER(gesture));
    if (ViewWidget::tap(gtk_widget_get_parent(under), x, y)) {
        gtk_gesture_set_state(GTK_GESTURE(gesture), GTK_EVENT_SEQUENCE_CLAIMED);
    }
}

// The layers: the tree under the pages (which takes the clicks that reach it), the pages as the
// widget's own children between, the tree over them (which takes none).
void makeLayers(GtkWidget* widget, State& state) {
    state.under = gtk_drawing_area_new();
    state.over = gtk_drawing_area_new();
    gtk_drawing_area_set_draw_func(GTK_DRAWING_AREA(state.under), drawLayer, &state, nullptr);
    gtk_drawing_area_set_draw_func(GTK_DRAWING_AREA(state.over), drawLayer, &state, nullptr);
    gtk_widget_set_can_target(state.over, FALSE);
    GtkGesture* click = gtk_gesture_click_new();
    g_signal_connect(click, "released", G_CALLBACK(onReleased), nullptr);
    gtk_widget_add_controller(state.under, GTK_EVENT_CONTROLLER(click));
    gtk_widget_set_parent(state.under, widget);
    gtk_widget_set_parent(state.over, widget);
}

void showPage(GtkWidget* page, bool visible) {
    gtk_widget_set_visible(page, visible);
}

#else

struct TandriViewWidget {
    GtkOverlay parent;
    State* state;
};

struct TandriViewWidgetClass {
    GtkOverlayClass parentClass;
};

G_DEFINE_TYPE(TandriViewWidget, tandri_view_widget, GTK_TYPE_OVERLAY)

bool placedHere(GtkWidget*, State& state, GtkWidget* page) {
    return gtk_widget_get_parent(page) == state.fixed;
}

// Its tree's web views belong to their owners, not to the widget: they leave before the
// widget's children are destroyed.
void letGo(GtkWidget* self, State& state, const State::Placed& placed) {
    if (placed.webView.expired()) return;
    g_signal_handler_disconnect(placed.widget, placed.press);
    g_signal_handler_disconnect(placed.widget, placed.release);
    if (placedHere(self, state, placed.widget)) {
        gtk_container_remove(GTK_CONTAINER(state.fixed), placed.widget);
    }
}

gboolean onPageButton(GtkWidget* page, GdkEventButton* event, gpointer widget) {
    auto* self = static_cast<GtkWidget*>(widget);
    int originX = 0, originY = 0;
    gdk_window_get_origin(gtk_widget_get_window(self), &originX, &originY);
    if (!gtk_widget_get_has_window(self)) {
        GtkAllocation allocation;
        gtk_widget_get_allocation(self, &allocation);
        originX += allocation.x;
        originY += allocation.y;
    }
    return pageClick(self, *reinterpret_cast<TandriViewWidget*>(self)->state, page,
                     event->type == GDK_BUTTON_RELEASE, event->x_root - originX,
                     event->y_root - originY)
               ? TRUE
               : FALSE;
}

State::Placed placeNew(GtkWidget* self, const std::shared_ptr<WebView>& webView, GtkWidget* page,
                       bool interactive) {
    return {webView,
            page,
            interactive,
            {-1, -1, 0, 0},
            g_signal_connect_object(page, "button-press-event", G_CALLBACK(onPageButton), self,
                                    GConnectFlags{}),
            g_signal_connect_object(page, "button-release-event", G_CALLBACK(onPageButton), self,
                                    GConnectFlags{})};
}

void movePage(GtkWidget* self, State& state, State::Placed& placed, GdkRectangle frame) {
    GtkWidget* page = placed.widget;
    if (!placedHere(self, state, page)) {
        g_object_ref(page);
        removeFromParent(page);
        gtk_fixed_put(GTK_FIXED(state.fixed), page, frame.x, frame.y);
        g_object_unref(page);
    } else if (placed.frame.x != frame.x || placed.frame.y != frame.y) {
        // Moving to where it already is would still ask the window for a new layout.
        gtk_fixed_move(GTK_FIXED(state.fixed), page, frame.x, frame.y);
    }
    if (placed.frame.width != frame.width || placed.frame.height != frame.height) {
        gtk_widget_set_size_request(page, frame.width, frame.height);
    }
    placed.frame = frame;
}

void letEverythingGo(GtkWidget* self, State& state);

void tandriViewWidgetDestroy(GtkWidget* widget) {
    letEverythingGo(widget, *reinterpret_cast<TandriViewWidget*>(widget)->state);
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
    paintLayer(*static_cast<State*>(data), area, cr);
    return FALSE;
}

gboolean onRelease(GtkWidget* area, GdkEventButton* event, gpointer) {
    return ViewWidget::tap(gtk_widget_get_parent(area), event->x, event->y) ? TRUE : FALSE;
}

void makeLayers(GtkWidget* widget, State& state) {
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
}

void showPage(GtkWidget* page, bool visible) {
    gtk_widget_set_visible(page, visible);
}

#endif

State* stateOf(GtkWidget* widget) {
    if (widget == nullptr || !G_TYPE_CHECK_INSTANCE_TYPE(widget, tandri_view_widget_get_type())) {
        return nullptr;
    }
    return reinterpret_cast<TandriViewWidget*>(widget)->state;
}

void tandri_view_widget_init(TandriViewWidget* self) {
    self->state = new State;
}

void releaseWebViews(GtkWidget* self, State& state) {
    for (auto& placed : state.placed) letGo(self, state, placed);
    state.placed.clear();
}

// Destroyed: no more frames, the web views back to their owners, and the tree goes with the
// widget, whoever still holds the widget.
void letEverythingGo(GtkWidget* self, State& state) {
    state.gone = true;
    if (state.timer != 0) g_source_remove(state.timer);
    state.timer = 0;
    releaseWebViews(self, state);
    state.root.reset();
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
    cairo_surface_t* picture = finishSnapshot(WEBKIT_WEB_VIEW(source), result);
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
    makeLayers(widget, state);
    state.timer = g_timeout_add(16, onFrame, widget);
    sync(widget);
    return widget;
}

std::shared_ptr<View> ViewWidget::root(GtkWidget* widget) {
    State* state = stateOf(widget);
    return state != nullptr ? state->root : nullptr;
}

double ViewWidget::animationSeconds() {
    return desktop::animationSeconds();
}

void ViewWidget::sync(GtkWidget* widget) {
    State* state = stateOf(widget);
    if (state == nullptr) return;
    int width = widgetWidth(widget);
    int height = widgetHeight(widget);
    if (!gtk_widget_get_realized(widget) || width <= 1 || height <= 1) {
        width = state->naturalWidth;
        height = state->naturalHeight;
    }
    sync(widget, width, height);
}

void ViewWidget::sync(GtkWidget* widget, int width, int height) {
    State* state = stateOf(widget);
    if (state == nullptr || !state->root || state->gone) return;
    auto& root = *state->root;
    layoutViewTree(root, {0, 0, static_cast<double>(width), static_cast<double>(height)});

    const std::vector<HostedWebView> hosted = desktop::hostedWebViews(root);
    std::vector<State::Placed> placed;
    for (const auto& h : hosted) {
        auto* gtkView = dynamic_cast<GtkWebView*>(h.webView.get());
        if (gtkView == nullptr) continue;
        GtkWidget* page = GTK_WIDGET(gtkView->widget());
        const auto was = std::find_if(state->placed.begin(), state->placed.end(),
                                      [page](const auto& p) { return p.widget == page; });
        if (was != state->placed.end()) {
            placed.push_back(*was);
            placed.back().interactive = h.interactive;
            state->placed.erase(was);
        } else {
            placed.push_back(placeNew(widget, h.webView, page, h.interactive));
        }
        movePage(widget, *state, placed.back(),
                 {static_cast<int>(h.frame.x), static_cast<int>(h.frame.y),
                  std::max(1, static_cast<int>(h.frame.width)),
                  std::max(1, static_cast<int>(h.frame.height))});
        showPage(page, h.visible);
    }
    // Web views no longer in the tree leave the widget (their owners still hold them).
    releaseWebViews(widget, *state);
    state->placed = std::move(placed);

    const std::uint64_t print = desktop::fingerprintOf(root);
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
    return root != nullptr && performTap(root, x, y);
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
    const std::vector<HostedWebView> hosted = desktop::hostedWebViews(*root);
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
#if TANDRI_GTK_MAJOR == 4
        double x = 0, y = 0;
#else
        int x = 0, y = 0;
#endif
        gtk_widget_translate_coordinates(widget, content, 0, 0, &x, &y);
        out.push_back({WEBKIT_WEB_VIEW(g_object_ref(widget)),
                       {static_cast<double>(x), static_cast<double>(y),
                        static_cast<double>(widgetWidth(widget)),
                        static_cast<double>(widgetHeight(widget))}});
        return;
    }
    for (GtkWidget* child : childrenOf(widget)) collectHostPages(child, content, out);
}

}  // namespace

void ViewWidget::writeContentSnapshot(GtkWidget* content, GtkWidget* background,
                                      const std::string& path, std::function<void(bool)> done) {
    if (content == nullptr || !gtk_widget_get_realized(content)) {
        if (done) done(false);
        return;
    }
    const int width = std::max(1, widgetWidth(content));
    const int height = std::max(1, widgetHeight(content));
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
    if (background != nullptr) {
        G_GNUC_BEGIN_IGNORE_DEPRECATIONS
        gtk_render_background(gtk_widget_get_style_context(background), shot->cr, 0, 0, width,
                              height);
        G_GNUC_END_IGNORE_DEPRECATIONS
    }
    // The widgets as the toolkit draws them, their pages as they last showed.
    drawWidget(content, shot->cr, width, height);
    collectHostPages(content, content, shot->pages);
    continueShot(shot);
}

}  // namespace tandri::gtk
