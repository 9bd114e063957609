#pragma once

/// Where the popup goes on the screen. Pure arithmetic, in pixels.

struct ScreenArea {
    int x = 0, y = 0, width = 0, height = 0;
};

struct ScreenPoint {
    int x = 0, y = 0;
};

/// The upper left corner of a popup of `width` for a pointer at `pointer_x`: centred below it as far as the
/// monitor allows, hanging from the upper edge of `work_area` (what panels leave free of the monitor). Keeps
/// 4 pixels from an edge of the monitor; where the popup is wider than that, the left edge counts.
ScreenPoint popupPosition(int pointer_x, int width, const ScreenArea& monitor, const ScreenArea& work_area);

/// The greatest height with which a popup at that place stays within the work area; at least 1.
int popupHeightLimit(const ScreenArea& monitor, const ScreenArea& work_area);
