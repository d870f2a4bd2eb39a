#include <QCoreApplication>
#include <QThread>

#include <filesystem>

#include "EngineFixture.h"
#include "EventLoop.h"
#include "FileCopyUtil.h"
#include "Files.h"

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

TEST_F(FileCopy, CopiesATreeInTheBackgroundWithRisingProgress) {
    for (int i = 0; i < 40; ++i) {
        writeFile(source + "/Contents/Resources/f" + std::to_string(i), "");
        fs::resize_file(source + "/Contents/Resources/f" + std::to_string(i), 4 << 20);
    }
    fs::create_symlink("Resources/f1", source + "/Contents/link");
    fs::permissions(source + "/Contents/Resources/f0", fs::perms::owner_all);
    Receiver receiver;
    FileCopyUtil copier(&receiver);
    copier.copyFileAtPath(source, target);
    ASSERT_TRUE(waitUntil([&] { return receiver.finished.load(); }));
    EXPECT_FALSE(receiver.result) << receiver.result.message();
    EXPECT_FALSE(receiver.onMainThread);
    EXPECT_EQ(snapshotTree(target), snapshotTree(source));
    ASSERT_FALSE(receiver.fractions.empty());
    EXPECT_EQ(receiver.fractions.front(), 0.0f);  // before the delayed start
    EXPECT_TRUE(std::is_sorted(receiver.fractions.begin(), receiver.fractions.end()));
    EXPECT_LE(receiver.fractions.back(), 1.0f);
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
