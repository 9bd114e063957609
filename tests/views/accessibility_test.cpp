// What screen readers are told of all pages, in languages of different scripts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "accessible_tree.h"
#include "full_popup.h"
#include "i18n_data.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

bool isInside(GtkWidget* widget, GType type) {
    GtkWidget* const parent = gtk_widget_get_parent(widget);
    return parent != nullptr && gtk_widget_get_ancestor(parent, type) != nullptr;
}

/// A combo box's inner button has the focus, but the box speaks for it.
GtkWidget* speaker(GtkWidget* widget) {
    GtkWidget* const combo = gtk_widget_get_ancestor(widget, GTK_TYPE_COMBO_BOX);
    return combo != nullptr ? combo : widget;
}

bool isBlank(const std::string& text) {
    return text.find_first_not_of(' ') == std::string::npos;
}

/// Texts that stand out as English in another language.
std::vector<std::string> englishTexts() {
    constexpr std::size_t shortest = 4;
    const auto* const english = std::ranges::find_if(
        i18n_data::LANGS, [](const auto& row) { return std::strcmp(row.code, "en") == 0; });
    std::vector<std::string> texts;
    for (std::size_t key = 0; key < i18n_data::KEY_COUNT; ++key) {
        const std::string text = english->values[key];
        if (text.size() >= shortest && text != L10n::lookup(i18n_data::KEYS[key])) texts.push_back(text);
    }
    return texts;
}

class Accessibility : public FullPopup, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override { make(GetParam(), true); }
};

TEST_P(Accessibility, WhatTakesTheFocusHasANameAndARole) {
    forEachPage([](const std::string& page) {
        const auto tree = accessiblesBelow(gtk_widget_get_accessible(shownPopup()));
        for (GtkWidget* widget : focusable()) {
            AtkObject* const accessible = gtk_widget_get_accessible(speaker(widget));
            const std::string where =
                page + ": " + G_OBJECT_TYPE_NAME(widget) + " as " + described(accessible);
            EXPECT_FALSE(isBlank(nameOf(accessible))) << where;
            const AtkRole role = atk_object_get_role(accessible);
            EXPECT_TRUE(role != ATK_ROLE_UNKNOWN && role != ATK_ROLE_PANEL && role != ATK_ROLE_FILLER)
                << where;
            EXPECT_TRUE(std::ranges::any_of(tree, [&](const auto& each) { return each.get() == accessible; }))
                << where << " is not in the tree";
        }
    });
}

TEST_P(Accessibility, WhatIsOnlyAPictureHasAName) {
    forEachPage([](const std::string& page) {
        for (const GType type : {GTK_TYPE_IMAGE, GTK_TYPE_DRAWING_AREA}) {
            for (GtkWidget* picture : mapped(type)) {
                GtkWidget* const button = gtk_widget_get_ancestor(picture, GTK_TYPE_BUTTON);
                EXPECT_FALSE(isBlank(nameOf(button != nullptr ? speaker(button) : picture)))
                    << page << ": " << G_OBJECT_TYPE_NAME(picture);
            }
        }
    });
}

TEST_P(Accessibility, BarsSayWhatTheyShow) {
    std::set<std::string> pages;
    forEachPage([&](const std::string& page) {
        std::set<std::string> names;
        for (GtkWidget* bar : mapped(GTK_TYPE_DRAWING_AREA)) {
            const auto* const core = attached<BarData>(bar, "bar_data");
            const auto* const part = attached<UtilBarData>(bar, "ubar");
            if (core == nullptr && part == nullptr) continue;
            pages.insert(page);
            EXPECT_EQ(roleOf(bar), ATK_ROLE_LEVEL_BAR);
            const AccessibleValue value = valueOf(bar);
            EXPECT_EQ(value.current, core != nullptr ? core->usage : part->value);
            EXPECT_EQ(value.text, std::to_string(static_cast<int>(value.current)) + "%");
            EXPECT_EQ(value.lower, 0);
            EXPECT_EQ(value.upper, 100);
            EXPECT_TRUE(names.insert(nameOf(bar)).second || core == nullptr) << nameOf(bar) << " twice";
        }
    });
    EXPECT_THAT(pages, ElementsAre("cpu", "gpu"));
}

