#pragma once
// The questions saving asks: what to do with a show that cannot be saved, and whether to
// replace an existing show with Save As.
#include <string>

#include <gtk/gtk.h>

namespace brellow::app {

enum class UnsaveableChoice { saveElsewhere, discard, cancel };

/// Asked when closing or quitting and the show cannot be saved where it is; `reason` is the
/// save's error.
UnsaveableChoice askWhatToDoWithUnsaveableShow(GtkWindow* parent, const std::string& showName,
                                               const std::string& reason);

/// Asked before Save As writes over an existing show; true to replace it.
bool confirmReplacingShow(GtkWindow* parent, const std::string& showName);

}  // namespace brellow::app
