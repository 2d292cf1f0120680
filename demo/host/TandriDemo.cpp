// The demo: the merchant's own GTK application (Shop.cpp, written only against the public
// headers, as a merchant would) talking to the local sandbox checkout web application, and an
// autopilot (this file) that drives it like a person and checks what a person would see. The
// autopilot may look inside the library; the shop may not.
//
//   tandri-demo [--manual | --hybrid]
//               [--auto success|cancel|error|spinner-cancel|cached-button]
//               [--button-status N] [--screenshots DIR] [--timeout SECONDS]
//
// --manual puts the merchant's own "Pay" control in place of the checkout
// button and starts a manual checkout session from it.
// --hybrid shows a merchant's own web page instead, talking to the library
// through the hybrid plugin (the checkout opens as a window of that page).
//
// With --auto it taps the button itself, the checkout page picks a card and
// pays (or cancels, or fails), and the result is printed as one JSON line;
// the exit status is 0 when the checkout ended as asked. "spinner-cancel"
// meets a slow checkout and closes the loading screen as a person would;
// "cached-button" checks out nothing and reports whether the button shows the
// page saved by an earlier run (with --button-status 404 the live page fails).
// The store lives under $XDG_DATA_HOME/com.example.SandboxStore, so a second run
// is a restart. With --screenshots each screen (cart, loading, checkout, result) is
// saved as a PNG.

#include <gtk/gtk.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Views/Layout.hpp"
#include "Core/Views/ViewController.hpp"
#include "Platform/Gtk/GtkPresenter.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Gtk/ViewWidget.hpp"
#include "Platform/Gtk/WebKit.hpp"
#include "Platform/Gtk/Widgets.hpp"
#include "Platform/Linux/PersistentStorage.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "SandboxServer.hpp"
#include "Shop.hpp"
#include "tandri/Json.hpp"

namespace {

using namespace tandri;

struct Options {
    std::string autoMode;
    bool hybrid = false;
    bool manual = false;
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
        } else if (arg == "--hybrid") {
            o.hybrid = true;
        } else if (arg == "--manual") {
            o.manual = true;
        } else if (arg == "--screenshots") {
            o.screenshots = next();
        } else if (arg == "--timeout") {
            o.timeoutSeconds = std::atoi(next().c_str());
        } else if (arg == "--button-status") {
            o.buttonStatus = std::atoi(next().c_str());
        } else {
            std::fprintf(stderr,
                         "usage: tandri-demo [--manual | --hybrid] "
                         "[--auto success|cancel|error|spinner-cancel|cached-button] "
                         "[--button-status N] [--screenshots DIR] [--timeout SECONDS]\n");
            std::exit(2);
        }
    }
    static const char* const modes[] = {"",      "success",        "cancel",
                                        "error", "spinner-cancel", "cached-button"};
    if (std::find(std::begin(modes), std::end(modes), o.autoMode) == std::end(modes) ||
        o.buttonStatus < 200 || o.buttonStatus > 599) {
        std::fprintf(stderr, "tandri-demo: unknown --auto mode or bad --button-status\n");
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
}  // namespace

