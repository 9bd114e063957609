#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cairo_handles.h"
#include "desktop_look.h"
#include "fake_kernel.h"
#include "generated_machine.h"
#include "l10n.h"
#include "page_faults.h"
#include "popup_window.h"
#include "scoped_environment.h"
#include "shown_popup.h"
#include "user_home.h"

/// All pages in one language, as they are on the screen:
///
///     pages_in_language CODE [DIRECTORY]
///
/// looks for texts that do not fit, and writes a picture of each page into the directory. As in the program,
/// the language is chosen once, before the first page is made.

namespace {

std::string g_code;
const std::string kName = "Isolated Web Co";
std::filesystem::path g_pictures;

using testing::IsEmpty;

/// The contents of a scrolled part, whole.
GtkWidget* contentOf(GtkWidget* scroller) {
    GtkWidget* inside = gtk_bin_get_child(GTK_BIN(scroller));
    return GTK_IS_VIEWPORT(inside) ? gtk_bin_get_child(GTK_BIN(inside)) : inside;
}

void savePicture(GtkWidget* widget, const std::string& name) {
    if (g_pictures.empty()) return;
    const int margin = gtk_widget_get_margin_start(widget);
    const int width = gtk_widget_get_allocated_width(widget) + 2 * margin;
    const int height = gtk_widget_get_allocated_height(widget) + 2 * margin;
    const CairoSurface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    const CairoContext context(cairo_create(surface.get()));
    gtk_render_background(gtk_widget_get_style_context(shownPopup()), context.get(), 0, 0, width, height);
    cairo_translate(context.get(), margin, margin);
    gtk_widget_draw(widget, context.get());
    const std::string file = (g_pictures / (name + ".png")).string();
    EXPECT_EQ(cairo_surface_write_to_png(surface.get(), file.c_str()), CAIRO_STATUS_SUCCESS) << file;
}

class PagesInLanguage : public testing::Test {
protected:
    // Confined in its package, the program has more to say: its help begins with how to lift that.
    PagesInLanguage()
        : snap_({{"SNAP", "/snap/korvalune/1"}, {"SNAP_VERSION", "1.0"}, {"SNAP_REVISION", "1"}}),
          machine_("--cores 8 --threads 2 --gpus 1 --gpu-processes 3"),
          info_(machine_.root()),
          popup_(info_, settings_) {
        info_.core_usages = info_.cpu_service_.getPerCoreUsage();
    }

    /// Long enough for what waits in the main loop; the layout does not wait for the next frame.
    static void settleFully() {
        for (int turn = 0; turn < 2; ++turn) {
            settle();
            gtk_container_check_resize(GTK_CONTAINER(shownPopup()));
            g_usleep(5'000);
        }
        settle();
    }

    void open(int tab) {
        popup_.showTab(tab, 640, 10);
        settleFully();
    }

    /// A page is as wide as its design has it, and nothing on it is amiss.
    static void expectFits(int width) {
        EXPECT_EQ(gtk_widget_get_allocated_width(shownPopup()), width) << "a text makes the page wider";
        EXPECT_THAT(faultsOf(shownPopup()), IsEmpty());
    }

    /// The part of the page that scrolls by itself.
    static GtkWidget* innerPart() {
        const auto scrollers = widgetsOfType(shownPopup(), GTK_TYPE_SCROLLED_WINDOW);
        for (GtkWidget* scroller : scrollers) {
            if (scroller != scrollers.front() && gtk_widget_get_mapped(scroller)) return contentOf(scroller);
        }
        return nullptr;
    }

    static GtkWidget* shownStackPage() {
        return gtk_stack_get_visible_child(GTK_STACK(widgetsOfType(shownPopup(), GTK_TYPE_STACK).front()));
    }

    static GtkWidget* mappedButton(const char* key) {
        const std::string wanted = L10n::tr(key);
        for (GtkWidget* button : widgetsOfType(shownPopup(), GTK_TYPE_BUTTON)) {
            const char* const text = gtk_button_get_label(GTK_BUTTON(button));
            if (text != nullptr && wanted == text && gtk_widget_get_mapped(button)) return button;
        }
        ADD_FAILURE() << "no button " << wanted;
        return nullptr;
    }

    static void press(const char* key) {
        GtkWidget* const button = mappedButton(key);
        if (button == nullptr) return;
        gtk_button_clicked(GTK_BUTTON(button));
        settleFully();
    }

    /// Selects the first process that is shown.
    static void selectProcess() {
        for (GtkWidget* row : widgetsOfType(shownPopup(), GTK_TYPE_EVENT_BOX)) {
            if (!gtk_widget_get_mapped(row)) continue;
            GdkEvent* const event = gdk_event_new(GDK_BUTTON_PRESS);
            event->button.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(row)));
            event->button.button = GDK_BUTTON_PRIMARY;
            gdk_event_set_device(
                event, gdk_seat_get_pointer(gdk_display_get_default_seat(gdk_display_get_default())));
            gtk_widget_event(row, event);
            gdk_event_free(event);
            settleFully();
            return;
        }
        ADD_FAILURE() << "no process is shown";
    }

