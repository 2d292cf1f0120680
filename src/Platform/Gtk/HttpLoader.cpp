#include "Platform/Gtk/HttpLoader.hpp"

#include <libsoup/soup.h>

#include <algorithm>
#include <memory>

namespace tandri::gtk {

namespace {

GTlsCertificate* loadCertificate(const std::string& file) {
    if (file.empty()) return nullptr;
    return g_tls_certificate_new_from_file(file.c_str(), nullptr);
}

bool trustedHost(const NetworkSettings& settings, const char* host) {
    return host != nullptr && std::find(settings.trustedHosts.begin(), settings.trustedHosts.end(),
                                        host) != settings.trustedHosts.end();
}

// Whom a connection may serve: the requests of one cookie store under one network setting. A
// connection never carries the requests of two cookie stores (its server could link them), nor
// serves a trust rule other than the one its certificate was accepted under.
struct SessionKey {
    WebKitCookieManager* cookies = nullptr;
    std::string proxyUri;
    std::string trustedCertificateFile;
    std::vector<std::string> trustedHosts;

    SessionKey(WebKitWebView* view, const NetworkSettings& settings)
        : cookies(cookieManagerOf(view)),
          proxyUri(settings.proxyUri),
          trustedCertificateFile(settings.trustedCertificateFile),
          trustedHosts(settings.trustedHosts) {}
    bool operator==(const SessionKey&) const = default;
};

// Sessions kept between requests with their connections open, so a request finds the
// connection an earlier request or a preconnect opened (and the process's TLS set-up done). A
// session is in use by one request at a time: its cookie jar is that request's own.
class IdleSessions {
  public:
    static IdleSessions& shared() {
        static auto* sessions = new IdleSessions;  // lives as long as the process
        return *sessions;
    }

    // An idle session for `key`, or a new one; the caller owns the reference.
    SoupSession* take(const SessionKey& key) {
        for (auto it = idle_.begin(); it != idle_.end(); ++it) {
            if (it->key == key) {
                SoupSession* session = it->session;
                g_object_weak_unref(G_OBJECT(key.cookies), storeGone, session);
                idle_.erase(it);
                return session;
            }
        }
        SoupSession* session = soup_session_new();
        if (!key.proxyUri.empty()) {
            GProxyResolver* resolver = g_simple_proxy_resolver_new(key.proxyUri.c_str(), nullptr);
            soup_session_set_proxy_resolver(session, resolver);
            g_object_unref(resolver);
        }
        return session;
    }

    // Keeps `session` (its reference too) for the next request of `key`.
    void giveBack(const SessionKey& key, SoupSession* session) {
        for (auto it = idle_.begin(); it != idle_.end(); ++it) {
            if (it->key == key) {
                drop(it);
                break;
            }
        }
        if (idle_.size() == kMaximumIdle) drop(idle_.begin());
        g_object_weak_ref(G_OBJECT(key.cookies), storeGone, session);
        idle_.push_back({key, session});
    }

  private:
    struct Idle {
        SessionKey key;
        SoupSession* session;
    };
    static constexpr std::size_t kMaximumIdle = 4;

    void drop(std::vector<Idle>::iterator it) {
        g_object_weak_unref(G_OBJECT(it->key.cookies), storeGone, it->session);
        g_object_unref(it->session);
        idle_.erase(it);
    }

    // A cookie store that goes takes its connections with it (another may get its address).
    static void storeGone(gpointer session, GObject*) {
        auto& idle = shared().idle_;
        for (auto it = idle.begin(); it != idle.end(); ++it) {
            if (it->session == session) {
                g_object_unref(it->session);
                idle.erase(it);
                return;
            }
        }
    }

    std::vector<Idle> idle_;
};

// What a TLS certificate must be to be accepted beyond the system's trust.
struct Trust {
    NetworkSettings settings;
    GTlsCertificate* certificate = nullptr;

