#include "app/save_dialogs.h"

namespace brellow::app {

UnsaveableChoice askWhatToDoWithUnsaveableShow(GtkWindow* parent, const std::string& showName,
                                               const std::string& reason) {
    GtkWidget* dialog =
        gtk_message_dialog_new(parent, GTK_DIALOG_MODAL, GTK_MESSAGE_WARNING, GTK_BUTTONS_NONE,
                               "The show “%s” can't be saved where it is.", showName.c_str());
    gtk_message_dialog_format_secondary_text(
        GTK_MESSAGE_DIALOG(dialog),
        "%s\n\nSave it somewhere else, or discard the changes made since it was last saved.",
        reason.c_str());
    gtk_dialog_add_buttons(GTK_DIALOG(dialog), "Discard Changes", GTK_RESPONSE_REJECT, "Cancel",
                           GTK_RESPONSE_CANCEL, "Save Elsewhere…", GTK_RESPONSE_ACCEPT, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_ACCEPT);
    const int answer = gtk_dialog_run(GTK_DIALOG(dialog));
    gtk_widget_destroy(dialog);
    if (answer == GTK_RESPONSE_ACCEPT) return UnsaveableChoice::saveElsewhere;
    if (answer == GTK_RESPONSE_REJECT) return UnsaveableChoice::discard;
    return UnsaveableChoice::cancel;
}

bool confirmReplacingShow(GtkWindow* parent, const std::string& showName) {
    GtkWidget* dialog =
        gtk_message_dialog_new(parent, GTK_DIALOG_MODAL, GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE,
                               "A show named “%s” already exists. Replace it?", showName.c_str());
    gtk_message_dialog_format_secondary_text(
        GTK_MESSAGE_DIALOG(dialog),
        "It stays as it is until the new one is completely written, and is then kept among "
        "the new show's versions.");
    gtk_dialog_add_buttons(GTK_DIALOG(dialog), "Cancel", GTK_RESPONSE_CANCEL, "Replace",
                           GTK_RESPONSE_ACCEPT, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    const bool replace = gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_ACCEPT;
    gtk_widget_destroy(dialog);
    return replace;
}

}  // namespace brellow::app
