/// The part of the program that follows the desktop's look, alone, led by words on standard input:
///   ask                   prints what the desktop prefers
///   dark, light           gives the program that look
///   wait                  prints "changed" when the desktop has reported another look
#include <glib.h>
#include <gtk/gtk.h>

#include <iostream>
#include <string>

#include "desktop_look.h"

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    int changes = 0;
    watchDesktopLook(
        [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* parameters,
           gpointer count) {
            if (isDesktopLookChange(parameters)) ++*static_cast<int*>(count);
        },
        &changes);
    GtkCssProvider* provider = nullptr;
    for (std::string word; std::cin >> word;) {
        if (word == "ask") {
            std::cout << (desktopPrefersDark() ? "dark" : "light") << std::endl;
        } else if (word == "wait") {
            while (changes == 0)
                g_main_context_iteration(nullptr, TRUE);
            --changes;
            std::cout << "changed" << std::endl;
        } else {
            provider = applyLook(word == "dark", provider);
            std::cout << "applied" << std::endl;
        }
    }
}
