// A request the engine cannot make itself (a POST with a body and our own
// headers) sent natively, then shown as the page of its URL.

#include <libsoup/soup.h>

#include <map>
#include <string>

#include "EngineFixture.hpp"
#include "Platform/Gtk/HttpLoader.hpp"

namespace {

using namespace tandri::gtk;
using namespace tandri::gtk::testing;

struct Recorded {
    std::string method;
    std::string path;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    guint16 clientPort = 0;  // tells the connection the request came on

    std::string header(const std::string& name) const {
        std::string joined;
        for (const auto& [key, value] : headers) {
            if (g_ascii_strcasecmp(key.c_str(), name.c_str()) == 0) {
                joined += (joined.empty() ? "" : ", ") + value;
            }
        }
        return joined;
    }
};

const char* kShownPage =
    "<html><body><script>"
    "window.webkit.messageHandlers.tandriMessage.postMessage("
    "{href: location.href, cookie: document.cookie, secure: window.isSecureContext});"
    "fetch('/again').then(function(r) { return r.text(); }).then(function(t) {"
    "  window.webkit.messageHandlers.tandriMessage.postMessage({again: t}); });"
    "</script></body></html>";

const char* kGuardedPage =
    "<!DOCTYPE html><html><head><script>"
    "window.webkit.messageHandlers.tandriMessage.postMessage({inline: true});"
    "</script><script src=\"/guarded.js\"></script></head><body></body></html>";
const char* kGuardedScript =
    "window.webkit.messageHandlers.tandriMessage.postMessage({external: true,"
    " compatMode: document.compatMode, referrer: document.querySelector('meta[name=referrer]')"
    " ? document.querySelector('meta[name=referrer]').content : null});";

void handle(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*, gpointer data) {
    auto* log = static_cast<std::vector<Recorded>*>(data);
    Recorded record;
    record.method = soup_server_message_get_method(message);
    record.path = path;
    if (GSocketAddress* remote = soup_server_message_get_remote_address(message)) {
        record.clientPort = g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(remote));
    }
    soup_message_headers_foreach(
        soup_server_message_get_request_headers(message),
        [](const char* name, const char* value, gpointer out) {
            static_cast<Recorded*>(out)->headers.emplace_back(name, value);
        },
        &record);
    GBytes* body = soup_message_body_flatten(soup_server_message_get_request_body(message));
    gsize size = 0;
    const auto* bytes = static_cast<const char*>(g_bytes_get_data(body, &size));
    record.body.assign(bytes != nullptr ? bytes : "", size);
    g_bytes_unref(body);
    log->push_back(record);

    SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
    if (record.path == "/checkout") {
        soup_message_headers_append(headers, "Set-Cookie", "session=abc; Path=/");
        soup_server_message_set_status(message, 200, nullptr);
        soup_server_message_set_response(message, "text/html; charset=utf-8", SOUP_MEMORY_STATIC,
                                         kShownPage, strlen(kShownPage));
    } else if (record.path == "/guarded") {
        // Inline script is forbidden; the page's own script file is not.
        soup_message_headers_append(headers, "Content-Security-Policy", "script-src 'self'");
        soup_message_headers_append(headers, "Referrer-Policy", "no-referrer");
        soup_server_message_set_status(message, 200, nullptr);
        soup_server_message_set_response(message, "text/html; charset=utf-8", SOUP_MEMORY_STATIC,
                                         kGuardedPage, strlen(kGuardedPage));
    } else if (record.path == "/guarded.js") {
        soup_server_message_set_status(message, 200, nullptr);
        soup_server_message_set_response(message, "text/javascript", SOUP_MEMORY_STATIC,
                                         kGuardedScript, strlen(kGuardedScript));
    } else if (record.path == "/huge" || record.path == "/endless") {
        // Just over the limit: said up front, or only found out by reading (no length given).
        if (record.path == "/endless")
            soup_message_headers_set_encoding(headers, SOUP_ENCODING_EOF);
        soup_server_message_set_status(message, 200, nullptr);
        std::string chunk(1024 * 1024, 'x');
        SoupMessageBody* out = soup_server_message_get_response_body(message);
        for (int i = 0; i < 17; ++i)
            soup_message_body_append(out, SOUP_MEMORY_COPY, chunk.data(), chunk.size());
        soup_message_headers_set_content_type(headers, "text/html", nullptr);
    } else if (record.path == "/missing") {
        soup_server_message_set_status(message, 404, nullptr);
        soup_server_message_set_response(message, "text/plain", SOUP_MEMORY_STATIC, "gone", 4);
    } else {
        soup_server_message_set_status(message, 200, nullptr);
        soup_server_message_set_response(message, "text/plain", SOUP_MEMORY_STATIC, "ok", 2);
    }
}

