#include "about_view.h"

#include <string>

#include "display_text.h"
#include "l10n.h"
#include "maker.h"
#include "snap.h"

namespace {

constexpr int kLineGap = 4;  // pixels
constexpr unsigned kSeparatorPadding = 4;

GtkWidget* packCentered(GtkWidget* box, const std::string& text, const TextStyle& style) {
    GtkWidget* label = newLabel(text, style, kCentered);
    wrap(label);
    gtk_label_set_justify(GTK_LABEL(label), GTK_JUSTIFY_CENTER);
    pack(box, label);
    return label;
}

void packText(GtkWidget* box, const std::string& text) {
    pack(box, newParagraph(text, TextStyle{.points = 8}));
}

std::string snapLine() {
    return "Snap " + environmentText("SNAP_VERSION") + " (Revision " + environmentText("SNAP_REVISION") + ")";
}

}  // namespace

AboutView::AboutView() : container_(newColumnBox(kLineGap)) {
    setPageMargins(container_, 8, 4);
    gtk_widget_set_margin_bottom(container_, 8);
    gtk_widget_set_valign(container_, GTK_ALIGN_CENTER);
    addProduct();
    packSeparator(container_, kSeparatorPadding);
    addMaker();
    packSeparator(container_, kSeparatorPadding);
    addLinks();
    packSeparator(container_, kSeparatorPadding);
    addNotices();
    gtk_widget_show_all(container_);
}

void AboutView::addProduct() {
    packCentered(container_, "Korvalune", {.points = 16, .weight = PANGO_WEIGHT_BOLD});
    packCentered(container_, maker::kVersion, {.points = 10});
    if (!insideSnap()) return;
    GtkWidget* label = packCentered(container_, displayText(snapLine()), {.points = 9});
    gtk_label_set_selectable(GTK_LABEL(label), TRUE);
    gtk_widget_set_can_focus(label, FALSE);
}

void AboutView::addMaker() {
    packCentered(container_, L10n::tr("developed.by"), {.points = 10});
    packCentered(container_, maker::kName, {.points = 12, .weight = PANGO_WEIGHT_SEMIBOLD});
    packCentered(container_, maker::kCompany, {.points = 11, .weight = PANGO_WEIGHT_MEDIUM});
    packCentered(container_, maker::kNotice, {.points = 10});
}

void AboutView::addLinks() {
    const auto add = [this](const std::string& uri, const char* text) {
        GtkWidget* link = gtk_link_button_new_with_label(uri.c_str(), text);
        gtk_widget_set_halign(link, GTK_ALIGN_CENTER);
        g_signal_connect(link, "activate-link", G_CALLBACK(onActivateLink), this);
        pack(container_, link);
    };
    add(maker::kSite, maker::kSiteHost);
    add(std::string("mailto:") + maker::kContact, maker::kContact);
}

void AboutView::addNotices() {
    packText(container_, L10n::tr("about.oss.notice"));
    packSeparator(container_, kSeparatorPadding);
    pack(container_, newHeader("security-medium-symbolic", L10n::tr("about.disclaimer.title"),
                               TextStyle{.points = 10, .weight = PANGO_WEIGHT_SEMIBOLD}));
    packText(container_, L10n::tr("about.disclaimer.text"));
}

gboolean AboutView::onActivateLink(GtkLinkButton* button, gpointer data) {
    const auto* self = static_cast<AboutView*>(data);
    // The toolkit's own handler would print a warning where no program opens such links.
    GError* error = nullptr;
    if (gtk_show_uri_on_window(nullptr, gtk_link_button_get_uri(button), gtk_get_current_event_time(),
                               &error)) {
        gtk_link_button_set_visited(button, TRUE);
        if (self->on_link) self->on_link();
    }
    g_clear_error(&error);
    return GDK_EVENT_STOP;
}
