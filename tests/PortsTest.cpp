#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <thread>

#include "Core/Utils/NotificationCenter.hpp"
#include "Platform/Linux/LinuxDevice.hpp"
#include "Platform/Linux/PosixFiles.hpp"
#include "Platform/Linux/StbImageCodec.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"

using namespace tandri;

namespace {
struct TempDirectory {
    std::string path;
    TempDirectory() {
        char pattern[] = "/tmp/tandri-files-XXXXXX";
        path = ::mkdtemp(pattern);
    }
    ~TempDirectory() { std::system(("rm -rf '" + path + "'").c_str()); }
};

std::vector<std::string> entriesOf(const std::string& directory) {
    std::vector<std::string> names;
    if (DIR* dir = ::opendir(directory.c_str())) {
        while (auto* entry = ::readdir(dir)) {
            std::string name = entry->d_name;
            if (name != "." && name != "..") names.push_back(name);
        }
        ::closedir(dir);
    }
    return names;
}

Bitmap gradient(int width, int height) {
    Bitmap image;
    image.width = width;
    image.height = height;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            image.rgba.insert(
                image.rgba.end(),
                {static_cast<std::uint8_t>(x * 7), static_cast<std::uint8_t>(y * 13),
                 static_cast<std::uint8_t>(x ^ y), static_cast<std::uint8_t>(255 - x)});
        }
    }
    return image;
}
}  // namespace

TEST(PosixFiles, WritesReplaceWholeFilesAndLeaveNoTemporaries) {
    TempDirectory temp;
    linux_platform::PosixFiles files(temp.path + "/app");
    auto cache = files.applicationSupportDirectory() + "/tandri/cache";
    auto image = cache + "/minibuttonimage.png";

    EXPECT_FALSE(files.writeAtomically(image, {1, 2, 3}));  // no directory yet
    EXPECT_TRUE(entriesOf(temp.path).empty());
    ASSERT_TRUE(files.createDirectories(cache));
    EXPECT_TRUE(files.createDirectories(cache));  // already there

    ASSERT_TRUE(files.writeAtomically(image, {1, 2, 3}));
    ASSERT_TRUE(files.writeAtomically(image, {4, 5}));
    EXPECT_EQ(files.read(image), (ByteBuffer{4, 5}));
    EXPECT_EQ(entriesOf(cache), std::vector<std::string>{"minibuttonimage.png"});

    EXPECT_TRUE(files.remove(image));
    EXPECT_FALSE(files.exists(image));
    EXPECT_FALSE(files.read(image).has_value());
    EXPECT_FALSE(files.remove(image));

    // A file standing where a directory should be.
    ASSERT_TRUE(files.writeAtomically(cache + "/blocker", {0}));
    EXPECT_FALSE(files.createDirectories(cache + "/blocker/inner"));
}

TEST(PosixFiles, AReaderNeverSeesAPartialFile) {
    TempDirectory temp;
    linux_platform::PosixFiles files(temp.path);
    auto path = temp.path + "/value";
    const ByteBuffer a(256 * 1024, 'a'), b(384 * 1024, 'b');
    ASSERT_TRUE(files.writeAtomically(path, a));

    std::atomic<bool> stop{false};
    std::atomic<int> torn{0}, reads{0};
    std::thread reader([&] {
        while (!stop) {
            auto seen = files.read(path);
            if (!seen || (*seen != a && *seen != b)) ++torn;
            ++reads;
        }
    });
    for (int i = 0; i < 60; ++i) ASSERT_TRUE(files.writeAtomically(path, i % 2 ? a : b));
    stop = true;
    reader.join();
    EXPECT_GT(reads.load(), 0);
    EXPECT_EQ(torn.load(), 0);
}

