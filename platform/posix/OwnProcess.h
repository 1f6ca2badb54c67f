#pragma once

#include <sys/types.h>
#include <unistd.h>

namespace fliprugair {

/// The process that an object was made in. In a fork the object is a copy without its threads, whose locks may be held
/// for ever by threads that are not there: it must neither wait, nor write, nor be taken apart.
class OwnProcess {
 public:
  bool isElsewhere() const { return getpid() != process_; }

 private:
  pid_t process_ = getpid();
};

}  // namespace fliprugair
