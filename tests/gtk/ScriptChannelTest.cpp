// Runs in a real WebKit web view (under Xvfb in CI): which frame a post came
// from is exactly what the origin check rests on.

#include <string>

#include "EngineFixture.hpp"

namespace {

using namespace tandri::gtk::testing;

void serveTestScheme(WebKitURISchemeRequest* request, gpointer) {
    std::string path = webkit_uri_scheme_request_get_path(request);
    std::string html =
        "<script>window.webkit.messageHandlers.tandriMessage.postMessage("
        "{id:'evil', name:'set', data:{key:'k', value:'" +
        path + "'}});</script>";
    finishWithHTML(request, html);
}

struct ScriptChannelTest : EngineFixture {
    void SetUp() override {
        EngineFixture::SetUp();
        webkit_web_context_register_uri_scheme(context, "tandri-test", serveTestScheme, nullptr,
                                               nullptr);
        webkit_security_manager_register_uri_scheme_as_secure(
            webkit_web_context_get_security_manager(context), "tandri-test");
        view = makeView();
    }
    WebKitWebView* view = nullptr;
};

TEST_F(ScriptChannelTest, EachPostCarriesItsOwnFrameUri) {
    const char* page =
        "<html><body>"
        "<iframe src=\"tandri-test://evil.example/frame\"></iframe>"
        "<iframe src=\"data:text/html,<script>window.webkit.messageHandlers.tandriMessage."
        "postMessage({id:'d',name:'get'})</script>\"></iframe>"
        "<script>window.webkit.messageHandlers.tandriMessage.postMessage("
        "{id:'1', name:'get', data:{key:'userInfo'}});"
        "window.webkit.messageHandlers.tandriMessage.postMessage(undefined);</script>"
        "</body></html>";
    webkit_web_view_load_html(view, page, "https://shop.tandri.com/checkout?x=1");
    ASSERT_TRUE(spinUntil([&] { return received.size() >= 4; }, std::chrono::seconds(20)))
        << "posts received: " << received.size();
    ASSERT_TRUE(barrier(view));
    ASSERT_EQ(received.size(), 4u);

    int top = 0, custom = 0, data = 0, empty = 0;
    for (const auto& r : received) {
        EXPECT_EQ(r.view, view);
        EXPECT_EQ(r.post.channel, "tandriMessage");
        if (r.post.frameUri == "https://shop.tandri.com/checkout?x=1") {
            EXPECT_TRUE(r.post.mainFrame);
            if (r.post.bodyJson.empty()) {
                ++empty;
            } else {
                EXPECT_EQ(r.post.bodyJson, R"({"id":"1","name":"get","data":{"key":"userInfo"}})");
                ++top;
            }
        } else if (r.post.frameUri == "tandri-test://evil.example/frame") {
            EXPECT_FALSE(r.post.mainFrame);
            EXPECT_EQ(r.post.bodyJson,
                      R"({"id":"evil","name":"set","data":{"key":"k","value":"/frame"}})");
            ++custom;
        } else if (r.post.frameUri.rfind("data:", 0) == 0) {
            EXPECT_FALSE(r.post.mainFrame);
            ++data;
        } else {
            ADD_FAILURE() << "unexpected frame " << r.post.frameUri;
        }
    }
    EXPECT_EQ(top, 1);
    EXPECT_EQ(empty, 1);
    EXPECT_EQ(custom, 1);
    EXPECT_EQ(data, 1);
}

TEST_F(ScriptChannelTest, AStaleReferenceKeptByAPopupIsDropped) {
    WebKitWebView* popup = nullptr;
    g_signal_connect(view, "create",
                     G_CALLBACK(+[](WebKitWebView* opener, WebKitNavigationAction*,
                                    gpointer self) -> GtkWidget* {
                         auto* fixture = static_cast<ScriptChannelTest*>(self);
                         return GTK_WIDGET(fixture->makeView(opener));
                     }),
                     this);
    // The untrusted opener hands its own channel to the pop-up it opens.
    webkit_web_view_load_html(
        view,
        "<script>var w = window.open('about:blank');"
        "w.stash = window.webkit.messageHandlers.tandriMessage;"
        "window.webkit.messageHandlers.tandriMessage.postMessage({id:'a',name:'ready'});"
        "</script>",
        "https://evil.example/");
    ASSERT_TRUE(spinUntil([&] { return received.size() >= 1 && windows.size() == 2; },
                          std::chrono::seconds(20)));
    popup = WEBKIT_WEB_VIEW(windowChild(windows[1]));
    EXPECT_EQ(received[0].post.frameUri, "https://evil.example/");
    received.clear();

    // The opener now shows a trusted page; the pop-up still holds the old function.
    webkit_web_view_load_html(
        view,
        "<script>window.webkit.messageHandlers.tandriMessage.postMessage({id:'t',name:'get'});"
        "</script>",
        "https://shop.tandri.com/");
    ASSERT_TRUE(spinUntil([&] { return received.size() >= 1; }, std::chrono::seconds(20)));
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].post.frameUri, "https://shop.tandri.com/");
    received.clear();

    struct Outcome {
        bool done = false;
        std::string value;
    } outcome;
    webkit_web_view_evaluate_javascript(
        popup,
        "if (window.stash) { window.stash.postMessage({id:'stale',name:'set'}); 'sent' }"
        " else { 'none' }",
        -1, nullptr, nullptr, nullptr,
        +[](GObject* source, GAsyncResult* result, gpointer data) {
            auto* out = static_cast<Outcome*>(data);
            if (JSCValue* value = webkit_web_view_evaluate_javascript_finish(
                    WEBKIT_WEB_VIEW(source), result, nullptr)) {
                char* text = jsc_value_to_string(value);
                out->value = text;
                g_free(text);
                g_object_unref(value);
            }
            out->done = true;
        },
        &outcome);
    ASSERT_TRUE(spinUntil([&] { return outcome.done; }, std::chrono::seconds(10)));
    // The pop-up really holds the old handler and calls it; only the channel drops it.
    EXPECT_EQ(outcome.value, "sent");
    ASSERT_TRUE(barrier(popup));
    for (const auto& r : received) {
        ADD_FAILURE() << "stale post arrived from " << r.post.frameUri << ": " << r.post.bodyJson;
    }
}

}  // namespace

