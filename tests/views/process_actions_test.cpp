// Selecting a process on a process page, and what the bar below the table then does to it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "process_page.h"
#include "sleeper.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class ProcessActionsTest : public ProcessViewTest {
protected:
    /// Two processes that don't exist.
    void SetUp() override { openWith({process(kNobody, "zsh", 2), process(kNobody + 1, "make", 1)}); }

    GtkWidget* zsh() const { return rows().at(0); }
    GtkWidget* make() const { return rows().at(1); }

    bool hasFocus(const char* key) const { return gtk_window_get_focus(GTK_WINDOW(window_)) == button(key); }

    int leftEdge(const char* key) const {
        int left = 0;
        gtk_widget_translate_coordinates(button(key), bar(), 0, 0, &left, nullptr);
        return left;
    }

    /// When a process began, in clock ticks from boot. No `)` in its name.
    static std::uint64_t startTimeOf(int pid) {
        std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
        std::string field;
        std::getline(stat, field, ')');
        for (int number = 3; number <= 22; ++number)
            stat >> field;
        return std::stoull(field);
    }

    static std::ptrdiff_t openDescriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
};

/// The desktop's double-click time, in milliseconds, while it lives.
class DoubleClickTime {
public:
    explicit DoubleClickTime(int milliseconds) {
        g_object_set(gtk_settings_get_default(), kProperty, milliseconds, nullptr);
    }
    ~DoubleClickTime() { gtk_settings_reset_property(gtk_settings_get_default(), kProperty); }
    DoubleClickTime(const DoubleClickTime&) = delete;
    DoubleClickTime& operator=(const DoubleClickTime&) = delete;

private:
    static constexpr const char* kProperty = "gtk-double-click-time";
};

/// While it lives, this process has nobody's rights instead of root's, which would signal every process.
class NobodysRights {
public:
    NobodysRights() {
        if (was_root_) takeFrom(65534);
    }
    ~NobodysRights() {
        if (was_root_) takeFrom(0);
    }
    NobodysRights(const NobodysRights&) = delete;
    NobodysRights& operator=(const NobodysRights&) = delete;

private:
    static void takeFrom(uid_t user) { EXPECT_EQ(setresuid(user, user, 0), 0); }

    const bool was_root_ = geteuid() == 0;
};

const std::vector<std::string> kActions{"term_btn", "kill_btn"};
const std::vector<std::string> kAnswers{"yes_btn", "no_btn"};

}  // namespace

// --- The bar ---

TEST_F(ProcessActionsTest, TheBarIsHiddenUntilAProcessIsSelected) {
    EXPECT_FALSE(gtk_widget_get_visible(bar()));
    gtk_widget_show_all(window_);
    EXPECT_FALSE(gtk_widget_get_visible(bar()));
    press(zsh());
    EXPECT_EQ(barText(), "zsh (2000000000)");
    EXPECT_EQ(offers(), kActions);
    GtkWidget* label = labelWithText(bar(), barText());
    EXPECT_TRUE(gtk_widget_get_mapped(label));
    EXPECT_EQ(styleOf(label), "9pt 400 monospace");
    EXPECT_EQ(gtk_label_get_ellipsize(GTK_LABEL(label)), PANGO_ELLIPSIZE_END);
    EXPECT_EQ(gtk_label_get_xalign(GTK_LABEL(label)), 0);
    EXPECT_TRUE(gtk_widget_get_hexpand(label));
}

TEST_F(ProcessActionsTest, ButtonsReadFromLeftToRight) {
    EXPECT_STREQ(gtk_button_get_label(GTK_BUTTON(button("term_btn"))), "Terminate");
    EXPECT_STREQ(gtk_button_get_label(GTK_BUTTON(button("kill_btn"))), "Kill");
    EXPECT_STREQ(gtk_button_get_label(GTK_BUTTON(button("yes_btn"))), "Yes");
    EXPECT_STREQ(gtk_button_get_label(GTK_BUTTON(button("no_btn"))), "No");
    press(zsh());
    EXPECT_TRUE(comesTrue([this] { return leftEdge("term_btn") > 100; }));
    EXPECT_LT(leftEdge("term_btn"), leftEdge("kill_btn"));
    clickButton("term_btn");
    EXPECT_TRUE(comesTrue([this] { return leftEdge("yes_btn") > 100; }));
    EXPECT_LT(leftEdge("yes_btn"), leftEdge("no_btn"));
    for (const char* key : {"yes_btn", "no_btn", "term_btn", "kill_btn"})
        EXPECT_TRUE(gtk_widget_get_can_focus(button(key))) << key;
}

