#pragma once
// The update checker the application holds: background checks once a day while automatic
// checks are on, a check the user asks for, and the answer about channels. Automatic checks
// start only with the user's consent: the second launch asks once (the first is for getting to
// know the program), and the settings can change the answer later. Results go to a presenter;
// nothing is ever downloaded.
#include <cstdint>
#include <filesystem>
#include <functional>
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
    /// Asks whether to check automatically; `answer` is called at most once.
    virtual void askAboutAutomaticChecks(std::function<void(bool)> answer) = 0;
};

class UpdaterController {
  public:
    /// `supportFolder` keeps "updates.json" (the automatic-check choice, the last check, the
    /// number of launches).
    UpdaterController(UpdatesConfig config, std::shared_ptr<UpdatePresenter> presenter,
                      const std::filesystem::path& supportFolder);
    ~UpdaterController();
    UpdaterController(const UpdaterController&) = delete;
    UpdaterController& operator=(const UpdaterController&) = delete;

    /// Counts a launch, asks about automatic checks on the second one when there is no answer
    /// yet, and starts the background schedule on the main context.
    void start();
    void checkForUpdates();
    /// Off until the user has said yes.
    bool automaticallyChecksForUpdates() const;
    /// Whether the user has answered (in the question or the settings).
    bool hasAutomaticChecksAnswer() const;
    void setAutomaticallyChecksForUpdates(bool enabled);
    std::set<std::string> allowedChannels() const { return updates::allowedChannels(config_); }

    static constexpr std::int64_t kCheckIntervalSec = std::int64_t{24} * 3600;
    /// The launch that asks about automatic checks.
    static constexpr std::int64_t kAskOnLaunch = 2;

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
