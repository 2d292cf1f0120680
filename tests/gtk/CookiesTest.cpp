// The cookies port over WebKit's cookie manager, and a persistent context whose cookies and
// local storage survive a restart of the application.

#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "EngineFixture.hpp"
#include "Platform/Gtk/GtkCookies.hpp"
#include "Platform/Gtk/GtkWebView.hpp"

namespace tandri::gtk {
namespace {

using testing::evaluate;
using testing::spinUntil;
using namespace std::chrono_literals;

void loadPage(WebView& view) {
    view.loadHTMLString("<html><body>shop</body></html>", std::string("https://shop.test/cart"));
    // Until then the view may still show its first, empty document.
    ASSERT_TRUE(spinUntil(
        [&] {
            return evaluate(view, "location.href+' '+document.readyState") ==
                   "https://shop.test/cart complete";
        },
        10s));
}

bool has(const std::vector<Cookie>& list, const std::string& name, const std::string& value) {
    return std::any_of(list.begin(), list.end(),
                       [&](const Cookie& c) { return c.name == name && c.value == value; });
}

TEST(GtkCookies, FollowsTheEngineAndTheEngineFollowsThePort) {
    testing::initToolkit();
    GtkWebViewFactory factory;
    GtkCookies cookies(factory.context());
    auto page = factory.makeWebView();
    loadPage(*page);

    // A page's own cookie reaches the port's copy through the engine's change signal.
    evaluate(*page, "document.cookie='theme=dark; path=/', 'ok'");
    ASSERT_TRUE(spinUntil([&] { return has(cookies.cookies(), "theme", "dark"); }, 5s));

    // One set through the port is there at once, and the page sees it once the engine has it.
    Cookie sid{"sid", "42", "shop.test", "/", false, false, std::nullopt};
    cookies.setCookie(sid);
    EXPECT_TRUE(has(cookies.cookies(), "sid", "42"));
    ASSERT_TRUE(spinUntil([&] { return cookies.upToDate(); }, 5s));
    EXPECT_TRUE(has(cookies.cookies(), "sid", "42")) << "the engine's copy keeps it";
    EXPECT_TRUE(spinUntil(
        [&] { return evaluate(*page, "document.cookie").find("sid=42") != std::string::npos; },
        5s));

    // Replacing keeps one cookie per name, domain and path.
    sid.value = "43";
    cookies.setCookie(sid);
    ASSERT_TRUE(spinUntil([&] { return cookies.upToDate(); }, 5s));
    auto all = cookies.cookies();
    EXPECT_EQ(std::count_if(all.begin(), all.end(), [](auto& c) { return c.name == "sid"; }), 1);
    EXPECT_EQ(cookies.cookiesForURL("https://shop.test/cart").size(), 2u);
    EXPECT_TRUE(cookies.cookiesForURL("https://other.test/").empty());

    // Deleting takes it from the copy at once and from the page after.
    cookies.deleteCookie(sid);
    EXPECT_FALSE(has(cookies.cookies(), "sid", "43"));
    ASSERT_TRUE(spinUntil([&] { return cookies.upToDate(); }, 5s));
    // A page already shown reads cookies from its web process's own copy, which hears of the
    // deletion a moment after the engine has done it.
    EXPECT_TRUE(spinUntil([&] { return evaluate(*page, "document.cookie") == "theme=dark"; }, 5s))
        << evaluate(*page, "document.cookie");

    // Under the Never policy nothing is stored.
    cookies.setAcceptPolicy(CookieAcceptPolicy::Never);
    EXPECT_EQ(cookies.acceptPolicy(), CookieAcceptPolicy::Never);
    cookies.setCookie({"late", "1", "shop.test", "/", false, false, std::nullopt});
    EXPECT_FALSE(has(cookies.cookies(), "late", "1"));
}

// Whether a file under `dir` whose path there starts with `prefix` holds `text` (as UTF-8, or as
// UTF-16 the way the engine keeps local storage).
bool onDisk(const std::filesystem::path& dir, const std::string& prefix, const std::string& text) {
    std::string wide;
    for (char c : text) wide += std::string{c, '\0'};
    std::error_code error;
    for (auto it = std::filesystem::recursive_directory_iterator(dir, error);
         !error && it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
        if (!it->is_regular_file(error)) continue;
        // Lexically: the engine's journal files come and go while this looks, and a path made
        // canonical must still exist.
        if (it->path().lexically_relative(dir).string().rfind(prefix, 0) != 0) continue;
        std::ifstream in(it->path(), std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (bytes.find(text) != std::string::npos || bytes.find(wide) != std::string::npos) {
            return true;
        }
    }
    return false;
}

// One run of an application on a data directory (started by the test below as a process of its
// own): "write" leaves a cookie and a local storage item, "read" expects to find both.
TEST(GtkCookies, OneRunOnADataDirectory) {
    const char* phase = std::getenv("TANDRI_COOKIE_RUN");
    const char* dir = std::getenv("TANDRI_COOKIE_DIR");
    if (phase == nullptr || dir == nullptr) GTEST_SKIP() << "run by the restart test";
    testing::initToolkit();
    GtkWebViewFactory factory({}, dir);
    GtkCookies cookies(factory.context());
    auto page = factory.makeWebView();
    loadPage(*page);
    if (std::string(phase) == "write") {
        evaluate(*page,
                 "document.cookie='visit=1; path=/; max-age=3600';"
                 "localStorage.setItem('seen','yes'), 'ok'");
        EXPECT_TRUE(spinUntil([&] { return has(cookies.cookies(), "visit", "1"); }, 5s));
        // The engine writes its stores in its own time: the run ends once both are on disk.
        EXPECT_TRUE(spinUntil([&] { return onDisk(dir, "cookies.sqlite", "visit"); }, 20s));
        EXPECT_TRUE(spinUntil([&] { return onDisk(dir, "data", "seen"); }, 20s));
    } else {
        // The page's answer is definite; the port's copy follows it in its own time, so it is
        // awaited only once the page has the cookie (a fresh directory must fail without waiting).
        const bool inPage = evaluate(*page, "document.cookie").find("visit=1") != std::string::npos;
        EXPECT_TRUE(inPage);
        if (inPage) {
            EXPECT_TRUE(spinUntil([&] { return has(cookies.cookies(), "visit", "1"); }, 5s));
        }
        EXPECT_EQ(evaluate(*page, "localStorage.getItem('seen')||'none'"), "yes");
    }
}

TEST(GtkCookies, APersistentContextKeepsCookiesAndLocalStorageAcrossRestarts) {
    const auto base =
        std::filesystem::temp_directory_path() / ("tandri-webkit-" + std::to_string(::getpid()));
    const auto dir = base / "device";
    std::error_code ignored;
    std::filesystem::remove_all(base, ignored);
    std::filesystem::create_directories(base);  // the runs' logs; each run makes its own directory
    auto run = [&](const char* phase, const std::filesystem::path& where) {
        const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
        const std::string command = "TANDRI_COOKIE_RUN=" + std::string(phase) +
                                    " TANDRI_COOKIE_DIR='" + where.string() + "' '" + self +
                                    "' --gtest_filter=GtkCookies.OneRunOnADataDirectory";
        // Its output is kept, to say which of its expectations failed when one does.
        const auto log = base / (std::string(phase) + ".log");
        const int status = std::system((command + " >'" + log.string() + "' 2>&1").c_str());
        if (status != 0 && std::string(phase) == "write") {
            std::ifstream in(log);
            ADD_FAILURE() << "the write run said:\n" << in.rdbuf();
        }
        return status;
    };
    EXPECT_EQ(run("write", dir), 0);
    EXPECT_EQ(std::filesystem::status(dir).permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_all)
        << "the pages' data is private to the user";
    EXPECT_TRUE(std::filesystem::exists(dir / "cookies.sqlite"));
    EXPECT_EQ(run("read", dir), 0);
    // A fresh directory has neither: the read run fails there. (A directory of its own: the
    // engine's helper processes of the runs before may still be closing their files in the
    // first.)
    EXPECT_NE(run("read", base / "fresh"), 0);
    std::filesystem::remove_all(base, ignored);
}

}  // namespace
}  // namespace tandri::gtk
