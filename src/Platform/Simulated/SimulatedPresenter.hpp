// A presenter that finishes each presentation or dismissal only when the test drains the main
// queue, and records every request. A request that finds nothing to do by then (a controller
// that already presents, a second dismissal of the same screen) is refused: no change and no
// completion.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "Platform/Presenter.hpp"
#include "Platform/Simulated/SimulatedMainQueue.hpp"

namespace tandri::sim {

class SimulatedPresenter final : public Presenter {
  public:
    struct Request {
        enum class Kind { Present, Dismiss };
        enum class Outcome { Pending, Done, Refused };
        Kind kind;
        std::weak_ptr<ViewController> presenting;
        std::weak_ptr<ViewController> presented;  // for Present: what was shown
        bool animated;
        Outcome outcome = Outcome::Pending;
    };

    explicit SimulatedPresenter(std::shared_ptr<SimulatedMainQueue> queue)
        : queue_(std::move(queue)) {}

    void present(std::shared_ptr<ViewController> presenting,
                 std::shared_ptr<ViewController> presented, bool animated,
                 std::function<void()> completion) override;
    void dismiss(std::shared_ptr<ViewController> presenting, bool animated,
                 std::function<void()> completion) override;
    /// Carries out the last animated presentation now if the queue has not got to it yet.
    void hurry() override;
    /// How many presentations were hurried.
    int hurried() const { return hurried_; }

    /// Every request so far, oldest first.
    const std::vector<Request>& requests() const { return requests_; }

    /// Told of each request as it is made, and again when it is carried out or refused.
    std::function<void(const Request&)> onRequest;
    std::function<void(const Request&)> onOutcome;
    /// Told when a presentation on its way in is hurried (before it is carried out).
    std::function<void()> onHurry;

  private:
    std::shared_ptr<SimulatedMainQueue> queue_;
    std::vector<Request> requests_;
    std::weak_ptr<std::function<void()>> arriving_;
    int hurried_ = 0;
};

}  // namespace tandri::sim