TEST_P(Accessibility, ControlsBesideALabelAreTiedToIt) {
    int tied = 0;
    forEachPage([&](const std::string& page) {
        for (const GType type : {GTK_TYPE_COMBO_BOX, GTK_TYPE_CHECK_BUTTON, GTK_TYPE_ENTRY}) {
            for (GtkWidget* control : mapped(type)) {
                if (isInside(control, GTK_TYPE_COLOR_CHOOSER_WIDGET)) continue;
                AtkObject* const accessible = gtk_widget_get_accessible(control);
                const std::string where = page + ": " + described(accessible);
                const auto labels = related(accessible, ATK_RELATION_LABELLED_BY);
                ASSERT_EQ(labels.size(), 1U) << where;
                EXPECT_EQ(nameOf(labels.front()), nameOf(accessible)) << where;
                if (type != GTK_TYPE_ENTRY) {
                    EXPECT_THAT(related(labels.front(), ATK_RELATION_LABEL_FOR), ElementsAre(accessible));
                }
                ++tied;
            }
        }
    });
    EXPECT_EQ(tied, 2 + 7 + 1 + 4) << "commands, items, autostart, lists";
}

TEST_P(Accessibility, TheWindowAndWhatScrollsAreCalledAsThePage) {
    const std::vector<std::string> titles{"CPU",
                                          "GPU",
                                          L10n::tr("tab.all.short"),
                                          L10n::tr("tab.my.short"),
                                          L10n::tr("tab.help"),
                                          L10n::tr("tab.about")};
    for (std::size_t tab = 0; tab < titles.size(); ++tab) {
        open(static_cast<int>(tab));
        EXPECT_EQ(nameOf(shownPopup()), titles[tab]);
        for (GtkWidget* scroller : mapped(GTK_TYPE_SCROLLED_WINDOW))
            EXPECT_EQ(nameOf(scroller), titles[tab]);
    }
}