namespace {

// Start-up as a person feels it: from the process start to the first finished load of the
// button page, and from the moment the sandbox server answered.
struct StartupClock {
    std::chrono::steady_clock::time_point processStart = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point sandboxUp;
    bool reported = false;
};
StartupClock startup;

void onButtonPageLoad(WebKitWebView*, WebKitLoadEvent event, gpointer) {
    if (event != WEBKIT_LOAD_FINISHED || startup.reported) return;
    startup.reported = true;
    const auto now = std::chrono::steady_clock::now();
    auto ms = [&](std::chrono::steady_clock::time_point since) {
        return std::chrono::duration<double, std::milli>(now - since).count();
    };
    std::fprintf(stderr,
                 "tandri-demo: button page loaded %.0f ms after start, %.0f ms after the "
                 "sandbox was up\n",
                 ms(startup.processStart), ms(startup.sandboxUp));
}

/// The widget's allocation in its window's coordinates.
GdkRectangle inWindow(GtkWidget* widget) {
    GdkRectangle r{0, 0, gtk::widgetWidth(widget), gtk::widgetHeight(widget)};
    gtk::positionInWindow(widget, r.x, r.y);
    return r;
}

/// Whether `web` is on screen inside `within`: mapped, with its middle inside `within`'s area.
bool shownInside(WebKitWebView* web, GtkWidget* within) {
    if (web == nullptr || !gtk_widget_get_mapped(GTK_WIDGET(web))) return false;
    const GdkRectangle w = inWindow(GTK_WIDGET(web)), b = inWindow(within);
    const int mx = w.x + w.width / 2, my = w.y + w.height / 2;
    return w.width > 1 && w.height > 1 && mx >= b.x && mx < b.x + b.width && my >= b.y &&
           my < b.y + b.height;
}

}  // namespace

