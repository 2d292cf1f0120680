#include "Platform/Gtk/GtkPresenter.hpp"

#include <webkit2/webkit2.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>

#include "Core/Views/Layout.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Gtk/ViewPainter.hpp"

namespace tandri::gtk {

namespace {

/// Runs `work` from the main loop, after what is happening now.
// At the main loop's ordinary priority, as the main queue's work: at idle priority a busy page
// (its messages and loads are ordinary events) could hold a presentation's end back for seconds,
// with the new screen already on view but not yet the top one.
void runSoon(std::function<void()> work) {
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer data) {
            auto* f = static_cast<std::function<void()>*>(data);
            (*f)();
            return G_SOURCE_REMOVE;
        },
        new std::function<void()>(std::move(work)),
        [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
    g_source_attach(source, nullptr);
    g_source_unref(source);
}

double nowSeconds() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

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
};

void collectWebViews(const View& view, bool visible, std::vector<HostedWebView>& out) {
    visible = visible && !view.isHidden() && view.alpha() > 0;
    if (auto* host = dynamic_cast<const WebViewHost*>(&view); host && host->webView()) {
        out.push_back({host->webView(), frameInRoot(view), visible});
    }
    for (const auto& sub : view.subviews()) collectWebViews(*sub, visible, out);
}

}  // namespace

struct GtkPresenter::Screen {
    GtkPresenter* presenter = nullptr;
    std::shared_ptr<ViewController> controller;
    GtkWidget* layer = nullptr;  // GtkOverlay: under, web views, over
    GtkWidget* under = nullptr;
    GtkWidget* fixed = nullptr;
    GtkWidget* over = nullptr;
    struct Placed {
        std::weak_ptr<WebView> webView;
        GtkWidget* widget;
    };
    std::vector<Placed> placed;
    std::uint64_t drawn = 0;
};

GtkPresenter::GtkPresenter(GtkWindow* window, std::shared_ptr<ViewController> root)
    : window_(window),
      root_(std::move(root)),
      startSeconds_(nowSeconds()),
      alive_(std::make_shared<bool>(true)) {
    stack_ = GTK_WIDGET(g_object_ref_sink(gtk_overlay_new()));
    GtkWidget* backdrop = gtk_drawing_area_new();
    gtk_container_add(GTK_CONTAINER(stack_), backdrop);
    gtk_container_add(GTK_CONTAINER(window_), stack_);
    gtk_widget_show_all(stack_);
    sync();
    timer_ = g_timeout_add(16, &GtkPresenter::onFrame, this);
}

GtkPresenter::~GtkPresenter() {
    *alive_ = false;
    if (timer_ != 0) g_source_remove(timer_);
    while (!screens_.empty()) dropScreen(screens_.size() - 1);
    gtk_widget_destroy(stack_);
    g_object_unref(stack_);
}

gboolean GtkPresenter::onFrame(gpointer self) {
    static_cast<GtkPresenter*>(self)->sync();
    return G_SOURCE_CONTINUE;
}

std::shared_ptr<ViewController> GtkPresenter::topViewController() const {
    auto top = root_;
    while (top && top->presentedViewController()) top = top->presentedViewController();
    return top;
}

void GtkPresenter::sync() {
    std::vector<std::shared_ptr<ViewController>> chain;
    for (auto c = root_; c; c = c->presentedViewController()) chain.push_back(c);
    if (auto pending = pending_.lock();
        pending && std::find(chain.begin(), chain.end(), pending) == chain.end()) {
        chain.push_back(pending);
    }
    std::size_t keep = 0;
    while (keep < screens_.size() && keep < chain.size() &&
           screens_[keep]->controller == chain[keep]) {
        ++keep;
    }
    while (screens_.size() > keep) dropScreen(screens_.size() - 1);
    for (std::size_t i = keep; i < chain.size(); ++i) screenFor(chain[i]);

    int width = gtk_widget_get_allocated_width(stack_);
    int height = gtk_widget_get_allocated_height(stack_);
    if (width <= 1 || height <= 1) gtk_window_get_size(window_, &width, &height);
    for (auto& screen : screens_) syncScreen(*screen, width, height);
}

GtkPresenter::Screen& GtkPresenter::screenFor(const std::shared_ptr<ViewController>& controller) {
    auto screen = std::make_unique<Screen>();
    screen->presenter = this;
    screen->controller = controller;
    screen->layer = gtk_overlay_new();
    screen->under = gtk_drawing_area_new();
    screen->fixed = gtk_fixed_new();
    screen->over = gtk_drawing_area_new();
    gtk_widget_add_events(screen->under, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK);
    g_signal_connect(screen->under, "draw", G_CALLBACK(&GtkPresenter::onDraw), screen.get());
    g_signal_connect(screen->over, "draw", G_CALLBACK(&GtkPresenter::onDraw), screen.get());
    g_signal_connect(screen->under, "button-release-event", G_CALLBACK(&GtkPresenter::onRelease),
                     this);
    gtk_container_add(GTK_CONTAINER(screen->layer), screen->under);
    gtk_overlay_add_overlay(GTK_OVERLAY(screen->layer), screen->fixed);
    gtk_overlay_add_overlay(GTK_OVERLAY(screen->layer), screen->over);
    gtk_overlay_set_overlay_pass_through(GTK_OVERLAY(screen->layer), screen->fixed, TRUE);
    gtk_overlay_set_overlay_pass_through(GTK_OVERLAY(screen->layer), screen->over, TRUE);
    // Held, so that a window destroyed before the presenter leaves valid widgets to let go of.
    g_object_ref(screen->layer);
    gtk_overlay_add_overlay(GTK_OVERLAY(stack_), screen->layer);
    gtk_widget_show_all(screen->layer);
    screens_.push_back(std::move(screen));
    return *screens_.back();
}

