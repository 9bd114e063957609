#include "kernel_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <set>
#include <string>

#include "fake_kernel.h"
#include "temporary_directory.h"

TEST(KernelPath, JoinsTheRootAndTheKernelsOwnPath) {
    EXPECT_EQ(kernelPath("/", "/proc/stat"), "/proc/stat");
    EXPECT_EQ(kernelPath("", "/proc/stat"), "/proc/stat");
    EXPECT_EQ(kernelPath("/tmp/machine", "/proc/stat"), "/tmp/machine/proc/stat");
    EXPECT_EQ(kernelPath("/tmp/machine//", "/proc/stat"), "/tmp/machine/proc/stat");
}

TEST(KernelFile, SeesEachChangeOfTheFile) {
    FakeKernel kernel;
    KernelFile file(kernel.at("/proc/meminfo").string());
    EXPECT_FALSE(file.read());
    kernel.file("/proc/meminfo", "one\n");
    EXPECT_EQ(file.read(), "one\n");
    kernel.file("/proc/meminfo", "");
    EXPECT_EQ(file.read(), "");
    kernel.remove("/proc/meminfo");
    EXPECT_FALSE(file.read());
}

TEST(KernelFile, ReadsFilesLargerThanItsBuffer) {
    FakeKernel kernel;
    const std::string large(100'000, 'x');
    kernel.file("/proc/stat", large);
    for (const auto kind : {KernelFile::Kind::SingleShow, KernelFile::Kind::Records}) {
        KernelFile file(kernel.at("/proc/stat").string(), kind);
        EXPECT_EQ(file.read(), large);
        EXPECT_EQ(file.read(), large);
    }
}

TEST(KernelFile, StopsAtItsLargestSize) {
    FakeKernel kernel;
    kernel.file("/proc/stat", std::string(KernelFile::kMaxBytes + 100'000, 'x'));
    EXPECT_EQ(readKernelFile(kernel.at("/proc/stat").string())->size(), KernelFile::kMaxBytes);
}

TEST(KernelFile, ReadingThatFailsHalfwayYieldsNothing) {
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "stat";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    // To a pipe that is empty but still has a writer, the second read is told to try again.
    const int writer = open(path.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_GE(writer, 0);
    EXPECT_EQ(write(writer, "cpu0 1", 6), 6);
    EXPECT_EQ(readKernelFile(path, KernelFile::Kind::Records), std::nullopt);
    close(writer);
}

TEST(KernelFile, ADirectoryInItsPlaceIsUnreadable) {
    FakeKernel kernel;
    kernel.directory("/proc/stat");
    EXPECT_FALSE(readKernelFile(kernel.at("/proc/stat").string()));
}

TEST(KernelFile, ReadsTheRealKernel) {
    const auto text = readKernelFile("/proc/self/status");
    ASSERT_TRUE(text);
    EXPECT_NE(text->find("\nPid:"), std::string::npos);
}

TEST(KernelDirectory, NamesItsEntries) {
    FakeKernel kernel;
    kernel.directory("/proc/12").file("/proc/stat", "");
    KernelDirectory proc(kernel.at("/proc").string());
    std::set<std::string> found;
    while (const char* name = proc.next())
        found.insert(name);
    EXPECT_EQ(found, (std::set<std::string>{".", "..", "12", "stat"}));
}

TEST(KernelDirectory, ReadsFilesBelowIt) {
    FakeKernel kernel;
    const std::string large(100'000, 'x');
    kernel.file("/proc/12/stat", "one\n").file("/proc/12/large", large).file("/proc/12/empty", "");
    const KernelDirectory proc(kernel.at("/proc").string());
    std::string buffer;
    EXPECT_EQ(proc.read("12/stat", buffer), "one\n");
    EXPECT_EQ(proc.read("12/large", buffer), large);
    EXPECT_EQ(proc.read("12/stat", buffer), "one\n");
    EXPECT_EQ(proc.read("12/empty", buffer), "");
    EXPECT_EQ(proc.read("12/missing", buffer), std::nullopt);
    EXPECT_EQ(proc.read("13/stat", buffer), std::nullopt);
    EXPECT_EQ(proc.read("12", buffer), std::nullopt);
}

TEST(KernelDirectory, IsEmptyWhenItCannotBeListed) {
    FakeKernel kernel;
    kernel.file("/proc", "a file").file("/stat", "one\n");
    for (const auto* path : {"/proc", "/missing"}) {
        KernelDirectory directory(kernel.at(path).string());
        std::string buffer;
        EXPECT_EQ(directory.next(), nullptr);
        EXPECT_EQ(directory.read("stat", buffer), std::nullopt);
    }
}

TEST(KernelWord, IsTheFirstWord) {
    FakeKernel kernel;
    kernel.file("/sys/a", " up \n").file("/sys/b", "").file("/sys/c", "coretemp");
    EXPECT_EQ(readKernelWord(kernel.at("/sys/a").string()), "up");
    EXPECT_EQ(readKernelWord(kernel.at("/sys/b").string()), "");
    EXPECT_EQ(readKernelWord(kernel.at("/sys/c").string()), "coretemp");
    EXPECT_EQ(readKernelWord(kernel.at("/sys/missing").string()), "");
}

TEST(KernelInteger, IsTheNumberAtTheStart) {
    FakeKernel kernel;
    const auto read = [&](std::string_view content) {
        kernel.file("/sys/n", content);
        return readKernelInteger(kernel.at("/sys/n").string());
    };
    EXPECT_EQ(read("45500\n"), 45500);
    EXPECT_EQ(read("-5000\n"), -5000);
    EXPECT_EQ(read(" 7"), 7);
    EXPECT_EQ(read("12abc"), 12);
    EXPECT_EQ(read(""), std::nullopt);
    EXPECT_EQ(read("N/A"), std::nullopt);
    EXPECT_EQ(read("99999999999999999999999"), std::nullopt);
    EXPECT_EQ(read(std::string_view("\0\0\xff\xfe", 4)), std::nullopt);
    EXPECT_EQ(readKernelInteger(kernel.at("/sys/missing").string()), std::nullopt);
}
