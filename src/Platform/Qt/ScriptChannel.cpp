#include "Platform/Qt/ScriptChannel.hpp"

#include <QFile>
#include <QRandomGenerator>
#include <QWebChannel>
#include <QWebEnginePage>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>

#include "tandri/Json.hpp"

namespace tandri::qt {

namespace {

// Carries the top document's identity from our world to the page's, once, before page scripts.
constexpr const char* kIdentityEvent = "tandri-document-identity";
constexpr const char* kDocumentProperty = "__tandriDocument";
constexpr const char* kSinkName = "tandriChannel";

// The page's world, every frame, at document creation. The function posts to the frame's top
// window; nothing it does decides what native code hears, which is set by the browser's own
// fields of the message event (see kListener). `window.open` asks for a pop-up window, so that a
// window opened by script is told from a link into a new window.
constexpr const char* kPageWorld = R"JS(
(function (CHANNEL, KEY, IDENTITY_EVENT, DOCUMENT_PROPERTY) {
  'use strict';
  // The engine may run a page's scripts twice in one document (a window it opened for a page):
  // the second run finds the first one's work done.
  var installed = Symbol.for(KEY);
  if (Object.prototype.hasOwnProperty.call(window, installed)) return;
  Object.defineProperty(window, installed, {value: true});
  var top = window.top;
  var post = top.postMessage;
  var apply = Reflect.apply;
  var defineProperty = Object.defineProperty;
  function postMessage(body) {
    var envelope = {};
    envelope[KEY] = body;
    try {
      apply(post, top, [envelope, '*']);
    } catch (e) {
      // A body the browser cannot copy (a function, say) arrives without one.
      var empty = {};
      empty[KEY] = undefined;
      try { apply(post, top, [empty, '*']); } catch (ignored) {}
    }
  }
  var handler = {};
  defineProperty(handler, 'postMessage', {value: postMessage, enumerable: true});
  var handlers = {};
  defineProperty(handlers, CHANNEL, {value: handler, enumerable: true, configurable: true});
  var ns = {};
  defineProperty(ns, 'messageHandlers', {value: handlers, enumerable: true, configurable: true});
  defineProperty(window, 'webkit', {value: ns, configurable: true});

  var realOpen = window.open;
  if (typeof realOpen === 'function') {
    defineProperty(window, 'open', {
      value: function open(url, target, features) {
        var asked = features === undefined || features === null ? '' : String(features);
        return apply(realOpen, this === undefined || this === null ? window : this,
                     [url, target === undefined ? '_blank' : target,
                      asked === '' ? 'popup' : asked + ',popup']);
      },
      writable: true, configurable: true, enumerable: true});
  }

  if (window === top) {
    var identify = function (event) {
      document.removeEventListener(IDENTITY_EVENT, identify, true);
      try {
        defineProperty(window, DOCUMENT_PROPERTY, {value: String(event.detail)});
      } catch (e) {}
    };
    document.addEventListener(IDENTITY_EVENT, identify, true);
    // Our world may have run first: it hands the identity over again when asked.
    document.dispatchEvent(new CustomEvent(IDENTITY_EVENT + '?'));
  }
})
)JS";

// Our world, top frame only, at document creation. QWebChannel (qwebchannel.js) and
// qt.webChannelTransport exist in this world alone.
constexpr const char* kListener = R"JS(
(function (KEY, IDENTITY_EVENT, SINK) {
  'use strict';
  // Run twice in one document, the second run would listen beside the first with a web channel
  // that never starts, and lose what it took. This world's globals are its own: no page sets
  // this flag.
  if (window.tandriListening === true) return;
  window.tandriListening = true;
  var bytes = new Uint8Array(16);
  crypto.getRandomValues(bytes);
  var identity = '';
  for (var i = 0; i < bytes.length; ++i) identity += (bytes[i] + 256).toString(16).slice(1);
  // To the page's world, whose script runs before or after this one (the engine keeps no
  // order between worlds for certain): now, and once more if it asks after.
  var tell = function () {
    document.dispatchEvent(new CustomEvent(IDENTITY_EVENT, {detail: identity}));
  };
  document.addEventListener(IDENTITY_EVENT + '?', tell, true);
  tell();

  var queue = [];
  var sink = null;
  function send(text) {
    if (sink !== null) sink.message = text; else queue.push(text);
  }
  new QWebChannel(qt.webChannelTransport, function (channel) {
    if (!channel.objects[SINK]) return;
    sink = channel.objects[SINK];
    for (var i = 0; i < queue.length; ++i) sink.message = queue[i];
    queue = null;
  });

  var hasOwn = Object.prototype.hasOwnProperty;
  window.addEventListener('message', function (event) {
    var data = event.data;
    if (typeof data !== 'object' || data === null || !hasOwn.call(data, KEY)) return;
    // No listener of the page sees a channel post, whoever sent it.
    event.stopImmediatePropagation();
    // Only what the browser dispatched: a page's own `dispatchEvent` is not trusted.
    if (!event.isTrusted) return;
    var source = event.source;
    var sourceTop = null;
    try { sourceTop = source === null ? null : source.top; } catch (e) { return; }
    // A frame of this page; not a pop-up or an opener, not a window whose document has gone.
    if (sourceTop !== window) return;
    var body = '';
    try { body = JSON.stringify(data[KEY]); } catch (e) {}
    if (typeof body !== 'string') body = '';
    var mainFrame = source === window;
    send(JSON.stringify({body: body, origin: event.origin, mainFrame: mainFrame,
                         url: mainFrame ? location.href : '', top: location.href,
                         document: identity}));
  }, true);
})
)JS";

