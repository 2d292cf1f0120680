// Killed at any point: a process that parks analytics records and stores card art is killed at
// random moments, hundreds of times, on the real stores (SQLite, files written atomically, PNG).
// After every kill the store opens cleanly, each parked record is absent or one whole record the
// process built, and the card art file is absent or one whole picture it wrote.

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <set>
#include <thread>

#include "Core/Bridge/CheckoutWebViewBridge.hpp"
#include "Core/Utils/DataReporting.hpp"
#include "Platform/Linux/PosixFiles.hpp"
#include "Platform/Linux/StbImageCodec.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Platform/Sqlite/SqliteStore.hpp"
#include "tandri/Constants.hpp"
#include "tandri/Json.hpp"

namespace tandri {
namespace {

struct Device {
    sim::SimulatedPlatform platform;
    std::shared_ptr<sqlite::SqliteStore> store;
    explicit Device(const std::string& dir) {
        store = sqlite::SqliteStore::open(dir + "/storage.db");
        Platform ports = Platform::current();
        if (store) {
            ports.keychain = store->keychain();
            ports.userDefaults = store->userDefaults();
        }
        ports.files = std::make_shared<linux_platform::PosixFiles>(dir + "/support");
        ports.imageCodec = std::make_shared<linux_platform::StbImageCodec>();
        Platform::install(std::move(ports));
        CheckoutWebViewBridge::resetMiniButtonImageForTesting();
    }
};

/// The n-th picture: n % 200 + 1 pixels wide, three high, every pixel the grey n % 251.
Bitmap picture(int n) {
    Bitmap image;
    image.width = n % 200 + 1;
    image.height = 3;
    image.rgba.assign(static_cast<std::size_t>(image.width) * 3 * 4,
                      static_cast<std::uint8_t>(n % 251));
    for (std::size_t k = 3; k < image.rgba.size(); k += 4) image.rgba[k] = 255;
    return image;
}

/// The n-th load record: its times tell n apart.
Dictionary record(int n) {
    return DataReporting::buildLoadingSpinnerInstrumentationData(1700000000.0 + n,
                                                                 1700000000.0 + 2 * n + 0.25);
}

TEST(Durability, ParkedAnalyticsAndCardArtAreWholeAfterKillsAtRandomPoints) {
    char pattern[] = "/tmp/tandri-durability-XXXXXX";
    const std::string dir = ::mkdtemp(pattern);
    std::mt19937 random(20261123);
    const int kRuns = 300;
    int torn = 0, unreadable = 0, checkedPictures = 0, checkedRecords = 0;
    for (int run = 0; run < kRuns; ++run) {
        int started[2];
        ASSERT_EQ(::pipe(started), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(started[0]);
            Device device(dir);
            for (int n = run * 1000;; ++n) {
                DataReporting::storeGtmData(record(n), kGtmStorageKeySpinnerLoad, "c", "v");
                DataReporting::storeGtmData(
                    DataReporting::buildLoadingSpinnerAbandonmentData(n % 2),
                    kGtmStorageKeyAbandonment, "c" + std::to_string(n), "v");
                auto image = std::make_shared<const Bitmap>(picture(n));
                CheckoutWebViewBridge::setMiniButtonImage(image);
                // The kill comes at a random point after the first round, however slow the
                // machine (or a sanitizer) makes the start.
                if (n == run * 1000 && ::write(started[1], "1", 1) != 1) ::_exit(1);
            }
        }
        ::close(started[1]);
        char byte = 0;
        ASSERT_EQ(::read(started[0], &byte, 1), 1) << "the writer did not get going in run " << run;
        ::close(started[0]);
        std::this_thread::sleep_for(
            std::chrono::microseconds(std::uniform_int_distribution<int>(0, 40000)(random)));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself in run " << run;

        Device device(dir);
        ASSERT_TRUE(device.store) << "the store does not open after run " << run;
        ASSERT_TRUE(device.store->integrityCheck()) << "after run " << run;
        // Collecting takes the records out: each run starts from nothing parked.
        auto collected = json::parse(DataReporting::collectStoredGtmData());
        ASSERT_TRUE(collected && collected->isArray()) << "run " << run;
        for (const auto& parked : collected->asArray()) {
            const Value* event = parked.find("gtmEvent");
            if (!event || !event->isDictionary() || !parked.find("correlationId")) {
                ++torn;
                continue;
            }
            ++checkedRecords;
            const Value* start = event->find("screen_start_time");
            if (!start) continue;  // an abandonment: whole by the checks above
            const auto n = static_cast<int>(std::stoll(start->asString()) / 1000 - 1700000000);
            if (Value(record(n)) != *event) ++torn;
        }
        const auto files = Platform::current().files;
        const std::string path = CheckoutWebViewBridge::miniButtonFileURL().value_or("");
        if (!path.empty() && files->exists(path)) {
            auto data = files->read(path);
            auto decoded = data ? Platform::current().imageCodec->decode(*data) : std::nullopt;
            if (!decoded) {
                ++unreadable;
            } else {
                ++checkedPictures;
                // One of the pictures written: three rows of a single opaque grey.
                Bitmap expected;
                expected.width = decoded->width;
                expected.height = 3;
                const std::uint8_t grey = decoded->rgba.empty() ? 0 : decoded->rgba[0];
                for (int k = 0; k < decoded->width * 3; ++k) {
                    expected.rgba.insert(expected.rgba.end(), {grey, grey, grey, 255});
                }
                if (decoded->height != 3 || decoded->rgba != expected.rgba) ++torn;
            }
        }
    }
    std::filesystem::remove_all(dir);
    RecordProperty("records", checkedRecords);
    RecordProperty("pictures", checkedPictures);
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(unreadable, 0);
    std::printf("%d runs: %d whole records and %d whole pictures found after kills\n", kRuns,
                checkedRecords, checkedPictures);
    // Every run writes a first round before its kill.
    EXPECT_GE(checkedRecords, 2 * kRuns);
    EXPECT_EQ(checkedPictures, kRuns);
}

}  // namespace
}  // namespace tandri
