#include "app/drop_target.h"

#include <gio/gio.h>

#include <memory>

#include "base/log.h"
#include "base/main_context.h"
#include "base/text.h"
#include "media/sting_importer.h"

namespace brellow::app {

namespace {

// What one web view's drop target knows about the drag in progress.
struct DropState {
    DropHandler onDrop;
    bool dropping = false;
    Logger log{"DropCatcherView"};
};

bool isExternalFileDrag(GtkWidget*, GdkDragContext* context) {
    if (gtk_drag_get_source_widget(context) != nullptr) return false;  // a drag inside the page
    GdkAtom uriList = gdk_atom_intern_static_string("text/uri-list");
    return g_list_find(gdk_drag_context_list_targets(context), uriList) != nullptr;
}

std::vector<std::string> urisOf(GtkSelectionData* data) {
    std::vector<std::string> uris;
    gchar** list = gtk_selection_data_get_uris(data);
    for (gchar** uri = list; uri != nullptr && *uri != nullptr; ++uri)
        uris.emplace_back(*uri);
    g_strfreev(list);
    return uris;
}

gboolean onMotion(GtkWidget* widget, GdkDragContext* context, gint, gint, guint time, DropState*) {
    if (!isExternalFileDrag(widget, context)) return FALSE;
    // The answer needs the file list; it arrives in drag-data-received.
    gtk_drag_get_data(widget, context, gdk_atom_intern_static_string("text/uri-list"), time);
    return TRUE;
}

gboolean onDropSignal(GtkWidget* widget, GdkDragContext* context, gint, gint, guint time,
                      DropState* state) {
    if (!isExternalFileDrag(widget, context)) return FALSE;
    state->dropping = true;
    gtk_drag_get_data(widget, context, gdk_atom_intern_static_string("text/uri-list"), time);
    return TRUE;
}

void onLeave(GtkWidget* widget, GdkDragContext* context, guint, DropState*) {
    if (!isExternalFileDrag(widget, context)) return;
    g_signal_stop_emission_by_name(widget, "drag-leave");
}

void onDataReceived(GtkWidget* widget, GdkDragContext* context, gint, gint, GtkSelectionData* data,
                    guint, guint time, DropState* state) {
    if (!isExternalFileDrag(widget, context)) return;
    g_signal_stop_emission_by_name(widget, "drag-data-received");
    const auto uris = urisOf(data);
    if (!state->dropping) {
        gdk_drag_status(context, acceptsDrag(uris) ? GDK_ACTION_COPY : GdkDragAction(0), time);
        return;
    }
    state->dropping = false;
    auto files = audioFilesOfDrop(uris);
    gtk_drag_finish(context, !files.empty(), FALSE, time);
    if (files.empty()) return;
    state->log.notice("Drop accepted: %ld audio file(s)", static_cast<long>(files.size()));
    postToMainContext([handler = state->onDrop, files = std::move(files)] { handler(files); });
}

}  // namespace

bool isAudioFile(const std::filesystem::path& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return false;
    const std::string extension = path.extension().string();
    if (extension.size() < 2) return false;
    if (media::isImportableExtension(toLowerUnicode(extension.substr(1)))) return true;
    gboolean uncertain = FALSE;
    gchar* type = g_content_type_guess(path.filename().c_str(), nullptr, 0, &uncertain);
    const bool audio = type != nullptr && !uncertain && g_content_type_is_a(type, "audio/*");
    g_free(type);
    return audio;
}

std::vector<std::filesystem::path> filesFromURIs(const std::vector<std::string>& uris,
                                                 bool* allFiles) {
    std::vector<std::filesystem::path> files;
    bool every = true;
    for (const auto& uri : uris) {
        gchar* path = g_filename_from_uri(uri.c_str(), nullptr, nullptr);
        if (path == nullptr) {
            every = false;
            continue;
        }
        files.emplace_back(path);
        g_free(path);
    }
    if (allFiles != nullptr) *allFiles = every;
    return files;
}

bool acceptsDrag(const std::vector<std::string>& uris) {
    bool allFiles = false;
    const auto files = filesFromURIs(uris, &allFiles);
    if (files.empty() || !allFiles) return false;
    for (const auto& file : files) {
        if (!isAudioFile(file)) return false;
    }
    return true;
}

std::vector<std::filesystem::path> audioFilesOfDrop(const std::vector<std::string>& uris) {
    std::vector<std::filesystem::path> audio;
    for (auto& file : filesFromURIs(uris)) {
        if (isAudioFile(file)) audio.push_back(std::move(file));
    }
    return audio;
}

void attachDropTarget(WebKitWebView* view, DropHandler onDrop) {
    auto* state = new DropState{std::move(onDrop)};
    g_object_set_data_full(G_OBJECT(view), "brellow-drop-target", state,
                           [](gpointer data) { delete static_cast<DropState*>(data); });
    g_signal_connect(view, "drag-motion", G_CALLBACK(onMotion), state);
    g_signal_connect(view, "drag-drop", G_CALLBACK(onDropSignal), state);
    g_signal_connect(view, "drag-leave", G_CALLBACK(onLeave), state);
    g_signal_connect(view, "drag-data-received", G_CALLBACK(onDataReceived), state);
}

}  // namespace brellow::app
