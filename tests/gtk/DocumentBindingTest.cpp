// A frame's channel speaks only for the document it was made for. A page that keeps another
// document's channel (a same-origin child's, its own from before it left) must not be able to post
// with whatever URL the frame shows later: not after a navigation to a page that runs no script,
// into a sandbox that runs none, to an about:blank or srcdoc document, nor across a step back in
// history.

#include <map>
#include <string>

#include "EngineFixture.hpp"

namespace {

using namespace tandri::gtk::testing;

// Pages by path; every host serves the same ones.
const std::map<std::string, std::string>& pages() {
    static const std::map<std::string, std::string> all = {
        {"/static", "<p>a page that runs no script</p>"},
        {"/top",
         "<script>var loads = 0;</script>"
         "<iframe id='f' src='about:blank' onload='loads++'></iframe><script>"
         "var f = document.getElementById('f'); var kept = [];"
         "function keep() { kept.push(f.contentWindow.webkit.messageHandlers.tandriMessage); }"
         "function replay(id) { kept.forEach(function(h, i) {"
         "  try { h.postMessage({id: id + '-' + i}); } catch (e) {} }); return 'sent'; }"
         "</script>"},
        {"/a",
         "<script>var shown = 0; addEventListener('pageshow', function(e) {"
         " shown++; window.persisted = e.persisted; });"
         "function say(id) { window.webkit.messageHandlers.tandriMessage.postMessage({id: id});"
         " return 'said'; }</script><p>page A</p>"},
        {"/b",
         "<script>function handOver() { var w = window.open('about:blank');"
         " w.kept = window.webkit.messageHandlers.tandriMessage; return 'handed'; }</script>"},
    };
    return all;
}

void serve(WebKitURISchemeRequest* request, gpointer) {
    const auto found = pages().find(webkit_uri_scheme_request_get_path(request));
    finishWithHTML(request, found != pages().end() ? found->second : "<p>none</p>");
}

struct DocumentBindingTest : EngineFixture {
    void SetUp() override {
        EngineFixture::SetUp();
        webkit_web_context_register_uri_scheme(context, "tandri-doc", serve, nullptr, nullptr);
        webkit_security_manager_register_uri_scheme_as_secure(
            webkit_web_context_get_security_manager(context), "tandri-doc");
        view = makeView();
    }

    // A script's result as text, run in `in`.
    std::string run(WebKitWebView* in, const std::string& script) {
        struct Out {
            bool done = false;
            std::string text;
        } out;
        webkit_web_view_evaluate_javascript(
            in, script.c_str(), -1, nullptr, nullptr, nullptr,
            +[](GObject* source, GAsyncResult* result, gpointer data) {
                auto* o = static_cast<Out*>(data);
                GError* error = nullptr;
                if (JSCValue* value = webkit_web_view_evaluate_javascript_finish(
                        WEBKIT_WEB_VIEW(source), result, &error)) {
                    char* text = jsc_value_to_string(value);
                    o->text = text;
                    g_free(text);
                    g_object_unref(value);
                } else {
                    o->text = std::string("<") + (error ? error->message : "error") + ">";
                    g_clear_error(&error);
                }
                o->done = true;
            },
            &out);
        spinUntil([&] { return out.done; }, std::chrono::seconds(10));
        return out.text;
    }

    bool waitFor(WebKitWebView* in, const std::string& condition, const std::string& expected) {
        return spinUntil([&] { return run(in, condition) == expected; }, std::chrono::seconds(20));
    }

    // The posts that arrived, as "id @ frame URI".
    std::vector<std::string> arrived() {
        std::vector<std::string> out;
        for (const auto& r : received) out.push_back(r.post.bodyJson + " @ " + r.post.frameUri);
        return out;
    }

    WebKitWebView* view = nullptr;
};

TEST_F(DocumentBindingTest, AKeptChannelDoesNotSpeakForTheFramesLaterDocuments) {
    webkit_web_view_load_uri(view, "tandri-doc://evil.example/top");
    ASSERT_TRUE(waitFor(view, "String(document.readyState === 'complete' && loads)", "1"));

    // The child's first document (about:blank, the parent's origin) may speak for itself.
    EXPECT_EQ(run(view, "keep(); replay('blank')"), "sent");
    ASSERT_TRUE(barrier(view));
    EXPECT_EQ(arrived(), std::vector<std::string>{R"({"id":"blank-0"} @ about:blank)"});
    received.clear();

    // A sandbox without scripts: the maker's page there runs nothing and makes no channel.
    run(view, "f.setAttribute('sandbox', ''); f.src = 'tandri-doc://maker.example/static'");
    ASSERT_TRUE(waitFor(view, "String(loads)", "2"));
    run(view, "replay('sandboxed')");

    // The same page with scripts allowed, but none of its own.
    run(view, "f.removeAttribute('sandbox'); f.src = 'tandri-doc://maker.example/static?2'");
    ASSERT_TRUE(waitFor(view, "String(loads)", "3"));
    run(view, "replay('static')");

    // A srcdoc document (the parent's origin again): the kept channel is the first document's,
    // the srcdoc document's own speaks for it.
    run(view, "f.srcdoc = '<p>srcdoc</p>'");
    ASSERT_TRUE(waitFor(view, "String(loads)", "4"));
    EXPECT_EQ(run(view, "keep(); replay('srcdoc')"), "sent");

    ASSERT_TRUE(barrier(view));
    // Only the srcdoc document's own channel, used while it was shown, spoke.
    EXPECT_EQ(arrived(), std::vector<std::string>{R"({"id":"srcdoc-1"} @ about:srcdoc)"});
}

TEST_F(DocumentBindingTest, AStepBackInHistoryGivesTheOldPageItsOwnChannelOnly) {
    WebKitWebView* popup = nullptr;
    g_signal_connect(
        view, "create",
        G_CALLBACK(
            +[](WebKitWebView* opener, WebKitNavigationAction*, gpointer self) -> GtkWidget* {
                return GTK_WIDGET(static_cast<DocumentBindingTest*>(self)->makeView(opener));
            }),
        this);
    webkit_web_view_load_uri(view, "tandri-doc://maker.example/a");
    ASSERT_TRUE(waitFor(view, "document.readyState + ' ' + shown", "complete 1"));
    EXPECT_EQ(run(view, "say('a-first')"), "said");

    // Page B hands its own channel to a pop-up, then the person steps back to A.
    webkit_web_view_load_uri(view, "tandri-doc://evil.example/b");
    ASSERT_TRUE(waitFor(view, "location.pathname + ' ' + document.readyState", "/b complete"));
    EXPECT_EQ(run(view, "handOver()"), "handed");
    ASSERT_EQ(windows.size(), 2u);
    popup = WEBKIT_WEB_VIEW(windowChild(windows[1]));
    webkit_web_view_go_back(view);
    ASSERT_TRUE(waitFor(view, "location.pathname + ' ' + document.readyState", "/a complete"));
    const std::string restored = run(view, "String(window.persisted)");

    // B's channel, kept by the pop-up, must not speak with A's URL; A's own channel speaks.
    EXPECT_EQ(run(popup, "kept.postMessage({id: 'b-kept'}), 'sent'"), "sent");
    EXPECT_EQ(run(view, "say('a-again')"), "said");
    ASSERT_TRUE(barrier(view));
    EXPECT_EQ(arrived(),
              (std::vector<std::string>{R"({"id":"a-first"} @ tandri-doc://maker.example/a)",
                                        R"({"id":"a-again"} @ tandri-doc://maker.example/a)"}))
        << "A restored from the back/forward cache: " << restored;
}

}  // namespace
