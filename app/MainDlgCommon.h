// What the parts of the main dialog share: its limits, the indexes of the
// skin's style sheets, and small readings of window states.
#pragma once

namespace maindlg {

inline constexpr int MIN_WIDTH = 914;
inline constexpr int MIN_HEIGHT = 565;
inline constexpr int MAX_PLAY_WND = 16;
inline constexpr int MAX_OPEN_PATHS = 201; // the open dialogs collect at most this many paths
inline constexpr int MAX_PLAYLIST_ROWS = 200;
inline constexpr int PLAYER_TIMER_MS = 500;
inline constexpr int SLIDER_UNITS = 65535; // the progress slider runs from 0 to this
inline constexpr int FILE_NAME_MAX_WIDTH = 300;

// Indexes into m_strResStyle, as the skin hands the main dialog's style sheets out.
enum {
    STYLE_MAX_NORMAL = 0,
    STYLE_MAX_RESTORE = 1,
    STYLE_MUTE_ON = 2,
    STYLE_MUTE_OFF = 3,
    STYLE_MUTE_BOOST = 4,
    STYLE_PLAY = 5,
    STYLE_PAUSE = 6,
    STYLE_FULL_ENTER = 7,
    STYLE_FULL_LEAVE = 8,
    STYLE_TOP_MODE_0 = 11,
    STYLE_PLAY_MODE_1 = 14,
};

inline bool IsActiveState(int nState) {
    return nState == 1 || nState == 2;
}

} // namespace maindlg
