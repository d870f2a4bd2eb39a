#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "AtomicFile.h"
#include "Files.h"
#include "TempInstallRoot.h"

using namespace vela;
using namespace vela::test;
namespace fs = std::filesystem;

// As root in a folder others may write to: whatever was planted at the name, the folder or the
// temp name, the result is our own regular file, and nothing the plant points at changes.
TEST(AtomicFile, WritesOnlyItsOwnFileWhateverWasPlanted) {
    TempInstallRoot root;
    const std::string folder = root.base() + "/records";
    const std::string elsewhere = root.base() + "/elsewhere";
    const std::string path = folder + "/last-install.json";
    const struct {
        const char* name;
        std::function<void()> plant;
        bool written;
    } rows[] = {
        {"nothing there", [] {}, true},
        {"an older file of another owner",
         [&] {
             writeFile(path, "old text that is longer than the new");
             ::chown(path.c_str(), 65534, 65534);
             ::chmod(path.c_str(), 0600);
         },
         true},
        {"a link at the name", [&] { fs::create_symlink(elsewhere + "/victim", path); }, true},
        {"a left-over temp file of this process",
         [&] { writeFile(folder + "/.last-install.json.new-" + std::to_string(::getpid()), "x"); },
         true},
        {"the folder is a link",
         [&] {
             fs::remove_all(folder);
             fs::create_symlink(elsewhere, folder);
         },
         false},
    };
    for (const auto& row : rows) {
        fs::remove_all(folder);
        fs::remove_all(elsewhere);
        fs::create_directories(folder);
        fs::create_directories(elsewhere);
        writeFile(elsewhere + "/victim", "victim");
        row.plant();
        std::error_code ec = AtomicFile::write(path, "{}\n", 0, 0, 0644);
        EXPECT_EQ(!ec, row.written) << row.name << ": " << ec.message();
        EXPECT_EQ(readFile(elsewhere + "/victim"), "victim") << row.name;
        EXPECT_EQ(fs::directory_iterator(elsewhere)->path().filename(), "victim") << row.name;
        if (row.written) {
            struct stat info {};
            ASSERT_EQ(::lstat(path.c_str(), &info), 0) << row.name;
            EXPECT_TRUE(S_ISREG(info.st_mode)) << row.name;
            EXPECT_EQ(info.st_mode & 07777, 0644u) << row.name;
            EXPECT_EQ(info.st_uid, 0u) << row.name;
            EXPECT_EQ(info.st_gid, 0u) << row.name;
            EXPECT_EQ(readFile(path), "{}\n") << row.name;
            EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1)
                << row.name << ": a temp file stayed";
        }
    }
}
