// The cookies port over the engine's cookie store, and a profile on a data directory whose
// cookies and local storage survive a restart of the application.

#include <filesystem>
#include <fstream>

#include "EngineFixture.hpp"
#include "Platform/Qt/QtCookies.hpp"

namespace tandri::qt {
namespace {

using namespace testing;

std::shared_ptr<QtWebView> shopPage(QtWebViewFactory& factory) {
    auto page = std::static_pointer_cast<QtWebView>(factory.makeWebView());
    page->widget()->show();
    page->loadHTMLString("<html><body>shop</body></html>", std::string("https://shop.test/cart"));
    // Until then the view may still show its first, empty document.
    EXPECT_TRUE(spinUntil([&] {
        return evaluate(*page, "location.href+' '+document.readyState") ==
               "\"https://shop.test/cart complete\"";
    }));
    return page;
}

bool has(const std::vector<Cookie>& list, const std::string& name, const std::string& value) {
    return std::any_of(list.begin(), list.end(),
                       [&](const Cookie& c) { return c.name == name && c.value == value; });
}

TEST(QtCookies, FollowsTheEngineAndTheEngineFollowsThePort) {
    QtWebViewFactory factory;
    QtCookies cookies(factory.sharedProfile());
    auto page = shopPage(factory);

    // A page's own cookie reaches the port's copy through the engine's signal.
    evaluate(*page, "document.cookie='theme=dark; path=/', 'ok'");
    ASSERT_TRUE(spinUntil([&] { return has(cookies.cookies(), "theme", "dark"); }));

    // One set through the port is there at once, and the page sees it once the engine has it.
    Cookie sid{"sid", "42", "shop.test", "/", false, false, std::nullopt};
    cookies.setCookie(sid);
    EXPECT_TRUE(has(cookies.cookies(), "sid", "42"));
    ASSERT_TRUE(spinUntil(
        [&] { return evaluate(*page, "document.cookie").find("sid=42") != std::string::npos; }));

    // Replacing keeps one cookie per name, domain and path, in the copy and in the engine.
    sid.value = "43";
    cookies.setCookie(sid);
    ASSERT_TRUE(spinUntil(
        [&] { return evaluate(*page, "document.cookie").find("sid=43") != std::string::npos; }));
    ASSERT_TRUE(spinUntil([&] {
        auto all = cookies.cookies();
        return std::count_if(all.begin(), all.end(), [](auto& c) { return c.name == "sid"; }) ==
                   1 &&
               has(all, "sid", "43");
    }));
    EXPECT_EQ(cookies.cookiesForURL("https://shop.test/cart").size(), 2u);
    EXPECT_TRUE(cookies.cookiesForURL("https://other.test/").empty());

    // Deleting takes it from the copy at once and from the page after.
    cookies.deleteCookie(sid);
    EXPECT_FALSE(has(cookies.cookies(), "sid", "43"));
    EXPECT_TRUE(spinUntil([&] { return evaluate(*page, "document.cookie") == "\"theme=dark\""; }))
        << evaluate(*page, "document.cookie");

    // Under the Never policy nothing is stored, by the port or by a page, and the page reads
    // nothing.
    cookies.setAcceptPolicy(CookieAcceptPolicy::Never);
    EXPECT_EQ(cookies.acceptPolicy(), CookieAcceptPolicy::Never);
    cookies.setCookie({"late", "1", "shop.test", "/", false, false, std::nullopt});
    evaluate(*page, "document.cookie='page-late=1; path=/', 'ok'");
    EXPECT_FALSE(has(cookies.cookies(), "late", "1"));
    EXPECT_EQ(evaluate(*page, "document.cookie"), "\"\"");
    cookies.setAcceptPolicy(CookieAcceptPolicy::Always);
    EXPECT_EQ(evaluate(*page, "document.cookie"), "\"theme=dark\"");
}

// Whether a file under `dir` holds `text` (as UTF-8, or as UTF-16 the way local storage may).
bool onDisk(const std::filesystem::path& dir, const std::string& text) {
    std::string wide;
    for (char c : text) wide += std::string{c, '\0'};
    std::error_code error;
    for (auto it = std::filesystem::recursive_directory_iterator(dir, error);
         !error && it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
        if (!it->is_regular_file(error)) continue;
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
TEST(QtCookies, OneRunOnADataDirectory) {
    const char* phase = std::getenv("TANDRI_COOKIE_RUN");
    const char* dir = std::getenv("TANDRI_COOKIE_DIR");
    if (phase == nullptr || dir == nullptr) GTEST_SKIP() << "run by the restart test";
    QtWebViewFactory factory({}, dir);
    auto page = shopPage(factory);
    QtCookies cookies(factory.sharedProfile());
    if (std::string(phase) == "write") {
        evaluate(*page,
                 "document.cookie='visit=1; path=/; max-age=3600';"
                 "localStorage.setItem('seen','yes'), 'ok'");
        EXPECT_TRUE(spinUntil([&] { return has(cookies.cookies(), "visit", "1"); }));
        // The engine writes its stores in its own time: the run ends once both are on disk.
        EXPECT_TRUE(spinUntil([&] { return onDisk(dir, "visit"); }));
        EXPECT_TRUE(spinUntil([&] { return onDisk(dir, "seen"); }));
    } else {
        // What the pages keep. (Qt WebEngine 6.4 reports no cookie it loaded from disk to its
        // cookie store's listeners, even when asked to list them all: the port's copy starts
        // empty and holds what pages and the port set in this run.)
        EXPECT_NE(evaluate(*page, "document.cookie").find("visit=1"), std::string::npos);
        EXPECT_EQ(evaluate(*page, "localStorage.getItem('seen')||'none'"), "\"yes\"");
    }
    page.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

TEST(QtCookies, AProfileOnADataDirectoryKeepsCookiesAndLocalStorageAcrossRestarts) {
    const auto base = std::filesystem::temp_directory_path() /
                      ("tandri-qt-cookies-" + std::to_string(::getpid()));
    const auto dir = base / "device";
    std::error_code ignored;
    std::filesystem::remove_all(base, ignored);
    std::filesystem::create_directories(base);
    auto run = [&](const char* phase, const std::filesystem::path& where) {
        const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
        const std::string command = "TANDRI_COOKIE_RUN=" + std::string(phase) +
                                    " TANDRI_COOKIE_DIR='" + where.string() + "' '" + self +
                                    "' --gtest_filter=QtCookies.OneRunOnADataDirectory";
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
    EXPECT_EQ(run("read", dir), 0);
    // A fresh directory has neither: the read run fails there.
    EXPECT_NE(run("read", base / "fresh"), 0);
    std::filesystem::remove_all(base, ignored);
}

}  // namespace
}  // namespace tandri::qt
