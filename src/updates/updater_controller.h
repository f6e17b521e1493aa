#pragma once
// The update checker the application holds: background checks once a day while automatic
// checks are on (the default), a check the user asks for, and the answer about channels.
// Results go to a presenter, which the shell shows as a dialog; nothing is ever downloaded.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>

#include "base/record_file.h"
#include "updates/update_checker.h"

namespace brellow::updates {

class UpdatePresenter {
  public:
    virtual ~UpdatePresenter() = default;
    /// A background check reports only a found update; a check the user asked for, anything.
    virtual void presentUpdateResult(const UpdateResult& result, bool userInitiated) = 0;
};

class UpdaterController {
  public:
    /// `supportFolder` keeps "updates.json" (the automatic-check choice, the last check).
    UpdaterController(UpdatesConfig config, std::shared_ptr<UpdatePresenter> presenter,
                      const std::filesystem::path& supportFolder);
    ~UpdaterController();
    UpdaterController(const UpdaterController&) = delete;
    UpdaterController& operator=(const UpdaterController&) = delete;

    /// Starts the background schedule on the main context.
    void start();
    void checkForUpdates();
    bool automaticallyChecksForUpdates() const;
    void setAutomaticallyChecksForUpdates(bool enabled);
    std::set<std::string> allowedChannels() const { return updates::allowedChannels(config_); }

    static constexpr std::int64_t kCheckIntervalSec = std::int64_t{24} * 3600;

  private:
    void checkIfDue();
    void check(bool userInitiated);

    UpdatesConfig config_;
    std::shared_ptr<UpdatePresenter> presenter_;
    RecordFile state_;
    unsigned timer_ = 0;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace brellow::updates
