#pragma once

// The presenter port in a GTK window. The window shows the host's root
// controller and, stacked over it, every controller presented from there on,
// each as a full-window screen: the view tree drawn with cairo, the web views
// it hosts placed over the drawing as real widgets. Screens follow the
// controllers' presentation chain, however it changes; presentations fade in
// and dismissals fade out when animated.

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

    /// Brings the screens in line with the controllers now: layout, web-view
    /// placement, redraw. Runs by itself every frame; tests call it directly.
    void sync();
    /// The controller on top: the last of the chain from the root.
    std::shared_ptr<ViewController> topViewController() const;
    /// A tap at window coordinates on the top screen, as a click there does.
    bool tap(double x, double y);
    /// Writes the top screen, its web views included, as a PNG at `path`;
    /// `done` learns whether it was written.
    void writeSnapshot(const std::string& path, std::function<void(bool)> done);

    /// How long animated transitions take.
    static constexpr int kTransitionMilliseconds = 200;

  private:
    struct Screen;
    struct Transition;

    Screen& screenFor(const std::shared_ptr<ViewController>& controller);
    void syncScreen(Screen& screen, int width, int height);
    void dropScreen(std::size_t index);
    void fade(std::vector<GtkWidget*> layers, bool in, std::function<void()> done);
    static gboolean onFrame(gpointer self);
    static gboolean onDraw(GtkWidget* area, cairo_t* cr, gpointer screen);
    static gboolean onRelease(GtkWidget*, GdkEventButton* event, gpointer self);

    GtkWindow* window_;
    GtkWidget* stack_;  // a GtkOverlay: the root's screen, then the presented ones over it
    std::shared_ptr<ViewController> root_;
    std::vector<std::unique_ptr<Screen>> screens_;
    std::weak_ptr<ViewController> pending_;  // presented, fading in, not yet in the chain
    guint timer_ = 0;
    double startSeconds_;
    std::shared_ptr<bool> alive_;
};

}  // namespace tandri::gtk
