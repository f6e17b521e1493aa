#include "app/recent_shows.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include <gtk/gtk.h>

namespace brellow::app {

void rememberRecentShow(const std::filesystem::path& package) {
    gchar* uri = g_filename_to_uri(package.c_str(), nullptr, nullptr);
    if (uri == nullptr) return;
    GtkRecentData data{};
    data.display_name = nullptr;
    data.mime_type = const_cast<gchar*>(kShowMimeType);
    data.app_name = const_cast<gchar*>("Brellow");
    data.app_exec = const_cast<gchar*>("brellow %f");
    gtk_recent_manager_add_full(gtk_recent_manager_get_default(), uri, &data);
    g_free(uri);
}

std::vector<std::filesystem::path> recentShows(std::size_t limit) {
    std::vector<std::pair<time_t, std::filesystem::path>> found;
    GList* items = gtk_recent_manager_get_items(gtk_recent_manager_get_default());
    for (GList* item = items; item != nullptr; item = item->next) {
        auto* info = static_cast<GtkRecentInfo*>(item->data);
        const char* mime = gtk_recent_info_get_mime_type(info);
        gchar* path = g_filename_from_uri(gtk_recent_info_get_uri(info), nullptr, nullptr);
        if (path != nullptr && mime != nullptr && g_strcmp0(mime, kShowMimeType) == 0 &&
            g_file_test(path, G_FILE_TEST_IS_DIR)) {
            found.emplace_back(gtk_recent_info_get_modified(info), path);
        }
        g_free(path);
        gtk_recent_info_unref(info);
    }
    g_list_free(items);
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<std::filesystem::path> shows;
    for (auto& entry : found) {
        if (shows.size() == limit) break;
        shows.push_back(std::move(entry.second));
    }
    return shows;
}

}  // namespace brellow::app
