#include <gmock/gmock.h>

#include "settings_page.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using Type = MenuBarItemType;

class SettingsViewItems : public SettingsPageTest {
protected:
    std::vector<Type> order() const {
        std::vector<Type> types;
        for (const MenuBarItem& item : settings_->items_)
            types.push_back(item.type);
        return types;
    }
    std::string nameOf(std::size_t index) const { return labelTexts(row(index)).at(0); }
    bool isOn(std::size_t index) const {
        return gtk_style_context_has_class(gtk_widget_get_style_context(row(index)), "setting-row-on");
    }
    /// A colour is chosen for the row's button, as the sheet does it.
    void choose(std::size_t index, const GdkRGBA& color) const {
        gtk_color_chooser_set_rgba(GTK_COLOR_CHOOSER(colorButton(index)), &color);
        g_signal_emit_by_name(colorButton(index), "color-set");
    }
    void writeManyBars(int count) const {
        std::string text = "[items]\n";
        for (int i = 0; i < count; ++i)
            text += "cpuBars=true\n";
        writeFile(file_, text);
    }
    GtkWidget* focus() const { return gtk_window_get_focus(window()); }
};

TEST_F(SettingsViewItems, HaveARowEachInTheirOrder) {
    writeFile(file_, "[items]\nswapUsed=false\n");
    make();
    ASSERT_EQ(rows().size(), 7U);
    EXPECT_EQ(nameOf(0), "Swap Used");
    EXPECT_EQ(nameOf(1), "CPU %");
    EXPECT_EQ(nameOf(2), "CPU Bars");
    EXPECT_FALSE(isOn(0));
    EXPECT_TRUE(isOn(1));
    EXPECT_FALSE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(check(0))));
    EXPECT_TRUE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(check(1))));
}

TEST_F(SettingsViewItems, HaveADotOfTheirTypesOwnColour) {
    make();
    const struct {
        std::size_t row;
        int red, green, blue;
    } dots[] = {{0, 68, 136, 255}, {1, 0, 204, 204},  {2, 255, 136, 0}, {3, 170, 68, 255},
                {4, 68, 204, 68},  {5, 68, 204, 204}, {6, 255, 68, 68}};
    for (const auto& [index, red, green, blue] : dots) {
        GtkWidget* const dot = only(row(index), GTK_TYPE_DRAWING_AREA);
        EXPECT_NE(g_object_get_data(G_OBJECT(dot), "color"), nullptr);
        cairo_surface_t* const picture = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 12, 12);
        cairo_t* const context = cairo_create(picture);
        gboolean drawn = FALSE;
        g_signal_emit_by_name(dot, "draw", context, &drawn);
        EXPECT_TRUE(drawn);
        cairo_surface_flush(picture);
        const unsigned char* const bytes = cairo_image_surface_get_data(picture);
        const std::ptrdiff_t stride = cairo_image_surface_get_stride(picture);
        const unsigned char* const middle = bytes + 6 * stride + 24;
        EXPECT_NEAR(middle[2], red, 1) << index;
        EXPECT_NEAR(middle[1], green, 1) << index;
        EXPECT_NEAR(middle[0], blue, 1) << index;
        EXPECT_EQ(middle[3], 255);
        EXPECT_EQ(bytes[6 * stride + 3], 0) << "a radius of five leaves the edge free";
        EXPECT_GT(bytes[6 * stride + 4 + 3], 200);
        EXPECT_EQ(bytes[3], 0) << "and the corners";
        cairo_destroy(context);
        cairo_surface_destroy(picture);
    }
}

TEST_F(SettingsViewItems, EndsOfTheListGoNoFurther) {
    make();
    EXPECT_FALSE(gtk_widget_get_sensitive(up(0)));
    EXPECT_TRUE(gtk_widget_get_sensitive(down(0)));
    EXPECT_TRUE(gtk_widget_get_sensitive(up(3)));
    EXPECT_TRUE(gtk_widget_get_sensitive(down(3)));
    EXPECT_TRUE(gtk_widget_get_sensitive(up(6)));
    EXPECT_FALSE(gtk_widget_get_sensitive(down(6)));
}

