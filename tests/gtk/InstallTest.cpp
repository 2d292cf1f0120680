// The public set-up over a host's window: what it refuses, what it makes on disk, and that the
// host's own widgets stay the host's.

#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "Core/Views/ViewController.hpp"
#include "EngineFixture.hpp"
#include "Input.hpp"
#include "Platform/Platform.hpp"
#include "Platform/SystemLog.hpp"
#include "Platform/UserDefaults.hpp"
#include "tandri/gtk.hpp"

namespace tandri {
namespace {

namespace fs = std::filesystem;

struct TempDir {
    fs::path path;
    TempDir() {
        char name[] = "/tmp/tandri-install-XXXXXX";
        path = mkdtemp(name);
    }
    ~TempDir() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

TEST(Install, RefusesWhatCannotNameADirectoryAndSetsUpOverTheHostsOwnWidgets) {
    gtk::initToolkit();
    TempDir data;
    struct Lines : SystemLog {
        std::vector<std::string> lines;
        void write(std::string_view line) override { lines.emplace_back(line); }
    };
    auto log = std::make_shared<Lines>();
    Platform::current().systemLog = log;
    const auto& logged = log->lines;

    GtkWidget* window = GTK_WIDGET(gtk::newWindow());
    gtk_window_set_default_size(GTK_WINDOW(window), 400, 600);
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    GtkWidget* entry = gtk_entry_new();
    gtk::testing::setEntryText(entry, "typed by the host");
    gtk::testing::appendToBox(box, entry);
    gtk::setWindowChild(GTK_WINDOW(window), box);

    // Ids that are not reverse-DNS names, or that would leave the data directory, are refused
    // with a line saying why, and nothing is made on disk.
    for (const char* id : {"", "shop", "com.example/../../etc", "../com.example.shop",
                           "com..example", "com.example.shop/"}) {
        gtk::Options options;
        options.applicationId = id;
        options.dataDirectory = (data.path / "refused").string();
        EXPECT_EQ(gtk::install(GTK_WINDOW(window), options), nullptr) << id;
    }
    EXPECT_EQ(gtk::install(nullptr, "com.example.shop"), nullptr);
    EXPECT_FALSE(fs::exists(data.path / "refused"));
    ASSERT_FALSE(logged.empty());
    EXPECT_NE(logged.front().find("TDC_SDK: checkout not set up: the application id"),
              std::string::npos)
        << logged.front();

    // A store that cannot be opened (its directory is a file) is refused too.
    {
        std::ofstream(data.path / "blocked") << "a file";
        gtk::Options options;
        options.applicationId = "com.example.shop";
        options.dataDirectory = (data.path / "blocked").string();
        options.keychain = gtk::KeychainStore::ApplicationStore;
        EXPECT_EQ(gtk::install(GTK_WINDOW(window), options), nullptr);
    }

    gtk::Options options;
    options.applicationId = "com.example.shop";
    options.dataDirectory = (data.path / "shop").string();
    options.keychain = gtk::KeychainStore::ApplicationStore;
    auto checkout = gtk::install(GTK_WINDOW(window), options);
    ASSERT_NE(checkout, nullptr);
    gtk::showWindow(GTK_WINDOW(window));
    EXPECT_EQ(checkout->dataDirectory(), options.dataDirectory);
    EXPECT_FALSE(checkout->keychainInKeyring());
    EXPECT_TRUE(TandriCheckoutSDK::configured());
    ASSERT_NE(checkout->screen(), nullptr);
    EXPECT_NE(checkout->webContext(), nullptr);

    // The store is there, for its user only.
    struct stat info {};
    ASSERT_EQ(stat((data.path / "shop" / "storage.db").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0077, 0u);

    // The host's widgets are still in its window, as it made them.
    EXPECT_TRUE(gtk::isInWindow(entry, GTK_WINDOW(window)));
    EXPECT_EQ(gtk::testing::entryText(entry), "typed by the host");
    EXPECT_TRUE(gtk_widget_get_visible(box));

    // One installation per process: a second one, even over another window, is refused.
    GtkWidget* other = GTK_WIDGET(gtk::newWindow());
    const auto linesBefore = logged.size();
    EXPECT_EQ(gtk::install(GTK_WINDOW(other), "com.example.other"), nullptr);
    ASSERT_EQ(logged.size(), linesBefore + 1);
    EXPECT_NE(logged.back().find("set up already"), std::string::npos) << logged.back();
    gtk::destroyWindow(GTK_WINDOW(other));

    // Values kept through the installed ports land in that store.
    Platform::current().userDefaults->setObject("install-test", Value("kept"));
    EXPECT_EQ(Platform::current().userDefaults->objectForKey("install-test"), Value("kept"));

    checkout.reset();
    gtk::destroyWindow(GTK_WINDOW(window));
    Platform::install({});
}

}  // namespace
}  // namespace tandri
