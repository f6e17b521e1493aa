#include "app/start_window.h"

#include "app/show_documents.h"

namespace brellow::app {

namespace {

constexpr int kWidth = 420;
constexpr int kHeight = 360;
constexpr int kMargin = 18;

GtkWidget* actionButton(const char* label, GCallback callback, gpointer data) {
    GtkWidget* button = gtk_button_new_with_mnemonic(label);
    g_signal_connect_swapped(button, "clicked", callback, data);
    return button;
}

}  // namespace

StartWindow::StartWindow(GtkApplication* application,
                         const std::vector<std::filesystem::path>& recent, Actions actions)
    : window_(GTK_WINDOW(gtk_application_window_new(application))),
      actions_(std::move(actions)),
      recent_(recent) {
    gtk_application_window_set_show_menubar(GTK_APPLICATION_WINDOW(window_), FALSE);
    gtk_window_set_title(window_, "Brellow");
    gtk_widget_set_name(GTK_WIDGET(window_), "utility-window");
    gtk_window_set_default_size(window_, kWidth, kHeight);
    gtk_window_set_position(window_, GTK_WIN_POS_CENTER);

    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 10);
    gtk_container_set_border_width(GTK_CONTAINER(box), kMargin);
    GtkWidget* buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
    gtk_box_pack_start(
        GTK_BOX(buttons),
        actionButton("_New Show", G_CALLBACK(+[](StartWindow* self) { self->actions_.newShow(); }),
                     this),
        TRUE, TRUE, 0);
    gtk_box_pack_start(
        GTK_BOX(buttons),
        actionButton("_Open Show…",
                     G_CALLBACK(+[](StartWindow* self) { self->actions_.openShow(); }), this),
        TRUE, TRUE, 0);
    gtk_box_pack_start(GTK_BOX(box), buttons, FALSE, FALSE, 0);

    GtkWidget* heading = gtk_label_new(recent_.empty() ? "No recent shows" : "Recent shows");
    gtk_widget_set_halign(heading, GTK_ALIGN_START);
    gtk_box_pack_start(GTK_BOX(box), heading, FALSE, FALSE, 4);
    GtkWidget* list = gtk_box_new(GTK_ORIENTATION_VERTICAL, 2);
    for (std::size_t i = 0; i < recent_.size(); ++i) {
        GtkWidget* button = gtk_button_new_with_label(packageDisplayName(recent_[i]).c_str());
        gtk_widget_set_tooltip_text(button, recent_[i].c_str());
        gtk_button_set_relief(GTK_BUTTON(button), GTK_RELIEF_NONE);
        gtk_widget_set_halign(gtk_bin_get_child(GTK_BIN(button)), GTK_ALIGN_START);
        g_object_set_data(G_OBJECT(button), "index", GSIZE_TO_POINTER(i));
        g_signal_connect(button, "clicked", G_CALLBACK(+[](GtkButton* clicked, StartWindow* self) {
                             const auto index =
                                 GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(clicked), "index"));
                             // A copy: opening may take this window away.
                             const std::filesystem::path package = self->recent_[index];
                             self->actions_.openRecent(package);
                         }),
                         this);
        gtk_box_pack_start(GTK_BOX(list), button, FALSE, FALSE, 0);
    }
    GtkWidget* scroller = gtk_scrolled_window_new(nullptr, nullptr);
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER,
                                   GTK_POLICY_AUTOMATIC);
    gtk_container_add(GTK_CONTAINER(scroller), list);
    gtk_box_pack_start(GTK_BOX(box), scroller, TRUE, TRUE, 0);
    gtk_container_add(GTK_CONTAINER(window_), box);

    // Ctrl+W closes it as it closes a show window.
    GSimpleAction* close = g_simple_action_new("close", nullptr);
    g_signal_connect_swapped(close, "activate",
                             G_CALLBACK(+[](GtkWindow* window) { gtk_window_close(window); }),
                             window_);
    g_action_map_add_action(G_ACTION_MAP(window_), G_ACTION(close));
    g_object_unref(close);

    g_signal_connect(window_, "delete-event", G_CALLBACK(onDeleteEvent), this);
    gtk_widget_show_all(box);
}

StartWindow::~StartWindow() {
    gtk_widget_destroy(GTK_WIDGET(window_));
}

void StartWindow::present() {
    gtk_window_present(window_);
}

gboolean StartWindow::onDeleteEvent(GtkWidget*, GdkEvent*, StartWindow* self) {
    // The owner decides, and may destroy us (and our actions) on the way: call a copy.
    const auto closed = self->actions_.closed;
    closed();
    return TRUE;
}

}  // namespace brellow::app
