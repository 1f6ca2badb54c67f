// What a store lacks for a while is used once it is there: what was written since then survives a kill.

#include <fcntl.h>
#include <grp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sqlite/StoreFiles.h"
#include "support/FewDescriptors.h"

namespace fliprugair {
namespace {

void append(SQLiteUserDefaults& store, const char* record) {
  store.setObject(store.objectForKey("records").array().appending(record), "records");
  store.synchronize();
}

TEST(AShortageOfDescriptors, CostsNoRecordOnceItIsOver) {
  int refused = 0;
  int open = 0;
  for (std::size_t left = 0; left < 8; ++left) {
    const TemporaryFolder folder(memory());
    const auto file = folder / "store";
    leaveWithLog(file, [](SQLiteUserDefaults& store) { store.setObject(Array{"a"}, "records"); });
    std::unique_ptr<SQLiteUserDefaults> store;
    {
      const FewDescriptors few(left);
      auto opened = SQLiteUserDefaults::open(file, {});
      if (auto* found = std::get_if<std::unique_ptr<SQLiteUserDefaults>>(&opened)) {
        store = std::move(*found);
        append(*store, "b");
      }
    }
    (store ? open : refused) += 1;
    if (!store) store = openStore(file);  // nothing was done to it
    ASSERT_TRUE(store) << left;
    append(*store, "c");
    const Array kept = AfterSuddenDeath(file)->objectForKey("records").array();
    EXPECT_EQ(kept, store->objectForKey("records").array()) << left;
    EXPECT_EQ(kept.size(), open > 0 ? 3U : 2U) << left;
    EXPECT_TRUE(filesSetAside(folder).empty()) << left;
  }
  EXPECT_GT(refused, 0);
  EXPECT_GT(open, 1);
}

TEST(ALogThatCanOnlyBeRead, IsWrittenOnceItCanBe) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leaveWithLog(file, [](SQLiteUserDefaults& store) { store.setObject(Array{"a"}, "records"); });
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0777});
  for (const char* suffix : {"", ".lock"}) {
    std::filesystem::permissions(file.string() + suffix, std::filesystem::perms{0666});
  }
  std::filesystem::permissions(file.string() + "-wal", std::filesystem::perms{0444});
  int failed[2];
  int corrected[2];
  ASSERT_EQ(pipe(failed), 0);
  ASSERT_EQ(pipe(corrected), 0);
  const pid_t writer = fork();
  ASSERT_GE(writer, 0);
  if (writer == 0) {
    constexpr uid_t nobody = 65534;  // rights are nothing to root
    if (getuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(2);
    StoreLog log;
    const auto store = openStore(file, log.sink());
    if (!store || store->objectForKey("records") != Value(Array{"a"})) _exit(3);
    append(*store, "b");
    char byte = 'x';
    if (log.lines().size() != 1 || write(failed[1], &byte, 1) != 1 || read(corrected[0], &byte, 1) != 1) _exit(4);
    append(*store, "c");
    raise(SIGKILL);
  }
  close(failed[1]);
  char byte = 'x';
  EXPECT_EQ(read(failed[0], &byte, 1), 1);
  std::filesystem::permissions(file.string() + "-wal", std::filesystem::perms{0666});
  EXPECT_EQ(write(corrected[1], &byte, 1), 1);
  int status = -1;
  waitpid(writer, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status)) << "it ended with " << WEXITSTATUS(status);
  EXPECT_EQ(openStore(file)->objectForKey("records"), Value(Array{"a", "b", "c"}));
}

}  // namespace
}  // namespace fliprugair
