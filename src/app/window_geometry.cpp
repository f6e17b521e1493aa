#include "app/window_geometry.h"

#include <algorithm>

#include "base/record_file.h"

namespace brellow::app {

namespace {
constexpr const char* kFrameFile = "window-frames.json";
}

bool intersects(const Rect& a, const Rect& b) {
    return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height &&
           b.y < a.y + a.height;
}

Rect showWindowSize(std::optional<Rect> saved, const Rect& workArea) {
    Rect size{0, 0, kShowWindowWidth, kShowWindowHeight};
    if (saved && saved->width > 0 && saved->height > 0) {
        size.width = saved->width;
        size.height = saved->height;
    }
    if (workArea.width > 0) size.width = std::min(size.width, workArea.width);
    if (workArea.height > 0) size.height = std::min(size.height, workArea.height);
    size.width = std::max(size.width, kShowWindowMinWidth);
    size.height = std::max(size.height, kShowWindowMinHeight);
    return size;
}

std::optional<Rect> recoveredFrame(const Rect& frame, const std::vector<Rect>& monitors,
                                   const Rect& workArea) {
    if (monitors.empty()) return std::nullopt;
    for (const Rect& monitor : monitors) {
        if (intersects(frame, monitor)) return std::nullopt;
    }
    // The size is kept even when the window is larger than the work area.
    return Rect{workArea.x + workArea.width / 2 - frame.width / 2,
                workArea.y + workArea.height / 2 - frame.height / 2, frame.width, frame.height};
}

WindowFrameStore::WindowFrameStore(std::string fileDirectory)
    : directory_(std::move(fileDirectory)) {}

std::optional<Rect> WindowFrameStore::load(const std::string& name) const {
    const auto record = RecordFile(directory_, kFrameFile).load();
    if (!record || !record->contains(name) || !(*record)[name].is_object()) return std::nullopt;
    const auto& frame = (*record)[name];
    const auto x = requiredInteger(frame, "x");
    const auto y = requiredInteger(frame, "y");
    const auto width = requiredInteger(frame, "width");
    const auto height = requiredInteger(frame, "height");
    if (!x || !y || !width || !height) return std::nullopt;
    constexpr std::int64_t kLimit = 100'000;  // a damaged file must not make a giant window
    if (*width <= 0 || *height <= 0 || *width > kLimit || *height > kLimit) return std::nullopt;
    return Rect{static_cast<int>(std::clamp(*x, -kLimit, kLimit)),
                static_cast<int>(std::clamp(*y, -kLimit, kLimit)), static_cast<int>(*width),
                static_cast<int>(*height)};
}

void WindowFrameStore::save(const std::string& name, const Rect& frame) const {
    const RecordFile file(directory_, kFrameFile);
    auto record = file.load().value_or(nlohmann::json::object());
    record[name] = {
        {"x", frame.x}, {"y", frame.y}, {"width", frame.width}, {"height", frame.height}};
    file.save(record);
}

}  // namespace brellow::app
