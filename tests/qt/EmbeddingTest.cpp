// The library inside a host's own window: the checkout button is a widget the host lays out
// among its own, a presented screen covers the window's content and gives it back untouched
// (its widgets where they were, the focus where it was), and the window's activation and
// minimising are the application's life cycle.

#include <QLineEdit>
#include <QMainWindow>
#include <QVBoxLayout>

#include "Core/Utils/NotificationCenter.hpp"
#include "Core/Views/ViewController.hpp"
#include "EngineFixture.hpp"
#include "Platform/Qt/QtPresenter.hpp"
#include "Platform/Qt/ViewWidget.hpp"
#include "tandri/qt.hpp"

namespace tandri::qt {
namespace {

using namespace testing;

TEST(QtEmbedding, TheButtonIsTheHostsWidgetAndScreensGiveTheWindowBackUntouched) {
    char pattern[] = "/tmp/tandri-qt-embed-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const Platform saved = Platform::current();
    {
        QMainWindow window;
        auto* central = new QWidget;
        auto* layout = new QVBoxLayout(central);
        auto* entry = new QLineEdit("the host's text");
        layout->addWidget(entry);
        window.setCentralWidget(central);
        window.resize(420, 640);
        window.show();
        entry->setFocus();
        entry->setCursorPosition(4);

        Options options;
        options.applicationId = "com.example.EmbeddingTest";
        options.dataDirectory = std::string(pattern) + "/data";
        options.keychain = KeychainStore::ApplicationStore;
        auto installation = install(&window, options);
        ASSERT_NE(installation, nullptr);
        EXPECT_EQ(install(&window, options), nullptr) << "one installation per process";

        CheckoutButton button;
        layout->addWidget(button.widget());
        ASSERT_TRUE(spinUntil([&] { return button.widget()->isVisible(); }));
        EXPECT_EQ(button.widget()->parentWidget(), central);
        EXPECT_EQ(button.widget()->sizeHint(), QSize(380, 56));
        const QRect entryBefore = entry->geometry();
        const QRect buttonBefore = button.widget()->geometry();

        // A screen over the window: it covers all of it, above the host's widgets, and takes
        // the focus.
        auto presenter = std::dynamic_pointer_cast<QtPresenter>(Platform::current().presenter);
        ASSERT_NE(presenter, nullptr);
        auto screen = std::make_shared<ViewController>();
        screen->view()->setBackgroundColor(Color{0.2, 0.3, 0.8, 1, {}});
        bool presented = false;
        presenter->present(installation->screen(), screen, true, [&] { presented = true; });
        ASSERT_TRUE(spinUntil([&] { return presented; }));
        ASSERT_EQ(presenter->screens().size(), 1u);
        QWidget* cover = presenter->screens()[0];
        EXPECT_EQ(cover->parentWidget(), &window);
        EXPECT_EQ(cover->geometry(), window.rect());
        EXPECT_EQ(window.childAt(entryBefore.center() + central->pos()), cover);
        EXPECT_EQ(window.focusWidget(), cover);
        // The window grows: the screen with it.
        window.resize(500, 700);
        ASSERT_TRUE(spinUntil([&] { return cover->geometry() == window.rect(); }));
        window.resize(420, 640);

        // Taken down: nothing of the library is left over the host's widgets, which are where
        // they were, as they were, the focus back in the entry.
        bool dismissed = false;
        presenter->dismiss(installation->screen(), false, [&] { dismissed = true; });
        ASSERT_TRUE(spinUntil([&] { return dismissed && presenter->screens().empty(); }));
        ASSERT_TRUE(spinUntil([&] { return entry->geometry() == entryBefore; }));
        EXPECT_EQ(entry->parentWidget(), central);
        EXPECT_EQ(entry->text(), "the host's text");
        EXPECT_EQ(entry->cursorPosition(), 4);
        EXPECT_EQ(button.widget()->geometry(), buttonBefore);
        EXPECT_EQ(window.focusWidget(), entry);
        EXPECT_EQ(window.childAt(entryBefore.center() + central->pos()), entry);

        // Another window taking the activation is resigning; the window taking it back,
        // becoming active again. (Under Xvfb there is no window manager to minimise a window.)
        window.activateWindow();
        ASSERT_TRUE(spinUntil([&] { return window.isActiveWindow(); }));
        std::vector<std::string> heard;
        auto& center = NotificationCenter::defaultCenter();
        auto listen = [&](std::string_view name, const char* label) {
            return center.addObserver(std::string(name), [&heard, label](const Notification&) {
                heard.push_back(label);
            });
        };
        auto resign = listen(NotificationName::ApplicationWillResignActive, "resign");
        auto active = listen(NotificationName::ApplicationDidBecomeActive, "active");
        QWidget other;
        other.resize(100, 100);
        other.show();
        other.activateWindow();
        ASSERT_TRUE(spinUntil([&] { return !heard.empty(); }))
            << "the other window active: " << other.isActiveWindow();
        window.activateWindow();
        ASSERT_TRUE(spinUntil([&] { return heard.size() >= 2; }));
        EXPECT_EQ(heard, (std::vector<std::string>{"resign", "active"}));
        center.removeObserver(resign);
        center.removeObserver(active);
    }
    Platform::install(saved);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    std::system(("rm -rf " + std::string(pattern)).c_str());
}

}  // namespace
}  // namespace tandri::qt
