#include <gtest/gtest.h>

#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Storage/KeychainUtils.hpp"
#include "Core/Utils/DataReporting.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/NotificationCenter.hpp"
#include "Core/Views/Layout.hpp"
#include "Platform/Linux/LinuxDevice.hpp"
#include "Platform/Linux/StbImageCodec.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "tandri/Json.hpp"

using namespace tandri;

namespace {

std::string text(const Dictionary& record) {
    return *json::write(Value(record));
}

struct RecordingDelegate : DataReportingDelegate {
    std::vector<std::string> calls;
    void recordLoadingSpinnerInstrumentationData(double start, double end,
                                                 bool afterCancel) override {
        char line[96];
        std::snprintf(line, sizeof line, "load %.1f-%.1f%s", start, end,
                      afterCancel ? " after cancel" : "");
        calls.emplace_back(line);
    }
    void recordLoadingSpinnerAbandonmentData(bool cancelled) override {
        calls.push_back(cancelled ? "abandon intentional" : "abandon forceful");
    }
};

}  // namespace

TEST(DataReporting, RecordsKeepTheirExactKeysUnitsAndFormats) {
    EXPECT_EQ(
        text(DataReporting::buildLoadingSpinnerInstrumentationData(1700000000.1234, 1700000001.5)),
        R"({"event":"Spinner Screen Load","event_category":"Spinner Screen Load",)"
        R"("event_action":"Spinner Screen Load",)"
        R"("event_label":"Spinner Screen Load - Foreground",)"
        R"("screen_name":"Spinner Screen Load","screen_load_time":"1.377",)"
        R"("screen_start_time":"1700000000123","screen_end_time":"1700000001500"})");
    auto backwards = DataReporting::buildLoadingSpinnerInstrumentationData(10.5, 10.25);
    EXPECT_EQ(backwards.find("screen_load_time")->asString(), "-0.250");
    EXPECT_EQ(text(DataReporting::buildLoadingSpinnerAbandonmentData(true)),
              R"({"event":"abandonment","event_action":"abandonment",)"
              R"("event_label":"abandonment","abandonment_type":"intentional"})");
    EXPECT_EQ(DataReporting::buildLoadingSpinnerAbandonmentData(false)
                  .find("abandonment_type")
                  ->asString(),
              "forceful");
}

TEST(DataReporting, ParkingNeedsBothIdentifiersAndCollectingEmptiesInAFixedOrder) {
    sim::SimulatedPlatform platform;
    std::vector<std::string> logged;
    Logging::setSink([&](std::string_view line) { logged.emplace_back(line); });
    EXPECT_EQ(DataReporting::collectStoredGtmData(), "[]");

    auto load = DataReporting::buildLoadingSpinnerInstrumentationData(1, 2);
    DataReporting::storeGtmData(load, kGtmStorageKeySpinnerLoad, std::string("c-1"), "");
    DataReporting::storeGtmData(load, kGtmStorageKeySpinnerLoad, std::nullopt, "v-1");
    EXPECT_FALSE(UserDefaultsUtils::getValueForKey(kGtmStorageKeySpinnerLoad));
    ASSERT_EQ(logged.size(), 2u);
    EXPECT_NE(logged[0].find("Failed to store GTM data because correlationId or visitId were "
                             "missing."),
              std::string::npos);

    // A newer record of a kind replaces the older; the abandonment comes out first.
    DataReporting::storeGtmData(load, kGtmStorageKeySpinnerLoad, "c-1", "v-1");
    DataReporting::storeGtmData(DataReporting::buildLoadingSpinnerAbandonmentData(false),
                                kGtmStorageKeyAbandonment, "c-1", "v-1");
    DataReporting::storeGtmData(DataReporting::buildLoadingSpinnerAbandonmentData(true),
                                kGtmStorageKeyAbandonment, "c-2", "v-2");
    EXPECT_EQ(
        DataReporting::collectStoredGtmData(),
        R"([{"gtmEvent":{"event":"abandonment","event_action":"abandonment",)"
        R"("event_label":"abandonment","abandonment_type":"intentional"},)"
        R"("correlationId":"c-2","visitId":"v-2"},{"gtmEvent":{"event":"Spinner Screen Load",)"
        R"("event_category":"Spinner Screen Load","event_action":"Spinner Screen Load",)"
        R"("event_label":"Spinner Screen Load - Foreground","screen_name":"Spinner Screen Load",)"
        R"("screen_load_time":"1.000","screen_start_time":"1000","screen_end_time":"2000"},)"
        R"("correlationId":"c-1","visitId":"v-1"}])");
    EXPECT_EQ(DataReporting::collectStoredGtmData(), "[]");

    // An empty parked value is neither returned nor removed.
    platform.userDefaults().setObject(kGtmStorageKeyAbandonment, Value(Dictionary{}));
    EXPECT_EQ(DataReporting::collectStoredGtmData(), "[]");
    EXPECT_TRUE(UserDefaultsUtils::getValueForKey(kGtmStorageKeyAbandonment));
    Logging::setSink({});
}

