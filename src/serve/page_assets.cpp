#include "serve/page_assets.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace brellow::serve {

namespace {

// Runs in every served page before anything else. Scripts from the server arrive as text
// frames and are run in the page's global scope, exactly like the window's script evaluation.
constexpr const char* kTransport = R"js((() => {
  const page = new URL(document.currentScript.src).searchParams.get("page") || "show";
  const queue = [];
  let socket = null;
  let retryMs = 250;
  let everOpened = false;
  let notice = null;

  const showLost = (lost) => {
    if (!lost) { notice?.remove(); notice = null; return; }
    if (notice || !document.body) return;
    notice = document.createElement("div");
    notice.setAttribute("role", "alert");
    notice.textContent = "Connection to Brellow lost. Reconnecting…";
    notice.style.cssText = "position:fixed;left:50%;top:44px;transform:translateX(-50%);z-index:100;" +
      "padding:8px 16px;border-radius:8px;background:#3a1d1d;color:#ffd6d2;border:1px solid #6b2b2b;font:13px sans-serif";
    document.body.append(notice);
  };

  const send = (name, body) => {
    const text = JSON.stringify({ name, body: body === undefined ? null : body });
    if (socket && socket.readyState === WebSocket.OPEN) socket.send(text);
    else queue.push(text);
  };

  const connect = () => {
    const scheme = location.protocol === "https:" ? "wss://" : "ws://";
    socket = new WebSocket(scheme + location.host + "/ws?page=" + encodeURIComponent(page));
    socket.onopen = () => {
      retryMs = 250;
      showLost(false);
      // After a reconnection the show may have changed: ask for all of it again.
      if (everOpened && page === "show") queue.push(JSON.stringify({ name: "requestState", body: {} }));
      everOpened = true;
      for (const text of queue.splice(0)) socket.send(text);
    };
    socket.onmessage = (event) => {
      try { (0, eval)(event.data); } catch (error) { console.error("brellow: script failed", error); }
    };
    socket.onclose = () => {
      showLost(true);
      setTimeout(connect, retryMs);
      retryMs = Math.min(retryMs * 2, 4000);
    };
  };

  const upload = async (files) => {
    for (const file of files) {
      let problem = null;
      try {
        const response = await fetch("/upload?name=" + encodeURIComponent(file.name), {
          method: "POST", body: file, credentials: "same-origin",
        });
        if (!response.ok) problem = (await response.text()) || response.statusText;
      } catch (error) {
        problem = "the connection failed";
      }
      if (problem && window.brellow) {
        window.brellow.dispatch({ type: "toast", message: "Couldn't upload “" + file.name + "”: " + problem });
      }
    }
  };

  window.webkit = Object.freeze({ messageHandlers: new Proxy({}, {
    get: (_, name) => ({ postMessage: (body) => send(String(name), body) }),
  }) });
  window.brellowHost = Object.freeze({
    remote: true,
    preferencesURL: page === "show" ? "preferences.html" : null,
    uploadFiles: page === "show" ? upload : undefined,
  });
  connect();
})();
)js";

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

}  // namespace

const std::string& transportScript() {
    static const std::string kScript = kTransport;
    return kScript;
}

std::string injectIntoHead(std::string_view html, std::string_view tags) {
    constexpr std::string_view kHead = "<head";
    for (std::size_t at = 0; at + kHead.size() <= html.size(); ++at) {
        if (!equalsIgnoringCase(html.substr(at, kHead.size()), kHead)) continue;
        const char next = at + kHead.size() < html.size() ? html[at + kHead.size()] : '\0';
        if (next != '>' && next != ' ' && next != '\t' && next != '\n') continue;
        const auto close = html.find('>', at);
        if (close == std::string_view::npos) break;
        std::string result(html.substr(0, close + 1));
        result += tags;
        result += html.substr(close + 1);
        return result;
    }
    return std::string(tags) + std::string(html);
}

const char* contentTypeFor(std::string_view fileName) {
    static constexpr std::array<std::pair<std::string_view, const char*>, 8> kTypes = {{
        {".html", "text/html; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"},
        {".css", "text/css; charset=utf-8"},
        {".svg", "image/svg+xml"},
        {".png", "image/png"},
        {".json", "application/json"},
        {".woff2", "font/woff2"},
        {".ico", "image/x-icon"},
    }};
    for (const auto& [extension, type] : kTypes) {
        if (fileName.size() >= extension.size() &&
            fileName.substr(fileName.size() - extension.size()) == extension)
            return type;
    }
    return "application/octet-stream";
}

}  // namespace brellow::serve
