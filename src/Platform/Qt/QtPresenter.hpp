#pragma once

// The presenter port over a host's QWidget window. Every controller presented from the host's is
// a full-window screen (a ViewWidget) laid over the window's content, as a child of the window
// outside its layout; screens follow the controllers' presentation chain, however it changes.
// The window's content stays the host's: it is neither moved nor reparented, only covered while
// screens are up (which then take the mouse and the keyboard focus), and given back as it was,
// the focus where it had been.

#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Core/Views/ViewController.hpp"
#include "Platform/Presenter.hpp"

class QTimer;

namespace tandri::qt {

class ViewWidget;

class QtPresenter final : public Presenter {
  public:
    explicit QtPresenter(QWidget* window);
    ~QtPresenter() override;
    QtPresenter(const QtPresenter&) = delete;
    QtPresenter& operator=(const QtPresenter&) = delete;

    void present(std::shared_ptr<ViewController> presenting,
                 std::shared_ptr<ViewController> presented, bool animated,
                 std::function<void()> completion) override;
    void dismiss(std::shared_ptr<ViewController> presenting, bool animated,
                 std::function<void()> completion) override;
    void hurry() override;

    /// Brings the screens in line with the controllers now. Runs by itself every frame.
    void sync();
    /// The controller standing for the host's content (hosts present from it); its view is never
    /// drawn, its bounds follow the window's.
    std::shared_ptr<ViewController> hostController() const { return root_; }
    std::shared_ptr<ViewController> topViewController() const;
    /// The screens over the window, bottom first.
    std::vector<QWidget*> screens() const;
    /// A tap at window coordinates on the top screen, as a click there does.
    bool tap(double x, double y);
    /// Writes the window as it shows now (screens and pages included) as a PNG at `path`.
    bool writeSnapshot(const std::string& path);

    /// How long animated transitions take before they complete. (Screens come and go without a
    /// fade: a page's widget cannot be faded with the widgets around it.)
    static constexpr int kTransitionMilliseconds = 200;

  private:
    struct Screen {
        std::shared_ptr<ViewController> controller;
        QPointer<ViewWidget> widget;
    };
    QSize contentSize() const;

    QPointer<QWidget> window_;
    std::shared_ptr<ViewController> root_;
    std::vector<Screen> screens_;
    std::weak_ptr<ViewController> pending_;  // presented, on its way in, not yet in the chain
    std::shared_ptr<std::function<void()>> arriving_;  // its completion, for hurry()
    QPointer<QWidget> focusBefore_;
    QTimer* timer_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace tandri::qt
