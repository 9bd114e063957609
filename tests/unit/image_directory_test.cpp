#include "image_directory.h"

#include <gtest/gtest.h>

#include "fake_kernel.h"
#include "scoped_environment.h"

TEST(ImageDirectory, IsTheRuntimeDirectory) {
    const ScopedEnvironment environment({{"FLATPAK_ID", {}}, {"XDG_RUNTIME_DIR", "/run/user/7"}});
    EXPECT_EQ(imageDirectory(), "/run/user/7");
}

TEST(ImageDirectory, IsTmpWithoutARuntimeDirectory) {
    const ScopedEnvironment unset({{"FLATPAK_ID", {}}, {"XDG_RUNTIME_DIR", {}}});
    EXPECT_EQ(imageDirectory(), "/tmp");
    const ScopedEnvironment empty({{"FLATPAK_ID", {}}, {"XDG_RUNTIME_DIR", ""}});
    EXPECT_EQ(imageDirectory(), "/tmp");
}

TEST(ImageDirectory, InAFlatpakIsBelowTheCacheAndCreatedPrivate) {
    FakeKernel dir;
    const ScopedEnvironment environment({{"FLATPAK_ID", "x"}, {"XDG_CACHE_HOME", dir.root() + "/cache"}});
    EXPECT_EQ(imageDirectory(), dir.root() + "/cache/Korvalune");
    const auto status = std::filesystem::status(imageDirectory());
    EXPECT_TRUE(std::filesystem::is_directory(status));
    EXPECT_EQ(status.permissions(), std::filesystem::perms::owner_all);
}

TEST(ImageDirectory, InAFlatpakWithoutACacheIsBelowHome) {
    FakeKernel dir;
    const ScopedEnvironment environment({{"FLATPAK_ID", "x"}, {"XDG_CACHE_HOME", {}}, {"HOME", dir.root()}});
    EXPECT_EQ(imageDirectory(), dir.root() + "/.cache/Korvalune");
}

TEST(ImageDirectory, InAFlatpakWithoutCacheAndHomeIsBelowTmp) {
    const ScopedEnvironment environment({{"FLATPAK_ID", "x"}, {"XDG_CACHE_HOME", {}}, {"HOME", {}}});
    const bool there = std::filesystem::exists("/tmp/.cache");
    EXPECT_EQ(imageDirectory(), "/tmp/.cache/Korvalune");
    EXPECT_TRUE(std::filesystem::is_directory("/tmp/.cache/Korvalune"));
    if (!there) std::filesystem::remove_all("/tmp/.cache");
}

TEST(ImageDirectory, ThatCanNotBeMadeIsNamedAllTheSame) {
    FakeKernel dir;
    dir.file("/cache", "a file");
    const ScopedEnvironment environment({{"FLATPAK_ID", "x"}, {"XDG_CACHE_HOME", dir.root() + "/cache"}});
    EXPECT_EQ(imageDirectory(), dir.root() + "/cache/Korvalune");
    EXPECT_EQ(contentOf(dir.at("/cache")), "a file");
}
