#include "app.h"

#include <gtest/gtest.h>

#include "fake_kernel.h"
#include "shown_popup.h"
#include "temporary_directory.h"
#include "user_home.h"

namespace {

/// The entry of the indicator's menu with this text, or null. The toolkit keeps a menu in a window of its
/// own.
GtkWidget* menuEntry(const std::string& text) {
    GtkWidget* found = nullptr;
    GList* const windows = gtk_window_list_toplevels();
    for (const GList* window = windows; window != nullptr; window = window->next) {
        for (GtkWidget* item : widgetsOfType(GTK_WIDGET(window->data), GTK_TYPE_MENU_ITEM)) {
            if (text == gtk_menu_item_get_label(GTK_MENU_ITEM(item))) found = item;
        }
    }
    g_list_free(windows);
    return found;
}

TEST(App, ThePopupIsClosedByItsMenuButNotByTheIndicatorLibrary) {
    const UserHome home;
    const TemporaryDirectory runtime;
    const ScopedEnvironment environment({{"XDG_RUNTIME_DIR", runtime.path().string()}});
    const App app(fixtureRoot("desktop-4core"));
    GtkWidget* const cpu = menuEntry("CPU");
    ASSERT_NE(cpu, nullptr);

    // On a busy machine an entry can be chosen before the program has ever been idle.
    gtk_menu_item_activate(GTK_MENU_ITEM(cpu));
    ASSERT_NE(shownPopup(), nullptr);
    settle();
    EXPECT_NE(shownPopup(), nullptr);

    gtk_widget_show(gtk_widget_get_parent(cpu));
    EXPECT_EQ(shownPopup(), nullptr);
}

}  // namespace
