#pragma once
// What the browser host adds to the pages: the transport script that gives a page the same
// webkit.messageHandlers it has in the window, carried over a WebSocket, and the tags that load
// it (and, in the show page, the bootstrap script) before the page's own scripts.
#include <string>
#include <string_view>

namespace brellow::serve {

/// The transport. It learns its page's kind ("show", "eula", "prefs") from its own URL.
const std::string& transportScript();

/// `html` with `tags` placed right after its opening <head> tag (or first, without one).
std::string injectIntoHead(std::string_view html, std::string_view tags);

/// The content type for a file name's extension; unknown ones are served as bytes.
const char* contentTypeFor(std::string_view fileName);

}  // namespace brellow::serve