std::string quoted(const std::string& text) {
    return json::write(Value(text)).value_or("\"\"");
}

QString webChannelLibrary() {
    QFile file(QStringLiteral(":/qtwebchannel/qwebchannel.js"));
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(file.readAll());
}

QWebEngineScript script(const QString& name, const std::string& source, quint32 world,
                        bool subFrames) {
    QWebEngineScript s;
    s.setName(name);
    s.setSourceCode(QString::fromStdString(source));
    s.setWorldId(world);
    s.setInjectionPoint(QWebEngineScript::DocumentCreation);
    s.setRunsOnSubFrames(subFrames);
    return s;
}

// A token no script result can equal: the answer to "was the document gone".
const QString& goneMarker() {
    static const QString marker = QStringLiteral("tandri-gone-%1%2")
                                      .arg(QRandomGenerator::system()->generate64(), 16, 16)
                                      .arg(QRandomGenerator::system()->generate64(), 16, 16);
    return marker;
}

std::string textOf(const Value& object, const char* key, bool& ok) {
    const Value* v = object.asDictionary().find(key);
    if (v == nullptr || !v->isString()) {
        ok = false;
        return {};
    }
    return v->asString();
}

}  // namespace

ScriptChannel::ScriptChannel(Receiver receiver, QObject* parent)
    : QObject(parent), receiver_(std::move(receiver)) {}

void ScriptChannel::install(QWebEnginePage* page, const std::string& channel, Receiver receiver) {
    const std::string key = std::string("\"") + ScriptChannel::kEnvelopeKey + "\"";
    const std::string pageWorld = std::string(kPageWorld) + "(" + quoted(channel) + ", " + key +
                                  ", " + quoted(kIdentityEvent) + ", " + quoted(kDocumentProperty) +
                                  ");";
    const std::string listener = webChannelLibrary().toStdString() + "\n" + kListener + "(" + key +
                                 ", " + quoted(kIdentityEvent) + ", " + quoted(kSinkName) + ");";
    // Either may run first: the page's world takes the identity our world hands it, or asks.
    page->scripts().insert(script(QStringLiteral("tandri-channel-page"), pageWorld,
                                  QWebEngineScript::MainWorld, true));
    page->scripts().insert(script(QStringLiteral("tandri-channel"), listener, kWorld, false));
    auto* webChannel = new QWebChannel(page);
    webChannel->registerObject(QString::fromLatin1(kSinkName),
                               new ScriptChannel(std::move(receiver), webChannel));
    page->setWebChannel(webChannel, kWorld);
}

void ScriptChannel::uninstall(QWebEnginePage* page) {
    for (const char* name : {"tandri-channel-page", "tandri-channel"}) {
        for (const QWebEngineScript& s : page->scripts().find(QString::fromLatin1(name))) {
            page->scripts().remove(s);
        }
    }
    if (QWebChannel* channel = page->webChannel()) {
        page->setWebChannel(nullptr, kWorld);
        channel->deleteLater();
    }
}

void ScriptChannel::post(const QString& text) {
    auto message = json::parse(text.toStdString());
    if (!message || !message->isDictionary()) return;
    bool ok = true;
    ChannelPost post;
    post.bodyJson = textOf(*message, "body", ok);
    const std::string origin = textOf(*message, "origin", ok);
    const std::string url = textOf(*message, "url", ok);
    post.topUrl = textOf(*message, "top", ok);
    post.topDocument = textOf(*message, "document", ok);
    const Value* mainFrame = message->asDictionary().find("mainFrame");
    if (!ok || mainFrame == nullptr || !mainFrame->isBoolean()) return;
    post.mainFrame = mainFrame->asBool();
    // An opaque origin names no frame: its posts carry no URL and pass no check.
    if (origin.empty() || origin == "null") {
        post.frameUrl.clear();
    } else {
        post.frameUrl = post.mainFrame ? url : origin + "/";
    }
    if (receiver_) receiver_(post);
}

void ScriptChannel::evaluateInDocument(QWebEnginePage* page, const std::string& document,
                                       const std::string& source, Evaluated evaluated) {
    // The check and the script run as one script in the page's world: nothing can come between.
    // The property was fixed by our world before the page's scripts ran, so no page can make it
    // say another document's identity.
    const std::string guarded = std::string("if (typeof ") + kDocumentProperty +
                                " === 'string' && " + kDocumentProperty +
                                " === " + quoted(document) + ") {\n" + source + "\n} else { " +
                                quoted(goneMarker().toStdString()) + " }";
    page->runJavaScript(QString::fromStdString(guarded), QWebEngineScript::MainWorld,
                        [evaluated = std::move(evaluated)](const QVariant& value) {
                            if (!evaluated) return;
                            const bool gone = value.typeId() == QMetaType::QString &&
                                              value.toString() == goneMarker();
                            evaluated(!gone, gone ? QVariant() : value);
                        });
}

}  // namespace tandri::qt
