#include "Platform/Simulated/SimulatedPresenter.hpp"

#include <utility>

#include "Core/Views/ViewController.hpp"

namespace tandri::sim {

void SimulatedPresenter::present(std::shared_ptr<ViewController> presenting,
                                 std::shared_ptr<ViewController> presented, bool animated,
                                 std::function<void()> completion) {
    std::size_t index = requests_.size();
    requests_.push_back({Request::Kind::Present, presenting, presented, animated});
    if (onRequest) onRequest(requests_.back());
    // Carried out when the queue gets to it, or earlier when hurried; once either way.
    auto finish = std::make_shared<std::function<void()>>(
        [this, index, presenting = std::move(presenting), presented = std::move(presented),
         animated, completion = std::move(completion)] {
            bool done = ViewController::completePresentation(presenting, presented, animated);
            requests_[index].outcome = done ? Request::Outcome::Done : Request::Outcome::Refused;
            if (onOutcome) onOutcome(requests_[index]);
            if (done && completion) completion();
        });
    if (animated) arriving_ = finish;
    queue_->post([finish] {
        if (auto run = std::exchange(*finish, nullptr)) run();
    });
}

void SimulatedPresenter::hurry() {
    auto finish = arriving_.lock();
    if (!finish || !*finish) return;
    ++hurried_;
    if (onHurry) onHurry();
    if (auto run = std::exchange(*finish, nullptr)) run();
}

void SimulatedPresenter::dismiss(std::shared_ptr<ViewController> presenting, bool animated,
                                 std::function<void()> completion) {
    std::size_t index = requests_.size();
    requests_.push_back({Request::Kind::Dismiss, presenting,
                         presenting ? presenting->presentedViewController() : nullptr, animated});
    if (onRequest) onRequest(requests_.back());
    queue_->post([this, index, presenting = std::move(presenting), animated,
                  completion = std::move(completion)] {
        bool done = ViewController::completeDismissal(presenting, animated);
        requests_[index].outcome = done ? Request::Outcome::Done : Request::Outcome::Refused;
        if (onOutcome) onOutcome(requests_[index]);
        if (done && completion) completion();
    });
}

}  // namespace tandri::sim
