// From the tap on the checkout button to a checkout page a person can use, in the real engine,
// against the local sandbox checkout server; and beside it what the bare engine needs to show
// the same page.
//
//   library      the demo shop (demo/host/Shop.cpp) with its checkout button. A tap, then:
//                "spinner painted"     the first window frame showing the loading screen at all
//                "spinner opaque"      the first frame with it faded in completely
//                "configure received"  the page's "configure": the checkout request goes out
//                "response received"   the checkout view starts showing the response
//                "page committed"      the engine committed the checkout document
//                "page first paint"    the first draw of the checkout view after that
//                "page loaded"         the checkout document finished loading
//                "configure answered"  the answer to "configure" leaves for the page
//                "launch received"     the page's "launch"
//                "checkout shown"      the first window frame with the checkout screen on top
//                and the load time the spinner itself recorded ("spinner load time").
//   start-up     from the set-up call (install, which runs configure) to the button page's
//                first draw after its document committed ("button page shown").
//   bare fresh   the same checkout page in a new WebKitWebView, no library code: from the load
//                call to "page committed", "page first paint" and "page loaded".
//   bare warm    the same in a view that has shown it before (its web process running, its
//                connection open).
//   bare spare   the same in a new view made a second before the load, not loaded (whether
//                making the view early is enough to have its web process ready).
//
// Every time is taken on the main loop from an event: a window frame (the frame clock's
// after-paint), an engine signal, or a bridge message seen by the developer log's sink. The
// clock is the monotonic one. Each run is a fresh process with fresh data (a first start); the
// first tap after start is reported apart from later ones.
//
//   checkout_timeline [--runs R] [--taps T] [--json FILE]
//
// Runs R processes (default 5) of T taps each (default 6), and as many bare loads of each kind;
// prints medians with their spread and writes every time as JSON for plot_timeline.

#include <gtk/gtk.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Core/Bridge/CheckoutWebViewBridge.hpp"
#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Bridge/MobileWebViewBridge.hpp"
#include "Core/Utils/Logging.hpp"
#include "Platform/Gtk/GtkPresenter.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Gtk/HttpLoader.hpp"
#include "Platform/Gtk/ViewWidget.hpp"
#include "Platform/Gtk/WebKit.hpp"
#include "Platform/Gtk/Widgets.hpp"
#include "Platform/Platform.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "SandboxServer.hpp"
#include "Shop.hpp"
#include "tandri/Json.hpp"

namespace {

using namespace tandri;
using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point since) {
    return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

/// Runs the main loop until `done`, or until `seconds` have passed; answers `done()`.
bool spin(const std::function<bool()>& done, double seconds = 60) {
    const auto start = Clock::now();
    while (!done() && msSince(start) < seconds * 1000) {
        if (!g_main_context_iteration(nullptr, FALSE)) g_usleep(200);
    }
    return done();
}

/// Lets the main loop run for `seconds` (a person's pause between checkouts).
void settle(double seconds) {
    const auto start = Clock::now();
    spin([&] { return msSince(start) >= seconds * 1000; }, seconds + 1);
}

/// One timeline: event name to milliseconds since its start; the first time of each event wins.
struct Timeline {
    Clock::time_point start = Clock::now();
    std::map<std::string, double> at;
    void mark(const std::string& event) {
        if (!at.count(event)) at[event] = msSince(start);
    }
    bool has(const std::string& event) const { return at.count(event) != 0; }
};

/// Marks a view's load on a timeline: committed, first draw after that, finished.
struct ViewWatch {
    Timeline* timeline = nullptr;
    bool committed = false;
    WebKitWebView* view = nullptr;
    std::vector<gulong> handlers;

    void watch(WebKitWebView* v, Timeline* t, bool withStart) {
        stop();
        view = WEBKIT_WEB_VIEW(g_object_ref(v));
        timeline = t;
        committed = false;
        handlers.push_back(
            g_signal_connect(view, "load-changed",
                             G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, gpointer self) {
                                 auto* w = static_cast<ViewWatch*>(self);
                                 if (event == WEBKIT_LOAD_STARTED && w->startEvent)
                                     w->timeline->mark(w->startEvent);
                                 if (event == WEBKIT_LOAD_COMMITTED) {
                                     w->committed = true;
                                     w->timeline->mark("page committed");
                                 }
                                 if (event == WEBKIT_LOAD_FINISHED)
                                     w->timeline->mark("page loaded");
                             }),
                             this));
#if TANDRI_GTK_MAJOR == 4
        drawn()[view] = this;
#else
        handlers.push_back(g_signal_connect_after(
            view, "draw", G_CALLBACK(+[](GtkWidget*, cairo_t*, gpointer self) -> gboolean {
                static_cast<ViewWatch*>(self)->onDraw();
                return FALSE;
            }),
            this));
#endif
        startEvent = withStart ? "response received" : nullptr;
    }
    void onDraw() {
        if (committed) timeline->mark("page first paint");
    }