    /// The shown page's headings of the table of processes.
    static std::vector<GtkWidget*> headings() {
        std::vector<GtkWidget*> found;
        for (GtkWidget* button : widgetsOfType(shownStackPage(), GTK_TYPE_BUTTON)) {
            const char* const text = gtk_button_get_label(GTK_BUTTON(button));
            for (const char* const key : {"header.process", "header.user", "header.mem", "header.cpu"}) {
                if (text != nullptr && std::string(text).starts_with(L10n::tr(key))) {
                    found.push_back(button);
                    break;
                }
            }
        }
        return found;
    }

    /// Invented ones, with pids beyond the kernel's greatest.
    void showProcesses() {
        std::vector<ProcessUsage> processes;
        const auto add = [&](const std::string& name, const char* user, double cpu, double memory) {
            const int pid = 2'000'000'000 + static_cast<int>(processes.size());
            processes.push_back(
                {.pid = pid, .name = name, .user = user, .cpu_usage = cpu, .memory_mb = memory});
        };
        add(kName, "mara", 335.8, 2867);
        add("kworker/3:1-evt", "root", 60.4, 1536);
        add("language-server", "mara", 23.5, 812);
        add("Xorg", "root", 3, 188);
        info_.top_processes = processes;
        info_.user_processes = processes;
        popup_.updateViews();
        settleFully();
    }

    /// How far to the right a character of a label's text begins, in Pango's units.
    static int placeOf(GtkWidget* label, std::size_t index) {
        PangoRectangle place{};
        pango_layout_index_to_pos(gtk_label_get_layout(GTK_LABEL(label)), static_cast<int>(index), &place);
        return std::min(place.x, place.x + place.width);
    }

    /// The fonts that draw a label's text, or what of it is in one script.
    static std::set<std::string> fontsOf(GtkWidget* label,
                                         std::optional<GUnicodeScript> script = std::nullopt) {
        std::set<std::string> fonts;
        PangoLayoutIter* const run = pango_layout_get_iter(gtk_label_get_layout(GTK_LABEL(label)));
        do {
            const PangoLayoutRun* const item = pango_layout_iter_get_run_readonly(run);
            if (item == nullptr || (script && item->item->analysis.script != *script)) continue;
            PangoFontDescription* const font = pango_font_describe(item->item->analysis.font);
            fonts.insert(pango_font_description_get_family(font));
            pango_font_description_free(font);
        } while (pango_layout_iter_next_run(run) != FALSE);
        pango_layout_iter_free(run);
        return fonts;
    }

    static std::set<std::string> fontsOfPage(GUnicodeScript script) {
        std::set<std::string> fonts;
        for (GtkWidget* label : widgetsOfType(shownPopup(), GTK_TYPE_LABEL))
            fonts.merge(fontsOf(label, script));
        return fonts;
    }

