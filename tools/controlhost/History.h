#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/controlhost/Finding.h"
#include "tools/controlhost/ReceivedRequest.h"

namespace fliprugair::controlhost {

/// Finds what no request shows by itself: what came twice, a device that changed its name, a clock that is off.
/// Remembers digests alone, and not without end. Any thread.
class History {
 public:
  /// What is to be found about `request`, whose body is `body`. Notes it, and its reply, for those that follow.
  std::vector<Finding> findings(const ReceivedRequest& request, const Value& body);

  /// Of a request that is not kept, what its device was told: it goes by that from here on.
  void noteInitReply(const ReceivedRequest& request);

  /// Which devices were given another identifier stays known: they go on with it.
  void clear();
  void forget(const std::string& device);

 private:
  struct Sighting {
    std::string place;  ///< "request 3" or "record 3.1"
    std::string device;
    bool confirmed;
    bool late;  ///< its confirmation was held back
  };

  struct Installation {
    std::int64_t report = 0;  ///< the number of the first one that was confirmed; 0: none was
    bool isAskedFor = false;  ///< by an init reply, and not reported since
  };

  void notice(std::size_t digest, Sighting sighting);
  const Sighting* sightingOf(std::size_t digest) const;
  bool checkRequest(const ReceivedRequest& request, const Value& body, std::vector<Finding>& findings);
  void checkRecords(const ReceivedRequest& request, const Array& records, std::vector<Finding>& findings);
  void checkInstall(const ReceivedRequest& request, bool again, std::vector<Finding>& findings);
  void checkDevice(const ReceivedRequest& request, const Array& records, std::vector<Finding>& findings);
  void checkApplication(const ReceivedRequest& request, const Array& records, std::vector<Finding>& findings);
  const std::string& originOf(const std::string& device) const;
  bool isSameDevice(const std::string& one, const std::string& other) const { return originOf(one) == originOf(other); }
  void noteFlags(const ReceivedRequest& request);
  void noteReplacement(const std::string& device, const std::string& replacement);

  std::mutex mutex_;  ///< around the rest
  std::unordered_map<std::size_t, Sighting> sightings_;
  std::deque<std::size_t> order_;
  std::map<std::string, Installation> installations_;  ///< by the identifier with which the device began
  std::map<std::string, std::string> identities_;  ///< by application and advertising or vendor identifier the device
  std::set<std::string> givenApps_;                ///< application identifiers that init replies gave
  std::map<std::string, std::string> origins_;     ///< of a device with another identifier the one it began with
};

}  // namespace fliprugair::controlhost
