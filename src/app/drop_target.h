#pragma once
// Audio files dropped onto a show window. The page cannot take file drops with their paths, so
// the web view's drag signals are intercepted for drags that come from outside the program;
// drags inside the page (reordering tabs) still reach the page.
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <webkit2/webkit2.h>

namespace brellow::app {

/// True for a regular file whose name says audio: its lower-cased extension is one the
/// importer opens, or the content type guessed from the name is audio.
bool isAudioFile(const std::filesystem::path& path);

/// Paths of the file URIs in a text/uri-list; other URIs (web links) are left out, and
/// `allFiles` says whether there were any.
std::vector<std::filesystem::path> filesFromURIs(const std::vector<std::string>& uris,
                                                 bool* allFiles = nullptr);

/// While hovering: accept only when every dragged item is an audio file.
bool acceptsDrag(const std::vector<std::string>& uris);

/// Keeps the audio files of a drop, in order.
std::vector<std::filesystem::path> audioFilesOfDrop(const std::vector<std::string>& uris);

using DropHandler = std::function<void(std::vector<std::filesystem::path>)>;

/// Makes file drops on `view` call `onDrop` with the audio files, from a main-context job.
void attachDropTarget(WebKitWebView* view, DropHandler onDrop);

}  // namespace brellow::app
