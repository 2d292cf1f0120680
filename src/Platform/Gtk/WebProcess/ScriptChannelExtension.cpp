// Web-process side of the script channel.
//
// WebKitGTK's own script-message signal does not say which frame posted a
// message, and views related to an opener share its user content manager, so
// the UI process cannot tell who is talking. This module runs in every web
// process instead: for each new document it installs
// `window.webkit.messageHandlers.<channel>.postMessage(body)` as a function
// bound to that document's frame, and each call is sent to the owning view as a
// user message carrying the frame's own URI and whether it is the top frame.
//
// A function outlives its document when another page keeps a reference to it
// (an opener's pop-up, say). Each document load bumps a generation number kept
// on the frame object, and a call from an older generation is dropped, so a
// stale reference can never speak with the URI of whatever the frame shows now.

#include <webkit2/webkit-web-extension.h>

#include <cstdint>
#include <string>

namespace {

constexpr const char* kUserMessageName = "tandri.script-message";
constexpr const char* kGenerationKey = "tandri-channel-generation";

WebKitWebExtension* gExtension = nullptr;
std::string gChannel = "tandriMessage";

struct Binding {
    GWeakRef frame;
    guint64 pageId = 0;
    guintptr generation = 0;
};

void freeBinding(gpointer data) {
    auto* binding = static_cast<Binding*>(data);
    g_weak_ref_clear(&binding->frame);
    delete binding;
}

guintptr generationOf(WebKitFrame* frame) {
    return reinterpret_cast<guintptr>(g_object_get_data(G_OBJECT(frame), kGenerationKey));
}

// The page gets no return value and no exception from a post, whatever happens
// to it on the way; the native side decides alone whether to answer.
void postMessage(JSCValue* body, gpointer data) {
    auto* binding = static_cast<Binding*>(data);
    auto* frame = static_cast<WebKitFrame*>(g_weak_ref_get(&binding->frame));
    if (frame == nullptr) {
        return;
    }
    if (generationOf(frame) != binding->generation) {
        g_object_unref(frame);
        return;
    }
    WebKitWebPage* page = webkit_web_extension_get_page(gExtension, binding->pageId);
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
    const char* uri = webkit_frame_get_uri(frame);
    GVariant* parameters =
        g_variant_new("(sssb)", gChannel.c_str(), json != nullptr ? json : "",
                      uri != nullptr ? uri : "", webkit_frame_is_main_frame(frame));
    g_free(json);
    webkit_web_page_send_message_to_view(
        page, webkit_user_message_new(kUserMessageName, parameters), nullptr, nullptr, nullptr);
    g_object_unref(frame);
}

void windowObjectCleared(WebKitScriptWorld* world, WebKitWebPage* page, WebKitFrame* frame,
                         gpointer) {
    guintptr generation = generationOf(frame) + 1;
    g_object_set_data(G_OBJECT(frame), kGenerationKey, reinterpret_cast<gpointer>(generation));

    JSCContext* context = webkit_frame_get_js_context_for_script_world(frame, world);
    auto* binding = new Binding;
    g_weak_ref_init(&binding->frame, frame);
    binding->pageId = webkit_web_page_get_id(page);
    binding->generation = generation;
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

extern "C" G_MODULE_EXPORT void webkit_web_extension_initialize_with_user_data(
    WebKitWebExtension* extension, const GVariant* userData) {
    gExtension = extension;
    if (userData != nullptr &&
        g_variant_is_of_type(const_cast<GVariant*>(userData), G_VARIANT_TYPE_STRING)) {
        gChannel = g_variant_get_string(const_cast<GVariant*>(userData), nullptr);
    }
    g_signal_connect(webkit_script_world_get_default(), "window-object-cleared",
                     G_CALLBACK(windowObjectCleared), nullptr);
}
