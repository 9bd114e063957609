#include "settings_view.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "accessible.h"
#include "combo.h"
#include "display_text.h"
#include "icon_helper.h"
#include "l10n.h"
#include "quietly.h"
#include "restart.h"

namespace {

constexpr int kSpacing = 4;            // pixels
constexpr int kMargin = 8;             // pixels
constexpr int kComboWidth = 190;       // pixels
constexpr int kDeviceLabelWidth = 48;  // pixels

const TextStyle kTitleStyle{.points = 10, .weight = PANGO_WEIGHT_SEMIBOLD};
const TextStyle kDescriptionStyle{.points = 8};
const TextStyle kLabelStyle{.points = 10};

constexpr std::array<const char*, 3> kThemes{"auto", "light", "dark"};

int themeIndex(const std::string& theme) {
    const auto* const found = std::ranges::find(kThemes, theme);
    return found == kThemes.end() ? 0 : static_cast<int>(found - kThemes.begin());
}

/// 0 is the automatic choice, before all languages.
int languageIndex(const std::vector<L10n::LanguageInfo>& languages, const std::string& code) {
    const auto found = std::ranges::find(languages, code, &L10n::LanguageInfo::code);
    return found == languages.end() ? 0 : 1 + static_cast<int>(found - languages.begin());
}

GtkWidget* newPage(GtkWidget* scroller, GtkWidget* footer) {
    GtkWidget* const page = newColumnBox(kSpacing);
    gtk_widget_set_size_request(scroller, -1, kScrolledHeight);
    gtk_widget_set_vexpand(scroller, TRUE);
    packFilling(page, scroller);
    pack(page, footer);
    return page;
}

/// For the rows of a section, below its header.
void indent(GtkWidget* row) {
    gtk_widget_set_margin_start(row, kMargin);
}

}  // namespace

SettingsView::SettingsView(Settings& settings, SystemInfo& info)
    : settings_(settings),
      info_(info),
      container_(newColumnBox(kSpacing)),
      apply_footer_(newRow(kSpacing)),
      scroller_(newScroller(container_)),
      page_(newPage(scroller_, apply_footer_)),
      sheet_(page_),
      items_(settings, sheet_),
      autostart_icon_(newRow(0)),
      gpu_choice_([this](const std::string& name) { chooseGpu(name); }),
      net_choice_([this](const std::string& name) { chooseInterface(name); }) {
    setPageMargins(container_, kMargin, kSpacing);
    setAccessibleName(scroller_, L10n::tr("tab.settings"));
    addPanelSection();
    packSeparator(container_);
    addAutostartSection();
    packSeparator(container_);
    GtkWidget* const languages = addLanguageSection();
    packSeparator(container_);
    addThemeSection();
    packSeparator(container_);
    addDevicesSection();
    addFooter(languages);
    rebuild();
    refreshDevices();
    gtk_widget_show_all(page_);
}

void SettingsView::rebuild() {
    items_.rebuild();
}

bool SettingsView::stepBack() {
    if (!sheet_.isOpen()) return false;
    sheet_.leave();
    return true;
}

void SettingsView::addPanelSection() {
    GtkWidget* const header =
        newHeader("view-grid-symbolic", L10n::tr("settings.menubar.title"), kTitleStyle);
    GtkWidget* const description =
        newLabel(L10n::tr("settings.menubar.description"), kDescriptionStyle, kAtEnd);
    ellipsizeToRoom(description);
    packFilling(header, description);
    pack(container_, header);
    pack(container_, items_.widget());
}

void SettingsView::addAutostartSection() {
    pack(container_,
         newHeader("preferences-system-time-symbolic", L10n::tr("settings.launch.title"), kTitleStyle));
    const std::string text = L10n::tr("settings.launch.label");
    GtkWidget* const row = newRow(6);
    indent(row);
    gtk_widget_set_margin_end(row, kMargin);
    pack(row, autostart_icon_);
    GtkWidget* const label = newLabel(text, kLabelStyle);
    ellipsize(label);
    pack(row, label);
    packFilling(row, gtk_label_new(nullptr));
    GtkWidget* const check = gtk_check_button_new();
    setAccessibleName(check, text);
    labelControl(label, check);
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(check), settings_.autostart_);
    g_signal_connect(check, "toggled", G_CALLBACK(onAutostartToggled), this);
    pack(row, check);
    pack(container_, row);
    showAutostart();
}

void SettingsView::showAutostart() {
    destroyChildren(autostart_icon_);
    pack(autostart_icon_, newDecoration(settings_.autostart_ ? "emblem-ok-symbolic" : "radio-symbolic",
                                        L10n::tr("settings.launch.label")));
    gtk_widget_show_all(autostart_icon_);
}

/// A section of one line: what is chosen, and the list to choose from. Returns the list.
GtkWidget* SettingsView::addChoice(const char* icon, const char* label_key,
                                   const std::vector<std::string>& texts, int active) {
    GtkWidget* const row = newHeader(icon, L10n::tr(label_key), kLabelStyle);
    GtkWidget* const combo = newCombo();
    fillCombo(combo, texts, active);
    setAccessibleName(combo, L10n::tr(label_key));
    labelControl(childAt(row, 1), combo);
    gtk_widget_set_size_request(combo, kComboWidth, -1);
    packAtEnd(row, combo);
    pack(container_, row);
    return combo;
}