#if TANDRI_GTK_MAJOR == 4
    // GTK 4 draws a widget through its class's snapshot, with no signal to hear: the web view's
    // class gets one that tells the watch of the view drawn.
    static std::map<WebKitWebView*, ViewWatch*>& drawn() {
        static std::map<WebKitWebView*, ViewWatch*> watches;
        static const bool hooked = [] {
            auto* klass = GTK_WIDGET_CLASS(g_type_class_ref(WEBKIT_TYPE_WEB_VIEW));
            static void (*original)(GtkWidget*, GtkSnapshot*) = klass->snapshot;
            klass->snapshot = [](GtkWidget* widget, GtkSnapshot* snapshot) {
                original(widget, snapshot);
                const auto watch = watches.find(WEBKIT_WEB_VIEW(widget));
                if (watch != watches.end()) watch->second->onDraw();
            };
            return true;
        }();
        (void)hooked;
        return watches;
    }
#endif
    void stop() {
        if (view == nullptr) return;
        // A view the library has destroyed has lost its handlers already.
        for (gulong id : handlers)
            if (g_signal_handler_is_connected(view, id)) g_signal_handler_disconnect(view, id);
        handlers.clear();
#if TANDRI_GTK_MAJOR == 4
        drawn().erase(view);
#endif
        g_object_unref(view);
        view = nullptr;
    }
    ~ViewWatch() {
        stop();
    }
    const char* startEvent = nullptr;
};

/// Whether a screen's view tree hosts a web view (the checkout screen; the loading screen has
/// none in the button's flow).
bool hostsWebView(const std::shared_ptr<View>& view) {
    if (auto host = std::dynamic_pointer_cast<WebViewHost>(view); host && host->webView())
        return true;
    for (const auto& sub : view->subviews())
        if (hostsWebView(sub)) return true;
    return false;
}

/// Resident memory of this process's descendants (the engine's web and network processes), kB.
long childrenRssKb() {
    std::map<pid_t, pid_t> parent;
    std::map<pid_t, long> rss;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        std::ifstream status(entry.path() / "status");
        std::string line;
        const pid_t pid = std::atoi(name.c_str());
        while (std::getline(status, line)) {
            if (line.rfind("PPid:", 0) == 0) parent[pid] = std::atoi(line.c_str() + 5);
            if (line.rfind("VmRSS:", 0) == 0) rss[pid] = std::atol(line.c_str() + 6);
        }
    }
    long total = 0;
    const pid_t self = getpid();
    for (const auto& [pid, kb] : rss) {
        for (pid_t p = parent.count(pid) ? parent[pid] : 0; p > 1;
             p = parent.count(p) ? parent[p] : 0) {
            if (p == self) {
                total += kb;
                break;
            }
        }
    }
    return total;
}

/// Resident memory of this process, kB.
long selfRssKb() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
    return 0;
}

std::string timelineJson(const Timeline& t) {
    std::string out = "{";
    bool first = true;
    for (const auto& [event, ms] : t.at) {
        char item[160];
        std::snprintf(item, sizeof item, "%s\"%s\":%.2f", first ? "" : ",", event.c_str(), ms);
        out += item;
        first = false;
    }
    return out + "}";
}

