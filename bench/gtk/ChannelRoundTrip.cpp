// Round trips through a real WebKit view: the page posts, native code answers
// by evaluating a call, the page posts again on the answer. Two channels, one
// page, one run: the engine's own script-message handler (the floor) and our
// frame-labelling channel. Times are taken natively, between arrivals.
//
//   channel_round_trip [N] [--json FILE]

#include <gtk/gtk.h>
#include <webkit2/webkit2.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Platform/Gtk/ScriptChannel.hpp"
#include "RoundTrip.hpp"

namespace {

using tandri::bench::Run;

void answer(WebKitWebView* view) {
    webkit_web_view_evaluate_javascript(view, "next()", -1, nullptr, nullptr, nullptr, nullptr,
                                        nullptr);
}

void arrived(Run* run, WebKitWebView* view) {
    run->arrive();
    if (!run->done()) answer(view);
}

}  // namespace

int main(int argc, char** argv) {
    int n = 0;
    const char* jsonPath = nullptr;
    tandri::bench::parseArguments(argc, argv, n, jsonPath);
    gtk_init(&argc, &argv);
    WebKitWebContext* context = webkit_web_context_new_ephemeral();
    tandri::gtk::ScriptChannel::prepareContext(context, "tandriMessage");
    WebKitUserContentManager* contents = webkit_user_content_manager_new();
    webkit_user_content_manager_register_script_message_handler(contents, "bare");
    auto* view = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", context,
                                              "user-content-manager", contents, nullptr));
    GtkWidget* window = gtk_offscreen_window_new();
    gtk_container_add(GTK_CONTAINER(window), GTK_WIDGET(view));
    gtk_widget_show_all(window);

    Run bare{"engine handler", {}, 0};
    Run ours{"labelled channel", {}, 0};
    // One view only: the floor handler finds it without any lookup.
    static WebKitWebView* theView = view;
    g_signal_connect(contents, "script-message-received::bare",
                     G_CALLBACK(+[](WebKitUserContentManager*, WebKitJavascriptResult*,
                                    gpointer run) { arrived(static_cast<Run*>(run), theView); }),
                     &bare);
    tandri::gtk::ScriptChannel::connect(
        view,
        [&ours](WebKitWebView* from, const tandri::gtk::ChannelPost&) { arrived(&ours, from); });

    const char* page =
        "<html><body><script>"
        "var channel; var body = {id:'1', name:'get', data:{key:'userInfo'}};"
        "function next() { channel.postMessage(body); }"
        "function start(name) {"
        "  channel = name === 'bare' ? window.webkit.messageHandlers.bare"
        "                            : window.webkit.messageHandlers.tandriMessage;"
        "  next(); }"
        "</script></body></html>";
    bool loaded = false;
    g_signal_connect(view, "load-changed",
                     G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, gpointer done) {
                         if (event == WEBKIT_LOAD_FINISHED) *static_cast<bool*>(done) = true;
                     }),
                     &loaded);
    webkit_web_view_load_html(view, page, "https://checkout.tandri.com/");
    tandri::bench::spin([&] { return loaded; });

    // Warm both paths, then measure them alternately so drift hits both alike.
    for (Run* run : {&bare, &ours, &bare, &ours}) {
        run->arrivals.clear();
        run->target = n;
        std::string start = std::string("start('") + (run == &bare ? "bare" : "ours") + "')";
        webkit_web_view_evaluate_javascript(view, start.c_str(), -1, nullptr, nullptr, nullptr,
                                            nullptr, nullptr);
        if (!tandri::bench::spin([&] { return run->done(); }, std::chrono::seconds(10))) {
            std::fprintf(stderr, "%s stalled after %zu of %d\n", run->name, run->arrivals.size(),
                         n);
            return 1;
        }
    }

    tandri::bench::report({&bare, &ours}, n, jsonPath);
    gtk_widget_destroy(window);
    g_object_unref(contents);
    g_object_unref(context);
    return 0;
}