TEST_F(ProcessActionsTest, TheBarAsksBeforeItActs) {
    press(zsh());
    clickButton("term_btn");
    EXPECT_EQ(barText(), "Terminate zsh?");
    EXPECT_EQ(offers(), kAnswers);
    clickButton("no_btn");
    EXPECT_EQ(barText(), "zsh (2000000000)");
    EXPECT_EQ(offers(), kActions);
    clickButton("kill_btn");
    EXPECT_EQ(barText(), "Kill zsh?");
    EXPECT_EQ(offers(), kAnswers);
    clickButton("yes_btn");
    EXPECT_THAT(offers(), IsEmpty());
}

TEST_F(ProcessActionsTest, AnotherClickOnTheSelectedRowDropsTheSelectionInAnyState) {
    for (const char* asked : {"", "term_btn", "kill_btn"}) {
        press(zsh());
        if (*asked != '\0') clickButton(asked);
        press(zsh());
        EXPECT_THAT(offers(), IsEmpty()) << asked;
        settle();
        EXPECT_THAT(highlighted(), IsEmpty());
    }
    press(zsh());
    EXPECT_EQ(offers(), kActions);
}

TEST_F(ProcessActionsTest, AClickOnAnotherRowSelectsThatAndAsksNoMore) {
    press(zsh());
    clickButton("kill_btn");
    press(make());
    EXPECT_EQ(barText(), "make (2000000001)");
    EXPECT_EQ(offers(), kActions);
}

TEST_F(ProcessActionsTest, HidingTheBarDropsTheSelection) {
    press(zsh());
    clickButton("kill_btn");
    view_->hideActionBar();
    EXPECT_THAT(offers(), IsEmpty());
    settle();
    EXPECT_THAT(highlighted(), IsEmpty());
    press(zsh());
    EXPECT_EQ(offers(), kActions);
}

TEST_F(ProcessActionsTest, AHiddenButtonDoesNotTurnTheQuestionIntoTheOther) {
    press(zsh());
    clickButton("term_btn");
    clickButton("kill_btn");
    EXPECT_EQ(barText(), "Terminate zsh?");
    clickButton("term_btn");
    EXPECT_THAT(offers(), IsEmpty());
}

TEST_F(ProcessActionsTest, TheKeyboardGoesFromTheActionToTheHarmlessAnswer) {
    press(zsh());
    gtk_widget_grab_focus(button("kill_btn"));
    clickButton("kill_btn");
    EXPECT_TRUE(hasFocus("no_btn"));
    clickButton("no_btn");
    EXPECT_TRUE(hasFocus("term_btn"));
    gtk_widget_grab_focus(titles()[0]);
    press(make());
    EXPECT_FALSE(hasFocus("term_btn"));
}

// --- Double clicks ---

TEST_F(ProcessActionsTest, ADoubleClickDoesNotAnswerItsOwnQuestion) {
    const DoubleClickTime endless(3'600'000);
    const Sleeper target;
    view_->onProcessSelected(target.pid(), "sleeper");
    settle();
    for (const char* action : {"term_btn", "kill_btn"}) {
        click(button(action));
        settle();
        ASSERT_EQ(offers(), kAnswers) << action;
        for (const char* answer : {"yes_btn", "no_btn"}) {
            click(button(answer));
            settle();
            EXPECT_EQ(offers(), kAnswers) << action << answer;
        }
        clickButton("no_btn");
        settle();
    }
    EXPECT_TRUE(target.isAlive());
}

TEST_F(ProcessActionsTest, AClickElsewhereAnswersAtOnce) {
    const DoubleClickTime endless(3'600'000);
    Sleeper target;
    view_->onProcessSelected(target.pid(), "sleeper");
    settle();
    click(button("term_btn"), 100);
    settle();
    click(button("yes_btn"), 104);
    settle();
    EXPECT_EQ(offers(), kAnswers);
    click(button("yes_btn"), 120);
    ASSERT_THAT(offers(), IsEmpty());
    EXPECT_EQ(target.awaitEnd(), SIGTERM);
}

