#include <gtest/gtest.h>

#include "Core/Views/ViewController.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"

using namespace tandri;
using Request = sim::SimulatedPresenter::Request;

namespace {
// Records its life-cycle calls into a shared journal.
class JournalController : public ViewController {
  public:
    JournalController(std::string name, std::vector<std::string>& journal)
        : name_(std::move(name)), journal_(journal) {}
    void viewDidAppear(bool animated) override {
        journal_.push_back(name_ + ".appear" + (animated ? "(animated)" : ""));
    }
    void viewDidDisappear(bool) override { journal_.push_back(name_ + ".disappear"); }

  protected:
    void viewDidLoad() override { journal_.push_back(name_ + ".load"); }

  private:
    std::string name_;
    std::vector<std::string>& journal_;
};

// A screen with a navigation bar whose cancel item dismisses it, with its colours by OS version.
class BarController : public ViewController {
  protected:
    void viewDidLoad() override {
        auto bar = std::make_shared<NavigationBar>();
        auto cancel = std::make_shared<BarButtonItem>();
        std::weak_ptr<ViewController> self = weak_from_this();
        cancel->action = [self] {
            if (auto me = self.lock()) me->dismissViewControllerAnimated(true);
        };
        bar->setItems({NavigationItem{std::nullopt, nullptr, cancel}});
        bool modern = Platform::current().osVersion.isAtLeast(13);
        bar->setBarTintColor(modern ? Color::systemGray6()
                                    : Color{242 / 255.0, 242 / 255.0, 247 / 255.0, 1, {}});
        view()->addSubview(bar);
    }
};
}  // namespace

TEST(Presentation, HappensOnlyWhenTheMainQueueDrains) {
    sim::SimulatedPlatform platform;
    std::vector<std::string> journal;
    auto root = std::make_shared<JournalController>("root", journal);
    auto sheet = std::make_shared<JournalController>("sheet", journal);
    root->view();
    journal.clear();

    root->presentViewController(sheet, true, [&] { journal.push_back("completion"); });
    EXPECT_EQ(root->presentedViewController(), nullptr);
    EXPECT_FALSE(sheet->isViewLoaded());
    EXPECT_TRUE(journal.empty());

    platform.mainQueue().drain();
    EXPECT_EQ(journal,
              (std::vector<std::string>{"sheet.load", "sheet.appear(animated)", "completion"}));
    EXPECT_EQ(root->presentedViewController(), sheet);
    EXPECT_EQ(sheet->presentingViewController(), root);
    ASSERT_EQ(platform.presenter().requests().size(), 1u);
    EXPECT_EQ(platform.presenter().requests()[0].outcome, Request::Outcome::Done);
    EXPECT_TRUE(platform.presenter().requests()[0].animated);

    // A second presentation from a controller that already presents is refused, silently.
    auto other = std::make_shared<JournalController>("other", journal);
    bool otherCompleted = false;
    root->presentViewController(other, false, [&] { otherCompleted = true; });
    platform.mainQueue().drain();
    EXPECT_FALSE(otherCompleted);
    EXPECT_EQ(root->presentedViewController(), sheet);
    EXPECT_EQ(platform.presenter().requests()[1].outcome, Request::Outcome::Refused);

    // The presented controller asks for its own dismissal: its presenter takes it away.
    journal.clear();
    sheet->dismissViewControllerAnimated(false, [&] { journal.push_back("dismissed"); });
    EXPECT_EQ(root->presentedViewController(), sheet);
    platform.mainQueue().drain();
    EXPECT_EQ(journal, (std::vector<std::string>{"sheet.disappear", "dismissed"}));
    EXPECT_EQ(root->presentedViewController(), nullptr);
    EXPECT_EQ(sheet->presentingViewController(), nullptr);
    EXPECT_EQ(platform.presenter().requests()[2].kind, Request::Kind::Dismiss);
}

TEST(Presentation, DismissingTheBottomTakesTheWholeStackTopFirst) {
    sim::SimulatedPlatform platform;
    std::vector<std::string> journal;
    auto a = std::make_shared<JournalController>("a", journal);
    auto b = std::make_shared<JournalController>("b", journal);
    auto c = std::make_shared<JournalController>("c", journal);
    a->presentViewController(b, false);
    platform.mainQueue().drain();
    b->presentViewController(c, false);  // a controller presenting another from its own screen
    platform.mainQueue().drain();
    EXPECT_EQ(b->presentedViewController(), c);
    EXPECT_EQ(c->view()->nextResponder(), c);
    EXPECT_EQ(c->nextResponder(), b);

    // Two dismissals before the main queue runs (a double tap): the second finds nothing left.
    journal.clear();
    int completions = 0;
    a->dismissViewControllerAnimated(true, [&] { ++completions; });
    a->dismissViewControllerAnimated(true, [&] { ++completions; });
    platform.mainQueue().drain();
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(platform.presenter().requests().back().outcome, Request::Outcome::Refused);
    EXPECT_EQ(journal, (std::vector<std::string>{"c.disappear", "b.disappear"}));
    EXPECT_EQ(a->presentedViewController(), nullptr);
    EXPECT_EQ(b->presentedViewController(), nullptr);
    EXPECT_EQ(c->presentingViewController(), nullptr);

    // Dismissing when nothing is shown asks nothing of the platform.
    auto before = platform.presenter().requests().size();
    a->dismissViewControllerAnimated(true);
    EXPECT_EQ(platform.presenter().requests().size(), before);
}

TEST(Presentation, CancelItemDismissesAndColoursFollowTheOSVersion) {
    sim::SimulatedPlatform platform;
    platform.setOSVersion(12, 4);
    auto root = std::make_shared<ViewController>();
    auto popup = std::make_shared<BarController>();
    root->presentViewController(popup, true);
    platform.mainQueue().drain();

    auto bar = std::dynamic_pointer_cast<NavigationBar>(popup->view()->subviews().at(0));
    ASSERT_TRUE(bar);
    EXPECT_EQ(bar->barTintColor()->systemName, "");
    EXPECT_DOUBLE_EQ(bar->barTintColor()->blue, 0.9686274509803922);
    ASSERT_TRUE(bar->rightBarButtonItem());
    EXPECT_EQ(bar->rightBarButtonItem()->systemItem, BarButtonItem::SystemItem::Cancel);

    bar->rightBarButtonItem()->trigger();
    EXPECT_EQ(root->presentedViewController(), popup);
    platform.mainQueue().drain();
    EXPECT_EQ(root->presentedViewController(), nullptr);

    platform.setOSVersion(13, 0);
    auto modern = std::make_shared<BarController>();
    auto modernBar = std::dynamic_pointer_cast<NavigationBar>(modern->view()->subviews().at(0));
    EXPECT_EQ(modernBar->barTintColor()->systemName, "systemGray6");
}
