#include "bridge/bootstrap_script.h"

#include "bridge/command.h"

namespace brellow::bridge {

std::string bootstrapScript() {
    std::string source =
        "(() => {\n"
        "  const listeners = new Set();\n"
        "  const brellow = {\n";
    bool first = true;
    for (const std::string_view name : kCommandNames) {
        if (!first) source += ",\n";
        first = false;
        source += "  " + std::string(name) + ": (payload) => webkit.messageHandlers." +
                  std::string(name) + ".postMessage(payload ?? {})";
    }
    source +=
        ",\n"
        "    addEventListener(fn) { listeners.add(fn); return () => listeners.delete(fn); },\n"
        "    dispatch(event) {\n"
        "      for (const fn of listeners) {\n"
        "        try { fn(event); } catch (e) { console.error('brellow listener threw', e); }\n"
        "      }\n"
        "    }\n"
        "  };\n"
        "  Object.defineProperty(window, 'brellow', { value: brellow, writable: false, "
        "configurable: false });\n"
        "})();";
    return source;
}

}  // namespace brellow::bridge
