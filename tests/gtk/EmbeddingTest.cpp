// The library inside a host's own GTK window: the checkout button as a widget the host packs
// between its own, and screens laid over the host's widgets and taken away again with nothing of
// the host's changed.

#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "Core/Utils/URL.hpp"
#include "Core/Views/Layout.hpp"
#include "EngineFixture.hpp"
#include "Input.hpp"
#include "Platform/Gtk/GtkMainQueue.hpp"
#include "Platform/Gtk/GtkPresenter.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Gtk/ViewWidget.hpp"
#include "Platform/Platform.hpp"
#include "Platform/Simulated/SimulatedStorage.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "SandboxServer.hpp"

namespace tandri {
namespace {

using namespace tandri::gtk;
using namespace tandri::gtk::testing;

void drain() {
    while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
}

struct EmbeddingTest : ::testing::Test {
    static void SetUpTestSuite() { initToolkit(); }
    void SetUp() override {
        saved = Platform::current();
        Platform ports;
        ports.mainQueue = std::make_shared<GtkMainQueue>();
        ports.keychain = std::make_shared<sim::SimulatedKeychain>();
        ports.userDefaults = std::make_shared<sim::SimulatedUserDefaults>();
        Platform::install(ports);
        window = GTK_WIDGET(newWindow());
    }
    void TearDown() override {
        if (window != nullptr) destroyWindow(window);
        Platform::install(saved);
    }
    Platform saved;
    GtkWidget* window = nullptr;
};

TEST_F(EmbeddingTest, TheCheckoutButtonIsAWidgetTheHostPacksBetweenItsOwn) {
    char pattern[] = "/tmp/tandri-embed-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string dir = pattern;
    demo::SandboxServer sandbox;
    ASSERT_TRUE(sandbox.start(TANDRI_SOURCE_DIR, dir)) << "the sandbox server did not start";
    const std::string savedDomain = makerDomain();
    setMakerDomain(sandbox.domain);
    TandriProfile::setCheckoutHost(sandbox.checkoutHost);
    auto factory = std::make_shared<GtkWebViewFactory>(
        NetworkSettings{sandbox.proxy, sandbox.leaf, sandbox.hosts()});
    Platform::current().webViews = factory;

    auto button = TandriCheckoutButton::initWithFrame({0, 0, 300, 56});
    int tapped = 0;
    button->onCheckoutWithProfile(
        TandriProfile(Environment::Sandbox, std::string("sandbox-api-key"), std::string("Shop")),
        TandriPurchaseInfo(), std::make_shared<ViewController>(), {}, [&] { ++tapped; },
        [](const TandriCheckoutResult&) {});
    std::weak_ptr<TandriCheckoutButton> weakButton = button;

    // The host's own window: a label, the button, another label, stacked in a box of its own.
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    GtkWidget* above = gtk_label_new("Your cart");
    GtkWidget* below = gtk_label_new("Returns within 30 days");
    GtkWidget* buttonWidget = ViewWidget::create(button, 300, 56);
    button.reset();  // the widget keeps its tree
    appendToBox(box, above, true);
    appendToBox(box, buttonWidget);
    appendToBox(box, below, true);
    setWindowChild(GTK_WINDOW(window), box);
    gtk_window_set_default_size(GTK_WINDOW(window), 360, 300);
    showWindow(GTK_WINDOW(window));
    ASSERT_NE(weakButton.lock(), nullptr);
    auto armed = std::static_pointer_cast<TandriCheckoutButton>(ViewWidget::root(buttonWidget));
    ASSERT_EQ(armed, weakButton.lock());
    GtkWidget* page = GTK_WIDGET(static_cast<GtkWebView&>(*armed->bridge->webView).widget());

    // The page lies exactly over the button's allocation, once it has loaded and shows.
    auto pageOverButton = [&] {
        return gtk_widget_get_mapped(page) && !webkit_web_view_is_loading(WEBKIT_WEB_VIEW(page)) &&
               boxOf(page) == boxOf(buttonWidget);
    };
    ASSERT_TRUE(spinUntil(pageOverButton, std::chrono::seconds(30)))
        << boxOf(page) << " vs " << boxOf(buttonWidget);
    EXPECT_FALSE(armed->liveWebViewHost->isHidden());
    EXPECT_TRUE(gtk_widget_is_ancestor(page, buttonWidget));
    const Box first = boxOf(buttonWidget);
    EXPECT_EQ(first.height, 56);
    EXPECT_LE(boxOf(above).y + boxOf(above).height, first.y);
    EXPECT_GE(boxOf(below).y, first.y + first.height);

    // A person's click on the button is the button's tap, not the page's click.
    EXPECT_EQ(ViewWidget::tap(buttonWidget, first.width / 2.0, 28), true);
    EXPECT_EQ(tapped, 1);
    ASSERT_TRUE(click(window, first.x + first.width / 2, first.y + 28));
    ASSERT_TRUE(spinUntil([&] { return tapped == 2; }, std::chrono::seconds(5)));

    // The window grows: the button takes its new width, the page follows it.
#if TANDRI_GTK_MAJOR == 4
    gtk_window_set_default_size(GTK_WINDOW(window), 520, 400);
#else
    gtk_window_resize(GTK_WINDOW(window), 520, 400);
#endif
    ASSERT_TRUE(spinUntil([&] { return boxOf(buttonWidget).width == 520 && pageOverButton(); },
                          std::chrono::seconds(10)))
        << boxOf(page) << " vs " << boxOf(buttonWidget);
    EXPECT_EQ(boxOf(buttonWidget).height, 56);
    EXPECT_EQ(armed->frame().width, 520);

    // The host lets the widget go: the tree goes with it, the page stays its bridge's.
    armed.reset();
    destroyWidget(buttonWidget);
    EXPECT_EQ(weakButton.lock(), nullptr);

    destroyWindow(window);
    window = nullptr;
    drain();
    setMakerDomain(savedDomain);
    std::system(("rm -rf " + dir).c_str());
}

/// What the host sees of one of its widgets.
struct Looks {
    GtkWidget* parent;
    bool visible, sensitive, canFocus, realized;
    bool operator==(const Looks&) const = default;
};

Looks looksOf(GtkWidget* widget) {
    return {gtk_widget_get_parent(widget), gtk_widget_get_visible(widget) != FALSE,
            gtk_widget_get_sensitive(widget) != FALSE, isFocusable(widget),
            gtk_widget_get_realized(widget) != FALSE};
}

/// A screen that counts the taps it takes anywhere.
class Cover : public ViewController {
  public:
    int tapped = 0;

