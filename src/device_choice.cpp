#include "device_choice.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "combo.h"

DeviceChoice::DeviceChoice(std::function<void(const std::string& name)> on_choose)
    : on_choose_(std::move(on_choose)), combo_(newCombo()) {
    g_signal_connect(combo_, "changed", G_CALLBACK(onChanged), this);
}

void DeviceChoice::fill(std::vector<Device> devices, const std::string& active) {
    devices_ = std::move(devices);
    std::vector<std::string> texts;
    texts.reserve(devices_.size());
    for (const Device& device : devices_)
        texts.push_back(device.text);
    const auto found = std::ranges::find(devices_, active, &Device::name);
    const auto index = found == devices_.end() ? -1 : static_cast<int>(found - devices_.begin());

    g_signal_handlers_block_by_func(combo_, reinterpret_cast<gpointer>(onChanged), this);
    fillCombo(combo_, texts, index);
    g_signal_handlers_unblock_by_func(combo_, reinterpret_cast<gpointer>(onChanged), this);
}

void DeviceChoice::onChanged(GtkComboBox* combo, gpointer self) {
    const auto* const choice = static_cast<DeviceChoice*>(self);
    const int index = gtk_combo_box_get_active(combo);
    if (index < 0) return;
    // A copy: the answer may be to fill the list again.
    const std::string name = choice->devices_[static_cast<std::size_t>(index)].name;
    choice->on_choose_(name);
}
