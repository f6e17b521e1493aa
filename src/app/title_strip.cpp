#include "app/title_strip.h"

namespace brellow::app {

namespace {

void runDoubleClickAction(GtkWindow* window) {
    switch (doubleClickActionFor(desktopDoubleClickSetting())) {
        case DoubleClickAction::minimize:
            gtk_window_iconify(window);
            break;
        case DoubleClickAction::none:
            break;
        case DoubleClickAction::zoom:
            if (gtk_window_is_maximized(window)) {
                gtk_window_unmaximize(window);
            } else {
                gtk_window_maximize(window);
            }
            break;
    }
}

gboolean onStripPress(GtkWidget*, GdkEventButton* event, GtkWindow* window) {
    if (event->button != GDK_BUTTON_PRIMARY) return FALSE;
    if (event->type == GDK_2BUTTON_PRESS) {
        runDoubleClickAction(window);
        return TRUE;
    }
    if (event->type == GDK_BUTTON_PRESS) {
        gtk_window_begin_move_drag(window, static_cast<gint>(event->button),
                                   static_cast<gint>(event->x_root),
                                   static_cast<gint>(event->y_root), event->time);
        return TRUE;
    }
    return FALSE;
}

GtkWidget* windowButton(const char* icon, const char* tooltip, GCallback action,
                        GtkWindow* window) {
    GtkWidget* button = gtk_button_new_from_icon_name(icon, GTK_ICON_SIZE_MENU);
    gtk_widget_set_tooltip_text(button, tooltip);
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
    gtk_widget_set_can_focus(button, FALSE);
    gtk_style_context_add_class(gtk_widget_get_style_context(button), "titlebutton");
    g_signal_connect_swapped(button, "clicked", action, window);
    return button;
}

void toggleMaximized(GtkWindow* window) {
    if (gtk_window_is_maximized(window)) {
        gtk_window_unmaximize(window);
    } else {
        gtk_window_maximize(window);
    }
}

}  // namespace

DoubleClickAction doubleClickActionFor(const std::optional<std::string>& setting) {
    if (setting == "minimize") return DoubleClickAction::minimize;
    if (setting == "none") return DoubleClickAction::none;
    return DoubleClickAction::zoom;
}

std::optional<std::string> desktopDoubleClickSetting() {
    constexpr const char* kSchema = "org.gnome.desktop.wm.preferences";
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    if (source == nullptr) return std::nullopt;
    GSettingsSchema* schema = g_settings_schema_source_lookup(source, kSchema, TRUE);
    if (schema == nullptr) return std::nullopt;
    std::optional<std::string> value;
    if (g_settings_schema_has_key(schema, "action-double-click-titlebar")) {
        GSettings* settings = g_settings_new(kSchema);
        gchar* text = g_settings_get_string(settings, "action-double-click-titlebar");
        value = text;
        g_free(text);
        g_object_unref(settings);
    }
    g_settings_schema_unref(schema);
    return value;
}

TitleStrip createTitleStrip(GtkWindow* window, GMenuModel* mainMenu) {
    GtkWidget* strip = gtk_event_box_new();
    gtk_widget_set_name(strip, "title-strip");
    gtk_widget_set_size_request(strip, -1, kTitleStripHeight);
    gtk_widget_set_valign(strip, GTK_ALIGN_START);
    gtk_event_box_set_visible_window(GTK_EVENT_BOX(strip), FALSE);
    gtk_widget_add_events(strip, GDK_BUTTON_PRESS_MASK);
    g_signal_connect(strip, "button-press-event", G_CALLBACK(onStripPress), window);

    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 2);
    gtk_widget_set_margin_start(row, 6);
    gtk_widget_set_margin_end(row, 6);
    gtk_container_add(GTK_CONTAINER(strip), row);

    GtkWidget* menuButton = gtk_menu_button_new();
    gtk_menu_button_set_use_popover(GTK_MENU_BUTTON(menuButton), FALSE);
    gtk_menu_button_set_menu_model(GTK_MENU_BUTTON(menuButton), mainMenu);
    gtk_button_set_image(GTK_BUTTON(menuButton),
                         gtk_image_new_from_icon_name("open-menu-symbolic", GTK_ICON_SIZE_MENU));
    gtk_button_set_relief(GTK_BUTTON(menuButton), GTK_RELIEF_NONE);
    gtk_widget_set_can_focus(menuButton, FALSE);
    gtk_widget_set_valign(menuButton, GTK_ALIGN_CENTER);
    gtk_widget_set_tooltip_text(menuButton, "Menu");
    gtk_box_pack_start(GTK_BOX(row), menuButton, FALSE, FALSE, 0);

    GtkWidget* title = gtk_label_new("");
    gtk_widget_set_name(title, "document-title");
    gtk_label_set_ellipsize(GTK_LABEL(title), PANGO_ELLIPSIZE_MIDDLE);
    gtk_label_set_xalign(GTK_LABEL(title), 0.0F);
    gtk_widget_set_margin_start(title, 6);
    gtk_box_pack_start(GTK_BOX(row), title, FALSE, FALSE, 0);

    gtk_box_pack_end(
        GTK_BOX(row),
        windowButton("window-close-symbolic", "Close", G_CALLBACK(gtk_window_close), window), FALSE,
        FALSE, 0);
    gtk_box_pack_end(
        GTK_BOX(row),
        windowButton("window-maximize-symbolic", "Zoom", G_CALLBACK(toggleMaximized), window),
        FALSE, FALSE, 0);
    gtk_box_pack_end(GTK_BOX(row),
                     windowButton("window-minimize-symbolic", "Minimize",
                                  G_CALLBACK(gtk_window_iconify), window),
                     FALSE, FALSE, 0);
    return {strip, GTK_LABEL(title)};
}

}  // namespace brellow::app
