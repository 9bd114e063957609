#include "gpu_names.h"

#include <gtest/gtest.h>

namespace {

struct Shortening {
    const char* raw;
    const char* shown;
};

}  // namespace

TEST(GpuNames, AreShortened) {
    constexpr Shortening kCases[] = {
        // makers
        {"Advanced Micro Devices, Inc. [AMD/ATI] Navi 10", "AMD Navi 10"},
        {"Advanced Micro Devices, Inc. Navi 10", "AMD Navi 10"},
        {"NVIDIA Corporation GA102 [GeForce RTX 3090]", "NVIDIA GA102 [GeForce RTX 3090]"},
        {"Intel Corporation Meteor Lake-P [Intel Arc Graphics]", "Intel Meteor Lake-P [Intel Arc Graphics]"},
        {"NVIDIA GeForce RTX 3090", "NVIDIA GeForce RTX 3090"},
        {"Graphics by Intel Corporation ", "Graphics by Intel Corporation"},
        {"Intel Corporation NVIDIA Corporation x", "Intel NVIDIA Corporation x"},
        {" Intel Corporation x", "Intel Corporation x"},
        // revisions
        {"Advanced Micro Devices, Inc. [AMD/ATI] Navi 31 [Radeon RX 7900 XT/7900 XTX] (rev c8)",
         "AMD Navi 31 [Radeon RX 7900 XT/7900 XTX]"},
        {"Board (rev 01) (rev 02)", "Board"},
        {"Board (revised)", "Board (revised)"},
        {"(rev c1)", ""},
        // devices without a name
        {"Advanced Micro Devices, Inc. [AMD/ATI] Device 150e (rev c1)", "AMD Radeon 890M"},
        {"Advanced Micro Devices, Inc. [AMD/ATI] Device 150d", "AMD Radeon 890M"},
        {"Advanced Micro Devices, Inc. [AMD/ATI] Device 1506", "AMD Radeon RX 9070"},
        {"Advanced Micro Devices, Inc. [AMD/ATI] Device 1507", "AMD Radeon RX 9070 XT"},
        {"Device 1507 and Device 150e", "AMD Radeon 890M"},
        {"Unknown Device 1506x", "AMD Radeon RX 9070"},
        {"Advanced Micro Devices, Inc. [AMD/ATI] Device 1508", "AMD Device 1508"},
        {"Device 150E", "Device 150E"},
        {"x (rev 1) Device 150e", "x"},
        // blanks
        {"  Board  ", "Board"},
        {"\tBoard\t", "\tBoard\t"},
        {"   ", ""},
        {"", ""},
        {"Intel Corporation ", "Intel"},
        {"Intel Corporation", "Intel Corporation"},
        // bytes that are no text
        {"Board \xff\xfe\r", "Board \xff\xfe\r"},
    };
    for (const auto& [raw, shown] : kCases)
        EXPECT_EQ(shortenGPUName(raw), shown) << raw;
}

TEST(GpuNames, OnlyRealSlotsAreHandedOn) {
    for (const char* slot : {"0000:03:00.0", "03:00.0", "10000:e1:00.0", "0000:AB:1f.7"})
        EXPECT_TRUE(isPciSlot(slot)) << slot;
    for (const char* slot :
         {"", "0000:03:00.0;reboot", "-v", "$(x)", "0000:03:00.0 ", "../x", "0000:03:00.0\r"})
        EXPECT_FALSE(isPciSlot(slot)) << slot;
}

TEST(GpuNames, AreCutFromTheAnswerOfLspci) {
    EXPECT_EQ(nameFromLspci("03:00.0 VGA compatible controller: Maker Board (rev c8)\n"),
              "Maker Board (rev c8)");
    EXPECT_EQ(nameFromLspci("0000:03:00.0 Display controller: Maker: Board"), "Board");
    EXPECT_EQ(nameFromLspci("03:00.0 Board\nnext: line\n"), "03:00.0 Board");
    EXPECT_EQ(nameFromLspci("\nVGA: Board\n"), "");
    EXPECT_EQ(nameFromLspci("VGA: \n"), "");
    EXPECT_EQ(nameFromLspci(""), "");
    EXPECT_EQ(nameFromLspci("VGA: " + std::string(1000, 'x')), std::string(255, 'x'));
    EXPECT_EQ(nameFromLspci(std::string("VGA: Board\0junk\n", 16)), "Board");
}
