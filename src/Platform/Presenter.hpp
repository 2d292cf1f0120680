// Presenting and dismissing view controllers modally. The platform animates (or not) and, once
// done, completes the change through ViewController's completePresentation/completeDismissal and
// then calls the completion.
#pragma once

#include <functional>
#include <memory>

namespace tandri {

class ViewController;

class Presenter {
  public:
    virtual ~Presenter() = default;
    /// `presenting` shows `presented` modally.
    virtual void present(std::shared_ptr<ViewController> presenting,
                         std::shared_ptr<ViewController> presented, bool animated,
                         std::function<void()> completion) = 0;
    /// `presenting` takes away what it presented (and whatever that presented in turn).
    virtual void dismiss(std::shared_ptr<ViewController> presenting, bool animated,
                         std::function<void()> completion) = 0;
    /// A presentation still on its way in finishes now, its animation cut short, so that what
    /// waits for it comes at once. Nothing else changes; with nothing on its way, nothing at all.
    virtual void hurry() {}
};

}  // namespace tandri
