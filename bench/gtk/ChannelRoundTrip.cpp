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

namespace {

using Clock = std::chrono::steady_clock;

struct Run {
    const char* name;
    std::vector<double> arrivals;  // seconds
    int target = 0;
};

void answer(WebKitWebView* view) {
    webkit_web_view_evaluate_javascript(view, "next()", -1, nullptr, nullptr, nullptr, nullptr,
                                        nullptr);
}

void arrived(Run* run, WebKitWebView* view) {
    run->arrivals.push_back(std::chrono::duration<double>(Clock::now().time_since_epoch()).count());
    if (static_cast<int>(run->arrivals.size()) < run->target) answer(view);
}

std::vector<double> intervalsMicros(const Run& run) {
    std::vector<double> out;
    for (size_t i = 1; i < run.arrivals.size(); ++i) {
        out.push_back((run.arrivals[i] - run.arrivals[i - 1]) * 1e6);
    }
    return out;
}

double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    size_t index = static_cast<size_t>(p * static_cast<double>(values.size() - 1) + 0.5);
    return values[index];
}

void spin(const std::function<bool()>& done) {
    while (!done()) g_main_context_iteration(nullptr, FALSE), g_usleep(50);
}

}  // namespace

int main(int argc, char** argv) {
    int n = 2000;
    const char* jsonPath = nullptr;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--json" && i + 1 < argc) {
            jsonPath = argv[++i];
        } else {
            n = std::max(10, std::atoi(argv[i]));
        }
    }
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
    spin([&] { return loaded; });

    // Warm both paths, then measure them alternately so drift hits both alike.
    for (Run* run : {&bare, &ours, &bare, &ours}) {
        run->arrivals.clear();
        run->target = n;
        std::string start = std::string("start('") + (run == &bare ? "bare" : "ours") + "')";
        webkit_web_view_evaluate_javascript(view, start.c_str(), -1, nullptr, nullptr, nullptr,
                                            nullptr, nullptr);
        auto deadline = Clock::now() + std::chrono::seconds(10);
        spin(
            [&] { return static_cast<int>(run->arrivals.size()) >= n || Clock::now() > deadline; });
        if (static_cast<int>(run->arrivals.size()) < n) {
            std::fprintf(stderr, "%s stalled after %zu of %d\n", run->name, run->arrivals.size(),
                         n);
            return 1;
        }
    }

    FILE* json = jsonPath ? std::fopen(jsonPath, "w") : nullptr;
    if (json) std::fprintf(json, "{\"n\":%d,\"runs\":[", n);
    double medians[2] = {0, 0}, p99s[2] = {0, 0};
    int index = 0;
    for (Run* run : {&bare, &ours}) {
        auto values = intervalsMicros(*run);
        medians[index] = percentile(values, 0.5);
        p99s[index] = percentile(values, 0.99);
        std::printf("%-17s median %7.1f us  p90 %7.1f us  p99 %7.1f us  (%zu round trips)\n",
                    run->name, medians[index], percentile(values, 0.9), p99s[index], values.size());
        if (json) {
            std::fprintf(json, "%s{\"name\":\"%s\",\"micros\":[", index ? "," : "", run->name);
            for (size_t i = 0; i < values.size(); ++i) {
                std::fprintf(json, "%s%.1f", i ? "," : "", values[i]);
            }
            std::fprintf(json, "]}");
        }
        ++index;
    }
    std::printf("ratio: median %.3f  p99 %.3f\n", medians[1] / medians[0], p99s[1] / p99s[0]);
    if (json) {
        std::fprintf(json, "]}\n");
        std::fclose(json);
    }
    gtk_widget_destroy(window);
    g_object_unref(contents);
    g_object_unref(context);
    return 0;
}
