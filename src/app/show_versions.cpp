// Revert to Saved and Browse Versions… for the open shows.
#include <set>

#include "app/show_documents.h"
#include "app/version_browser.h"
#include "document/package_versions.h"

namespace brellow::app {

void ShowDocumentController::showReplaced(OpenShow& show, const std::vector<Uuid>& stingsBefore) {
    std::set<Uuid> now;
    for (const Sting& sting : allStings(show.document->show()))
        now.insert(sting.id);
    for (const Uuid& id : stingsBefore) {
        if (!now.contains(id)) show.engine.engine->unload(id);
    }
    if (show.window) {
        if (auto bridge = show.window->bridge()) bridge->sendStateSnapshot();
    }
    refreshTitle(show);
}

void ShowDocumentController::revertToSaved(OpenShow& show) {
    if (!show.document->package()) return;
    std::vector<Uuid> before;
    for (const Sting& sting : allStings(show.document->show()))
        before.push_back(sting.id);
    if (auto reverted = show.document->revertToSaved(); !reverted) {
        showError(show.window->window(), "The show could not be reverted.",
                  reverted.error().message);
        return;
    }
    showReplaced(show, before);
}

void ShowDocumentController::browseVersions(OpenShow& show) {
    if (!show.file) {
        showError(show.window->window(), "This show has no versions yet.",
                  "Versions are kept each time a saved show is saved again.");
        return;
    }
    auto versions = listVersions(*show.file);
    if (!versions) {
        showError(show.window->window(), "The versions could not be read.",
                  versions.error().message);
        return;
    }
    const auto chosen = chooseVersion(show.window->window(), displayName(show), *versions);
    if (!chosen) return;
    std::vector<Uuid> before;
    for (const Sting& sting : allStings(show.document->show()))
        before.push_back(sting.id);
    if (auto restored = show.document->restoreVersion(*show.file, *chosen); !restored) {
        showError(show.window->window(), "The version could not be restored.",
                  restored.error().message);
        return;
    }
    showReplaced(show, before);
    saveTo(show, *show.file);  // restoring is a save: the state it replaced becomes a version
}

}  // namespace brellow::app
