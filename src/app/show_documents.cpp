#include "app/show_documents.h"

#include <algorithm>

#include "app/save_dialogs.h"

#include "base/files.h"
#include "base/main_context.h"
#include "base/text.h"
#include "base/user_dirs.h"
#include "base/uuid.h"
#include "document/sting_loading.h"

namespace brellow::app {

namespace {

constexpr const char* kPackageExtension = ".stingshow";
// Beside a recovery copy of a titled show: the path of the show it was copied from.
constexpr const char* kOriginSuffix = ".origin";

std::filesystem::path originNoteOf(const std::filesystem::path& recoveryPackage) {
    return recoveryPackage.string() + kOriginSuffix;
}

std::filesystem::path normalised(const std::filesystem::path& path) {
    std::error_code error;
    auto canonical = std::filesystem::weakly_canonical(path, error);
    return error ? path.lexically_normal() : canonical;
}

}  // namespace

std::string packageDisplayName(const std::filesystem::path& package) {
    auto name = package.filename();
    if (name.empty()) name = package.parent_path().filename();
    return name.stem().string();
}

std::filesystem::path withPackageExtension(std::filesystem::path path) {
    if (!endsWith(path.filename().string(), kPackageExtension)) path += kPackageExtension;
    return path;
}

ShowDocumentController::ShowDocumentController(AppContext& context) : context_(context) {}

ShowDocumentController::~ShowDocumentController() = default;

OpenShow& ShowDocumentController::adopt(std::unique_ptr<OpenShow> show) {
    show->autosaver = std::make_unique<Autosaver>(show->document,
                                                  show->file ? *show->file : show->recoveryPackage);
    OpenShow* held = show.get();
    show->autosaver->onChange = [this, held] {
        if (!held->autosaver->lastFailure()) held->shownSaveFailure.clear();
        tellAboutLostWorkingFiles(*held);
        refreshTitle(*held);
    };
    show->autosaver->onSaveFailed = [this, held](const DocumentError& error) {
        tellAboutLostWorkingFiles(*held);
        reportSaveFailure(*held, error);
    };
    show->window = std::make_unique<ShowWindow>(context_, *this, show->document, show->engine);
    shows_.push_back(std::move(show));
    OpenShow& adopted = *shows_.back();
    refreshTitle(adopted);
    adopted.window->present();
    return adopted;
}

Result<OpenShow*, std::string> ShowDocumentController::openPackage(
    const std::filesystem::path& package) {
    const auto wanted = normalised(package);
    for (auto& show : shows_) {
        if (show->file && normalised(*show->file) == wanted) {
            show->window->present();
            return show.get();
        }
    }
    auto show = std::make_unique<OpenShow>();
    show->document = std::make_shared<ShowDocument>();
    show->engine = audio::makeLiveEngine();
    loadStingsOnOpen(*show->document, show->engine.engine);
    // From another file system the media are copied while the window is already up; the
    // title counts them in.
    // The show is looked up on each report: it may have been closed meanwhile.
    const ShowDocument* opening = show->document.get();
    show->document->copyMediaInBackground([this, opening](const CopyProgress& progress) {
        for (auto& open : shows_) {
            if (open->document.get() != opening) continue;
            open->copying = progress;
            if (progress.finished()) open->copying.reset();
            refreshTitle(*open);
        }
    });
    if (auto read = show->document->read(wanted); !read) return fail(read.error().message);
    show->file = wanted;
    return &adopt(std::move(show));
}

OpenShow& ShowDocumentController::newUntitled() {
    auto show = std::make_unique<OpenShow>();
    show->document = std::make_shared<ShowDocument>();
    show->engine = audio::makeLiveEngine();
    show->recoveryPackage = recoveryFolder() / (Uuid::generate().toString() + kPackageExtension);
    return adopt(std::move(show));
}

void ShowDocumentController::offerRecoveredShows() {
    std::vector<std::filesystem::path> packages;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(recoveryFolder(), error)) {
        if (entry.is_directory() && endsWith(entry.path().filename().string(), kPackageExtension))
            packages.push_back(entry.path());
    }
    if (packages.empty()) return;
    std::sort(packages.begin(), packages.end());
    GtkWidget* dialog = gtk_message_dialog_new(
        nullptr, GTK_DIALOG_MODAL, GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE,
        packages.size() == 1 ? "Reopen the show kept when Brellow last ended?"
                             : "Reopen the %zu shows kept when Brellow last ended?",
        packages.size());
    gtk_message_dialog_format_secondary_text(
        GTK_MESSAGE_DIALOG(dialog),
        "They had not been saved where they belong. Reopen them to save them, or discard them.");
    gtk_dialog_add_buttons(GTK_DIALOG(dialog), "Discard", GTK_RESPONSE_REJECT, "Reopen",
                           GTK_RESPONSE_ACCEPT, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_ACCEPT);
    const bool reopen = gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_ACCEPT;
    gtk_widget_destroy(dialog);
    for (const auto& package : packages) {
        const auto origin = readRegularFile(originNoteOf(package), 4096);
        if (!reopen) {
            removeTreeQuietly(package);
            std::filesystem::remove(originNoteOf(package), error);
            continue;
        }
        auto show = std::make_unique<OpenShow>();
        show->document = std::make_shared<ShowDocument>();
        show->engine = audio::makeLiveEngine();
        loadStingsOnOpen(*show->document, show->engine.engine);
        if (auto read = show->document->read(package); !read) {
            log_.error("Recovered show unreadable: %s", read.error().message.c_str());
            continue;  // left in place, untouched
        }
        show->recoveryPackage = package;
        show->recovered = true;
        if (origin) show->recoveredFrom = std::filesystem::path(*origin);
        adopt(std::move(show));
    }
}

