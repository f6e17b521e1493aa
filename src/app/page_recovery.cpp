#include "app/page_recovery.h"

namespace brellow::app {

PageRecovery::Action PageRecovery::crashed(Clock::time_point now) {
    while (!crashes_.empty() && now - crashes_.front() >= kWindow)
        crashes_.pop_front();
    crashes_.push_back(now);
    return crashes_.size() <= kReloadsAllowed ? Action::reload : Action::explain;
}

std::string pageCrashExplanation(const std::string& retryURI, const std::string& reason) {
    // No scripts: the page must work even if what keeps failing is script-related.
    return R"html(<!doctype html><html><head><meta charset="utf-8"><style>
body { background: #1a1c1f; color: #c8ccd1; font: 15px/1.5 sans-serif; margin: 0;
       display: flex; align-items: center; justify-content: center; height: 100vh; }
main { max-width: 34em; padding: 2em; }
h1 { font-size: 20px; color: #e8eaed; }
a { color: #1a1c1f; background: #8ab4f8; padding: .5em 1.2em; border-radius: 4px;
    text-decoration: none; display: inline-block; margin-top: 1em; }
small { color: #80868b; }
</style></head><body><main>
<h1>The show page keeps stopping</h1>
<p>The part of Brellow that draws this page has stopped three times within a minute, so it is
not being restarted again automatically.</p>
<p><b>Your show is safe and anything playing carries on.</b> Stop All (Ctrl+.) and Save
(Ctrl+S) still work from the keyboard and the ☰ menu. When the cue allows, save the show and
restart Brellow; if this keeps happening, the computer may be short of memory.</p>
<a href=")html" +
           retryURI + R"html(">Try the page again</a>
<p><small>Last reason: )html" +
           reason + R"html(</small></p>
</main></body></html>)html";
}

}  // namespace brellow::app
