// The per-user records: what decodes, what does not, and the gates and telemetry bookkeeping.
#include <gtest/gtest.h>

#include "onboarding/onboarding.h"
#include "support/test_support.h"
#include "telemetry/telemetry.h"

namespace brellow {

using namespace onboarding;
using namespace telemetry;

TEST(AgreementRecord, RoundTripsAndRefusesAnythingButTheExactShape) {
    test::TempDir dir;
    FileAgreementStore store(dir / "support");  // the folder is made on construction
    EXPECT_FALSE(store.load());
    store.save({"1", 1767225600});
    EXPECT_EQ(store.load(), (Acceptance{"1", 1767225600}));
    EXPECT_EQ(test::readFile(store.fileURL()), R"({"acceptedAt":1767225600,"version":"1"})");
    for (const char* damaged : {R"({"version":"1"})", R"({"version":"1","acceptedAt":1.5})",
                                R"({"version":"1","acceptedAt":"1767225600"})",
                                R"({"version":1,"acceptedAt":1})", "[]", "{", ""}) {
        test::writeFile(store.fileURL(), damaged);
        EXPECT_FALSE(store.load()) << damaged;
    }
    test::writeFile(store.fileURL(), R"({"acceptedAt":5,"version":"1","extra":true})");
    EXPECT_EQ(store.load(), (Acceptance{"1", 5}));
}

TEST(AgreementRecord, TheGateAsksUntilThisExactVersionIsAccepted) {
    EXPECT_TRUE(EULAGate::needsAcceptance("1", std::nullopt));
    EXPECT_FALSE(EULAGate::needsAcceptance("1", Acceptance{"1", 0}));
    EXPECT_TRUE(EULAGate::needsAcceptance("1", Acceptance{"1 ", 0}));
    EXPECT_TRUE(EULAGate::needsAcceptance("1", Acceptance{"2", 0}));
    InMemoryAgreementStore memory;
    memory.save({"1", 7});
    EXPECT_EQ(memory.load(), (Acceptance{"1", 7}));
}

TEST(OnboardingRecord, OnlyAbsenceStartsTheTutorialAndClearBringsItBack) {
    test::TempDir dir;
    FileOnboardingStore store(dir.path());
    store.clear();  // no file yet: no error
    EXPECT_TRUE(TourGate::shouldAutoStart(store.load()));
    store.save({"1", false, false});
    EXPECT_FALSE(TourGate::shouldAutoStart(store.load()));
    EXPECT_EQ(store.load(), (OnboardingRecord{"1", false, false}));
    test::writeFile(store.fileURL(), R"({"version":"1","completed":true})");
    EXPECT_TRUE(TourGate::shouldAutoStart(store.load()));
    store.save({"1", true, false});
    store.clear();
    EXPECT_FALSE(store.load());
    InMemoryOnboardingStore memory({{"1", false, true}});
    memory.clear();
    EXPECT_FALSE(memory.load());
}

namespace {
struct CountingProvider final : TelemetryProvider {
    void start() override { ++starts; }
    void stop() override { ++stops; }
    void record(const std::string& event) override { events.push_back(event); }
    int starts = 0, stops = 0;
    std::vector<std::string> events;
};
}  // namespace

TEST(Telemetry, TheBackEndRunsAndHearsEventsOnlyWhileOptedIn) {
    test::TempDir dir;
    auto store = std::make_shared<FileTelemetryStore>(dir.path());
    auto provider = std::make_shared<CountingProvider>();
    TelemetryController controller(store, provider);
    EXPECT_FALSE(controller.isEnabled());
    controller.startIfEnabled();
    controller.record("tour_completed");
    EXPECT_EQ(provider->starts, 0);
    EXPECT_TRUE(provider->events.empty());

    controller.setEnabled(false);  // never started: saved, but no stop
    EXPECT_EQ(provider->stops, 0);
    EXPECT_EQ(test::readFile(store->fileURL()), R"({"enabled":false})");
    controller.setEnabled(true);
    controller.setEnabled(true);
    EXPECT_EQ(provider->starts, 1);
    controller.record("tour_skipped");
    controller.setEnabled(false);
    controller.record("tour_completed");
    EXPECT_EQ(provider->events, std::vector<std::string>{"tour_skipped"});
    EXPECT_EQ(provider->stops, 1);

    TelemetryController nextRun(std::make_shared<InMemoryTelemetryStore>(TelemetrySettings{true}),
                                provider);
    nextRun.startIfEnabled();
    nextRun.startIfEnabled();
    EXPECT_EQ(provider->starts, 2);
    test::writeFile(store->fileURL(), R"({"enabled":"yes"})");
    EXPECT_FALSE(controller.isEnabled());
}

}  // namespace brellow
