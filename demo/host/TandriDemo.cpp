// The demo on GTK (3 or 4): the merchant's own GTK application (Shop.cpp, written only against
// the public headers, as a merchant would) talking to the local sandbox checkout web application,
// and the autopilot (Autopilot.cpp) that drives it like a person and checks what a person would
// see, with GTK's hands (this file). The autopilot may look inside the library; the shop may not.
// The command line is the autopilot's (see Autopilot.hpp).

#include <gtk/gtk.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

#include "Autopilot.hpp"
#include "Platform/Gtk/GtkPresenter.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Gtk/ViewWidget.hpp"
#include "Platform/Gtk/WebKit.hpp"
#include "Platform/Platform.hpp"
#include "Platform/Gtk/Widgets.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "SandboxServer.hpp"
#include "Shop.hpp"

namespace {

using namespace tandri;

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

/// The colour a page paints at its left, halfway down, as its engine hands its picture back.
void leftColour(WebKitWebView* page, std::function<void(std::optional<std::array<int, 3>>)> then) {
    webkit_web_view_get_snapshot(
        page, WEBKIT_SNAPSHOT_REGION_VISIBLE, WEBKIT_SNAPSHOT_OPTIONS_NONE, nullptr,
        +[](GObject* source, GAsyncResult* result, gpointer data) {
            std::unique_ptr<std::function<void(std::optional<std::array<int, 3>>)>> next(
                static_cast<std::function<void(std::optional<std::array<int, 3>>)>*>(data));
            cairo_surface_t* surface = gtk::finishSnapshot(WEBKIT_WEB_VIEW(source), result);
            std::optional<std::array<int, 3>> colour;
            if (surface) {
                cairo_surface_flush(surface);
                const int w = cairo_image_surface_get_width(surface);
                const int h = cairo_image_surface_get_height(surface);
                const int x = 12, y = h / 2;
                if (w > x && h > 0) {
                    const unsigned char* px = cairo_image_surface_get_data(surface) +
                                              y * cairo_image_surface_get_stride(surface) + x * 4;
                    colour = std::array<int, 3>{px[2], px[1], px[0]};  // BGRA, premultiplied
                }
                cairo_surface_destroy(surface);
            }
            (*next)(colour);
        },
        new std::function<void(std::optional<std::array<int, 3>>)>(std::move(then)));
}

class GtkHands final : public demo::Hands {
  public:
    GtkHands(shop::Shop& store, std::shared_ptr<gtk::GtkPresenter> presenter)
        : store_(store), presenter_(std::move(presenter)) {
        g_signal_connect(store.window(), "destroy", G_CALLBACK(+[](GtkWidget*, gpointer flag) {
                             *static_cast<bool*>(flag) = true;
                         }),
                         &closed_);
    }
    /// The library's button inside the shop's widget, for looking at and tapping.
    std::shared_ptr<TandriCheckoutButton> button() const {
        return std::dynamic_pointer_cast<TandriCheckoutButton>(
            gtk::ViewWidget::root(store_.payControl()));
    }

    void pump() override {
        g_main_context_iteration(nullptr, FALSE);
        if (!g_main_context_pending(nullptr)) g_usleep(2000);
    }
    std::shared_ptr<ViewController> top() override { return presenter_->topViewController(); }
    std::shared_ptr<ViewController> root() override { return presenter_->hostController(); }
    bool tapScreen(double x, double y) override { return presenter_->tap(x, y); }
    void tapPay() override {
        GtkWidget* pay = store_.payControl();
        if (GTK_IS_BUTTON(pay)) {
            g_signal_emit_by_name(pay, "clicked");
        } else {
            gtk::ViewWidget::tap(pay, gtk::widgetWidth(pay) / 2.0, gtk::widgetHeight(pay) / 2.0);
        }
    }
    void writeSnapshot(const std::string& path, std::function<void(bool)> done) override {
        presenter_->writeSnapshot(path, std::move(done));
    }
    void readMerchantStatus(std::function<void(std::string)> then) override {
        webkit_web_view_evaluate_javascript(
            store_.merchantPage(), "document.getElementById('status').textContent", -1, nullptr,
            nullptr, nullptr,
            +[](GObject* source, GAsyncResult* result, gpointer data) {
                std::unique_ptr<std::function<void(std::string)>> next(
                    static_cast<std::function<void(std::string)>*>(data));
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
                (*next)(line);
            },
            new std::function<void(std::string)>(std::move(then)));
    }
    void lookAtSavedButton(std::function<void(demo::SavedButtonLook)> then) override {
        auto shownButton = button();
        auto* saved = dynamic_cast<gtk::GtkWebView*>(SDKSettings::cachedWebviewIfMade().get());
        auto* live = shownButton && shownButton->bridge
                         ? dynamic_cast<gtk::GtkWebView*>(shownButton->bridge->webView.get())
                         : nullptr;
        demo::SavedButtonLook look;
        look.savedShown = saved && shownInside(saved->widget(), store_.payControl()) &&
                          SDKSettings::cachedWebviewHost()->superview() != nullptr;
        look.liveShown = live && shownButton->liveWebViewHost &&
                         !shownButton->liveWebViewHost->isHidden() &&
                         shownButton->liveWebViewHost->superview() != nullptr &&
                         shownInside(live->widget(), store_.payControl());
        if (shownButton) look.accessibilityLabel = shownButton->accessibilityLabel();
        if (saved == nullptr) return then(look);
        leftColour(saved->widget(), [look, then = std::move(then)](auto colour) mutable {
            look.colour = colour;
            then(look);
        });
    }
    bool buttonPageLoaded() override { return startup.reported; }
    bool windowClosed() override { return closed_; }

  private:
    shop::Shop& store_;
    std::shared_ptr<gtk::GtkPresenter> presenter_;
    bool closed_ = false;
};

}  // namespace

int main(int argc, char** argv) {
    const demo::Options options = demo::parseOptions(argc, argv, "tandri-demo");
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
    shop::Shop store(demo::shopSettings(sandbox, options));
    if (!store.ready()) {
        std::fprintf(stderr, "tandri-demo: the checkout could not be set up\n");
        return 1;
    }
    GtkHands hands(store,
                   std::dynamic_pointer_cast<gtk::GtkPresenter>(Platform::current().presenter));
    demo::Autopilot autopilot(options, hands, "tandri-demo");
    store.onResult = [&autopilot](const TandriCheckoutResult& result) {
        autopilot.onResult(result);
    };
    if (auto button = hands.button(); button && button->bridge) {
        if (auto* page = dynamic_cast<gtk::GtkWebView*>(button->bridge->webView.get())) {
            g_signal_connect(page->widget(), "load-changed", G_CALLBACK(onButtonPageLoad), nullptr);
        }
    }
    gtk::showWindow(store.window());
    const int status = autopilot.run();
    store.onResult = nullptr;
    std::filesystem::remove_all(work);
    return status;
}
