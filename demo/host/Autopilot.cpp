#include "Autopilot.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Views/Layout.hpp"
#include "Platform/Linux/PersistentStorage.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "tandri/Json.hpp"

namespace tandri::demo {

namespace {

double since(std::chrono::steady_clock::time_point then) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - then).count();
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

Options parseOptions(int argc, char** argv, const char* program) {
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
                         "usage: %s [--manual | --hybrid] "
                         "[--auto success|cancel|error|spinner-cancel|cached-button] "
                         "[--button-status N] [--screenshots DIR] [--timeout SECONDS]\n",
                         program);
            std::exit(2);
        }
    }
    static const char* const modes[] = {"",      "success",        "cancel",
                                        "error", "spinner-cancel", "cached-button"};
    if (std::find(std::begin(modes), std::end(modes), o.autoMode) == std::end(modes) ||
        o.buttonStatus < 200 || o.buttonStatus > 599) {
        std::fprintf(stderr, "%s: unknown --auto mode or bad --button-status\n", program);
        std::exit(2);
    }
    return o;
}

shop::Settings shopSettings(const SandboxServer& sandbox, const Options& options) {
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
            ? desktop::KeychainStore::SecretService
            : desktop::KeychainStore::ApplicationStore;
    return settings;
}

Autopilot::Autopilot(Options options, Hands& hands, std::string program)
    : options_(std::move(options)), hands_(hands), program_(std::move(program)) {
    wanted_ =
        options_.autoMode == "spinner-cancel"
            ? "payment.cancel"
            : "payment." + (options_.autoMode.empty() ? std::string("success") : options_.autoMode);
}

void Autopilot::report(const std::string& status, Dictionary summary) {
    summary.set("status", Value(status));
    if (options_.autoMode != "cached-button") {
        summary.set("checkoutShown", Value(sawCheckout_));
        summary.set("rememberedUser", rememberedUser_ ? Value(*rememberedUser_) : Value());
        summary.set("pageVisits", pageVisits_.value_or(Value()));
    }
    std::printf("%s\n", json::write(Value(summary))->c_str());
    std::fflush(stdout);
    // A loading screen closed by a person never shows the checkout; every other checkout ends on
    // a checkout screen a person saw.
    const bool shownAsItShould =
        options_.autoMode == "spinner-cancel" ? !sawCheckout_ : sawCheckout_;
    exitStatus_ = status == wanted_ && shownAsItShould ? 0 : 3;
    done_ = true;
}

void Autopilot::onResult(const TandriCheckoutResult& result) {
    Dictionary summary;
    if (options_.manual) {
        summary.set("flow", Value("manual"));
    } else {
        auto brand = result.paymentType();
        const Value* brandName =
            brand && brand->isDictionary() ? brand->asDictionary().find("cardBrand") : nullptr;
        summary.set("cardBrand", brandName ? *brandName : Value());
    }
    summary.set("last4", result.lastFourDigits().value_or(Value()));
    report(result.statusName(), summary);
}

// The checkout page says whom it remembered from an earlier run, and how often its own cookie
// and local storage have seen it.
void Autopilot::readCheckoutPage(const std::shared_ptr<ViewController>& top) {
    auto page = webViewOn(top->view());
    if (!page) return;
    readingCheckout_ = true;
    page->evaluateJavaScript(
        "(function(){var w=document.getElementById('welcome');"
        "var v=document.getElementById('visits');v=v?v.dataset:{};"
        "return JSON.stringify({user:w&&w.dataset.user||'',"
        "visits:v.storage?{localStorage:+v.storage,cookie:+v.cookie}:null});})()",
        [this](const std::optional<Value>& text, const std::optional<std::string>&) {
            readingCheckout_ = false;
            auto seen = text && text->isString() ? json::parse(text->asString()) : std::nullopt;
            if (!seen || !seen->isDictionary()) return;
            const Value* user = seen->asDictionary().find("user");
            if (user && user->isString() && !user->asString().empty())
                rememberedUser_ = user->asString();
            const Value* visits = seen->asDictionary().find("visits");
            if (visits && visits->isDictionary()) pageVisits_ = *visits;
        });
}

// After a restart: is the page saved by the last run what the button shows, over a live page
// that failed?
void Autopilot::checkSavedButton() {
    checkingSaved_ = true;
    auto finish = [this](const std::string& text) {
        hands_.lookAtSavedButton([this, text](SavedButtonLook look) {
            checkingSaved_ = false;
            char hex[8] = "";
            if (look.colour) {
                std::snprintf(hex, sizeof hex, "#%02x%02x%02x", (*look.colour)[0],
                              (*look.colour)[1], (*look.colour)[2]);
            }
            // What a person sees at the page's left: its own colour, or the shop's background
            // where it paints nothing.
            const bool painted = look.colour && ((*look.colour)[0] + (*look.colour)[1] +
                                                 (*look.colour)[2]) < 3 * 0xd0;
            Dictionary summary;
            summary.set("savedPageShown", Value(look.savedShown));
            summary.set("livePageShown", Value(look.liveShown));
            summary.set("savedPageText", Value(text));
            summary.set("buttonColor", look.colour ? Value(hex) : Value());
            summary.set("accessibilityLabel",
                        look.accessibilityLabel ? Value(*look.accessibilityLabel) : Value());
            // The saved page paints in its own time: look again until it shows (or the run's
            // time is up, which fails the run with what was seen).
            if (!(look.savedShown && !look.liveShown && !text.empty() && painted)) {
                lastSavedCheck_ = summary;
                settledSince_ = std::chrono::steady_clock::now();
                return;
            }
            report("cached-button", summary);
            exitStatus_ = 0;
        });
    };
    auto saved = SDKSettings::cachedWebviewIfMade();
    if (!saved) {
        finish("");
        return;
    }
    saved->evaluateJavaScript(
        "document.body?document.body.innerText.trim():''",
        [finish](const std::optional<Value>& text, const std::optional<std::string>&) {
            finish(text && text->isString() ? text->asString() : "");
        });
}

