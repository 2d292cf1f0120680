#include "Core/Views/ViewController.hpp"

#include "Platform/Platform.hpp"
#include "Platform/Presenter.hpp"

namespace tandri {

std::shared_ptr<View> ViewController::view() {
    if (!view_) {
        view_ = loadView();
        if (!view_) view_ = View::make();
        view_->viewController_ = weak_from_this();
        viewDidLoad();
    }
    return view_;
}

void ViewController::setView(std::shared_ptr<View> view) {
    if (view_ && view_->viewController_.lock().get() == this) view_->viewController_.reset();
    view_ = std::move(view);
    if (view_) view_->viewController_ = weak_from_this();
}

std::shared_ptr<View> ViewController::loadView() {
    return View::make({0, 0, 375, 812});
}

void ViewController::presentViewController(std::shared_ptr<ViewController> controller,
                                           bool animated, std::function<void()> completion) {
    auto presenter = Platform::current().presenter;
    if (!presenter || !controller) return;
    presenter->present(shared_from_this(), std::move(controller), animated, std::move(completion));
}

void ViewController::dismissViewControllerAnimated(bool animated,
                                                   std::function<void()> completion) {
    auto presenter = Platform::current().presenter;
    if (!presenter) return;
    std::shared_ptr<ViewController> owner = presented_ ? shared_from_this() : presenting_.lock();
    if (!owner) return;
    presenter->dismiss(std::move(owner), animated, std::move(completion));
}

bool ViewController::completePresentation(const std::shared_ptr<ViewController>& presenting,
                                          const std::shared_ptr<ViewController>& presented,
                                          bool animated) {
    if (!presenting || !presented || presenting == presented) return false;
    if (presenting->presented_ || presented->presenting_.lock()) return false;
    presenting->presented_ = presented;
    presented->presenting_ = presenting;
    presented->view();
    presented->viewDidAppear(animated);
    return true;
}

bool ViewController::completeDismissal(const std::shared_ptr<ViewController>& presenting,
                                       bool animated) {
    if (!presenting || !presenting->presented_) return false;
    // Everything above `presenting` goes, the topmost first.
    std::vector<std::shared_ptr<ViewController>> chain;
    for (auto c = presenting->presented_; c; c = c->presented_) chain.push_back(c);
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        auto& gone = *it;
        auto below = gone->presenting_.lock();
        gone->presenting_.reset();
        if (below) below->presented_.reset();
        gone->viewDidDisappear(animated);
    }
    return true;
}

std::shared_ptr<Responder> ViewController::nextResponder() const {
    if (view_) {
        if (auto parent = view_->superview()) return parent;
    }
    return presenting_.lock();
}

}  // namespace tandri
