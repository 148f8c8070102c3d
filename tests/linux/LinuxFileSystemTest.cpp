#include "platform/linux/LinuxFileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "linux/TemporaryDirectory.h"
#include "platform/linux/DeviceProfile.h"
#include "platform/linux/LinuxBundle.h"

namespace trovix::platform {

struct LinuxFileSystemTest : ::testing::Test {
  TemporaryDirectory directory;
  DeviceProfile profile;
  LinuxFileSystem files{directory / "staging", profile};
};

TEST_F(LinuxFileSystemTest, AtomicWritesLeaveNothingButTheFile) {
  ASSERT_TRUE(files.createDirectories(directory / "a/b"));
  const std::string path = directory / "a/b/file";
  for (const std::size_t size : {0U, 100U, 70000U}) {
    ASSERT_TRUE(files.writeAtomically(path, Data(size, 7)));
    EXPECT_EQ(files.entryCount(directory / "a/b"), 1U);
    EXPECT_EQ(files.read(path, 70000).value(), Data(size, 7));
  }
  EXPECT_EQ(files.entryCount(directory / "staging"), 0U);
  EXPECT_EQ(files.writeAtomically(directory / "missing/file", {}).error().code(), ENOENT);
  EXPECT_EQ(files.writeAtomically(directory / "a/b", {}).error().code(), EISDIR);
}

TEST_F(LinuxFileSystemTest, AReaderNeverSeesAPart) {
  const std::string path = directory / "file";
  std::atomic<bool> done = false;
  const std::jthread writer([&] {
    for (std::uint8_t i = 1; i < 100; ++i) EXPECT_TRUE(files.writeAtomically(path, Data(20000, i)));
    done = true;
  });
  while (!done) {
    const auto read = files.read(path, 100000);
    ASSERT_TRUE(!read || *read == Data(20000, read->at(0)));
  }
}

TEST_F(LinuxFileSystemTest, ReadingIsBoundedAndNeverWaits) {
  overwrite(directory / "file", "12345");
  ::mkfifo((directory / "pipe").c_str(), 0600);
  EXPECT_TRUE(files.read(directory / "file", 5));
  EXPECT_EQ(files.read(directory / "file", 4).error().code(), EFBIG);
  EXPECT_EQ(files.read(directory / "pipe", 4).error().code(), EINVAL);
  EXPECT_EQ(files.read(directory.path(), 4).error().code(), EISDIR);
  EXPECT_EQ(files.read(directory / "none", 4).error().code(), ENOENT);
}

TEST_F(LinuxFileSystemTest, WalksAndRemovesWithoutFollowingLinks) {
  ASSERT_TRUE(files.createDirectories(directory / "a/b"));
  overwrite(directory / "a/b/c", "");
  overwrite(directory / "outside", "");
  std::filesystem::create_directory_symlink(directory.path(), directory / "a/link");
  EXPECT_THAT(files.walk(directory / "a"),
              UnorderedElementsAre(directory / "a/b", directory / "a/b/c", directory / "a/link"));
  EXPECT_EQ(files.entryCount(directory / "a"), 2U);
  EXPECT_EQ(files.remove(directory / "a/b").error().code(), ENOTEMPTY);
  for (const char* path : {"a/b/c", "a/b", "a/link"}) EXPECT_TRUE(files.remove(directory / path));
  EXPECT_TRUE(files.exists(directory / "outside"));
  EXPECT_TRUE(files.walk(directory / "none").empty());
}

TEST_F(LinuxFileSystemTest, CreationTimesStay) {
  ASSERT_TRUE(files.createDirectories(directory / "Library"));
  const auto created = files.creationTime(directory / "Library");
  const auto marked = markedCreationTime(directory / "Library");
  ASSERT_TRUE(created && marked);
  overwrite(directory / "Library/later", "");
  const timespec later[2] = {{4000000000, 0}, {4000000000, 0}};
  ::utimensat(AT_FDCWD, (directory / "Library").c_str(), later, 0);
  EXPECT_EQ(files.modificationTime(directory / "Library"), 4000000000.0);
  EXPECT_EQ(files.creationTime(directory / "Library"), created);
  EXPECT_EQ(markedCreationTime(directory / "Library"), marked);
  EXPECT_NEAR(*marked, *created, 60);
  EXPECT_EQ(files.creationTime(directory / "none"), std::nullopt);
}

TEST_F(LinuxFileSystemTest, TheProfilesWordOnSpaceCounts) {
  EXPECT_GT(files.space(directory.path())->totalBytes, 0U);
  profile.merge({{"disk", Dictionary{{"free", 5}, {"total", -7}}}});
  EXPECT_EQ(files.space(directory.path())->freeBytes, 5U);
  EXPECT_EQ(files.space(directory.path())->totalBytes, 0U);
  profile.merge({{"disk", Dictionary{{"error", Dictionary{{"domain", "D"}, {"code", 9}}}}}});
  EXPECT_EQ(files.space(directory.path()).error(), Error("D", 9));
}

TEST_F(LinuxFileSystemTest, TheReceiptFollowsTheProfile) {
  const std::string path = directory / "StoreKit/receipt";
  const LinuxBundle bundle(profile, files, path);
  const auto receipt = [&](const Value& value) {
    profile.merge({{"bundle", Dictionary{{"receipt", value}}}});
    EXPECT_EQ(bundle.receiptPath(), path);
    return files.exists(path) ? contentOf(path) : "none";
  };
  EXPECT_EQ(receipt("YWJj"), "abc");
  EXPECT_EQ(receipt("ZGVm"), "def");
  EXPECT_EQ(receipt("not base64!"), "none");
}

}  // namespace trovix::platform
