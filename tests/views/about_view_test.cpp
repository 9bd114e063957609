#include "about_view.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fake_programs.h"
#include "l10n.h"
#include "label_style.h"
#include "maker.h"
#include "scoped_environment.h"
#include "shown_page.h"
#include "widget_tree.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr int kPopupWidth = 450;

const ScopedEnvironment::Variables kOutside = {{"SNAP", std::nullopt}};

ScopedEnvironment::Variables insideSnap(const std::string& version, const std::string& revision) {
    return {{"SNAP", "/snap/korvalune/7"}, {"SNAP_VERSION", version}, {"SNAP_REVISION", revision}};
}

std::vector<GtkWidget*> links(const AboutView& view) {
    return widgetsOfType(view.container(), GTK_TYPE_LINK_BUTTON);
}

DrawnStyle styleOf(const AboutView& view, const std::string& text) {
    GtkWidget* label = labelWithText(view.container(), text);
    return label ? drawnStyle(label) : DrawnStyle{};
}

DrawnStyle drawn(int points, int weight = PANGO_WEIGHT_NORMAL) {
    return {.points = points, .weight = weight, .family = ""};
}

/// Lets a program of our own open the links of a scheme of our own.
class LinkProgram {
public:
    LinkProgram() {
        programs_.script("open-link", "");
        programs_.script("update-desktop-database", "");  // run by GIO, which warns where it is missing
        info_ = g_app_info_create_from_commandline((programs_.path() + "/open-link %u").c_str(), "links",
                                                   G_APP_INFO_CREATE_SUPPORTS_URIS, nullptr);
        g_app_info_set_as_default_for_type(info_, kType, nullptr);
    }
    ~LinkProgram() {
        g_app_info_reset_type_associations(kType);
        g_app_info_delete(info_);
        g_object_unref(info_);
    }
    LinkProgram(const LinkProgram&) = delete;
    LinkProgram& operator=(const LinkProgram&) = delete;