GtkWidget* SettingsView::addLanguageSection() {
    const std::vector<L10n::LanguageInfo> languages = L10n::available();
    std::vector<std::string> texts{L10n::tr("settings.language.auto")};
    for (const L10n::LanguageInfo& language : languages)
        texts.push_back(language.native_name);
    return addChoice("preferences-desktop-locale-symbolic", "settings.language.label", texts,
                     languageIndex(languages, settings_.language_));
}

void SettingsView::addThemeSection() {
    GtkWidget* const combo = addChoice(
        "preferences-desktop-appearance-symbolic", "settings.theme.label",
        {L10n::tr("settings.theme.auto"), L10n::tr("settings.theme.light"), L10n::tr("settings.theme.dark")},
        themeIndex(settings_.theme_));
    g_signal_connect(combo, "changed", G_CALLBACK(onThemeChanged), this);
}

void SettingsView::addDevicesSection() {
    pack(container_,
         newHeader("preferences-system-network-symbolic", L10n::tr("settings.devices"), kTitleStyle));
    addDeviceRow("settings.device.gpu", gpu_choice_.widget());
    addDeviceRow("settings.device.net", net_choice_.widget());
}

void SettingsView::addDeviceRow(const char* label_key, GtkWidget* combo) {
    GtkWidget* const row = newRow(kSpacing);
    indent(row);
    GtkWidget* const label = newColumn(L10n::tr(label_key), kLabelStyle, kDeviceLabelWidth, kAtStart);
    ellipsize(label);
    pack(row, label);
    setAccessibleName(combo, L10n::tr(label_key));
    labelControl(label, combo);
    packFilling(row, combo);
    pack(container_, row);
}

void SettingsView::addFooter(GtkWidget* language_combo) {
    GtkWidget* const button = newTextButton(L10n::tr("settings.apply"));
    auto* const data = new LangApplyData{&settings_, GTK_COMBO_BOX(language_combo)};
    g_object_set_data_full(G_OBJECT(button), "lad", data,
                           [](gpointer lad) { delete static_cast<LangApplyData*>(lad); });
    g_signal_connect(button, "clicked", G_CALLBACK(onApplyLanguage), data);
    gtk_widget_set_margin_end(apply_footer_, kMargin);
    packAtEnd(apply_footer_, button);
}

void SettingsView::refreshDevices() {
    const std::vector<GPUInfo>& found = info_.gpu_service_.gpus();
    std::vector<DeviceChoice::Device> gpus;
    gpus.reserve(found.size());
    for (const GPUInfo& gpu : found)
        gpus.push_back({gpu.name, displayText(gpu.name)});
    // Without a choice the panel shows the first one.
    const auto chosen = settings_.selected_gpu_.empty()
                            ? found.begin()
                            : findGpu(found, &GPUInfo::name, settings_.selected_gpu_);
    gpu_choice_.fill(std::move(gpus), chosen == found.end() ? "" : chosen->name);

    const NetworkService& network = info_.network_service_;
    std::vector<DeviceChoice::Device> interfaces;
    for (const NetInterface& interface : network.interfaces()) {
        interfaces.push_back({interface.name, displayText(interface.name) +
                                                  (interface.is_up ? L10n::tr("network.interface.up") : "")});
    }
    net_choice_.fill(std::move(interfaces),
                     settings_.selected_net_.empty() ? network.selectedInterface() : settings_.selected_net_);
}

void SettingsView::chooseGpu(const std::string& name) {
    settings_.selected_gpu_ = name;
    quietly([this] { settings_.save(); });
}

void SettingsView::chooseInterface(const std::string& name) {
    settings_.selected_net_ = name;
    info_.network_service_.setInterface(name);
    info_.network_speed = {};  // saving redraws the panel, which must not show the old one's
    quietly([this] { settings_.save(); });
}

void SettingsView::onAutostartToggled(GtkToggleButton* check, gpointer self) {
    auto* const view = static_cast<SettingsView*>(self);
    Settings& settings = view->settings_;
    const bool before = settings.autostart_;
    if (!quietly([&] { settings.setAutostart(gtk_toggle_button_get_active(check)); })) {
        settings.autostart_ = before;
        quietly([&] { settings.save(); });  // the file may be ahead of the desktop entry that failed
        setActiveSilently(check, before, self);
    }
    view->showAutostart();
}

void SettingsView::onThemeChanged(GtkComboBox* combo, gpointer self) {
    const int index = gtk_combo_box_get_active(combo);
    if (index < 0 || index >= static_cast<int>(kThemes.size())) return;
    Settings& settings = static_cast<SettingsView*>(self)->settings_;
    settings.theme_ = kThemes[static_cast<std::size_t>(index)];
    quietly([&] { settings.save(); });
    if (settings.on_theme_change) settings.on_theme_change();
}

void SettingsView::onApplyLanguage(GtkButton* /*button*/, gpointer data) {
    const auto* const apply = static_cast<const LangApplyData*>(data);
    Settings& settings = *apply->settings;
    const int index = gtk_combo_box_get_active(apply->combo);
    if (index < 0) return;
    std::string code;
    if (index > 0) code = L10n::available()[static_cast<std::size_t>(index - 1)].code;
    if (code == settings.language_ || (code.empty() && settings.language_ == "auto")) return;

    const std::string before = std::exchange(settings.language_, code);
    bool saved = false;
    quietly([&] { saved = settings.save(); });
    if (!saved) {
        settings.language_ = before;  // a restart would lose it; Apply can be tried again
        return;
    }
    if (restartAfterEnd()) gtk_main_quit();
}
