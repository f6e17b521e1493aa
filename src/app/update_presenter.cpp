#include "app/update_presenter.h"

#include <memory>

namespace brellow::app {

void DesktopUpdatePresenter::presentUpdateResult(const updates::UpdateResult& result,
                                                 bool userInitiated) {
    const auto* found = std::get_if<updates::UpdateAvailable>(&result);
    if (!userInitiated) {
        if (found == nullptr) return;
        GNotification* notification = g_notification_new("A new version of Brellow is available");
        g_notification_set_body(notification, updates::describe(result).c_str());
        // Clicking it is the user asking: the check runs again and answers with the dialog.
        g_notification_set_default_action(notification, checkAction_);
        g_notification_set_priority(notification, G_NOTIFICATION_PRIORITY_LOW);
        g_application_send_notification(G_APPLICATION(application_), kNotificationID, notification);
        g_object_unref(notification);
        log_.notice("Update announced by a desktop notification: %s",
                    updates::describe(result).c_str());
        return;
    }
    g_application_withdraw_notification(G_APPLICATION(application_), kNotificationID);
    GtkWidget* dialog = gtk_message_dialog_new(
        gtk_application_get_active_window(application_), GTK_DIALOG_DESTROY_WITH_PARENT,
        found != nullptr ? GTK_MESSAGE_INFO : GTK_MESSAGE_OTHER, GTK_BUTTONS_OK, "%s",
        found != nullptr ? "A new version of Brellow is available." : "Software Update");
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "%s",
                                             updates::describe(result).c_str());
    g_signal_connect(dialog, "response", G_CALLBACK(gtk_widget_destroy), nullptr);
    gtk_widget_show(dialog);
}

void DesktopUpdatePresenter::askAboutAutomaticChecks(std::function<void(bool)> answer) {
    GtkWidget* dialog =
        gtk_message_dialog_new(nullptr, GTK_DIALOG_DESTROY_WITH_PARENT, GTK_MESSAGE_QUESTION,
                               GTK_BUTTONS_NONE, "Check for updates automatically?");
    gtk_message_dialog_format_secondary_text(
        GTK_MESSAGE_DIALOG(dialog), "%s",
        "Brellow can look once a day whether a new version is out. A new version is announced "
        "with a notification and never interrupts a show. You can change this in Settings.");
    gtk_dialog_add_buttons(GTK_DIALOG(dialog), "Don't Check", GTK_RESPONSE_REJECT,
                           "Check Automatically", GTK_RESPONSE_ACCEPT, nullptr);
    gtk_window_set_title(GTK_WINDOW(dialog), "Brellow Updates");
    gtk_window_set_application(GTK_WINDOW(dialog), application_);
    // It may come up while the operator is already firing stings: it must not take the
    // keyboard from the show window. A click on it is the operator's choice to answer.
    gtk_window_set_focus_on_map(GTK_WINDOW(dialog), FALSE);
    auto* pending = new std::function<void(bool)>(std::move(answer));
    g_signal_connect_data(
        dialog, "response",
        G_CALLBACK(+[](GtkDialog* asked, gint response, std::function<void(bool)>* reply) {
            // Closing it counts as "no": the question is asked once.
            (*reply)(response == GTK_RESPONSE_ACCEPT);
            gtk_widget_destroy(GTK_WIDGET(asked));
        }),
        pending,
        [](gpointer data, GClosure*) { delete static_cast<std::function<void(bool)>*>(data); },
        GConnectFlags(0));
    gtk_widget_show(dialog);
    log_.notice("Asked whether to check for updates automatically");
}

}  // namespace brellow::app