std::string listJson(const std::vector<Timeline>& list) {
    std::string out = "[";
    for (std::size_t i = 0; i < list.size(); ++i) out += (i ? "," : "") + timelineJson(list[i]);
    return out + "]";
}

/// One process: start-up, `taps` checkouts and as many bare loads of each kind; writes JSON.
int child(int taps, const std::string& out) {
    char work[] = "/tmp/tandri-timeline-XXXXXX";
    if (mkdtemp(work) == nullptr) return 1;
    // A first start: nothing kept from an earlier run.
    g_setenv("XDG_DATA_HOME", (std::string(work) + "/data").c_str(), TRUE);
    gtk::initToolkit();

    demo::SandboxServer sandbox;
    if (!sandbox.start(TANDRI_SOURCE_DIR, work, "cancel")) {
        std::fprintf(stderr, "checkout_timeline: the sandbox server did not start\n");
        return 1;
    }

    // Bridge messages, as the developer log's sink sees them: "<---" or "--->" and then
    // "Class.name" on the next line.
    Timeline* current = nullptr;
    bool buttonAsked = false;
    std::function<void()> onConfigure;
    double recordedLoad = -1;
    auto scanRecord = [&](std::string_view text) {
        // The spinner's own record, pushed to the page (its value may sit in escaped quotes).
        if (const auto at = text.find("screen_load_time"); at != std::string_view::npos) {
            const auto digits = text.find_first_of("-0123456789", at);
            if (digits != std::string_view::npos)
                recordedLoad = std::atof(std::string(text.substr(digits, 16)).c_str()) * 1000;
        }
    };
    Logging::setSink([&](std::string_view text) {
        const auto arrow = text.find("\n<---\n") != std::string_view::npos   ? '<'
                           : text.find("\n--->\n") != std::string_view::npos ? '>'
                                                                             : ' ';
        if (arrow == ' ') {
            scanRecord(text);
            return;
        }
        const auto from = text.find(arrow == '<' ? "<---\n" : "--->\n") + 5;
        const auto line = text.substr(from, text.find('\n', from) - from);
        const auto name = line.substr(line.rfind('.') + 1);
        if (arrow == '<' && name == "onNativeButtonClick") buttonAsked = true;

        if (current == nullptr) return;
        if (arrow == '<' && name == "configure") {
            current->mark("configure received");
            if (onConfigure) onConfigure();
        }
        if (arrow == '>' && name == "configure") current->mark("configure answered");
        if (arrow == '<' && name == "launch") current->mark("launch received");
    });

    shop::Settings settings;
    settings.network = {sandbox.proxy, sandbox.leaf, sandbox.hosts()};
    settings.checkoutHost = sandbox.checkoutHost;
    settings.checkoutDomain = sandbox.domain;
    settings.keychain = gtk::KeychainStore::ApplicationStore;

    Timeline startup;
    shop::Shop store(settings);
    if (!store.ready()) return 1;
    auto presenter = std::dynamic_pointer_cast<gtk::GtkPresenter>(Platform::current().presenter);
    const auto root = presenter->hostController();
    auto button = [&] {
        return std::dynamic_pointer_cast<TandriCheckoutButton>(
            gtk::ViewWidget::root(store.payControl()));
    };
    auto widgetOf = [](const std::shared_ptr<WebView>& view) -> WebKitWebView* {
        auto* gtkView = dynamic_cast<gtk::GtkWebView*>(view.get());
        return gtkView ? gtkView->widget() : nullptr;
    };
    ViewWatch buttonWatch;
    if (auto b = button(); b && b->bridge) {
        buttonWatch.watch(widgetOf(b->bridge->webView), &startup, false);
    }
#if TANDRI_GTK_MAJOR != 4
    gtk_window_move(store.window(), 0, 0);  // GTK 4 leaves where windows go to the desktop
#endif
    gtk::showWindow(store.window());
    if (!spin([&] { return startup.has("page first paint") && buttonAsked; })) {
        std::fprintf(stderr, "checkout_timeline: the button page never showed\n");
        return 1;
    }
    const long hostAtStart = selfRssKb();
    Timeline startupOut;
    startupOut.at["button page committed"] = startup.at["page committed"];
    startupOut.at["button page shown"] = startup.at["page first paint"];
    startupOut.at["button page loaded"] = startup.at["page loaded"];
    buttonWatch.stop();

    // Window frames: which screens a painted frame showed.
    GdkFrameClock* frames = gtk_widget_get_frame_clock(GTK_WIDGET(store.window()));
    // A screen comes in fading from transparent: it counts as painted once a frame shows it at
    // all, and as shown in full once it is opaque.
    struct FrameWatch {
        Timeline** current;
        GtkWindow* window;
    } frameWatch{&current, store.window()};
    g_signal_connect(frames, "after-paint", G_CALLBACK(+[](GdkFrameClock*, gpointer data) {
                         auto* w = static_cast<FrameWatch*>(data);
                         if (*w->current == nullptr) return;
                         // The screens are the window's overlay layers (a screen being
                         // presented is not the top controller until it has faded in).
                         GtkWidget* stack = gtk::windowChild(w->window);
                         if (stack == nullptr) return;
                         for (GtkWidget* widget : gtk::childrenOf(stack)) {
                             auto view = gtk::ViewWidget::root(widget);
                             const double opacity = gtk_widget_get_opacity(widget);
                             if (!view || opacity <= 0 || !gtk_widget_get_mapped(widget)) continue;
                             const bool checkout = hostsWebView(view);
                             (*w->current)->mark(checkout ? "checkout shown" : "spinner painted");
                             if (!checkout && opacity >= 1) (*w->current)->mark("spinner opaque");
                         }
                     }),
                     &frameWatch);

    // The bare engine: a context of its own with the same network settings, in a window of the
    // shop window's size beside it.
    WebKitWebContext* bareContext = webkit_web_context_new();
    gtk::NetworkSettings{sandbox.proxy, sandbox.leaf, sandbox.hosts()}.applyTo(bareContext);
    GtkWindow* bareWindow = gtk::newWindow();
    int width = 0, height = 0;
    gtk::windowSize(store.window(), width, height);
    gtk_window_set_default_size(bareWindow, width, height);
#if TANDRI_GTK_MAJOR != 4
    gtk_window_move(bareWindow, width + 40, 0);
#endif
    gtk::showWindow(bareWindow);
    const std::string pageUrl = "https://" + sandbox.checkoutHost + "/checkout?session=bare";
    WebKitWebView* warmView = nullptr;
    WebKitWebView* spareView = nullptr;  // made before it is needed (and maybe primed)
    // `hidden`: out of the window until the page has loaded, as the library's checkout is until
    // the page says "launch".
    auto bareLoad = [&](bool fresh, Timeline& t, bool hidden = false) {
        GtkWidget* old = gtk::windowChild(bareWindow);
        WebKitWebView* view = warmView;
        const bool fromSpare = fresh && spareView != nullptr;
        if (fromSpare) {
            view = std::exchange(spareView, nullptr);
        } else if (fresh || warmView == nullptr) {
            view = WEBKIT_WEB_VIEW(gtk::newWebView(bareContext));
        }
        auto place = [&] {
            if (old == GTK_WIDGET(view)) return;
            gtk_widget_set_visible(GTK_WIDGET(view), TRUE);
            gtk::setWindowChild(bareWindow, GTK_WIDGET(view));
            if (fromSpare) g_object_unref(view);  // the window holds it now
        };
        if (!hidden) place();
        // The warm view is kept while fresh ones take its place in the window.
        if (!fresh && warmView == nullptr) warmView = WEBKIT_WEB_VIEW(g_object_ref_sink(view));
        ViewWatch watch;
        watch.watch(view, &t, false);
        t.start = Clock::now();
        webkit_web_view_load_uri(view, pageUrl.c_str());
        if (hidden) {
            if (!spin([&] { return t.has("page loaded"); })) return false;
            place();
        }
        return spin([&] { return t.has("page first paint") && t.has("page loaded"); });
    };

    ViewWatch checkoutWatch;
    std::vector<Timeline> library, bareFresh, bareWarm, bareSpare, barePrimed, bareRelated,
        bareHidden;
    // The checkout's view exists once the handler of "configure" has run.
    onConfigure = [&] {
        g_idle_add_full(
            G_PRIORITY_HIGH,
            +[](gpointer data) -> gboolean {
                (*static_cast<std::function<void()>*>(data))();
                return G_SOURCE_REMOVE;
            },
            new std::function<void()>([&] {
                auto b = button();
                if (!b || !b->bridge || !b->bridge->rxoBridge || current == nullptr) return;
                checkoutWatch.watch(widgetOf(b->bridge->rxoBridge->webView), current, true);
            }),
            +[](gpointer data) { delete static_cast<std::function<void()>*>(data); });
    };

    long libraryRss = 0, hostRss = 0;
    for (int i = 0; i < taps; ++i) {
        if (i > 0) {
            // Beside each later tap, the bare engine on the same page (the warm view is made
            // and shown once before it counts).
            if (warmView == nullptr) {
                Timeline warmUp;
                if (!bareLoad(false, warmUp)) return 1;
            }
            bareWarm.emplace_back();
            bareFresh.emplace_back();
            if (!bareLoad(false, bareWarm.back()) || !bareLoad(true, bareFresh.back())) {
                std::fprintf(stderr, "checkout_timeline: the bare engine did not show the page\n");
                return 1;
            }
            spareView = WEBKIT_WEB_VIEW(g_object_ref_sink(gtk::newWebView(bareContext)));
            settle(1.0);
            bareSpare.emplace_back();
            if (!bareLoad(true, bareSpare.back())) {
                std::fprintf(stderr, "checkout_timeline: the bare engine did not show the page\n");
                return 1;
            }
            // Primed: made a second early and given an empty document, so its web process runs.
            spareView = WEBKIT_WEB_VIEW(g_object_ref_sink(gtk::newWebView(bareContext)));
            webkit_web_view_load_uri(spareView, "about:blank");
            settle(1.0);
            barePrimed.emplace_back();
            if (!bareLoad(true, barePrimed.back())) {
                std::fprintf(stderr, "checkout_timeline: the bare engine did not show the page\n");
                return 1;
            }
            {
                // What the page sees of the empty document before it.
                auto* shown = WEBKIT_WEB_VIEW(gtk::windowChild(bareWindow));
                std::string length;
                webkit_web_view_evaluate_javascript(
                    shown, "String(history.length)", -1, nullptr, nullptr, nullptr,
                    +[](GObject* o, GAsyncResult* r, gpointer data) {
                        JSCValue* v = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(o),
                                                                                 r, nullptr);
                        char* text = v ? jsc_value_to_string(v) : nullptr;
                        *static_cast<std::string*>(data) = text ? text : "?";
                        g_free(text);
                        if (v) g_object_unref(v);
                    },
                    &length);
                spin([&] { return !length.empty(); });
                std::fprintf(stderr, "primed view: history.length %s\n", length.c_str());
            }
            // Related: made at the load, sharing the web process of a view already showing a
            // page of the same site.
            spareView = WEBKIT_WEB_VIEW(g_object_ref_sink(
                g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", warmView, nullptr)));
            bareRelated.emplace_back();
            if (!bareLoad(true, bareRelated.back())) {
                std::fprintf(stderr, "checkout_timeline: the bare engine did not show the page\n");
                return 1;
            }
            spareView = WEBKIT_WEB_VIEW(g_object_ref_sink(
                g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", warmView, nullptr)));
            bareHidden.emplace_back();
            if (!bareLoad(true, bareHidden.back(), true)) {
                std::fprintf(stderr, "checkout_timeline: the bare engine did not show the page\n");
                return 1;
            }
        }
        // The button is ready: its page has asked for the tap, nothing is on screen.
        if (!spin([&] { return buttonAsked && presenter->topViewController() == root; })) {
            std::fprintf(stderr, "checkout_timeline: the button never became ready again\n");
            return 1;
        }
        settle(0.5);
        buttonAsked = false;
        recordedLoad = -1;
        library.emplace_back();
        Timeline& t = library.back();
        current = &t;
        t.start = Clock::now();
        GtkWidget* pay = store.payControl();
        gtk::ViewWidget::tap(pay, gtk::widgetWidth(pay) / 2.0, gtk::widgetHeight(pay) / 2.0);
        if (!spin([&] { return t.has("checkout shown") && t.has("page first paint"); })) {
            std::fprintf(stderr, "checkout_timeline: tap %d never showed the checkout\n", i);
            return 1;
        }
        if (i == 0) {
            libraryRss = childrenRssKb();
            hostRss = selfRssKb();
        }
        // The sandbox page cancels by itself once it is on screen; the button re-arms.
        if (!spin([&] { return presenter->topViewController() == root && recordedLoad >= 0; })) {
            std::fprintf(stderr, "checkout_timeline: tap %d: no end or no recorded load time\n", i);
            return 1;
        }
        t.at["spinner load time"] = recordedLoad;
        current = nullptr;
        checkoutWatch.stop();
    }
    const long allRss = childrenRssKb();

    std::ofstream json(out);
    json << "{\"startup\":" << timelineJson(startupOut) << ",\"library\":" << listJson(library)
         << ",\"bareFresh\":" << listJson(bareFresh) << ",\"bareWarm\":" << listJson(bareWarm)
         << ",\"bareSpare\":" << listJson(bareSpare) << ",\"barePrimed\":" << listJson(barePrimed)
         << ",\"bareRelated\":" << listJson(bareRelated)
         << ",\"bareHidden\":" << listJson(bareHidden) << ",\"rssKb\":{\"library\":" << libraryRss
         << ",\"withBare\":" << allRss << ",\"host\":" << hostRss
         << ",\"hostAtStart\":" << hostAtStart << "}}\n";
    Logging::setSink({});
    gtk::destroyWindow(bareWindow);
    if (warmView) g_object_unref(warmView);
    std::filesystem::remove_all(work);
    return json.good() ? 0 : 1;
}

// ------------------------------------------------------------------------------------------
// The parent: runs the processes, gathers their times, prints and writes them.

double median(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

struct Series {
    std::string name;
    std::map<std::string, std::vector<double>> times;
    void add(const Value& timeline) {
        if (!timeline.isDictionary()) return;
        for (const auto& [event, ms] : timeline.asDictionary())
            times[event].push_back(ms.asDouble());
    }
};

const char* const kOrder[] = {"spinner painted",   "spinner opaque",     "configure received",
                              "response received", "page committed",     "page first paint",
                              "page loaded",       "configure answered", "launch received",
                              "checkout shown",    "spinner load time",  "button page committed",
                              "button page shown", "button page loaded"};

}  // namespace

int main(int argc, char** argv) {
    int runs = 5, taps = 6;
    std::string jsonPath, childOut;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        auto next = [&] { return i + 1 < argc ? std::string(argv[++i]) : std::string(); };
        if (arg == "--runs") {
            runs = std::max(1, std::atoi(next().c_str()));
        } else if (arg == "--taps") {
            taps = std::max(2, std::atoi(next().c_str()));
        } else if (arg == "--json") {
            jsonPath = next();
        } else if (arg == "--child") {
            childOut = next();
        } else {
            std::fprintf(stderr, "usage: checkout_timeline [--runs R] [--taps T] [--json FILE]\n");
            return 2;
        }
    }
    if (!childOut.empty()) return child(taps, childOut);

    std::vector<Series> series{
        {"first tap", {}},        {"later taps", {}},        {"bare fresh view", {}},
        {"bare warm view", {}},   {"start-up", {}},          {"bare spare view", {}},
        {"bare primed view", {}}, {"bare related view", {}}, {"bare hidden view", {}}};
    std::vector<double> rssLibrary, rssAll, rssHost, rssHostAtStart;
    char dir[] = "/tmp/tandri-timeline-runs-XXXXXX";
    if (mkdtemp(dir) == nullptr) return 1;
    for (int r = 0; r < runs; ++r) {
        const std::string out = std::string(dir) + "/run" + std::to_string(r) + ".json";
        const std::string command = std::string("'") + argv[0] + "' --taps " +
                                    std::to_string(taps) + " --child '" + out + "'";
        if (std::system(command.c_str()) != 0) {
            std::fprintf(stderr, "checkout_timeline: run %d failed\n", r + 1);
            return 1;
        }
        std::ifstream in(out);
        std::stringstream text;
        text << in.rdbuf();
        auto data = json::parse(text.str());
        if (!data || !data->isDictionary()) return 1;
        const auto& d = data->asDictionary();
        const auto& library = d.find("library")->asArray();
        for (std::size_t i = 0; i < library.size(); ++i) series[i == 0 ? 0 : 1].add(library[i]);
        for (const auto& t : d.find("bareFresh")->asArray()) series[2].add(t);
        for (const auto& t : d.find("bareWarm")->asArray()) series[3].add(t);
        for (const auto& t : d.find("bareSpare")->asArray()) series[5].add(t);
        for (const auto& t : d.find("barePrimed")->asArray()) series[6].add(t);
        for (const auto& t : d.find("bareRelated")->asArray()) series[7].add(t);
        for (const auto& t : d.find("bareHidden")->asArray()) series[8].add(t);
        series[4].add(*d.find("startup"));
        rssLibrary.push_back(d.find("rssKb")->find("library")->asDouble());
        rssAll.push_back(d.find("rssKb")->find("withBare")->asDouble());
        rssHost.push_back(d.find("rssKb")->find("host")->asDouble());
        rssHostAtStart.push_back(d.find("rssKb")->find("hostAtStart")->asDouble());
    }
    std::filesystem::remove_all(dir);

    std::printf("%d runs of %d taps (milliseconds: median [min, max] over the samples)\n", runs,
                taps);
    FILE* json = jsonPath.empty() ? nullptr : std::fopen(jsonPath.c_str(), "w");
    if (json) std::fprintf(json, "{\"runs\":%d,\"taps\":%d,\"series\":[", runs, taps);
    for (std::size_t s = 0; s < series.size(); ++s) {
        std::printf("%s\n", series[s].name.c_str());
        if (json)
            std::fprintf(json, "%s{\"name\":\"%s\",\"events\":[", s ? "," : "",
                         series[s].name.c_str());
        bool first = true;
        for (const char* event : kOrder) {
            auto found = series[s].times.find(event);
            if (found == series[s].times.end()) continue;
            const auto& v = found->second;
            std::printf("  %-22s %8.1f  [%7.1f, %7.1f]  n=%zu\n", event, median(v),
                        *std::min_element(v.begin(), v.end()),
                        *std::max_element(v.begin(), v.end()), v.size());
            if (json) {
                std::fprintf(json, "%s{\"name\":\"%s\",\"ms\":[", first ? "" : ",", event);
                for (std::size_t i = 0; i < v.size(); ++i)
                    std::fprintf(json, "%s%.2f", i ? "," : "", v[i]);
                std::fprintf(json, "]}");
            }
            first = false;
        }
        if (json) std::fprintf(json, "]}");
    }
    auto med = [&](int s, const char* event) { return median(series[s].times[event]); };
    const double warm = med(3, "page first paint");
    std::printf(
        "tap to checkout first paint over the warm bare load: later taps %.2f, first tap "
        "%.2f (goal 1.15)\n",
        med(1, "page first paint") / warm, med(0, "page first paint") / warm);
    std::printf("first tap over later taps (checkout first paint): %.2f (goal 1.3)\n",
                med(0, "page first paint") / med(1, "page first paint"));
    std::printf(
        "engine processes' resident memory: %.0f kB after the first checkout, %.0f kB "
        "with the bare views too\n",
        median(rssLibrary), median(rssAll));
    std::printf(
        "this process's resident memory: %.0f kB with the button page shown, %.0f kB after "
        "the first checkout\n",
        median(rssHostAtStart), median(rssHost));
    if (json) {
        std::fprintf(json,
                     "],\"rssKb\":{\"library\":%.0f,\"withBare\":%.0f,\"host\":%.0f,"
                     "\"hostAtStart\":%.0f}}\n",
                     median(rssLibrary), median(rssAll), median(rssHost), median(rssHostAtStart));
        std::fclose(json);
    }
    return 0;
}
