#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "sqlite/StoreFiles.h"

extern "C" const char* __tsan_default_options();

/// ThreadSanitizer would end a child that starts a thread; here one does.
extern "C" const char* __tsan_default_options() { return "die_after_fork=0"; }

namespace fliprugair {
namespace {

int exitCodeOf(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(AForkedChild, ChangesNothingAndSaysSoOnce) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  StoreLog log;
  auto store = openStore(file, log.sink());
  store->setObject("parent", "key");
  store->synchronize();
  const std::string before = contentOf(file.string() + "-wal");
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    const StoreGroup group(*store);
    store->setObject("child", "key");
    store->update("other", [](const Value&) { return Value(1); });
    store->synchronize();
    store->whenDurable([] { _exit(3); });
    _exit(store->objectForKey("key").isNull() && log.lines().size() == 1 ? 0 : 4);
  }
  EXPECT_EQ(exitCodeOf(child), 0);
  EXPECT_EQ(contentOf(file.string() + "-wal"), before);
  store->setObject("parent again", "key");
  store.reset();
  EXPECT_EQ(openStore(file)->objectForKey("key"), Value("parent again"));
  EXPECT_TRUE(log.lines().empty());
}

TEST(AForkedChild, DestroysItsStoreWithoutTouchingTheParents) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  auto store = openStore(file);
  store->setObject("parent", "key");
  store->synchronize();
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    store.reset();
    _exit(0);
  }
  EXPECT_EQ(exitCodeOf(child), 0);
  EXPECT_GT(logSize(file), 0U);
  store->setObject("later", "key");
  store->synchronize();
  EXPECT_EQ(AfterSuddenDeath(file)->objectForKey("key"), Value("later"));
}

TEST(AForkedChild, DoesNotKeepTheLockWhenItSurvivesItsParent) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t parent = fork();
  if (parent == 0) {
    const auto store = openStore(file);
    store->setObject("parent", "key");
    store->synchronize();
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      while (true) pause();
    }
    _exit(::write(ends[1], &child, sizeof child) == sizeof child ? 0 : 1);
  }
  EXPECT_EQ(exitCodeOf(parent), 0);
  pid_t child = -1;
  ASSERT_EQ(::read(ends[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
  EXPECT_EQ(refusalOf(file), "");
  EXPECT_EQ(openStore(file)->objectForKey("key"), Value("parent"));
  kill(child, SIGKILL);
}

TEST(AForkedChild, MayOpenAStoreOfItsOwn) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "parents");
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    if (refusalOf(folder / "parents").find("in use by process " + std::to_string(getppid())) == std::string::npos)
      _exit(1);
    const auto own = openStore(folder / "own");
    own->setObject(1, "key");
    own->synchronize();
    _exit(own->objectForKey("key") == Value(1) ? 0 : 2);
  }
  EXPECT_EQ(exitCodeOf(child), 0);
  EXPECT_EQ(openStore(folder / "own")->objectForKey("key"), Value(1));
}

}  // namespace
}  // namespace fliprugair
