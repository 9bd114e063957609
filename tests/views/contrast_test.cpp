// Whether texts and the keyboard's focus stand out from what is behind them, in both looks.
#include "contrast.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "full_popup.h"
#include "temporary_directory.h"

namespace {

constexpr double kReadable = 4.5;    ///< for a text
constexpr double kNoticeable = 3.0;  ///< for a sign

std::string hexOf(const GdkRGBA& color) {
    char text[8];
    std::snprintf(text, sizeof text, "#%02X%02X%02X", static_cast<unsigned>(std::lround(color.red * 255)),
                  static_cast<unsigned>(std::lround(color.green * 255)),
                  static_cast<unsigned>(std::lround(color.blue * 255)));
    return text;
}

std::string withOneDecimal(double ratio) {
    char text[8];
    std::snprintf(text, sizeof text, "%.1f", std::floor(ratio * 10) / 10);
    return text;
}

/// A colour that belongs to the text and not to the look: that of a figure or of a heading.
std::optional<GdkRGBA> ownColor(GtkWidget* label) {
    PangoAttrList* const list = pango_layout_get_attributes(gtk_label_get_layout(GTK_LABEL(label)));
    if (list == nullptr) return std::nullopt;
    PangoAttrIterator* const start = pango_attr_list_get_iterator(list);
    const PangoAttribute* const found = pango_attr_iterator_get(start, PANGO_ATTR_FOREGROUND);
    std::optional<GdkRGBA> color;
    if (found != nullptr) {
        const PangoColor& own = reinterpret_cast<const PangoAttrColor*>(found)->color;
        color = {own.red / 65535.0, own.green / 65535.0, own.blue / 65535.0, 1};
    }
    pango_attr_iterator_destroy(start);
    return color;
}

bool hasText(GtkWidget* label) {
    return *gtk_label_get_text(GTK_LABEL(label)) != '\0';
}

class Contrast : public FullPopup {
protected:
    /// The least ratio of every text colour that is not the look's own, over all pages.
    std::map<std::string, double> ownColors(bool dark) {
        std::map<std::string, double> least;
        make("en", dark);
        const auto look = [&](const std::string&) {
            for (GtkWidget* label : mapped(GTK_TYPE_LABEL)) {
                const auto color = ownColor(label);
                if (!color || !hasText(label)) continue;
                const auto known = least.emplace(hexOf(*color), 21).first;
                known->second = std::min(known->second, seen(label, *color).ratio());
            }
        };
        forEachPage(look);
        for (const double celsius : {45.0, 90.0}) {
            open(0);
            info_.cpu_temperature = celsius;
            popup_->updateViews();
            settleFully();
            look("cpu");
        }
        return least;
    }

    static void expectReadable(GtkWidget* widget, const std::string& page) {
        EXPECT_GE(seen(widget, styleColor(widget, "color")).ratio(), kReadable)
            << page << ": "
            << (GTK_IS_LABEL(widget) ? gtk_label_get_text(GTK_LABEL(widget)) : G_OBJECT_TYPE_NAME(widget));
    }
};

class ContrastInLook : public Contrast, public testing::WithParamInterface<bool> {};

TEST_P(ContrastInLook, TextsInTheColourOfTheLookCanBeRead) {
    make("en", GetParam());
    forEachPage([](const std::string& page) {
        for (const GType type : {GTK_TYPE_LABEL, GTK_TYPE_CELL_VIEW, GTK_TYPE_ENTRY}) {
            for (GtkWidget* widget : mapped(type)) {
                if (GTK_IS_LABEL(widget) && (!hasText(widget) || ownColor(widget))) continue;
                if (gtk_widget_is_sensitive(widget)) expectReadable(widget, page);
            }
        }
    });
}

TEST_P(ContrastInLook, ButtonsCanBeReadUnderThePointerAndPressed) {
    make("en", GetParam());
    forEachPage([](const std::string& page) {
        for (GtkWidget* button : mapped(GTK_TYPE_BUTTON)) {
            for (const GtkStateFlags state : {GTK_STATE_FLAG_PRELIGHT, GTK_STATE_FLAG_ACTIVE}) {
                gtk_widget_set_state_flags(button, state, FALSE);
                for (GtkWidget* label : widgetsOfType(button, GTK_TYPE_LABEL)) {
                    if (gtk_widget_is_sensitive(label)) expectReadable(label, page);
                }
                gtk_widget_unset_state_flags(button, state);
            }
        }
    });
}

TEST_P(ContrastInLook, TheRingOfTheFocusStandsOut) {
    make("en", GetParam());
    forEachPage([](const std::string& page) {
        for (GtkWidget* widget : focusable()) {
            const std::string type = G_OBJECT_TYPE_NAME(widget);
            if (type == "GtkColorSwatch") continue;  // has a white and a black one
            EXPECT_GE(seen(widget, styleColor(widget, "outline-color")).ratio(), kNoticeable)
                << page << ": " << type;
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Looks, ContrastInLook, testing::Bool(),
                         [](const auto& test) { return test.param ? "dark" : "light"; });

class ContrastInBothLooks : public Contrast {};

/// Colours that belong to the program's look, with what they come to; docs/accessibility.md has the same
/// table.
TEST_F(ContrastInBothLooks, FiguresAndHeadingsAreAsFaintAsDocumented) {
    const auto light = ownColors(false);
    popup_.reset();
    const auto dark = ownColors(true);
    const std::string document = contentOf(FIXTURES_DIR "/../../docs/accessibility.md");
    std::map<std::string, std::pair<std::string, std::string>> rows;
    for (const auto& [color, ratio] : light)
        rows[color].first = withOneDecimal(ratio);
    for (const auto& [color, ratio] : dark)
        rows[color].second = withOneDecimal(ratio);
    EXPECT_EQ(rows.size(), 10U);
    for (const auto& [color, ratios] : rows) {
        std::string row = "`";
        row.append(color)
            .append("` | ")
            .append(ratios.first)
            .append(" | ")
            .append(ratios.second)
            .append(" |");
        EXPECT_NE(document.find(row), std::string::npos) << row;
    }
}

}  // namespace
