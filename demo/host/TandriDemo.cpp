// The demo merchant: a GTK window with a cart and the checkout button, on the
// real platform (WebKitGTK web views, the cairo presenter, the SQLite store),
// talking to the local sandbox checkout web application.
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
// The store lives under $XDG_DATA_HOME/tandri-demo, so a second run is a
// restart. With --screenshots each screen (cart, loading, checkout, result) is
// saved as a PNG.

#include <gtk/gtk.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Utils/URL.hpp"
#include "Core/Views/ImageAssets.hpp"
#include "Core/Views/Layout.hpp"
#include "Core/Views/ViewController.hpp"
#include "Platform/Gtk/GioURLOpener.hpp"
#include "Platform/Gtk/GtkCookies.hpp"
#include "Platform/Gtk/GtkLifecycle.hpp"
#include "Platform/Gtk/GtkMainQueue.hpp"
#include "Platform/Gtk/GtkPresenter.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Linux/LinuxDevice.hpp"
#include "Platform/Linux/PersistentStorage.hpp"
#include "Platform/Linux/PosixFiles.hpp"
#include "Platform/Linux/StbImageCodec.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "SandboxServer.hpp"
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

const char* kCartPage =
    R"(<html><body style="margin:0;font:15px sans-serif;background:#f4f5f8;color:#1d2330">
<div style="padding:20px 20px 8px;font:600 22px sans-serif">Sandbox Store</div>
<div style="margin:12px 20px;padding:16px;background:#fff;border-radius:12px">
 <div style="display:flex;justify-content:space-between"><span>Trail shoes</span><span>19.99</span></div>
 <div style="display:flex;justify-content:space-between;margin-top:8px"><span>Socks</span><span>5.00</span></div>
 <hr style="border:none;border-top:1px solid #dde">
 <div style="display:flex;justify-content:space-between;font-weight:600"><span>Total</span><span>24.99 USD</span></div>
</div>
<div id="result" style="margin:12px 20px;padding:12px;border-radius:12px;display:none"></div>
</body></html>)";

/// The merchant's screen: its cart page on top, the checkout button at the bottom.
class CartController : public ViewController {
  public:
    std::shared_ptr<WebView> cart;
    std::shared_ptr<TandriCheckoutButton> button;
    /// The merchant's own control, for manual sessions; the checkout button otherwise.
    std::shared_ptr<Button> ownPay;
    std::shared_ptr<View> payControl() const {
        return ownPay ? std::static_pointer_cast<View>(ownPay) : button;
    }

  protected:
    void viewDidLoad() override {
        using A = LayoutAttribute;
        auto root = view();
        root->setBackgroundColor(Color{0.957, 0.961, 0.973, 1, {}});
        auto cartHost = std::make_shared<WebViewHost>();
        cartHost->setWebView(cart);
        cartHost->setTranslatesAutoresizingMaskIntoConstraints(false);
        root->addSubview(cartHost);
        auto pay = payControl();
        pay->setTranslatesAutoresizingMaskIntoConstraints(false);
        root->addSubview(pay);
        root->addConstraints({constrain(cartHost, A::Leading, root, A::Leading),
                              constrain(cartHost, A::Trailing, root, A::Trailing),
                              constrain(cartHost, A::Top, root, A::Top),
                              constrain(cartHost, A::Bottom, pay, A::Top, -16),
                              constrain(pay, A::Leading, root, A::Leading, 20),
                              constrain(pay, A::Trailing, root, A::Trailing, -20),
                              constrainConstant(pay, A::Height, 56),
                              constrain(pay, A::Bottom, root, A::Bottom, -32)});
    }
};

/// A hybrid merchant's screen: its own page, full screen. The page opens the checkout as a
/// window; the host's new-window callback hands it to the plugin.
class MerchantPageController : public ViewController, public UIDelegate {
  public:
    std::shared_ptr<WebView> page;

    std::shared_ptr<WebView> webViewCreateWebView(
        WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
        const NavigationAction& action) override {
        return TandriCheckoutPlugin::finishSetupWithRequest(action.request, configuration);
    }