TEST(LoadingSpinner, ScreenLayoutByIdiomAndAnimationAcrossTheAppLifeCycle) {
    for (bool pad : {false, true}) {
        sim::SimulatedPlatform platform;
        platform.device().idiom_ = pad ? DeviceIdiom::Pad : DeviceIdiom::Phone;
        auto spinner = LoadingSpinnerViewController::initWithExitCallback([](bool) {});
        auto root = spinner->view();
        layoutViewTree(*root, {0, 0, 768, 1024});
        EXPECT_EQ(spinner->isIpad, pad);
        EXPECT_EQ(root->backgroundColor(), Color::white());
        auto close = spinner->closeButton;
        EXPECT_EQ(close->frame(), pad ? (Rect{700, 44, 44, 44}) : (Rect{708, 36, 44, 44}));
        EXPECT_EQ(close->imageEdgeInsets(), (EdgeInsets{14, 14, 14, 14}));
        EXPECT_EQ(close->accessibilityLabel(), "Cancel and return to merchant");
        EXPECT_EQ(close->image()->name, "close");
        auto frames = spinner->loadingImageView;
        EXPECT_EQ(frames->frame(), pad ? (Rect{309, 437, 150, 150}) : (Rect{334, 462, 100, 100}));
        EXPECT_EQ(frames->accessibilityLabel(), "Loading");
        EXPECT_EQ(frames->accessibilityTraits(), AccessibilityTraits::Image);
        ASSERT_EQ(frames->animationImages().size(), 260u);
        EXPECT_EQ(frames->animationImages()[259]->name, "square_animation259");
        EXPECT_EQ(frames->animationDuration(), static_cast<double>(10.4F));
        EXPECT_EQ(frames->animationRepeatCount(), 0);
        EXPECT_TRUE(frames->isAnimating());
        EXPECT_EQ(spinner->supportedInterfaceOrientations(), InterfaceOrientationMask::Portrait);

        auto& center = NotificationCenter::defaultCenter();
        center.post(NotificationName::ApplicationWillResignActive);
        EXPECT_FALSE(frames->isAnimating());
        center.post(NotificationName::ApplicationDidBecomeActive);
        center.post(NotificationName::ApplicationDidBecomeActive);
        EXPECT_TRUE(frames->isAnimating());
        spinner.reset();
        EXPECT_EQ(center.observerCount(NotificationName::ApplicationDidBecomeActive), 0u);
    }
}

TEST(LoadingSpinner, EachEndingReportsOneMeasurementAndCallsItsCreatorOnce) {
    struct Outcome {
        std::vector<std::string> delegateCalls;
        std::vector<std::string> creatorCalls;
    };
    // `cancel`: the user closes it; otherwise its creator takes it away after 1.5 s.
    auto run = [](bool withResultHandler, bool cancel) {
        sim::SimulatedPlatform platform;
        Outcome out;
        auto host = std::make_shared<ViewController>();
        auto spinner =
            withResultHandler
                ? LoadingSpinnerViewController::initWithResultHandler(
                      [&out](const TandriCheckoutResult& result) {
                          out.creatorCalls.push_back("result " + result.statusName());
                      })
                : LoadingSpinnerViewController::initWithExitCallback([&out](bool cancelled) {
                      out.creatorCalls.push_back(cancelled ? "exit cancelled" : "exit taken");
                  });
        auto delegate = std::make_shared<RecordingDelegate>();
        spinner->delegate = delegate;
        platform.clock().set(100);
        host->presentViewController(spinner, true);
        platform.mainQueue().drain();
        EXPECT_EQ(spinner->startTime, 100);
        platform.clock().advance(1.5);
        if (cancel) {
            spinner->closeButton->sendActions(ControlEvent::TouchUpInside);
        } else {
            host->dismissViewControllerAnimated(false);
        }
        platform.mainQueue().drain();
        EXPECT_EQ(host->presentedViewController(), nullptr);
        EXPECT_FALSE(spinner->isViewLoaded());
        out.delegateCalls = delegate->calls;
        return out;
    };

    auto resultCancel = run(true, true);
    EXPECT_EQ(resultCancel.creatorCalls, std::vector<std::string>{"result payment.cancel"});
    EXPECT_EQ(resultCancel.delegateCalls,
              (std::vector<std::string>{"abandon intentional", "load 100.0-101.5 after cancel"}));
    auto exitCancel = run(false, true);
    EXPECT_EQ(exitCancel.creatorCalls, std::vector<std::string>{"exit cancelled"});
    EXPECT_EQ(exitCancel.delegateCalls, resultCancel.delegateCalls);
    auto takenAway = run(false, false);
    EXPECT_EQ(takenAway.creatorCalls, std::vector<std::string>{"exit taken"});
    EXPECT_EQ(takenAway.delegateCalls, std::vector<std::string>{"load 100.0-101.5"});
    auto resultTakenAway = run(true, false);
    EXPECT_TRUE(resultTakenAway.creatorCalls.empty());
    EXPECT_EQ(resultTakenAway.delegateCalls, std::vector<std::string>{"load 100.0-101.5"});
}

TEST(LoadingSpinner, TheImagesDrawnAtBuildTimeAreTheLibrarysOwnOnLinux) {
    sim::SimulatedPlatform platform;
    Platform ports = Platform::current();
    ports.bundle =
        std::make_shared<linux_platform::DirectoryBundle>(TANDRI_RESOURCES_DIR, Dictionary{});
    ports.imageCodec = std::make_shared<linux_platform::StbImageCodec>();
    Platform::install(ports);
    auto spinner = LoadingSpinnerViewController::initWithExitCallback([](bool) {});
    spinner->view();
    const auto& frames = spinner->loadingImageView->animationImages();
    ASSERT_EQ(frames.size(), 260u);
    for (const auto& frame : frames) EXPECT_EQ(frame->size(), (Size{300, 300}));
    // The frames move: a quarter of the loop apart they differ.
    EXPECT_NE(frames[0]->rgba, frames[65]->rgba);
    EXPECT_EQ(spinner->closeButton->image()->size(), (Size{48, 48}));
}

TEST(LoadingSpinnerDeathTest, AMissingFrameEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            sim::SimulatedPlatform platform;
            platform.bundle().resources_.erase("square_animation137.png");
            LoadingSpinnerViewController::initWithExitCallback([](bool) {})->view();
        },
        "square_animation137");
}