int Autopilot::run() {
    const auto root = hands_.root();
    int shot = 0;
    std::string lastScreen;
    std::string lastShot;
    auto lastTap = std::chrono::steady_clock::now() - std::chrono::seconds(10);
    const auto start = std::chrono::steady_clock::now();
    auto lastRead = std::chrono::steady_clock::now();
    auto lastCheckoutRead = std::chrono::steady_clock::now();
    bool spinnerClosed = false;
    bool finalShot = false;
    while (true) {
        hands_.pump();
        if (since(start) > options_.timeoutSeconds) {
            std::fprintf(stderr, "%s: no result within %d s (on the %s screen)\n", program_.c_str(),
                         options_.timeoutSeconds, lastScreen.c_str());
            if (lastSavedCheck_) {
                report("cached-button", *lastSavedCheck_);
                exitStatus_ = 3;
            }
            break;
        }
        auto top = hands_.top();
        const std::string screen =
            top == root ? (done_ ? "result" : (options_.hybrid ? "merchant" : "cart"))
                        : (top->isLoadingSpinner() ? "loading" : "checkout");
        if (screen != lastScreen) {
            // From the tap that started the checkout to its screen on top, its page loaded.
            if (screen == "checkout" && !sawCheckout_ && !options_.hybrid) {
                std::fprintf(stderr, "%s: tap to checkout shown %.0f ms\n", program_.c_str(),
                             since(lastTap) * 1000);
            }
            lastScreen = screen;
            settledSince_ = std::chrono::steady_clock::now();
        }
        if (screen == "checkout") sawCheckout_ = true;
        if (screen == "checkout" && !readingCheckout_ && since(lastCheckoutRead) > 0.3) {
            lastCheckoutRead = std::chrono::steady_clock::now();
            readCheckoutPage(top);
        }
        // A person who does not wait for a slow checkout closes the loading screen.
        if (options_.autoMode == "spinner-cancel" && screen == "loading" && !spinnerClosed &&
            since(settledSince_) > 1.0 && !writing_) {
            if (auto spinner = std::dynamic_pointer_cast<LoadingSpinnerViewController>(top);
                spinner && spinner->closeButton) {
                const Rect b = frameInRoot(*spinner->closeButton);
                spinnerClosed = hands_.tapScreen(b.x + b.width / 2, b.y + b.height / 2);
            }
        }
        if (options_.autoMode == "cached-button" && !done_ && !checkingSaved_ &&
            hands_.buttonPageLoaded() && screen == "cart" && since(settledSince_) > 1.5) {
            checkSavedButton();
        }
        // The cart waits for its pages; the loading and checkout screens are brief in the
        // automatic modes.
        const double settleSeconds = screen == "cart" || screen == "merchant" || screen == "result"
                                         ? 1.5
                                     : screen == "loading" ? 0.1
                                                           : 0.4;
        const bool settled = since(settledSince_) > settleSeconds;
        if (!options_.screenshots.empty() && settled && !writing_ && screen != lastShot &&
            (shot == 0 || (screen != "cart" && screen != "merchant"))) {
            lastShot = screen;
            std::filesystem::create_directories(options_.screenshots);
            char name[64];
            std::snprintf(name, sizeof name, "%02d-%s.png", ++shot, screen.c_str());
            writing_ = true;
            hands_.writeSnapshot(options_.screenshots + "/" + name,
                                 [this](bool) { writing_ = false; });
        }
        // The hybrid page tells its outcome in its status line (the library hands the result to
        // the page, not to the host).
        if (options_.hybrid && !done_ && !readingStatus_ && since(lastRead) > 0.5) {
            readingStatus_ = true;
            lastRead = std::chrono::steady_clock::now();
            hands_.readMerchantStatus([this](const std::string& line) {
                readingStatus_ = false;
                if (done_) return;
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
        if (!options_.hybrid && !options_.autoMode.empty() &&
            options_.autoMode != "cached-button" && !done_ && screen == "cart" && settled &&
            !writing_ && since(lastTap) > 2.0) {
            lastTap = std::chrono::steady_clock::now();
            hands_.tapPay();
        }
        if (hands_.windowClosed()) break;
        if (done_ && !options_.autoMode.empty()) {
            if (options_.screenshots.empty()) break;
            // One more picture: the cart with the result shown.
            if (lastScreen == "result" && settled && !writing_) {
                if (finalShot) break;
                finalShot = true;
            }
        }
    }
    return done_ ? exitStatus_ : 1;
}

}  // namespace tandri::demo