TEST_F(SettingsViewItems, MoveUpAndDownAndAreSaved) {
    show();
    EXPECT_EQ(GPOINTER_TO_INT(g_object_get_data(G_OBJECT(down(2)), "idx")), 2);
    click(down(0));
    EXPECT_EQ(changes_, 1);
    EXPECT_EQ(nameOf(0), "CPU Bars");
    EXPECT_EQ(nameOf(1), "CPU %");
    EXPECT_THAT(contentOf(file_), HasSubstr("[items]\ncpuBars=true\ncpuPercent=true\ntemperature=true\n"));
    click(up(6));
    EXPECT_EQ(changes_, 2);
    EXPECT_THAT(order(), ElementsAre(Type::CpuBars, Type::CpuPercent, Type::Temperature, Type::GpuPercent,
                                     Type::NetworkSpeed, Type::SwapUsed, Type::MemoryFree));
    EXPECT_TRUE(gtk_widget_get_visible(up(5)));
}

TEST_F(SettingsViewItems, KeepTheFocusOnTheirButtonWhenMoved) {
    show();
    gtk_widget_grab_focus(down(1));
    click(down(1));
    settleFor(50);
    EXPECT_EQ(focus(), down(2));
    click(focus());
    settleFor(50);
    EXPECT_EQ(focus(), down(3));
    for (const int last : {4, 5}) {
        click(focus());
        settleFor(50);
        EXPECT_EQ(focus(), down(static_cast<std::size_t>(last)));
    }
    click(focus());
    settleFor(50);
    EXPECT_EQ(nameOf(6), "CPU Bars");
    EXPECT_EQ(focus(), up(6)) << "there it goes no further down";
}

TEST_F(SettingsViewItems, MovedStayWhereTheyWereSeen) {
    writeManyBars(40);
    show();
    gtk_adjustment_set_value(position(), 600);
    settleFor(50);
    ASSERT_EQ(gtk_adjustment_get_value(position()), 600);
    click(up(20));
    settleFor(50);
    EXPECT_EQ(gtk_adjustment_get_value(position()), 600);
    EXPECT_EQ(focus(), up(19));
}

TEST_F(SettingsViewItems, MovedOutOfSightComeIntoSight) {
    writeManyBars(12);
    show();
    gtk_widget_grab_focus(down(0));
    for (int i = 0; i < 15; ++i) {
        click(down(static_cast<std::size_t>(i)));
        settleFor(30);
        ASSERT_EQ(focus(), down(static_cast<std::size_t>(i) + 1));
    }
    int y = -1;
    gtk_widget_translate_coordinates(focus(), GTK_WIDGET(scrolled()), 0, 0, nullptr, &y);
    EXPECT_GE(y, 0);
    EXPECT_LE(y + gtk_widget_get_allocated_height(focus()),
              gtk_widget_get_allocated_height(GTK_WIDGET(scrolled())));
}

TEST_F(SettingsViewItems, SwitchedOffAreSavedAndLookTheSameUntilTheNextMove) {
    show();
    toggle(check(2));
    EXPECT_EQ(changes_, 1);
    EXPECT_FALSE(settings_->items_[2].enabled);
    EXPECT_THAT(contentOf(file_), HasSubstr("temperature=false\n"));
    EXPECT_TRUE(isOn(2));
    toggle(check(2));
    EXPECT_EQ(changes_, 2);
    EXPECT_THAT(contentOf(file_), HasSubstr("temperature=true\n"));
    toggle(check(2));
    page_->rebuild();
    EXPECT_FALSE(isOn(2));
    EXPECT_EQ(changes_, 3);
}

TEST_F(SettingsViewItems, HaveAColourButtonButForTheBars) {
    show();
    EXPECT_TRUE(widgetsOfType(row(1), GTK_TYPE_COLOR_BUTTON).empty());
    EXPECT_EQ(widgetsOfType(page(), GTK_TYPE_COLOR_BUTTON).size(), 6U);
    EXPECT_EQ(GPOINTER_TO_INT(g_object_get_data(G_OBJECT(colorButton(4)), "item_type")), 4);
    EXPECT_EQ(shownColor(colorButton(0)), "rgb(255,110,180)");
    EXPECT_EQ(shownColor(colorButton(6)), "rgb(255,96,112)");
    EXPECT_EQ(gtk_widget_get_allocated_width(colorButton(0)), 28);
    EXPECT_EQ(gtk_widget_get_allocated_height(colorButton(0)), 28);
}