int main(int argc, char** argv) {
    Options options = parse(argc, argv);
    gtk::initToolkit();

    char work[] = "/tmp/tandri-demo-XXXXXX";
    if (mkdtemp(work) == nullptr) return 1;
    demo::SandboxServer sandbox;
    const bool sandboxStarted = sandbox.start(
        TANDRI_SOURCE_DIR, work, options.autoMode == "cached-button" ? "" : options.autoMode,
        options.buttonStatus);
    startup.sandboxUp = std::chrono::steady_clock::now();
    if (!sandboxStarted) {
        std::fprintf(stderr, "the sandbox checkout server did not start (is node installed?)\n");
        return 1;
    }

    // The merchant's application, against the sandbox.
    shop::Settings settings;
    settings.flow = options.hybrid   ? shop::Flow::Hybrid
                    : options.manual ? shop::Flow::Manual
                                     : shop::Flow::Button;
    settings.network = {sandbox.proxy, sandbox.leaf, sandbox.hosts()};
    settings.checkoutHost = sandbox.checkoutHost;
    settings.checkoutDomain = sandbox.domain;
    settings.merchantPageUrl = "https://" + sandbox.merchantHost + "/merchant";
    // A keyring only where the run asks for one: a desktop session without one would make the
    // first start wait for the keyring's activation to time out.
    settings.keychain =
        linux_storage::backendFromEnvironment() == linux_storage::KeychainBackend::SecretService
            ? tandri::gtk::KeychainStore::SecretService
            : tandri::gtk::KeychainStore::ApplicationStore;
    shop::Shop store(settings);
    if (!store.ready()) {
        std::fprintf(stderr, "tandri-demo: the checkout could not be set up\n");
        return 1;
    }
    auto presenter = std::dynamic_pointer_cast<gtk::GtkPresenter>(Platform::current().presenter);
    const auto root = presenter->hostController();

    bool done = false;
    int exitStatus = 1;
    const std::string wanted =
        options.autoMode == "spinner-cancel"
            ? "payment.cancel"
            : "payment." + (options.autoMode.empty() ? std::string("success") : options.autoMode);
    // What the checkout page showed: the user it remembered from an earlier run, and whether it
    // was ever on screen at all.
    std::optional<std::string> rememberedUser;
    std::optional<Value> pageVisits;
    bool sawCheckout = false;
    auto report = [&](const std::string& status, Dictionary summary) {
        summary.set("status", Value(status));
        if (options.autoMode != "cached-button") {
            summary.set("checkoutShown", Value(sawCheckout));
            summary.set("rememberedUser", rememberedUser ? Value(*rememberedUser) : Value());
            summary.set("pageVisits", pageVisits.value_or(Value()));
        }
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
    // The library's button inside the shop's widget, for looking at and tapping.
    std::shared_ptr<TandriCheckoutButton> button;
    if (settings.flow == shop::Flow::Button) {
        button = std::dynamic_pointer_cast<TandriCheckoutButton>(
            gtk::ViewWidget::root(store.payControl()));
        if (button && button->bridge) {
            if (auto* page = dynamic_cast<gtk::GtkWebView*>(button->bridge->webView.get())) {
                g_signal_connect(page->widget(), "load-changed", G_CALLBACK(onButtonPageLoad),
                                 nullptr);
            }
        }
    }
    bool closed = false;
    g_signal_connect(
        store.window(), "destroy",
        G_CALLBACK(+[](GtkWidget*, gpointer flag) { *static_cast<bool*>(flag) = true; }), &closed);
    gtk::showWindow(store.window());

    // Pictures of each screen once it has settled, and the tap in automatic mode.
    int shot = 0;
    std::string lastScreen;
    auto settledSince = std::chrono::steady_clock::now();
    auto lastTap = std::chrono::steady_clock::now() - std::chrono::seconds(10);
    bool finalShot = false;
    auto start = std::chrono::steady_clock::now();
    auto elapsed = [](std::chrono::steady_clock::time_point since) {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
    };
    std::optional<bool> writing;
    bool reading = false;
    auto lastRead = std::chrono::steady_clock::now();
    bool readingCheckout = false;
    auto lastCheckoutRead = std::chrono::steady_clock::now();
    bool spinnerClosed = false;
    bool checkingSaved = false;
    std::optional<Dictionary> lastSavedCheck;
    while (true) {
        g_main_context_iteration(nullptr, FALSE);
        if (!g_main_context_pending(nullptr)) g_usleep(2000);
        if (elapsed(start) > options.timeoutSeconds) {
            std::fprintf(stderr, "tandri-demo: no result within %d s (on the %s screen)\n",
                         options.timeoutSeconds, lastScreen.c_str());
            if (lastSavedCheck) {
                report("cached-button", *lastSavedCheck);
                exitStatus = 3;
            }
            break;
        }
        auto top = presenter->topViewController();
        std::string screen = top == root
                                 ? (done ? "result" : (options.hybrid ? "merchant" : "cart"))
                                 : (top->isLoadingSpinner() ? "loading" : "checkout");
        if (screen != lastScreen) {
            lastScreen = screen;
            settledSince = std::chrono::steady_clock::now();
        }
        // The checkout page says whom it remembered from an earlier run.
        if (screen == "checkout") sawCheckout = true;
        if (screen == "checkout" && !readingCheckout && elapsed(lastCheckoutRead) > 0.3) {
            if (auto page = webViewOn(top->view())) {
                readingCheckout = true;
                lastCheckoutRead = std::chrono::steady_clock::now();
                page->evaluateJavaScript(
                    "(function(){var w=document.getElementById('welcome');"
                    "var v=document.getElementById('visits').dataset;"
                    "return JSON.stringify({user:w&&w.dataset.user||'',"
                    "visits:v.storage?{localStorage:+v.storage,cookie:+v.cookie}:null});})()",
                    [&](const std::optional<Value>& text, const std::optional<std::string>&) {
                        readingCheckout = false;
                        auto seen =
                            text && text->isString() ? json::parse(text->asString()) : std::nullopt;
                        if (!seen || !seen->isDictionary()) return;
                        const Value* user = seen->asDictionary().find("user");
                        if (user && user->isString() && !user->asString().empty())
                            rememberedUser = user->asString();
                        const Value* visits = seen->asDictionary().find("visits");
                        if (visits && visits->isDictionary()) pageVisits = *visits;
                    });
            }
        }
        // A person who does not wait for a slow checkout closes the loading screen.
        if (options.autoMode == "spinner-cancel" && screen == "loading" && !spinnerClosed &&
            elapsed(settledSince) > 1.0 && !writing) {
            if (auto spinner = std::dynamic_pointer_cast<LoadingSpinnerViewController>(top);
                spinner && spinner->closeButton) {
                const Rect b = frameInRoot(*spinner->closeButton);
                spinnerClosed = presenter->tap(b.x + b.width / 2, b.y + b.height / 2);
            }
        }
        // After a restart: is the page saved by the last run what the button shows?
        if (options.autoMode == "cached-button" && !done && !checkingSaved && startup.reported &&
            screen == "cart" && elapsed(settledSince) > 1.5 && button) {
            auto saved = SDKSettings::cachedWebviewIfMade();
            auto* savedGtk = dynamic_cast<gtk::GtkWebView*>(saved.get());
            auto* liveGtk = button->bridge
                                ? dynamic_cast<gtk::GtkWebView*>(button->bridge->webView.get())
                                : nullptr;
            const bool savedShown = savedGtk &&
                                    shownInside(savedGtk->widget(), store.payControl()) &&
                                    SDKSettings::cachedWebviewHost()->superview() != nullptr;
            const bool liveShown = liveGtk && button->liveWebViewHost &&
                                   !button->liveWebViewHost->isHidden() &&
                                   button->liveWebViewHost->superview() != nullptr &&
                                   shownInside(liveGtk->widget(), store.payControl());
            checkingSaved = true;
            // What a person sees: the colour the saved page paints at its left, halfway down
            // (clear of the label); the shop's own background shows where it paints nothing.
            auto finish = [&, savedShown, liveShown, savedGtk](const std::string& text) {
                auto look = [&, savedShown, liveShown,
                             text](std::optional<std::array<int, 3>> middle) {
                    char hex[8] = "";
                    if (middle)
                        std::snprintf(hex, sizeof hex, "#%02x%02x%02x", (*middle)[0], (*middle)[1],
                                      (*middle)[2]);
                    const bool painted =
                        middle && ((*middle)[0] + (*middle)[1] + (*middle)[2]) < 3 * 0xd0;
                    Dictionary summary;
                    summary.set("savedPageShown", Value(savedShown));
                    summary.set("livePageShown", Value(liveShown));
                    summary.set("savedPageText", Value(text));
                    summary.set("buttonColor", middle ? Value(hex) : Value());
                    summary.set("accessibilityLabel", button->accessibilityLabel()
                                                          ? Value(*button->accessibilityLabel())
                                                          : Value());
                    // The saved page paints in its own time: look again until it shows (or the
                    // run's time is up, which fails the run with what was seen).
                    if (!(savedShown && !liveShown && !text.empty() && painted)) {
                        lastSavedCheck = summary;
                        checkingSaved = false;
                        settledSince = std::chrono::steady_clock::now();
                        return;
                    }
                    report("cached-button", summary);
                    exitStatus = 0;
                };
                if (!savedGtk) return look(std::nullopt);
                webkit_web_view_get_snapshot(
                    savedGtk->widget(), WEBKIT_SNAPSHOT_REGION_VISIBLE,
                    WEBKIT_SNAPSHOT_OPTIONS_NONE, nullptr,
                    +[](GObject* source, GAsyncResult* result, gpointer data) {
                        auto* then =
                            static_cast<std::function<void(std::optional<std::array<int, 3>>)>*>(
                                data);
                        cairo_surface_t* surface =
                            gtk::finishSnapshot(WEBKIT_WEB_VIEW(source), result);
                        std::optional<std::array<int, 3>> middle;
                        if (surface) {
                            cairo_surface_flush(surface);
                            const int w = cairo_image_surface_get_width(surface);
                            const int h = cairo_image_surface_get_height(surface);
                            const int x = 12, y = h / 2;
                            if (w > x && h > 0) {
                                const unsigned char* row =
                                    cairo_image_surface_get_data(surface) +
                                    y * cairo_image_surface_get_stride(surface);
                                const unsigned char* px = row + x * 4;  // BGRA, premultiplied
                                middle = std::array<int, 3>{px[2], px[1], px[0]};
                            }
                            cairo_surface_destroy(surface);
                        }
                        (*then)(middle);
                        delete then;
                    },
                    new std::function<void(std::optional<std::array<int, 3>>)>(look));
            };
            if (!saved) {
                finish("");
            } else {
                saved->evaluateJavaScript(
                    "document.body?document.body.innerText.trim():''",
                    [finish](const std::optional<Value>& text, const std::optional<std::string>&) {
                        finish(text && text->isString() ? text->asString() : "");
                    });
            }
        }
        // The cart waits for its pages; the loading and checkout screens are brief in the
        // automatic modes.
        const bool settled = elapsed(settledSince) >
                             (screen == "cart" || screen == "merchant" || screen == "result" ? 1.5
                              : screen == "loading"                                          ? 0.1
                                                                                             : 0.4);
        if (!options.screenshots.empty() && settled && !writing && screen != "" &&
            (shot == 0 || (screen != "cart" && screen != "merchant"))) {
            static std::string lastShot;
            if (screen != lastShot) {
                lastShot = screen;
                std::filesystem::create_directories(options.screenshots);
                char name[64];
                std::snprintf(name, sizeof name, "%02d-%s.png", ++shot, screen.c_str());
                writing = false;
                presenter->writeSnapshot(options.screenshots + "/" + name,
                                         [&writing](bool) { writing.reset(); });
            }
        }
        // The hybrid page tells its outcome in its status line (the library hands the result to
        // the page, not to the host).
        if (options.hybrid && !done && !reading && elapsed(lastRead) > 0.5) {
            reading = true;
            lastRead = std::chrono::steady_clock::now();
            webkit_web_view_evaluate_javascript(
                store.merchantPage(), "document.getElementById('status').textContent", -1, nullptr,
                nullptr, nullptr,
                +[](GObject* source, GAsyncResult* result, gpointer data) {
                    auto* then = static_cast<std::function<void(std::string)>*>(data);
                    std::string line;
                    if (JSCValue* value = webkit_web_view_evaluate_javascript_finish(
                            WEBKIT_WEB_VIEW(source), result, nullptr)) {
                        if (jsc_value_is_string(value)) {
                            char* text = jsc_value_to_string(value);
                            line = text;
                            g_free(text);
                        }
                        g_object_unref(value);
                    }
                    (*then)(line);
                    delete then;
                },
                new std::function<void(std::string)>([&](std::string line) {
                    reading = false;
                    if (done) return;
                    Dictionary summary;
                    summary.set("flow", Value("hybrid"));
                    summary.set("text", Value(line));
                    if (line.rfind("Paid with", 0) == 0) report("payment.success", summary);
                    if (line.rfind("You cancelled", 0) == 0) report("payment.cancel", summary);
                    if (line.rfind("Payment failed", 0) == 0) report("payment.error", summary);
                }));
        }
        // A tap at the middle of what the person pays with, again every two seconds while the
        // cart stays (a tap before the button can start a checkout does nothing, as for a person).
        if (!options.hybrid && !options.autoMode.empty() && options.autoMode != "cached-button" &&
            !done && screen == "cart" && settled && !writing && elapsed(lastTap) > 2.0) {
            lastTap = std::chrono::steady_clock::now();
            if (options.manual) {
                g_signal_emit_by_name(store.payControl(), "clicked");
            } else {
                GtkWidget* pay = store.payControl();
                gtk::ViewWidget::tap(pay, gtk::widgetWidth(pay) / 2.0,
                                     gtk::widgetHeight(pay) / 2.0);
            }
        }
        if (closed) break;
        if (done && !options.autoMode.empty()) {
            if (options.screenshots.empty()) break;
            // One more picture: the cart with the result shown.
            if (lastScreen == "result" && settled && !writing) {
                if (finalShot) break;
                finalShot = true;
            }
        }
    }
    std::filesystem::remove_all(work);
    return done ? exitStatus : 1;
}
