#pragma once

#include <functional>
#include <string>
#include <vector>

#include "widgets.h"

/// A drop-down list of the machine's devices of one kind. What the list shows may differ from the names it
/// stands for, which may be any bytes.
class DeviceChoice {
public:
    struct Device {
        std::string name;
        std::string text;  ///< valid UTF-8
    };

    /// `on_choose` is told the name of what the user chooses, never of what fill() does.
    explicit DeviceChoice(std::function<void(const std::string& name)> on_choose);

    GtkWidget* widget() const { return combo_; }

    /// Offers these devices, the first one of this name as the active one; none when it is not among them.
    void fill(std::vector<Device> devices, const std::string& active);

private:
    static void onChanged(GtkComboBox* combo, gpointer self);

    std::function<void(const std::string& name)> on_choose_;
    std::vector<Device> devices_;
    OwnedWidget combo_;  // goes first: it may signal a change while it does
};