  protected:
    void viewDidLoad() override {
        view()->setBackgroundColor(Color{0, 0, 1, 1, {}});
        view()->addGestureRecognizer({GestureRecognizer::Kind::Tap, 1, true, [this] { ++tapped; }});
    }
};

/// A script's result as text in a view of the host's own.
std::string run(WebKitWebView* view, const std::string& script) {
    auto out = std::make_shared<std::optional<std::string>>();
    webkit_web_view_evaluate_javascript(
        view, script.c_str(), -1, nullptr, nullptr, nullptr,
        +[](GObject* source, GAsyncResult* result, gpointer data) {
            auto* o = static_cast<std::shared_ptr<std::optional<std::string>>*>(data);
            JSCValue* value = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source),
                                                                         result, nullptr);
            char* text = value != nullptr ? jsc_value_to_string(value) : nullptr;
            **o = text != nullptr ? text : "<error>";
            g_free(text);
            if (value != nullptr) g_object_unref(value);
            delete o;
        },
        new std::shared_ptr<std::optional<std::string>>(out));
    spinUntil([&] { return out->has_value(); }, std::chrono::seconds(10));
    return out->value_or("<no answer>");
}

TEST_F(EmbeddingTest, AScreenCoversTheHostsOwnWidgetsAndGivesThemBackUntouched) {
    // The host's window: a box with an entry holding typed text and a web view of its own
    // whose page keeps some state.
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    GtkWidget* entry = gtk_entry_new();
    WebKitWebContext* context = newEphemeralContext();
    GtkWidget* hostPage = newWebView(context);
    appendToBox(box, entry);
    appendToBox(box, hostPage, true);
    setWindowChild(GTK_WINDOW(window), box);
    gtk_window_set_default_size(GTK_WINDOW(window), 400, 500);
    showWindow(GTK_WINDOW(window));
    webkit_web_view_load_html(
        WEBKIT_WEB_VIEW(hostPage),
        "<body style='background:#00ff00'><p id='own'>the host's page</p></body>", nullptr);
    ASSERT_TRUE(spinUntil(
        [&] {
            return run(WEBKIT_WEB_VIEW(hostPage),
                       "document.getElementById('own') ? document.readyState : ''") == "complete";
        },
        std::chrono::seconds(20)));
    run(WEBKIT_WEB_VIEW(hostPage), "window.hostState = 'kept'");
    gtk_widget_grab_focus(entry);
    setEntryText(entry, "typed");
    gtk_editable_set_position(GTK_EDITABLE(entry), -1);
    type(window, GDK_KEY_s);
    ASSERT_EQ(entryText(entry), "typeds");

    auto presenter = std::make_shared<GtkPresenter>(GTK_WINDOW(window));
    Platform::current().presenter = presenter;
    auto host = presenter->hostController();
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(presenter->topViewController(), host);
    GtkWidget* layer = gtk_widget_get_parent(box);
    ASSERT_TRUE(spinUntil([&] { return widgetWidth(box) > 1; }, std::chrono::seconds(5)));
    presenter->sync();
    const Box content = boxOf(box);
    EXPECT_EQ(host->view()->frame(), (Rect{0, 0, double(content.width), double(content.height)}));
    EXPECT_EQ(Platform::current().mainScreenBounds, host->view()->frame());
    const Looks boxBefore = looksOf(box), entryBefore = looksOf(entry),
                pageBefore = looksOf(hostPage);

    auto cover = std::make_shared<Cover>();
    bool presented = false;
    host->presentViewController(cover, true, [&] { presented = true; });
    ASSERT_TRUE(spinUntil([&] { return presented; }, std::chrono::seconds(5)));
    EXPECT_EQ(presenter->topViewController(), cover);

    // The screen lies over exactly the host's content.
    GtkWidget* screen = nullptr;
    for (GtkWidget* child : childrenOf(layer)) {
        if (ViewWidget::root(child) == cover->view()) screen = child;
    }
    ASSERT_NE(screen, nullptr);
    ASSERT_TRUE(spinUntil([&] { return boxOf(screen) == content; }, std::chrono::seconds(5)))
        << boxOf(screen) << " vs " << content;

    // A click in the middle and a key typed reach the screen, not the host's widgets under it.
    int hostClicks = 0;
    countPresses(entry, &hostClicks);
    countPresses(hostPage, &hostClicks);
    ASSERT_TRUE(click(window, content.x + content.width / 2, content.y + content.height / 2));
    ASSERT_TRUE(click(window, content.x + 10, content.y + 10));  // over the entry
    ASSERT_TRUE(spinUntil([&] { return cover->tapped == 2; }, std::chrono::seconds(5)));
    type(window, GDK_KEY_x);
    // Focus put back on the entry while the screen is up (by the host's code, a person's Tab)
    // still types nothing there.
    gtk_entry_grab_focus_without_selecting(GTK_ENTRY(entry));
    type(window, GDK_KEY_y);
    drain();
    EXPECT_EQ(hostClicks, 0);
    EXPECT_EQ(entryText(entry), "typeds");
    EXPECT_EQ(looksOf(box), boxBefore);
    EXPECT_EQ(looksOf(entry), entryBefore);
    EXPECT_EQ(looksOf(hostPage), pageBefore);

    // A picture of the screen: its own blue, over the whole content.
    const std::string path = "/tmp/tandri-embed-" + std::to_string(getpid()) + ".png";
    std::optional<bool> written;
    presenter->writeSnapshot(path, [&](bool ok) { written = ok; });
    ASSERT_TRUE(spinUntil([&] { return written.has_value(); }, std::chrono::seconds(10)));
    ASSERT_TRUE(*written);
    cairo_surface_t* shot = cairo_image_surface_create_from_png(path.c_str());
    EXPECT_EQ(cairo_image_surface_get_width(shot), content.width);
    EXPECT_EQ(cairo_image_surface_get_height(shot), content.height);
    const auto* middle = cairo_image_surface_get_data(shot) +
                         (content.height / 2) * cairo_image_surface_get_stride(shot);
    EXPECT_EQ(reinterpret_cast<const std::uint32_t*>(middle)[content.width / 2] & 0xffffff,
              0x0000ffu);
    cairo_surface_destroy(shot);

    // Taken away: the host's widgets as they were, with their text, their page and its state,
    // and the focus back where it was.
    bool dismissed = false;
    cover->dismissViewControllerAnimated(true, [&] { dismissed = true; });
    ASSERT_TRUE(spinUntil([&] { return dismissed; }, std::chrono::seconds(5)));
    EXPECT_EQ(presenter->topViewController(), host);
    EXPECT_EQ(childrenOf(layer).size(), 1u) << "the screen is gone";
    EXPECT_EQ(looksOf(box), boxBefore);
    EXPECT_EQ(looksOf(entry), entryBefore);
    EXPECT_EQ(looksOf(hostPage), pageBefore);
    EXPECT_EQ(entryText(entry), "typeds");
    EXPECT_EQ(run(WEBKIT_WEB_VIEW(hostPage), "window.hostState"), "kept");
    EXPECT_TRUE(hasFocus(entry));
    type(window, GDK_KEY_t);
    EXPECT_EQ(entryText(entry), "typedst");
    // With no screen up, a picture of the host's own content, its page included (the page paints
    // again in its own time once uncovered: take pictures until its green shows).
    const Box at = boxOf(hostPage);
    auto hostPageShows = [&] {
        written.reset();
        presenter->writeSnapshot(path, [&](bool ok) { written = ok; });
        if (!spinUntil([&] { return written.has_value(); }, std::chrono::seconds(10)) ||
            !*written) {
            return false;
        }
        shot = cairo_image_surface_create_from_png(path.c_str());
        const auto* row = cairo_image_surface_get_data(shot) +
                          (at.y + at.height / 2) * cairo_image_surface_get_stride(shot);
        const auto pixel = reinterpret_cast<const std::uint32_t*>(row)[at.x + at.width / 2];
        cairo_surface_destroy(shot);
        return (pixel & 0xffffff) == 0x00ff00u;
    };
    EXPECT_TRUE(spinUntil(hostPageShows, std::chrono::seconds(20)));
    unlink(path.c_str());

    // Without the presenter the content is the window's child again.
    Platform::current().presenter.reset();
    presenter.reset();
    EXPECT_EQ(gtk_widget_get_parent(box), window);
    EXPECT_EQ(looksOf(entry), entryBefore);
    destroyWindow(window);
    window = nullptr;
    g_object_unref(context);
}