    explicit Trust(NetworkSettings s)
        : settings(std::move(s)), certificate(loadCertificate(settings.trustedCertificateFile)) {}
    ~Trust() { g_clear_object(&certificate); }
    Trust(const Trust&) = delete;
    Trust& operator=(const Trust&) = delete;
};

gboolean acceptCertificate(SoupMessage* message, GTlsCertificate* peer, GTlsCertificateFlags,
                           gpointer data) {
    const auto* trust = static_cast<const Trust*>(data);
    return trust->certificate != nullptr && g_tls_certificate_is_same(peer, trust->certificate) &&
           trustedHost(trust->settings, g_uri_get_host(soup_message_get_uri(message)));
}

struct Fetch {
    Fetch(WebKitWebView* v, HttpRequest r, const NetworkSettings& settings,
          HttpLoader::Completion d)
        : view(WEBKIT_WEB_VIEW(g_object_ref(v))),
          request(std::move(r)),
          key(view, settings),
          trust(settings),
          done(std::move(d)) {}

    WebKitWebView* view = nullptr;
    HttpRequest request;
    SessionKey key;
    Trust trust;
    HttpLoader::Completion done;
    SoupSession* session = nullptr;
    SoupCookieJar* jar = nullptr;
    SoupMessage* message = nullptr;
    GInputStream* stream = nullptr;
    HttpResponse response;
    int cookiesPending = 0;

