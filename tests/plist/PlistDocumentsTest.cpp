#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "platform/plist/PlistDocuments.h"
#include "platform/plist/PlistShape.h"
#include "platform/posix/FileDescriptor.h"
#include "plist/Archives.h"
#include "support/TemporaryFolder.h"

namespace {

thread_local int interruptions = 0;  ///< of the next reads

}  // namespace

/// Stands in for the C library's.
extern "C" ssize_t read(int descriptor, void* bytes, size_t size) {
  if (interruptions > 0) {
    --interruptions;
    errno = EINTR;
    return -1;
  }
  return syscall(SYS_read, descriptor, bytes, size);
}

namespace fliprugair {
namespace {

namespace fs = std::filesystem;

/// A documents folder, and beside it a readable archive that is none of its business.
class PlistDocumentsTest : public testing::Test {
 protected:
  PlistDocumentsTest() {
    fs::create_directory(folder());
    write("outside.plist", archive);
  }

  fs::path folder() const { return base / "Documents"; }

  void write(const fs::path& name, const std::string& content) const { temporary.write(name, content); }

  bool isReadable(std::string_view name) const {
    const PlistDocuments documents(folder());
    return documents.unarchivesAsObject(documents.pathForFile(name));
  }

  const std::string archive = test::textArchive().binary();
  const TemporaryFolder temporary;
  const fs::path base = temporary.path();
};

TEST_F(PlistDocumentsTest, APathIsTheFolderAndTheName) {
  EXPECT_EQ(PlistDocuments("/home/app/Documents").pathForFile("a.plist"), "/home/app/Documents/a.plist");
  EXPECT_EQ(PlistDocuments("/home/app/Documents/").pathForFile("a.plist"), "/home/app/Documents/a.plist");
  EXPECT_EQ(PlistDocuments("/").pathForFile("a.plist"), "/a.plist");
  EXPECT_EQ(PlistDocuments("/home").pathForFile("/etc/passwd"), "/home//etc/passwd");
  EXPECT_EQ(PlistDocuments("Documents").pathForFile("a"), (fs::current_path() / "Documents/a").string());
}

TEST_F(PlistDocumentsTest, AnArchiveInTheFolderIsReadable) {
  write("Documents/binary.plist", archive);
  write("Documents/xml", test::personArchive().xml());
  EXPECT_TRUE(isReadable("binary.plist"));
  EXPECT_TRUE(isReadable("xml"));
}

TEST_F(PlistDocumentsTest, AReadingThatASignalInterruptsGoesOn) {
  write("Documents/a.plist", archive);
  interruptions = 2;
  EXPECT_TRUE(isReadable("a.plist"));
  EXPECT_EQ(interruptions, 0);
}

TEST_F(PlistDocumentsTest, TheFolderMayBeReachedByALink) {
  write("Documents/a.plist", archive);
  fs::create_directory_symlink(folder(), base / "link");
  const PlistDocuments documents(base / "link");
  EXPECT_TRUE(documents.unarchivesAsObject(documents.pathForFile("a.plist")));
}

TEST_F(PlistDocumentsTest, WhatIsMissingEmptyOrNoArchiveIsAbsent) {
  write("Documents/empty", "");
  write("Documents/text", "not an archive");
  write("Documents/plain", test::Tree::dictionary().with("key", test::Tree::text("value")).binary());
  for (const char* name : {"missing", "empty", "text", "plain"}) EXPECT_FALSE(isReadable(name)) << name;
  const PlistDocuments nowhere(base / "missing");
  EXPECT_FALSE(nowhere.unarchivesAsObject(nowhere.pathForFile("a.plist")));
}

TEST_F(PlistDocumentsTest, TwoDotsInsideANameAreLettersOfIt) {
  for (const std::string name : {"a..b", "..a.plist", "a.plist..", "...", "a..plist"}) {
    write("Documents/" + name, archive);
    EXPECT_TRUE(isReadable(name)) << name;
  }
}

TEST_F(PlistDocumentsTest, ANameThatLeadsElsewhereIsAbsent) {
  fs::create_directory(folder() / "inner");
  write("Documents/inner/a.plist", archive);
  write("Documents/a.plist", archive);
  ASSERT_TRUE(isReadable("a.plist"));
  const std::vector<std::string> names{"",
                                       ".",
                                       "..",
                                       "/",
                                       "../outside.plist",
                                       "inner/../../outside.plist",
                                       "inner",
                                       "inner/",
                                       "./a.plist",
                                       "/a.plist",
                                       (base / "outside.plist").string(),
                                       "a.plist/",
                                       "a.plist/..",
                                       "inner/a.plist",
                                       std::string("a.plist\0", 8),
                                       std::string("a.plist\0.txt", 12),
                                       std::string(5000, 'a')};
  for (const auto& name : names) EXPECT_FALSE(isReadable(name)) << name;
}

TEST_F(PlistDocumentsTest, APathOfAnotherFolderIsAbsent) {
  const PlistDocuments documents(folder());
  EXPECT_FALSE(documents.unarchivesAsObject((base / "outside.plist").string()));
  EXPECT_FALSE(documents.unarchivesAsObject("outside.plist"));
  EXPECT_FALSE(documents.unarchivesAsObject(""));
  EXPECT_FALSE(documents.unarchivesAsObject(folder().string()));
}

TEST_F(PlistDocumentsTest, WithoutAFolderEverythingIsAbsent) {
  const PlistDocuments documents("");
  fs::current_path(folder());
  write("Documents/a.plist", archive);
  for (const char* name : {"a.plist", "/a.plist"}) EXPECT_FALSE(documents.unarchivesAsObject(name)) << name;
  EXPECT_FALSE(documents.unarchivesAsObject(documents.pathForFile((folder() / "a.plist").string())));
}

TEST_F(PlistDocumentsTest, ALinkWithinTheFolderIsFollowed) {
  write("Documents/a.plist", archive);
  fs::create_symlink("a.plist", folder() / "link");
  fs::create_symlink("link", folder() / "link to a link");
  EXPECT_TRUE(isReadable("link"));
  EXPECT_TRUE(isReadable("link to a link"));
}

TEST_F(PlistDocumentsTest, ALinkThatLeadsOutIsAbsent) {
  write("Documents/a.plist", archive);
  fs::create_symlink(base / "outside.plist", folder() / "out");
  fs::create_symlink("../outside.plist", folder() / "relative");
  fs::create_symlink("../Documents/a.plist", folder() / "out and in");
  fs::create_symlink(folder() / "a.plist", folder() / "absolute");
  fs::create_symlink("missing", folder() / "dangling");
  fs::create_symlink("loop", folder() / "loop");
  fs::create_directory_symlink(base, folder() / "directory");
  for (const char* name :
       {"out", "relative", "out and in", "absolute", "dangling", "loop", "directory", "directory/outside.plist"}) {
    EXPECT_FALSE(isReadable(name)) << name;
  }
}

TEST_F(PlistDocumentsTest, WhatIsNoRegularFileIsAbsentWithoutWaiting) {
  ASSERT_EQ(mkfifo((folder() / "pipe").c_str(), 0600), 0);
  const FileDescriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, (folder() / "socket").c_str(), sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_FALSE(isReadable("pipe"));
  EXPECT_FALSE(isReadable("socket"));
  const PlistDocuments devices("/dev");
  EXPECT_FALSE(devices.unarchivesAsObject(devices.pathForFile("zero")));
  EXPECT_FALSE(devices.unarchivesAsObject(devices.pathForFile("tty")));
}

/// An archive that is made `size` bytes long by the text in it.
std::string archiveOfSize(std::size_t size) {
  const auto archiveOfText = [](std::size_t length) {
    test::Archive archive;
    const auto root = archive.add(test::Tree::text(std::string(length, 'x')));
    return archive.finish(root).binary();
  };
  const std::size_t nearly = size - 1024;
  return archiveOfText(nearly + size - archiveOfText(nearly).size());
}

TEST_F(PlistDocumentsTest, AFileOfMoreThanTheLimitIsAbsent) {
  write("Documents/largest", archiveOfSize(PlistBounds::bytes));
  ASSERT_EQ(fs::file_size(folder() / "largest"), PlistBounds::bytes);
  EXPECT_TRUE(isReadable("largest"));
  write("Documents/larger", archiveOfSize(PlistBounds::bytes + 1));
  ASSERT_EQ(fs::file_size(folder() / "larger"), PlistBounds::bytes + 1);
  EXPECT_FALSE(isReadable("larger"));
  write("Documents/huge", archive);
  fs::resize_file(folder() / "huge", std::uintmax_t{1} << 40);
  EXPECT_FALSE(isReadable("huge"));
}

/// Makes the process an ordinary user's for as long as it lives, if it is the superuser's, whom no permission stops.
class OrdinaryUser {
 public:
  OrdinaryUser() {
    if (superuser_) isOrdinary_ = seteuid(65534) == 0;
  }
  ~OrdinaryUser() {
    if (superuser_ && seteuid(0) != 0) ADD_FAILURE() << "still an ordinary user";
  }
  bool isOrdinary() const { return isOrdinary_; }

 private:
  const bool superuser_ = geteuid() == 0;
  bool isOrdinary_ = true;
};

TEST_F(PlistDocumentsTest, AFileThatMayNotBeReadIsAbsent) {
  write("Documents/open", archive);
  write("Documents/closed", archive);
  fs::permissions(base, fs::perms(0755));
  fs::permissions(folder() / "open", fs::perms(0644));
  fs::permissions(folder() / "closed", fs::perms::none);
  const OrdinaryUser user;
  ASSERT_TRUE(user.isOrdinary());
  EXPECT_TRUE(isReadable("open"));
  EXPECT_FALSE(isReadable("closed"));
}

TEST_F(PlistDocumentsTest, NoDescriptorStaysOpen) {
  write("Documents/a.plist", archive);
  write("Documents/text", "not an archive");
  const auto openFiles = [] {
    const fs::directory_iterator files("/proc/self/fd");
    return std::distance(files, fs::directory_iterator());
  };
  const auto before = openFiles();
  EXPECT_TRUE(isReadable("a.plist"));
  EXPECT_FALSE(isReadable("text"));
  EXPECT_EQ(openFiles(), before);
}

}  // namespace
}  // namespace fliprugair