TEST_F(EmbeddingTest, WhatLiesOverAPageIsDrawnOnScreenAndAWindowGoneFirstIsNoHarm) {
    auto factory = std::make_shared<GtkWebViewFactory>();
    Platform::current().webViews = factory;
    auto page = factory->makeWebView();
    page->loadHTMLString("<body style='background:#00ff00'></body>", std::nullopt);
    auto root = View::make();
    root->setBackgroundColor(Color::white());
    auto host = std::make_shared<WebViewHost>(Rect{0, 0, 200, 100});
    host->setWebView(page);
    auto badge = View::make();
    badge->setFrame({10, 10, 20, 20});
    badge->setBackgroundColor(Color{1, 0, 0, 1, {}});
    root->addSubview(host);
    root->addSubview(badge);  // over the page
    GtkWidget* widget = ViewWidget::create(root, 200, 100);
    setWindowChild(GTK_WINDOW(window), widget);
    showWindow(GTK_WINDOW(window));
    ASSERT_TRUE(spinUntil([&] { return widgetWidth(widget) == 200; }, std::chrono::seconds(5)));
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 200, 100);
    cairo_t* cr = cairo_create(surface);
    drawWidget(widget, cr, 200, 100);
    cairo_destroy(cr);
    cairo_surface_flush(surface);
    const auto* px = reinterpret_cast<const std::uint32_t*>(
        cairo_image_surface_get_data(surface) + 20 * cairo_image_surface_get_stride(surface));
    EXPECT_EQ(px[20] & 0xffffff, 0xff0000u);
    cairo_surface_destroy(surface);

    // A host that destroys its window while a screen is up, and only then the presenter.
    GtkWidget* other = GTK_WIDGET(newWindow());
    setWindowChild(GTK_WINDOW(other), gtk_label_new("the host's"));
    showWindow(GTK_WINDOW(other));
    auto presenter = std::make_shared<GtkPresenter>(GTK_WINDOW(other));
    Platform::current().presenter = presenter;
    bool presented = false;
    presenter->hostController()->presentViewController(std::make_shared<ViewController>(), false,
                                                       [&] { presented = true; });
    ASSERT_TRUE(spinUntil([&] { return presented; }, std::chrono::seconds(5)));
    destroyWindow(other);
    drain();
    Platform::current().presenter.reset();
    presenter.reset();
    drain();
}

}  // namespace
}  // namespace tandri
