// The demo on Qt: the merchant's own Qt Widgets application (QtShop.cpp, written only against the
// public headers, as a merchant would) talking to the local sandbox checkout web application, and
// the autopilot (demo/host/Autopilot.cpp) that drives it like a person and checks what a person
// would see, with Qt's hands (this file). The autopilot may look inside the library; the shop may
// not. The command line is the autopilot's (see Autopilot.hpp).

#include <unistd.h>

#include <QApplication>
#include <QImage>
#include <QPushButton>
#include <QThread>
#include <cstdio>
#include <filesystem>
#include <string>

#include "Autopilot.hpp"
#include "Platform/Platform.hpp"
#include "Platform/Qt/QtPresenter.hpp"
#include "Platform/Qt/QtWebView.hpp"
#include "Platform/Qt/ViewWidget.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "QtShop.hpp"
#include "SandboxServer.hpp"

namespace {

using namespace tandri;

class QtHands final : public demo::Hands {
  public:
    QtHands(shop::Shop& store, std::shared_ptr<qt::QtPresenter> presenter)
        : store_(store), presenter_(std::move(presenter)) {}

    void pump() override {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(2);
    }
    std::shared_ptr<ViewController> top() override { return presenter_->topViewController(); }
    std::shared_ptr<ViewController> root() override { return presenter_->hostController(); }
    bool tapScreen(double x, double y) override { return presenter_->tap(x, y); }
    void tapPay() override {
        QWidget* pay = store_.payControl();
        if (auto* own = dynamic_cast<QPushButton*>(pay)) {
            own->click();
        } else if (auto* widget = dynamic_cast<qt::ViewWidget*>(pay)) {
            widget->tap(widget->width() / 2.0, widget->height() / 2.0);
        }
    }
    void writeSnapshot(const std::string& path, std::function<void(bool)> done) override {
        done(store_.checkout()->writeSnapshot(path));
    }
    void readMerchantStatus(std::function<void(std::string)> then) override {
        store_.merchantPage()->page()->runJavaScript(
            "document.getElementById('status') ? "
            "document.getElementById('status').textContent : ''",
            [then = std::move(then)](const QVariant& value) {
                then(value.toString().toStdString());
            });
    }
    void lookAtSavedButton(std::function<void(demo::SavedButtonLook)> then) override {
        auto* pay = dynamic_cast<qt::ViewWidget*>(store_.payControl());
        auto button = pay ? std::dynamic_pointer_cast<TandriCheckoutButton>(pay->root()) : nullptr;
        auto saved = std::dynamic_pointer_cast<qt::QtWebView>(SDKSettings::cachedWebviewIfMade());
        auto shownInside = [pay](QWidget* page) {
            if (page == nullptr || !page->isVisible() || pay == nullptr) return false;
            return pay->rect().contains(page->mapTo(pay, page->rect().center()));
        };
        demo::SavedButtonLook look;
        look.savedShown = saved && shownInside(saved->widget()) &&
                          SDKSettings::cachedWebviewHost()->superview() != nullptr;
        look.liveShown = button && button->liveWebViewHost &&
                         !button->liveWebViewHost->isHidden() &&
                         button->liveWebViewHost->superview() != nullptr;
        if (button) look.accessibilityLabel = button->accessibilityLabel();
        if (saved) {
            // What a person sees: the colour the saved page paints at its left, halfway down.
            const QImage picture = saved->widget()->grab().toImage();
            if (!picture.isNull()) {
                const QColor c = picture.pixelColor(12, picture.height() / 2);
                look.colour = std::array<int, 3>{c.red(), c.green(), c.blue()};
            }
        }
        then(look);
    }
    bool windowClosed() override { return !store_.window()->isVisible(); }

  private:
    shop::Shop& store_;
    std::shared_ptr<qt::QtPresenter> presenter_;
};

}  // namespace

int main(int argc, char** argv) {
    const demo::Options options = demo::parseOptions(argc, argv, "tandri-qt-demo");
    QApplication application(argc, argv);

    char work[] = "/tmp/tandri-qt-demo-XXXXXX";
    if (mkdtemp(work) == nullptr) return 1;
    demo::SandboxServer sandbox;
    if (!sandbox.start(TANDRI_SOURCE_DIR, work,
                       options.autoMode == "cached-button" ? "" : options.autoMode,
                       options.buttonStatus)) {
        std::fprintf(stderr, "the sandbox checkout server did not start (is node installed?)\n");
        return 1;
    }

    // The merchant's application, against the sandbox.
    shop::Shop store(demo::shopSettings(sandbox, options));
    if (!store.ready()) {
        std::fprintf(stderr, "tandri-qt-demo: the checkout could not be set up\n");
        return 1;
    }
    QtHands hands(store, std::dynamic_pointer_cast<qt::QtPresenter>(Platform::current().presenter));
    demo::Autopilot autopilot(options, hands, "tandri-qt-demo");
    store.onResult = [&autopilot](const TandriCheckoutResult& result) {
        autopilot.onResult(result);
    };
    store.window()->show();
    const int status = autopilot.run();
    // The library's screens and pages go while the application is still here.
    store.onResult = nullptr;
    std::filesystem::remove_all(work);
    return status;
}
