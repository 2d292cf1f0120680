#pragma once

// The script channel on Qt WebEngine: every frame of a page gets
// `window.webkit.messageHandlers.<channel>.postMessage(body)`, and each post reaches native code
// labelled by the browser itself with the origin of the frame that sent it.
//
// How it holds (see ScriptChannel.cpp for the scripts):
//   - in every frame, before the page's own scripts, the page's world gets the function; it posts
//     the body to the frame's top window in an envelope;
//   - in the top document, a script world of our own that no page script can reach listens for
//     those messages before any listener of the page (capture phase, registered first), takes
//     only events the browser dispatched (`isTrusted`) from a window of this very page
//     (`source.top === window`: a pop-up, its opener or a window whose document has gone is
//     refused), labels them with the browser-written `origin`, keeps them from the page's own
//     listeners and hands them to native code over a web channel set in that world only;
//   - each top document gets a random identity from our world, fixed on its global object before
//     the page's scripts run; answers are run only while the page still shows that document.
//
// What this cannot tell apart: frames of one origin (a sub-frame is labelled with its origin,
// not its URL), and about:blank or srcdoc frames from their creator (same origin, same label).

#include <QObject>
#include <QString>
#include <functional>
#include <string>

class QWebEnginePage;

namespace tandri::qt {

struct ChannelPost {
    std::string bodyJson;  // empty when the page posted something JSON cannot express
    /// The sending frame's URL as far as the browser vouches for it: the top document's own URL
    /// for a post from the top frame, the origin followed by "/" for a sub-frame, empty for an
    /// opaque origin (data:, sandboxed frames), which no check accepts.
    std::string frameUrl;
    bool mainFrame = false;
    std::string topUrl;       // the page's top document when the frame posted
    std::string topDocument;  // its identity, for evaluateInDocument
};

class ScriptChannel : public QObject {
    Q_OBJECT
    // Our world hands each post over by setting this property: a property set gets no reply, so
    // nothing meant for one document can reach the next one over the page's web channel.
    Q_PROPERTY(QString message READ message WRITE post NOTIFY messageChanged)
  public:
    using Receiver = std::function<void(const ChannelPost&)>;

    /// Gives `page` the channel named `channel` (its scripts and its web channel) and delivers
    /// its posts to `receiver` until the page goes. The page's script collection must not be
    /// cleared afterwards.
    static void install(QWebEnginePage* page, const std::string& channel, Receiver receiver);
    /// Takes the channel off `page` again: its documents from the next one on have none.
    static void uninstall(QWebEnginePage* page);

    /// Runs `script` in the page's top document if it is still `document` (a post's
    /// `topDocument`). The callback (may be empty) hears whether it ran, and its value.
    using Evaluated = std::function<void(bool ran, const QVariant& value)>;
    static void evaluateInDocument(QWebEnginePage* page, const std::string& document,
                                   const std::string& script, Evaluated evaluated);

    /// The script world of our own, which page scripts cannot reach (the engine takes world
    /// identities below 256 only).
    static constexpr quint32 kWorld = 117;
    /// The key that marks a post among a window's messages, as written inside a JavaScript
    /// string literal. Nothing rests on its being unknown to pages.
    static constexpr const char* kEnvelopeKey = "\\u0000tandri.script-message";

    /// Reads one message as our world hands it over; malformed text is dropped.
    void post(const QString& text);
    QString message() const { return {}; }

  Q_SIGNALS:
    void messageChanged();  // never emitted: the property only carries posts in

  private:
    explicit ScriptChannel(Receiver receiver, QObject* parent);
    Receiver receiver_;
};

}  // namespace tandri::qt
