// The library's bundle compiled into libtandri-gtk: every image the library asks for is there and
// decodes, names that are not plain file names find nothing, and the web-process module is found
// beside the library.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Platform/Gtk/ResourceBundle.hpp"
#include "Platform/Gtk/WebExtensionsDirectory.hpp"
#include "Platform/Linux/StbImageCodec.hpp"
#include "tandri/Version.hpp"

namespace tandri::gtk {
namespace {

TEST(ResourceBundle, HoldsEveryImageTheLibraryAsksForAndNothingElse) {
    ResourceBundle bundle(Dictionary{{"CFBundleShortVersionString", Value("4.2")}});
    const linux_platform::StbImageCodec codec;

    std::vector<std::string> names = {"close", "mini_tandri_checkout"};
    for (int i = 0; i < LoadingSpinnerViewController::kFrameCount; ++i) {
        names.push_back("square_animation" + std::to_string(i));
    }
    for (const auto& name : names) {
        const auto bytes = bundle.resource(name + ".png");
        ASSERT_TRUE(bytes.has_value()) << name;
        const auto bitmap = codec.decode(*bytes);
        ASSERT_TRUE(bitmap.has_value()) << name;
        EXPECT_GT(bitmap->width, 0) << name;
        EXPECT_GT(bitmap->height, 0) << name;
    }
    EXPECT_FALSE(bundle.resource("square_animation260.png"));
    EXPECT_FALSE(bundle.resource("close"));

    // Only plain file names: no way out of the images, nor into another bundle of the process.
    for (const char* name : {"", ".", "..", "../images/close.png", "/tandri/images/close.png",
                             "./close.png", ".close.png", "close.png/", "x/../close.png"}) {
        EXPECT_FALSE(bundle.resource(name)) << name;
    }

    EXPECT_EQ(bundle.libraryShortVersion(), std::optional<std::string>(kSDKVersion));
    EXPECT_EQ(bundle.hostShortVersion(), std::optional<std::string>("4.2"));
    EXPECT_FALSE(bundle.hostInfoValue("NSFaceIDUsageDescription"));
}

TEST(WebExtensionsDirectory, IsBesideTheLibraryInTheBuildTree) {
    // Each engine generation has its own directory and module: neither loads the other's.
#if TANDRI_GTK_MAJOR == 4
    const char* const directory = "web-process-extensions";
    const char* const module = "libtandri_webext6.so";
#else
    const char* const directory = "web-extensions";
    const char* const module = "libtandri_webext.so";
#endif
    const std::filesystem::path dir = webExtensionsDirectory();
    EXPECT_EQ(dir.filename(), directory);
    EXPECT_EQ(dir.parent_path().filename(), "tandri-1");
    EXPECT_TRUE(std::filesystem::is_regular_file(dir / module)) << dir;
}

}  // namespace
}  // namespace tandri::gtk
