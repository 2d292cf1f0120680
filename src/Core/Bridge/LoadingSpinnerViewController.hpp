// The full-screen wait between the tap on the checkout button and the checkout page: a looping
// frame animation and a close button. It measures how long it stood and tells its creator how it
// ended: closed by the user, or taken away because the checkout page comes next.
#pragma once

#include <functional>
#include <memory>

#include "Core/Utils/DataReporting.hpp"
#include "Core/Views/ViewController.hpp"
#include "tandri/TandriCheckoutResult.hpp"

namespace tandri {

class LoadingSpinnerViewController : public ViewController {
  public:
    using ResultHandler = std::function<void(const TandriCheckoutResult&)>;
    using ExitCallback = std::function<void(bool userCancelled)>;

    /// A spinner that hands a cancel result to `handler` when the user closes it.
    static std::shared_ptr<LoadingSpinnerViewController> initWithResultHandler(
        ResultHandler handler);
    /// A spinner that tells `callback` how it ended: true when the user closed it, false when
    /// it was taken away.
    static std::shared_ptr<LoadingSpinnerViewController> initWithExitCallback(
        ExitCallback callback);
    ~LoadingSpinnerViewController() override;

    void viewDidAppear(bool animated) override;
    void viewDidDisappear(bool animated) override;
    void appWillResignActive();
    void applicationDidBecomeActive();
    /// The close button's action.
    void exitSpinner();
    void setupCloseButton();
    /// Loads the 260 frames of the library's bundle; a missing frame ends the process.
    void beginLoadingAnimation();

    bool prefersStatusBarHidden() const override { return false; }
    StatusBarStyle preferredStatusBarStyle() const override;
    unsigned supportedInterfaceOrientations() const override {
        return InterfaceOrientationMask::Portrait;
    }
    bool isLoadingSpinner() const override { return true; }

    ResultHandler resultHandler;
    ExitCallback exitCallback;
    bool userDidCancel = false;
    std::shared_ptr<ImageView> loadingImageView;
    std::shared_ptr<Button> closeButton;
    bool isIpad = false;
    /// Seconds since 1970; 0 until the spinner has appeared.
    double startTime = 0;
    double endTime = 0;
    /// Receives the measurements; held strongly.
    std::shared_ptr<DataReportingDelegate> delegate;

    static constexpr int kFrameCount = 260;
    /// The bundle's name of animation frame `index` (0 to kFrameCount - 1).
    static std::string frameName(int index);
    /// One pass over every frame, in seconds: a single-precision 10.4.
    static constexpr double kAnimationDuration = static_cast<double>(10.4F);

  protected:
    void viewDidLoad() override;
};

}  // namespace tandri
