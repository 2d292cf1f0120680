#pragma once

// The web engine for either toolkit: WebKitGTK 4.1 on GTK 3, WebKitGTK 6.0 on GTK 4. Most of its
// API is the same in both; the few calls that differ have one name here.

#if TANDRI_GTK_MAJOR == 4
#include <webkit/webkit.h>
#else
#include <webkit2/webkit2.h>
#endif

#include "Platform/Gtk/Widgets.hpp"

namespace tandri::gtk {

// Where the context's web processes find our module, and what they are handed at start.
inline void setWebProcessModule(WebKitWebContext* context, const char* directory,
                                GVariant* userData) {
#if TANDRI_GTK_MAJOR == 4
    webkit_web_context_set_web_process_extensions_directory(context, directory);
    webkit_web_context_set_web_process_extensions_initialization_user_data(context, userData);
#else
    webkit_web_context_set_web_extensions_directory(context, directory);
    webkit_web_context_set_web_extensions_initialization_user_data(context, userData);
#endif
}

#if TANDRI_GTK_MAJOR == 4
// WebKitGTK 6.0 keeps cookies and data in a network session, not in the context; a context made
// here carries the session its views are made with.
inline constexpr const char* kNetworkSessionKey = "tandri-network-session";

inline WebKitNetworkSession* networkSessionOf(WebKitWebContext* context) {
    return static_cast<WebKitNetworkSession*>(
        g_object_get_data(G_OBJECT(context), kNetworkSessionKey));
}

// The session the context's views are made with: its own, or the engine's default one.
inline WebKitNetworkSession* sessionOf(WebKitWebContext* context) {
    WebKitNetworkSession* session = networkSessionOf(context);
    return session != nullptr ? session : webkit_network_session_get_default();
}
#endif

// The cookie store the context's views share.
inline WebKitCookieManager* cookieManagerOf(WebKitWebContext* context) {
#if TANDRI_GTK_MAJOR == 4
    return webkit_network_session_get_cookie_manager(sessionOf(context));
#else
    return webkit_web_context_get_cookie_manager(context);
#endif
}

inline WebKitCookieManager* cookieManagerOf(WebKitWebView* view) {
#if TANDRI_GTK_MAJOR == 4
    return webkit_network_session_get_cookie_manager(webkit_web_view_get_network_session(view));
#else
    return webkit_web_context_get_cookie_manager(webkit_web_view_get_context(view));
#endif
}

// The proxy every request of the context's views goes through.
inline void setProxy(WebKitWebContext* context, WebKitNetworkProxySettings* proxy) {
#if TANDRI_GTK_MAJOR == 4
    webkit_network_session_set_proxy_settings(sessionOf(context), WEBKIT_NETWORK_PROXY_MODE_CUSTOM,
                                              proxy);
#else
    webkit_website_data_manager_set_network_proxy_settings(
        webkit_web_context_get_website_data_manager(context), WEBKIT_NETWORK_PROXY_MODE_CUSTOM,
        proxy);
#endif
}

inline void allowCertificateForHost(WebKitWebContext* context, GTlsCertificate* certificate,
                                    const char* host) {
#if TANDRI_GTK_MAJOR == 4
    webkit_network_session_allow_tls_certificate_for_host(sessionOf(context), certificate, host);
#else
    webkit_web_context_allow_tls_certificate_for_host(context, certificate, host);
#endif
}

#if TANDRI_GTK_MAJOR == 4
// A new context carrying `session` (taken) for its views.
inline WebKitWebContext* newContextWithSession(WebKitNetworkSession* session) {
    WebKitWebContext* context = webkit_web_context_new();
    g_object_set_data_full(G_OBJECT(context), kNetworkSessionKey, session, g_object_unref);
    return context;
}
#endif

// A context that keeps nothing on disk.
inline WebKitWebContext* newEphemeralContext() {
#if TANDRI_GTK_MAJOR == 4
    return newContextWithSession(webkit_network_session_new_ephemeral());
#else
    return webkit_web_context_new_ephemeral();
#endif
}

// A context whose pages keep their data (local storage, databases) under `dataDirectory` and
// their caches under `cacheDirectory`. Cookies stay in memory until a persistent storage is set
// on its cookie manager.
inline WebKitWebContext* newPersistentContext(const char* dataDirectory,
                                              const char* cacheDirectory) {
#if TANDRI_GTK_MAJOR == 4
    return newContextWithSession(webkit_network_session_new(dataDirectory, cacheDirectory));
#else
    WebKitWebsiteDataManager* manager = webkit_website_data_manager_new(
        "base-data-directory", dataDirectory, "base-cache-directory", cacheDirectory, nullptr);
    WebKitWebContext* context = webkit_web_context_new_with_website_data_manager(manager);
    g_object_unref(manager);
    return context;
#endif
}

// A new (floating) view in the context, with the host's own content manager if it has one.
inline GtkWidget* newWebView(WebKitWebContext* context,
                             WebKitUserContentManager* contents = nullptr) {
    const char* withContents = contents ? "user-content-manager" : nullptr;
#if TANDRI_GTK_MAJOR == 4
    gpointer view = g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", context, "network-session",
                                 networkSessionOf(context), withContents, contents, nullptr);
#else
    gpointer view =
        g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", context, withContents, contents, nullptr);
#endif
    return GTK_WIDGET(view);
}

// The host's own handler for `window.webkit.messageHandlers.<name>`, in the page's world.
inline void registerHostHandler(WebKitUserContentManager* contents, const char* name) {
#if TANDRI_GTK_MAJOR == 4
    webkit_user_content_manager_register_script_message_handler(contents, name, nullptr);
#else
    webkit_user_content_manager_register_script_message_handler(contents, name);
#endif
}

// The value a page posted to a host's own handler ("script-message-received"), whose argument
// is a result wrapping it on 4.1 and the value itself on 6.0.
inline JSCValue* scriptMessageValue(gpointer message) {
#if TANDRI_GTK_MAJOR == 4
    return JSC_VALUE(message);
#else
    return webkit_javascript_result_get_js_value(static_cast<WebKitJavascriptResult*>(message));
#endif
}

// A view related to `related`: it shares its process and network session, and its settings,
// content manager and website policies.
inline GtkWidget* newRelatedWebView(WebKitWebView* related) {
#if TANDRI_GTK_MAJOR == 4
    return GTK_WIDGET(g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", related, "settings",
                                   webkit_web_view_get_settings(related), "user-content-manager",
                                   webkit_web_view_get_user_content_manager(related),
                                   "website-policies",
                                   webkit_web_view_get_website_policies(related), nullptr));
#else
    return webkit_web_view_new_with_related_view(related);
#endif
}

// The picture a view's snapshot ended with, as an image surface (the caller's); null on error.
inline cairo_surface_t* finishSnapshot(WebKitWebView* view, GAsyncResult* result) {
    GError* error = nullptr;
#if TANDRI_GTK_MAJOR == 4
    GdkTexture* texture = webkit_web_view_get_snapshot_finish(view, result, &error);
    cairo_surface_t* surface = surfaceOfTexture(texture);
    if (texture != nullptr) g_object_unref(texture);
#else
    cairo_surface_t* surface = webkit_web_view_get_snapshot_finish(view, result, &error);
#endif
    if (error != nullptr) g_error_free(error);
    return surface;
}

}  // namespace tandri::gtk
