// Round trips through a real WebKit view, the whole library against the
// engine's own limit. One page, one process, one run:
//
//   bare echo   the page posts the same messages on an engine script-message
//               handler and native code answers with the smallest call it can
//               evaluate ("next()"); no library code at all.
//   library     the page posts "get" messages on the library's channel; the
//               bridge checks the frame's origin, builds the message, logs it,
//               reads the value from the on-disk store and writes the response
//               script, which the page's receiver answers with the next post.
//
// Each message waits for its answer. Times are taken natively, between
// successive arrivals. A burst (every message posted at once, answers counted
// by the page) gives the throughput of each path.
//
//   library_round_trip [N] [--json FILE]

#include <cstdlib>
#include <filesystem>
#include <string>

#include "Core/Bridge/JSBridge.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Gtk/GtkMainQueue.hpp"
#include "Platform/Gtk/GtkWebView.hpp"
#include "Platform/Gtk/WebKit.hpp"
#include "Platform/Linux/PersistentStorage.hpp"
#include "RoundTrip.hpp"
#include "Toolkit.hpp"

namespace {

using tandri::bench::Clock;
using tandri::bench::Run;

const char* kPage = R"(<html><body><script>
const bare = window.webkit.messageHandlers.bare;
const lib = window.webkit.messageHandlers.tandriMessage;
let mode = '', seq = 0, left = 0;
function get() { lib.postMessage({name: 'get', id: String(++seq), data: 'sample'}); }
function next() { bare.postMessage({name: 'get', id: String(++seq), data: 'sample'}); }
function ack() { if (--left === 0) bare.postMessage('done'); }
function receive(answer) {
  if (mode === 'setup') bare.postMessage('ready');
  else if (mode === 'library') get();
  else if (mode === 'burst') ack();
}
function setup(value) {
  mode = 'setup';
  lib.postMessage({name: 'set', id: 'setup', data: {key: 'sample', value: value}});
}
function start(m) { mode = m; if (m === 'bare') next(); else get(); }
function burst(m, n) {
  mode = m === 'library' ? 'burst' : 'bareBurst'; left = n;
  for (let i = 0; i < n; i++) {
    m === 'library' ? get() : bare.postMessage({name: 'b', id: String(++seq), data: 'sample'});
  }
}
</script></body></html>)";

struct Bench {
    WebKitWebView* view = nullptr;
    Run* current = nullptr;  // the waiting run in progress, if any
    bool burst = false;      // bursts under way: the bare echo answers each message with ack()
    bool ready = false;
    Clock::time_point burstDone;
    bool burstFinished = false;

    void evaluate(const std::string& script) {
        webkit_web_view_evaluate_javascript(view, script.c_str(), -1, nullptr, nullptr, nullptr,
                                            nullptr, nullptr);
    }
};

void onBare(WebKitUserContentManager*, gpointer message, gpointer data) {
    auto* bench = static_cast<Bench*>(data);
    JSCValue* value = tandri::gtk::scriptMessageValue(message);
    if (jsc_value_is_string(value)) {
        char* text = jsc_value_to_string(value);
        const std::string body = text;
        g_free(text);
        if (body == "ready") bench->ready = true;
        if (body == "done") {
            bench->burstDone = Clock::now();
            bench->burstFinished = true;
        }
        return;
    }
    if (bench->burst) {  // every burst message is answered at once
        bench->evaluate("ack()");
        return;
    }
    if (bench->current == nullptr) return;
    bench->current->arrive();
    if (!bench->current->done()) bench->evaluate("next()");
}

}  // namespace

