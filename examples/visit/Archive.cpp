#include "examples/visit/Archive.h"

#include <fstream>

void writeKeyedArchive(const std::filesystem::path& file) {
  std::ofstream(file) << R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
  <key>$archiver</key><string>NSKeyedArchiver</string>
  <key>$objects</key><array><string>$null</string><string>kept by another service</string></array>
  <key>$top</key><dict><key>root</key><dict><key>CF$UID</key><integer>1</integer></dict></dict>
  <key>$version</key><integer>100000</integer>
</dict>
</plist>
)";
}
