#include "onboarding/onboarding.h"

namespace brellow::onboarding {

std::optional<Acceptance> FileAgreementStore::load() const {
    const auto object = file_.load();
    if (!object) return std::nullopt;
    const auto version = requiredString(*object, "version");
    const auto acceptedAt = requiredInteger(*object, "acceptedAt");
    if (!version || !acceptedAt) return std::nullopt;
    return Acceptance{*version, *acceptedAt};
}

void FileAgreementStore::save(const Acceptance& acceptance) {
    file_.save({{"version", acceptance.version}, {"acceptedAt", acceptance.acceptedAt}});
}

std::optional<OnboardingRecord> FileOnboardingStore::load() const {
    const auto object = file_.load();
    if (!object) return std::nullopt;
    const auto version = requiredString(*object, "version");
    const auto completed = requiredBool(*object, "completed");
    const auto skipped = requiredBool(*object, "skipped");
    if (!version || !completed || !skipped) return std::nullopt;
    return OnboardingRecord{*version, *completed, *skipped};
}

void FileOnboardingStore::save(const OnboardingRecord& record) {
    file_.save({{"version", record.version},
                {"completed", record.completed},
                {"skipped", record.skipped}});
}

bool EULAGate::needsAcceptance(const std::string& currentVersion,
                               const std::optional<Acceptance>& stored) {
    return !stored || stored->version != currentVersion;
}

bool TourGate::shouldAutoStart(const std::optional<OnboardingRecord>& stored) {
    return !stored.has_value();
}

}  // namespace brellow::onboarding
