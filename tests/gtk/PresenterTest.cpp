// Screens in a real GTK window: a presented controller's tree drawn over the
// host's, its web view placed where its host view lies, taps reaching the
// tree's buttons, a picture of it all, and dismissal taking it away again.

#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Core/Utils/NotificationCenter.hpp"
#include "EngineFixture.hpp"
#include "Platform/Desktop/Lifecycle.hpp"
#include "Platform/Gtk/GtkMainQueue.hpp"
#include "Platform/Gtk/GtkPresenter.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Platform.hpp"

namespace tandri {
namespace {

using namespace tandri::gtk;
using namespace tandri::gtk::testing;

class Sheet : public ViewController {
  public:
    explicit Sheet(std::shared_ptr<WebView> page) : page_(std::move(page)) {}
    int appeared = 0;
    int disappeared = 0;
    int tapped = 0;
    std::shared_ptr<WebViewHost> host;

    void viewDidAppear(bool) override { ++appeared; }
    void viewDidDisappear(bool) override { ++disappeared; }

  protected:
    void viewDidLoad() override {
        using A = LayoutAttribute;
        auto root = view();
        root->setBackgroundColor(Color{1, 0, 0, 1, {}});
        auto button = std::make_shared<Button>();
        button->setTranslatesAutoresizingMaskIntoConstraints(false);
        button->setBackgroundColor(Color{0, 0, 1, 1, {}});
        button->addAction(ControlEvent::TouchUpInside, [this] { ++tapped; });
        host = std::make_shared<WebViewHost>();
        host->setTranslatesAutoresizingMaskIntoConstraints(false);
        host->setWebView(page_);
        root->addSubview(button);
        root->addSubview(host);
        root->addConstraints({constrainConstant(button, A::Width, 40),
                              constrainConstant(button, A::Height, 40),
                              constrain(button, A::Top, root, A::Top, 10),
                              constrain(button, A::Trailing, root, A::Trailing, -10),
                              constrain(host, A::Leading, root, A::Leading),
                              constrain(host, A::Trailing, root, A::Trailing),
                              constrain(host, A::Top, root, A::Top, 100),
                              constrain(host, A::Bottom, root, A::Bottom, -100)});
    }

