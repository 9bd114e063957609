#include "instance_lock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "forked_child.h"
#include "temporary_directory.h"

namespace fs = std::filesystem;

namespace {

/// A lock in a directory of its own, and what lies at its path.
class InstanceLockTest : public testing::Test {
protected:
    void write(const std::string& content) const { writeFile(lock.path(), content); }
    std::string content() const { return contentOf(lock.path()); }

    TemporaryDirectory dir;
    InstanceLock lock{dir.path()};
};

/// A process that lives until the object goes away.
class LiveProcess {
public:
    LiveProcess() : pid_(fork()) {
        if (pid_ == 0) {
            pause();
            _exit(0);
        }
    }
    ~LiveProcess() { end(); }
    void end() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = 0;
    }
    pid_t pid() const { return pid_; }

private:
    pid_t pid_;
};

/// For use in a child: from now on it is another user's. Without root's rights that takes a user namespace.
bool becomeAnotherUser() {
    const uid_t before = getuid();
    if (before == 0) {
        dropPrivileges();
    } else if (unshare(CLONE_NEWUSER) == 0) {
        std::ofstream("/proc/self/uid_map") << before + 1 << " " << before << " 1";
    }
    return getuid() == (before == 0 ? kNobody : before + 1);
}

}  // namespace

TEST(InstanceLock, PathNamesTheUser) {
    EXPECT_EQ(InstanceLock().path(), "/tmp/Korvalune-" + std::to_string(getuid()) + ".lock");
}

TEST_F(InstanceLockTest, WithoutAFileNobodyHoldsIt) {
    EXPECT_FALSE(lock.heldByAnother());
}

TEST_F(InstanceLockTest, TakingWritesThePidAndNothingElse) {
    lock.take();
    EXPECT_EQ(content(), std::to_string(getpid()));
    lock.release();
    EXPECT_FALSE(fs::exists(lock.path()));
}

TEST_F(InstanceLockTest, OthersMayNotWriteToItWhateverTheUmask) {
    const mode_t before = umask(0);
    lock.take();
    umask(before);
    EXPECT_EQ(fs::status(lock.path()).permissions(), fs::perms(0644));
}

TEST_F(InstanceLockTest, TakingReplacesLongerContent) {
    write(std::string(500, '9'));
    lock.take();
    EXPECT_EQ(content(), std::to_string(getpid()));
}

TEST_F(InstanceLockTest, ALiveProcessOfAnyProgramHoldsIt) {
    LiveProcess other;
    write(std::to_string(other.pid()));
    EXPECT_TRUE(lock.heldByAnother());
    write("  " + std::to_string(other.pid()) + "\nmore");
    EXPECT_TRUE(lock.heldByAnother());
    const std::string dead = std::to_string(other.pid());
    other.end();
    write(dead);
    EXPECT_FALSE(lock.heldByAnother());
}

TEST_F(InstanceLockTest, AnotherUsersProcessDoesNotHoldIt) {
    if (getuid() == 0) {
        LiveProcess roots;
        write(std::to_string(roots.pid()));
        EXPECT_TRUE(lock.heldByAnother());
        fs::permissions(dir.path(), fs::perms::all);
        ASSERT_EQ(chown(lock.path().c_str(), 65534, 65534), 0);
        EXPECT_TRUE(passesInChild([&] {
            dropPrivileges();
            EXPECT_FALSE(lock.heldByAnother());
            lock.take();
            EXPECT_EQ(content(), std::to_string(getpid()));
        }));
    } else {
        write("1");
        EXPECT_FALSE(lock.heldByAnother());
        lock.take();
        EXPECT_EQ(content(), std::to_string(getpid()));
    }
}

TEST_F(InstanceLockTest, EachUserHasOne) {
    lock.take();
    fs::permissions(dir.path(), fs::perms::all);
    const auto passes = passesInChildAfter(becomeAnotherUser, [&] {
        const InstanceLock theirs(dir.path());
        EXPECT_FALSE(theirs.heldByAnother());
        theirs.take();
        EXPECT_EQ(contentOf(theirs.path()), std::to_string(getpid()));
    });
    if (!passes) GTEST_SKIP() << "no user namespaces here";
    EXPECT_TRUE(*passes);
    EXPECT_EQ(content(), std::to_string(getpid()));
    EXPECT_THAT(dir.names(), testing::SizeIs(2));
}

TEST_F(InstanceLockTest, AFileWithoutTheRightToReadItIsTakenOver) {
    fs::permissions(dir.path(), fs::perms::all);
    EXPECT_TRUE(passesInChild([&] {
        dropPrivileges();
        const LiveProcess other;
        write(std::to_string(other.pid()));
        EXPECT_TRUE(lock.heldByAnother());
        fs::permissions(lock.path(), fs::perms::owner_write);
        EXPECT_FALSE(lock.heldByAnother());
        lock.take();
        fs::permissions(lock.path(), fs::perms::owner_all);
        EXPECT_EQ(content(), std::to_string(getpid()));
    }));
}

TEST_F(InstanceLockTest, ContentThatNamesNoProcessIsLeftBehind) {
    using namespace std::string_literals;
    for (const std::string& text :
         {""s, "garbage"s, "0"s, "-1"s, "99999999999999999999"s, "\0\0\0\0"s, std::string(100'000, 'x')}) {
        write(text);
        EXPECT_FALSE(lock.heldByAnother()) << text.substr(0, 30);
    }
}

TEST_F(InstanceLockTest, OurOwnPidWasLeftByAPredecessor) {
    write(std::to_string(getpid()));
    EXPECT_FALSE(lock.heldByAnother());
}

TEST_F(InstanceLockTest, APlantedLinkIsNotFollowed) {
    LiveProcess other;
    const std::string target = std::to_string(other.pid());
    writeFile(dir / "target", target);
    fs::create_symlink(dir / "target", lock.path());
    EXPECT_FALSE(lock.heldByAnother());
    lock.take();
    EXPECT_EQ(contentOf(dir / "target"), target);
    EXPECT_TRUE(fs::is_symlink(lock.path()));
}

TEST_F(InstanceLockTest, AHardLinkToSomethingElseIsNotWritten) {
    writeFile(dir / "document", "precious");
    fs::create_hard_link(dir / "document", lock.path());
    lock.take();
    EXPECT_EQ(content(), "precious");
}

TEST_F(InstanceLockTest, AFileOfAnotherUserIsNoLock) {
    if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
    LiveProcess other;
    write(std::to_string(other.pid()));
    ASSERT_EQ(chown(lock.path().c_str(), 12345, 12345), 0);
    EXPECT_FALSE(lock.heldByAnother());
    lock.take();
    EXPECT_EQ(content(), std::to_string(other.pid()));
}

TEST_F(InstanceLockTest, APipeInItsPlaceHoldsNothingUp) {
    ASSERT_EQ(mkfifo(lock.path().c_str(), 0600), 0);
    EXPECT_FALSE(lock.heldByAnother());
    lock.take();
}

TEST_F(InstanceLockTest, AMissingDirectoryIsNoError) {
    InstanceLock nowhere(dir / "missing");
    EXPECT_FALSE(nowhere.heldByAnother());
    nowhere.take();
    nowhere.release();
}
