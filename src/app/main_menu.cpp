#include "app/app_delegate.h"

namespace brellow::app {

namespace {

void append(GMenu* menu, const char* label, const char* action) {
    g_menu_append(menu, label, action);
}

GMenu* section(GMenu* parent) {
    GMenu* part = g_menu_new();
    g_menu_append_section(parent, nullptr, G_MENU_MODEL(part));
    g_object_unref(part);
    return part;
}

void submenu(GMenu* bar, const char* label, GMenu* menu) {
    g_menu_append_submenu(bar, label, G_MENU_MODEL(menu));
    g_object_unref(menu);
}

}  // namespace

GMenuModel* buildMainMenu() {
    GMenu* bar = g_menu_new();

    GMenu* application = g_menu_new();
    append(section(application), "About Brellow", "app.about");
    append(section(application), "Settings…", "app.preferences");
    append(section(application), "Check for Updates…", "app.check-updates");
    append(section(application), "Quit Brellow", "app.quit");
    submenu(bar, "Brellow", application);

    GMenu* file = g_menu_new();
    GMenu* opening = section(file);
    append(opening, "New Show", "app.new");
    append(opening, "Open Show…", "app.open");
    GMenu* saving = section(file);
    append(saving, "Close", "win.close");
    append(saving, "Save", "win.save");
    append(saving, "Save As…", "win.save-as");
    GMenu* reverting = section(file);
    append(reverting, "Revert to Saved", "app.revert");
    append(reverting, "Browse Versions…", "app.browse-versions");
    submenu(bar, "File", file);

    GMenu* edit = g_menu_new();
    GMenu* history = section(edit);
    append(history, "Undo", "win.undo");
    append(history, "Redo", "win.redo");
    GMenu* clipboard = section(edit);
    append(clipboard, "Cut", "win.cut");
    append(clipboard, "Copy", "win.copy");
    append(clipboard, "Paste", "win.paste");
    append(clipboard, "Select All", "win.select-all");
    submenu(bar, "Edit", edit);

    GMenu* playback = g_menu_new();
    append(playback, "Stop All", "app.stop-all");
    submenu(bar, "Playback", playback);

    GMenu* window = g_menu_new();
    append(window, "Minimize", "win.minimize");
    append(window, "Zoom", "win.zoom");
    submenu(bar, "Window", window);

    GMenu* help = g_menu_new();
    append(help, "Interactive Tutorial", "win.tutorial");
    append(help, "Licence Agreement", "app.licence");
    submenu(bar, "Help", help);
    return G_MENU_MODEL(bar);
}

const std::vector<std::pair<const char*, const char*>>& menuAccelerators() {
    static const std::vector<std::pair<const char*, const char*>> kAccelerators = {
        {"app.preferences", "<Control>comma"},
        {"app.quit", "<Control>q"},
        {"app.new", "<Control>n"},
        {"app.open", "<Control>o"},
        {"win.close", "<Control>w"},
        {"win.save", "<Control>s"},
        {"win.save-as", "<Control><Shift>s"},
        {"win.undo", "<Control>z"},
        {"win.redo", "<Control><Shift>z"},
        {"win.cut", "<Control>x"},
        {"win.copy", "<Control>c"},
        {"win.paste", "<Control>v"},
        {"win.select-all", "<Control>a"},
        {"app.stop-all", "<Control>period"},
        {"win.minimize", "<Control>m"},
    };
    return kAccelerators;
}

}  // namespace brellow::app
