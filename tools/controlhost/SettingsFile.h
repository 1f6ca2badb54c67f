#pragma once

#include <functional>
#include <mutex>
#include <string>

#include "Fliprugair/platform/JSONSerialization.h"
#include "tools/controlhost/HostSettings.h"

namespace fliprugair::controlhost {

/// Settings in a file that may be edited while the host runs. Any thread.
class SettingsFile {
 public:
  /// `complain` is told of faults that come later, and of values that a tracker takes otherwise than they stand. Throws
  /// std::runtime_error that lists the faults when there are some already.
  SettingsFile(std::string path, const JSONSerialization& json, std::function<void(const std::string&)> complain);

  /// Reads the file again. While it is faulty or gone, the settings it had before hold on.
  HostSettings current();

 private:
  void warn(const HostSettings& settings) const;
  std::string faultOf(const std::string& text, Value& file) const;

  const std::string path_;
  const JSONSerialization& json_;
  const std::function<void(const std::string&)> complain_;

  std::mutex mutex_;  ///< around the rest
  std::string text_;
  bool isGone_ = false;
  HostSettings settings_;
};

}  // namespace fliprugair::controlhost
