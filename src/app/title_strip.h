#pragma once
// The 33-pixel strip over the top of a show window: it moves the window when dragged, runs the
// desktop's double-click action, and holds the main menu, the window's name and the window
// buttons. The page below leaves that height free.
#include <optional>
#include <string>

#include <gtk/gtk.h>

namespace brellow::app {

inline constexpr int kTitleStripHeight = 33;

enum class DoubleClickAction { zoom, minimize, none };

/// "minimize" and "none" as the desktop names them; anything else, or no setting, zooms.
DoubleClickAction doubleClickActionFor(const std::optional<std::string>& setting);

/// The desktop's title-bar double-click setting, if its schema is installed.
std::optional<std::string> desktopDoubleClickSetting();

struct TitleStrip {
    GtkWidget* widget;  // to lay over the top of the window's content
    GtkLabel* title;    // the document's name and edited mark
};

TitleStrip createTitleStrip(GtkWindow* window, GMenuModel* mainMenu);

}  // namespace brellow::app