    ~Fetch() {
        g_clear_object(&stream);
        g_clear_object(&message);
        if (session != nullptr) {
            // The jar was this request's alone; the session's connections stay for the next.
            if (jar != nullptr) soup_session_remove_feature(session, SOUP_SESSION_FEATURE(jar));
            IdleSessions::shared().giveBack(key, session);
        }
        g_object_unref(view);
    }
};

void finish(Fetch* fetch) {
    fetch->done(fetch->response);
    delete fetch;
}

void cookieStored(GObject* source, GAsyncResult* result, gpointer data) {
    auto* fetch = static_cast<Fetch*>(data);
    webkit_cookie_manager_add_cookie_finish(WEBKIT_COOKIE_MANAGER(source), result, nullptr);
    if (--fetch->cookiesPending == 0) finish(fetch);
}

void storeCookies(Fetch* fetch) {
    GSList* cookies = soup_cookie_jar_all_cookies(fetch->jar);
    fetch->cookiesPending = static_cast<int>(g_slist_length(cookies));
    if (fetch->cookiesPending == 0) {
        finish(fetch);
        return;
    }
    WebKitCookieManager* manager = cookieManagerOf(fetch->view);
    for (GSList* item = cookies; item != nullptr; item = item->next) {
        webkit_cookie_manager_add_cookie(manager, static_cast<SoupCookie*>(item->data), nullptr,
                                         cookieStored, fetch);
    }
    g_slist_free_full(cookies, reinterpret_cast<GDestroyNotify>(soup_cookie_free));
}

void readMore(Fetch* fetch);

void fail(Fetch* fetch, std::string error) {
    fetch->response = HttpResponse{};
    fetch->response.error = std::move(error);
    finish(fetch);
}

void failTooLarge(Fetch* fetch) {
    fail(fetch, "The response is larger than " +
                    std::to_string(HttpLoader::kMaximumBodyBytes / (1024 * 1024)) + " MiB");
}

void chunkRead(GObject* source, GAsyncResult* result, gpointer data) {
    auto* fetch = static_cast<Fetch*>(data);
    GError* error = nullptr;
    GBytes* chunk = g_input_stream_read_bytes_finish(G_INPUT_STREAM(source), result, &error);
    if (chunk == nullptr) {
        fail(fetch, error != nullptr ? error->message : "reading the response failed");
        g_clear_error(&error);
        return;
    }
    gsize size = 0;
    const auto* bytes = static_cast<const char*>(g_bytes_get_data(chunk, &size));
    if (size == 0) {  // the end
        g_bytes_unref(chunk);
        storeCookies(fetch);
        return;
    }
    if (fetch->response.body.size() + size > HttpLoader::kMaximumBodyBytes) {
        g_bytes_unref(chunk);
        failTooLarge(fetch);
        return;
    }
    fetch->response.body.append(bytes, size);
    g_bytes_unref(chunk);
    readMore(fetch);
}

void readMore(Fetch* fetch) {
    g_input_stream_read_bytes_async(fetch->stream, 64 * 1024, G_PRIORITY_DEFAULT, nullptr,
                                    chunkRead, fetch);
}

void received(GObject* source, GAsyncResult* result, gpointer data) {
    auto* fetch = static_cast<Fetch*>(data);
    GError* error = nullptr;
    fetch->stream = soup_session_send_finish(SOUP_SESSION(source), result, &error);
    if (fetch->stream == nullptr) {
        fail(fetch, error != nullptr ? error->message : "request failed");
        g_clear_error(&error);
        return;
    }
    HttpResponse& response = fetch->response;
    response.status = static_cast<int>(soup_message_get_status(fetch->message));
    char* url = g_uri_to_string(soup_message_get_uri(fetch->message));
    response.url = url;
    g_free(url);
    SoupMessageHeaders* headers = soup_message_get_response_headers(fetch->message);
    GHashTable* params = nullptr;
    const char* mime = soup_message_headers_get_content_type(headers, &params);
    response.mimeType = mime != nullptr ? mime : "text/html";
    if (params != nullptr) {
        if (auto* charset = static_cast<const char*>(g_hash_table_lookup(params, "charset"))) {
            response.charset = charset;
        }
        g_hash_table_destroy(params);
    }
    // The policies the page must still be shown under.
    SoupMessageHeadersIter iter;
    soup_message_headers_iter_init(&iter, headers);
    const char* name = nullptr;
    const char* value = nullptr;
    while (soup_message_headers_iter_next(&iter, &name, &value)) {
        if (g_ascii_strcasecmp(name, "Content-Security-Policy") == 0) {
            response.contentSecurityPolicies.emplace_back(value);
        } else if (g_ascii_strcasecmp(name, "Referrer-Policy") == 0) {
            response.referrerPolicy = value;
        }
    }
    // A body that says its length up front is refused before it is read.
    const goffset length = soup_message_headers_get_content_length(headers);
    if (length > static_cast<goffset>(HttpLoader::kMaximumBodyBytes)) {
        failTooLarge(fetch);
        return;
    }
    readMore(fetch);
}

void send(Fetch* fetch, GList* cookies) {
    fetch->message = soup_message_new(fetch->request.method.c_str(), fetch->request.url.c_str());
    if (fetch->message == nullptr) {
        fetch->response.error = "invalid URL: " + fetch->request.url;
        finish(fetch);
        return;
    }
    // Sent on a connection already open (an earlier request's or a preconnect's) whatever its
    // method, as a browser sends a form (libsoup otherwise opens a new one for every POST).
    // Before it reuses an idle connection libsoup checks that the server has not closed it.
    soup_message_add_flags(fetch->message, SOUP_MESSAGE_IDEMPOTENT);
    fetch->session = IdleSessions::shared().take(fetch->key);
    fetch->jar = soup_cookie_jar_new();
    soup_cookie_jar_set_accept_policy(fetch->jar, SOUP_COOKIE_JAR_ACCEPT_ALWAYS);
    for (GList* item = cookies; item != nullptr; item = item->next) {
        soup_cookie_jar_add_cookie(fetch->jar,
                                   soup_cookie_copy(static_cast<SoupCookie*>(item->data)));
    }
    soup_session_add_feature(fetch->session, SOUP_SESSION_FEATURE(fetch->jar));
    g_object_unref(fetch->jar);  // the session holds it

    SoupMessageHeaders* headers = soup_message_get_request_headers(fetch->message);
    for (const auto& [name, value] : fetch->request.headers) {
        soup_message_headers_append(headers, name.c_str(), value.c_str());
    }
    if (fetch->request.body) {
        GBytes* body = g_bytes_new(fetch->request.body->data(), fetch->request.body->size());
        soup_message_set_request_body_from_bytes(fetch->message, nullptr, body);
        g_bytes_unref(body);
    }
    g_signal_connect(fetch->message, "accept-certificate", G_CALLBACK(acceptCertificate),
                     &fetch->trust);
    soup_session_send_async(fetch->session, fetch->message, G_PRIORITY_DEFAULT, nullptr, received,
                            fetch);
}

void cookiesRead(GObject* source, GAsyncResult* result, gpointer data) {
    auto* fetch = static_cast<Fetch*>(data);
    GList* cookies =
        webkit_cookie_manager_get_cookies_finish(WEBKIT_COOKIE_MANAGER(source), result, nullptr);
    send(fetch, cookies);
    g_list_free_full(cookies, reinterpret_cast<GDestroyNotify>(soup_cookie_free));
}

}  // namespace

void NetworkSettings::applyTo(WebKitWebContext* context) const {
    if (!proxyUri.empty()) {
        WebKitNetworkProxySettings* proxy =
            webkit_network_proxy_settings_new(proxyUri.c_str(), nullptr);
        setProxy(context, proxy);
        webkit_network_proxy_settings_free(proxy);
    }
    if (GTlsCertificate* certificate = loadCertificate(trustedCertificateFile)) {
        for (const auto& host : trustedHosts) {
            allowCertificateForHost(context, certificate, host.c_str());
        }
        g_object_unref(certificate);
    }
}

void HttpLoader::fetchForView(WebKitWebView* view, const HttpRequest& request,
                              const NetworkSettings& settings, Completion done) {
    auto* fetch = new Fetch(view, request, settings, std::move(done));
    webkit_cookie_manager_get_cookies(cookieManagerOf(view), request.url.c_str(), nullptr,
                                      cookiesRead, fetch);
}

namespace {

struct Preconnect {
    explicit Preconnect(const NetworkSettings& settings) : trust(settings) {}
    Trust trust;
};

void preconnected(GObject* source, GAsyncResult* result, gpointer data) {
    std::unique_ptr<Preconnect> preconnect(static_cast<Preconnect*>(data));
    // A connection that could not be opened is simply not there for the request.
    soup_session_preconnect_finish(SOUP_SESSION(source), result, nullptr);
}

}  // namespace

void HttpLoader::preconnect(WebKitWebView* view, const std::string& url,
                            const NetworkSettings& settings) {
    GUri* uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
    if (uri == nullptr) return;
    const char* scheme = g_uri_get_scheme(uri);
    const bool web =
        g_ascii_strcasecmp(scheme, "https") == 0 || g_ascii_strcasecmp(scheme, "http") == 0;
    SoupMessage* message = web ? soup_message_new_from_uri("HEAD", uri) : nullptr;
    g_uri_unref(uri);
    if (message == nullptr) return;
    const SessionKey key(view, settings);
    SoupSession* session = IdleSessions::shared().take(key);
    auto* preconnect = new Preconnect(settings);
    g_signal_connect(message, "accept-certificate", G_CALLBACK(acceptCertificate),
                     &preconnect->trust);
    soup_session_preconnect_async(session, message, G_PRIORITY_DEFAULT, nullptr, preconnected,
                                  preconnect);
    g_object_unref(message);
    // Idle at once: a request that comes before the connection is open still finds the session.
    IdleSessions::shared().giveBack(key, session);
}

std::string HttpLoader::withPolicies(const HttpResponse& response) {
    if (response.contentSecurityPolicies.empty() && response.referrerPolicy.empty()) {
        return response.body;
    }
    auto escape = [](const std::string& text) {
        std::string out;
        for (char c : text) {
            switch (c) {
                case '&':
                    out += "&amp;";
                    break;
                case '"':
                    out += "&quot;";
                    break;
                case '<':
                    out += "&lt;";
                    break;
                case '>':
                    out += "&gt;";
                    break;
                default:
                    out += c;
            }
        }
        return out;
    };
    std::string tags;
    for (const auto& policy : response.contentSecurityPolicies) {
        tags += "<meta http-equiv=\"Content-Security-Policy\" content=\"" + escape(policy) + "\">";
    }
    if (!response.referrerPolicy.empty()) {
        tags += "<meta name=\"referrer\" content=\"" + escape(response.referrerPolicy) + "\">";
    }
    // Before anything the document holds, so the policies govern all of it; after a doctype,
    // which must stay first.
    const std::string& body = response.body;
    std::size_t at = body.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    std::size_t start = body.find_first_not_of(" \t\r\n\f", at);
    if (start != std::string::npos && body.size() - start >= 9 &&
        g_ascii_strncasecmp(body.c_str() + start, "<!doctype", 9) == 0) {
        const std::size_t end = body.find('>', start);
        if (end != std::string::npos) at = end + 1;
    }
    return body.substr(0, at) + tags + body.substr(at);
}

void HttpLoader::show(WebKitWebView* view, const HttpResponse& response) {
    const bool html =
        response.mimeType == "text/html" || response.mimeType == "application/xhtml+xml";
    const std::string body = html ? withPolicies(response) : response.body;
    GBytes* bytes = g_bytes_new(body.data(), body.size());
    webkit_web_view_load_bytes(view, bytes, response.mimeType.c_str(),
                               response.charset.empty() ? nullptr : response.charset.c_str(),
                               response.url.c_str());
    g_bytes_unref(bytes);
}

}  // namespace tandri::gtk
