#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "desktop_look.h"
#include "generated_machine.h"
#include "l10n.h"
#include "popup_window.h"
#include "scoped_environment.h"
#include "shown_popup.h"
#include "theme.h"
#include "user_home.h"

/// The popup of a machine that has something to show on every page, in one look and language.
class FullPopup : public testing::Test {
protected:
    // Confined in its package, the program has a control on the help page.
    FullPopup()
        : snap_({{"SNAP", "/snap/korvalune/1"}, {"SNAP_VERSION", "1.0"}, {"SNAP_REVISION", "1"}}),
          machine_("--cores 4 --threads 2 --gpus 2 --gpu-processes 3"),
          info_(machine_.root()) {
        g_object_set(gtk_settings_get_default(), "gtk-enable-animations", FALSE, nullptr);
        info_.core_usages = info_.cpu_service_.getPerCoreUsage();
        fill();
    }
    ~FullPopup() override {
        popup_.reset();
        L10n::setLanguage("en");
        gtk_widget_set_default_direction(GTK_TEXT_DIR_LTR);
        if (provider_) {
            gtk_style_context_remove_provider_for_screen(gdk_screen_get_default(),
                                                         GTK_STYLE_PROVIDER(provider_));
            g_object_unref(provider_);
        }
        set_active_dark(false);
        g_object_set(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", FALSE,
                     "gtk-enable-animations", TRUE, nullptr);
    }

    /// The language is chosen before the first page is made, as in the program; on a desktop of a language
    /// written from right to left the toolkit turns everything round by itself.
    void make(const std::string& language, bool dark) {
        L10n::setLanguage(language);
        gtk_widget_set_default_direction(L10n::isRTL() ? GTK_TEXT_DIR_RTL : GTK_TEXT_DIR_LTR);
        provider_ = applyLook(dark, provider_);
        popup_.emplace(info_, settings_);
    }

    /// Shows one page after the other in all that it can show, and calls `look` with the name of each.
    void forEachPage(const std::function<void(const std::string& page)>& look) {
        const std::vector<std::string> pages{"cpu", "gpu", "processes", "my processes", "help", "about"};
        for (std::size_t tab = 0; tab < pages.size(); ++tab) {
            open(static_cast<int>(tab));
            look(pages[tab]);
            if (tab != kProcesses) continue;
            chooseFirstProcess();
            look("chosen process");
            press("kill");
            look("question");
        }
        popup_->showSettings(640, 10);
        settleFully();
        look("settings");
        gtk_button_clicked(GTK_BUTTON(mapped(GTK_TYPE_COLOR_BUTTON).front()));
        settleFully();
        look("colour sheet");
    }

    void open(int tab) {
        popup_->showTab(tab, 640, 10);
        fill();
        popup_->updateViews();
        settleFully();
    }

    static void settleFully() {
        for (int turn = 0; turn < 3; ++turn) {
            settle();
            gtk_container_check_resize(GTK_CONTAINER(shownPopup()));
            g_usleep(5'000);
        }
        settle();
    }

    /// All widgets of a type that can be seen, or scrolled into sight.
    static std::vector<GtkWidget*> mapped(GType type) {
        std::vector<GtkWidget*> found = widgetsOfType(shownPopup(), type);
        std::erase_if(found, [](GtkWidget* widget) { return !gtk_widget_get_mapped(widget); });
        return found;
    }

    /// What the keyboard can reach: all that takes the focus, but what scrolls only where nothing in it does.
    static std::vector<GtkWidget*> focusable() {
        std::vector<GtkWidget*> found = mapped(GTK_TYPE_WIDGET);
        std::erase_if(found, [](GtkWidget* widget) {
            return !gtk_widget_get_can_focus(widget) || !gtk_widget_is_sensitive(widget) ||
                   gtk_widget_get_ancestor(gtk_widget_get_parent(widget), GTK_TYPE_BUTTON) != nullptr;
        });
        const std::vector<GtkWidget*> all = found;
        std::erase_if(found, [&](GtkWidget* widget) {
            return GTK_IS_WINDOW(widget) ||
                   (GTK_IS_SCROLLED_WINDOW(widget) && std::ranges::any_of(all, [&](GtkWidget* other) {
                        return other != widget && gtk_widget_is_ancestor(other, widget);
                    }));
        });
        return found;
    }

    static void press(const char* key) {
        GtkWidget* const button = buttonWithText(shownPopup(), L10n::tr(key));
        ASSERT_NE(button, nullptr) << key;
        gtk_button_clicked(GTK_BUTTON(button));
        settleFully();
    }

private:
    ScopedEnvironment snap_;
    UserHome home_;
    GeneratedMachine machine_;
    Settings settings_;
    GtkCssProvider* provider_ = nullptr;

protected:
    SystemInfo info_;
    std::optional<PopupWindow> popup_;

private:
    static constexpr std::size_t kProcesses = 2;

    static void chooseFirstProcess() {
        for (GtkWidget* row : mapped(GTK_TYPE_EVENT_BOX)) {
            gtk_widget_activate(row);
            settleFully();
            return;
        }
        ADD_FAILURE() << "no process is shown";
    }

    /// Invented figures, so that every colour is there; pids beyond the kernel's greatest.
    void fill() {
        info_.cpu_temperature = 61.5;
        info_.average_cpu = 38.2;
        for (std::size_t i = 0; i < info_.core_usages.size(); ++i)
            info_.core_usages[i].usage = 12.5 * static_cast<double>(i);
        info_.gpu_usages.assign(2, {.utilization = 42,
                                    .memory_utilization = 77,
                                    .video_utilization = 7,
                                    .model_name = "Radeon RX",
                                    .processes = {{.pid = 1, .name = "composer", .vram_mb = 512}}});
        info_.top_processes.clear();
        for (const double usage : {335.8, 60.4, 3.0}) {
            const int pid = 2'000'000'000 + static_cast<int>(info_.top_processes.size());
            info_.top_processes.push_back(
                {.pid = pid, .name = "composer", .user = "mara", .cpu_usage = usage, .memory_mb = 1536});
        }
        info_.user_processes = info_.top_processes;
    }
};
