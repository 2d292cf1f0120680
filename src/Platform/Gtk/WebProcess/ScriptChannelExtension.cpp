// Web-process side of the script channel.
//
// WebKitGTK's own script-message signal does not say which frame posted a
// message, and views related to an opener share its user content manager, so
// the UI process cannot tell who is talking. This module runs in every web
// process instead: for each new document it installs
// `window.webkit.messageHandlers.<channel>.postMessage(body)` as a function
// bound to that document, and each call is sent to the owning view as a user
// message carrying the frame's own URI, whether it is the top frame, and the
// top document's URI and identity.
//
// Documents are told apart by a token kept on each document's global object in
// a script world of our own, which no page script can reach. A new document
// (a load, a reload, a sandboxed document that runs no script and so never
// gets a channel of its own) has a new global object and so a new token; a
// document restored from the back/forward cache keeps its own. A function is
// honoured only while its frame still shows the document it was made for, so
// a reference kept by another page (an opener's pop-up, a parent that can reach
// a same-origin child) can never speak for whatever the frame shows later.
//
// Answers go the other way as "tandri.evaluate" messages naming the top
// document they are meant for; once that document has gone they are dropped.

#include <string>

// The one place the two engine generations differ here: WebKitGTK 6.0 renamed the module's
// type, its page lookup and its entry point.
#if TANDRI_GTK_MAJOR == 4
#include <webkit/webkit-web-process-extension.h>
using WebExtension = WebKitWebProcessExtension;
#define TANDRI_WEB_EXTENSION_ENTRY webkit_web_process_extension_initialize_with_user_data
#else
#include <webkit2/webkit-web-extension.h>
using WebExtension = WebKitWebExtension;
#define TANDRI_WEB_EXTENSION_ENTRY webkit_web_extension_initialize_with_user_data
#endif

namespace {

WebKitWebPage* pageOf(WebExtension* extension, guint64 id) {
#if TANDRI_GTK_MAJOR == 4
    return webkit_web_process_extension_get_page(extension, id);
#else
    return webkit_web_extension_get_page(extension, id);
#endif
}

constexpr const char* kUserMessageName = "tandri.script-message";
constexpr const char* kEvaluateMessageName = "tandri.evaluate";
constexpr const char* kTokenProperty = "documentToken";

WebExtension* gExtension = nullptr;
WebKitScriptWorld* gTokenWorld = nullptr;
std::string gChannel = "tandriMessage";

struct Binding {
    GWeakRef frame;
    guint64 pageId = 0;
    std::string document;
};

void freeBinding(gpointer data) {
    auto* binding = static_cast<Binding*>(data);
    g_weak_ref_clear(&binding->frame);
    delete binding;
}

// The page's top frame. The engine deprecates this for the day a page's frames may live in
// several processes; until then the top frame is always here. Without it, posts carry no top
// document and the view refuses them, and answers are dropped.
WebKitFrame* topFrameOf(WebKitWebPage* page) {
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    return webkit_web_page_get_main_frame(page);
    G_GNUC_END_IGNORE_DEPRECATIONS
}

// The identity of the document the frame shows now, made on first use.
std::string documentToken(WebKitFrame* frame) {
    JSCContext* context = webkit_frame_get_js_context_for_script_world(frame, gTokenWorld);
    if (context == nullptr) return {};
    JSCValue* global = jsc_context_get_global_object(context);
    JSCValue* value = jsc_value_object_get_property(global, kTokenProperty);
    std::string token;
    if (value != nullptr && jsc_value_is_string(value)) {
        char* text = jsc_value_to_string(value);
        token = text;
        g_free(text);
    } else {
        char* fresh = g_uuid_string_random();
        token = fresh;
        g_free(fresh);
        JSCValue* stored = jsc_value_new_string(context, token.c_str());
        jsc_value_object_define_property_data(global, kTokenProperty,
                                              JSC_VALUE_PROPERTY_CONFIGURABLE, stored);
        g_object_unref(stored);
    }
    if (jsc_context_get_exception(context) != nullptr) jsc_context_clear_exception(context);
    g_clear_object(&value);
    g_object_unref(global);
    g_object_unref(context);
    return token;
}

// The page gets no return value and no exception from a post, whatever happens
// to it on the way; the native side decides alone whether to answer.
void postMessage(JSCValue* body, gpointer data) {
    auto* binding = static_cast<Binding*>(data);
    auto* frame = static_cast<WebKitFrame*>(g_weak_ref_get(&binding->frame));
    if (frame == nullptr) {
        return;
    }
    // A function kept from an earlier document of this frame does not speak for the new one.
    if (documentToken(frame) != binding->document) {
        g_object_unref(frame);
        return;
    }
    WebKitWebPage* page = pageOf(gExtension, binding->pageId);
    if (page == nullptr) {
        g_object_unref(frame);
        return;
    }

    // Bodies travel as JSON text; a body JSON cannot express (undefined, a
    // function, a cycle) travels as an empty text and is refused natively.
    char* json = nullptr;
    if (body != nullptr && !jsc_value_is_undefined(body)) {
        json = jsc_value_to_json(body, 0);
        if (json == nullptr) {
            jsc_context_clear_exception(jsc_value_get_context(body));
        }
    }
    const bool isMain = webkit_frame_is_main_frame(frame);
    const char* uri = webkit_frame_get_uri(frame);
    WebKitFrame* top = topFrameOf(page);
    const char* topUri = top != nullptr ? webkit_frame_get_uri(top) : nullptr;
    const std::string topDocument =
        isMain ? binding->document : (top != nullptr ? documentToken(top) : std::string());
    GVariant* parameters = g_variant_new("(sssbss)", gChannel.c_str(), json != nullptr ? json : "",
                                         uri != nullptr ? uri : "", isMain,
                                         topUri != nullptr ? topUri : "", topDocument.c_str());
    g_free(json);
    webkit_web_page_send_message_to_view(
        page, webkit_user_message_new(kUserMessageName, parameters), nullptr, nullptr, nullptr);
    g_object_unref(frame);
}

// Runs an answer in the top document it names, or not at all. The reply says which, with the
// script's value as JSON text.
gboolean evaluateInDocument(WebKitWebPage* page, WebKitUserMessage* message, gpointer) {
    const char* name = webkit_user_message_get_name(message);
    if (name == nullptr || std::string(name) != kEvaluateMessageName) return FALSE;
    GVariant* parameters = webkit_user_message_get_parameters(message);
    bool ran = false;
    std::string result;
    if (parameters != nullptr && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ss)"))) {
        const char* document = nullptr;
        const char* script = nullptr;
        g_variant_get(parameters, "(&s&s)", &document, &script);
        WebKitFrame* top = topFrameOf(page);
        if (top != nullptr && *document != '\0' && documentToken(top) == document) {
            JSCContext* context = webkit_frame_get_js_context(top);
            JSCValue* value = jsc_context_evaluate(context, script, -1);
            ran = true;
            if (jsc_context_get_exception(context) != nullptr) {
                jsc_context_clear_exception(context);
            } else if (value != nullptr && !jsc_value_is_undefined(value)) {
                if (char* json = jsc_value_to_json(value, 0)) {
                    result = json;
                    g_free(json);
                }
            }
            g_clear_object(&value);
            g_object_unref(context);
        }
    }
    webkit_user_message_send_reply(
        message,
        webkit_user_message_new(kEvaluateMessageName, g_variant_new("(bs)", ran, result.c_str())));
    return TRUE;
}

