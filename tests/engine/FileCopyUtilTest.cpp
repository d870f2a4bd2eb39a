#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include "EventLoop.h"
#include "FileCopyUtil.h"
#include "Files.h"
#include "ScopedEnvironment.h"
#include "TempInstallRoot.h"

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
    bool midway() const {
        return waitUntil([this] { return !fractions.empty() && fractions.back() > 0; }, 30000,
                         "the copy under way");
    }
    std::vector<float> fractions;
    std::error_code result;
    std::atomic<bool> finished{false};
    std::atomic<bool> onMainThread{true};
};

// One worker and several: the same tree, item for item, whatever order the workers took.
constexpr int kWorkerCounts[] = {1, 3};

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
        time += 3600;
        const struct timespec times[2] = {{time, 0}, {time, 123456789}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
    }
    ::chmod((root + "/Contents/ReadOnly").c_str(), 0555);
}

}  // namespace

TEST(FileCopy, CopiesATreeItemForItemWithRisingProgress) {
    TempInstallRoot dirs;
    const std::string source = dirs.base() + "/source.app";
    const std::string target = dirs.base() + "/deep/er/target.app";
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

        // The synchronous copy replaces what is at the target.
        const std::string copy = dirs.base() + "/sync";
        writeFile(copy + "/stale", "");
        EXPECT_FALSE(FileCopyUtil::syncCopyAtPath(source, copy));
        EXPECT_EQ(snapshotTree(copy, {}, true), snapshotTree(source, {}, true));
        EXPECT_EQ(FileCopyUtil::syncCopyAtPath(std::nullopt, copy),
                  std::errc::no_such_file_or_directory);
    }
    // Regular files only: the links to f1 and to big are not counted again.
    EXPECT_EQ(FileCopyUtil::getDirectoryFileSizeAtPath(source), 997u * 780 + (20 << 20) + 3 + 10);
    EXPECT_EQ(FileCopyUtil::getDirectoryFileSizeAtPath(dirs.base() + "/missing"), 0u);
}

// Whatever ends the copy, a failure or a Cancel, it ends with one report of the first error,
// every worker stopped (within its file on a Cancel), nothing written once stopAndWait has
// returned. A copy stopped in its start delay reports at once instead of never: the rollback
// waits for exactly one completion either way.
TEST(FileCopy, EndsWithOneReportOfTheFirstErrorOrTheCancel) {
    struct Case {
        const char* name;
        std::errc expected;
        std::function<void(const std::string& source)> plant;
        std::function<void(const std::string& source, FileCopyUtil&, Receiver&)> duringCopy;
        std::uintmax_t large = 64 << 20;
    };
    const Case cases[] = {
        {"a missing source", std::errc::no_such_file_or_directory,
         [](const std::string& root) { fs::remove_all(root); }, nullptr},
        // Large files are copied first, so the smallest is still waiting when it goes.
        {"a file removed during the copy", std::errc::no_such_file_or_directory,
         [](const std::string& root) { writeFile(root + "/zz/vanishing", "x"); },
         [](const std::string& root, FileCopyUtil&, Receiver& receiver) {
             ASSERT_TRUE(receiver.midway());
             fs::remove(root + "/zz/vanishing");
         }},
        {"a Cancel in the middle of large files", std::errc::operation_canceled, nullptr,
         [](const std::string&, FileCopyUtil& copier, Receiver& receiver) {
             ASSERT_TRUE(receiver.midway());
             copier.stopAndWait();
             EXPECT_TRUE(receiver.finished);
         },
         std::uintmax_t{1} << 30},
        {"a Cancel in the start delay", std::errc::operation_canceled, nullptr,
         [](const std::string&, FileCopyUtil& copier, Receiver& receiver) {
             copier.stopAndWait();
             EXPECT_TRUE(receiver.finished);
         }},
    };
    for (const Case& c : cases) {
        for (int workers : kWorkerCounts) {
            SCOPED_TRACE(std::string(c.name) + ", workers " + std::to_string(workers));
            TempInstallRoot scratch;
            const std::string from = scratch.base() + "/source.app";
            const std::string to = scratch.base() + "/target.app";
            for (int i = 0; i < 2 * workers; ++i) {
                writeFile(from + "/large" + std::to_string(i), "");
                fs::resize_file(from + "/large" + std::to_string(i), c.large);
            }
            if (c.plant) {
                c.plant(from);
            }
            ScopedEnvironment count("VELA_COPY_WORKERS", std::to_string(workers));
            Receiver receiver;
            FileCopyUtil copier(&receiver);
            copier.copyFileAtPath(from, to);
            if (c.duringCopy) {
                c.duringCopy(from, copier, receiver);
            }
            ASSERT_TRUE(waitUntil([&] { return receiver.finished.load(); }, 10000, "the report"));
            EXPECT_EQ(receiver.result, c.expected) << receiver.result.message();
            copier.stopAndWait();
            EXPECT_FALSE(copier.isCopying());
            if (c.expected != std::errc::operation_canceled) {
                continue;
            }
            const auto sizes = [&] {
                std::vector<std::uintmax_t> found;
                for (int i = 0; i < 2 * workers; ++i) {
                    std::error_code ec;
                    std::uintmax_t size = fs::file_size(to + "/large" + std::to_string(i), ec);
                    found.push_back(ec ? 0 : size);
                }
                return found;
            };
            const std::vector<std::uintmax_t> stopped = sizes();
            for (std::uintmax_t size : stopped) {
                EXPECT_LT(size, c.large);
            }
            EXPECT_FALSE(waitUntil([&] { return sizes() != stopped; }, 300));
        }
    }
}
