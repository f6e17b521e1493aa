#include "app/version_browser.h"

#include <ctime>

namespace brellow::app {

std::string describeVersion(const PackageVersion& version) {
    const std::time_t seconds = static_cast<std::time_t>(version.savedAtUnixMs / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    char time[64];
    const std::size_t length = std::strftime(time, sizeof time, "%a %e %b %Y %H:%M:%S", &local);
    std::string line(time, length);
    if (!version.stingCount) return line + " · unreadable";
    const std::size_t count = *version.stingCount;
    return line + " · " + std::to_string(count) + (count == 1 ? " sting" : " stings");
}

std::optional<std::string> chooseVersion(GtkWindow* parent, const std::string& showName,
                                         const std::vector<PackageVersion>& versions) {
    const std::string title = "Versions of “" + showName + "”";
    GtkWidget* dialog = gtk_dialog_new_with_buttons(
        title.c_str(), parent, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
        "_Cancel", GTK_RESPONSE_CANCEL, "_Restore", GTK_RESPONSE_ACCEPT, nullptr);
    gtk_window_set_default_size(GTK_WINDOW(dialog), 420, 360);
    GtkWidget* content = gtk_dialog_get_content_area(GTK_DIALOG(dialog));
    GtkWidget* note = gtk_label_new(
        versions.empty() ? "No earlier versions are kept yet. Each save keeps the one before."
                         : "Restoring a version saves it as the show; the current state is kept "
                           "as a version, so this can be undone.");
    gtk_label_set_line_wrap(GTK_LABEL(note), TRUE);
    gtk_box_pack_start(GTK_BOX(content), note, FALSE, FALSE, 8);
    GtkWidget* scroller = gtk_scrolled_window_new(nullptr, nullptr);
    GtkWidget* list = gtk_list_box_new();
    for (const PackageVersion& version : versions) {
        GtkWidget* row = gtk_label_new(describeVersion(version).c_str());
        gtk_widget_set_halign(row, GTK_ALIGN_START);
        g_object_set(row, "margin", 6, nullptr);
        gtk_list_box_insert(GTK_LIST_BOX(list), row, -1);
    }
    if (!versions.empty()) {
        gtk_list_box_select_row(GTK_LIST_BOX(list),
                                gtk_list_box_get_row_at_index(GTK_LIST_BOX(list), 0));
    }
    gtk_container_add(GTK_CONTAINER(scroller), list);
    gtk_box_pack_start(GTK_BOX(content), scroller, TRUE, TRUE, 0);
    gtk_dialog_set_response_sensitive(GTK_DIALOG(dialog), GTK_RESPONSE_ACCEPT, !versions.empty());
    gtk_widget_show_all(dialog);

    std::optional<std::string> chosen;
    if (gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_ACCEPT) {
        if (GtkListBoxRow* row = gtk_list_box_get_selected_row(GTK_LIST_BOX(list))) {
            const int index = gtk_list_box_row_get_index(row);
            if (index >= 0) chosen = versions[static_cast<std::size_t>(index)].id;
        }
    }
    gtk_widget_destroy(dialog);
    return chosen;
}

}  // namespace brellow::app
