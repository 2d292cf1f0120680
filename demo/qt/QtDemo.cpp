// The Qt demo: the merchant's own Qt Widgets application (QtShop.cpp, written only against the
// public headers, as a merchant would) talking to the local sandbox checkout web application,
// and an autopilot (this file) that drives it like a person and checks what a person would see.
// The autopilot may look inside the library; the shop may not.
//
//   tandri-qt-demo [--manual | --hybrid]
//                  [--auto success|cancel|error|spinner-cancel|cached-button]
//                  [--button-status N] [--screenshots DIR] [--timeout SECONDS]
//
// --manual puts the merchant's own "Pay" control in place of the checkout button and starts a
// manual checkout session from it. With --auto it taps the button itself, the checkout page
// picks a card and pays (or cancels, or fails), and the result is printed as one JSON line; the
// exit status is 0 when the checkout ended as asked. "spinner-cancel" meets a slow checkout and
// closes the loading screen as a person would; "cached-button" checks out nothing and reports
// whether the button shows the page saved by an earlier run (with --button-status 404 the live
// page fails). The store lives under $XDG_DATA_HOME/com.example.SandboxStore, so a second run is
// a restart. With --screenshots each screen (cart, loading,
// checkout, result) is saved as a PNG.

#include <unistd.h>

#include <QApplication>
#include <QThread>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Views/Layout.hpp"
#include "Core/Views/ViewController.hpp"
#include "Platform/Linux/PersistentStorage.hpp"
#include "Platform/Qt/QtPresenter.hpp"
#include "Platform/Qt/QtWebView.hpp"
#include "Platform/Qt/ViewWidget.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "QtShop.hpp"
#include "SandboxServer.hpp"
#include "tandri/Json.hpp"

namespace {

using namespace tandri;

struct Options {
    std::string autoMode;
    bool manual = false;
    bool hybrid = false;
    std::string screenshots;
    int timeoutSeconds = 120;
    int buttonStatus = 200;
};

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto next = [&] { return i + 1 < argc ? std::string(argv[++i]) : std::string(); };
        if (arg == "--auto") {
            o.autoMode = next();
        } else if (arg == "--manual") {
            o.manual = true;
        } else if (arg == "--hybrid") {
            o.hybrid = true;
        } else if (arg == "--screenshots") {
            o.screenshots = next();
        } else if (arg == "--timeout") {
            o.timeoutSeconds = std::atoi(next().c_str());
        } else if (arg == "--button-status") {
            o.buttonStatus = std::atoi(next().c_str());
        } else {
            std::fprintf(stderr,
                         "usage: tandri-qt-demo [--manual | --hybrid] "
                         "[--auto success|cancel|error|spinner-cancel] [--screenshots DIR] "
                         "[--timeout SECONDS]\n");
            std::exit(2);
        }
    }
    static const char* const modes[] = {"",      "success",        "cancel",
                                        "error", "spinner-cancel", "cached-button"};
    if (std::find(std::begin(modes), std::end(modes), o.autoMode) == std::end(modes) ||
        o.buttonStatus < 200 || o.buttonStatus > 599) {
        std::fprintf(stderr, "tandri-qt-demo: unknown --auto mode or bad --button-status\n");
        std::exit(2);
    }
    return o;
}

/// The first web view shown on a screen, in drawing order.
std::shared_ptr<WebView> webViewOn(const std::shared_ptr<View>& view) {
    if (!view) return nullptr;
    if (auto host = std::dynamic_pointer_cast<WebViewHost>(view); host && host->webView())
        return host->webView();
    for (const auto& sub : view->subviews())
        if (auto found = webViewOn(sub)) return found;
    return nullptr;
}

double since(std::chrono::steady_clock::time_point then) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - then).count();
}

}  // namespace