    void visitProcesses(int tab, const std::string& picture) {
        open(tab);
        expectFits(520);  // with what stands in place of a list at first
        showProcesses();
        selectProcess();
        expectFits(520);
        savePicture(shownPopup(), picture);
        for (const char* const action : {"terminate", "kill"}) {
            press(action);
            expectFits(520);
            savePicture(shownPopup(), picture + "-" + action);
            press("no");
        }
    }

    ScopedEnvironment snap_;
    UserHome home_;
    GeneratedMachine machine_;
    SystemInfo info_;
    Settings settings_;
    PopupWindow popup_;
};

TEST_F(PagesInLanguage, Cpu) {
    open(0);
    info_.cpu_temperature = 61.5;
    info_.average_cpu = 38.2;
    popup_.updateViews();
    settleFully();
    expectFits(420);
    savePicture(shownPopup(), "cpu");
}

TEST_F(PagesInLanguage, Gpu) {
    open(1);
    info_.gpu_usages = {{.utilization = 42,
                         .memory_utilization = 77,
                         .video_utilization = 0,
                         .model_name = "Radeon RX",
                         .processes = {{.pid = 1, .name = "Isolated Web Co", .vram_mb = 512}}}};
    popup_.updateViews();
    settleFully();
    expectFits(420);
    savePicture(shownPopup(), "gpu");
}

TEST_F(PagesInLanguage, WithoutGpu) {
    open(1);
    info_.gpu_usages.clear();
    popup_.updateViews();
    settleFully();
    expectFits(420);
    savePicture(shownPopup(), "no-gpu");
}

TEST_F(PagesInLanguage, Processes) {
    visitProcesses(2, "processes");
}

TEST_F(PagesInLanguage, MyProcesses) {
    visitProcesses(3, "my-processes");
}

TEST_F(PagesInLanguage, ProcessHeadersKeepToTheirColumnsWhicheverSorts) {
    open(2);
    showProcesses();
    ASSERT_EQ(headings().size(), 4U);
    for (std::size_t i = 0; i < 4; ++i) {
        gtk_button_clicked(GTK_BUTTON(headings().at(i)));
        settleFully();
        EXPECT_THAT(faultsOf(shownPopup()), IsEmpty());
    }
}

TEST_F(PagesInLanguage, Help) {
    open(4);
    expectFits(420);
    savePicture(shownStackPage(), "help");
}

TEST_F(PagesInLanguage, About) {
    open(5);
    expectFits(450);
    savePicture(shownPopup(), "about");
}

TEST_F(PagesInLanguage, Settings) {
    popup_.showSettings(640, 10);
    settleFully();
    expectFits(420);
    savePicture(shownPopup(), "settings");
    GtkWidget* const whole = innerPart();
    ASSERT_NE(whole, nullptr);
    savePicture(whole, "settings-whole");
}

TEST_F(PagesInLanguage, ParagraphsBeginWhereTheyAreReadFrom) {
    open(4);
    for (const char* const key :
         {"help.menubar.text", "help.cpu.text", "help.gpu.text", "help.processes.text", "help.settings.text",
          "help.network.text", "help.memory.text"}) {
        GtkWidget* const label = labelWithText(shownStackPage(), L10n::tr(key));
        ASSERT_NE(label, nullptr) << key;
        PangoRectangle text{};
        pango_layout_get_pixel_extents(gtk_label_get_layout(GTK_LABEL(label)), nullptr, &text);
        int left = 0;
        gtk_label_get_layout_offsets(GTK_LABEL(label), &left, nullptr);
        left += text.x;
        GtkAllocation room{};
        gtk_widget_get_allocation(label, &room);
        if (L10n::isRTL()) {
            EXPECT_NEAR(left + text.width, room.x + room.width, 1) << key;
        } else {
            EXPECT_NEAR(left, room.x, 1) << key;
        }
    }
}

