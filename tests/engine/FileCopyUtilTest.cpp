#include <QCoreApplication>
#include <QThread>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include "EngineFixture.h"
#include "EventLoop.h"
#include "FileCopyUtil.h"
#include "Files.h"
#include "ScopedEnvironment.h"

using namespace vela;
using namespace vela::test;
namespace fs = std::filesystem;

namespace {

class Receiver : public FileCopyUtilDelegate {
public:
    void setCopyProgress(float fraction) override { fractions.push_back(fraction); }
    void didFinishedCopyWithError(std::error_code error) override {
        onMainThread = QThread::currentThread() == QCoreApplication::instance()->thread();
        result = error;
        finished = true;
    }
    std::vector<float> fractions;
    std::error_code result;
    std::atomic<bool> finished{false};
    std::atomic<bool> onMainThread{true};
};

class FileCopy : public testing::Test {
protected:
    TempInstallRoot dirs;
    std::string source = dirs.base() + "/source.app";
    std::string target = dirs.base() + "/deep/er/target.app";
};

}  // namespace

// One worker and several: the same tree, item for item, whatever order the workers took.
constexpr int kWorkerCounts[] = {1, 3};

void setTimes(const std::string& path, std::int64_t seconds) {
    const struct timespec times[2] = {{seconds, 0}, {seconds, 123456789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

// Links of every kind, empty and read-only folders, files of zero bytes to several chunks, odd
// modes (a file its owner may not read, set-id bits), each with its own past time.
void makeMixedTree(const std::string& root) {
    for (int i = 0; i < 40; ++i) {
        writeFile(root + "/Contents/Resources/f" + std::to_string(i),
                  std::string(i * 997, 'a' + i % 26));
    }
    writeFile(root + "/Contents/MacOS/big", "");
    fs::resize_file(root + "/Contents/MacOS/big", (20 << 20) + 3);
    writeFile(root + "/Contents/MacOS/empty", "");
    writeFile(root + "/Contents/unreadable", "secret");
    fs::create_directories(root + "/Contents/Empty/Deeper");
    fs::create_directories(root + "/Contents/ReadOnly");
    writeFile(root + "/Contents/ReadOnly/inside", "kept");
    fs::create_symlink("Resources/f1", root + "/Contents/link");
    fs::create_symlink("Resources", root + "/Contents/dirlink");
    fs::create_symlink("/nowhere/at/all", root + "/Contents/dangling");
    fs::create_symlink(root + "/Contents/MacOS/big", root + "/Contents/absolute");
    ::chmod((root + "/Contents/unreadable").c_str(), 0);
    ::chmod((root + "/Contents/MacOS/empty").c_str(), 04755);
    ::chmod((root + "/Contents/Empty/Deeper").c_str(), 0750);
    std::int64_t time = 1500000000;
    std::vector<std::string> paths;
    for (fs::recursive_directory_iterator it(root), end; it != end; ++it) {
        paths.push_back(it->path().string());
    }
    std::sort(paths.rbegin(), paths.rend());  // contents before their folder
    for (const std::string& path : paths) {
        setTimes(path, time += 3600);
    }
    ::chmod((root + "/Contents/ReadOnly").c_str(), 0555);
}

TEST_F(FileCopy, CopiesATreeItemForItemWithRisingProgress) {
    makeMixedTree(source);
    for (int workers : kWorkerCounts) {
        SCOPED_TRACE("workers " + std::to_string(workers));
        ScopedEnvironment count("VELA_COPY_WORKERS", std::to_string(workers));
        Receiver receiver;
        FileCopyUtil copier(&receiver);
        copier.copyFileAtPath(source, target);
        ASSERT_TRUE(waitUntil([&] { return receiver.finished.load(); }));
        EXPECT_FALSE(receiver.result) << receiver.result.message();
        EXPECT_FALSE(receiver.onMainThread);
        EXPECT_EQ(snapshotTree(target, {}, true), snapshotTree(source, {}, true));
        ASSERT_FALSE(receiver.fractions.empty());
        EXPECT_EQ(receiver.fractions.front(), 0.0f);  // before the delayed start
        EXPECT_TRUE(std::is_sorted(receiver.fractions.begin(), receiver.fractions.end()));
        EXPECT_LE(receiver.fractions.back(), 1.0f);

        const std::string copy = dirs.base() + "/sync" + std::to_string(workers);
        EXPECT_FALSE(FileCopyUtil::syncCopyAtPath(source, copy));
        EXPECT_EQ(snapshotTree(copy, {}, true), snapshotTree(source, {}, true));
    }
}

// Whatever goes wrong, the copy ends with one report of the first error, every worker stopped.
TEST_F(FileCopy, ReportsTheFirstErrorWithAnyNumberOfWorkers) {
    struct Case {
        const char* name;
        std::errc expected;
        std::function<void(const std::string& source)> plant;
        std::function<void(const std::string& source)> duringCopy;
    };
    const Case cases[] = {
        {"a pipe in the tree", std::errc::not_supported,
         [](const std::string& root) {
             fs::create_directories(root + "/sub");
             ASSERT_EQ(::mkfifo((root + "/sub/pipe").c_str(), 0644), 0);
         },
         nullptr},
        // Large files are copied first, so the smallest is still waiting when it goes.
        {"a file removed during the copy", std::errc::no_such_file_or_directory,
         [](const std::string& root) { writeFile(root + "/zz/vanishing", "x"); },
         [](const std::string& root) { fs::remove(root + "/zz/vanishing"); }},
    };
    for (const Case& c : cases) {
        for (int workers : kWorkerCounts) {
            SCOPED_TRACE(std::string(c.name) + ", workers " + std::to_string(workers));
            TempInstallRoot scratch;
            const std::string from = scratch.base() + "/source.app";
            for (int i = 0; i < 2 * workers; ++i) {
                writeFile(from + "/large" + std::to_string(i), "");
                fs::resize_file(from + "/large" + std::to_string(i), 64 << 20);
            }
            c.plant(from);
            ScopedEnvironment count("VELA_COPY_WORKERS", std::to_string(workers));
            Receiver receiver;
            FileCopyUtil copier(&receiver);
            copier.copyFileAtPath(from, scratch.base() + "/target.app");
            if (c.duringCopy) {
                ASSERT_TRUE(waitUntil(
                    [&] { return !receiver.fractions.empty() && receiver.fractions.back() > 0; }));
                c.duringCopy(from);
            }
            ASSERT_TRUE(waitUntil([&] { return receiver.finished.load(); }));
            EXPECT_EQ(receiver.result, c.expected) << receiver.result.message();
            copier.stopAndWait();
            EXPECT_FALSE(copier.isCopying());
        }
    }
}

TEST_F(FileCopy, ReportsAMissingSourceOnTheBackgroundThread) {
    Receiver receiver;
    FileCopyUtil copier(&receiver);
    copier.copyFileAtPath(dirs.base() + "/missing.app", target);
    ASSERT_TRUE(waitUntil([&] { return receiver.finished.load(); }));
    EXPECT_TRUE(receiver.result);
    EXPECT_FALSE(receiver.onMainThread);
    copier.copyFileAtPath(std::nullopt, target);
    receiver.finished = false;
    ASSERT_TRUE(waitUntil([&] { return receiver.finished.load(); }));
    EXPECT_EQ(receiver.result, std::errc::no_such_file_or_directory);
}

// Cancel stops the copy before its next item, and a copy stopped before it started reports at
// once instead of never: the rollback waits for exactly one completion either way.
TEST_F(FileCopy, StopsOnRequestAndAlwaysReportsOnce) {
    for (int i = 0; i < 200; ++i) {
        writeFile(source + "/f" + std::to_string(i), std::string(64 << 10, 'x'));
    }
    Receiver receiver;
    FileCopyUtil copier(&receiver);
    copier.copyFileAtPath(source, target);
    copier.stopAndWait();  // still in its start delay
    EXPECT_TRUE(receiver.finished);
    EXPECT_EQ(receiver.result, std::errc::operation_canceled);
    EXPECT_FALSE(copier.isCopying());
    EXPECT_FALSE(waitUntil([&] { return exists(target + "/f0"); }, 300));
}

// Cancel in the middle of large files: every worker stops within its file, and nothing is written
// once stopAndWait has returned.
TEST_F(FileCopy, StopsEveryWorkerWithinItsFile) {
    constexpr std::uintmax_t kLarge = std::uintmax_t{1} << 30;
    for (int workers : kWorkerCounts) {
        SCOPED_TRACE("workers " + std::to_string(workers));
        TempInstallRoot scratch;
        const std::string from = scratch.base() + "/source.app";
        const std::string to = scratch.base() + "/target.app";
        for (int i = 0; i < workers; ++i) {
            writeFile(from + "/large" + std::to_string(i), "");
            fs::resize_file(from + "/large" + std::to_string(i), kLarge);
        }
        ScopedEnvironment count("VELA_COPY_WORKERS", std::to_string(workers));
        Receiver receiver;
        FileCopyUtil copier(&receiver);
        copier.copyFileAtPath(from, to);
        ASSERT_TRUE(waitUntil(
            [&] { return !receiver.fractions.empty() && receiver.fractions.back() > 0; }));
        copier.stopAndWait();
        EXPECT_TRUE(receiver.finished);
        EXPECT_EQ(receiver.result, std::errc::operation_canceled);
        EXPECT_FALSE(copier.isCopying());
        auto sizes = [&] {
            std::vector<std::uintmax_t> found;
            for (int i = 0; i < workers; ++i) {
                std::error_code ec;
                std::uintmax_t size = fs::file_size(to + "/large" + std::to_string(i), ec);
                found.push_back(ec ? 0 : size);
            }
            return found;
        };
        const std::vector<std::uintmax_t> stopped = sizes();
        for (std::uintmax_t size : stopped) {
            EXPECT_LT(size, kLarge);
        }
        EXPECT_FALSE(waitUntil([&] { return sizes() != stopped; }, 300));
    }
}

TEST_F(FileCopy, SynchronousCopyReplacesTheTarget) {
    writeFile(source, "new");
    writeFile(target, "old");
    EXPECT_FALSE(FileCopyUtil::syncCopyAtPath(source, target));
    EXPECT_EQ(readFile(target), "new");
    EXPECT_TRUE(FileCopyUtil::syncCopyAtPath(std::nullopt, target));
    EXPECT_EQ(FileCopyUtil::syncCopyAtPath(dirs.base() + "/missing", dirs.base() + "/other"),
              std::errc::no_such_file_or_directory);
}

TEST_F(FileCopy, SizesCountRegularFilesOnly) {
    writeFile(source + "/a", std::string(1000, 'a'));
    writeFile(source + "/sub/b", std::string(24, 'b'));
    fs::create_symlink(source + "/a", source + "/link");
    EXPECT_EQ(FileCopyUtil::getDirectoryFileSizeAtPath(source), 1024u);
    EXPECT_EQ(FileCopyUtil::getDirectoryFileSizeAtPath(dirs.base() + "/missing"), 0u);
}
