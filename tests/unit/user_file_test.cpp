#include "user_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <random>
#include <string>
#include <thread>

#include "forked_child.h"
#include "own_disk.h"
#include "temporary_directory.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

mode_t modeOf(const fs::path& path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

}  // namespace

class UserFileTest : public testing::Test {
protected:
    TemporaryDirectory directory_;
    fs::path path_ = directory_ / "file";

    bool replace(std::string_view content) { return replaceUserFile(path_, content); }
    /// Nobody owns the directory, so that a child without root's rights may use it.
    void giveToNobody() {
        if (geteuid() != 0) return;
        for (const fs::path& path : {directory_.path(), path_}) {
            if (!fs::exists(path)) continue;
            ASSERT_EQ(chown(path.c_str(), kNobody, kNobody), 0);
        }
    }
};

// Reading

TEST_F(UserFileTest, ReadsEveryByte) {
    using std::string_literals::operator""s;
    for (const std::string& content :
         {""s, "one\ntwo"s, "\0\xff\r\n\0"s, std::string().assign(10'000'000, 'x')}) {
        writeFile(path_, content);
        EXPECT_EQ(readUserFile(path_), content);
    }
}

TEST_F(UserFileTest, ReadsThroughLinks) {
    writeFile(directory_ / "target", "content");
    fs::create_symlink("target", path_);
    EXPECT_EQ(readUserFile(path_), "content");
}

TEST_F(UserFileTest, WhatIsNoFileCanNotBeRead) {
    EXPECT_EQ(readUserFile(path_), std::nullopt);
    EXPECT_EQ(readUserFile(""), std::nullopt);
    EXPECT_EQ(readUserFile(directory_.path()), std::nullopt);
    EXPECT_EQ(readUserFile("/dev/zero"), std::nullopt);
    EXPECT_EQ(readUserFile(path_ / "below" / "nothing"), std::nullopt);
    fs::create_symlink("file", path_);
    EXPECT_EQ(readUserFile(path_), std::nullopt);
}

TEST_F(UserFileTest, APipeIsNotWaitedFor) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(readUserFile(path_), std::nullopt);
    EXPECT_FALSE(replace("new"));
    EXPECT_TRUE(fs::is_fifo(path_));
}

TEST_F(UserFileTest, AFileBeyondAllMeasureIsNotRead) {
    writeFile(path_, "start");
    fs::resize_file(path_, std::uintmax_t{1} << 40);
    EXPECT_EQ(readUserFile(path_), std::nullopt);
}

TEST_F(UserFileTest, AFileWithoutTheRightToReadItCanNotBeRead) {
    writeFile(path_, "secret");
    fs::permissions(path_, fs::perms::none);
    giveToNobody();
    EXPECT_TRUE(passesInChild([&] {
        dropPrivileges();
        EXPECT_EQ(readUserFile(path_), std::nullopt);
    }));
}

// Writing

TEST_F(UserFileTest, MakesAndReplacesAFileAndLeavesNothingElse) {
    for (const std::string& content : {std::string("one"), std::string(3'000'000, 'x'),
                                       std::string("two\0three", 9), std::string(), std::string("four")}) {
        EXPECT_TRUE(replace(content));
        EXPECT_EQ(contentOf(path_), content);
        EXPECT_THAT(directory_.names(), ElementsAre("file"));
    }
}

TEST_F(UserFileTest, ANewFileGetsTheUsualMode) {
    for (const mode_t mask : {022, 077, 0}) {
        fs::remove(path_);
        const mode_t before = umask(mask);
        EXPECT_TRUE(replace("new"));
        umask(before);
        EXPECT_EQ(modeOf(path_), 0666 & ~mask);
    }
}

TEST_F(UserFileTest, KeepsTheModeWhateverTheUmask) {
    for (const mode_t mode : {0600, 0644, 0666, 0660, 0755}) {
        writeFile(path_, "old");
        ASSERT_EQ(chmod(path_.c_str(), mode), 0);
        const mode_t before = umask(0077);
        EXPECT_TRUE(replace("new"));
        umask(before);
        EXPECT_EQ(modeOf(path_), mode);
        EXPECT_EQ(contentOf(path_), "new");
    }
}

TEST_F(UserFileTest, KeepsTheOwner) {
    if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
    writeFile(path_, "old");
    ASSERT_EQ(chown(path_.c_str(), 12345, 23456), 0);
    ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
    EXPECT_TRUE(replace("new"));
    struct stat status = {};
    ASSERT_EQ(lstat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 12345u);
    EXPECT_EQ(status.st_gid, 23456u);
    EXPECT_EQ(modeOf(path_), 0640u);
}

