#include "autostart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "forked_child.h"
#include "scoped_environment.h"
#include "temporary_directory.h"
#include "user_home.h"

namespace {

namespace fs = std::filesystem;
using Variables = ScopedEnvironment::Variables;

constexpr const char* kCommandVariable = "KORVALUNE_TEST_COMMAND";
constexpr const char* kDeletedVariable = "KORVALUNE_TEST_DELETED";

/// A copy of the test program writes down, before main(), what its own autostart entry would start.
const bool kWroteItsCommand = [] {
    const char* const file = std::getenv(kCommandVariable);
    if (file == nullptr) return false;
    if (std::getenv(kDeletedVariable) != nullptr) fs::remove(fs::read_symlink("/proc/self/exe"));
    writeFile(file, autostartCommand());
    _exit(0);
}();

}  // namespace

class AutostartTest : public testing::Test {
protected:
    UserHome home_;
    fs::path entry_ = home_ / ".config/autostart/Korvalune.desktop";
    ScopedEnvironment path_{Variables{{"PATH", (home_ / "bin").string()}}};
    std::string own_path_ = fs::read_symlink("/proc/self/exe").string();

    static void makeProgram(const fs::path& path, mode_t mode = 0755) {
        writeFile(path, "#!/bin/sh\n");
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
    }
    static std::string commandWith(const std::string& path) {
        const ScopedEnvironment environment(Variables{{"PATH", path}});
        return autostartCommand();
    }
};

TEST_F(AutostartTest, TheEntryStartsTheProgramHidden) {
    makeProgram(home_ / "bin/Korvalune");
    setAutostartEntry(true);
    EXPECT_EQ(
        contentOf(entry_),
        "[Desktop Entry]\nType=Application\nName=Korvalune\nExec=Korvalune\nHidden=false\nNoDisplay=true\n"
        "X-GNOME-Autostart-enabled=true\n");
}

TEST_F(AutostartTest, AProgramOutsideTheSearchPathIsNamedInFull) {
    setAutostartEntry(true);
    EXPECT_THAT(contentOf(entry_), testing::HasSubstr("\nExec=" + own_path_ + "\n"));
}

TEST_F(AutostartTest, TheProgramsPathIsNamedOnlyWhereTheEntryCanHoldIt) {
    const auto commandOf = [this](const fs::path& program) {
        const ScopedEnvironment environment(Variables{{kCommandVariable, (home_ / "command").string()}});
        EXPECT_EQ(std::system(("'" + program.string() + "'").c_str()), 0);
        return contentOf(home_ / "command");
    };
    fs::path program = home_ / "program";
    const auto rename = [&](const char* name) {
        fs::rename(program, home_ / name);
        program = home_ / name;
    };
    fs::copy_file(own_path_, program);
    EXPECT_EQ(commandOf(program), program);
    for (const char* const broken : {"a\nb", "a\x7f"}) {
        rename(broken);
        EXPECT_EQ(commandOf(program), "Korvalune");
    }
    rename("program (deleted)");
    EXPECT_EQ(commandOf(program), program);
    rename("program");
    const ScopedEnvironment environment(Variables{{kDeletedVariable, ""}});
    EXPECT_EQ(commandOf(program), program);
    EXPECT_FALSE(fs::exists(program));
}

TEST_F(AutostartTest, SearchesAsTheShellDoes) {
    const std::string bin = home_ / "bin";
    const std::string other = home_ / "other";
    makeProgram(home_ / "bin/Korvalune");
    for (const std::string& path : {bin, "/nowhere:" + bin, bin + ":/nowhere", ":::" + bin, bin + "/"})
        EXPECT_EQ(commandWith(path), "Korvalune") << path;
    for (const std::string& path :
         {std::string(), other, bin + "/Korvalune", bin + " ", std::string(100'000, 'x')})
        EXPECT_EQ(commandWith(path), own_path_) << path.substr(0, 100);
    const ScopedEnvironment environment(Variables{{"PATH", std::nullopt}});
    EXPECT_EQ(autostartCommand(), own_path_);
}

TEST_F(AutostartTest, AnEmptyPartOfTheSearchPathIsTheCurrentDirectory) {
    EXPECT_TRUE(passesInChild([&] {
        fs::current_path(home_.path());
        EXPECT_EQ(commandWith("/nowhere:"), own_path_);
        makeProgram(home_ / "Korvalune");
        for (const char* const path : {":", "/nowhere:", ":/nowhere", "/nowhere::/nowhere", "."})
            EXPECT_EQ(commandWith(path), "Korvalune") << path;
        EXPECT_EQ(commandWith(""), own_path_);
    }));
}

TEST_F(AutostartTest, OnlyAnExecutableFileIsAProgram) {
    makeProgram(home_ / "bin/Korvalune", 0644);
    EXPECT_EQ(autostartCommand(), own_path_);
    fs::remove(home_ / "bin/Korvalune");
    fs::create_directory(home_ / "bin/Korvalune");
    EXPECT_EQ(autostartCommand(), own_path_);
    fs::remove(home_ / "bin/Korvalune");
    fs::create_symlink("real", home_ / "bin/Korvalune");
    EXPECT_EQ(autostartCommand(), own_path_);
    makeProgram(home_ / "bin/real");
    EXPECT_EQ(autostartCommand(), "Korvalune");
}

TEST_F(AutostartTest, TheEntryIsReplacedAndRemoved) {
    writeFile(entry_, "something long that was there before\n" + std::string(10'000, 'x'));
    setAutostartEntry(true);
    EXPECT_THAT(contentOf(entry_), testing::StartsWith("[Desktop Entry]\n"));
    EXPECT_THAT(contentOf(entry_), testing::EndsWith("enabled=true\n"));
    setAutostartEntry(false);
    EXPECT_FALSE(fs::exists(entry_));
    setAutostartEntry(false);
    EXPECT_TRUE(fs::exists(entry_.parent_path()));
}

TEST_F(AutostartTest, RemovingMakesNoDirectory) {
    setAutostartEntry(false);
    EXPECT_FALSE(fs::exists(home_ / ".config"));
}

TEST_F(AutostartTest, LooksPastXdgConfigHome) {
    const ScopedEnvironment environment(Variables{{"XDG_CONFIG_HOME", (home_ / "xdg").string()}});
    setAutostartEntry(true);
    EXPECT_TRUE(fs::exists(entry_));
    EXPECT_FALSE(fs::exists(home_ / "xdg"));
}

TEST_F(AutostartTest, WithoutAHomeNothingHappens) {
    const ScopedEnvironment environment(Variables{{"HOME", std::nullopt}});
    setAutostartEntry(true);
    setAutostartEntry(false);
    EXPECT_TRUE(fs::is_empty(home_.path()));
}

TEST_F(AutostartTest, ADirectoryThatCanNotBeMadeThrows) {
    writeFile(home_ / ".config", "a file");
    EXPECT_THROW(setAutostartEntry(true), fs::filesystem_error);
}

TEST_F(AutostartTest, AnEntryThatCanNotBeRemovedThrows) {
    fs::create_directories(entry_ / "not empty");
    EXPECT_THROW(setAutostartEntry(false), fs::filesystem_error);
}

TEST_F(AutostartTest, AnEntryThatCanNotBeWrittenGoesUnnoticed) {
    fs::create_directories(entry_);
    setAutostartEntry(true);
    EXPECT_TRUE(fs::is_directory(entry_));
    EXPECT_TRUE(fs::is_empty(entry_));
}