struct HttpLoaderTest : EngineFixture {
    void SetUp() override {
        EngineFixture::SetUp();
        server = soup_server_new(nullptr, nullptr);
        soup_server_add_handler(server, nullptr, handle, &log, nullptr);
        ASSERT_TRUE(soup_server_listen_local(server, 0, SOUP_SERVER_LISTEN_IPV4_ONLY, nullptr));
        GSList* uris = soup_server_get_uris(server);
        base = "http://127.0.0.1:" + std::to_string(g_uri_get_port(static_cast<GUri*>(uris->data)));
        g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
        view = makeView();
    }
    void TearDown() override {
        EngineFixture::TearDown();
        g_object_unref(server);
    }

    HttpResponse fetch(const HttpRequest& request) { return fetchFor(view, request); }
    HttpResponse fetchFor(WebKitWebView* from, const HttpRequest& request) {
        std::optional<HttpResponse> response;
        HttpLoader::fetchForView(from, request, NetworkSettings{},
                                 [&](const HttpResponse& r) { response = r; });
        EXPECT_TRUE(spinUntil([&] { return response.has_value(); }, std::chrono::seconds(10)));
        return response.value_or(HttpResponse{});
    }

    SoupServer* server = nullptr;
    std::vector<Recorded> log;
    std::string base;
    WebKitWebView* view = nullptr;
};

TEST_F(HttpLoaderTest, PostArrivesExactlyAndTheResponseBecomesThePageOfItsUrl) {
    // A cookie the engine already holds for the host travels with the native request.
    SoupCookie* earlier = soup_cookie_new("earlier", "1", "127.0.0.1", "/", -1);
    bool added = false;
    webkit_cookie_manager_add_cookie(
        tandri::gtk::cookieManagerOf(context), earlier, nullptr,
        +[](GObject*, GAsyncResult*, gpointer done) { *static_cast<bool*>(done) = true; }, &added);
    soup_cookie_free(earlier);
    ASSERT_TRUE(spinUntil([&] { return added; }, std::chrono::seconds(5)));

    HttpRequest request;
    request.url = base + "/checkout?session=1";
    request.method = "POST";
    request.headers = {{"client-key", "KEY-123"},
                       {"Content-Type", "application/json"},
                       {"X-Trace", "a"},
                       {"X-Trace", "b"}};
    request.body = R"({"amount":"12.50","items":[1,2]})";
    HttpResponse response = fetch(request);

    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].method, "POST");
    EXPECT_EQ(log[0].path, "/checkout");
    EXPECT_EQ(log[0].header("client-key"), "KEY-123");
    EXPECT_EQ(log[0].header("X-Trace"), "a, b");
    EXPECT_EQ(log[0].header("Content-Type"), "application/json");
    EXPECT_EQ(log[0].header("Cookie"), "earlier=1");
    EXPECT_EQ(log[0].body, R"({"amount":"12.50","items":[1,2]})");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.url, request.url);
    EXPECT_EQ(response.mimeType, "text/html");
    EXPECT_EQ(response.charset, "utf-8");

    HttpLoader::show(view, response);
    ASSERT_TRUE(spinUntil([&] { return received.size() >= 2; }, std::chrono::seconds(20)));
    EXPECT_EQ(received[0].post.frameUri, request.url);
    EXPECT_EQ(received[0].post.bodyJson, "{\"href\":\"" + request.url +
                                             "\",\"cookie\":\"earlier=1; session=abc\"," +
                                             "\"secure\":true}");
    EXPECT_EQ(received[1].post.bodyJson, R"({"again":"ok"})");
    // The page's own later request carries the cookie the native response set.
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[1].method, "GET");
    EXPECT_EQ(log[1].path, "/again");
    EXPECT_NE(log[1].header("Cookie").find("session=abc"), std::string::npos);
}

