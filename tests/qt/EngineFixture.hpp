#pragma once

// Real Qt WebEngine views against the sandbox checkout server (over real https, through its own
// proxy, trusting its throw-away certificate), and pages of a test scheme served from memory.

#include <gtest/gtest.h>
#include <unistd.h>

#include <QApplication>
#include <QBuffer>
#include <QThread>
#include <QWebEngineProfile>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlSchemeHandler>
#include <QWebEngineView>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

#include "Core/Utils/URL.hpp"
#include "Platform/Platform.hpp"
#include "Platform/Qt/QtMainQueue.hpp"
#include "Platform/Qt/QtWebView.hpp"
#include "Platform/Simulated/SimulatedStorage.hpp"
#include "SandboxServer.hpp"
#include "tandri/Json.hpp"

namespace tandri::qt::testing {

/// The scheme of pages served from memory; registered as secure before the application starts
/// (see QtTestMain.cpp).
inline constexpr const char* kTestScheme = "tandri-test";

inline URLRequest get(const std::string& url) {
    URLRequest request;
    request.url = url;
    return request;
}

/// Runs the event loop until `done` holds. The limit is only there so that a broken test ends: a
/// passing test never reaches it, and every wait gets at least a minute (the engine's processes
/// on a loaded two-core machine take many times what a limit written at a desk allows).
inline bool spinUntil(const std::function<bool()>& done,
                      std::chrono::milliseconds limit = std::chrono::minutes(1)) {
    constexpr std::chrono::milliseconds kLeast = std::chrono::minutes(1);
    auto deadline = std::chrono::steady_clock::now() + std::max(limit, kLeast);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::msleep(1);
    }
    return true;
}

/// A script's value as JSON text, "undefined", or "timeout".
inline std::string evaluate(WebView& view, const std::string& script) {
    auto out = std::make_shared<std::optional<std::string>>();
    view.evaluateJavaScript(
        script, [out](const std::optional<Value>& value, const std::optional<std::string>& error) {
            *out = error ? "error: " + *error
                         : (value ? json::write(*value).value_or("?") : "undefined");
        });
    spinUntil([&] { return out->has_value(); });
    return out->value_or("timeout");
}

/// Serves pages by path (every host the same) for the test scheme.
class MemoryPages : public QWebEngineUrlSchemeHandler {
  public:
    std::map<std::string, std::string> pages;
    void requestStarted(QWebEngineUrlRequestJob* job) override {
        auto found = pages.find(job->requestUrl().path().toStdString());
        auto* buffer = new QBuffer(job);
        buffer->setData(found != pages.end() ? QByteArray::fromStdString(found->second)
                                             : QByteArray("<p>none</p>"));
        job->reply("text/html", buffer);
    }
};

/// A recording handler for the raw channel: every message as the core would receive it.
struct Recorder : ScriptMessageHandler {
    std::vector<ScriptMessage> messages;
    void userContentControllerDidReceiveScriptMessage(UserContentController&,
                                                      const ScriptMessage& message) override {
        messages.push_back(message);
    }
    /// "body @ frame URL (main|sub) top=URL" for each message, in order.
    std::vector<std::string> lines() const {
        std::vector<std::string> out;
        for (const auto& m : messages) {
            out.push_back((m.body ? json::write(*m.body).value_or("?") : std::string("<none>")) +
                          " @ " + m.frameURL +
                          (m.mainFrame ? " (main)" : " (sub) top=" + m.topFrameURL));
        }
        return out;
    }
};

class EngineFixture : public ::testing::Test {
  public:
    void SetUp() override {
        char pattern[] = "/tmp/tandri-qt-engine-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        ASSERT_TRUE(sandbox.start(TANDRI_SOURCE_DIR, dir, autoMode(), buttonStatus()))
            << "the sandbox server did not start";
        saved = Platform::current();
        Platform ports;
        ports.mainQueue = std::make_shared<QtMainQueue>();
        factory = std::make_shared<QtWebViewFactory>(
            NetworkSettings{sandbox.proxy,
                            sandbox.leaf,
                            {"checkout.tandri.test", "pay.tandri.test", "evil.test", "tandri.test",
                             "shop.merchant.test"}},
            dataDirectory());
        factory->profile()->installUrlSchemeHandler(kTestScheme, &memory);
        ports.webViews = factory;
        ports.keychain = keychain = std::make_shared<sim::SimulatedKeychain>();
        ports.userDefaults = defaults = std::make_shared<sim::SimulatedUserDefaults>();
        Platform::install(ports);
        savedDomain = makerDomain();
        setMakerDomain("tandri.test");
    }
    void TearDown() override {
        setMakerDomain(savedDomain);
        Platform::install(saved);
        views.clear();
        if (factory) factory->profile()->removeUrlSchemeHandler(&memory);
        factory.reset();
        // Pages and profiles go on the event loop, in the order they were let go.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
        std::system(("rm -rf " + dir).c_str());
    }
    virtual std::string autoMode() const { return ""; }
    virtual int buttonStatus() const { return 200; }
    virtual std::string dataDirectory() const { return {}; }

    /// A view shown in a window of its own (a hidden page's timers are slowed down).
    std::shared_ptr<QtWebView> shownView(std::shared_ptr<WebViewConfiguration> configuration = {}) {
        auto view = std::static_pointer_cast<QtWebView>(factory->makeWebView(configuration));
        show(*view);
        views.push_back(view);
        return view;
    }
    static void show(QtWebView& view) {
        view.widget()->resize(640, 480);
        view.widget()->show();
    }

    /// Waits until `condition` holds in the view's top document.
    bool waitFor(WebView& view, const std::string& condition) {
        return spinUntil([&] { return evaluate(view, "Boolean(" + condition + ")") == "true"; });
    }

    /// Waits until the view shows a document whose `document.title + ' ' + readyState` is this.
    bool showing(WebView& view, const std::string& titleAndState) {
        return spinUntil([&] {
            return evaluate(view, "document.title + ' ' + document.readyState") ==
                   json::write(Value(titleAndState)).value_or("");
        });
    }

    /// Every request the sandbox server has seen, as it recorded them.
    Value serverRequests() {
        auto view = shownView();
        view->loadRequest(get("https://checkout.tandri.test/__requests"));
        std::optional<Value> parsed;
        spinUntil([&] {
            auto text = evaluate(
                *view, "document.readyState === 'complete' ? document.body.innerText : ''");
            auto outer = json::parse(text);
            if (!outer || !outer->isString() || outer->asString().empty()) return false;
            parsed = json::parse(outer->asString());
            return parsed.has_value();
        });
        return parsed.value_or(Value());
    }

    std::string dir;
    std::string savedDomain;
    demo::SandboxServer sandbox;
    Platform saved;
    MemoryPages memory;
    std::shared_ptr<QtWebViewFactory> factory;
    std::shared_ptr<sim::SimulatedKeychain> keychain;
    std::shared_ptr<sim::SimulatedUserDefaults> defaults;
    std::vector<std::shared_ptr<QtWebView>> views;
};

}  // namespace tandri::qt::testing
