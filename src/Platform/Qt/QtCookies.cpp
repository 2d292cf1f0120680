#include "Platform/Qt/QtCookies.hpp"

#include <QCoreApplication>
#include <QDateTime>
#include <QNetworkCookie>
#include <QTimer>
#include <QWebEngineCookieStore>
#include <QWebEngineProfile>
#include <algorithm>

namespace tandri::qt {

struct QtCookies::State {
    std::shared_ptr<QWebEngineProfile> profile;
    std::vector<Cookie> cookies;
    // Read by the engine's filter on its own thread.
    std::shared_ptr<std::atomic<CookieAcceptPolicy>> policy =
        std::make_shared<std::atomic<CookieAcceptPolicy>>(CookieAcceptPolicy::Always);
    QMetaObject::Connection added;
    QMetaObject::Connection removed;
    bool reloadAsked = false;
    // The store answers nothing before the profile's first page exists (it has no store yet
    // then), so every read of the copy also asks for the store's whole content again, once per
    // turn of the event loop.
    void reload(const std::shared_ptr<State>& self) {
        if (reloadAsked) return;
        reloadAsked = true;
        profile->cookieStore()->loadAllCookies();
        std::weak_ptr<State> weak = self;
        QTimer::singleShot(0, [weak] {
            if (auto state = weak.lock()) state->reloadAsked = false;
        });
    }
};

namespace {

// A cookie for one host only has no leading dot in the engine as here; a cookie for a domain
// and its subdomains has one.
Cookie fromQt(const QNetworkCookie& q) {
    Cookie cookie;
    cookie.name = q.name().toStdString();
    cookie.value = q.value().toStdString();
    cookie.domain = q.domain().toStdString();
    cookie.path = q.path().isEmpty() ? "/" : q.path().toStdString();
    cookie.secure = q.isSecure();
    cookie.httpOnly = q.isHttpOnly();
    if (!q.isSessionCookie()) {
        cookie.expires = static_cast<double>(q.expirationDate().toSecsSinceEpoch());
    }
    return cookie;
}

QNetworkCookie toQt(const Cookie& cookie) {
    QNetworkCookie q(QByteArray::fromStdString(cookie.name),
                     QByteArray::fromStdString(cookie.value));
    // Without a domain the cookie goes to the origin's host alone.
    if (cookie.domain.starts_with('.')) q.setDomain(QString::fromStdString(cookie.domain));
    q.setPath(QString::fromStdString(cookie.path.empty() ? "/" : cookie.path));
    q.setSecure(cookie.secure);
    q.setHttpOnly(cookie.httpOnly);
    if (cookie.expires) {
        q.setExpirationDate(
            QDateTime::fromSecsSinceEpoch(static_cast<qint64>(*cookie.expires), Qt::UTC));
    }
    return q;
}

QUrl originOf(const Cookie& cookie) {
    std::string host = cookie.domain;
    if (host.starts_with('.')) host.erase(0, 1);
    return QUrl(QString::fromStdString("https://" + host + "/"));
}

bool sameCookie(const Cookie& a, const Cookie& b) {
    return a.name == b.name && a.domain == b.domain && a.path == b.path;
}

void upsert(std::vector<Cookie>& list, const Cookie& cookie) {
    auto same = [&cookie](const Cookie& c) { return sameCookie(c, cookie); };
    if (auto it = std::find_if(list.begin(), list.end(), same); it != list.end()) {
        *it = cookie;
    } else {
        list.push_back(cookie);
    }
}

}  // namespace

QtCookies::QtCookies(std::shared_ptr<QWebEngineProfile> profile)
    : state_(std::make_shared<State>()) {
    state_->profile = std::move(profile);
    QWebEngineCookieStore* store = state_->profile->cookieStore();
    std::weak_ptr<State> weak = state_;
    state_->added = QObject::connect(store, &QWebEngineCookieStore::cookieAdded,
                                     [weak](const QNetworkCookie& cookie) {
                                         if (auto state = weak.lock()) {
                                             upsert(state->cookies, fromQt(cookie));
                                         }
                                     });
    state_->removed = QObject::connect(store, &QWebEngineCookieStore::cookieRemoved,
                                       [weak](const QNetworkCookie& cookie) {
                                           auto state = weak.lock();
                                           if (!state) return;
                                           const Cookie gone = fromQt(cookie);
                                           std::erase_if(state->cookies, [&gone](const Cookie& c) {
                                               // A replaced cookie is removed after its successor
                                               // was taken in.
                                               return sameCookie(c, gone) && c.value == gone.value;
                                           });
                                       });
    store->setCookieFilter(
        [policy = state_->policy](const QWebEngineCookieStore::FilterRequest& request) {
            switch (policy->load()) {
                case CookieAcceptPolicy::Never:
                    return false;
                case CookieAcceptPolicy::OnlyFromMainDocumentDomain:
                    return !request.thirdParty;
                default:
                    return true;
            }
        });
    state_->reload(state_);
}

QtCookies::~QtCookies() {
    QObject::disconnect(state_->added);
    QObject::disconnect(state_->removed);
    if (QCoreApplication::instance() != nullptr) {
        state_->profile->cookieStore()->setCookieFilter(nullptr);
    }
}

std::vector<Cookie> QtCookies::cookies() const {
    state_->reload(state_);
    return state_->cookies;
}

std::vector<Cookie> QtCookies::cookiesForURL(const std::string& url) const {
    state_->reload(state_);
    std::vector<Cookie> out;
    for (const auto& cookie : state_->cookies)
        if (cookieMatchesURL(cookie, url)) out.push_back(cookie);
    return out;
}

void QtCookies::setCookie(const Cookie& cookie) {
    if (acceptPolicy() == CookieAcceptPolicy::Never) return;
    upsert(state_->cookies, cookie);
    state_->profile->cookieStore()->setCookie(toQt(cookie), originOf(cookie));
}

void QtCookies::deleteCookie(const Cookie& cookie) {
    std::erase_if(state_->cookies, [&cookie](const Cookie& c) { return sameCookie(c, cookie); });
    state_->profile->cookieStore()->deleteCookie(toQt(cookie), originOf(cookie));
}

CookieAcceptPolicy QtCookies::acceptPolicy() const {
    return state_->policy->load();
}

void QtCookies::setAcceptPolicy(CookieAcceptPolicy policy) {
    state_->policy->store(policy);
}

}  // namespace tandri::qt
