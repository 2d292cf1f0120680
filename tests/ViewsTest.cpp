#include <gtest/gtest.h>

#include "Core/Utils/NotificationCenter.hpp"
#include "Core/Views/Layout.hpp"
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

TEST(Layout, ConstraintsPlaceViewsAgainstTheRootTheSafeAreaAndEachOther) {
    using A = LayoutAttribute;
    auto root = View::make({0, 0, 375, 812});

    // A corner button and a centred square, as a full-screen spinner lays them out.
    auto close = std::make_shared<Button>();
    close->setTranslatesAutoresizingMaskIntoConstraints(false);
    auto square = std::make_shared<ImageView>();
    square->setTranslatesAutoresizingMaskIntoConstraints(false);
    root->addSubview(close);
    root->addSubview(square);
    root->addConstraints(
        {constrainConstant(close, A::Width, 44), constrainConstant(close, A::Height, 44),
         constrain(close, A::Top, root, A::Top, 36),
         constrain(close, A::Trailing, root, A::Trailing, -16),
         constrainConstant(square, A::Width, 100), constrainConstant(square, A::Height, 100),
         constrain(square, A::CenterX, root, A::CenterX),
         constrain(square, A::CenterY, root, A::CenterY)});

    // A bar on the safe area with a page under it, chained bar bottom to page top; the bar
    // takes its natural height.
    auto panel = View::make({0, 0, 375, 812});
    panel->setTranslatesAutoresizingMaskIntoConstraints(false);
    root->addSubview(panel);
    auto bar = std::make_shared<NavigationBar>();
    bar->setTranslatesAutoresizingMaskIntoConstraints(false);
    auto page = std::make_shared<WebViewHost>();
    page->setTranslatesAutoresizingMaskIntoConstraints(false);
    panel->addSubview(bar);
    panel->addSubview(page);
    root->addConstraints({constrain(panel, A::Leading, root, A::Leading),
                          constrain(panel, A::Trailing, root, A::Trailing),
                          constrain(panel, A::Top, root, A::Top),
                          constrain(panel, A::Bottom, root, A::Bottom)});
    panel->addConstraints({constrainToSafeArea(bar, A::Top, panel, A::Top),
                           constrainToSafeArea(bar, A::Leading, panel, A::Leading),
                           constrainToSafeArea(bar, A::Trailing, panel, A::Trailing),
                           constrain(page, A::Top, bar, A::Bottom),
                           constrainToSafeArea(page, A::Leading, panel, A::Leading),
                           constrainToSafeArea(page, A::Trailing, panel, A::Trailing),
                           constrainToSafeArea(page, A::Bottom, panel, A::Bottom)});

    // A frame-placed overlay that grows with the root, and one that does not.
    auto grows = View::make({0, 0, 375, 812});
    grows->setAutoresizingMask(AutoresizingMask::FlexibleWidth | AutoresizingMask::FlexibleHeight);
    auto stays = View::make({10, 20, 30, 40});
    root->addSubview(grows);
    root->addSubview(stays);

    layoutViewTree(*root, {0, 0, 375, 812}, {44, 0, 34, 0});
    EXPECT_EQ(close->frame(), (Rect{315, 36, 44, 44}));
    EXPECT_EQ(square->frame(), (Rect{137.5, 356, 100, 100}));
    EXPECT_EQ(bar->frame(), (Rect{0, 44, 375, 44}));
    EXPECT_EQ(page->frame(), (Rect{0, 88, 375, 690}));

    // A wider window: everything pinned follows, the flexible overlay grows, the other stays.
    layoutViewTree(*root, {0, 0, 1024, 700}, {});
    EXPECT_EQ(root->frame(), (Rect{0, 0, 1024, 700}));
    EXPECT_EQ(close->frame(), (Rect{964, 36, 44, 44}));
    EXPECT_EQ(square->frame(), (Rect{462, 300, 100, 100}));
    EXPECT_EQ(bar->frame(), (Rect{0, 0, 1024, 44}));
    EXPECT_EQ(page->frame(), (Rect{0, 44, 1024, 656}));
    EXPECT_EQ(grows->frame(), (Rect{0, 0, 1024, 700}));
    EXPECT_EQ(stays->frame(), (Rect{10, 20, 30, 40}));
    EXPECT_EQ(frameInRoot(*page), (Rect{0, 44, 1024, 656}));

    // Nothing fixes a view with no constraints and no natural size: it keeps its frame.
    auto loose = std::make_shared<View>(Rect{5, 6, 7, 8});
    loose->setTranslatesAutoresizingMaskIntoConstraints(false);
    panel->addSubview(loose);
    layoutViewTree(*root, {0, 0, 1024, 700}, {});
    EXPECT_EQ(loose->frame(), (Rect{5, 6, 7, 8}));
}
