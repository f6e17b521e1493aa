// The page's output menu: the system's outputs, listed off the main context (asking the sound
// servers takes a moment) and sent as one "outputDevices" event.
#include <thread>

#include "base/main_context.h"
#include "bridge/brellow_bridge.h"

namespace brellow::bridge {

void BrellowBridge::sendOutputDevices() {
    if (!listOutputDevices) return;
    std::weak_ptr<BrellowBridge> weak = weak_from_this();
    // Holds only the lister and a weak bridge, so it may outlive the window.
    std::thread([weak, list = listOutputDevices] {
        std::vector<audio::OutputDevice> devices = list();
        postToMainContext([weak, devices = std::move(devices)] {
            auto bridge = weak.lock();
            if (!bridge) return;
            nlohmann::ordered_json items = nlohmann::ordered_json::array();
            for (const audio::OutputDevice& device : devices) {
                items.push_back(
                    {{"id", device.id}, {"name", device.name}, {"isDefault", device.isDefault}});
            }
            bridge->sendEvent({{"type", "outputDevices"}, {"devices", items}});
        });
    }).detach();
}

}  // namespace brellow::bridge
