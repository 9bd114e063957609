#include "descriptors.h"

#include <gtest/gtest.h>

#include "fake_programs.h"
#include "forked_child.h"

TEST(Descriptors, AreLeftUpToTheLimit) {
    EXPECT_TRUE(passesInChild([] {
        constexpr int kLeft = 3;
        const auto open = openDescriptors();
        // The lowest free numbers are given out first: below this limit there are just so many.
        int limit = 0;
        for (int left = kLeft; left > 0; ++limit) {
            if (!open.contains(limit)) --left;
        }
        limitDescriptors(limit);
        EXPECT_TRUE(descriptorsLeft(0));
        EXPECT_TRUE(descriptorsLeft(kLeft));
        EXPECT_FALSE(descriptorsLeft(kLeft + 1));
    }));
}

TEST(Descriptors, AreGivenBack) {
    const auto before = openDescriptors();
    EXPECT_TRUE(descriptorsLeft(16));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(descriptorsLeft(1000)) << "no more than 16 are tried";
    EXPECT_EQ(openDescriptors(), before);
}
