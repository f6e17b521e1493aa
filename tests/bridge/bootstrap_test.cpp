// The bootstrap script, byte for byte and running in a real JavaScript engine (Node) with a
// stand-in for webkit.messageHandlers.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "bridge/bootstrap_script.h"
#include "bridge/command.h"
#include "support/test_support.h"

namespace brellow::bridge {

TEST(BootstrapScript, HasTheExactShape) {
    const std::string source = bootstrapScript();
    EXPECT_TRUE(source.starts_with(
        "(() => {\n  const listeners = new Set();\n  const brellow = {\n"
        "  play: (payload) => webkit.messageHandlers.play.postMessage(payload ?? {}),\n"));
    EXPECT_NE(source.find(
                  "  ready: (payload) => webkit.messageHandlers.ready.postMessage(payload ?? {}),\n"
                  "    addEventListener(fn) { listeners.add(fn); return () => "
                  "listeners.delete(fn); },\n"),
              std::string::npos);
    EXPECT_TRUE(
        source.ends_with("  Object.defineProperty(window, 'brellow', { value: brellow, writable: "
                         "false, configurable: false });\n"
                         "})();"));
    std::size_t lines = 0, from = 0;
    std::size_t previous = 0;
    for (const std::string_view name : kCommandNames) {
        const std::string line = "  " + std::string(name) +
                                 ": (payload) => webkit.messageHandlers." + std::string(name) +
                                 ".postMessage(payload ?? {}),\n";
        const std::size_t at = source.find(line, from);
        ASSERT_NE(at, std::string::npos) << name;
        EXPECT_GE(at, previous);
        previous = at;
        from = at + line.size();
        ++lines;
    }
    EXPECT_EQ(lines, 25u);
}

TEST(BootstrapScript, BehavesAsThePageExpectsInARealJavaScriptEngine) {
    test::TempDir dir;
    const char* harness = R"JS(
const posted = [];
globalThis.window = globalThis;
globalThis.webkit = { messageHandlers: new Proxy({}, { get: (_, name) => ({ postMessage: (body) => posted.push([name, body]) }) }) };
const consoleErrors = [];
console.error = (...args) => consoleErrors.push(args[0]);
require('vm').runInThisContext(require('fs').readFileSync(process.argv[2], 'utf8'));
const results = {};
window.brellow.play({ stingID: 'A' });
window.brellow.requestState();
window.brellow.setSoloMode(null);
window.brellow.stop(0);
window.brellow.rename('');
window.brellow.setLoop(false);
results.posted = posted;
const seen = [];
const first = (e) => seen.push(['first', e.type]);
const thrower = () => { throw new Error('boom'); };
const last = (e) => seen.push(['last', e.type]);
const removeFirst = window.brellow.addEventListener(first);
window.brellow.addEventListener(first);
window.brellow.addEventListener(thrower);
window.brellow.addEventListener(last);
window.brellow.dispatch({ type: 'one' });
removeFirst();
removeFirst();
window.brellow.dispatch({ type: 'two' });
results.seen = seen;
results.consoleErrors = consoleErrors;
const original = window.brellow;
window.brellow = {};
results.sameAfterAssign = window.brellow === original;
results.deleted = delete window.brellow;
results.functions = Object.keys(original).length;
console.log(JSON.stringify(results));
)JS";
    test::writeFile(dir / "bootstrap.js", bootstrapScript());
    test::writeFile(dir / "harness.js", harness);
    const std::string command =
        "node '" + (dir / "harness.js").string() + "' '" + (dir / "bootstrap.js").string() + "'";
    FILE* pipe = popen(command.c_str(), "r");
    std::string out;
    std::array<char, 4096> buffer{};
    while (const std::size_t got = fread(buffer.data(), 1, buffer.size(), pipe))
        out.append(buffer.data(), got);
    ASSERT_EQ(pclose(pipe), 0) << out;
    const auto results = nlohmann::json::parse(out);
    EXPECT_EQ(results["posted"],
              nlohmann::json::parse(R"([["play",{"stingID":"A"}],["requestState",{}],
        ["setSoloMode",{}],["stop",0],["rename",""],["setLoop",false]])"));
    EXPECT_EQ(results["seen"],
              nlohmann::json::parse(R"([["first","one"],["last","one"],["last","two"]])"));
    EXPECT_EQ(results["consoleErrors"],
              nlohmann::json::parse(R"(["brellow listener threw","brellow listener threw"])"));
    EXPECT_TRUE(results["sameAfterAssign"]);
    EXPECT_FALSE(results["deleted"]);
    EXPECT_EQ(results["functions"], 27);  // 25 commands, addEventListener and dispatch
}

}  // namespace brellow::bridge
