#include <filesystem>
#include <fstream>
#include <iostream>

#include "plist/Archives.h"

/// Writes the archives that the fuzzer begins with into the folder that the argument names.
int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::cerr << "usage: fuzz_keyed_archive_seeds FOLDER\n";
    return 2;
  }
  const std::filesystem::path folder = arguments[1];
  std::filesystem::create_directories(folder);
  for (const auto& [name, bytes] : fliprugair::test::seeds()) {
    std::ofstream file(folder / name, std::ios::binary);
    file << bytes;
    if (!file.flush()) {
      std::cerr << "cannot write " << folder / name << '\n';
      return 1;
    }
  }
}