    /// Whether it opens this link, waited for.
    bool opens(const std::string& link) const {
        const std::string run = "open-link " + link;
        for (int i = 0; i < 500; ++i) {
            const auto runs = programs_.runs();
            if (std::count(runs.begin(), runs.end(), run) == 1) return true;
            settle();
            g_usleep(10'000);
        }
        return false;
    }

private:
    static constexpr const char* kType = "x-scheme-handler/korvalune-test";

    FakePrograms programs_;
    GAppInfo* info_;
};

TEST(AboutView, NamesTheProductAndItsMaker) {
    const ScopedEnvironment environment(kOutside);
    const AboutView view;
    EXPECT_THAT(labelTexts(view.container()),
                ElementsAre("Korvalune", maker::kVersion, "Developed by", maker::kName, maker::kCompany,
                            maker::kNotice, maker::kSiteHost, maker::kContact, L10n::tr("about.oss.notice"),
                            "Disclaimer", L10n::tr("about.disclaimer.text")));
    EXPECT_THAT(widgetsOfType(view.container(), GTK_TYPE_SEPARATOR), SizeIs(4));
}

TEST(AboutView, SizesAndWeightsOfItsTexts) {
    const ScopedEnvironment environment(insideSnap("1.11", "7"));
    const AboutView view;
    EXPECT_EQ(styleOf(view, "Korvalune"), drawn(16, 700));
    EXPECT_EQ(styleOf(view, maker::kVersion), drawn(10));
    EXPECT_EQ(styleOf(view, "Snap 1.11 (Revision 7)"), drawn(9));
    EXPECT_EQ(styleOf(view, "Developed by"), drawn(10));
    EXPECT_EQ(styleOf(view, maker::kName), drawn(12, 600));
    EXPECT_EQ(styleOf(view, maker::kCompany), drawn(11, 500));
    EXPECT_EQ(styleOf(view, maker::kNotice), drawn(10));
    EXPECT_EQ(styleOf(view, L10n::tr("about.oss.notice")), drawn(8));
    EXPECT_EQ(styleOf(view, "Disclaimer"), drawn(10, 600));
    EXPECT_EQ(styleOf(view, L10n::tr("about.disclaimer.text")), drawn(8));
}

TEST(AboutView, NoticesStandAtTheLeft) {
    const AboutView view;
    for (const char* key : {"about.oss.notice", "about.disclaimer.text"}) {
        GtkLabel* label = GTK_LABEL(labelWithText(view.container(), L10n::tr(key)));
        EXPECT_EQ(gtk_label_get_xalign(label), kAtStart);
        EXPECT_TRUE(gtk_label_get_line_wrap(label));
    }
    EXPECT_EQ(gtk_label_get_xalign(GTK_LABEL(labelWithText(view.container(), "Korvalune"))), kCentered);
}

TEST(AboutView, TellsTheSnapsVersionInsideTheSnap) {
    const ScopedEnvironment environment(insideSnap("1.11+git3", "x1"));
    const AboutView view;
    EXPECT_EQ(labelTexts(view.container())[2], "Snap 1.11+git3 (Revision x1)");
    GtkWidget* label = labelWithText(view.container(), "Snap 1.11+git3 (Revision x1)");
    EXPECT_TRUE(gtk_label_get_selectable(GTK_LABEL(label)));
    EXPECT_FALSE(gtk_widget_get_can_focus(label));
}

TEST(AboutView, TellsNoSnapVersionElsewhere) {
    const ScopedEnvironment environment({{"SNAP", ""}, {"SNAP_VERSION", "1"}, {"SNAP_REVISION", "2"}});
    const AboutView view;
    EXPECT_EQ(labelTexts(view.container())[2], "Developed by");
}

TEST(AboutView, ABadSnapVersionIsShownHarmlessAndInsideThePage) {
    const ScopedEnvironment environment(insideSnap("\xff<b>\n" + std::string(300, 'x'), ""));
    const AboutView view;
    const std::string line = labelTexts(view.container())[2];
    EXPECT_TRUE(g_utf8_validate(line.c_str(), -1, nullptr));
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_NE(line.find("<b>"), std::string::npos);
    const ShownPage page(view.container(), kPopupWidth);
    EXPECT_EQ(page.width(), kPopupWidth);
}

TEST(AboutView, FitsThePopupsWidthInEveryLanguage) {
    for (const L10n::LanguageInfo& language : L10n::available()) {
        L10n::setLanguage(language.code);
        const AboutView view;
        const ShownPage page(view.container(), kPopupWidth);
        EXPECT_EQ(page.width(), kPopupWidth) << language.code;
    }
    L10n::setLanguage("en");
}

TEST(AboutView, LinksToTheMakersSiteAndMail) {
    const AboutView view;
    std::vector<std::string> uris;
    for (GtkWidget* link : links(view))
        uris.emplace_back(gtk_link_button_get_uri(GTK_LINK_BUTTON(link)));
    EXPECT_THAT(uris, ElementsAre(maker::kSite, std::string("mailto:") + maker::kContact));
    EXPECT_EQ(std::string(maker::kSite).find(std::string("://") + maker::kSiteHost), 5U);
}

TEST(AboutView, OpensALinkInTheDesktopsProgramAndTellsIt) {
    const LinkProgram program;
    AboutView view;
    int told = 0;
    view.on_link = [&told] { ++told; };
    gtk_link_button_set_uri(GTK_LINK_BUTTON(links(view)[0]), "korvalune-test:hello");
    gtk_button_clicked(GTK_BUTTON(links(view)[0]));
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(program.opens("korvalune-test:hello"));
}

TEST(AboutView, OpensALinkWithNobodyToTell) {
    const LinkProgram program;
    const AboutView view;
    gtk_link_button_set_uri(GTK_LINK_BUTTON(links(view)[1]), "korvalune-test:hello");
    gtk_button_clicked(GTK_BUTTON(links(view)[1]));
    EXPECT_TRUE(program.opens("korvalune-test:hello"));
}

/// Warnings end the tests.
TEST(AboutView, ALinkThatNoProgramOpensDoesNothing) {
    AboutView view;
    bool told = false;
    view.on_link = [&told] { told = true; };
    gtk_link_button_set_uri(GTK_LINK_BUTTON(links(view)[0]), "korvalune-unknown:hello");
    gtk_button_clicked(GTK_BUTTON(links(view)[0]));
    EXPECT_FALSE(told);
}

}  // namespace
