#include "Core/Bridge/LoadingSpinnerViewController.hpp"

#include <string>
#include <vector>

#include "Core/Utils/Logging.hpp"
#include "Core/Utils/NotificationCenter.hpp"
#include "Core/Views/ImageAssets.hpp"
#include "Platform/Platform.hpp"
#include "tandri/Constants.hpp"

namespace tandri {

namespace {

double now() {
    return Platform::current().clock->now();
}

}  // namespace

std::shared_ptr<LoadingSpinnerViewController> LoadingSpinnerViewController::initWithResultHandler(
    ResultHandler handler) {
    auto spinner = std::make_shared<LoadingSpinnerViewController>();
    spinner->resultHandler = std::move(handler);
    return spinner;
}

std::shared_ptr<LoadingSpinnerViewController> LoadingSpinnerViewController::initWithExitCallback(
    ExitCallback callback) {
    auto spinner = std::make_shared<LoadingSpinnerViewController>();
    spinner->exitCallback = std::move(callback);
    spinner->userDidCancel = false;
    return spinner;
}

LoadingSpinnerViewController::~LoadingSpinnerViewController() {
    NotificationCenter::defaultCenter().removeObserver(this);
}

void LoadingSpinnerViewController::viewDidLoad() {
    view()->setBackgroundColor(Color::white());
    auto& device = Platform::current().device;
    isIpad = device && device->idiom() == DeviceIdiom::Pad;
    setupCloseButton();
    beginLoadingAnimation();

    auto& center = NotificationCenter::defaultCenter();
    std::weak_ptr<LoadingSpinnerViewController> weak =
        std::static_pointer_cast<LoadingSpinnerViewController>(shared_from_this());
    std::weak_ptr<const void> owner = weak;
    center.addObserver(
        std::string(NotificationName::ApplicationWillResignActive),
        [weak](const Notification&) {
            if (auto self = weak.lock()) self->appWillResignActive();
        },
        owner);
    center.addObserver(
        std::string(NotificationName::ApplicationDidBecomeActive),
        [weak](const Notification&) {
            if (auto self = weak.lock()) self->applicationDidBecomeActive();
        },
        owner);
}

void LoadingSpinnerViewController::setupCloseButton() {
    using A = LayoutAttribute;
    auto root = view();
    closeButton = std::make_shared<Button>();
    closeButton->setAccessibilityLabel(std::string("Cancel and return to merchant"));
    closeButton->setAccessibilityTraits(AccessibilityTraits::Button);
    closeButton->setIsAccessibilityElement(true);
    closeButton->setImage(imageNamed("close"));
    closeButton->setImageEdgeInsets({14, 14, 14, 14});
    closeButton->setTranslatesAutoresizingMaskIntoConstraints(false);
    root->addSubview(closeButton);
    const double margin = isIpad ? 8 : 0;
    root->addConstraints({constrainConstant(closeButton, A::Width, 44),
                          constrainConstant(closeButton, A::Height, 44),
                          constrain(closeButton, A::Top, root, A::Top, 36 + margin),
                          constrain(closeButton, A::Trailing, root, A::Trailing, -(16 + margin))});
    std::weak_ptr<ViewController> weak = weak_from_this();
    closeButton->addAction(ControlEvent::TouchUpInside, [weak] {
        if (auto self = std::static_pointer_cast<LoadingSpinnerViewController>(weak.lock())) {
            self->exitSpinner();
        }
    });
}

std::string LoadingSpinnerViewController::frameName(int index) {
    return "square_animation" + std::to_string(index);
}

void LoadingSpinnerViewController::beginLoadingAnimation() {
    using A = LayoutAttribute;
    loadingImageView = std::make_shared<ImageView>();
    loadingImageView->setAccessibilityLabel(std::string("Loading"));
    loadingImageView->setAccessibilityTraits(AccessibilityTraits::Image);
    loadingImageView->setIsAccessibilityElement(true);
    loadingImageView->setContentMode(ImageView::ContentMode::ScaleAspectFit);

    std::vector<BitmapRef> frames;
    frames.reserve(kFrameCount);
    for (int i = 0; i < kFrameCount; ++i) {
        std::string name = frameName(i);
        auto frame = imageNamed(name);
        // The animation cannot be shown with a hole in it: the library's bundle is broken.
        if (!frame) fatalError("the library's image \"" + name + "\" is missing");
        frames.push_back(std::move(frame));
    }
    loadingImageView->setAnimationImages(std::move(frames));
    loadingImageView->setAnimationDuration(kAnimationDuration);
    loadingImageView->setAnimationRepeatCount(0);
    loadingImageView->startAnimating();

    auto root = view();
    loadingImageView->setTranslatesAutoresizingMaskIntoConstraints(false);
    root->addSubview(loadingImageView);
    const double side = isIpad ? 150 : 100;
    root->addConstraints({constrainConstant(loadingImageView, A::Width, side),
                          constrainConstant(loadingImageView, A::Height, side),
                          constrain(loadingImageView, A::CenterX, root, A::CenterX),
                          constrain(loadingImageView, A::CenterY, root, A::CenterY)});
}

StatusBarStyle LoadingSpinnerViewController::preferredStatusBarStyle() const {
    return Platform::current().osVersion.isAtLeast(13) ? StatusBarStyle::DarkContent
                                                       : StatusBarStyle::Default;
}

void LoadingSpinnerViewController::viewDidAppear(bool animated) {
    ViewController::viewDidAppear(animated);
    startTime = now();
}

void LoadingSpinnerViewController::appWillResignActive() {
    if (loadingImageView) loadingImageView->stopAnimating();
}

void LoadingSpinnerViewController::applicationDidBecomeActive() {
    if (loadingImageView && !loadingImageView->isAnimating()) loadingImageView->startAnimating();
}

void LoadingSpinnerViewController::exitSpinner() {
    // Keeps itself alive through the callbacks, which may drop the last other reference.
    auto self = shared_from_this();
    userDidCancel = true;
    endTime = now();
    if (delegate) {
        delegate->recordLoadingSpinnerAbandonmentData(true);
        delegate->recordLoadingSpinnerInstrumentationData(startTime, endTime, userDidCancel);
    }
    if (resultHandler) {
        Dictionary payload;
        payload.set(kTandriCheckoutResultType, Value(kTandriCheckoutResultPaymentCancel));
        resultHandler(TandriCheckoutResult(std::move(payload)));
    } else if (exitCallback) {
        exitCallback(userDidCancel);
    }
    if (loadingImageView) loadingImageView->stopAnimating();
    dismissViewControllerAnimated(true);
}

void LoadingSpinnerViewController::viewDidDisappear(bool animated) {
    auto self = shared_from_this();
    // The frames go with the view, at once.
    setView(nullptr);
    loadingImageView.reset();
    closeButton.reset();
    if (exitCallback && !userDidCancel) exitCallback(false);
    if (!userDidCancel) {
        endTime = now();
        if (delegate) delegate->recordLoadingSpinnerInstrumentationData(startTime, endTime, false);
    }
    ViewController::viewDidDisappear(animated);
}

}  // namespace tandri
