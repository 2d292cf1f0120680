// View controllers: a lazily loaded root view, appearance callbacks, presentation preferences,
// and modal presentation through the Presenter port.
#pragma once

#include <functional>
#include <memory>

#include "Core/Views/View.hpp"

namespace tandri {

/// The platform's numbers for each style.
enum class ModalPresentationStyle {
    Automatic = -2,
    FullScreen = 0,
    PageSheet = 1,
    FormSheet = 2,
    CurrentContext = 3,
    Custom = 4,
    OverFullScreen = 5,
    OverCurrentContext = 6,
};
enum class ModalTransitionStyle { CoverVertical = 0, FlipHorizontal = 1, CrossDissolve = 2 };
enum class StatusBarStyle { Default = 0, LightContent = 1, DarkContent = 3 };

namespace InterfaceOrientationMask {
inline constexpr unsigned Portrait = 1U << 1;
inline constexpr unsigned PortraitUpsideDown = 1U << 2;
inline constexpr unsigned LandscapeRight = 1U << 3;
inline constexpr unsigned LandscapeLeft = 1U << 4;
inline constexpr unsigned AllButUpsideDown = Portrait | LandscapeLeft | LandscapeRight;
inline constexpr unsigned All = AllButUpsideDown | PortraitUpsideDown;
}  // namespace InterfaceOrientationMask

class ViewController : public Responder, public std::enable_shared_from_this<ViewController> {
  public:
    ViewController() = default;
    ~ViewController() override = default;
    ViewController(const ViewController&) = delete;
    ViewController& operator=(const ViewController&) = delete;

    /// The root view, loaded on first use: `loadView`, then `viewDidLoad`, once.
    std::shared_ptr<View> view();
    bool isViewLoaded() const { return view_ != nullptr; }
    /// Replaces the root view; null drops it (the next `view()` loads it again).
    void setView(std::shared_ptr<View> view);
    /// Whether this is the loading spinner's screen.
    virtual bool isLoadingSpinner() const { return false; }

    virtual void viewDidAppear(bool /*animated*/) {}
    virtual void viewDidDisappear(bool /*animated*/) {}

    ModalPresentationStyle modalPresentationStyle() const { return presentationStyle_; }
    void setModalPresentationStyle(ModalPresentationStyle style) { presentationStyle_ = style; }
    ModalTransitionStyle modalTransitionStyle() const { return transitionStyle_; }
    void setModalTransitionStyle(ModalTransitionStyle style) { transitionStyle_ = style; }
    /// Whether, presented, it decides the status bar's look.
    bool modalPresentationCapturesStatusBarAppearance = false;
    virtual StatusBarStyle preferredStatusBarStyle() const { return StatusBarStyle::Default; }
    virtual bool prefersStatusBarHidden() const { return false; }
    virtual unsigned supportedInterfaceOrientations() const {
        return InterfaceOrientationMask::AllButUpsideDown;
    }

    /// What this controller shows modally (held strongly), and who shows this one (weakly).
    std::shared_ptr<ViewController> presentedViewController() const { return presented_; }
    std::shared_ptr<ViewController> presentingViewController() const { return presenting_.lock(); }

    /// Asks the platform's presenter to show `controller`; the change and `completion` happen
    /// when the presenter finishes. Without a presenter nothing happens.
    void presentViewController(std::shared_ptr<ViewController> controller, bool animated,
                               std::function<void()> completion = {});
    /// Takes away what this controller presents; when it presents nothing, asks its own
    /// presenting controller to take it away. With neither, nothing happens.
    void dismissViewControllerAnimated(bool animated, std::function<void()> completion = {});

    /// For presenters, once the transition is over: links the pair, loads the presented view and
    /// calls its `viewDidAppear`. Answers false (and changes nothing) when `presenting` already
    /// presents something or `presented` is already shown somewhere.
    static bool completePresentation(const std::shared_ptr<ViewController>& presenting,
                                     const std::shared_ptr<ViewController>& presented,
                                     bool animated);
    /// For presenters, once the transition is over: unlinks the chain above `presenting`,
    /// calling `viewDidDisappear` from the top down. Answers false when there was nothing.
    static bool completeDismissal(const std::shared_ptr<ViewController>& presenting, bool animated);

    /// The root view's superview, else the presenting controller.
    std::shared_ptr<Responder> nextResponder() const override;

  protected:
    /// Makes the root view; the default is a plain view filling a phone-sized screen.
    virtual std::shared_ptr<View> loadView();
    virtual void viewDidLoad() {}

  private:
    std::shared_ptr<View> view_;
    ModalPresentationStyle presentationStyle_ = ModalPresentationStyle::Automatic;
    ModalTransitionStyle transitionStyle_ = ModalTransitionStyle::CoverVertical;
    std::shared_ptr<ViewController> presented_;
    std::weak_ptr<ViewController> presenting_;
};

}  // namespace tandri
