#include "help_view.h"

#include "accessible.h"
#include "icon_helper.h"
#include "l10n.h"
#include "snap.h"

namespace {

constexpr int kSectionGap = 14;  // pixels
constexpr int kLineGap = 4;
constexpr int kIconGap = 6;
constexpr int kIconWidth = 16;
constexpr int kEntryChars = 20;  // at least; the page gives it more
constexpr guint kCopiedMillis = 2000;

struct Section {
    const char* icon;
    const char* title;
    const char* text;
};

constexpr Section kSections[] = {
    {"view-grid-symbolic", "help.menubar.title", "help.menubar.text"},
    {"utilities-system-monitor-symbolic", "help.cpu.title", "help.cpu.text"},
    {"video-display-symbolic", "help.gpu.title", "help.gpu.text"},
    {"system-run-symbolic", "help.processes.title", "help.processes.text"},
    {"preferences-system-symbolic", "help.settings.title", "help.settings.text"},
    {"network-wired-symbolic", "help.network.title", "help.network.text"},
    {"drive-harddisk-symbolic", "help.memory.title", "help.memory.text"},
    {"dialog-warning-symbolic", "help.temp.title", "help.temp.text"},
};

std::string joined(const std::vector<std::string>& commands) {
    std::string text;
    for (const std::string& command : commands) {
        if (!text.empty()) text += "; ";
        text += command;
    }
    return text;
}

/// A title that breaks into lines, with the icon beside the first one.
GtkWidget* newSectionHeader(const char* icon_name, const std::string& title) {
    GtkWidget* row = newRow(kIconGap);
    GtkWidget* icon = newDecoration(icon_name, title);
    gtk_widget_set_valign(icon, GTK_ALIGN_START);
    pack(row, icon);
    GtkWidget* label = newLabel(title, TextStyle{.points = 10, .weight = PANGO_WEIGHT_BOLD});
    wrap(label);
    packFilling(row, label);
    return row;
}

GtkWidget* newCommandEntry(const std::string& command) {
    GtkWidget* entry = gtk_entry_new();
    gtk_entry_set_text(GTK_ENTRY(entry), command.c_str());
    gtk_editable_set_editable(GTK_EDITABLE(entry), FALSE);
    gtk_entry_set_width_chars(GTK_ENTRY(entry), kEntryChars);
    gtk_widget_set_hexpand(entry, TRUE);
    gtk_widget_set_tooltip_text(entry, command.c_str());
    TextAttributes({.points = 9, .family = FontFamily::Monospace}).applyTo(entry);
    return entry;
}

}  // namespace

HelpView::HelpView() : container_(newColumnBox(kSectionGap)) {
    setPageMargins(container_, 8, 4);
    gtk_widget_set_margin_bottom(container_, 8);
    if (insideSnap()) {
        addCommandSection(
            container_, "dialog-warning-symbolic", L10n::tr("help.sensors.title"),
            L10n::tr("help.sensors.text"),
            {"sudo snap connect korvalune:hardware-observe", "sudo snap connect korvalune:process-control"});
    }
    for (const Section& section : kSections) {
        addSection(container_, section.icon, L10n::tr(section.title), L10n::tr(section.text));
    }
    gtk_widget_show_all(container_);
}

HelpView::~HelpView() {
    if (copy_timeout_id_) g_source_remove(copy_timeout_id_);
}

GtkWidget* HelpView::addSection(GtkWidget* box, const char* icon, const std::string& title,
                                const std::string& text) {
    GtkWidget* section = newColumnBox(kLineGap);
    pack(section, newSectionHeader(icon, title));
    GtkWidget* label = newParagraph(text, TextStyle{.points = 9});
    gtk_widget_set_margin_start(label, kIconWidth + kIconGap);
    pack(section, label);
    pack(box, section);
    return section;
}

void HelpView::addCommandSection(GtkWidget* box, const char* icon, const std::string& title,
                                 const std::string& text, const std::vector<std::string>& commands) {
    GtkWidget* section = addSection(box, icon, title, text);
    GtkWidget* title_label = childAt(childAt(section, 0), 1);
    GtkWidget* row = newRow(kLineGap);
    GtkWidget* entries = newColumnBox(kLineGap);
    for (const std::string& command : commands) {
        GtkWidget* entry = newCommandEntry(command);
        setAccessibleName(entry, title);
        gtk_widget_add_mnemonic_label(entry, title_label);
        pack(entries, entry);
    }
    packFilling(row, entries);
    pack(row, newCopyButton(commands));
    pack(section, row);
}

GtkWidget* HelpView::newCopyButton(const std::vector<std::string>& commands) {
    copy_btn_ = gtk_button_new();
    gtk_button_set_always_show_image(GTK_BUTTON(copy_btn_), TRUE);
    gtk_widget_set_valign(copy_btn_, GTK_ALIGN_CENTER);
    g_object_set_data_full(G_OBJECT(copy_btn_), "cmd", g_strdup(joined(commands).c_str()), g_free);
    g_signal_connect(copy_btn_, "clicked", G_CALLBACK(onCopy), this);
    showCopied(false);
    return copy_btn_;
}

void HelpView::showCopied(bool copied) {
    const std::string tooltip = L10n::tr(copied ? "help.copied" : "help.copy");
    gtk_button_set_image(GTK_BUTTON(copy_btn_),
                         load_icon(copied ? "emblem-ok-symbolic" : "edit-copy-symbolic", GTK_ICON_SIZE_MENU));
    gtk_widget_set_tooltip_text(copy_btn_, tooltip.c_str());
    setAccessibleName(copy_btn_, tooltip);
}

void HelpView::onCopy(GtkButton* button, gpointer data) {
    auto* self = static_cast<HelpView*>(data);
    const auto* text = static_cast<const char*>(g_object_get_data(G_OBJECT(button), "cmd"));
    gtk_clipboard_set_text(gtk_clipboard_get(GDK_SELECTION_CLIPBOARD), text, -1);
    self->showCopied(true);
    if (self->copy_timeout_id_) g_source_remove(self->copy_timeout_id_);
    self->copy_timeout_id_ = g_timeout_add(kCopiedMillis, onCopyTimeout, self);
}

gboolean HelpView::onCopyTimeout(gpointer data) {
    auto* self = static_cast<HelpView*>(data);
    self->copy_timeout_id_ = 0;
    self->showCopied(false);
    return G_SOURCE_REMOVE;
}
