#include "Platform/Gtk/GtkPresenter.hpp"

#include <algorithm>
#include <chrono>

#include "Platform/Gtk/ViewWidget.hpp"
#include "Platform/Gtk/Widgets.hpp"
#include "Platform/Platform.hpp"

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

}  // namespace

struct GtkPresenter::Screen {
    std::shared_ptr<ViewController> controller;
    GtkWidget* widget = nullptr;  // a ViewWidget of the controller's view, held
};

GtkPresenter::GtkPresenter(GtkWindow* window, std::shared_ptr<ViewController> root)
    : window_(window), root_(std::move(root)), alive_(std::make_shared<bool>(true)) {
    g_object_add_weak_pointer(G_OBJECT(window_), reinterpret_cast<gpointer*>(&window_));
    stack_ = GTK_WIDGET(g_object_ref_sink(gtk_overlay_new()));
    GtkWidget* backdrop = gtk_drawing_area_new();
    gtk_widget_set_visible(backdrop, TRUE);
    setOverlayChild(GTK_OVERLAY(stack_), backdrop);
    setWindowChild(window_, stack_);
    gtk_widget_set_visible(stack_, TRUE);
    sync();
    timer_ = g_timeout_add(16, &GtkPresenter::onFrame, this);
}

GtkPresenter::GtkPresenter(GtkWindow* window)
    : window_(window),
      root_(std::make_shared<ViewController>()),
      hostMode_(true),
      alive_(std::make_shared<bool>(true)) {
    g_object_add_weak_pointer(G_OBJECT(window_), reinterpret_cast<gpointer*>(&window_));
    if (windowChild(window_) != nullptr) coverHostContent();
        // While a screen is up, keys go to it alone: not to the host's widgets under it, nor to
        // their mnemonics and accelerators.
#if TANDRI_GTK_MAJOR == 4
    // On their way down from the window, before anything under it.
    keys_ = gtk_event_controller_key_new();
    gtk_event_controller_set_propagation_phase(keys_, GTK_PHASE_CAPTURE);
    g_signal_connect(keys_, "key-pressed", G_CALLBACK(onKey), this);
    gtk_widget_add_controller(GTK_WIDGET(window_), keys_);
#else
    keyHandlers_[0] = g_signal_connect(window_, "key-press-event", G_CALLBACK(onKey), this);
    keyHandlers_[1] = g_signal_connect(window_, "key-release-event", G_CALLBACK(onKey), this);
#endif
    sync();
    timer_ = g_timeout_add(16, &GtkPresenter::onFrame, this);
}

GtkPresenter::~GtkPresenter() {
    *alive_ = false;
    if (timer_ != 0) g_source_remove(timer_);
    while (!screens_.empty()) dropScreen(screens_.size() - 1);
    if (focusBefore_ != nullptr) {
        g_object_remove_weak_pointer(G_OBJECT(focusBefore_),
                                     reinterpret_cast<gpointer*>(&focusBefore_));
    }
    if (window_ != nullptr) {
#if TANDRI_GTK_MAJOR == 4
        if (keys_ != nullptr) gtk_widget_remove_controller(GTK_WIDGET(window_), keys_);
#else
        for (gulong id : keyHandlers_) {
            if (id != 0) g_signal_handler_disconnect(window_, id);
        }
#endif
    }
    if (stack_ != nullptr) {
        const bool inWindow = window_ != nullptr && windowChild(window_) == stack_;
        if (inWindow) {
            // The host's content goes back into its window as it was; only our overlay goes.
            GtkWidget* content = hostMode_ ? overlayChild(GTK_OVERLAY(stack_)) : nullptr;
            if (content != nullptr) {
                g_object_ref(content);
                removeFromParent(content);
            }
            setWindowChild(window_, content);
            if (content != nullptr) g_object_unref(content);
        }
        // An overlay the host has put somewhere else of its own is the host's to destroy.
        if (!hostMode_ || inWindow || gtk_widget_get_parent(stack_) == nullptr) {
            destroyWidget(stack_);
        }
        g_object_unref(stack_);
    }
    if (window_ != nullptr) {
        g_object_remove_weak_pointer(G_OBJECT(window_), reinterpret_cast<gpointer*>(&window_));
    }
}