TEST_F(PagesInLanguage, TheArrowPointsOutOfThePage) {
    open(0);
    GtkWidget* const back = widgetsOfType(shownPopup(), GTK_TYPE_BUTTON).front();
    GtkWidget* const label = widgetsOfType(back, GTK_TYPE_LABEL).front();
    const std::string text = gtk_label_get_text(GTK_LABEL(label));
    const std::size_t arrow = text.find("◀");
    const std::size_t word = text.find(L10n::tr("settings.back"));
    ASSERT_NE(arrow, std::string::npos);
    ASSERT_NE(word, std::string::npos);
    EXPECT_LT(placeOf(label, arrow), placeOf(label, word));
}

TEST_F(PagesInLanguage, NamesInQuestionsReadAsTheyAreWritten) {
    open(2);
    showProcesses();
    selectProcess();
    for (const char* const action : {"terminate", "kill"}) {
        press(action);
        GtkWidget* const question =
            labelWithText(shownStackPage(), L10n::tr(std::string("confirm.").append(action).c_str(), kName));
        ASSERT_NE(question, nullptr);
        const std::size_t begin = std::string(gtk_label_get_text(GTK_LABEL(question))).find(kName);
        ASSERT_NE(begin, std::string::npos);
        for (std::size_t i = 1; i < kName.size(); ++i)
            EXPECT_LT(placeOf(question, begin + i - 1), placeOf(question, begin + i)) << i;
        press("no");
    }
}

TEST_F(PagesInLanguage, FiguresLookTheSameWithLettersAndWithout) {
    open(2);
    showProcesses();
    const auto fonts = [](const char* text) { return fontsOf(labelWithText(shownStackPage(), text)); };
    EXPECT_EQ(fonts("335.8"), fonts("2.8G"));
    EXPECT_EQ(fonts("1"), fonts("Xorg"));
}

TEST_F(PagesInLanguage, PagesKeepTheirLayout) {
    open(0);
    for (GtkWidget* widget : allWidgets(shownPopup()))
        EXPECT_EQ(gtk_widget_get_direction(widget), GTK_TEXT_DIR_LTR) << G_OBJECT_TYPE_NAME(widget);
}

TEST_F(PagesInLanguage, CharactersHaveTheFormsOfTheLanguage) {
    const std::map<std::string, const char*> fonts{{"ja", "Noto Sans CJK JP"},
                                                   {"ko", "Noto Sans CJK KR"},
                                                   {"zh", "Noto Sans CJK SC"},
                                                   {"zh_TW", "Noto Sans CJK TC"}};
    const auto font = fonts.find(g_code);
    for (const int tab : {0, 2, 4}) {
        open(tab);
        const std::set<std::string> found =
            fontsOfPage(g_code == "ko" ? G_UNICODE_SCRIPT_HANGUL : G_UNICODE_SCRIPT_HAN);
        EXPECT_EQ(found, font == fonts.end() ? std::set<std::string>{} : std::set<std::string>{font->second});
    }
}

TEST_F(PagesInLanguage, EveryLanguageCanBeReadInTheListOfLanguages) {
    popup_.showSettings(640, 10);
    settleFully();
    for (const L10n::LanguageInfo& language : L10n::available())
        EXPECT_TRUE(isDrawable(shownPopup(), language.native_name)) << language.code;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    gtk_init(&argc, &argv);
    if (argc < 2 || argc > 3) {
        std::fputs("usage: pages_in_language CODE [DIRECTORY]\n", stderr);
        return 2;
    }
    g_code = argv[1];
    L10n::setLanguage(g_code);
    if (L10n::currentLanguage() != g_code) {
        std::fprintf(stderr, "there is no language %s\n", argv[1]);
        return 2;
    }
    if (argc == 3) {
        g_pictures = argv[2];
        std::filesystem::create_directories(g_pictures);
    }
    gtk_widget_set_default_direction(GTK_TEXT_DIR_RTL);  // as the toolkit does by itself on an Arabic desktop
    g_object_set(gtk_settings_get_default(), "gtk-enable-animations", FALSE, nullptr);
    applyLook(true, nullptr);
    return RUN_ALL_TESTS();
}
