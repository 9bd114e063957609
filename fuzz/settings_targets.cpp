#include <algorithm>

#include "color.h"
#include "fuzz_target.h"
#include "gpu_names.h"
#include "l10n.h"
#include "settings.h"
#include "user_home.h"

namespace {

void checkMembers(const Settings& settings) {
    for (int value = 0; value < kMenuBarItemTypeCount; ++value) {
        const auto type = static_cast<MenuBarItemType>(value);
        require(std::ranges::count(settings.items_, type, &MenuBarItem::type) >= 1, "no item is missing");
        double r = -1, g = -1, b = -1;
        parseHex(settings.hexColor(type), r, g, b);
        require(isWithin(r, 0, 1) && isWithin(g, 0, 1) && isWithin(b, 0, 1), "every text is a colour");
    }
    require(settings.theme_ == "auto" || settings.theme_ == "light" || settings.theme_ == "dark",
            "there are three themes");
    require(settings.enabledItems().size() <= settings.items_.size(), "only items are enabled");
}

void checkSame(const Settings& read, const Settings& saved) {
    require(read.items_ == saved.items_, "items are read as they were saved");
    require(read.use_icons_ == saved.use_icons_ && read.autostart_ == saved.autostart_,
            "switches are read as they were saved");
    require(read.language_ == saved.language_ && read.theme_ == saved.theme_,
            "language and theme are read as they were saved");
    require(read.selected_gpu_ == saved.selected_gpu_ && read.selected_net_ == saved.selected_net_,
            "devices are read as they were saved");
    require(read.custom_colors_ == saved.custom_colors_, "colours are read as they were saved");
}

/// The language, as the settings name it and as the environment could.
void checkLanguage(const std::string& language) {
    static const auto languages = L10n::available();
    const std::string locale = language.substr(0, language.find('\0'));
    const ScopedEnvironment environment({{"LC_ALL", "C.UTF-8"}, {"LANGUAGE", locale}});
    for (const std::string& code : {language, std::string("auto")}) {
        L10n::setLanguage(code);
        require(std::ranges::count(languages, L10n::currentLanguage(), &L10n::LanguageInfo::code) == 1,
                "a language that there is is chosen");
    }
}

}  // namespace

/// The settings file; then it is saved with the choices that the pages offer, and read again.
FUZZ_TARGET(settings) {
    static const UserHome home;
    writeFile(home.config() / "settings.conf", input);
    Settings settings;
    checkMembers(settings);
    checkLanguage(settings.language_);
    if (!input.empty() && input.front() % 2 != 0) {
        settings.items_.front().enabled = !settings.items_.front().enabled;
        settings.selected_gpu_ = shortenGPUName(nameFromLspci(input));
        settings.selected_net_ = std::string(input.substr(0, input.find_first_of(":/ \n\t\r\v\f")));
        settings.custom_colors_[itemTypeToString(MenuBarItemType::CpuBars)] = "#A0B0C0";
    }
    require(settings.save(), "settings can be saved");
    const Settings again;
    checkMembers(again);
    checkSame(again, settings);
}
