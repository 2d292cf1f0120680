#include "Core/Views/Layout.hpp"

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace tandri {

namespace {

// One axis of a rectangle in root coordinates: any two of the four values fix the other two.
struct Axis {
    std::optional<double> lo, hi, len, mid;

    bool complete() const { return lo && hi && len && mid; }

    bool set(std::optional<double>& slot, double value) {
        if (slot) return false;  // the first constraint to fix a value wins
        slot = value;
        settle();
        return true;
    }

    void settle() {
        if (lo && len) {
            hi = hi.value_or(*lo + *len);
            mid = mid.value_or(*lo + *len / 2);
        } else if (lo && hi) {
            len = *hi - *lo;
            mid = mid.value_or((*lo + *hi) / 2);
        } else if (lo && mid) {
            len = 2 * (*mid - *lo);
            hi = *lo + *len;
        } else if (hi && len) {
            lo = *hi - *len;
            mid = *lo + *len / 2;
        } else if (hi && mid) {
            len = 2 * (*hi - *mid);
            lo = *hi - *len;
        } else if (len && mid) {
            lo = *mid - *len / 2;
            hi = *lo + *len;
        }
    }
};

struct Node {
    View* view = nullptr;
    View* superview = nullptr;
    Rect oldFrame;
    Axis x, y;
    bool fixed = false;  // placed by its frame, not by constraints
};

bool isHorizontal(LayoutAttribute a) {
    switch (a) {
        case LayoutAttribute::Left:
        case LayoutAttribute::Right:
        case LayoutAttribute::Leading:
        case LayoutAttribute::Trailing:
        case LayoutAttribute::Width:
        case LayoutAttribute::CenterX:
            return true;
        default:
            return false;
    }
}

std::optional<double>& slotOf(Node& node, LayoutAttribute a) {
    Axis& axis = isHorizontal(a) ? node.x : node.y;
    switch (a) {
        case LayoutAttribute::Left:
        case LayoutAttribute::Leading:
        case LayoutAttribute::Top:
            return axis.lo;
        case LayoutAttribute::Right:
        case LayoutAttribute::Trailing:
        case LayoutAttribute::Bottom:
            return axis.hi;
        case LayoutAttribute::Width:
        case LayoutAttribute::Height:
            return axis.len;
        default:
            return axis.mid;
    }
}

class Solver {
  public:
    Solver(View& root, Rect bounds, EdgeInsets safeArea) : safeArea_(safeArea) {
        collect(root, nullptr);
        Node& r = nodes_.front();
        r.fixed = true;
        r.x.set(r.x.lo, 0);
        r.x.set(r.x.len, bounds.width);
        r.y.set(r.y.lo, 0);
        r.y.set(r.y.len, bounds.height);
        root.setFrame(bounds);
        rootSafe_ = {safeArea.left, safeArea.top,
                     std::max(0.0, bounds.width - safeArea.left - safeArea.right),
                     std::max(0.0, bounds.height - safeArea.top - safeArea.bottom)};
    }

    void run() {
        propagate();
        for (Node& n : nodes_) {
            if (n.fixed) continue;
            auto natural = intrinsicSizeOf(*n.view);
            if (natural.width && !n.x.complete()) n.x.set(n.x.len, *natural.width);
            if (natural.height && !n.y.complete()) n.y.set(n.y.len, *natural.height);
        }
        propagate();
        // Whatever is still open keeps its old frame, relative to its superview.
        for (Node& n : nodes_) {
            if (n.fixed) continue;
            Node* parent = nodeOf(n.superview);
            const double px = parent && parent->x.lo ? *parent->x.lo : 0;
            const double py = parent && parent->y.lo ? *parent->y.lo : 0;
            if (!n.x.complete()) {
                n.x.set(n.x.len, n.oldFrame.width);
                n.x.set(n.x.lo, px + n.oldFrame.x);
            }
            if (!n.y.complete()) {
                n.y.set(n.y.len, n.oldFrame.height);
                n.y.set(n.y.lo, py + n.oldFrame.y);
            }
            propagate();
        }
        for (std::size_t i = 1; i < nodes_.size(); ++i) {
            Node& n = nodes_[i];
            Node* parent = nodeOf(n.superview);
            n.view->setFrame(
                {*n.x.lo - *parent->x.lo, *n.y.lo - *parent->y.lo, *n.x.len, *n.y.len});
        }
    }

  private:
    void collect(View& view, View* superview) {
        index_[&view] = nodes_.size();
        Node node;
        node.view = &view;
        node.superview = superview;
        node.oldFrame = view.frame();
        node.fixed = superview != nullptr && view.translatesAutoresizingMaskIntoConstraints();
        nodes_.push_back(node);
        for (const auto& c : view.constraints()) constraints_.push_back(&c);
        for (const auto& sub : view.subviews()) collect(*sub, &view);
    }

    Node* nodeOf(const View* view) {
        auto it = index_.find(view);
        return it == index_.end() ? nullptr : &nodes_[it->second];
    }

    /// The value of `attribute` of an item, when known.
    std::optional<double> valueOf(const LayoutItem& item, LayoutAttribute attribute) {
        auto view = item.lock();
        Node* node = view ? nodeOf(view.get()) : nullptr;
        if (!node) return std::nullopt;
        if (!item.safeArea) return slotOf(*node, attribute);
        if (!node->x.complete() || !node->y.complete()) return std::nullopt;
        // The guide is the view's rectangle clipped to the root's safe area.
        Node guide;
        const double x0 = std::max(*node->x.lo, rootSafe_.x);
        const double x1 = std::min(*node->x.hi, rootSafe_.x + rootSafe_.width);
        const double y0 = std::max(*node->y.lo, rootSafe_.y);
        const double y1 = std::min(*node->y.hi, rootSafe_.y + rootSafe_.height);
        guide.x.set(guide.x.lo, x0);
        guide.x.set(guide.x.hi, std::max(x0, x1));
        guide.y.set(guide.y.lo, y0);
        guide.y.set(guide.y.hi, std::max(y0, y1));
        return slotOf(guide, attribute);
    }

    bool placeFixed(Node& n) {
        if (!n.fixed || n.x.complete()) return false;
        Node* parent = nodeOf(n.superview);
        if (!parent || !parent->x.complete() || !parent->y.complete()) return false;
        Rect f = n.oldFrame;
        const Rect oldParent = parent->oldFrame;
        const unsigned mask = n.view->autoresizingMask();
        if (mask & AutoresizingMask::FlexibleWidth) f.width += *parent->x.len - oldParent.width;
        if (mask & AutoresizingMask::FlexibleHeight) f.height += *parent->y.len - oldParent.height;
        n.x.set(n.x.lo, *parent->x.lo + f.x);
        n.x.set(n.x.len, std::max(0.0, f.width));
        n.y.set(n.y.lo, *parent->y.lo + f.y);
        n.y.set(n.y.len, std::max(0.0, f.height));
        return true;
    }

    bool apply(const LayoutConstraint& c) {
        if (!c.active || c.relation != LayoutRelation::Equal) return false;
        auto first = c.firstItem.lock();
        Node* target = first ? nodeOf(first.get()) : nullptr;
        if (!target || target->fixed || c.firstItem.safeArea) return false;
        if (c.firstAttribute == LayoutAttribute::NotAnAttribute) return false;
        std::optional<double>& slot = slotOf(*target, c.firstAttribute);
        if (slot) return false;
        if (c.secondAttribute == LayoutAttribute::NotAnAttribute || !c.secondItem.lock()) {
            return setSlot(*target, c.firstAttribute, c.constant);
        }
        auto other = valueOf(c.secondItem, c.secondAttribute);
        if (!other) return false;
        return setSlot(*target, c.firstAttribute, *other * c.multiplier + c.constant);
    }

    bool setSlot(Node& node, LayoutAttribute attribute, double value) {
        Axis& axis = isHorizontal(attribute) ? node.x : node.y;
        return axis.set(slotOf(node, attribute), value);
    }

    void propagate() {
        for (bool changed = true; changed;) {
            changed = false;
            for (Node& n : nodes_) changed |= placeFixed(n);
            for (const LayoutConstraint* c : constraints_) changed |= apply(*c);
        }
    }

    EdgeInsets safeArea_;
    Rect rootSafe_;
    std::vector<Node> nodes_;
    std::unordered_map<const View*, std::size_t> index_;
    std::vector<const LayoutConstraint*> constraints_;
};

std::optional<Size> imageSize(const BitmapRef& image) {
    if (!image) return std::nullopt;
    return image->size();
}

}  // namespace

IntrinsicSize intrinsicSizeOf(const View& view) {
    if (auto* image = dynamic_cast<const ImageView*>(&view)) {
        auto size = imageSize(image->image());
        if (!size && !image->animationImages().empty())
            size = imageSize(image->animationImages()[0]);
        if (size) return {size->width, size->height};
    } else if (auto* button = dynamic_cast<const Button*>(&view)) {
        if (auto size = imageSize(button->image())) {
            const EdgeInsets in = button->contentEdgeInsets();
            return {size->width + in.left + in.right, size->height + in.top + in.bottom};
        }
    } else if (auto* spinner = dynamic_cast<const ActivityIndicator*>(&view)) {
        const double side = spinner->style() == ActivityIndicator::Style::Large ? 37 : 20;
        return {side, side};
    } else if (dynamic_cast<const NavigationBar*>(&view)) {
        return {std::nullopt, 44.0};
    }
    return {};
}

void layoutViewTree(View& root, Rect bounds, EdgeInsets safeArea) {
    Solver solver(root, bounds, safeArea);
    solver.run();
}

Rect frameInRoot(const View& view) {
    Rect r = view.frame();
    for (auto parent = view.superview(); parent && parent->superview();
         parent = parent->superview()) {
        r.x += parent->frame().x;
        r.y += parent->frame().y;
    }
    return r;
}

}  // namespace tandri
