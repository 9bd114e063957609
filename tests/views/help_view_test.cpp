#include "help_view.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "l10n.h"
#include "label_style.h"
#include "scoped_environment.h"
#include "shown_page.h"
#include "widget_tree.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr int kPopupWidth = 420;
constexpr const char* kCommands =
    "sudo snap connect korvalune:hardware-observe; sudo snap connect korvalune:process-control";

const ScopedEnvironment::Variables kOutside = {{"SNAP", std::nullopt}};
const ScopedEnvironment::Variables kInside = {{"SNAP", "/snap/korvalune/1"}};

std::string clipboardText() {
    gchar* text = gtk_clipboard_wait_for_text(gtk_clipboard_get(GDK_SELECTION_CLIPBOARD));
    std::string copy = text ? text : "";
    g_free(text);
    return copy;
}

std::string tooltip(GtkWidget* widget) {
    gchar* text = gtk_widget_get_tooltip_text(widget);
    std::string copy = text ? text : "";
    g_free(text);
    return copy;
}

/// The name under which an image was loaded; empty when it shows none.
std::string iconName(GtkWidget* image) {
    const auto* name = static_cast<const char*>(g_object_get_data(G_OBJECT(image), "icon_name"));
    return name ? name : "";
}

/// Lets the main loop run; returns early once the condition holds.
template <typename Condition>
bool runLoopUntil(Condition condition, std::chrono::milliseconds at_most) {
    const auto end = std::chrono::steady_clock::now() + at_most;
    while (!condition() && std::chrono::steady_clock::now() < end) {
        settle();
        g_usleep(2000);
    }
    return condition();
}

class HelpViewInsideSnap : public testing::Test {
protected:
    GtkWidget* copyButton() const {
        const auto buttons = widgetsOfType(view_->container(), GTK_TYPE_BUTTON);
        return buttons.size() == 1 ? buttons[0] : nullptr;
    }
    std::string copyIcon() const { return iconName(gtk_button_get_image(GTK_BUTTON(copyButton()))); }
    bool saysCopied() const { return tooltip(copyButton()) == "Copied!"; }

    ScopedEnvironment environment_{kInside};
    std::unique_ptr<HelpView> view_ = std::make_unique<HelpView>();
};

TEST(HelpView, TellsAboutEverythingInOrder) {
    const ScopedEnvironment environment(kOutside);
    const HelpView view;
    std::vector<std::string> expected;
    for (const char* topic :
         {"menubar", "cpu", "gpu", "processes", "settings", "network", "memory", "temp"}) {
        const std::string key = std::string("help.") + topic;
        expected.push_back(L10n::tr((key + ".title").c_str()));
        expected.push_back(L10n::tr((key + ".text").c_str()));
    }
    EXPECT_EQ(labelTexts(view.container()), expected);
    EXPECT_EQ(expected.front(), "Panel Display");
}

TEST(HelpView, EverySectionHasItsIcon) {
    const ScopedEnvironment environment(kInside);
    const HelpView view;
    std::vector<std::string> icons;
    for (GtkWidget* image : widgetsOfType(view.container(), GTK_TYPE_IMAGE))
        icons.push_back(iconName(image));
    EXPECT_THAT(icons,
                ElementsAre("dialog-warning-symbolic", "edit-copy-symbolic", "view-grid-symbolic",
                            "utilities-system-monitor-symbolic", "video-display-symbolic",
                            "system-run-symbolic", "preferences-system-symbolic", "network-wired-symbolic",
                            "drive-harddisk-symbolic", "dialog-warning-symbolic"));
}

TEST(HelpView, OutsideTheSnapThereIsNothingToCopy) {
    for (const auto& unset : {kOutside, ScopedEnvironment::Variables{{"SNAP", ""}}}) {
        const ScopedEnvironment environment(unset);
        const HelpView view;
        EXPECT_THAT(widgetsOfType(view.container(), GTK_TYPE_BUTTON), SizeIs(0));
        EXPECT_THAT(widgetsOfType(view.container(), GTK_TYPE_ENTRY), SizeIs(0));
        EXPECT_EQ(labelTexts(view.container()).front(), "Panel Display");
    }
}

TEST(HelpView, TitlesAreBoldAndTextsSmaller) {
    const ScopedEnvironment environment(kOutside);
    const HelpView view;
    const DrawnStyle title{.points = 10, .weight = PANGO_WEIGHT_BOLD, .family = ""};
    const DrawnStyle text{.points = 9, .weight = PANGO_WEIGHT_NORMAL, .family = ""};
    EXPECT_EQ(drawnStyle(labelWithText(view.container(), "Panel Display")), title);
    EXPECT_EQ(drawnStyle(labelWithText(view.container(), L10n::tr("help.temp.text"))), text);
}

