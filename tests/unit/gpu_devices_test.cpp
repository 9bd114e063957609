#include "gpu_devices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_kernel.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

TEST(DrmCards, AreThoseOfKnownMakersWithoutTheirConnectors) {
    const DrmCards found = findDrmCards(fixtureRoot("gpu-amd"));
    EXPECT_EQ(found.first, fixtureRoot("gpu-amd") + "/sys/class/drm/card0");
    ASSERT_EQ(found.cards.size(), 1U);
    EXPECT_EQ(found.cards[0].type, GPUInfo::Type::AMD);
    EXPECT_EQ(found.cards[0].device, fixtureRoot("gpu-amd") + "/sys/class/drm/card0/device");
    EXPECT_EQ(found.cards[0].slot, "0000:03:00.0");

    EXPECT_EQ(findDrmCards(fixtureRoot("gpu-intel")).cards.at(0).type, GPUInfo::Type::Intel);
    EXPECT_EQ(findDrmCards(fixtureRoot("gpu-two")).cards.size(), 2U);
}

TEST(DrmCards, OtherMakersCountOnlyAsTheFirst) {
    const DrmCards nvidia = findDrmCards(fixtureRoot("gpu-nvidia"));
    EXPECT_EQ(nvidia.first, fixtureRoot("gpu-nvidia") + "/sys/class/drm/card0");
    EXPECT_THAT(nvidia.cards, IsEmpty());
    EXPECT_EQ(findDrmCards(fixtureRoot("gpu-none")).first, "");
    EXPECT_EQ(findDrmCards(fixtureRoot("no-such-machine")).first, "");
}

TEST(DrmCards, NeedAVendorWord) {
    FakeKernel kernel;
    const auto typesWith = [&](std::string_view vendor) {
        kernel.file("/sys/class/drm/card0/device/vendor", vendor);
        return findDrmCards(kernel.root()).cards.size();
    };
    EXPECT_EQ(typesWith("0x1002\n"), 1U);
    EXPECT_EQ(typesWith(" 0x8086 rest"), 1U);
    EXPECT_EQ(typesWith("0x10021\n"), 0U);
    EXPECT_EQ(typesWith("1002\n"), 0U);
    EXPECT_EQ(typesWith(""), 0U);
    kernel.remove("/sys/class/drm/card0/device/vendor");
    EXPECT_THAT(findDrmCards(kernel.root()).cards, IsEmpty());
}

TEST(DrmCards, TakeTheSlotFromTheFirstLineThatNamesIt) {
    FakeKernel kernel;
    const auto slotWith = [&](std::string_view uevent) {
        kernel.file("/sys/class/drm/card0/device/vendor", "0x1002\n");
        kernel.file("/sys/class/drm/card0/device/uevent", uevent);
        return findDrmCards(kernel.root()).cards.at(0).slot;
    };
    EXPECT_EQ(slotWith("DRIVER=amdgpu\nPCI_SLOT_NAME=0000:03:00.0\nMODALIAS=x\n"), "0000:03:00.0");
    EXPECT_EQ(slotWith("PCI_SLOT_NAME=0000:03:00.0"), "0000:03:00.0");
    EXPECT_EQ(slotWith("PCI_SLOT_NAME=03:00.0\nPCI_SLOT_NAME=04:00.0\n"), "03:00.0");
    EXPECT_EQ(slotWith("DRIVER=amdgpu\n"), "");
    EXPECT_EQ(slotWith("PCI_SLOT_NAME=\n"), "");
    EXPECT_EQ(slotWith(""), "");
    EXPECT_EQ(slotWith("PCI_SLOT_NAME=0000:03:00.0;touch /tmp/x\n"), "");
    EXPECT_EQ(slotWith("PCI_SLOT_NAME=$(reboot)\n"), "");
    EXPECT_EQ(slotWith(std::string_view("PCI_SLOT_NAME=03\0:00.0\n", 22)), "");
    kernel.remove("/sys/class/drm/card0/device/uevent");
    EXPECT_EQ(findDrmCards(kernel.root()).cards.at(0).slot, "");
}

TEST(NvidiaDevices, AreTheDisplayFunctions) {
    const std::string pci = fixtureRoot("gpu-nvidia") + "/sys/bus/pci/devices/";
    EXPECT_THAT(findNvidiaDevices(fixtureRoot("gpu-nvidia")),
                UnorderedElementsAre(pci + "0000:01:00.0", pci + "0000:02:00.0"));
    EXPECT_THAT(findNvidiaDevices(fixtureRoot("gpu-none")), IsEmpty());
}

TEST(PowerState, OnlyASuspendedDeviceSleeps) {
    FakeKernel kernel;
    const std::string file = powerStateFile(kernel.at("/device").string());
    EXPECT_FALSE(isAsleep(file));
    const std::pair<std::string_view, bool> cases[] = {
        {"suspended\n", true},  {"suspending\n", true},  {"active\n", false},
        {"resuming\n", false},  {"error\n", false},      {"", false},
        {"unsupported", false}, {"suspended2\n", false},
    };
    for (const auto& [state, asleep] : cases) {
        kernel.file("/device/power/runtime_status", state);
        EXPECT_EQ(isAsleep(file), asleep) << state;
    }
}

TEST(Driver, IsForeignWhenItIsKnownAndNotNvidias) {
    FakeKernel kernel;
    kernel.directory("/device");
    const std::string device = kernel.at("/device").string();
    EXPECT_FALSE(hasForeignDriver(device));
    std::filesystem::create_symlink("../../bus/pci/drivers/nvidia", kernel.at("/device/driver"));
    EXPECT_FALSE(hasForeignDriver(device));
    kernel.remove("/device/driver");
    std::filesystem::create_symlink("../../bus/pci/drivers/vfio-pci", kernel.at("/device/driver"));
    EXPECT_TRUE(hasForeignDriver(device));
}