  private:
    std::shared_ptr<WebView> page_;
};

std::uint32_t pixelAt(cairo_surface_t* surface, int x, int y) {
    auto* data = cairo_image_surface_get_data(surface);
    return *reinterpret_cast<std::uint32_t*>(data + y * cairo_image_surface_get_stride(surface) +
                                             x * 4) &
           0xffffff;
}

TEST(GtkPresenter, PresentsTapsPicturesAndDismissesAControllerWithItsWebView) {
    initToolkit();
    Platform saved = Platform::current();
    Platform ports;
    ports.mainQueue = std::make_shared<GtkMainQueue>();
    auto factory = std::make_shared<GtkWebViewFactory>();
    ports.webViews = factory;
    GtkWidget* window = GTK_WIDGET(newWindow());
    gtk_window_set_default_size(GTK_WINDOW(window), 400, 600);
    auto host = std::make_shared<ViewController>();
    host->view()->setBackgroundColor(Color::white());
    auto presenter = std::make_shared<GtkPresenter>(GTK_WINDOW(window), host);
    ports.presenter = presenter;
    Platform::install(ports);
    showWindow(GTK_WINDOW(window));

    auto page = factory->makeWebView();
    bool loaded = false;
    page->loadHTMLString("<html><body style='margin:0;background:#00ff00'></body></html>",
                         std::nullopt);
    auto sheet = std::make_shared<Sheet>(page);

    bool presented = false;
    host->presentViewController(sheet, true, [&] { presented = true; });
    EXPECT_EQ(host->presentedViewController(), nullptr) << "a fade takes time";
    ASSERT_TRUE(spinUntil([&] { return presented; }, std::chrono::seconds(5)));
    EXPECT_EQ(host->presentedViewController(), sheet);
    EXPECT_EQ(presenter->topViewController(), sheet);
    EXPECT_EQ(sheet->appeared, 1);
    auto* widget = GTK_WIDGET(static_cast<GtkWebView&>(*page).widget());
    EXPECT_NE(gtk_widget_get_parent(widget), nullptr) << "the page is placed in the window";

    // The button sits 10 points inside the top-right corner; elsewhere nothing takes a tap.
    EXPECT_TRUE(presenter->tap(400 - 30, 30));
    EXPECT_EQ(sheet->tapped, 1);
    EXPECT_FALSE(presenter->tap(20, 50));
    EXPECT_EQ(sheet->tapped, 1);

    // A second presentation from the covered host is refused and leaves the sheet on top.
    bool second = false;
    host->presentViewController(std::make_shared<ViewController>(), false, [&] { second = true; });
    while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
    EXPECT_FALSE(second);
    EXPECT_EQ(presenter->topViewController(), sheet);

    // The picture: the sheet's red under and around the page, the page's own green inside. The
    // page paints in its own time after its load: take pictures until its green shows.
    loaded = spinUntil(
        [&] {
            bool ready = false, answered = false;
            page->evaluateJavaScript("document.readyState",
                                     [&](const std::optional<Value>& v, const auto&) {
                                         ready = v && v->isString() && v->asString() == "complete";
                                         answered = true;
                                     });
            spinUntil([&] { return answered; }, std::chrono::seconds(5));
            return ready;
        },
        std::chrono::seconds(10));
    ASSERT_TRUE(loaded);
    std::string path = "/tmp/tandri-presenter-" + std::to_string(getpid()) + ".png";
    cairo_surface_t* shot = nullptr;
    auto snapshot = [&] {
        if (shot != nullptr) cairo_surface_destroy(shot);
        shot = nullptr;
        std::optional<bool> written;
        presenter->writeSnapshot(path, [&](bool ok) { written = ok; });
        if (!spinUntil([&] { return written.has_value(); }, std::chrono::seconds(10)) ||
            !*written) {
            return false;
        }
        shot = cairo_image_surface_create_from_png(path.c_str());
        return cairo_surface_status(shot) == CAIRO_STATUS_SUCCESS;
    };
    ASSERT_TRUE(spinUntil([&] { return snapshot() && pixelAt(shot, 200, 300) == 0x00ff00u; },
                          std::chrono::seconds(20)));
    EXPECT_EQ(cairo_image_surface_get_width(shot), 400);
    EXPECT_EQ(cairo_image_surface_get_height(shot), 600);
    EXPECT_EQ(pixelAt(shot, 20, 50), 0xff0000u);
    EXPECT_EQ(pixelAt(shot, 370, 30), 0x0000ffu);
    EXPECT_EQ(pixelAt(shot, 200, 300), 0x00ff00u);
    EXPECT_EQ(pixelAt(shot, 200, 550), 0xff0000u);
    cairo_surface_destroy(shot);
    unlink(path.c_str());

    // Dismissal fades the sheet out, then unlinks it; the page leaves the window but lives on.
    bool dismissed = false;
    sheet->dismissViewControllerAnimated(true, [&] { dismissed = true; });
    ASSERT_TRUE(spinUntil([&] { return dismissed; }, std::chrono::seconds(5)));
    EXPECT_EQ(host->presentedViewController(), nullptr);
    EXPECT_EQ(sheet->disappeared, 1);
    EXPECT_EQ(presenter->topViewController(), host);
    EXPECT_EQ(gtk_widget_get_parent(widget), nullptr);

    // Hurried, a presentation on its way in skips the rest of its fade: the screen goes from
    // transparent to opaque in one step. With nothing on its way, hurrying changes nothing.
    presenter->hurry();
    EXPECT_EQ(presenter->topViewController(), host);
    presented = false;
    host->presentViewController(sheet, true, [&] { presented = true; });
    presenter->hurry();
    auto screenOpacity = [&] {
        double least = 1;
        for (GtkWidget* w = widget; w != nullptr; w = gtk_widget_get_parent(w))
            least = std::min(least, gtk_widget_get_opacity(w));
        return least;
    };
    std::vector<double> seen;
    ASSERT_TRUE(spinUntil(
        [&] {
            if (gtk_widget_get_parent(widget) != nullptr) seen.push_back(screenOpacity());
            return presented;
        },
        std::chrono::seconds(5)));
    EXPECT_EQ(presenter->topViewController(), sheet);
    EXPECT_TRUE(std::none_of(seen.begin(), seen.end(), [](double o) { return o > 0 && o < 1; }))
        << "a step of the fade was drawn";
    EXPECT_EQ(screenOpacity(), 1);
    dismissed = false;
    sheet->dismissViewControllerAnimated(false, [&] { dismissed = true; });
    ASSERT_TRUE(spinUntil([&] { return dismissed; }, std::chrono::seconds(5)));

    Platform::install(saved);
    presenter.reset();
    destroyWindow(window);
}

TEST(WindowLifecycle, FocusAndMinimisingPostEachChangeOnceInOrder) {
    std::vector<std::string> posted;
    auto& center = NotificationCenter::defaultCenter();
    for (auto name : {NotificationName::ApplicationWillResignActive,
                      NotificationName::ApplicationDidEnterBackground,
                      NotificationName::ApplicationWillEnterForeground,
                      NotificationName::ApplicationDidBecomeActive}) {
        center.addObserver(std::string(name),
                           [&posted](const Notification& n) { posted.push_back(n.name); });
    }
    desktop::WindowState state;
    desktop::transition(state, {false, false});  // focus goes to another window
    desktop::transition(state, {false, false});  // nothing changed
    desktop::transition(state, {false, true});   // minimised
    desktop::transition(state, {true, false});   // restored and focused at once
    desktop::transition(state, {false, true});   // minimised while focused
    center.removeAllObservers();
    EXPECT_EQ(posted, (std::vector<std::string>{"UIApplicationWillResignActiveNotification",
                                                "UIApplicationDidEnterBackgroundNotification",
                                                "UIApplicationWillEnterForegroundNotification",
                                                "UIApplicationDidBecomeActiveNotification",
                                                "UIApplicationWillResignActiveNotification",
                                                "UIApplicationDidEnterBackgroundNotification"}));
}

}  // namespace
}  // namespace tandri