TEST_F(UserFileTest, AnotherUsersGroupRightsDoNotPassToOnesOwnGroup) {
    if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
    writeFile(path_, "old");
    giveToNobody();
    ASSERT_EQ(chown(path_.c_str(), 12345, 23456), 0);
    ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    EXPECT_TRUE(passesInChild([&] {
        dropPrivileges();
        EXPECT_TRUE(replace("new"));
    }));
    EXPECT_EQ(contentOf(path_), "new");
    EXPECT_EQ(modeOf(path_), 0606u);
}

TEST_F(UserFileTest, FollowsLinksAndKeepsThem) {
    fs::create_directory(directory_ / "elsewhere");
    const fs::path target = directory_ / "elsewhere" / "target";
    struct Case {
        const char* name;
        std::string link;
    };
    const Case cases[] = {
        {"relative", "elsewhere/target"},
        {"absolute", target},
        {"through dots", "elsewhere/../elsewhere/./target"},
        {"through another link", "second"},
    };
    fs::create_symlink("elsewhere/third", directory_ / "second");
    fs::create_symlink("target", directory_ / "elsewhere" / "third");
    for (const auto& [name, link] : cases) {
        for (const bool dangling : {false, true}) {
            SCOPED_TRACE(std::string(name) + (dangling ? " dangling" : ""));
            fs::remove(path_);
            fs::remove(target);
            if (!dangling) writeFile(target, "old");
            fs::create_symlink(link, path_);
            EXPECT_TRUE(replace("new"));
            EXPECT_TRUE(fs::is_symlink(path_));
            EXPECT_EQ(fs::read_symlink(path_), link);
            EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(target)));
            EXPECT_EQ(contentOf(target), "new");
            EXPECT_TRUE(fs::is_symlink(directory_ / "elsewhere" / "third"));
        }
    }
    EXPECT_THAT(directory_.names(), ElementsAre("elsewhere", "file", "second"));
}

TEST_F(UserFileTest, AnotherUsersLinkIsNotFollowed) {
    if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
    fs::create_directory(directory_ / "elsewhere");
    fs::create_symlink("second", path_);
    fs::create_symlink("elsewhere/target", directory_ / "second");
    writeFile(directory_ / "elsewhere/target", "old");
    for (const char* const name : {"file", "second"}) {
        const fs::path planted = directory_ / name;
        ASSERT_EQ(lchown(planted.c_str(), 12345, 12345), 0);
        EXPECT_EQ(readUserFile(path_), std::nullopt);
        EXPECT_EQ(readRegularFile(path_), "old");
        EXPECT_FALSE(replace("new"));
        EXPECT_EQ(contentOf(path_), "old");
        EXPECT_FALSE(keepUnreadFile(path_));
        EXPECT_EQ(contentOf(path_), "old");
        ASSERT_EQ(lchown(planted.c_str(), 0, 0), 0);
    }
    EXPECT_TRUE(replace("new"));
    // Root's links are followed by everybody.
    giveToNobody();
    ASSERT_EQ(chown((directory_ / "elsewhere").c_str(), kNobody, kNobody), 0);
    ASSERT_EQ(chown((directory_ / "elsewhere/target").c_str(), kNobody, kNobody), 0);
    EXPECT_TRUE(passesInChild([&] {
        dropPrivileges();
        EXPECT_EQ(readUserFile(path_), "new");
        EXPECT_TRUE(replace("newer"));
    }));
    EXPECT_EQ(contentOf(path_), "newer");
}

TEST_F(UserFileTest, FollowsAsManyLinksAsTheKernel) {
    const auto chain = [&](int links) {
        const fs::path base = directory_ / std::to_string(links);
        fs::create_directory(base);
        writeFile(base / "0", "old");
        for (int i = 1; i <= links; ++i)
            fs::create_symlink(std::to_string(i - 1), base / std::to_string(i));
        return base / std::to_string(links);
    };
    for (const int links : {1, 39, 40}) {
        const fs::path first = chain(links);
        EXPECT_TRUE(replaceUserFile(first, "new")) << links;
        EXPECT_EQ(contentOf(first), "new") << links;
    }
    EXPECT_FALSE(replaceUserFile(chain(41), "new"));
    EXPECT_EQ(contentOf(directory_ / "41" / "0"), "old");
}

