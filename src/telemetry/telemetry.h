#pragma once
// The user's telemetry opt-in and the controller that starts, stops and feeds a telemetry back
// end only while the user has opted in. The back end Brellow ships does nothing at all.
#include <memory>
#include <optional>
#include <string>

#include "base/record_file.h"

namespace brellow::telemetry {

struct TelemetrySettings {
    bool enabled;
    friend bool operator==(const TelemetrySettings&, const TelemetrySettings&) = default;
};

inline constexpr const char* kTelemetryFile = "telemetry.json";

class TelemetryStore {
  public:
    virtual ~TelemetryStore() = default;
    virtual std::optional<TelemetrySettings> load() const = 0;
    virtual void save(const TelemetrySettings& settings) = 0;
};

class FileTelemetryStore final : public TelemetryStore {
  public:
    FileTelemetryStore(const std::filesystem::path& directory,
                       const std::string& fileName = kTelemetryFile)
        : file_(directory, fileName) {}
    const std::filesystem::path& fileURL() const { return file_.fileURL(); }
    std::optional<TelemetrySettings> load() const override;
    void save(const TelemetrySettings& settings) override {
        file_.save({{"enabled", settings.enabled}});
    }

  private:
    RecordFile file_;
};

class InMemoryTelemetryStore final : public TelemetryStore {
  public:
    explicit InMemoryTelemetryStore(std::optional<TelemetrySettings> settings = std::nullopt)
        : settings_(settings) {}
    std::optional<TelemetrySettings> load() const override { return settings_; }
    void save(const TelemetrySettings& settings) override { settings_ = settings; }

  private:
    std::optional<TelemetrySettings> settings_;
};

class TelemetryProvider {
  public:
    virtual ~TelemetryProvider() = default;
    virtual void start() = 0;
    virtual void stop() = 0;
    virtual void record(const std::string& event) = 0;
};

/// Collects nothing and sends nothing.
class NoopTelemetryProvider final : public TelemetryProvider {
  public:
    void start() override {}
    void stop() override {}
    void record(const std::string&) override {}
};

class TelemetryController {
  public:
    TelemetryController(std::shared_ptr<TelemetryStore> store,
                        std::shared_ptr<TelemetryProvider> provider)
        : store_(std::move(store)), provider_(std::move(provider)) {}

    /// Read from the store every time, so a change applies to the very next event.
    bool isEnabled() const;
    void setEnabled(bool enabled);
    void startIfEnabled();
    void record(const std::string& event);

  private:
    std::shared_ptr<TelemetryStore> store_;
    std::shared_ptr<TelemetryProvider> provider_;
    bool started_ = false;
};

}  // namespace brellow::telemetry