  protected:
    void viewDidLoad() override {
        auto host = std::make_shared<WebViewHost>();
        host->setWebView(page);
        host->setAutoresizingMask(AutoresizingMask::FlexibleWidth |
                                  AutoresizingMask::FlexibleHeight);
        host->setFrame(view()->bounds());
        view()->addSubview(host);
    }
};

/// The first web view shown on a screen, in drawing order.
std::shared_ptr<WebView> webViewOn(const std::shared_ptr<View>& view) {
    if (!view) return nullptr;
    if (auto host = std::dynamic_pointer_cast<WebViewHost>(view); host && host->webView())
        return host->webView();
    for (const auto& sub : view->subviews())
        if (auto found = webViewOn(sub)) return found;
    return nullptr;
}

/// Whether `view` is in `screen`'s tree with nothing on the way up hidden.
bool shownOn(const std::shared_ptr<View>& view, const std::shared_ptr<View>& screen) {
    auto v = view;
    for (; v && v != screen; v = v->superview())
        if (v->isHidden()) return false;
    return v != nullptr;
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

}  // namespace

int main(int argc, char** argv) {
    Options options = parse(argc, argv);
    gtk_init(&argc, &argv);

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
    setMakerDomain(sandbox.domain);
    TandriProfile::setCheckoutHost(sandbox.checkoutHost);

    // The real platform.
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(window), "Sandbox Store");
    gtk_window_set_default_size(GTK_WINDOW(window), 420, 760);
    Platform ports;
    ports.mainQueue = std::make_shared<gtk::GtkMainQueue>();
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    std::string appData =
        (dataHome
             ? std::string(dataHome)
             : std::string(std::getenv("HOME") ? std::getenv("HOME") : "/tmp") + "/.local/share") +
        "/tandri-demo";
    // The pages' own cookies and local storage are kept with the application's data.
    auto factory = std::make_shared<gtk::GtkWebViewFactory>(
        gtk::NetworkSettings{sandbox.proxy, sandbox.leaf, sandbox.hosts()}, appData + "/webkit");
    ports.webViews = factory;
    ports.cookies = std::make_shared<gtk::GtkCookies>(factory->context());
    if (!linux_storage::installStoragePorts(ports, "tandri-demo",
                                            linux_storage::backendFromEnvironment())) {
        std::fprintf(stderr, "the store did not open\n");
        return 1;
    }
    ports.files = std::make_shared<linux_platform::PosixFiles>(appData);
    ports.imageCodec = std::make_shared<linux_platform::StbImageCodec>();
    ports.bundle = std::make_shared<linux_platform::DirectoryBundle>(
        TANDRI_RESOURCES_DIR, Dictionary{{"CFBundleShortVersionString", Value("1.0.0")}});
    ports.device = std::make_shared<linux_platform::LinuxDevice>("Sandbox Store");
    ports.urlOpener = std::make_shared<gtk::GioURLOpener>();
    ports.mainScreenBounds = Rect{0, 0, 420, 760};
    Platform::install(ports);
    TandriCheckoutSDK::configure();

    // The merchant's screen, then the presenter that shows it in the window.
    auto cart = std::make_shared<CartController>();
    cart->cart = factory->makeWebView();
    cart->cart->loadHTMLString(kCartPage, std::nullopt);
    cart->button = TandriCheckoutButton::initWithFrame({20, 670, 380, 56});
    if (options.manual) cart->ownPay = std::make_shared<Button>();
    // Or the hybrid merchant's own page, talking to the library through the plugin.
    auto merchant = std::make_shared<MerchantPageController>();
    std::shared_ptr<ViewController> root = cart;
    if (options.hybrid) {
        merchant->page = factory->makeWebView();
        // The page opens the checkout window from its own code, not from a person's click: a
        // hybrid host lets its page open windows (else the engine blocks the window, unless by
        // chance a gesture is still current).
        merchant->page->setJavaScriptCanOpenWindowsAutomatically(true);
        merchant->page->setUIDelegate(
            std::shared_ptr<UIDelegate>(merchant, static_cast<UIDelegate*>(merchant.get())));
        TandriCheckoutPlugin::configure(*merchant->page->configuration()->userContentController,
                                        merchant);
        URLRequest request;
        request.url = "https://" + sandbox.merchantHost + "/merchant";
        merchant->page->loadRequest(request);
        root = merchant;
    }
    auto presenter = std::make_shared<gtk::GtkPresenter>(GTK_WINDOW(window), root);
    Platform::current().presenter = presenter;
    gtk::GtkLifecycle::follow(GTK_WINDOW(window));

    // The checkout.
    TandriProfile profile(Environment::Sandbox, std::string("sandbox-api-key"),
                          std::string("Sandbox Store"));
    TandriPurchaseInfo purchase;
    purchase.setObject(Value("24.99"), kTotal);
    purchase.setObject(Value("USD"), kCurrency);
    std::function<void()> launch;
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
    bool launched = false;
    std::function<void()> release;
    // The host's ready handler, for the button and for a manual session: first the launch
    // closure; once launched, the answer closure, which lets the page go on at once (and is kept:
    // a manual session lives as long as it does). A re-armed button hands a new launch closure.
    auto onReady = [&](std::function<void()> closure) {
        if (!launched) {
            launch = std::move(closure);
        } else {
            launched = false;
            release = std::move(closure);
            release();
        }
    };
    auto startCheckout = [&] {
        if (!launch || launched) return;
        launched = true;
        launch();
    };
    if (options.manual) {
        cart->ownPay->setBackgroundColor(Color{0.09, 0.45, 0.33, 1, {}});
        cart->ownPay->setImage(imageNamed("mini_tandri_checkout"));
        cart->ownPay->setImageEdgeInsets({12, 150, 12, 150});
        cart->ownPay->setAccessibilityLabel(std::string("Pay with my store's own button"));
        cart->ownPay->addAction(ControlEvent::TouchUpInside, startCheckout);
        TandriCheckoutSDK::configureManualCheckoutSessionWithProfile(
            profile, purchase, cart, onReady, [&](const TandriCheckoutResult& result) {
                Dictionary summary;
                summary.set("flow", Value("manual"));
                summary.set("last4", result.lastFourDigits().value_or(Value()));
                report(result.statusName(), summary);
            });
    }
    if (!options.hybrid && !options.manual)
        cart->button->onCheckoutWithProfile(
            profile, purchase, cart, onReady, startCheckout,
            [&](const TandriCheckoutResult& result) {
                auto last4 = result.lastFourDigits();
                auto brand = result.paymentType();
                const Value* brandName = brand && brand->isDictionary()
                                             ? brand->asDictionary().find("cardBrand")
                                             : nullptr;
                Dictionary summary;
                summary.set("cardBrand", brandName ? *brandName : Value());
                summary.set("last4", last4 ? *last4 : Value());
                Dictionary shown = summary;
                shown.set("status", Value(result.statusName()));
                const std::string line = *json::write(Value(shown));
                report(result.statusName(), summary);
                cart->cart->evaluateJavaScript(
                    "(function(r){var e=document.getElementById('result');e.style.display='block';"
                    "e.style.background=r.status==='payment.success'?'#dff5e3':'#fde2e1';"
                    "e.textContent=r.status==='payment.success'?('Paid with '+r.cardBrand+' ending "
                    "in "
                    "'+"
                    "r.last4):('Checkout ended: '+r.status);})(" +
                        line + ")",
                    {});
            });
    if (!options.hybrid && !options.manual && cart->button->bridge) {
        if (auto* page = dynamic_cast<gtk::GtkWebView*>(cart->button->bridge->webView.get())) {
            g_signal_connect(page->widget(), "load-changed", G_CALLBACK(onButtonPageLoad), nullptr);
        }
    }
    bool closed = false;
    g_signal_connect(
        window, "destroy",
        G_CALLBACK(+[](GtkWidget*, gpointer flag) { *static_cast<bool*>(flag) = true; }), &closed);
    gtk_widget_show_all(window);

    // Pictures of each screen once it has settled, and the tap in automatic mode.
    int shot = 0;
    std::string lastScreen;
    auto settledSince = std::chrono::steady_clock::now();
    bool tapped = false;
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
            screen == "cart" && elapsed(settledSince) > 1.5) {
            auto saved = SDKSettings::cachedWebviewIfMade();
            auto savedHost = SDKSettings::cachedWebviewHost();
            const bool savedShown = saved && savedHost && shownOn(savedHost, cart->view());
            const bool liveShown = cart->button->liveWebViewHost &&
                                   shownOn(cart->button->liveWebViewHost, cart->view());
            checkingSaved = true;
            // What a person sees: the colour at the button's left, halfway down, in a picture of
            // the window (the saved page paints it; without it the cart's background shows
            // through).
            auto finish = [&, savedShown, liveShown](const std::string& text) {
                const std::string picture = std::string(work) + "/button.png";
                writing = false;
                presenter->writeSnapshot(
                    picture, [&, savedShown, liveShown, text, picture](bool written) {
                        writing.reset();
                        std::optional<std::array<int, 3>> middle;
                        std::ifstream in(picture, std::ios::binary);
                        ByteBuffer bytes((std::istreambuf_iterator<char>(in)),
                                         std::istreambuf_iterator<char>());
                        auto image =
                            written ? linux_platform::StbImageCodec().decode(bytes) : std::nullopt;
                        const Rect b = frameInRoot(*cart->button);
                        const int x = static_cast<int>(b.x + 12);  // clear of the label
                        const int y = static_cast<int>(b.y + b.height / 2);
                        if (image && x >= 0 && y >= 0 && x < image->width && y < image->height) {
                            const auto* px =
                                &image->rgba[(static_cast<std::size_t>(y) * image->width + x) * 4];
                            middle = {px[0], px[1], px[2]};
                        }
                        char hex[8] = "";
                        if (middle)
                            std::snprintf(hex, sizeof hex, "#%02x%02x%02x", (*middle)[0],
                                          (*middle)[1], (*middle)[2]);
                        const bool painted = middle && (std::abs((*middle)[0] - 0xf4) > 40 ||
                                                        std::abs((*middle)[1] - 0xf5) > 40 ||
                                                        std::abs((*middle)[2] - 0xf8) > 40);
                        Dictionary summary;
                        summary.set("savedPageShown", Value(savedShown));
                        summary.set("livePageShown", Value(liveShown));
                        summary.set("savedPageText", Value(text));
                        summary.set("buttonColor", middle ? Value(hex) : Value());
                        summary.set("accessibilityLabel",
                                    cart->button->accessibilityLabel()
                                        ? Value(*cart->button->accessibilityLabel())
                                        : Value());
                        // The saved page paints in its own time: look again until it shows
                        // (or the run's time is up, which fails the run with what was seen).
                        if (!(savedShown && !liveShown && !text.empty() && painted)) {
                            lastSavedCheck = summary;
                            checkingSaved = false;
                            settledSince = std::chrono::steady_clock::now();
                            return;
                        }
                        report("cached-button", summary);
                        exitStatus = 0;
                    });
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
            merchant->page->evaluateJavaScript(
                "document.getElementById('status').textContent",
                [&](const std::optional<Value>& text, const std::optional<std::string>&) {
                    reading = false;
                    const std::string line = text && text->isString() ? text->asString() : "";
                    Dictionary summary;
                    summary.set("flow", Value("hybrid"));
                    summary.set("text", Value(line));
                    if (line.rfind("Paid with", 0) == 0) report("payment.success", summary);
                    if (line.rfind("You cancelled", 0) == 0) report("payment.cancel", summary);
                    if (line.rfind("Payment failed", 0) == 0) report("payment.error", summary);
                });
        }
        if (!options.hybrid && !options.autoMode.empty() && options.autoMode != "cached-button" &&
            !tapped && screen == "cart" && settled && launch && !writing) {
            // A tap at the middle of the button, through the window's hit testing.
            const Rect b = frameInRoot(*cart->payControl());
            tapped = presenter->tap(b.x + b.width / 2, b.y + b.height / 2);
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