TEST_P(Accessibility, NothingIsSaidInEnglish) {
    if (std::string(GetParam()) == "en") return;
    const std::vector<std::string> english = englishTexts();
    ASSERT_GT(english.size(), 50U);
    forEachPage([&](const std::string& page) {
        for (const auto& each : accessiblesBelow(gtk_widget_get_accessible(shownPopup()))) {
            GtkWidget* const widget = gtk_accessible_get_widget(GTK_ACCESSIBLE(each.get()));
            if (isInside(widget, GTK_TYPE_COLOR_CHOOSER_WIDGET)) continue;  // the toolkit's own
            if (nameOf(each.get()).starts_with("AMD ")) continue;           // a processor's
            const char* const description = atk_object_get_description(each.get());
            const std::string said = nameOf(each.get()) + "|" + (description != nullptr ? description : "");
            for (const std::string& text : english)
                EXPECT_EQ(said.find(text), std::string::npos) << page << ": " << described(each.get());
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Languages, Accessibility, testing::Values("en", "de", "ar", "ja"),
                         [](const auto& test) { return std::string(test.param); });

class AccessibleNames : public FullPopup {
protected:
    void SetUp() override { make("en", true); }

    static std::vector<std::string> namesOf(GType type) {
        std::vector<std::string> names;
        for (GtkWidget* widget : mapped(type))
            names.push_back(nameOf(widget));
        return names;
    }
};

TEST_F(AccessibleNames, CoresAreNumberedInTheirGroups) {
    open(0);
    EXPECT_THAT(namesOf(GTK_TYPE_DRAWING_AREA),
                ElementsAre("Physical 1", "Physical 2", "Logical 1", "Logical 2"));
}

TEST_F(AccessibleNames, CoresAreCalledSoInEveryLanguage) {
    for (const L10n::LanguageInfo& language : L10n::available()) {
        popup_.reset();
        make(language.code, true);
        open(0);
        for (const std::string& name : namesOf(GTK_TYPE_DRAWING_AREA)) {
            EXPECT_THAT(name, testing::MatchesRegex("[^%()]+[^ ] [1-2]")) << language.code;
            EXPECT_EQ(name.find("（"), std::string::npos) << language.code;
        }
    }
}

TEST_F(AccessibleNames, ABarFollowsItsCore) {
    open(0);
    GtkWidget* const bar = mapped(GTK_TYPE_DRAWING_AREA).front();
    for (const double usage : {0.0, 45.9, 100.0, 250.0, -1.0}) {
        info_.core_usages.front().usage = usage;
        popup_->updateViews();
        EXPECT_EQ(valueOf(bar).current, std::clamp(usage, 0.0, 100.0));
    }
    info_.core_usages.front().usage = std::numeric_limits<double>::quiet_NaN();
    popup_->updateViews();
    EXPECT_EQ(valueOf(bar).current, 0);
}

TEST_F(AccessibleNames, PartsOfAGraphicsCardAreCalledAsTheirLabels) {
    open(1);
    EXPECT_THAT(namesOf(GTK_TYPE_DRAWING_AREA),
                ElementsAre("GPU", "Memory", "Video", "GPU", "Memory", "Video"));
}

TEST_F(AccessibleNames, AnItemsControlsAreToldApart) {
    popup_->showSettings(640, 10);
    settleFully();
    GtkWidget* const row = gtk_widget_get_parent(mapped(GTK_TYPE_CHECK_BUTTON).front());
    std::vector<std::string> names;
    for (GtkWidget* widget : allWidgets(row)) {
        if (GTK_IS_BUTTON(widget) || GTK_IS_DRAWING_AREA(widget)) names.push_back(nameOf(widget));
    }
    EXPECT_THAT(names, ElementsAre("CPU % ↑", "CPU % ↓", "CPU % #4488FF",
                                   "CPU % " + Settings().hexColor(MenuBarItemType::CpuPercent), "CPU %"));
}

TEST_F(AccessibleNames, AColourButtonSaysItsNewColour) {
    popup_->showSettings(640, 10);
    settleFully();
    GtkWidget* const button = mapped(GTK_TYPE_COLOR_BUTTON).front();
    const GdkRGBA orange{1, 0.5, 0, 1};
    gtk_color_chooser_set_rgba(GTK_COLOR_CHOOSER(button), &orange);
    g_signal_emit_by_name(button, "color-set");
    EXPECT_EQ(nameOf(button), "CPU % #FF7F00");
}

TEST_F(AccessibleNames, AListSaysWhatIsChosen) {
    popup_->showSettings(640, 10);
    settleFully();
    const auto combos = mapped(GTK_TYPE_COMBO_BOX);
    ASSERT_EQ(nameOf(combos.at(1)), "Theme:");
    const AtkObjectPtr chosen(
        atk_selection_ref_selection(ATK_SELECTION(gtk_widget_get_accessible(combos.at(1))), 0));
    ASSERT_NE(chosen, nullptr);
    EXPECT_EQ(nameOf(chosen.get()), "Automatic");
}

TEST_F(AccessibleNames, TheQuestionIsToldWithItsAnswers) {
    open(2);
    gtk_widget_activate(mapped(GTK_TYPE_EVENT_BOX).front());
    settleFully();
    const auto told = [](const char* key) {
        return std::string(atk_object_get_description(
            gtk_widget_get_accessible(buttonWithText(shownPopup(), L10n::tr(key)))));
    };
    EXPECT_EQ(told("terminate"), "composer (2000000000)");
    EXPECT_EQ(told("kill"), "composer (2000000000)");
    press("kill");
    EXPECT_EQ(told("yes"), "Kill composer?");
    EXPECT_EQ(told("no"), "Kill composer?");
}

TEST_F(AccessibleNames, ARowIsAnItemThatCanBeChosen) {
    open(2);
    GtkWidget* const row = mapped(GTK_TYPE_EVENT_BOX).at(1);
    AtkObjectPtr item(static_cast<AtkObject*>(g_object_ref(gtk_widget_get_accessible(row))));
    EXPECT_EQ(atk_object_get_role(item.get()), ATK_ROLE_LIST_ITEM);
    EXPECT_EQ(atk_object_get_role(atk_object_get_parent(item.get())), ATK_ROLE_LIST);
    EXPECT_EQ(nameOf(item.get()), "composer (2000000001), mara, Mem 1.5G, CPU% 60.4");
    EXPECT_TRUE(hasState(item.get(), ATK_STATE_SELECTABLE));
    EXPECT_FALSE(hasState(item.get(), ATK_STATE_SELECTED));

    ASSERT_EQ(atk_action_get_n_actions(ATK_ACTION(item.get())), 1);
    EXPECT_STREQ(atk_action_get_name(ATK_ACTION(item.get()), 0), "activate");
    EXPECT_TRUE(atk_action_do_action(ATK_ACTION(item.get()), 0));
    settleFully();
    EXPECT_NE(labelWithText(shownPopup(), "composer (2000000001)"), nullptr);
    EXPECT_TRUE(hasState(gtk_widget_get_accessible(mapped(GTK_TYPE_EVENT_BOX).at(1)), ATK_STATE_SELECTED));

    // A reader that still holds the old row asks in vain, but harmlessly.
    EXPECT_TRUE(hasState(item.get(), ATK_STATE_DEFUNCT));
    EXPECT_FALSE(atk_action_do_action(ATK_ACTION(item.get()), 0));
    nameOf(item.get());
}

/// Counts, for as long as it lives, how often widgets of a kind are asked for what speaks for them.
class AskedFor {
public:
    explicit AskedFor(GtkWidget* one_of_them)
        : class_(GTK_WIDGET_GET_CLASS(one_of_them)), ask_(class_->get_accessible) {
        real_[class_] = ask_;
        class_->get_accessible = [](GtkWidget* widget) {
            ++times_;
            return real_.at(GTK_WIDGET_GET_CLASS(widget))(widget);
        };
    }
    ~AskedFor() { class_->get_accessible = ask_; }
    AskedFor(const AskedFor&) = delete;
    AskedFor& operator=(const AskedFor&) = delete;

    static int timesInAll() { return std::exchange(times_, 0); }

private:
    using Ask = AtkObject* (*)(GtkWidget*);

    inline static std::map<GtkWidgetClass*, Ask> real_;
    inline static int times_ = 0;
    GtkWidgetClass* class_;
    Ask ask_;
};

TEST_F(AccessibleNames, ARefreshAsksNothingOfThemWithoutAReader) {
    open(0);
    const AskedFor cores(mapped(GTK_TYPE_DRAWING_AREA).front());
    const AskedFor labels(mapped(GTK_TYPE_LABEL).front());
    gtk_widget_get_accessible(mapped(GTK_TYPE_DRAWING_AREA).front());
    EXPECT_EQ(AskedFor::timesInAll(), 1);
    popup_->updateViews();
    open(1);
    AskedFor::timesInAll();
    popup_->updateViews();
    EXPECT_EQ(AskedFor::timesInAll(), 0);
    open(2);
    const AskedFor rows(mapped(GTK_TYPE_EVENT_BOX).front());
    AskedFor::timesInAll();
    popup_->updateViews();
    EXPECT_EQ(AskedFor::timesInAll(), 0);
}

TEST_F(AccessibleNames, ABarThatIsGoneIsWorthNothing) {
    open(1);
    GtkWidget* const bar = mapped(GTK_TYPE_DRAWING_AREA).front();
    const AtkObjectPtr accessible(static_cast<AtkObject*>(g_object_ref(gtk_widget_get_accessible(bar))));
    popup_->updateViews();
    double value = -1;
    atk_value_get_value_and_text(ATK_VALUE(accessible.get()), &value, nullptr);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(nameOf(accessible.get()), "");
}

}  // namespace
