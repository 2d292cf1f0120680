#include "Platform/Gtk/GtkCookies.hpp"

#include <algorithm>

namespace tandri::gtk {

// Reads and changes in flight keep the state, and with it the engine's context, alive: the cookie
// manager must not outlive its context (or the network session the context carries).
struct GtkCookies::State {
    WebKitWebContext* context = nullptr;
    WebKitCookieManager* manager = nullptr;
    bool closed = false;  // the port is gone; answers still arriving are let go
    gulong changedHandler = 0;
    std::vector<Cookie> cookies;
    CookieAcceptPolicy policy = CookieAcceptPolicy::OnlyFromMainDocumentDomain;
    bool policySetHere = false;
    // A read answers for the state at the time it was asked; one asked before a later change
    // (the engine's or ours) is stale when it arrives and is dropped.
    unsigned generation = 0;
    unsigned applied = 0;
    unsigned inFlight = 0;
    void refresh(const std::shared_ptr<State>& self);
    ~State() {
        g_object_unref(manager);
        g_object_unref(context);
    }
    // The engine does not always announce a change (a context's persistent cookie store can
    // replace the one it watches), so every read of the copy also asks for the next one.
    void refreshIfIdle(const std::shared_ptr<State>& self) {
        if (inFlight == 0) refresh(self);
    }
};

namespace {

using WeakState = std::weak_ptr<GtkCookies::State>;

using StrongState = std::shared_ptr<GtkCookies::State>;

struct Read {
    StrongState state;
    unsigned generation;
};

// The last hold on the state may be let go only after the engine's callback has returned: the
// engine still holds the cookie manager until then, and the manager must go before its context.
void release(StrongState state) {
    if (state.use_count() > 1) return;
    g_idle_add(
        +[](gpointer data) {
            delete static_cast<StrongState*>(data);
            return G_SOURCE_REMOVE;
        },
        new StrongState(std::move(state)));
}

Cookie fromSoup(SoupCookie* soup) {
    Cookie cookie;
    cookie.name = soup_cookie_get_name(soup);
    cookie.value = soup_cookie_get_value(soup);
    cookie.domain = soup_cookie_get_domain(soup);
    const char* path = soup_cookie_get_path(soup);
    cookie.path = path != nullptr ? path : "/";
    cookie.secure = soup_cookie_get_secure(soup) != FALSE;
    cookie.httpOnly = soup_cookie_get_http_only(soup) != FALSE;
    if (GDateTime* expires = soup_cookie_get_expires(soup)) {
        cookie.expires = static_cast<double>(g_date_time_to_unix(expires));
    }
    return cookie;
}

SoupCookie* toSoup(const Cookie& cookie) {
    SoupCookie* soup = soup_cookie_new(cookie.name.c_str(), cookie.value.c_str(),
                                       cookie.domain.c_str(), cookie.path.c_str(), -1);
    if (cookie.expires) {
        GDateTime* expires = g_date_time_new_from_unix_utc(static_cast<gint64>(*cookie.expires));
        soup_cookie_set_expires(soup, expires);
        g_date_time_unref(expires);
    }
    soup_cookie_set_secure(soup, cookie.secure ? TRUE : FALSE);
    soup_cookie_set_http_only(soup, cookie.httpOnly ? TRUE : FALSE);
    return soup;
}

bool sameCookie(const Cookie& a, const Cookie& b) {
    return a.name == b.name && a.domain == b.domain && a.path == b.path;
}

void allRead(GObject* source, GAsyncResult* result, gpointer data) {
    std::unique_ptr<Read> read(static_cast<Read*>(data));
    GList* list = webkit_cookie_manager_get_all_cookies_finish(WEBKIT_COOKIE_MANAGER(source),
                                                               result, nullptr);
    auto& state = read->state;
    --state->inFlight;
    if (!state->closed && read->generation == state->generation) {
        state->cookies.clear();
        for (GList* item = list; item != nullptr; item = item->next) {
            state->cookies.push_back(fromSoup(static_cast<SoupCookie*>(item->data)));
        }
        state->applied = read->generation;
    }
    g_list_free_full(list, reinterpret_cast<GDestroyNotify>(soup_cookie_free));
    release(std::move(read->state));
}

void policyRead(GObject* source, GAsyncResult* result, gpointer data) {
    std::unique_ptr<StrongState> state(static_cast<StrongState*>(data));
    const auto policy = webkit_cookie_manager_get_accept_policy_finish(
        WEBKIT_COOKIE_MANAGER(source), result, nullptr);
    if ((*state)->closed || (*state)->policySetHere) return release(std::move(*state));
    (*state)->policy = policy == WEBKIT_COOKIE_POLICY_ACCEPT_ALWAYS ? CookieAcceptPolicy::Always
                       : policy == WEBKIT_COOKIE_POLICY_ACCEPT_NEVER
                           ? CookieAcceptPolicy::Never
                           : CookieAcceptPolicy::OnlyFromMainDocumentDomain;
    release(std::move(*state));
}

// A change made here has reached the engine: read back what the engine now holds.
void changeDone(GObject*, GAsyncResult*, gpointer data) {
    std::unique_ptr<StrongState> state(static_cast<StrongState*>(data));
    if (!(*state)->closed) (*state)->refresh(*state);
    release(std::move(*state));
}

void onChanged(WebKitCookieManager*, gpointer data) {
    if (auto state = static_cast<WeakState*>(data)->lock()) state->refresh(state);
}

}  // namespace

void GtkCookies::State::refresh(const std::shared_ptr<State>& self) {
    ++inFlight;
    webkit_cookie_manager_get_all_cookies(manager, nullptr, allRead, new Read{self, ++generation});
}

GtkCookies::GtkCookies(WebKitWebContext* context) : state_(std::make_shared<State>()) {
    state_->context = WEBKIT_WEB_CONTEXT(g_object_ref(context));
    state_->manager = WEBKIT_COOKIE_MANAGER(g_object_ref(cookieManagerOf(context)));
    state_->changedHandler = g_signal_connect_data(
        state_->manager, "changed", G_CALLBACK(onChanged), new WeakState(state_),
        +[](gpointer data, GClosure*) { delete static_cast<WeakState*>(data); }, GConnectFlags{});
    webkit_cookie_manager_get_accept_policy(state_->manager, nullptr, policyRead,
                                            new StrongState(state_));
    state_->refresh(state_);
}

GtkCookies::~GtkCookies() {
    g_signal_handler_disconnect(state_->manager, state_->changedHandler);
    state_->closed = true;
}

std::vector<Cookie> GtkCookies::cookies() const {
    state_->refreshIfIdle(state_);
    return state_->cookies;
}

std::vector<Cookie> GtkCookies::cookiesForURL(const std::string& url) const {
    state_->refreshIfIdle(state_);
    std::vector<Cookie> out;
    for (const auto& cookie : state_->cookies)
        if (cookieMatchesURL(cookie, url)) out.push_back(cookie);
    return out;
}

void GtkCookies::setCookie(const Cookie& cookie) {
    if (state_->policy == CookieAcceptPolicy::Never) return;
    auto& list = state_->cookies;
    auto same = [&cookie](const Cookie& c) { return sameCookie(c, cookie); };
    if (auto it = std::find_if(list.begin(), list.end(), same); it != list.end()) {
        *it = cookie;
    } else {
        list.push_back(cookie);
    }
    ++state_->generation;  // a read already on its way no longer tells the truth
    SoupCookie* soup = toSoup(cookie);
    webkit_cookie_manager_add_cookie(state_->manager, soup, nullptr, changeDone,
                                     new StrongState(state_));
    soup_cookie_free(soup);
}

void GtkCookies::deleteCookie(const Cookie& cookie) {
    auto& list = state_->cookies;
    std::erase_if(list, [&cookie](const Cookie& c) { return sameCookie(c, cookie); });
    ++state_->generation;
    SoupCookie* soup = toSoup(cookie);
    webkit_cookie_manager_delete_cookie(state_->manager, soup, nullptr, changeDone,
                                        new StrongState(state_));
    soup_cookie_free(soup);
}

CookieAcceptPolicy GtkCookies::acceptPolicy() const {
    return state_->policy;
}

void GtkCookies::setAcceptPolicy(CookieAcceptPolicy policy) {
    state_->policy = policy;
    state_->policySetHere = true;
    webkit_cookie_manager_set_accept_policy(
        state_->manager, policy == CookieAcceptPolicy::Always ? WEBKIT_COOKIE_POLICY_ACCEPT_ALWAYS
                         : policy == CookieAcceptPolicy::Never
                             ? WEBKIT_COOKIE_POLICY_ACCEPT_NEVER
                             : WEBKIT_COOKIE_POLICY_ACCEPT_NO_THIRD_PARTY);
}

bool GtkCookies::upToDate() const {
    return state_->applied == state_->generation;
}

}  // namespace tandri::gtk