void pageCreated(WebExtension*, WebKitWebPage* page, gpointer) {
    g_signal_connect(page, "user-message-received", G_CALLBACK(evaluateInDocument), nullptr);
}

void windowObjectCleared(WebKitScriptWorld* world, WebKitWebPage* page, WebKitFrame* frame,
                         gpointer) {
    JSCContext* context = webkit_frame_get_js_context_for_script_world(frame, world);
    auto* binding = new Binding;
    g_weak_ref_init(&binding->frame, frame);
    binding->pageId = webkit_web_page_get_id(page);
    binding->document = documentToken(frame);
    JSCValue* post = jsc_value_new_function(context, "postMessage", G_CALLBACK(postMessage),
                                            binding, freeBinding, G_TYPE_NONE, 1, JSC_TYPE_VALUE);

    // Builds window.webkit.messageHandlers.<channel> when the engine has not made it already,
    // and leaves every other handler the page may have alone. The engine's namespace objects
    // (present when the host registered handlers of its own) are wrappers the engine drops and
    // remakes when nothing in the page holds them, losing properties set on them, so the window
    // keeps a hidden reference to them.
    static const char* kInstall =
        "(function(channel, post) {"
        "  var ns = window.webkit;"
        "  if (typeof ns !== 'object' || ns === null) {"
        "    ns = {};"
        "    Object.defineProperty(window, 'webkit', {value: ns, configurable: true});"
        "  }"
        "  var handlers = ns.messageHandlers;"
        "  if (typeof handlers !== 'object' || handlers === null) {"
        "    handlers = {};"
        "    Object.defineProperty(ns, 'messageHandlers', {value: handlers, configurable: true});"
        "  }"
        "  var handler = {};"
        "  Object.defineProperty(handler, 'postMessage', {"
        "    value: function postMessage(body) { post(body); }, enumerable: true});"
        "  Object.defineProperty(handlers, channel, {value: handler, enumerable: true,"
        "                                            configurable: true});"
        "  Object.defineProperty(window, Symbol(), {value: [ns, handlers]});"
        "})";
    JSCValue* install = jsc_context_evaluate(context, kInstall, -1);
    JSCValue* result = jsc_value_function_call(install, G_TYPE_STRING, gChannel.c_str(),
                                               JSC_TYPE_VALUE, post, G_TYPE_NONE);
    if (jsc_context_get_exception(context) != nullptr) {
        jsc_context_clear_exception(context);
    }
    g_clear_object(&result);
    g_object_unref(install);
    g_object_unref(post);
    g_object_unref(context);
}

}  // namespace

extern "C" G_MODULE_EXPORT void TANDRI_WEB_EXTENSION_ENTRY(WebExtension* extension,
                                                           const GVariant* userData) {
    gExtension = extension;
    if (userData != nullptr &&
        g_variant_is_of_type(const_cast<GVariant*>(userData), G_VARIANT_TYPE_STRING)) {
        gChannel = g_variant_get_string(const_cast<GVariant*>(userData), nullptr);
    }
    gTokenWorld = webkit_script_world_new();
    g_signal_connect(webkit_script_world_get_default(), "window-object-cleared",
                     G_CALLBACK(windowObjectCleared), nullptr);
    g_signal_connect(extension, "page-created", G_CALLBACK(pageCreated), nullptr);
}