TEST(ImageCodecs, PngRoundTripAndBadInput) {
    linux_platform::StbImageCodec codec;
    auto original = gradient(37, 21);
    auto png = codec.encodePNG(original);
    ASSERT_TRUE(png);
    ASSERT_GE(png->size(), 8u);
    EXPECT_EQ(ByteBuffer(png->begin(), png->begin() + 8),
              (ByteBuffer{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}));
    auto decoded = codec.decode(*png);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->width, 37);
    EXPECT_EQ(decoded->height, 21);
    EXPECT_EQ(decoded->rgba, original.rgba);

    EXPECT_FALSE(codec.decode({}));
    EXPECT_FALSE(codec.decode(ByteBuffer(png->begin(), png->begin() + png->size() / 3)));
    EXPECT_FALSE(
        codec.decode(ByteBuffer{'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'm', 'a', 'g', 'e'}));
    Bitmap broken = original;
    broken.rgba.pop_back();
    EXPECT_FALSE(codec.encodePNG(broken));

    // The simulated codec keeps pixels exactly and refuses what it did not write.
    sim::SimulatedImageCodec simulated;
    auto bytes = simulated.encodePNG(original);
    ASSERT_TRUE(bytes);
    EXPECT_EQ(simulated.decode(*bytes)->rgba, original.rgba);
    bytes->pop_back();
    EXPECT_FALSE(simulated.decode(*bytes));
    EXPECT_FALSE(simulated.decode(*png));
}

TEST(SimulatedPorts, FilesOutliveARestartAndFailOnRequest) {
    std::shared_ptr<sim::SimulatedFiles> disk;
    std::string path;
    {
        sim::SimulatedPlatform first;
        auto& files = *Platform::current().files;
        auto dir = files.applicationSupportDirectory() + "/tandri/cache";
        path = dir + "/minibuttonimage.png";
        EXPECT_FALSE(files.writeAtomically(path, {7}));
        ASSERT_TRUE(files.createDirectories(dir));
        ASSERT_TRUE(files.writeAtomically(path, {7}));
        first.files().setFailWrites(true);
        EXPECT_FALSE(files.writeAtomically(path, {8}));
        first.files().setFailWrites(false);
        disk = first.sharedFiles();
    }
    int heard = 0;
    NotificationCenter::defaultCenter().addObserver(
        std::string(NotificationName::MiniButtonImageChanged),
        [&](const Notification&) { ++heard; });
    sim::SimulatedPlatform second(disk);
    EXPECT_EQ(Platform::current().files->read(path), ByteBuffer{7});
    NotificationCenter::defaultCenter().post(NotificationName::MiniButtonImageChanged);
    EXPECT_EQ(heard, 0);  // the earlier process's observers are gone
    sim::SimulatedPlatform fresh;
    EXPECT_FALSE(Platform::current().files->read(path));
}

TEST(SimulatedPorts, CookiesGoOnlyWhereTheyBelong) {
    sim::SimulatedPlatform platform;
    auto& cookies = *Platform::current().cookies;
    cookies.setCookie({"sid", "1", ".tandri.com", "/", true, true, std::nullopt});
    cookies.setCookie({"sid", "2", ".tandri.com", "/", true, true, std::nullopt});  // replaces
    cookies.setCookie({"cart", "x", "shop.example", "/checkout", false, false, std::nullopt});
    ASSERT_EQ(cookies.cookies().size(), 2u);
    EXPECT_EQ(cookies.cookiesForURL("https://pay.tandri.com/x").at(0).value, "2");
    EXPECT_EQ(cookies.cookiesForURL("https://TANDRI.com/").size(), 1u);
    EXPECT_TRUE(cookies.cookiesForURL("http://pay.tandri.com/x").empty());  // secure only
    EXPECT_TRUE(cookies.cookiesForURL("https://eviltandri.com/").empty());
    EXPECT_TRUE(cookies.cookiesForURL("https://tandri.com.evil.net/").empty());
    EXPECT_EQ(cookies.cookiesForURL("http://shop.example/checkout/step?a=1").size(), 1u);
    EXPECT_EQ(cookies.cookiesForURL("http://shop.example/checkout").size(), 1u);
    EXPECT_TRUE(cookies.cookiesForURL("http://shop.example/checkouts").empty());
    EXPECT_TRUE(cookies.cookiesForURL("http://shop.example/").empty());
    EXPECT_TRUE(cookies.cookiesForURL("not a url").empty());

    cookies.setAcceptPolicy(CookieAcceptPolicy::Never);
    cookies.setCookie({"new", "y", "shop.example", "/", false, false, std::nullopt});
    EXPECT_EQ(cookies.cookies().size(), 2u);

    // Time and the OS version are the test's to set.
    platform.clock().advance(2.5);
    EXPECT_DOUBLE_EQ(Platform::current().clock->now(), 1'700'000'002.5);
    platform.setOSVersion(12, 9);
    EXPECT_FALSE(Platform::current().osVersion.isAtLeast(13));
    EXPECT_TRUE(Platform::current().osVersion.isAtLeast(12, 9));
}

TEST(LinuxDevice, VendorIdentifiersAreStablePerVendorAndTheBundleReadsOnlyItsOwnFiles) {
    TempDirectory temp;
    std::ofstream(temp.path + "/os-release") << "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n";
    std::ofstream(temp.path + "/machine-id") << "0123456789abcdef0123456789abcdef\n";
    std::ofstream(temp.path + "/other-id") << "fedcba9876543210fedcba9876543210\n";
    auto idOf = [&](const std::string& vendor, const std::string& machine) {
        return linux_platform::LinuxDevice(vendor, temp.path + "/os-release",
                                           temp.path + "/" + machine)
            .identifierForVendor();
    };
    linux_platform::LinuxDevice device("Acme", temp.path + "/os-release",
                                       temp.path + "/machine-id");
    EXPECT_EQ(device.systemVersion(), "12");
    EXPECT_EQ(device.idiom(), DeviceIdiom::Desktop);
    const std::string id = device.identifierForVendor();
    EXPECT_TRUE(std::regex_match(
        id, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")))
        << id;
    EXPECT_EQ(idOf("Acme", "machine-id"), id);
    EXPECT_NE(idOf("Other vendor", "machine-id"), id);
    EXPECT_NE(idOf("Acme", "other-id"), id);
    EXPECT_EQ(id.find("01234567"), std::string::npos);

    std::ofstream(temp.path + "/close.png") << "png bytes";
    Dictionary info;
    info.set("CFBundleShortVersionString", Value("4.2"));
    info.set("NSFaceIDUsageDescription", Value("Pay faster"));
    linux_platform::DirectoryBundle bundle(temp.path, info);
    EXPECT_EQ(bundle.hostShortVersion(), "4.2");
    EXPECT_EQ(bundle.hostInfoValue("NSFaceIDUsageDescription"), Value("Pay faster"));
    EXPECT_FALSE(bundle.hostInfoValue("Missing"));
    auto bytes = bundle.resource("close.png");
    ASSERT_TRUE(bytes);
    EXPECT_EQ(std::string(bytes->begin(), bytes->end()), "png bytes");
    EXPECT_FALSE(bundle.resource("missing.png"));
    EXPECT_FALSE(
        bundle.resource("../" + temp.path.substr(temp.path.rfind('/') + 1) + "/close.png"));
    EXPECT_FALSE(bundle.resource(".hidden"));
}
