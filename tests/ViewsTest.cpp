#include <gtest/gtest.h>

#include "Core/Utils/NotificationCenter.hpp"
#include "Core/Views/ViewController.hpp"

using namespace tandri;

namespace {
class CountingController : public ViewController {
  public:
    int loads = 0;

  protected:
    void viewDidLoad() override {
        ++loads;
        view()->addSubview(View::make());  // re-entering view() must not load again
    }
};
}  // namespace

TEST(Views, ResponderWalkFindsTheOwningController) {
    auto outer = std::make_shared<CountingController>();
    auto inner = std::make_shared<CountingController>();
    auto root = outer->view();
    EXPECT_EQ(outer->view(), root);
    EXPECT_EQ(outer->loads, 1);

    auto middle = View::make();
    auto leaf = std::make_shared<Button>();
    root->addSubview(middle);
    middle->addSubview(leaf);
    EXPECT_EQ(leaf->getParentViewController(), outer);
    EXPECT_EQ(root->getParentViewController(), outer);

    // A child controller's root placed inside another controller's view: its subviews belong
    // to the child, the walk stopping at the first controller.
    root->addSubview(inner->view());
    auto innerLeaf = View::make();
    inner->view()->addSubview(innerLeaf);
    EXPECT_EQ(innerLeaf->getParentViewController(), inner);
    EXPECT_EQ(inner->nextResponder(), root);

    // Detached, or never inside a controller's view: nothing.
    middle->removeFromSuperview();
    EXPECT_EQ(leaf->getParentViewController(), nullptr);
    EXPECT_EQ(View::make()->getParentViewController(), nullptr);

    // The controller going away leaves its former root without an owner.
    auto survivor = root;
    outer.reset();
    EXPECT_EQ(survivor->getParentViewController(), nullptr);
}

TEST(Views, HierarchyMovesAndRefusesCycles) {
    auto a = View::make(), b = View::make(), c = View::make();
    a->addSubview(c);
    b->addSubview(c);  // moves
    EXPECT_TRUE(a->subviews().empty());
    ASSERT_EQ(b->subviews().size(), 1u);
    EXPECT_EQ(c->superview(), b);

    c->addSubview(a);
    a->addSubview(b);  // b is a's ancestor: refused
    EXPECT_EQ(b->superview(), nullptr);
    EXPECT_EQ(a->superview(), c);
    c->addSubview(c);
    EXPECT_EQ(c->subviews().size(), 1u);

    // Constraints are found by item and attribute; inactive ones are skipped.
    auto host = View::make();
    auto bar = std::make_shared<NavigationBar>();
    host->addSubview(bar);
    auto off = constrain(bar, LayoutAttribute::Top, host, LayoutAttribute::Top, 99);
    off.active = false;
    host->addConstraint(off);
    host->addConstraint(constrainToSafeArea(bar, LayoutAttribute::Top, host, LayoutAttribute::Top));
    const auto* top = host->constraintFor(*bar, LayoutAttribute::Top);
    ASSERT_NE(top, nullptr);
    EXPECT_TRUE(top->secondItem.safeArea);
    EXPECT_EQ(top->constant, 0);
    EXPECT_EQ(host->constraintFor(*bar, LayoutAttribute::Bottom), nullptr);
}

TEST(Views, ButtonsAndAnimationsActOnlyWhenTheyCan) {
    Button button;
    std::vector<int> ran;
    button.addAction(ControlEvent::TouchUpInside, [&] { ran.push_back(1); });
    button.addAction(ControlEvent::TouchDown, [&] { ran.push_back(9); });
    button.addAction(ControlEvent::TouchUpInside, [&] { ran.push_back(2); });
    button.sendActions(ControlEvent::TouchUpInside);
    EXPECT_EQ(ran, (std::vector<int>{1, 2}));
    button.setEnabled(false);
    button.sendActions(ControlEvent::TouchUpInside);
    button.setEnabled(true);
    button.setHidden(true);
    button.sendActions(ControlEvent::TouchUpInside);
    EXPECT_EQ(ran.size(), 2u);
    EXPECT_TRUE(button.accessibilityTraits() & AccessibilityTraits::Button);

    ImageView images;
    images.startAnimating();
    EXPECT_FALSE(images.isAnimating());  // no frames
    images.setAnimationImages({std::make_shared<Bitmap>()});
    images.startAnimating();
    EXPECT_TRUE(images.isAnimating());

    ActivityIndicator spinner;
    spinner.stopAnimating();
    EXPECT_TRUE(spinner.isHidden());
    spinner.startAnimating();
    EXPECT_FALSE(spinner.isHidden());

    GestureRecognizer tap;
    int taps = 0;
    tap.action = [&] { ++taps; };
    tap.fire();
    tap.enabled = false;
    tap.fire();
    EXPECT_EQ(taps, 1);
}

TEST(Notifications, DeliveryOrderRemovalAndOwnerLifetime) {
    NotificationCenter center;
    std::vector<std::string> seen;
    auto first = center.addObserver("n", [&](const Notification& n) {
        seen.push_back("first:" + n.userInfo.get("k")->asString());
    });
    center.addObserver("other", [&](const Notification&) { seen.push_back("other"); });
    auto second = center.addObserver("n", [&](const Notification&) { seen.push_back("second"); });

    center.post("n", Dictionary{{"k", Value("v")}});
    EXPECT_EQ(seen, (std::vector<std::string>{"first:v", "second"}));

    // Removing the later observer from inside the earlier one stops its delivery for this very
    // post; one added during a post hears only later posts.
    seen.clear();
    center.removeObserver(first);
    center.removeObserver(second);
    NotificationCenter::Token victim = 0;
    center.addObserver("n", [&](const Notification&) {
        center.removeObserver(victim);
        center.addObserver("n", [&](const Notification&) { seen.push_back("late"); });
        seen.push_back("remover");
    });
    victim = center.addObserver("n", [&](const Notification&) { seen.push_back("victim"); });
    center.post("n", Dictionary{{"k", Value("w")}});
    EXPECT_EQ(seen, (std::vector<std::string>{"remover"}));
    seen.clear();
    center.post("n");
    EXPECT_EQ(seen, (std::vector<std::string>{"remover", "late"}));

    // Owned observers: removed by owner and name, and silent once the owner is gone.
    auto owner = std::make_shared<int>(0);
    int background = 0, foreground = 0;
    center.addObserver(
        std::string(NotificationName::ApplicationDidEnterBackground),
        [&](const Notification&) { ++background; }, owner);
    center.addObserver(
        std::string(NotificationName::ApplicationWillEnterForeground),
        [&](const Notification&) { ++foreground; }, owner);
    center.removeObserver(owner.get(), NotificationName::ApplicationWillEnterForeground);
    center.post(NotificationName::ApplicationWillEnterForeground);
    center.post(NotificationName::ApplicationDidEnterBackground);
    EXPECT_EQ(foreground, 0);
    EXPECT_EQ(background, 1);
    owner.reset();
    center.post(NotificationName::ApplicationDidEnterBackground);
    EXPECT_EQ(background, 1);
    EXPECT_EQ(center.observerCount(NotificationName::ApplicationDidEnterBackground), 0u);
}