TEST_F(HttpLoaderTest, GetHasNoBodyAndFailuresAreReported) {
    HttpRequest request;
    request.url = base + "/missing";
    HttpResponse response = fetch(request);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].method, "GET");
    EXPECT_EQ(log[0].body, "");
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.body, "gone");

    request.url = "not a url";
    EXPECT_EQ(fetch(request).error, "invalid URL: not a url");

    // Nothing listens on port 9 here: the request fails without a status.
    request.url = "http://127.0.0.1:9/";
    response = fetch(request);
    EXPECT_EQ(response.status, 0);
    EXPECT_FALSE(response.error.empty());
}

// The response's Content-Security-Policy still governs the page shown: its inline script is
// blocked while its own script file runs, and the doctype stays first (standards mode).
TEST_F(HttpLoaderTest, TheResponsesSecurityPoliciesGovernThePageShown) {
    HttpRequest request;
    request.url = base + "/guarded";
    request.method = "POST";
    request.body = "{}";
    HttpResponse response = fetch(request);
    ASSERT_EQ(response.status, 200);
    EXPECT_EQ(response.contentSecurityPolicies, std::vector<std::string>{"script-src 'self'"});
    EXPECT_EQ(response.referrerPolicy, "no-referrer");
    HttpLoader::show(view, response);
    ASSERT_TRUE(spinUntil([&] { return !received.empty(); }, std::chrono::seconds(20)));
    ASSERT_TRUE(barrier(view));
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].post.bodyJson,
              R"({"external":true,"compatMode":"CSS1Compat","referrer":"no-referrer"})");
}

// The connection a request opened (or a preconnect did) serves the next request of the same cookie
// store; a view of another cookie store never rides on it, and gets none of the first one's
// cookies.
TEST_F(HttpLoaderTest, ConnectionsAreKeptForOneCookieStoreOnly) {
    HttpLoader::preconnect(view, base + "/", NetworkSettings{});
    HttpRequest request;
    request.url = base + "/checkout";
    request.method = "POST";
    request.body = "{}";
    ASSERT_EQ(fetch(request).status, 200);  // sets session=abc in this view's store
    request.url = base + "/plain";
    ASSERT_EQ(fetch(request).status, 200);

    WebKitWebContext* otherContext = newEphemeralContext();
    GtkWidget* other = newWebView(otherContext);
    windows.push_back(showInWindow(other));
    ASSERT_EQ(fetchFor(WEBKIT_WEB_VIEW(other), request).status, 200);
    ASSERT_EQ(fetch(request).status, 200);
    g_object_unref(otherContext);

    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[1].clientPort, log[0].clientPort);
    EXPECT_EQ(log[1].header("Cookie"), "session=abc");
    EXPECT_NE(log[2].clientPort, log[0].clientPort);
    EXPECT_EQ(log[2].header("Cookie"), "");
    EXPECT_EQ(log[3].clientPort, log[0].clientPort);
    EXPECT_EQ(log[3].header("Cookie"), "session=abc");

    // Not a web address: nothing to open, nothing sent.
    HttpLoader::preconnect(view, "data:text/html,hello", NetworkSettings{});
    HttpLoader::preconnect(view, "not a url", NetworkSettings{});
    ASSERT_EQ(fetch(request).status, 200);
    EXPECT_EQ(log.size(), 5u);
}

// A body over the limit fails the load, whether its length is said up front or not.
TEST_F(HttpLoaderTest, AResponseOverTheSizeLimitFails) {
    for (const char* path : {"/huge", "/endless"}) {
        HttpRequest request;
        request.url = base + path;
        HttpResponse response = fetch(request);
        EXPECT_EQ(response.status, 0) << path;
        EXPECT_EQ(response.error, "The response is larger than 16 MiB") << path;
        EXPECT_TRUE(response.body.empty()) << path;
    }
}

}  // namespace