void ShowDocumentController::chooseAndOpen(GtkWindow* parent) {
    GtkFileChooserNative* chooser = gtk_file_chooser_native_new(
        "Open Show", parent, GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER, "_Open", "_Cancel");
    GtkFileFilter* filter = gtk_file_filter_new();
    gtk_file_filter_set_name(filter, "Brellow shows");
    gtk_file_filter_add_pattern(filter, "*.stingshow");
    gtk_file_chooser_add_filter(GTK_FILE_CHOOSER(chooser), filter);
    const bool accepted = gtk_native_dialog_run(GTK_NATIVE_DIALOG(chooser)) == GTK_RESPONSE_ACCEPT;
    gchar* chosen = accepted ? gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(chooser)) : nullptr;
    g_object_unref(chooser);
    if (chosen == nullptr) return;
    const std::filesystem::path package(chosen);
    g_free(chosen);
    if (auto opened = openPackage(package); !opened) {
        log_.error("openDocument failed: %s", opened.error().c_str());
        showError(parent, "The show “" + packageDisplayName(package) + "” could not be opened.",
                  opened.error());
    }
}

OpenShow* ShowDocumentController::current() {
    GtkWindow* active = gtk_application_get_active_window(context_.application);
    for (auto& show : shows_) {
        if (show->window && show->window->window() == active) return show.get();
    }
    return nullptr;
}

OpenShow* ShowDocumentController::find(const ShowWindow& window) {
    for (auto& show : shows_) {
        if (show->window.get() == &window) return show.get();
    }
    return nullptr;
}

Result<void, DocumentError> ShowDocumentController::saveQuietly(
    OpenShow& show, const std::filesystem::path& destination) {
    std::error_code ignored;  // a missing parent folder is reported by the save itself
    std::filesystem::create_directories(destination.parent_path(), ignored);
    auto saved = show.document->save(destination);
    if (!saved) {
        log_.error("Saving %s failed: %s", destination.c_str(), saved.error().message.c_str());
    }
    return saved;
}

bool ShowDocumentController::saveTo(OpenShow& show, const std::filesystem::path& destination) {
    if (auto saved = saveQuietly(show, destination); !saved) {
        showError(show.window ? show.window->window() : nullptr, "The show could not be saved.",
                  saved.error().message);
        return false;
    }
    show.shownSaveFailure.clear();
    refreshTitle(show);
    return true;
}