void GtkPresenter::coverHostContent() {
    if (window_ == nullptr) return;
    // Once only: should the host later take our overlay out of its window, screens keep going
    // there (and show nowhere) rather than move the host's content again.
    if (stack_ != nullptr) return;
    GtkWidget* content = windowChild(window_);
    stack_ = GTK_WIDGET(g_object_ref_sink(gtk_overlay_new()));
    gtk_widget_set_visible(stack_, TRUE);
    if (content != nullptr) {
        // The one move the host's content makes: into the overlay, before any screen is up.
        // Its visibility, sensitivity and focus-ability stay its own.
        // Taking it out of the window takes its focus away: the focus comes back with it.
        GtkWidget* focus = gtk_window_get_focus(window_);
        if (focus != nullptr) g_object_ref(focus);
        g_object_ref(content);
        setWindowChild(window_, nullptr);
        setOverlayChild(GTK_OVERLAY(stack_), content);
        g_object_unref(content);
        setWindowChild(window_, stack_);
        if (focus != nullptr) {
            if (isInWindow(focus, window_)) refocus(focus);
            g_object_unref(focus);
        }
        return;
    }
    setWindowChild(window_, stack_);
}

gboolean GtkPresenter::onFrame(gpointer self) {
    static_cast<GtkPresenter*>(self)->follow();
    return G_SOURCE_CONTINUE;
}

std::shared_ptr<ViewController> GtkPresenter::topViewController() const {
    auto top = root_;
    while (top && top->presentedViewController()) top = top->presentedViewController();
    return top;
}

std::shared_ptr<ViewController> GtkPresenter::hostController() const {
    return hostMode_ ? root_ : nullptr;
}

void GtkPresenter::contentSize(int& width, int& height) const {
    width = stack_ != nullptr ? widgetWidth(stack_) : 0;
    height = stack_ != nullptr ? widgetHeight(stack_) : 0;
    if ((width <= 1 || height <= 1) && window_ != nullptr) windowSize(window_, width, height);
}

void GtkPresenter::follow() {
    std::vector<std::shared_ptr<ViewController>> chain;
    for (auto c = root_; c; c = c->presentedViewController()) chain.push_back(c);
    if (auto pending = pending_.lock();
        pending && std::find(chain.begin(), chain.end(), pending) == chain.end()) {
        chain.push_back(pending);
    }
    // The host's own content stands for its controller: that one gets no screen.
    if (hostMode_) chain.erase(chain.begin());
    std::size_t keep = 0;
    while (keep < screens_.size() && keep < chain.size() &&
           screens_[keep]->controller == chain[keep]) {
        ++keep;
    }
    const bool wasCovered = !screens_.empty();
    while (screens_.size() > keep) dropScreen(screens_.size() - 1);
    if (hostMode_ && chain.size() > keep) coverHostContent();
    int width = 0, height = 0;
    contentSize(width, height);
    for (std::size_t i = keep; i < chain.size(); ++i) addScreen(chain[i], width, height);

    if (hostMode_) {
        const Rect bounds{0, 0, static_cast<double>(width), static_cast<double>(height)};
        root_->view()->setFrame(bounds);
        if (Platform::current().presenter.get() == this) {
            Platform::current().mainScreenBounds = bounds;
        }
        if (!wasCovered && !screens_.empty()) takeFocus();
        if (wasCovered && screens_.empty()) giveFocusBack();
    }
}

void GtkPresenter::sync() {
    follow();
    int width = 0, height = 0;
    contentSize(width, height);
    for (auto& screen : screens_) ViewWidget::sync(screen->widget, width, height);
}

void GtkPresenter::addScreen(const std::shared_ptr<ViewController>& controller, int width,
                             int height) {
    auto screen = std::make_unique<Screen>();
    screen->controller = controller;
    // Held, so that a window destroyed before the presenter leaves valid widgets to let go of.
    screen->widget =
        GTK_WIDGET(g_object_ref_sink(ViewWidget::create(controller->view(), width, height)));
    setFocusable(screen->widget, true);
    // Without a window left to show it in, the screen still runs its course, unseen.
    if (stack_ != nullptr) gtk_overlay_add_overlay(GTK_OVERLAY(stack_), screen->widget);
    screens_.push_back(std::move(screen));
}

void GtkPresenter::dropScreen(std::size_t index) {
    Screen& screen = *screens_[index];
    destroyWidget(screen.widget);
    g_object_unref(screen.widget);
    screens_.erase(screens_.begin() + static_cast<std::ptrdiff_t>(index));
}

void GtkPresenter::takeFocus() {
    if (window_ == nullptr || screens_.empty()) return;
    if (focusBefore_ != nullptr) {
        g_object_remove_weak_pointer(G_OBJECT(focusBefore_),
                                     reinterpret_cast<gpointer*>(&focusBefore_));
    }
    focusBefore_ = gtk_window_get_focus(window_);
    if (focusBefore_ != nullptr) {
        g_object_add_weak_pointer(G_OBJECT(focusBefore_),
                                  reinterpret_cast<gpointer*>(&focusBefore_));
    }
    gtk_widget_grab_focus(screens_.back()->widget);
}