TEST_F(UserFileTest, LinksInACircleAreNotWritten) {
    fs::create_symlink("other", path_);
    fs::create_symlink("file", directory_ / "other");
    EXPECT_FALSE(replace("new"));
    fs::create_symlink("itself", directory_ / "itself");
    EXPECT_FALSE(replaceUserFile(directory_ / "itself", "new"));
    EXPECT_THAT(directory_.names(), ElementsAre("file", "itself", "other"));
}

TEST_F(UserFileTest, WhatIsNoFileIsLeftAlone) {
    fs::create_directory(path_);
    EXPECT_FALSE(replace("new"));
    EXPECT_TRUE(fs::is_directory(path_));
    for (const char* const device : {"/dev/null", "/dev/full"}) {
        fs::remove(path_);
        fs::create_symlink(device, path_);
        EXPECT_FALSE(replace("new")) << device;
        EXPECT_TRUE(fs::is_character_file(device));
    }
    EXPECT_FALSE(replaceUserFile(directory_ / "no" / "such" / "directory", "new"));
    EXPECT_FALSE(replaceUserFile(directory_ / std::string(300, 'x'), "new"));
    EXPECT_FALSE(replaceUserFile("", "new"));
    EXPECT_THAT(directory_.names(), ElementsAre("file"));
}

TEST_F(UserFileTest, AReadOnlyFileStaysAsItIs) {
    writeFile(path_, "old");
    fs::permissions(path_, fs::perms(0444));
    giveToNobody();
    EXPECT_TRUE(passesInChild([&] {
        dropPrivileges();
        EXPECT_FALSE(replace("new"));
    }));
    EXPECT_EQ(contentOf(path_), "old");
    EXPECT_THAT(directory_.names(), ElementsAre("file"));
}

