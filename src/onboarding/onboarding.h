#pragma once
// The per-user agreement acceptance and tutorial records, their stores, and the gates that
// decide whether the agreement is asked for and whether the tutorial starts by itself.
#include <cstdint>
#include <optional>
#include <string>

#include "base/record_file.h"

namespace brellow::onboarding {

struct Acceptance {
    std::string version;      // the agreement version accepted; the application writes "1"
    std::int64_t acceptedAt;  // seconds since 1970-01-01 00:00 UTC
    friend bool operator==(const Acceptance&, const Acceptance&) = default;
};

struct OnboardingRecord {
    std::string version;  // the tutorial version; the application writes "1"
    bool completed;
    bool skipped;
    friend bool operator==(const OnboardingRecord&, const OnboardingRecord&) = default;
};

inline constexpr const char* kAgreementFile = "agreement.json";
inline constexpr const char* kOnboardingFile = "onboarding.json";
inline constexpr const char* kCurrentAgreementVersion = "1";

class AgreementStore {
  public:
    virtual ~AgreementStore() = default;
    virtual std::optional<Acceptance> load() const = 0;
    virtual void save(const Acceptance& acceptance) = 0;
};

class FileAgreementStore final : public AgreementStore {
  public:
    FileAgreementStore(const std::filesystem::path& directory,
                       const std::string& fileName = kAgreementFile)
        : file_(directory, fileName) {}
    const std::filesystem::path& fileURL() const { return file_.fileURL(); }
    std::optional<Acceptance> load() const override;
    void save(const Acceptance& acceptance) override;

  private:
    RecordFile file_;
};

class InMemoryAgreementStore final : public AgreementStore {
  public:
    explicit InMemoryAgreementStore(std::optional<Acceptance> acceptance = std::nullopt)
        : acceptance_(std::move(acceptance)) {}
    std::optional<Acceptance> load() const override { return acceptance_; }
    void save(const Acceptance& acceptance) override { acceptance_ = acceptance; }

  private:
    std::optional<Acceptance> acceptance_;
};

class OnboardingStore {
  public:
    virtual ~OnboardingStore() = default;
    virtual std::optional<OnboardingRecord> load() const = 0;
    virtual void save(const OnboardingRecord& record) = 0;
    virtual void clear() = 0;
};

class FileOnboardingStore final : public OnboardingStore {
  public:
    FileOnboardingStore(const std::filesystem::path& directory,
                        const std::string& fileName = kOnboardingFile)
        : file_(directory, fileName) {}
    const std::filesystem::path& fileURL() const { return file_.fileURL(); }
    std::optional<OnboardingRecord> load() const override;
    void save(const OnboardingRecord& record) override;
    void clear() override { file_.remove(); }

  private:
    RecordFile file_;
};

class InMemoryOnboardingStore final : public OnboardingStore {
  public:
    explicit InMemoryOnboardingStore(std::optional<OnboardingRecord> record = std::nullopt)
        : record_(std::move(record)) {}
    std::optional<OnboardingRecord> load() const override { return record_; }
    void save(const OnboardingRecord& record) override { record_ = record; }
    void clear() override { record_.reset(); }

  private:
    std::optional<OnboardingRecord> record_;
};

namespace EULAGate {
/// True when nothing is stored or the stored version is not exactly `currentVersion`.
bool needsAcceptance(const std::string& currentVersion, const std::optional<Acceptance>& stored);
}  // namespace EULAGate

namespace TourGate {
/// True exactly when no tutorial record is stored, whatever a stored one says.
bool shouldAutoStart(const std::optional<OnboardingRecord>& stored);
}  // namespace TourGate

}  // namespace brellow::onboarding