void GtkPresenter::giveFocusBack() {
    if (focusBefore_ == nullptr) return;
    GtkWidget* before = focusBefore_;
    g_object_remove_weak_pointer(G_OBJECT(focusBefore_),
                                 reinterpret_cast<gpointer*>(&focusBefore_));
    focusBefore_ = nullptr;
    if (window_ != nullptr && isInWindow(before, window_) && isFocusable(before)) {
        refocus(before);
    }
}

GtkWidget* GtkPresenter::keyTarget() {
    GtkWidget* top = screens_.back()->widget;
    GtkWidget* focus = gtk_window_get_focus(window_);
    if (focus == nullptr || (focus != top && !gtk_widget_is_ancestor(focus, top))) {
        gtk_widget_grab_focus(top);
        focus = top;
    }
    return focus;
}

#if TANDRI_GTK_MAJOR == 4
gboolean GtkPresenter::onKey(GtkEventControllerKey* keys, guint, guint, GdkModifierType,
                             gpointer self) {
    auto* presenter = static_cast<GtkPresenter*>(self);
    if (presenter->screens_.empty() || presenter->window_ == nullptr) return FALSE;
    // The focus widget's own handlers alone: nothing on the way down or back up sees it. (A key's
    // release finds the focus in the screen and goes there as any event does.)
    gtk_event_controller_key_forward(keys, presenter->keyTarget());
    return TRUE;
}
#else
gboolean GtkPresenter::onKey(GtkWidget*, GdkEventKey* event, gpointer self) {
    auto* presenter = static_cast<GtkPresenter*>(self);
    if (presenter->screens_.empty()) return FALSE;
    presenter->keyTarget();
    gtk_window_propagate_key_event(presenter->window_, event);
    return TRUE;
}
#endif

bool GtkPresenter::tap(double x, double y) {
    sync();
    if (screens_.empty()) return false;
    return ViewWidget::tap(screens_.back()->widget, x, y);
}

struct GtkPresenter::Transition {
    std::weak_ptr<bool> alive;
    std::vector<GtkWidget*> layers;
    bool in;
    std::shared_ptr<double> start;
    std::function<void()> done;
};

std::shared_ptr<double> GtkPresenter::fade(std::vector<GtkWidget*> layers, bool in,
                                           std::function<void()> done) {
    for (GtkWidget* layer : layers) g_object_ref(layer);
    auto start = std::make_shared<double>(nowSeconds());
    auto* t = new Transition{alive_, std::move(layers), in, start, std::move(done)};
    g_timeout_add(
        16,
        [](gpointer data) -> gboolean {
            auto* fading = static_cast<Transition*>(data);
            const double progress =
                std::min(1.0, (nowSeconds() - *fading->start) * 1000 / kTransitionMilliseconds);
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
    return start;
}

void GtkPresenter::hurry() {
    // The fade's next step (a frame away at most) finds it over and finishes it.
    if (auto start = pendingStart_.lock(); start && !pending_.expired()) *start = 0;
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
    GtkWidget* layer = screens_.back()->widget;
    if (animated) {
        gtk_widget_set_opacity(layer, 0);
        pendingStart_ = fade({layer}, true, std::move(finish));
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
    // The host's own content has no screen: what it presented is every screen.
    bool above = hostMode_ && presenting == root_;
    for (auto& screen : screens_) {
        if (above) leaving.push_back(screen->widget);
        if (screen->controller == presenting) above = true;
    }
    if (animated && !leaving.empty()) {
        fade(std::move(leaving), false, std::move(finish));
        return;
    }
    runSoon(std::move(finish));
}

void GtkPresenter::writeSnapshot(const std::string& path, std::function<void(bool)> done) {
    sync();
    if (!screens_.empty()) {
        ViewWidget::writeSnapshot(screens_.back()->widget, path, std::move(done));
        return;
    }
    // No screen up: the host's own content.
    if (!hostMode_ || stack_ == nullptr || !gtk_widget_get_realized(stack_)) {
        if (done) done(false);
        return;
    }
    // The window paints the background its content lies on; the content alone leaves it clear.
    ViewWidget::writeContentSnapshot(stack_, GTK_WIDGET(window_), path, std::move(done));
}

}  // namespace tandri::gtk
