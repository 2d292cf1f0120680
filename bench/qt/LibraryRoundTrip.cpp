// Round trips through real Qt WebEngine (Chromium) views, the whole library against the
// engine's own limit:
//
//   bare echo   a page posts messages to a QObject over a web channel in its own world (the
//               engine's own way from a page to native code) and native code answers with the
//               smallest call it can run in the page ("next()"); no library code at all.
//   library     a page posts "get" messages on the library's channel: through the frame's
//               channel function to the top window, the listener in the library's own script
//               world, its web channel; the bridge checks the origin, builds the message, logs
//               it, reads the value from the on-disk store and writes the response script, run
//               in the page's document only, whose receiver answers with the next post.
//
// Each message waits for its answer. Times are taken natively, between successive arrivals;
// the two paths run alternately, twice each, the first pass warming up.
//
//   qt_library_round_trip [N] [--json FILE]

#include <QApplication>
#include <QFile>
#include <QThread>
#include <QWebChannel>
#include <QWebEnginePage>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineView>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Core/Bridge/JSBridge.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Linux/PersistentStorage.hpp"
#include "Platform/Qt/QtMainQueue.hpp"
#include "Platform/Qt/QtWebView.hpp"
#include "RoundTrip.hpp"

namespace {

using tandri::bench::Clock;
using tandri::bench::Run;

const char* kPage = R"(<html><body><script>
let mode = '', seq = 0;
const lib = window.webkit.messageHandlers.tandriMessage;
function get() { lib.postMessage({name: 'get', id: String(++seq), data: 'sample'}); }
function next() { window.bare.post({name: 'get', id: String(++seq), data: 'sample'}); }
function receive(answer) {
  if (mode === 'setup') window.bare.post('ready');
  else if (mode === 'library') get();
}
function setup(value) {
  mode = 'setup';
  lib.postMessage({name: 'set', id: 'setup', data: {key: 'sample', value: value}});
}
function start(m) { mode = m; if (m === 'bare') next(); else get(); }
new QWebChannel(qt.webChannelTransport, (c) => { window.bare = c.objects.bare; window.bare.post('up'); });
</script></body></html>)";

bool spin(const std::function<bool()>& done,
          std::chrono::seconds limit = std::chrono::seconds(60)) {
    auto deadline = Clock::now() + limit;
    while (!done() && Clock::now() < deadline) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return done();
}

}  // namespace

// The bare echo's native end: the page's post arrives here; the answer is "next()".
class Echo : public QObject {
    Q_OBJECT
  public:
    QWebEnginePage* page = nullptr;
    Run* current = nullptr;
    bool up = false;
    bool ready = false;
  public Q_SLOTS:
    void post(const QVariant& body) {
        if (body.typeId() == QMetaType::QString) {
            if (body.toString() == QLatin1String("up")) up = true;
            if (body.toString() == QLatin1String("ready")) ready = true;
            return;
        }
        if (current == nullptr) return;
        current->arrive();
        if (!current->done()) page->runJavaScript(QStringLiteral("next()"));
    }
};

