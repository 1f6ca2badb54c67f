#include "sqlite/FaultyMedium.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace fliprugair {
namespace {

struct Faults {
  sqlite3_vfs* medium = nullptr;
  sqlite3_vfs faulty{};
  FaultyMedium::Operation operation{};
  std::atomic<int> left = -1;  ///< before the one that fails
  std::atomic<bool> lasts = false;
};

Faults& faults() {
  static Faults one;
  return one;
}

bool fails(FaultyMedium::Operation operation) {
  if (operation != faults().operation) return false;
  const int left = faults().left.fetch_sub(1);
  return left == 0 || (left < 0 && faults().lasts);
}

struct File {
  sqlite3_file base;
  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_file* realOf(sqlite3_file* file) { return reinterpret_cast<File*>(file)->real(); }

template <auto member, class... Arguments>
int forward(sqlite3_file* file, Arguments... arguments) {
  sqlite3_file* const real = realOf(file);
  return (real->pMethods->*member)(real, arguments...);
}

int read(sqlite3_file* file, void* bytes, int size, sqlite3_int64 place) {
  if (fails(FaultyMedium::Operation::read)) return SQLITE_IOERR_READ;
  const int code = realOf(file)->pMethods->xRead(realOf(file), bytes, size, place);
  if (code == SQLITE_OK && fails(FaultyMedium::Operation::trueReading)) *static_cast<unsigned char*>(bytes) ^= 0xFF;
  return code;
}

int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 place) {
  if (fails(FaultyMedium::Operation::write)) return SQLITE_IOERR_WRITE;
  if (fails(FaultyMedium::Operation::fill)) return SQLITE_FULL;
  return realOf(file)->pMethods->xWrite(realOf(file), bytes, size, place);
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
  if (fails(FaultyMedium::Operation::truncate)) return SQLITE_IOERR_TRUNCATE;
  return realOf(file)->pMethods->xTruncate(realOf(file), size);
}

int sync(sqlite3_file* file, int flags) {
  if (fails(FaultyMedium::Operation::sync)) return SQLITE_IOERR_FSYNC;
  return realOf(file)->pMethods->xSync(realOf(file), flags);
}

void unmapLater(sqlite3_file* file) { realOf(file)->pMethods->xShmBarrier(realOf(file)); }

const sqlite3_io_methods methods = {
    2,
    forward<&sqlite3_io_methods::xClose>,
    read,
    write,
    truncate,
    sync,
    forward<&sqlite3_io_methods::xFileSize, sqlite3_int64*>,
    forward<&sqlite3_io_methods::xLock, int>,
    forward<&sqlite3_io_methods::xUnlock, int>,
    forward<&sqlite3_io_methods::xCheckReservedLock, int*>,
    forward<&sqlite3_io_methods::xFileControl, int, void*>,
    forward<&sqlite3_io_methods::xSectorSize>,
    forward<&sqlite3_io_methods::xDeviceCharacteristics>,
    forward<&sqlite3_io_methods::xShmMap, int, int, int, void volatile**>,
    forward<&sqlite3_io_methods::xShmLock, int, int, int>,
    unmapLater,
    forward<&sqlite3_io_methods::xShmUnmap, int>,
    nullptr,
    nullptr,
};

int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* result) {
  file->pMethods = nullptr;
  if (fails(FaultyMedium::Operation::open)) return SQLITE_CANTOPEN;
  sqlite3_vfs* const medium = faults().medium;
  const int code = medium->xOpen(medium, name, realOf(file), flags, result);
  if (realOf(file)->pMethods != nullptr) file->pMethods = &methods;
  return code;
}

}  // namespace
}  // namespace fliprugair

/// Stands in for the C library's.
extern "C" int rename(const char* from, const char* to) noexcept {
  if (fliprugair::fails(fliprugair::FaultyMedium::Operation::rename)) {
    errno = EROFS;
    return -1;
  }
  return static_cast<int>(syscall(SYS_rename, from, to));
}

namespace fliprugair {

FaultyMedium::FaultyMedium(Operation operation, int number, Span span) {
  Faults& all = faults();
  all.operation = operation;
  all.left = number;
  all.lasts = span == Span::lasting;
  all.medium = sqlite3_vfs_find("unix-excl");
  all.faulty = *all.medium;
  all.faulty.pNext = nullptr;
  all.faulty.szOsFile += static_cast<int>(sizeof(File));
  all.faulty.xOpen = open;
  sqlite3_vfs_unregister(all.medium);
  EXPECT_EQ(sqlite3_vfs_register(&all.faulty, 0), SQLITE_OK);
}

FaultyMedium::~FaultyMedium() {
  faults().lasts = false;
  faults().left = -1;
  sqlite3_vfs_unregister(&faults().faulty);
  sqlite3_vfs_register(faults().medium, 0);
}

bool FaultyMedium::hasFailed() const { return faults().left < 0; }

}  // namespace fliprugair
