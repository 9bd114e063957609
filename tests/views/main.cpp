#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include "l10n.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
    gtk_init(&argc, &argv);
    L10n::init();
    L10n::setLanguage("en");
    return RUN_ALL_TESTS();
}