void ShowDocumentController::reportSaveFailure(OpenShow& show, const DocumentError& error) {
    refreshTitle(show);
    // The system's reason, without the hidden staging path that differs on every try.
    const std::string reason = error.kind == DocumentError::Kind::io
                                   ? std::string(g_strerror(static_cast<int>(error.code)))
                                   : error.message;
    if (show.shownSaveFailure == reason || !show.window) return;
    show.shownSaveFailure = reason;
    const auto folder = (show.file ? *show.file : show.recoveryPackage).parent_path();
    if (auto bridge = show.window->bridge()) {
        bridge->sendEvent(
            {{"type", "toast"},
             {"message", "“" + displayName(show) + "” can't be saved in " + folder.string() + ": " +
                             reason + ". Brellow keeps trying; Save As… puts it elsewhere."}});
    }
}

void ShowDocumentController::tellAboutLostWorkingFiles(OpenShow& show) {
    const std::string notice = show.document->takeWorkingFolderNotice();
    if (notice.empty() || !show.window) return;
    if (auto bridge = show.window->bridge()) {
        bridge->sendEvent({{"type", "toast"}, {"message", notice}});
    }
}

bool ShowDocumentController::saveOrAsk(OpenShow& show,
                                       const std::function<void()>& afterSavingElsewhere) {
    const std::filesystem::path destination = show.file ? *show.file : show.recoveryPackage;
    auto saved = saveQuietly(show, destination);
    if (saved) return true;
    GtkWindow* parent = show.window ? show.window->window() : nullptr;
    switch (askWhatToDoWithUnsaveableShow(parent, displayName(show), saved.error().message)) {
        case UnsaveableChoice::saveElsewhere:
            saveAs(show, afterSavingElsewhere);
            return false;  // the save runs its own course; the caller stops here
        case UnsaveableChoice::discard:
            return true;
        case UnsaveableChoice::cancel:
            break;
    }
    return false;
}

void ShowDocumentController::saveAs(OpenShow& show, const std::function<void()>& afterSaving) {
    GtkFileChooserNative* chooser = gtk_file_chooser_native_new(
        "Save Show", show.window->window(), GTK_FILE_CHOOSER_ACTION_SAVE, "_Save", "_Cancel");
    const std::string name = displayName(show);
    gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(chooser),
                                      (name + kPackageExtension).c_str());
    gtk_file_chooser_set_do_overwrite_confirmation(GTK_FILE_CHOOSER(chooser), TRUE);
    const bool accepted = gtk_native_dialog_run(GTK_NATIVE_DIALOG(chooser)) == GTK_RESPONSE_ACCEPT;
    gchar* chosen = accepted ? gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(chooser)) : nullptr;
    g_object_unref(chooser);
    if (chosen == nullptr) return;
    const auto destination = withPackageExtension(chosen);
    g_free(chosen);
    // The chooser asks only when the exact name it was given exists; the extension may have
    // been added here. The replaced show stays whole until the new one is in place.
    std::error_code error;
    const bool replacing = std::filesystem::exists(destination, error) &&
                           !(show.file && normalised(*show.file) == normalised(destination));
    if (replacing &&
        !confirmReplacingShow(show.window->window(), packageDisplayName(destination))) {
        return;
    }
    if (!saveTo(show, destination)) return;
    if (!show.file) {
        removeTreeQuietly(show.recoveryPackage);
        std::filesystem::remove(originNoteOf(show.recoveryPackage), error);
    }
    show.recoveredFrom.reset();
    show.file = normalised(destination);
    show.autosaver->setDestination(*show.file);
    show.recovered = false;
    refreshTitle(show);
    if (afterSaving) afterSaving();
}

void ShowDocumentController::windowWantsSave(ShowWindow& window) {
    OpenShow* show = find(window);
    if (show == nullptr) return;
    if (show->file) {
        saveTo(*show, *show->file);
    } else {
        saveAs(*show, {});
    }
}

void ShowDocumentController::windowWantsSaveAs(ShowWindow& window) {
    if (OpenShow* show = find(window)) saveAs(*show, {});
}

bool ShowDocumentController::hasUnsavedContent(const OpenShow& show) {
    return !show.file && (show.recovered || show.document->changeCount() > 0);
}

