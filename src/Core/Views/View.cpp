#include "Core/Views/View.hpp"

#include <algorithm>

#include "Core/Views/ViewController.hpp"

namespace tandri {

void View::addSubview(const std::shared_ptr<View>& view) {
    if (!view || view.get() == this) return;
    if (isDescendantOf(*view)) return;  // would make a cycle
    view->removeFromSuperview();
    view->superview_ = weak_from_this();
    subviews_.push_back(view);
}

void View::removeFromSuperview() {
    auto parent = superview_.lock();
    superview_.reset();
    if (!parent) return;
    auto& siblings = parent->subviews_;
    siblings.erase(std::remove_if(siblings.begin(), siblings.end(),
                                  [this](const auto& v) { return v.get() == this; }),
                   siblings.end());
}

bool View::isDescendantOf(const View& ancestor) const {
    if (this == &ancestor) return true;
    for (auto v = superview(); v; v = v->superview()) {
        if (v.get() == &ancestor) return true;
    }
    return false;
}

void View::addConstraints(std::vector<LayoutConstraint> constraints) {
    for (auto& c : constraints) constraints_.push_back(std::move(c));
}

const LayoutConstraint* View::constraintFor(const View& item, LayoutAttribute attribute) const {
    for (const auto& c : constraints_) {
        if (c.active && c.firstAttribute == attribute && c.firstItem.lock().get() == &item) {
            return &c;
        }
    }
    return nullptr;
}

std::shared_ptr<Responder> View::nextResponder() const {
    if (auto controller = viewController_.lock()) {
        if (controller->isViewLoaded() && controller->view().get() == this) return controller;
    }
    return superview_.lock();
}

std::shared_ptr<ViewController> View::getParentViewController() const {
    // Step from this view first: it need not be owned by a shared_ptr itself.
    std::shared_ptr<Responder> current = nextResponder();
    while (std::dynamic_pointer_cast<View>(current)) current = current->nextResponder();
    return std::dynamic_pointer_cast<ViewController>(current);
}

LayoutConstraint constrain(const std::shared_ptr<View>& first, LayoutAttribute firstAttribute,
                           const std::shared_ptr<View>& second, LayoutAttribute secondAttribute,
                           double constant, double multiplier, LayoutRelation relation) {
    LayoutConstraint c;
    c.firstItem.view = first;
    c.firstAttribute = firstAttribute;
    c.relation = relation;
    c.secondItem.view = second;
    c.secondAttribute = secondAttribute;
    c.multiplier = multiplier;
    c.constant = constant;
    return c;
}

LayoutConstraint constrainToSafeArea(const std::shared_ptr<View>& first,
                                     LayoutAttribute firstAttribute,
                                     const std::shared_ptr<View>& second,
                                     LayoutAttribute secondAttribute, double constant) {
    auto c = constrain(first, firstAttribute, second, secondAttribute, constant);
    c.secondItem.safeArea = true;
    return c;
}

LayoutConstraint constrainToEdge(bool safeArea, const std::shared_ptr<View>& first,
                                 LayoutAttribute firstAttribute,
                                 const std::shared_ptr<View>& second,
                                 LayoutAttribute secondAttribute, double constant) {
    return safeArea ? constrainToSafeArea(first, firstAttribute, second, secondAttribute, constant)
                    : constrain(first, firstAttribute, second, secondAttribute, constant);
}

LayoutConstraint constrainConstant(const std::shared_ptr<View>& first, LayoutAttribute attribute,
                                   double constant) {
    LayoutConstraint c;
    c.firstItem.view = first;
    c.firstAttribute = attribute;
    c.constant = constant;
    return c;
}

void Button::addAction(ControlEvent event, std::function<void()> action) {
    actions_.emplace_back(event, std::move(action));
}

void Button::sendActions(ControlEvent event) const {
    if (!enabled_ || !isUserInteractionEnabled() || isHidden()) return;
    // A copy: an action may add actions or drop the button.
    auto actions = actions_;
    for (const auto& [e, action] : actions) {
        if (e == event && action) action();
    }
}

std::size_t Button::actionCount(ControlEvent event) const {
    return static_cast<std::size_t>(std::count_if(
        actions_.begin(), actions_.end(), [event](const auto& a) { return a.first == event; }));
}

}  // namespace tandri