TEST_F(SettingsViewItems, ColoursAreStoredInHexadecimalDigitsCutOff) {
    make();
    choose(2, {1.0, 0.5, 0.0, 1});
    EXPECT_EQ(changes_, 1);
    EXPECT_THAT(contentOf(file_), HasSubstr("[colors]\ntemperature=#FF7F00\n"));
    EXPECT_EQ(settings_->hexColor(Type::Temperature), "#FF7F00");
    choose(2, {0.0, 0.9999, 0.00392, 1});
    EXPECT_EQ(settings_->hexColor(Type::Temperature), "#00FE00");
    EXPECT_EQ(changes_, 2);
}

TEST_F(SettingsViewItems, ShowTheFilesColoursWhateverTheyAre) {
    writeFile(file_,
              "[colors]\ncpuPercent=#102030\ntemperature=no colour\ngpuPercent=\nnetworkSpeed=#FFF\n"
              "memoryFree=%n%s\nswapUsed=#" +
                  std::string(100'000, '9') + "\n");
    show();
    EXPECT_EQ(shownColor(colorButton(0)), "rgb(16,32,48)");
    EXPECT_EQ(shownColor(colorButton(2)), "rgb(0,0,0)");
    EXPECT_EQ(shownColor(colorButton(3)), "rgb(0,0,0)");
    EXPECT_EQ(shownColor(colorButton(4)), "rgb(0,15,255)");
}

TEST_F(SettingsViewItems, OfOneTypeShareTheirColour) {
    writeFile(file_, "[items]\ncpuPercent=true\ncpuPercent=false\n");
    make();
    choose(1, {0, 0, 1, 1});
    EXPECT_EQ(shownColor(colorButton(0)), "rgb(0,0,255)");
    EXPECT_EQ(changes_, 1);
}

TEST_F(SettingsViewItems, ThatRepeatInTheFileAllHaveARow) {
    std::string text = "[items]\n";
    for (int i = 0; i < 128; ++i)
        text += i % 2 ? "nonsense=true\n" : "swapUsed=false\n";
    writeFile(file_, text);
    show();
    ASSERT_EQ(rows().size(), 133U);
    EXPECT_EQ(nameOf(1), "CPU %") << "an unknown item is taken as this one";
    click(down(127));
    EXPECT_EQ(changes_, 1);
    toggle(check(132));
    EXPECT_FALSE(settings_->items_[132].enabled);
}

TEST_F(SettingsViewItems, WithoutEndInTheFileDoNotHoldUpThePage) {
    std::string text = "[items]\n";
    for (int i = 0; i < 150'000; ++i)
        text += "x=true\n";
    writeFile(file_, text);
    show();
    EXPECT_EQ(rows().size(), static_cast<std::size_t>(ItemRows::kMostRows));
    EXPECT_TRUE(gtk_widget_get_sensitive(down(ItemRows::kMostRows - 1)));
}

TEST_F(SettingsViewItems, SwitchedWithoutSuccessAreSavedWithTheNextChange) {
    show();
    blockConfig();
    toggle(check(0));
    std::filesystem::remove(home_ / ".config");
    toggle(check(1));
    EXPECT_THAT(contentOf(file_), HasSubstr("cpuPercent=false\ncpuBars=false\n"));
    EXPECT_EQ(changes_, 1);
}

TEST_F(SettingsViewItems, SurviveAPlaceThatCanNotBeWritten) {
    show();
    blockConfig();
    toggle(check(0));
    EXPECT_FALSE(settings_->items_[0].enabled);
    EXPECT_FALSE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(check(0))));
    click(down(0));
    EXPECT_EQ(nameOf(0), "CPU Bars");
    choose(1, {1, 1, 1, 1});
    EXPECT_EQ(changes_, 0);
}

}  // namespace