TEST_F(ProcessActionsTest, AClickAfterTheDoubleClickTimeAnswers) {
    const DoubleClickTime short_(20);
    Sleeper target;
    view_->onProcessSelected(target.pid(), "sleeper");
    for (const char* answer : {"no_btn", "yes_btn"}) {
        settle();
        click(button("term_btn"));
        settle();
        ASSERT_EQ(offers(), kAnswers);
        g_usleep(20'000);
        click(button(answer));
        ASSERT_NE(offers(), kAnswers) << answer;
    }
    EXPECT_EQ(target.awaitEnd(), SIGTERM);
}

TEST_F(ProcessActionsTest, TheKeyboardMayAnswerAtOnce) {
    const DoubleClickTime endless(3'600'000);
    press(zsh());
    clickButton("term_btn");
    settle();
    gtk_widget_activate(button("yes_btn"));
    EXPECT_TRUE(comesTrue([this] { return offers().empty(); }));
}

// --- Rows ---

TEST_F(ProcessActionsTest, TheSelectedRowStandsOutAtOnceButNotWithinItsOwnHandler) {
    GtkWidget* row = zsh();
    EXPECT_TRUE(press(row));
    EXPECT_EQ(zsh(), row);
    settle();
    EXPECT_THAT(highlighted(), ElementsAre(kNobody));
    press(make());
    settle();
    EXPECT_THAT(highlighted(), ElementsAre(kNobody + 1));
}

TEST_F(ProcessActionsTest, AnyMouseButtonSelectsAndADoubleClickIsTwoClicks) {
    for (const guint number : {1U, 2U, 3U}) {
        press(zsh(), GDK_BUTTON_PRESS, number);
        EXPECT_EQ(offers(), kActions) << number;
        press(zsh(), GDK_BUTTON_PRESS, number);
        EXPECT_TRUE(press(zsh(), GDK_2BUTTON_PRESS, number));
        EXPECT_THAT(offers(), IsEmpty()) << number;
        press(zsh(), GDK_BUTTON_PRESS, number);
        EXPECT_TRUE(press(zsh(), GDK_3BUTTON_PRESS, number));
        EXPECT_EQ(offers(), kActions) << number;
        press(zsh(), GDK_BUTTON_PRESS, number);
    }
}

TEST_F(ProcessActionsTest, TheSelectionOutlivesRefreshesAbsenceAndClosing) {
    press(zsh());
    info_.top_processes = {process(kNobody + 1, "make")};
    view_->update();
    EXPECT_EQ(barText(), "zsh (2000000000)");
    EXPECT_THAT(highlighted(), IsEmpty());
    gtk_widget_hide(window_);
    settle();
    gtk_widget_show_all(window_);
    info_.top_processes.clear();
    view_->update();
    info_.top_processes = {process(kNobody + 1, "make"), process(kNobody, "zsh")};
    view_->update();
    EXPECT_EQ(barText(), "zsh (2000000000)");
    EXPECT_EQ(offers(), kActions);
    EXPECT_THAT(highlighted(), ElementsAre(kNobody));
}

// --- Names from elsewhere ---

TEST_F(ProcessActionsTest, TheBarShowsAnyNameAsHarmlessText) {
    view_->onProcessSelected(kNobody,
                             "<b>%s%n\n\xff"
                             "\xe2\x80\xae");
    EXPECT_EQ(barText(), "<b>%s%n��� (2000000000)");
    clickButton("kill_btn");
    EXPECT_EQ(barText(), "Kill <b>%s%n���?");
}

TEST_F(ProcessActionsTest, LongNamesAreCutBetweenCharacters) {
    for (int lead = 0; lead < 4; ++lead) {
        std::string name(static_cast<std::size_t>(lead), 'x');
        for (int i = 0; i < 300; ++i)
            name += "€";
        view_->onProcessSelected(kNobody + lead, name);
        EXPECT_LE(barText().size(), 255U);
        EXPECT_GT(barText().size(), 252U);
        EXPECT_TRUE(g_utf8_validate(barText().c_str(), -1, nullptr));
        clickButton("term_btn");
        EXPECT_LE(barText().size(), 511U);
        EXPECT_GT(barText().size(), 508U);
        EXPECT_TRUE(g_utf8_validate(barText().c_str(), -1, nullptr));
    }
    // 242 + " (2000000000)" is 255 bytes.
    view_->onProcessSelected(kNobody, std::string(242, 'x'));
    EXPECT_THAT(barText(), EndsWith("x (2000000000)"));
    view_->onProcessSelected(kNobody + 1, std::string(243, 'x'));
    EXPECT_THAT(barText(), EndsWith("x (2000000001"));
}

// --- Signals ---

TEST_F(ProcessActionsTest, YesTerminatesOrKillsTheSelectedProcess) {
    for (const auto& [asked, number] : {std::pair("term_btn", SIGTERM), std::pair("kill_btn", SIGKILL)}) {
        Sleeper target;
        Sleeper bystander;
        info_.top_processes = {process(target.pid(), "sleeper"), process(bystander.pid(), "other")};
        view_->update();
        press(rows().at(0));
        clickButton(asked);
        EXPECT_TRUE(target.isAlive());
        clickButton("yes_btn");
        EXPECT_EQ(target.awaitEnd(), number);
        EXPECT_TRUE(bystander.isAlive());
        EXPECT_THAT(offers(), IsEmpty());
        settle();
        EXPECT_THAT(highlighted(), IsEmpty());
    }
}

TEST_F(ProcessActionsTest, AHiddenActionButtonIsAYesToItsOwnQuestion) {
    for (const auto& [asked, number] : {std::pair("term_btn", SIGTERM), std::pair("kill_btn", SIGKILL)}) {
        Sleeper target;
        view_->onProcessSelected(target.pid(), "sleeper");
        clickButton(asked);
        clickButton(asked);
        EXPECT_EQ(target.awaitEnd(), number);
        EXPECT_THAT(offers(), IsEmpty());
    }
}

TEST_F(ProcessActionsTest, OnlyTheProcessThatTheRowShowsIsSignalled) {
    Sleeper target;
    ProcessUsage row = process(target.pid(), "sleeper");
    const std::uint64_t start_time = startTimeOf(target.pid());
    const std::string selection = "sleeper (" + std::to_string(target.pid()) + ")";
    for (const std::uint64_t shown : {start_time - 1, start_time + 1, start_time}) {
        row.start_time = shown;
        info_.top_processes = {process(kNobody, "zsh"), row};
        view_->update();
        press(rows().at(1));
        EXPECT_EQ(barText(), selection);
        EXPECT_TRUE(target.isAlive());
        clickButton("kill_btn");
        clickButton("yes_btn");
        EXPECT_THAT(offers(), IsEmpty());
        if (shown != start_time) g_usleep(20'000);
    }
    EXPECT_EQ(target.awaitEnd(), SIGKILL);
}

TEST_F(ProcessActionsTest, NoAndDeselectingSendNothing) {
    const Sleeper target;
    view_->onProcessSelected(target.pid(), "sleeper");
    clickButton("kill_btn");
    clickButton("no_btn");
    clickButton("term_btn");
    view_->onProcessSelected(target.pid(), "sleeper");
    EXPECT_THAT(offers(), IsEmpty());
    clickButton("yes_btn");
    settle();
    EXPECT_TRUE(target.isAlive());
}

TEST_F(ProcessActionsTest, AnEndedProcessJustLeavesTheBar) {
    Sleeper target;
    view_->onProcessSelected(target.pid(), "sleeper");
    clickButton("term_btn");
    target.end();
    clickButton("yes_btn");
    EXPECT_THAT(offers(), IsEmpty());
}

TEST_F(ProcessActionsTest, AProcessOfAnotherUserJustLeavesTheBar) {
    const NobodysRights rights;
    if (kill(1, 0) == 0) GTEST_SKIP() << "every process is this user's";
    view_->onProcessSelected(1, "init");
    EXPECT_EQ(barText(), "init (1)");
    clickButton("kill_btn");
    clickButton("yes_btn");
    EXPECT_THAT(offers(), IsEmpty());
    EXPECT_NE(kill(1, 0), 0);
    EXPECT_EQ(errno, EPERM);
}

// --- Ends ---

TEST_F(ProcessActionsTest, ASelectionHoldsNothingBeyondItsEnd) {
    const Sleeper target;
    const Sleeper other;
    const auto before = openDescriptors();
    for (int i = 0; i < 100; ++i) {
        view_->onProcessSelected(target.pid(), "sleeper");
        view_->onProcessSelected(other.pid(), "other");
        if (i % 2 == 0) view_->onProcessSelected(other.pid(), "other");
        EXPECT_LE(openDescriptors(), before + 1);
    }
    view_->hideActionBar();
    EXPECT_EQ(openDescriptors(), before);
    view_->onProcessSelected(target.pid(), "sleeper");
    view_.reset();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ProcessActionsTest, AViewMayEndRightAfterAClick) {
    press(zsh());
    view_.reset();
    settle();
}