int main(int argc, char** argv) {
    int n = 0;
    const char* jsonPath = nullptr;
    tandri::bench::parseArguments(argc, argv, n, jsonPath);
    QApplication application(argc, argv);

    char dir[] = "/tmp/tandri-qt-round-trip-XXXXXX";
    if (mkdtemp(dir) == nullptr) return 1;
    tandri::Platform ports;
    ports.mainQueue = std::make_shared<tandri::qt::QtMainQueue>();
    auto factory = std::make_shared<tandri::qt::QtWebViewFactory>();
    ports.webViews = factory;
    if (!tandri::linux_storage::installStoragePorts(ports, "tandri-qt-round-trip",
                                                    tandri::linux_storage::KeychainBackend::Sqlite,
                                                    std::string(dir) + "/store.db")) {
        std::fprintf(stderr, "the store did not open\n");
        return 1;
    }
    tandri::Platform::install(ports);

    // The library's page, and the echo's own page beside it in the same profile (a page has one
    // web channel, the library's in its own world): the same script in both, each with a
    // stand-in for the other path.
    auto webView = std::static_pointer_cast<tandri::qt::QtWebView>(factory->makeWebView());
    Echo echo;
    QWebEngineView bareView;
    auto* barePage = new QWebEnginePage(factory->profile(), &bareView);
    bareView.setPage(barePage);
    {
        QFile library(QStringLiteral(":/qtwebchannel/qwebchannel.js"));
        library.open(QIODevice::ReadOnly);
        QWebEngineScript script;
        script.setSourceCode(QString::fromUtf8(library.readAll()));
        script.setWorldId(QWebEngineScript::MainWorld);
        script.setInjectionPoint(QWebEngineScript::DocumentCreation);
        barePage->scripts().insert(script);
    }
    auto* channel = new QWebChannel(barePage);
    channel->registerObject(QStringLiteral("bare"), &echo);
    barePage->setWebChannel(channel, QWebEngineScript::MainWorld);
    echo.page = barePage;
    barePage->setHtml(
        QString::fromUtf8(kPage).replace("const lib = window.webkit.messageHandlers.tandriMessage;",
                                         "const lib = {postMessage() {}};"),
        QUrl(QString::fromStdString("https://checkout." + tandri::makerDomain() + "/")));
    bareView.resize(320, 200);
    bareView.show();

    Run bare{"bare echo", {}, 0};
    Run library{"library", {}, 0};
    Run* current = nullptr;
    bool stored = false;
    auto bridge = tandri::JSBridge::create(webView);
    bridge->messageHandlerPath = "receive";
    bridge->messageHandlers["set"] = [&stored](const tandri::JSTandriMessage& message,
                                               tandri::JSCompletion completion) {
        stored = true;
        tandri::JSBridge::onSet()(message, std::move(completion));
    };
    // Arrivals are counted as the bridge hands the message to its handler; the last message of
    // a run goes unanswered so that the page stops.
    bridge->messageHandlers["get"] = [&current](const tandri::JSTandriMessage& message,
                                                tandri::JSCompletion completion) {
        if (current != nullptr) {
            current->arrive();
            if (current->done()) return;
        }
        tandri::JSBridge::onGet()(message, std::move(completion));
    };
    // The library's page must have loaded before its script is called.
    struct Loaded : tandri::NavigationDelegate {
        bool finished = false;
        void webViewDidFinishNavigation(tandri::WebView&,
                                        const tandri::NavigationHandle&) override {
            finished = true;
        }
    };
    auto loaded = std::make_shared<Loaded>();
    webView->setNavigationDelegate(loaded);
    webView->loadHTMLString(
        std::string(kPage).replace(std::string(kPage).find("new QWebChannel"),
                                   std::string("new QWebChannel(qt.webChannelTransport, (c) => { "
                                               "window.bare = c.objects.bare; "
                                               "window.bare.post('up'); });")
                                       .size(),
                                   "window.bare = {post() {}};"),
        std::string("https://checkout.") + tandri::makerDomain() + "/");
    webView->widget()->resize(320, 200);
    webView->widget()->show();
    if (!spin([&] { return echo.up && loaded->finished; })) {
        std::fprintf(stderr, "the pages did not load (or the bare page's channel did not start)\n");
        return 1;
    }
    // A stored value of the size a checkout keeps: a user record of about 500 bytes.
    webView->evaluateJavaScript(
        "setup({name: 'Ada Lovelace', email: 'ada@example.com', phone: '+44 20 7946 0000',"
        " address: {line1: '12 St James Square', city: 'London', postcode: 'SW1Y 4JH',"
        " country: 'GB'}, cards: [{brand: 'visa', last4: '4242', expiry: '12/29'},"
        " {brand: 'mastercard', last4: '4444', expiry: '01/28'}], locale: 'en-GB',"
        " preferences: {newsletter: false, saveCards: true, theme: 'light'},"
        " token: 'c2VjcmV0LXRva2VuLWZvci10aGUtYmVuY2htYXJrLW9ubHk='})",
        {});
    if (!spin([&] { return stored; })) {
        std::fprintf(stderr, "the page did not store its value\n");
        return 1;
    }

    for (Run* run : {&bare, &library, &bare, &library}) {
        run->arrivals.clear();
        run->target = n;
        if (run == &bare) {
            echo.current = run;
            barePage->runJavaScript(QStringLiteral("start('bare')"));
        } else {
            current = run;
            webView->evaluateJavaScript("start('library')", {});
        }
        if (!spin([&] { return run->done(); })) {
            std::fprintf(stderr, "%s stalled after %zu of %d\n", run->name, run->arrivals.size(),
                         n);
            return 1;
        }
        echo.current = nullptr;
        current = nullptr;
    }
    tandri::bench::report({&bare, &library}, n, jsonPath);

    bridge.reset();
    webView.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    std::filesystem::remove_all(dir);
    return 0;
}

#include "LibraryRoundTrip.moc"
