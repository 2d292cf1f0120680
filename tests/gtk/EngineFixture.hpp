#pragma once

// A real WebKit context with the script channel, off-screen windows, and a
// way to run the main loop until something has happened.

#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "Platform/Gtk/ScriptChannel.hpp"
#include "Platform/WebView.hpp"
#include "Toolkit.hpp"

namespace tandri::gtk::testing {

/// Runs the main loop until `done` holds. The limit is only there so that a broken test ends:
/// a passing test never reaches it. Every wait gets at least a minute, because the engine's
/// processes under the sanitizers on a loaded two-core machine take many times the few seconds
/// a limit written at a desk allows (a child run of the cookie test once gave up after 5 s).
inline bool spinUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    constexpr std::chrono::milliseconds kLeast = std::chrono::minutes(1);
    auto deadline = std::chrono::steady_clock::now() + std::max(limit, kLeast);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        g_main_context_iteration(nullptr, FALSE);
        if (!g_main_context_pending(nullptr)) g_usleep(1000);
    }
    return true;
}

/// A script's string result, or its error in angle brackets.
inline std::string evaluate(WebView& view, const std::string& script) {
    // Shared with the answer, which may come after this has given up waiting.
    auto out = std::make_shared<std::optional<std::string>>();
    view.evaluateJavaScript(script, [out](const std::optional<Value>& v, const auto& error) {
        *out = v && v->isString() ? v->asString() : "<" + error.value_or("not a string") + ">";
    });
    spinUntil([&] { return out->has_value(); }, std::chrono::seconds(5));
    return out->value_or("<no answer>");
}

/// Answers a request of a test URI scheme with an HTML page.
inline void finishWithHTML(WebKitURISchemeRequest* request, const std::string& html) {
    gsize size = html.size();
    GInputStream* stream =
        g_memory_input_stream_new_from_data(g_strndup(html.data(), size), size, g_free);
    webkit_uri_scheme_request_finish(request, stream, size, "text/html");
    g_object_unref(stream);
}

class EngineFixture : public ::testing::Test {
  public:
    static void SetUpTestSuite() { initToolkit(); }

    void SetUp() override {
        context = newEphemeralContext();
        ScriptChannel::prepareContext(context, "tandriMessage");
    }
    void TearDown() override {
        for (GtkWidget* window : windows) destroyWindow(window);
        g_object_unref(context);
    }

    WebKitWebView* makeView(WebKitWebView* related = nullptr) {
        GtkWidget* widget = related ? newRelatedWebView(related) : newWebView(context);
        auto* webView = WEBKIT_WEB_VIEW(widget);
        webkit_settings_set_javascript_can_open_windows_automatically(
            webkit_web_view_get_settings(webView), TRUE);
        windows.push_back(showInWindow(widget));
        ScriptChannel::connect(webView, [this](WebKitWebView* from, const ChannelPost& post) {
            received.push_back({from, post});
        });
        return webView;
    }

    struct Received {
        WebKitWebView* view;
        ChannelPost post;
    };

    // Posts a marker from the view's main frame and waits until it has come in. One web process
    // sends its posts in order, so everything its pages posted before the marker is in `received`
    // by then: a check that nothing else came needs no waiting time. The marker itself is taken
    // out again.
    bool barrier(WebKitWebView* view) {
        const std::string body = "{\"barrier\":" + std::to_string(++barriers) + "}";
        const std::string script =
            "window.webkit.messageHandlers.tandriMessage.postMessage(" + body + ")";
        webkit_web_view_evaluate_javascript(view, script.c_str(), -1, nullptr, nullptr, nullptr,
                                            nullptr, nullptr);
        auto marker = [&] {
            for (auto it = received.begin(); it != received.end(); ++it) {
                if (it->view == view && it->post.bodyJson == body) return it;
            }
            return received.end();
        };
        if (!spinUntil([&] { return marker() != received.end(); }, std::chrono::seconds(20))) {
            return false;
        }
        received.erase(marker());
        return true;
    }
    int barriers = 0;
    WebKitWebContext* context = nullptr;
    std::vector<GtkWidget*> windows;
    std::vector<Received> received;
};

}  // namespace tandri::gtk::testing