void ShowDocumentController::windowWantsClose(ShowWindow& window) {
    OpenShow* show = find(window);
    if (show == nullptr) return;
    if (show->file) {
        if (show->document->isEdited() && !saveOrAsk(*show, [this, show] { close(*show); })) {
            return;
        }
        close(*show);
        return;
    }
    if (!hasUnsavedContent(*show)) {
        discard(*show);
        return;
    }
    GtkWidget* dialog =
        gtk_message_dialog_new(window.window(), GTK_DIALOG_MODAL, GTK_MESSAGE_WARNING,
                               GTK_BUTTONS_NONE, "Save the untitled show before closing it?");
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog),
                                             "If you don't save it, its stings are lost.");
    gtk_dialog_add_buttons(GTK_DIALOG(dialog), "Don't Save", GTK_RESPONSE_REJECT, "Cancel",
                           GTK_RESPONSE_CANCEL, "Save…", GTK_RESPONSE_ACCEPT, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_ACCEPT);
    const int answer = gtk_dialog_run(GTK_DIALOG(dialog));
    gtk_widget_destroy(dialog);
    if (answer == GTK_RESPONSE_REJECT) {
        discard(*show);
    } else if (answer == GTK_RESPONSE_ACCEPT) {
        saveAs(*show, [this, show] { close(*show); });
    }
}

void ShowDocumentController::discard(OpenShow& show) {
    if (!show.file) {
        removeTreeQuietly(show.recoveryPackage);
        std::error_code ignored;
        std::filesystem::remove(originNoteOf(show.recoveryPackage), ignored);
    }
    close(show);
}

void ShowDocumentController::close(OpenShow& show) {
    // The window is destroyed after the signal that asked for the close has returned.
    gtk_widget_hide(GTK_WIDGET(show.window->window()));
    OpenShow* closing = &show;
    postToMainContext([this, closing] {
        const auto it = std::find_if(shows_.begin(), shows_.end(),
                                     [closing](const auto& open) { return open.get() == closing; });
        if (it != shows_.end()) shows_.erase(it);
    });
}

std::string ShowDocumentController::displayName(const OpenShow& show) const {
    if (show.file) return packageDisplayName(*show.file);
    if (show.recoveredFrom) return packageDisplayName(*show.recoveredFrom) + " (recovered)";
    return "Untitled";
}

void ShowDocumentController::refreshTitle(OpenShow& show) {
    if (!show.window) return;
    std::string name = displayName(show);
    if (show.autosaver && show.autosaver->lastFailure()) name += " — not saved";
    if (show.copying) {
        name += " — copying audio " + std::to_string(show.copying->filesDone) + "/" +
                std::to_string(show.copying->filesTotal);
    }
    const bool edited = show.file ? show.document->isEdited() : hasUnsavedContent(show);
    show.window->setDocumentTitle(name, edited);
}

bool ShowDocumentController::saveAllForQuit() {
    for (auto& show : shows_) {
        const bool needsSaving = show->file ? show->document->isEdited() : hasUnsavedContent(*show);
        bool savedElsewhere = false;
        if (needsSaving && !saveOrAsk(*show, [&savedElsewhere] { savedElsewhere = true; }) &&
            !savedElsewhere) {
            return false;
        }
    }
    return true;
}

void ShowDocumentController::keepEverythingForSessionEnd() {
    for (auto& show : shows_) {
        if (show->file) {
            if (!show->document->isEdited() || saveQuietly(*show, *show->file)) continue;
            // Where it belongs is out of reach: keep it with the untitled ones' copies.
            const auto copy = recoveryFolder() / (Uuid::generate().toString() + kPackageExtension);
            if (saveQuietly(*show, copy)) {
                (void)replaceFileAtomically(originNoteOf(copy), show->file->string());
                log_.notice("Kept a recovery copy of %s", show->file->c_str());
            }
        } else if (hasUnsavedContent(*show)) {
            (void)saveQuietly(*show, show->recoveryPackage);
            if (show->recoveredFrom) {
                (void)replaceFileAtomically(originNoteOf(show->recoveryPackage),
                                            show->recoveredFrom->string());
            }
        }
    }
}

void ShowDocumentController::showError(GtkWindow* parent, const std::string& primary,
                                       const std::string& secondary) {
    GtkWidget* dialog = gtk_message_dialog_new(parent, GTK_DIALOG_MODAL, GTK_MESSAGE_ERROR,
                                               GTK_BUTTONS_OK, "%s", primary.c_str());
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "%s", secondary.c_str());
    gtk_dialog_run(GTK_DIALOG(dialog));
    gtk_widget_destroy(dialog);
}

}  // namespace brellow::app
