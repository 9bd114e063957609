#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "menu_bar_item.h"

/// The user's choices, kept in settings.conf. Read once when constructed; every change is written at once as
/// the whole file. Main thread only.
///
/// The members are public: the panel and the pages read them, and the settings page assigns those that have
/// no setter and then calls save().
class Settings {
public:
    /// Called at the end of every save().
    std::function<void()> on_change;
    /// Called by the settings page after a change of the theme, never from here.
    std::function<void()> on_theme_change;

    std::vector<MenuBarItem> items_;  ///< from left to right in the panel
    bool use_icons_ = false;          ///< icons instead of texts in the panel
    bool autostart_ = false;
    std::string language_;        ///< "de", "zh_TW"; empty: as the environment says
    std::string theme_ = "auto";  ///< "auto", "light" or "dark"
    std::string selected_gpu_;    ///< a GPU's name; empty: none chosen
    std::string selected_net_;    ///< a network interface's name; empty: none chosen
    std::unordered_map<std::string, std::string> custom_colors_;  ///< "#RRGGBB" by an item's key
    std::string config_path_;

    /// Reads the file in configDir(); writes nothing.
    Settings();

    /// $XDG_CONFIG_HOME/Korvalune, else $HOME/.config/Korvalune, else /tmp/Korvalune. Need not exist. The
    /// last one, which anybody may have made, is used only if it is this user's and nobody else may write to
    /// it.
    static std::string configDir();

    /// The colours an item has before the user chooses one. The core bars have none: they show the load.
    static const std::unordered_map<MenuBarItemType, std::string>& defaultColors();

    /// Takes over what the file says, line by line as it stands; without a readable file the default items.
    /// One that is there but can't be read is moved aside by the next save().
    void load();

    /// Writes the whole file, then calls on_change. Returns whether the file was written: one that can't be
    /// stays as it is, as does one that could not be read and can't be moved aside. A directory that can't be
    /// made throws std::filesystem::filesystem_error instead.
    bool save();

    /// Adds the readings that items_ lacks at its end, switched on.
    void ensureAllTypes();

    /// The readings the panel shows, in its order.
    std::vector<MenuBarItemType> enabledItems() const;

    /// Each of these saves. Indices out of range, and a move to the same place, do nothing.
    void setEnabled(int index, bool enabled);
    void moveItem(int from, int to);
    void setColor(MenuBarItemType type, const std::string& hex);

    /// The colour to draw a reading with: the user's, of which 1 KiB counts, else the default one, else
    /// white.
    std::string hexColor(MenuBarItemType type) const;

    /// Saves, then writes or removes the desktop entry (see autostart.h).
    void setAutostart(bool enable);

private:
    void loadLine(std::string_view line, std::string& section);
    void loadGeneral(std::string_view key, std::string_view value);
    std::string fileText() const;
    std::string directory() const;
    /// Whether nobody else decides what lies in the directory.
    bool directoryIsSafe() const;
    bool writeFile();
    bool isIndex(int index) const;

    bool unread_ = false;  ///< there is a file that load() could not read
};
