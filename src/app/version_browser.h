#pragma once
// "Browse Versions…": a dialog listing a show's kept versions, newest first, with the time
// each was saved and its number of stings. Choosing one answers its id.
#include <optional>
#include <string>
#include <vector>

#include <gtk/gtk.h>

#include "document/package_versions.h"

namespace brellow::app {

/// The line the dialog shows for a version: "Mon 23 Nov 2026 11:22:33 · 12 stings".
std::string describeVersion(const PackageVersion& version);

/// Runs the dialog over `parent`; empty when the user cancels.
std::optional<std::string> chooseVersion(GtkWindow* parent, const std::string& showName,
                                         const std::vector<PackageVersion>& versions);

}  // namespace brellow::app
