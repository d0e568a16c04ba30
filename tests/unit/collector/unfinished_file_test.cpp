#include "trace/unfinished_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "tests/unit/collector/temporary_directory.h"

namespace tarnwick {
namespace {

class UnfinishedFile : public testing::Test {
 protected:
  ~UnfinishedFile() override { removeUnfinishedFile(); }

  static bool exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
  }

  TemporaryDirectory directory_;
  std::string path_ = std::string(directory_.path()) + "/file.new";
  std::string target_ = std::string(directory_.path()) + "/file";
};

TEST_F(UnfinishedFile, TakesTheNameOfTheTarget) {
  const int fd = createUnfinishedFile(path_.c_str());
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(renameUnfinishedFile(target_.c_str()));
  EXPECT_TRUE(hasName(fd));
  EXPECT_TRUE(exists(target_));
  EXPECT_FALSE(exists(path_));
  close(fd);
}

TEST_F(UnfinishedFile, IsRemovedWhenTheTargetIsADirectory) {
  ASSERT_EQ(mkdir(target_.c_str(), 0700), 0);
  const int fd = createUnfinishedFile(path_.c_str());
  EXPECT_FALSE(renameUnfinishedFile(target_.c_str()));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_FALSE(exists(path_));
  close(fd);
  rmdir(target_.c_str());
}

TEST_F(UnfinishedFile, HasNoNameAfterAnotherRunCreatesItsOwn) {
  const int fd = createUnfinishedFile(path_.c_str());
  EXPECT_TRUE(hasName(fd));
  const int other = createUnfinishedFile(path_.c_str());
  EXPECT_FALSE(hasName(fd));
  EXPECT_TRUE(hasName(other));
  close(fd);
  close(other);
}

TEST_F(UnfinishedFile, CannotBeRenamedAfterItsRemoval) {
  const int fd = createUnfinishedFile(path_.c_str());
  removeUnfinishedFile();
  EXPECT_FALSE(exists(path_));
  EXPECT_FALSE(renameUnfinishedFile(target_.c_str()));
  EXPECT_EQ(errno, ENOENT);
  close(fd);
}

TEST_F(UnfinishedFile, IsNotLeftByAProcessThatEnds) {
  EXPECT_EXIT(
      {
        createUnfinishedFile(path_.c_str());
        abandonUnfinishedFiles();
        const bool removed = !exists(path_);
        // As by another thread, which does not know yet.
        createUnfinishedFile(path_.c_str());
        _exit(removed && !exists(path_) ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace tarnwick
