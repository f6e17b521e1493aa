#pragma once
// How the document's own work (imports, seeding) speaks to the show page. The bridge
// implements it; command-line tools print.
#include <nlohmann/json.hpp>

namespace brellow {

class PageMessenger {
  public:
    virtual ~PageMessenger() = default;
    /// Sends `{"type": ..., ...}` to the page.
    virtual void sendEvent(const nlohmann::ordered_json& event) = 0;
    /// Sends the whole show to the page.
    virtual void sendStateSnapshot() = 0;
};

}  // namespace brellow