TEST(HelpView, FitsThePopupsWidthInEveryLanguage) {
    const ScopedEnvironment environment(kInside);
    for (const L10n::LanguageInfo& language : L10n::available()) {
        L10n::setLanguage(language.code);
        const HelpView view;
        const ShownPage page(view.container(), kPopupWidth);
        EXPECT_EQ(page.width(), kPopupWidth) << language.code;
    }
    L10n::setLanguage("en");
}

TEST_F(HelpViewInsideSnap, StartsWithTheCommandsForItsPermissions) {
    EXPECT_EQ(labelTexts(view_->container())[0], "Temperature, graphics or ending processes not working?");
    EXPECT_EQ(labelTexts(view_->container())[1], L10n::tr("help.sensors.text"));
    EXPECT_EQ(labelTexts(view_->container())[2], "Panel Display");

    std::vector<std::string> commands;
    for (GtkWidget* entry : widgetsOfType(view_->container(), GTK_TYPE_ENTRY)) {
        commands.emplace_back(gtk_entry_get_text(GTK_ENTRY(entry)));
        EXPECT_EQ(tooltip(entry), commands.back());
        EXPECT_FALSE(gtk_editable_get_editable(GTK_EDITABLE(entry)));
        EXPECT_TRUE(gtk_widget_get_hexpand(entry));
        EXPECT_EQ(drawnStyle(entry).family, "monospace");
    }
    EXPECT_THAT(commands, ElementsAre("sudo snap connect korvalune:hardware-observe",
                                      "sudo snap connect korvalune:process-control"));
}

TEST_F(HelpViewInsideSnap, ShowsTheCommandsWhole) {
    const ShownPage page(view_->container(), kPopupWidth);
    for (GtkWidget* entry : widgetsOfType(view_->container(), GTK_TYPE_ENTRY)) {
        int text_width = 0;
        pango_layout_get_pixel_size(gtk_entry_get_layout(GTK_ENTRY(entry)), &text_width, nullptr);
        GdkRectangle room;
        gtk_entry_get_text_area(GTK_ENTRY(entry), &room);
        EXPECT_LE(text_width, room.width) << gtk_entry_get_text(GTK_ENTRY(entry));
    }
}

TEST_F(HelpViewInsideSnap, CopiesAllCommandsAtOnce) {
    ASSERT_NE(copyButton(), nullptr);
    EXPECT_EQ(tooltip(copyButton()), "Copy");
    EXPECT_TRUE(gtk_button_get_always_show_image(GTK_BUTTON(copyButton())));
    EXPECT_STREQ(static_cast<const char*>(g_object_get_data(G_OBJECT(copyButton()), "cmd")), kCommands);

    EXPECT_EQ(copyIcon(), "edit-copy-symbolic");

    gtk_button_clicked(GTK_BUTTON(copyButton()));
    EXPECT_EQ(clipboardText(), kCommands);
    EXPECT_TRUE(saysCopied());
    EXPECT_STREQ(atk_object_get_name(gtk_widget_get_accessible(copyButton())), "Copied!");
    EXPECT_EQ(copyIcon(), "emblem-ok-symbolic");
    EXPECT_TRUE(gtk_widget_get_visible(gtk_button_get_image(GTK_BUTTON(copyButton()))));
}

TEST_F(HelpViewInsideSnap, OffersToCopyAgainTwoSecondsAfterTheLastClick) {
    using namespace std::chrono_literals;
    gtk_button_clicked(GTK_BUTTON(copyButton()));
    const bool forgotten = runLoopUntil([&] { return !saysCopied(); }, 1000ms);
    ASSERT_FALSE(forgotten);

    gtk_button_clicked(GTK_BUTTON(copyButton()));
    const auto last_click = std::chrono::steady_clock::now();
    ASSERT_TRUE(runLoopUntil([&] { return !saysCopied(); }, 5000ms));
    EXPECT_GE(std::chrono::steady_clock::now() - last_click, 1950ms);
    EXPECT_EQ(tooltip(copyButton()), "Copy");
    EXPECT_EQ(copyIcon(), "edit-copy-symbolic");

    gtk_button_clicked(GTK_BUTTON(copyButton()));
    EXPECT_TRUE(saysCopied());
}

TEST_F(HelpViewInsideSnap, KeepsOneResetPendingAndLeavesNoneBehind) {
    const auto pending = [view = view_.get()] {
        return g_main_context_find_source_by_user_data(nullptr, view);
    };
    EXPECT_EQ(pending(), nullptr);
    gtk_button_clicked(GTK_BUTTON(copyButton()));
    ASSERT_NE(pending(), nullptr);
    const guint first = g_source_get_id(pending());
    gtk_button_clicked(GTK_BUTTON(copyButton()));
    EXPECT_EQ(g_main_context_find_source_by_id(nullptr, first), nullptr);
    ASSERT_NE(pending(), nullptr);
    const guint second = g_source_get_id(pending());
    view_.reset();
    EXPECT_EQ(g_main_context_find_source_by_id(nullptr, second), nullptr);
}

}  // namespace