namespace {

using namespace tandri::gtk::testing;

// A hybrid host's page also talks to handlers the host registered with the engine itself; the
// engine may remake its namespace objects under the page, and our channel must survive that.
TEST_F(EngineFixture, TheChannelLivesBesideTheHostsOwnEngineHandlers) {
    WebKitUserContentManager* contents = webkit_user_content_manager_new();
    tandri::gtk::registerHostHandler(contents, "host");
    struct Host {
        WebKitWebView* view = nullptr;
        int posts = 0;
        int target = 0;
    } host;
    // Each host message is answered by evaluating the page's next post, one after the other.
    g_signal_connect(contents, "script-message-received::host",
                     G_CALLBACK(+[](WebKitUserContentManager*, gpointer, gpointer data) {
                         auto* h = static_cast<Host*>(data);
                         if (++h->posts < h->target) {
                             webkit_web_view_evaluate_javascript(h->view, "next()", -1, nullptr,
                                                                 nullptr, nullptr, nullptr,
                                                                 nullptr);
                         }
                     }),
                     &host);
    auto* view = WEBKIT_WEB_VIEW(tandri::gtk::newWebView(context, contents));
    host.view = view;
    windows.push_back(showInWindow(GTK_WIDGET(view)));
    tandri::gtk::ScriptChannel::connect(
        view, [this](WebKitWebView* from, const tandri::gtk::ChannelPost& post) {
            received.push_back({from, post});
        });
    webkit_web_view_load_html(
        view,
        "<script>"
        "var channel; var body = {id:'1', name:'get', data:{key:'userInfo'}};"
        "function next() { channel.postMessage(body); }"
        "function startHost() { channel = window.webkit.messageHandlers.host; next(); }"
        "function ours(id) { window.webkit.messageHandlers.tandriMessage.postMessage({id: id}); }"
        "ours('first');"
        "</script>",
        "https://shop.tandri.com/");
    ASSERT_TRUE(spinUntil([&] { return received.size() == 1; }, std::chrono::seconds(20)));
    for (int round = 0; round < 3; ++round) {
        host.target += 300;
        webkit_web_view_evaluate_javascript(view, "startHost()", -1, nullptr, nullptr, nullptr,
                                            nullptr, nullptr);
        ASSERT_TRUE(spinUntil([&] { return host.posts == host.target; }, std::chrono::seconds(30)));
        // Nothing in the page holds the engine's namespace objects now: make the page's
        // collector run.
        int collected = 0;
        for (int i = 0; i < 3; ++i) {
            webkit_web_view_evaluate_javascript(
                view,
                "(function(){ var a = []; for (var i = 0; i < 300000; ++i) a.push({i: i});"
                " return a.length; })()",
                -1, nullptr, nullptr, nullptr,
                +[](GObject* source, GAsyncResult* result, gpointer data) {
                    if (JSCValue* value = webkit_web_view_evaluate_javascript_finish(
                            WEBKIT_WEB_VIEW(source), result, nullptr)) {
                        g_object_unref(value);
                    }
                    ++*static_cast<int*>(data);
                },
                &collected);
        }
        ASSERT_TRUE(spinUntil([&] { return collected == 3; }, std::chrono::seconds(30)));
        std::string call = "ours('round" + std::to_string(round) + "')";
        webkit_web_view_evaluate_javascript(view, call.c_str(), -1, nullptr, nullptr, nullptr,
                                            nullptr, nullptr);
        ASSERT_TRUE(spinUntil([&] { return received.size() == static_cast<size_t>(round) + 2; },
                              std::chrono::seconds(10)))
            << "the channel was lost after round " << round;
        EXPECT_EQ(received.back().post.bodyJson, "{\"id\":\"round" + std::to_string(round) + "\"}");
    }
    g_object_unref(contents);
}

}  // namespace