TEST_F(UserFileTest, WhereTheDirectoryTakesNoNewFileTheFileItselfIsWritten) {
    writeFile(path_, "old");
    ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
    writeFile(directory_ / "readonly", "old");
    ASSERT_EQ(chmod((directory_ / "readonly").c_str(), 0444), 0);
    writeFile(directory_ / "two names", "old");
    fs::create_hard_link(directory_ / "two names", directory_ / "second name");
    writeFile(directory_ / "another's", "old");
    giveToNobody();
    for (const char* const name : {"readonly", "two names"}) {
        if (geteuid() == 0) {
            ASSERT_EQ(chown((directory_ / name).c_str(), 65534, 65534), 0);
        }
    }
    ASSERT_EQ(chmod((directory_ / "another's").c_str(), 0666), 0);
    fs::permissions(directory_.path(), fs::perms(0555));
    const bool root = geteuid() == 0;
    EXPECT_TRUE(passesInChild([&] {
        dropPrivileges();
        for (const std::string& content : {std::string(10'000, 'x'), std::string("new")}) {
            EXPECT_TRUE(replace(content));
            EXPECT_EQ(contentOf(path_), content);
        }
        EXPECT_FALSE(replaceUserFile(directory_ / "missing", "new"));
        EXPECT_FALSE(replaceUserFile(directory_ / "readonly", "new"));
        EXPECT_FALSE(replaceUserFile(directory_ / "two names", "new"));
        if (root) {
            EXPECT_FALSE(replaceUserFile(directory_ / "another's", "new"));
        }
    }));
    fs::permissions(directory_.path(), fs::perms(0755));
    EXPECT_EQ(modeOf(path_), 0640U);
    for (const char* const name : {"readonly", "two names", "another's"})
        EXPECT_EQ(contentOf(directory_ / name), "old") << name;
    EXPECT_THAT(directory_.names(), ElementsAre("another's", "file", "readonly", "second name", "two names"));
}

TEST_F(UserFileTest, AFileThatIsAMountIsWrittenInPlace) {
    writeFile(path_, "");
    fs::create_directory(directory_ / "disk");
    const auto passed = passesWithOwnMounts([&] {
        mountEmptyDisk(directory_ / "disk", "size=64k");
        writeFile(directory_ / "disk/mounted", std::string(5000, 'o'));
        ASSERT_EQ(mount((directory_ / "disk/mounted").c_str(), path_.c_str(), "none", MS_BIND, nullptr), 0);
        EXPECT_FALSE(replace(std::string(100'000, 'x'))) << "more than its disk holds";
        EXPECT_EQ(contentOf(path_), std::string(5000, 'o'));
        for (const std::string& content : {std::string(10'000, 'x'), std::string("new")}) {
            EXPECT_TRUE(replace(content));
            EXPECT_EQ(contentOf(directory_ / "disk/mounted"), content);
        }
        EXPECT_THAT(directory_.names(), ElementsAre("disk", "file"));
    });
    if (!passed) GTEST_SKIP() << "nothing may be mounted here";
    EXPECT_TRUE(*passed);
}

// Saves cut short

TEST_F(UserFileTest, AWriteThatFailsInTheMiddleLeavesTheOldFile) {
    writeFile(path_, "old");
    EXPECT_TRUE(passesInChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{100'000, 100'000};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_FALSE(replace(std::string(100'001, 'x')));
        EXPECT_EQ(contentOf(path_), "old");
        EXPECT_THAT(directory_.names(), ElementsAre("file"));
        EXPECT_TRUE(replace(std::string(100'000, 'x')));
    }));
    EXPECT_EQ(contentOf(path_), std::string(100'000, 'x'));
}

TEST_F(UserFileTest, WithoutDescriptorsTheOldFileStays) {
    writeFile(path_, "old");
    // Not by way of this fixture: the sanitizers need a descriptor to check a member call.
    EXPECT_TRUE(passesInChild([path = path_.string()] {
        limitDescriptors(0);
        EXPECT_FALSE(replaceUserFile(path, "new"));
        EXPECT_EQ(readUserFile(path), std::nullopt);
    }));
    EXPECT_EQ(contentOf(path_), "old");
}

TEST_F(UserFileTest, AFullDiskLeavesTheOldFile) {
    const auto passed = passesWithOwnMounts([&] {
        mountEmptyDisk(directory_.path(), "size=64k,mode=0777");
        EXPECT_TRUE(replace("old"));
        EXPECT_FALSE(replace(std::string(100'000, 'x')));
        EXPECT_EQ(contentOf(path_), "old");
        EXPECT_THAT(directory_.names(), ElementsAre("file"));
        EXPECT_TRUE(replace("new"));
        EXPECT_EQ(contentOf(path_), "new");
    });
    if (!passed) GTEST_SKIP() << "no disk of one's own may be mounted here";
    EXPECT_TRUE(*passed);
}

TEST_F(UserFileTest, ADiskWithoutRoomForAnotherFileLeavesTheOldOne) {
    const auto passed = passesWithOwnMounts([&] {
        mountEmptyDisk(directory_.path(), "nr_inodes=2");
        writeFile(path_, "old");
        EXPECT_FALSE(replace("new"));
        EXPECT_EQ(contentOf(path_), "old");
    });
    if (!passed) GTEST_SKIP() << "nothing may be mounted here";
    EXPECT_TRUE(*passed);
}

TEST_F(UserFileTest, WhatAKilledSaveLeftGoesAwayWithTheNext) {
    EXPECT_TRUE(replace("old"));
    writeFile(directory_ / ".Korvalune.part", std::string(1000, 'x'));
    fs::permissions(directory_ / ".Korvalune.part", fs::perms::none);
    EXPECT_TRUE(replace("new"));
    EXPECT_EQ(contentOf(path_), "new");
    EXPECT_THAT(directory_.names(), ElementsAre("file"));
}

TEST_F(UserFileTest, ALinkInTheTemporarysPlaceIsNotFollowed) {
    writeFile(directory_ / "precious", "precious");
    fs::create_symlink("precious", directory_ / ".Korvalune.part");
    EXPECT_TRUE(replace("new"));
    EXPECT_EQ(contentOf(directory_ / "precious"), "precious");
    EXPECT_THAT(directory_.names(), ElementsAre("file", "precious"));
}

TEST_F(UserFileTest, AKillAtAnyMomentLeavesOneWholeVersion) {
    const std::array<std::string, 3> versions{std::string(200'000, 'a'), std::string(5'000, 'b'),
                                              std::string(60'000, 'c')};
    ASSERT_TRUE(replace(versions[0]));
    std::mt19937 random(20260);  // the same moments in each run, as far as the scheduler lets them be
    std::uniform_int_distribution<int> microseconds(0, 3000);
    int saves_cut_short = 0;
    for (int round = 0; round < 200; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            for (std::size_t i = 0;; ++i)
                replace(versions[i % versions.size()]);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds(random)));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        ASSERT_THAT(versions, testing::Contains(contentOf(path_))) << "round " << round;
        const auto names = directory_.names();
        ASSERT_THAT(names, testing::AnyOf(ElementsAre("file"), ElementsAre(".Korvalune.part", "file")));
        saves_cut_short += names.size() == 2 ? 1 : 0;
    }
    EXPECT_GT(saves_cut_short, 0) << "no kill met a save";
    EXPECT_TRUE(replace("new"));
    EXPECT_EQ(contentOf(path_), "new");
    EXPECT_THAT(directory_.names(), ElementsAre("file"));
}