void GtkPresenter::dropScreen(std::size_t index) {
    Screen& screen = *screens_[index];
    // The web views belong to their owners, not to the screen: take them out before it goes.
    for (auto& placed : screen.placed) {
        if (!placed.webView.expired() && gtk_widget_get_parent(placed.widget) == screen.fixed) {
            gtk_container_remove(GTK_CONTAINER(screen.fixed), placed.widget);
        }
    }
    gtk_widget_destroy(screen.layer);
    g_object_unref(screen.layer);
    screens_.erase(screens_.begin() + static_cast<std::ptrdiff_t>(index));
}

void GtkPresenter::syncScreen(Screen& screen, int width, int height) {
    auto root = screen.controller->view();
    layoutViewTree(*root, {0, 0, static_cast<double>(width), static_cast<double>(height)});

    std::vector<HostedWebView> hosted;
    collectWebViews(*root, true, hosted);
    std::vector<Screen::Placed> placed;
    for (const auto& h : hosted) {
        auto* gtkView = dynamic_cast<GtkWebView*>(h.webView.get());
        if (gtkView == nullptr) continue;
        GtkWidget* widget = GTK_WIDGET(gtkView->widget());
        if (GtkWidget* parent = gtk_widget_get_parent(widget); parent != screen.fixed) {
            g_object_ref(widget);
            if (parent != nullptr) gtk_container_remove(GTK_CONTAINER(parent), widget);
            gtk_fixed_put(GTK_FIXED(screen.fixed), widget, static_cast<int>(h.frame.x),
                          static_cast<int>(h.frame.y));
            g_object_unref(widget);
        } else {
            gtk_fixed_move(GTK_FIXED(screen.fixed), widget, static_cast<int>(h.frame.x),
                           static_cast<int>(h.frame.y));
        }
        gtk_widget_set_size_request(widget, std::max(1, static_cast<int>(h.frame.width)),
                                    std::max(1, static_cast<int>(h.frame.height)));
        gtk_widget_set_visible(widget, h.visible);
        placed.push_back({h.webView, widget});
    }
    // Web views no longer in the tree leave the screen (their owners still hold them).
    for (auto& old : screen.placed) {
        const bool still = std::any_of(placed.begin(), placed.end(),
                                       [&](const auto& p) { return p.widget == old.widget; });
        if (!still && !old.webView.expired() && gtk_widget_get_parent(old.widget) == screen.fixed) {
            gtk_container_remove(GTK_CONTAINER(screen.fixed), old.widget);
        }
    }
    screen.placed = std::move(placed);

    std::uint64_t print = 14695981039346656037ULL;
    fingerprint(*root, print);
    if (print != screen.drawn || isAnimating(*root)) {
        screen.drawn = print;
        gtk_widget_queue_draw(screen.under);
        gtk_widget_queue_draw(screen.over);
    }
}

gboolean GtkPresenter::onDraw(GtkWidget* area, cairo_t* cr, gpointer data) {
    auto* screen = static_cast<Screen*>(data);
    const bool under = area == screen->under;
    const double seconds = nowSeconds() - screen->presenter->startSeconds_;
    paintViewTree(cr, *screen->controller->view(), seconds,
                  under ? PaintLayer::UnderWebView : PaintLayer::OverWebView);
    return FALSE;
}

gboolean GtkPresenter::onRelease(GtkWidget* area, GdkEventButton* event, gpointer self) {
    auto* presenter = static_cast<GtkPresenter*>(self);
    if (presenter->screens_.empty() || presenter->screens_.back()->under != area) return FALSE;
    return presenter->tap(event->x, event->y) ? TRUE : FALSE;
}

bool GtkPresenter::tap(double x, double y) {
    sync();
    if (screens_.empty()) return false;
    // Hold the controller: the tap may dismiss it.
    auto controller = screens_.back()->controller;
    return performTap(controller->view(), x, y);
}

struct GtkPresenter::Transition {
    std::weak_ptr<bool> alive;
    std::vector<GtkWidget*> layers;
    bool in;
    double start;
    std::function<void()> done;
};

