#pragma once
// Window placement rules, free of the toolkit so they can be tested: the saved frame of show
// windows, the size a new show window opens at, and bringing back windows that ended up on
// no monitor.
#include <optional>
#include <string>
#include <vector>

namespace brellow::app {

struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    friend bool operator==(const Rect&, const Rect&) = default;
};

inline constexpr int kShowWindowWidth = 1800;
inline constexpr int kShowWindowHeight = 1100;
inline constexpr int kShowWindowMinWidth = 880;
inline constexpr int kShowWindowMinHeight = 560;

bool intersects(const Rect& a, const Rect& b);

/// The size of a new show window: the saved one or 1800 × 1100, never below the minimum,
/// and shrunk to fit the work area where the work area allows.
Rect showWindowSize(std::optional<Rect> saved, const Rect& workArea);

/// Where a window must move when it lies on no monitor: centred in `workArea` at its own
/// size. Nothing when it still touches one of `monitors`.
std::optional<Rect> recoveredFrame(const Rect& frame, const std::vector<Rect>& monitors,
                                   const Rect& workArea);

/// Window frames saved by name ("ShowWindow.v2") in a small JSON file.
class WindowFrameStore {
  public:
    explicit WindowFrameStore(std::string fileDirectory);
    std::optional<Rect> load(const std::string& name) const;
    void save(const std::string& name, const Rect& frame) const;

  private:
    std::string directory_;
};

inline constexpr const char* kShowWindowFrameName = "ShowWindow.v2";

}  // namespace brellow::app
