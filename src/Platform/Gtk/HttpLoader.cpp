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

struct Fetch {
    WebKitWebView* view = nullptr;
    HttpRequest request;
    NetworkSettings settings;
    HttpLoader::Completion done;
    SoupSession* session = nullptr;
    SoupCookieJar* jar = nullptr;
    SoupMessage* message = nullptr;
    GTlsCertificate* trusted = nullptr;
    GInputStream* stream = nullptr;
    HttpResponse response;
    int cookiesPending = 0;

    ~Fetch() {
        g_clear_object(&stream);
        g_clear_object(&message);
        g_clear_object(&session);
        g_clear_object(&trusted);
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

gboolean acceptCertificate(SoupMessage* message, GTlsCertificate* peer, GTlsCertificateFlags,
                           gpointer data) {
    auto* fetch = static_cast<Fetch*>(data);
    return fetch->trusted != nullptr && g_tls_certificate_is_same(peer, fetch->trusted) &&
           trustedHost(fetch->settings, g_uri_get_host(soup_message_get_uri(message)));
}

void send(Fetch* fetch, GList* cookies) {
    fetch->session = soup_session_new();
    if (!fetch->settings.proxyUri.empty()) {
        GProxyResolver* resolver =
            g_simple_proxy_resolver_new(fetch->settings.proxyUri.c_str(), nullptr);
        soup_session_set_proxy_resolver(fetch->session, resolver);
        g_object_unref(resolver);
    }
    fetch->jar = soup_cookie_jar_new();
    soup_cookie_jar_set_accept_policy(fetch->jar, SOUP_COOKIE_JAR_ACCEPT_ALWAYS);
    for (GList* item = cookies; item != nullptr; item = item->next) {
        soup_cookie_jar_add_cookie(fetch->jar,
                                   soup_cookie_copy(static_cast<SoupCookie*>(item->data)));
    }
    soup_session_add_feature(fetch->session, SOUP_SESSION_FEATURE(fetch->jar));
    g_object_unref(fetch->jar);  // the session holds it

    fetch->message = soup_message_new(fetch->request.method.c_str(), fetch->request.url.c_str());
    if (fetch->message == nullptr) {
        fetch->response.error = "invalid URL: " + fetch->request.url;
        finish(fetch);
        return;
    }
    SoupMessageHeaders* headers = soup_message_get_request_headers(fetch->message);
    for (const auto& [name, value] : fetch->request.headers) {
        soup_message_headers_append(headers, name.c_str(), value.c_str());
    }
    if (fetch->request.body) {
        GBytes* body = g_bytes_new(fetch->request.body->data(), fetch->request.body->size());
        soup_message_set_request_body_from_bytes(fetch->message, nullptr, body);
        g_bytes_unref(body);
    }
    fetch->trusted = loadCertificate(fetch->settings.trustedCertificateFile);
    g_signal_connect(fetch->message, "accept-certificate", G_CALLBACK(acceptCertificate), fetch);
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
    auto* fetch = new Fetch;
    fetch->view = WEBKIT_WEB_VIEW(g_object_ref(view));
    fetch->request = request;
    fetch->settings = settings;
    fetch->done = std::move(done);
    webkit_cookie_manager_get_cookies(cookieManagerOf(view), request.url.c_str(), nullptr,
                                      cookiesRead, fetch);
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
