#pragma once

// The presenter port in a GTK window. Every controller presented from the
// host's is a full-window screen (a ViewWidget) stacked over the window's
// content; screens follow the controllers' presentation chain, however it
// changes; presentations fade in and dismissals fade out when animated.
//
// The window's content is the host's own widgets (`GtkPresenter(window)`): a
// controller of the presenter's stands for them, and screens cover them while
// up, taking the window's input, and give them back untouched. Tests may
// instead give a root controller whose tree the presenter draws as the
// window's whole content.

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Core/Views/ViewController.hpp"
#include "Platform/Presenter.hpp"

namespace tandri::gtk {

class GtkPresenter final : public Presenter {
  public:
    /// Covers the host's content of `window` while screens are up. The content is put into an
    /// overlay once: now if the window has a child, else before the first screen shows (a
    /// window without content by then gets an empty overlay, and the host cannot add content
    /// later). Destroying the presenter puts the content back as the window's child.
    explicit GtkPresenter(GtkWindow* window);
    /// Fills `window` (which must have no child yet) with `root`'s view.
    GtkPresenter(GtkWindow* window, std::shared_ptr<ViewController> root);
    ~GtkPresenter() override;
    GtkPresenter(const GtkPresenter&) = delete;
    GtkPresenter& operator=(const GtkPresenter&) = delete;

    void present(std::shared_ptr<ViewController> presenting,
                 std::shared_ptr<ViewController> presented, bool animated,
                 std::function<void()> completion) override;
    void dismiss(std::shared_ptr<ViewController> presenting, bool animated,
                 std::function<void()> completion) override;
    void hurry() override;

    /// Brings the screens in line with the controllers now: layout, web-view
    /// placement, redraw. Runs by itself every frame; tests call it directly.
    void sync();
    /// The controller on top: the last of the chain from the root.
    std::shared_ptr<ViewController> topViewController() const;
    /// The controller standing for the host's content (hosts present from it); its view is
    /// never drawn, its bounds follow the content's allocation. Null with a root of the host's.
    std::shared_ptr<ViewController> hostController() const;
    /// A tap at window coordinates on the top screen, as a click there does.
    bool tap(double x, double y);
    /// Writes the top screen, its web views included, as a PNG at `path` (with no screen up, the
    /// host's content as GTK draws it); `done` learns whether it was written.
    void writeSnapshot(const std::string& path, std::function<void(bool)> done);

    /// How long animated transitions take.
    static constexpr int kTransitionMilliseconds = 200;

  private:
    struct Screen;
    struct Transition;

    void follow();
    void coverHostContent();
    void contentSize(int& width, int& height) const;
    void addScreen(const std::shared_ptr<ViewController>& controller, int width, int height);
    void dropScreen(std::size_t index);
    void takeFocus();
    void giveFocusBack();
    /// Answers the fade's start time, which moving back shortens the fade.
    std::shared_ptr<double> fade(std::vector<GtkWidget*> layers, bool in,
                                 std::function<void()> done);
    static gboolean onFrame(gpointer self);
    /// The widget a key goes to while screens are up: one in the top screen, given the focus.
    GtkWidget* keyTarget();
#if TANDRI_GTK_MAJOR == 4
    static gboolean onKey(GtkEventControllerKey* keys, guint, guint, GdkModifierType,
                          gpointer self);
#else
    static gboolean onKey(GtkWidget*, GdkEventKey* event, gpointer self);
#endif

    GtkWindow* window_;           // weak: null once the window is gone
    GtkWidget* stack_ = nullptr;  // a GtkOverlay: the content, then the screens over it
    std::shared_ptr<ViewController> root_;
    bool hostMode_ = false;  // the content is the host's own widgets, `root_` stands for them
    std::vector<std::unique_ptr<Screen>> screens_;
    std::weak_ptr<ViewController> pending_;  // presented, fading in, not yet in the chain
    std::weak_ptr<double> pendingStart_;     // when its fade began (moved back to hurry it)
    GtkWidget* focusBefore_ = nullptr;       // weak: the host's focus when the first screen came
#if TANDRI_GTK_MAJOR == 4
    GtkEventController* keys_ = nullptr;  // on the window, held by it
#else
    gulong keyHandlers_[2] = {0, 0};
#endif
    guint timer_ = 0;
    std::shared_ptr<bool> alive_;
};

}  // namespace tandri::gtk
