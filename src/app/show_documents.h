#pragma once
// The document controller: every open show with its engine and window; New, Open, Save,
// Save As and Close; autosaving a second after each change; and the recovery copies that keep
// untitled shows safe until they are saved or thrown away.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/app_context.h"
#include "app/show_window.h"
#include "audio/engine/live_engine.h"
#include "base/log.h"
#include "base/result.h"
#include "document/autosaver.h"
#include "document/show_document.h"

namespace brellow::app {

struct OpenShow {
    std::shared_ptr<ShowDocument> document;
    audio::LiveEngine engine;
    std::optional<std::filesystem::path> file;  // the package it is saved to, once it has one
    std::filesystem::path recoveryPackage;      // where it is autosaved while it has none
    bool recovered = false;                     // reopened from a recovery copy
    std::optional<std::filesystem::path> recoveredFrom;  // the titled show it was a copy of
    std::string shownSaveFailure;                        // the failure the page was told of
    std::optional<CopyProgress> copying;  // media still coming from another file system
    std::unique_ptr<ShowWindow> window;
    std::unique_ptr<Autosaver> autosaver;  // in place, or to the recovery copy
};

/// A name for a package: "Gala" for ".../Gala.stingshow".
std::string packageDisplayName(const std::filesystem::path& package);

/// `path` with ".stingshow" added when it does not end in it.
std::filesystem::path withPackageExtension(std::filesystem::path path);

class ShowDocumentController final : public ShowWindowDelegate {
  public:
    explicit ShowDocumentController(AppContext& context);
    ~ShowDocumentController() override;
    ShowDocumentController(const ShowDocumentController&) = delete;
    ShowDocumentController& operator=(const ShowDocumentController&) = delete;

    /// Opens a package, or brings its window forward when it is open already.
    Result<OpenShow*, std::string> openPackage(const std::filesystem::path& package);
    OpenShow& newUntitled();
    /// "Open Show…": asks for a package, then opens it; failures are shown in a dialog.
    void chooseAndOpen(GtkWindow* parent);
    /// Offers the recovery copies left by an earlier run; reopens or discards them.
    void offerRecoveredShows();
    /// The show whose window has the focus, if any.
    OpenShow* current();
    const std::vector<std::unique_ptr<OpenShow>>& shows() const { return shows_; }
    /// Before quitting: every show is saved where it belongs (untitled ones as recovery
    /// copies, offered again at the next start). A show that cannot be saved asks what to do;
    /// false when the user cancelled the quit.
    bool saveAllForQuit();
    /// When the session ends (SIGTERM, logout): no questions. Every show is saved where it
    /// belongs; one that cannot be is kept as a recovery copy, offered at the next start.
    void keepEverythingForSessionEnd();
    /// "Revert to Saved": drops the unsaved edits of the focused show.
    void revertToSaved(OpenShow& show);
    /// "Browse Versions…": lists the kept versions and restores the chosen one.
    void browseVersions(OpenShow& show);

    void windowWantsClose(ShowWindow& window) override;
    void windowWantsSave(ShowWindow& window) override;
    void windowWantsSaveAs(ShowWindow& window) override;

    /// Shows an error dialog over `parent` (or on its own).
    static void showError(GtkWindow* parent, const std::string& primary,
                          const std::string& secondary);

  private:
    OpenShow& adopt(std::unique_ptr<OpenShow> show);
    OpenShow* find(const ShowWindow& window);
    bool saveTo(OpenShow& show, const std::filesystem::path& destination);
    Result<void, DocumentError> saveQuietly(OpenShow& show,
                                            const std::filesystem::path& destination);
    /// Saves a show that has edits; when that fails, asks. True when the caller may go on
    /// (saved, or the user discarded the edits); after "Save Elsewhere…" the save runs
    /// `afterSavingElsewhere` itself once it succeeded, and false is returned.
    bool saveOrAsk(OpenShow& show, const std::function<void()>& afterSavingElsewhere);
    void reportSaveFailure(OpenShow& show, const DocumentError& error);
    void tellAboutLostWorkingFiles(OpenShow& show);
    /// After the show was replaced in memory: the engine and the page follow.
    void showReplaced(OpenShow& show, const std::vector<Uuid>& stingsBefore);
    std::string displayName(const OpenShow& show) const;
    void saveAs(OpenShow& show, const std::function<void()>& afterSaving);
    void close(OpenShow& show);
    void discard(OpenShow& show);
    void refreshTitle(OpenShow& show);
    static bool hasUnsavedContent(const OpenShow& show);

    AppContext& context_;
    std::vector<std::unique_ptr<OpenShow>> shows_;
    Logger log_{"ShowDocument"};
};

}  // namespace brellow::app
