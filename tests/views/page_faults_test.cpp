#include "page_faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "laid_out_page.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kWidth = 420;

GtkWidget* newPlainLabel(const char* text) {
    GtkWidget* label = gtk_label_new(text);
    gtk_widget_show(label);
    return label;
}

void place(GtkWidget* widget, int x, int y, int width, int height) {
    GtkAllocation area{x, y, width, height};
    gtk_widget_size_allocate(widget, &area);
}

/// A page with two labels one below the other.
struct TwoLabels {
    TwoLabels() : page(box, kWidth) { page.layOut(); }

    GtkWidget* first = newPlainLabel("First");
    GtkWidget* second = newPlainLabel("Second");
    GtkWidget* box = [this] {
        GtkWidget* made = newColumnBox(4);
        pack(made, first);
        pack(made, second);
        return made;
    }();
    LaidOutPage page;
};

}  // namespace

TEST(PageFaults, NothingIsAmissOnAPageWithRoom) {
    const TwoLabels page;
    EXPECT_THAT(faultsOf(page.page.window()), IsEmpty());
}

TEST(PageFaults, NamesCharactersThatNoFontHas) {
    const TwoLabels page;
    gtk_label_set_text(GTK_LABEL(page.first), "\U0010FFFD");
    page.page.layOut();
    EXPECT_THAT(faultsOf(page.page.window()), ElementsAre(HasSubstr("1 characters in no font")));
    EXPECT_FALSE(isDrawable(page.first, "a\U0010FFFD"));
    EXPECT_TRUE(isDrawable(page.first, "a日本語العربية"));
}

TEST(PageFaults, NamesTextsThatAreCutOff) {
    const TwoLabels page;
    ellipsizeToRoom(page.first);
    gtk_label_set_text(GTK_LABEL(page.first), std::string(200, 'x').c_str());
    page.page.layOut();
    EXPECT_THAT(faultsOf(page.page.window()), ElementsAre(HasSubstr("is cut off")));
}

TEST(PageFaults, NamesTextsWithTooLittleRoom) {
    const TwoLabels page;
    place(page.first, 0, 0, 10, 40);
    place(page.second, 0, 50, 400, 5);
    EXPECT_THAT(faultsOf(page.page.window()),
                ElementsAre(HasSubstr("pixels wide in 10"), HasSubstr("pixels high in 5")));
}

TEST(PageFaults, NamesWidgetsThatStandOutOfThePage) {
    const TwoLabels page;
    place(page.first, 300, 0, 200, 20);
    EXPECT_THAT(faultsOf(page.page.window()),
                ElementsAre(HasSubstr("\"First\" stands out of the page: 300 to 500")));
}

TEST(PageFaults, NamesWidgetsThatLieUponEachOther) {
    const TwoLabels page;
    place(page.first, 0, 0, 200, 30);
    place(page.second, 100, 20, 200, 30);
    EXPECT_THAT(faultsOf(page.page.window()), ElementsAre("\"First\" lies upon \"Second\""));
}

TEST(PageFaults, NamesChosenTextsWiderThanTheirList) {
    GtkWidget* combo = gtk_combo_box_text_new();
    gtk_combo_box_text_append_text(GTK_COMBO_BOX_TEXT(combo), std::string(80, 'x').c_str());
    gtk_combo_box_set_active(GTK_COMBO_BOX(combo), 0);
    GList* cells = gtk_cell_layout_get_cells(GTK_CELL_LAYOUT(combo));
    g_object_set(cells->data, "ellipsize", PANGO_ELLIPSIZE_END, nullptr);
    g_list_free(cells);
    gtk_widget_show(combo);
    const LaidOutPage page(combo, 200);
    EXPECT_THAT(faultsOf(page.window()), ElementsAre(HasSubstr("the text chosen in a list")));
}
