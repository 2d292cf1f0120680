#pragma once

// Loads a request exactly as the core built it. WebKitGTK cannot set a
// request's method or body, so requests that need either are sent here with
// libsoup and their response is shown as the page of its own URL. Cookies go
// both ways: what the view's context holds for the URL is sent, and what the
// server sets (redirects included) is handed back to the context before the
// page is shown, so the page and its later requests see one cookie jar.

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Gtk/WebKit.hpp"

namespace tandri::gtk {

// How this process reaches the network: one proxy and one extra trusted
// certificate (for a local test server), applied alike to web views and to
// requests sent natively.
struct NetworkSettings {
    std::string proxyUri;                   // empty: connect directly
    std::string trustedCertificateFile;     // PEM; empty: the system's trust only
    std::vector<std::string> trustedHosts;  // hosts the certificate is trusted for

    void applyTo(WebKitWebContext* context) const;
};

struct HttpRequest {
    std::string url;
    std::string method = "GET";
    std::vector<std::pair<std::string, std::string>> headers;  // sent in order, repeats kept
    std::optional<std::string> body;
};

struct HttpResponse {
    int status = 0;   // 0: no response (see error)
    std::string url;  // after redirects
    std::string mimeType;
    std::string charset;
    std::string body;
    std::string error;
    std::vector<std::string> contentSecurityPolicies;  // each header as sent
    std::string referrerPolicy;
};

class HttpLoader {
  public:
    using Completion = std::function<void(const HttpResponse&)>;

    // Sends the request with the cookies of `view`'s context and stores the
    // cookies the server set into that context before `done` runs (on the
    // main loop). The view is kept alive until then.
    static void fetchForView(WebKitWebView* view, const HttpRequest& request,
                             const NetworkSettings& settings, Completion done);

    // Opens a connection to `url`'s origin (http and https only) with the network settings and
    // for the cookie store of `view`, for a request sent there soon: it finds the connection
    // open and the process's TLS set up. Nothing is sent; a connection the server closes
    // meanwhile is opened again by the request.
    static void preconnect(WebKitWebView* view, const std::string& url,
                           const NetworkSettings& settings);

    // A larger body fails the load (an endless one too).
    static constexpr std::size_t kMaximumBodyBytes = 16 * 1024 * 1024;

    // Shows a response as the page at its URL (origin, cookies and relative
    // links as if the engine had loaded it itself). Its Content-Security-Policy
    // and Referrer-Policy headers still govern the page: they go in front of the
    // document as the equivalent meta elements. (What a meta element cannot say,
    // frame-ancestors, report-uri and sandbox, is lost; the first two do not
    // apply to a page shown at the top of its own view.)
    static void show(WebKitWebView* view, const HttpResponse& response);
    // The HTML shown for a response: its body under its policies.
    static std::string withPolicies(const HttpResponse& response);
};

}  // namespace tandri::gtk