void GtkPresenter::fade(std::vector<GtkWidget*> layers, bool in, std::function<void()> done) {
    for (GtkWidget* layer : layers) g_object_ref(layer);
    auto* t = new Transition{alive_, std::move(layers), in, nowSeconds(), std::move(done)};
    g_timeout_add(
        16,
        [](gpointer data) -> gboolean {
            auto* fading = static_cast<Transition*>(data);
            const double progress =
                std::min(1.0, (nowSeconds() - fading->start) * 1000 / kTransitionMilliseconds);
            if (!fading->alive.expired()) {
                for (GtkWidget* layer : fading->layers) {
                    gtk_widget_set_opacity(layer, fading->in ? progress : 1 - progress);
                }
            }
            if (progress < 1) return G_SOURCE_CONTINUE;
            for (GtkWidget* layer : fading->layers) g_object_unref(layer);
            if (!fading->alive.expired() && fading->done) fading->done();
            delete fading;
            return G_SOURCE_REMOVE;
        },
        t);
}

void GtkPresenter::present(std::shared_ptr<ViewController> presenting,
                           std::shared_ptr<ViewController> presented, bool animated,
                           std::function<void()> completion) {
    if (!presenting || !presented) return;
    auto finish = [this, presenting, presented, animated, completion = std::move(completion)]() {
        if (pending_.lock() == presented) pending_.reset();
        const bool done = ViewController::completePresentation(presenting, presented, animated);
        sync();
        if (done && completion) completion();
    };
    if (!pending_.expired() || presenting != topViewController()) {
        // Something is on its way in, or `presenting` is covered: the core refuses it.
        runSoon(std::move(finish));
        return;
    }
    pending_ = presented;
    sync();
    GtkWidget* layer = screens_.back()->layer;
    if (animated) {
        gtk_widget_set_opacity(layer, 0);
        fade({layer}, true, std::move(finish));
    } else {
        runSoon(std::move(finish));
    }
}

void GtkPresenter::dismiss(std::shared_ptr<ViewController> presenting, bool animated,
                           std::function<void()> completion) {
    if (!presenting) return;
    auto finish = [this, presenting, animated, completion = std::move(completion)]() {
        const bool done = ViewController::completeDismissal(presenting, animated);
        sync();
        if (done && completion) completion();
    };
    std::vector<GtkWidget*> leaving;
    bool above = false;
    for (auto& screen : screens_) {
        if (above) leaving.push_back(screen->layer);
        if (screen->controller == presenting) above = true;
    }
    if (animated && !leaving.empty()) {
        fade(std::move(leaving), false, std::move(finish));
        return;
    }
    runSoon(std::move(finish));
}

namespace {

/// A picture in the making: the tree under the pages, each page as the engine hands it back,
/// then the tree over the pages.
struct Shot {
    std::string path;
    std::function<void(bool)> done;
    std::shared_ptr<View> root;
    double seconds;
    cairo_surface_t* surface;
    cairo_t* cr;
    std::vector<HostedWebView> pages;
    std::size_t next = 0;
};

void continueShot(Shot* shot);

void onPagePicture(GObject* source, GAsyncResult* result, gpointer data) {
    auto* shot = static_cast<Shot*>(data);
    GError* error = nullptr;
    cairo_surface_t* picture =
        webkit_web_view_get_snapshot_finish(WEBKIT_WEB_VIEW(source), result, &error);
    const Rect f = shot->pages[shot->next++].frame;
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
    while (shot->next < shot->pages.size()) {
        const auto& page = shot->pages[shot->next];
        auto* gtkView = dynamic_cast<GtkWebView*>(page.webView.get());
        if (gtkView != nullptr && page.visible) {
            webkit_web_view_get_snapshot(gtkView->widget(), WEBKIT_SNAPSHOT_REGION_VISIBLE,
                                         WEBKIT_SNAPSHOT_OPTIONS_NONE, nullptr, &onPagePicture,
                                         shot);
            return;
        }
        ++shot->next;
    }
    paintViewTree(shot->cr, *shot->root, shot->seconds, PaintLayer::OverWebView);
    cairo_destroy(shot->cr);
    const bool ok =
        cairo_surface_write_to_png(shot->surface, shot->path.c_str()) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(shot->surface);
    if (shot->done) shot->done(ok);
    delete shot;
}

}  // namespace

void GtkPresenter::writeSnapshot(const std::string& path, std::function<void(bool)> done) {
    sync();
    if (screens_.empty()) {
        if (done) done(false);
        return;
    }
    auto root = screens_.back()->controller->view();
    const Rect bounds = root->frame();
    auto* shot = new Shot{
        path,
        std::move(done),
        root,
        nowSeconds() - startSeconds_,
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, std::max(1, static_cast<int>(bounds.width)),
                                   std::max(1, static_cast<int>(bounds.height))),
        nullptr,
        {}};
    shot->cr = cairo_create(shot->surface);
    paintViewTree(shot->cr, *root, shot->seconds, PaintLayer::UnderWebView);
    collectWebViews(*root, true, shot->pages);
    continueShot(shot);
}

}  // namespace tandri::gtk
