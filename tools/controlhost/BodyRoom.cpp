#include "tools/controlhost/BodyRoom.h"

namespace fliprugair::controlhost {

bool BodyRoom::Share::take(std::size_t bytes) {
  const std::size_t all = bytes_ + bytes;
  const std::size_t more = all > free ? all - free - counted_ : 0;
  if (room_.used_.fetch_add(more) + more > size) {
    room_.used_.fetch_sub(more);
    return false;
  }
  bytes_ = all;
  counted_ += more;
  return true;
}

void BodyRoom::Share::giveBack() {
  room_.used_.fetch_sub(counted_);
  bytes_ = 0;
  counted_ = 0;
}

}  // namespace fliprugair::controlhost