int main(int argc, char** argv) {
    Options options = parse(argc, argv);
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
    shop::Settings settings;
    settings.flow = options.hybrid   ? shop::Flow::Hybrid
                    : options.manual ? shop::Flow::Manual
                                     : shop::Flow::Button;
    settings.merchantPageUrl = "https://" + sandbox.merchantHost + "/merchant";
    settings.network = {sandbox.proxy, sandbox.leaf, sandbox.hosts()};
    settings.checkoutHost = sandbox.checkoutHost;
    settings.checkoutDomain = sandbox.domain;
    // A keyring only where the run asks for one.
    settings.keychain =
        linux_storage::backendFromEnvironment() == linux_storage::KeychainBackend::SecretService
            ? tandri::qt::KeychainStore::SecretService
            : tandri::qt::KeychainStore::ApplicationStore;
    shop::Shop store(settings);
    if (!store.ready()) {
        std::fprintf(stderr, "tandri-qt-demo: the checkout could not be set up\n");
        return 1;
    }
    auto presenter = std::dynamic_pointer_cast<qt::QtPresenter>(Platform::current().presenter);
    const auto root = presenter->hostController();

    bool done = false;
    int exitStatus = 1;
    const std::string wanted =
        options.autoMode == "spinner-cancel"
            ? "payment.cancel"
            : "payment." + (options.autoMode.empty() ? std::string("success") : options.autoMode);
    std::optional<std::string> rememberedUser;
    bool sawCheckout = false;
    auto report = [&](const std::string& status, Dictionary summary) {
        summary.set("status", Value(status));
        if (options.autoMode == "cached-button") {
            std::printf("%s\n", json::write(Value(summary))->c_str());
            std::fflush(stdout);
            done = true;
            return;
        }
        summary.set("checkoutShown", Value(sawCheckout));
        summary.set("rememberedUser", rememberedUser ? Value(*rememberedUser) : Value());
        summary.set("engine", Value("qt"));
        std::printf("%s\n", json::write(Value(summary))->c_str());
        std::fflush(stdout);
        // A loading screen closed by a person never shows the checkout; every other checkout
        // ends on a checkout screen a person saw.
        const bool shownAsItShould =
            options.autoMode == "spinner-cancel" ? !sawCheckout : sawCheckout;
        exitStatus = status == wanted && shownAsItShould ? 0 : 3;
        done = true;
    };
    store.onResult = [&](const TandriCheckoutResult& result) {
        Dictionary summary;
        if (options.manual) summary.set("flow", Value("manual"));
        if (!options.manual) {
            auto brand = result.paymentType();
            const Value* brandName =
                brand && brand->isDictionary() ? brand->asDictionary().find("cardBrand") : nullptr;
            summary.set("cardBrand", brandName ? *brandName : Value());
        }
        summary.set("last4", result.lastFourDigits().value_or(Value()));
        report(result.statusName(), summary);
    };
    store.window()->show();

    int shot = 0;
    std::string lastScreen;
    std::string lastShot;
    auto settledSince = std::chrono::steady_clock::now();
    auto lastTap = std::chrono::steady_clock::now() - std::chrono::seconds(10);
    auto start = std::chrono::steady_clock::now();
    bool readingCheckout = false;
    auto lastCheckoutRead = std::chrono::steady_clock::now();
    bool spinnerClosed = false;
    bool finalShot = false;
    bool reading = false;
    auto lastRead = std::chrono::steady_clock::now();
    bool checkingSaved = false;
    std::optional<Dictionary> lastSavedCheck;
    while (true) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(2);
        if (since(start) > options.timeoutSeconds) {
            std::fprintf(stderr, "tandri-qt-demo: no result within %d s (on the %s screen)\n",
                         options.timeoutSeconds, lastScreen.c_str());
            if (lastSavedCheck) {
                report("cached-button", *lastSavedCheck);
                exitStatus = 3;
            }
            break;
        }
        auto top = presenter->topViewController();
        const std::string screen = top == root               ? (done ? "result" : "cart")
                                   : top->isLoadingSpinner() ? "loading"
                                                             : "checkout";
        if (screen != lastScreen) {
            // From the tap that started the checkout to its screen on top, its page loaded.
            if (screen == "checkout" && !sawCheckout && !options.hybrid) {
                std::fprintf(stderr, "tandri-qt-demo: tap to checkout shown %.0f ms\n",
                             since(lastTap) * 1000);
            }
            lastScreen = screen;
            settledSince = std::chrono::steady_clock::now();
        }
        // The checkout page says whom it remembered from an earlier run.
        if (screen == "checkout") sawCheckout = true;
        if (screen == "checkout" && !readingCheckout && since(lastCheckoutRead) > 0.3) {
            if (auto page = webViewOn(top->view())) {
                readingCheckout = true;
                lastCheckoutRead = std::chrono::steady_clock::now();
                page->evaluateJavaScript(
                    "(function(){var w=document.getElementById('welcome');"
                    "return w&&w.dataset.user||'';})()",
                    [&](const std::optional<Value>& user, const std::optional<std::string>&) {
                        readingCheckout = false;
                        if (user && user->isString() && !user->asString().empty())
                            rememberedUser = user->asString();
                    });
            }
        }
        // A person who does not wait for a slow checkout closes the loading screen.
        if (options.autoMode == "spinner-cancel" && screen == "loading" && !spinnerClosed &&
            since(settledSince) > 1.0) {
            if (auto spinner = std::dynamic_pointer_cast<LoadingSpinnerViewController>(top);
                spinner && spinner->closeButton) {
                const Rect b = frameInRoot(*spinner->closeButton);
                spinnerClosed = presenter->tap(b.x + b.width / 2, b.y + b.height / 2);
            }
        }
        const bool settled = since(settledSince) > (screen == "cart" || screen == "result" ? 1.5
                                                    : screen == "loading"                  ? 0.1
                                                                                           : 0.4);
        if (!options.screenshots.empty() && settled && screen != lastShot &&
            (shot == 0 || (screen != "cart" && screen != "merchant"))) {
            lastShot = screen;
            std::filesystem::create_directories(options.screenshots);
            char name[64];
            std::snprintf(name, sizeof name, "%02d-%s.png", ++shot, screen.c_str());
            store.checkout()->writeSnapshot(options.screenshots + "/" + name);
        }
        // After a restart: is the page saved by the last run what the button shows, over a live
        // page that failed?
        if (options.autoMode == "cached-button" && !done && !checkingSaved && screen == "cart" &&
            since(settledSince) > 1.5) {
            auto* pay = dynamic_cast<qt::ViewWidget*>(store.payControl());
            auto button =
                pay ? std::dynamic_pointer_cast<TandriCheckoutButton>(pay->root()) : nullptr;
            auto saved =
                std::dynamic_pointer_cast<qt::QtWebView>(SDKSettings::cachedWebviewIfMade());
            auto shownInside = [pay](QWidget* page) {
                if (page == nullptr || !page->isVisible() || pay == nullptr) return false;
                const QPoint middle = page->mapTo(pay, page->rect().center());
                return pay->rect().contains(middle);
            };
            const bool savedShown = saved && shownInside(saved->widget()) &&
                                    SDKSettings::cachedWebviewHost()->superview() != nullptr;
            const bool liveShown = button && button->liveWebViewHost &&
                                   !button->liveWebViewHost->isHidden() &&
                                   button->liveWebViewHost->superview() != nullptr;
            if (saved) {
                checkingSaved = true;
                // What a person sees: the colour the saved page paints at its left, halfway down.
                const QImage picture = saved->widget()->grab().toImage();
                const QColor middle =
                    picture.isNull() ? QColor() : picture.pixelColor(12, picture.height() / 2);
                saved->evaluateJavaScript(
                    "document.body?document.body.innerText.trim():''",
                    [&, savedShown, liveShown, middle](const std::optional<Value>& text,
                                                       const std::optional<std::string>&) {
                        const std::string shown = text && text->isString() ? text->asString() : "";
                        const bool painted =
                            middle.isValid() &&
                            middle.red() + middle.green() + middle.blue() < 3 * 0xd0;
                        Dictionary summary;
                        summary.set("savedPageShown", Value(savedShown));
                        summary.set("livePageShown", Value(liveShown));
                        summary.set("savedPageText", Value(shown));
                        summary.set("buttonColor", middle.isValid()
                                                       ? Value(middle.name().toStdString())
                                                       : Value());
                        checkingSaved = false;
                        settledSince = std::chrono::steady_clock::now();
                        lastSavedCheck = summary;
                        // The saved page paints in its own time: look again until it shows.
                        if (savedShown && !liveShown && !shown.empty() && painted) {
                            report("cached-button", summary);
                            exitStatus = 0;
                        }
                    });
            }
        }
        // The hybrid page tells its outcome in its status line (the library hands the result to
        // the page, not to the host).
        if (options.hybrid && !done && !reading && since(lastRead) > 0.5) {
            reading = true;
            lastRead = std::chrono::steady_clock::now();
            store.merchantPage()->page()->runJavaScript(
                "document.getElementById('status') ? "
                "document.getElementById('status').textContent : ''",
                [&](const QVariant& value) {
                    reading = false;
                    if (done) return;
                    const std::string line = value.toString().toStdString();
                    Dictionary summary;
                    summary.set("flow", Value("hybrid"));
                    summary.set("text", Value(line));
                    if (line.rfind("Paid with", 0) == 0) report("payment.success", summary);
                    if (line.rfind("You cancelled", 0) == 0) report("payment.cancel", summary);
                    if (line.rfind("Payment failed", 0) == 0) report("payment.error", summary);
                });
        }
        // A tap at the middle of what the person pays with, again every two seconds while the
        // cart stays (a tap before the button can start a checkout does nothing, as for a person).
        if (!options.hybrid && !options.autoMode.empty() && options.autoMode != "cached-button" &&
            !done && screen == "cart" && settled && since(lastTap) > 2.0) {
            lastTap = std::chrono::steady_clock::now();
            QWidget* pay = store.payControl();
            if (options.manual) {
                static_cast<QPushButton*>(pay)->click();
            } else if (auto* widget = dynamic_cast<qt::ViewWidget*>(pay)) {
                widget->tap(widget->width() / 2.0, widget->height() / 2.0);
            }
        }
        if (!store.window()->isVisible() && since(start) > 5) break;
        if (done && !options.autoMode.empty()) {
            if (options.screenshots.empty()) break;
            // One more picture: the cart with the result shown.
            if (lastScreen == "result" && settled) {
                if (finalShot) break;
                finalShot = true;
            }
        }
    }
    // The library's screens and pages go while the application is still here.
    store.onResult = nullptr;
    std::filesystem::remove_all(work);
    return done ? exitStatus : 1;
}
