#include "popup_placement.h"

#include <algorithm>

namespace {

constexpr int kMargin = 4;    ///< from an edge of the monitor
constexpr int kTooClose = 3;  ///< so near, a panel's edge counts as the monitor's

int popupTop(const ScreenArea& monitor, const ScreenArea& work_area) {
    return work_area.y <= monitor.y + kTooClose ? monitor.y + kMargin : work_area.y;
}

}  // namespace

ScreenPoint popupPosition(int pointer_x, int width, const ScreenArea& monitor, const ScreenArea& work_area) {
    const int right = monitor.x + monitor.width;
    int left = pointer_x - width / 2;
    if (left + width >= right - kTooClose) left = right - width - kMargin;
    if (left <= monitor.x + kTooClose) left = monitor.x + kMargin;
    return {left, popupTop(monitor, work_area)};
}

int popupHeightLimit(const ScreenArea& monitor, const ScreenArea& work_area) {
    const int bottom = std::min(work_area.y + work_area.height, monitor.y + monitor.height - kMargin);
    return std::max(1, bottom - popupTop(monitor, work_area));
}