int main(int argc, char** argv) {
    int n = 0;
    const char* jsonPath = nullptr;
    tandri::bench::parseArguments(argc, argv, n, jsonPath);
    tandri::gtk::testing::initToolkit();

    char dir[] = "/tmp/tandri-round-trip-XXXXXX";
    if (mkdtemp(dir) == nullptr) return 1;
    tandri::Platform ports;
    ports.mainQueue = std::make_shared<tandri::gtk::GtkMainQueue>();
    auto factory = std::make_shared<tandri::gtk::GtkWebViewFactory>();
    ports.webViews = factory;
    if (!tandri::linux_storage::installStoragePorts(ports, "tandri-round-trip",
                                                    tandri::linux_storage::KeychainBackend::Sqlite,
                                                    std::string(dir) + "/store.db")) {
        std::fprintf(stderr, "the store did not open\n");
        return 1;
    }
    tandri::Platform::install(ports);

    auto webView = factory->makeWebView();
    Bench bench;
    bench.view = static_cast<tandri::gtk::GtkWebView&>(*webView).widget();
    GtkWidget* window = tandri::gtk::testing::showInWindow(GTK_WIDGET(bench.view));

    WebKitUserContentManager* contents = webkit_web_view_get_user_content_manager(bench.view);
    tandri::gtk::registerHostHandler(contents, "bare");
    g_signal_connect(contents, "script-message-received::bare", G_CALLBACK(onBare), &bench);

    Run bare{"bare echo", {}, 0};
    Run library{"library", {}, 0};
    auto bridge = tandri::JSBridge::create(webView);
    bridge->messageHandlerPath = "receive";
    bridge->messageHandlers["set"] = tandri::JSBridge::onSet();
    // Arrivals are counted as the bridge hands the message to its handler; the last message of
    // a waiting run goes unanswered so that the page stops.
    bridge->messageHandlers["get"] = [&bench](const tandri::JSTandriMessage& message,
                                              tandri::JSCompletion completion) {
        if (bench.current != nullptr) {
            bench.current->arrive();
            if (bench.current->done()) return;
        }
        tandri::JSBridge::onGet()(message, std::move(completion));
    };

    bool loaded = false;
    webView->loadHTMLString(kPage, std::string("https://checkout.") + tandri::makerDomain() + "/");
    g_signal_connect(bench.view, "load-changed",
                     G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, gpointer done) {
                         if (event == WEBKIT_LOAD_FINISHED) *static_cast<bool*>(done) = true;
                     }),
                     &loaded);
    tandri::bench::spin([&] { return loaded; });
    // A stored value of the size a checkout keeps: a user record of about 500 bytes.
    // TANDRI_ROUND_TRIP_SMALL=1 stores a one-letter value instead, to tell the cost of carrying
    // the record from the cost of the path.
    const bool small = std::getenv("TANDRI_ROUND_TRIP_SMALL") != nullptr;
    bench.evaluate(
        small ? std::string("setup('x')")
              : std::string(
                    "setup({name: 'Ada Lovelace', email: 'ada@example.com', phone: '+44 20 7946 "
                    "0000',"
                    " address: {line1: '12 St James Square', city: 'London', postcode: 'SW1Y 4JH',"
                    " country: 'GB'}, cards: [{brand: 'visa', last4: '4242', expiry: '12/29'},"
                    " {brand: 'mastercard', last4: '4444', expiry: '01/28'}], locale: 'en-GB',"
                    " preferences: {newsletter: false, saveCards: true, theme: 'light'},"
                    " token: 'c2VjcmV0LXRva2VuLWZvci10aGUtYmVuY2htYXJrLW9ubHk='})"));
    if (!tandri::bench::spin([&] { return bench.ready; })) {
        std::fprintf(stderr, "the page did not store its value\n");
        return 1;
    }

    // Warm both paths, then measure them alternately so drift hits both alike.
    for (Run* run : {&bare, &library, &bare, &library}) {
        run->arrivals.clear();
        run->target = n;
        bench.current = run;
        bench.evaluate(std::string("start('") + (run == &bare ? "bare" : "library") + "')");
        if (!tandri::bench::spin([&] { return run->done(); })) {
            std::fprintf(stderr, "%s stalled after %zu of %d\n", run->name, run->arrivals.size(),
                         n);
            return 1;
        }
        bench.current = nullptr;
    }
    tandri::bench::report({&bare, &library}, n, jsonPath);

    double rates[2] = {0, 0};
    int index = 0;
    bench.burst = true;
    for (const char* mode : {"bare", "library"}) {
        bench.burstFinished = false;
        auto start = Clock::now();
        bench.evaluate(std::string("burst('") + mode + "', " + std::to_string(n) + ")");
        if (!tandri::bench::spin([&] { return bench.burstFinished; })) {
            std::fprintf(stderr, "the %s burst stalled\n", mode);
            return 1;
        }
        const double seconds = std::chrono::duration<double>(bench.burstDone - start).count();
        rates[index++] = n / seconds;
        std::printf("burst %-11s %d messages in %7.1f ms: %8.0f messages/s\n", mode, n,
                    seconds * 1e3, n / seconds);
    }
    std::printf("burst ratio (bare/library): %.3f\n", rates[0] / rates[1]);

    bridge.reset();
    webView.reset();
    tandri::gtk::testing::destroyWindow(window);
    std::filesystem::remove_all(dir);
    return 0;
}
